#!/usr/bin/env python3
"""What is written from the rows of settings (src/config/settings_*.h).

settings_pages.py renew PROGRAM       settings.json anew from the program settings_list, and the
                                      table of docs/configuration.md from that
settings_pages.py check               exit status 1 when that table is not what renew would write
settings_pages.py sample PAGE         the sample settings file
settings_pages.py man TEMPLATE PAGE   the manual page from its template
"""

from __future__ import annotations

import json
import re
import subprocess
import sys
from pathlib import Path
from typing import Any

ROOT = Path(__file__).resolve().parents[1]
JSON_FILE = ROOT / "tools" / "fieldrelaybox" / "settings.json"
PAGE = ROOT / "docs" / "configuration.md"
BEGIN, END = "<!-- begin of settings -->\n", "<!-- end of settings -->\n"
HEADINGS = {"streams": "PICTURE AND STREAMS", "sound": "SOUND", "rc": "REMOTE CONTROL",
            "networks": "NETWORKS", "displays": "DISPLAYS", "server": "REMOTE SERVER"}

Row = dict[str, Any]


def load_rows() -> list[Row]:
    rows: list[Row] = json.loads(JSON_FILE.read_text())["settings"]
    return rows


def is_text(row: Row) -> bool:
    return str(row["kind"]).endswith("text")


def choice_words(choices: list[dict[str, str]]) -> str:
    if all("meaning" in choice for choice in choices):
        return ", ".join(f"{choice['value']} is {choice['meaning']}" for choice in choices)
    *others, last = (f"`{choice['value']}`" for choice in choices)
    return f"{', '.join(others)} or {last}"


def meaning(row: Row) -> str:
    text: str = row["help"]
    if "unit" in row:
        text += f", {row['unit']}"
    if "choices" in row:
        text += f": {choice_words(row['choices'])}"
    if "highest" in row:
        text += f", {row['lowest']} to {row['highest']}"
    return text


def default(row: Row) -> str:
    text: str = row.get("default_words") or row.get("default") or ("empty" if is_text(row) else "0")
    return text


# --- docs/configuration.md ---

def parameter_words(row: Row, several: set[str]) -> str:
    return ", ".join(f"`{entry['name']}`" + f" {entry['value']}" * (entry["name"] in several)
                     for entry in row["parameters"])


def table(rows: list[Row]) -> str:
    several = {entry["name"] for row in rows for entry in row["parameters"] if entry["value"] > 1}
    lines = ["| Key | Kind | Meaning and valid values | Default | Parameter | Reported as |",
             "|---|---|---|---|---|---|"]
    for row in rows:
        kind = f"text {row['capacity'] - 1}" if is_text(row) else row["kind"]
        empty = "default_for_empty" in row
        text = meaning(row) + ("; 0 is the default" if empty and not is_text(row) else "")
        lines.append(f"| `{row['key']}` | {kind} | {text} | {default(row)}{' *' * empty} "
                     f"| {parameter_words(row, several)} "
                     f"| {'`' + row['report'] + '`' if 'report' in row else 'not'} |")
    return "\n".join(lines) + "\n"


def page_with_table(page: str) -> str:
    before, _, rest = page.partition(BEGIN)
    _, _, after = rest.partition(END)
    return f"{before}{BEGIN}\n{table(load_rows())}\n{END}{after}"


def renew(program: str) -> None:
    JSON_FILE.write_bytes(subprocess.run([program], check=True, stdout=subprocess.PIPE).stdout)
    PAGE.write_text(page_with_table(PAGE.read_text()))


def check() -> None:
    page = PAGE.read_text()
    if BEGIN not in page or END not in page or page != page_with_table(page):
        sys.exit(f"{PAGE} is not what its settings say: run `make settings`")


# --- The sample file and the manual page ---

def sample(path: str) -> None:
    text = ""
    for row in load_rows():
        value = row.get("sample", "" if is_text(row) else "0")
        quote = '"' if row["kind"] == "quoted text" else ""
        text += f"{row['comment']}{row['key']}={quote}{value}{quote}\r\n\r\n"
    Path(path).write_bytes(text.encode())


def roff(text: str) -> str:
    text = text.replace("\\", "\\e").replace("-", "\\-").replace('"', "\\(dq")
    return re.sub(r"`([^`]*)`", r"\\fB\1\\fR", text)


def man_entry(row: Row) -> str:
    value = {"byte": "number", "quoted text": "\\(dqtext\\(dq"}.get(row["kind"], row["kind"])
    text = meaning(row)
    if row["kind"] == "byte" and "highest" not in row:
        text += ", at most 255"
    if is_text(row) and "choices" not in row:
        text += f"; at most {row['capacity'] - 1} characters"
    sentence = roff(text[0].upper() + text[1:]).rstrip(".") + "."
    if "default" in row or "default_words" in row:
        of_empty = " of an empty value" if "default_for_empty" in row else ""
        sentence += f"\nDefault{of_empty}: {roff(default(row))}."
    return f".TP\n.BR {row['key']} =\\fI{value}\\fR\n{sentence}\n"


def man(template: str, path: str) -> None:
    rows = load_rows()
    sections = "".join(f".SH {heading}\n" + "".join(map(man_entry, rows_of_topic))
                       for topic, heading in HEADINGS.items()
                       if (rows_of_topic := [row for row in rows if row["topic"] == topic]))
    Path(path).write_text(Path(template).read_text().replace("@SETTINGS@\n", sections))


def main() -> None:
    actions = {"renew": renew, "check": check, "sample": sample, "man": man}
    if len(sys.argv) < 2 or sys.argv[1] not in actions:
        sys.exit(__doc__)
    actions[sys.argv[1]](*sys.argv[2:])


if __name__ == "__main__":
    main()
