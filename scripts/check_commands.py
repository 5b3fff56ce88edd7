#!/usr/bin/env python3
"""check_commands.py [list SECTION]: every command that the pages tell people to type is run by a test or a script of CI,
or stands in commands.txt among those that cannot be. Prints each that is not, and each line of commands.txt that no
page has any more; exit status 1 when there is one. With "list", prints the commands of that section.
"""

from __future__ import annotations

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
TABLE = ROOT / "scripts" / "commands.txt"
PAGES = [ROOT / "README.md", ROOT / "CONTRIBUTING.md", *sorted((ROOT / "docs").glob("*.md"))]
BLOCK = re.compile(r"^ *```\n(.*?)^ *```", re.MULTILINE | re.DOTALL)
SPAN = re.compile(r"`([^`\n]+)`")
PROGRAM = re.compile(
    r"(sudo|cd|make|fieldrelaybox(-[a-z]+)*|(\./|/usr/lib/\S+/)?bin/\S+|tools/\S+|packaging/\S+|apt(-get)?|cat|df|dpkg|"
    r"echo|ffplay|free|gst-launch-1\.0|ip|iwlist|journalctl|ls|man|nmcli|printf|scp|ss|ssh|systemctl|tcpdump)(?= \S)|top$")


def command_of(text: str) -> str:
    """As the table has it: without sudo, a remark, and what a table of a page needs; empty when it is none."""
    text = re.sub(r"\s{2,}#.*", "", text.strip()).replace(r"\|", "|")
    return re.sub(r"(^|\| |&& )sudo ", r"\1", text) if PROGRAM.match(text) else ""


def commands_of(page: Path) -> set[str]:
    text = page.read_text()
    lines = [line for block in BLOCK.findall(text) for line in block.splitlines()]
    return {command for each in (*lines, *SPAN.findall(BLOCK.sub("", text))) if (command := command_of(each))}


def sections() -> dict[str, dict[str, str]]:
    """For each section its commands, with the words by which its file runs each."""
    table: dict[str, dict[str, str]] = {}
    for line in TABLE.read_text().splitlines():
        if line.startswith("["):
            commands = table.setdefault(line.strip("[]"), {})
        elif line and not line.startswith("#"):
            command, _, words = line.partition("  => ")
            commands[command] = words or command
    return table


def faults(table: dict[str, dict[str, str]]) -> list[str]:
    told = {command: page for page in PAGES for command in commands_of(page)}
    listed = {command for commands in table.values() for command in commands}
    found = [f"{told[command].name}: nothing runs `{command}`" for command in sorted(told.keys() - listed)]
    found += [f"{TABLE.name}: no page has `{command}`" for command in sorted(listed - told.keys())]
    for name, commands in table.items():
        if name == "package" or name.startswith("nobody: "):
            continue
        text = (ROOT / name).read_text()
        found += [f"{TABLE.name}: {name} does not have `{words}`" for words in commands.values() if words not in text]
    return found


def main(arguments: list[str]) -> int:
    table = sections()
    if arguments[:1] == ["list"]:
        print("\n".join(table[arguments[1]]))
        return 0
    found = faults(table)
    print("\n".join(found), end="\n" if found else "", file=sys.stderr)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
