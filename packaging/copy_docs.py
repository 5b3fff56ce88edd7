#!/usr/bin/env python3
"""copy_docs.py DIRECTORY: README.md, CHANGELOG.md and docs/ as they lie in a package, with what their links lead to.

A link to what only a checkout has becomes its text. One that leads nowhere, or to a heading that is not there, is
named; the exit status is then 1.
"""

from __future__ import annotations

import re
import shutil
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
PAGES = sorted([ROOT / "README.md", ROOT / "CHANGELOG.md", *ROOT.glob("docs/*.md")])
FOLDERS = (ROOT / "docs/images", ROOT / "docs/monitoring")
LINK = re.compile(r"(!?)\[([^\]]*)\]\((?![a-z]+:)([^)#\s]*)(?:#([^)\s]*))?\)")
BLOCKS = re.compile(r"^```.*?^```$", re.MULTILINE | re.DOTALL)


def without_blocks(page: Path) -> str:
    return BLOCKS.sub("", page.read_text())


def headings(page: Path) -> set[str]:
    """As links name them."""
    titles = re.findall(r"^#+ +(.+)$", without_blocks(page), re.MULTILINE)
    return {re.sub(r"[^\w -]", "", title.lower()).replace(" ", "-") for title in titles}


def target_of(page: Path, link: re.Match[str]) -> Path:
    return (page.parent / link[3]).resolve() if link[3] else page


def fault(page: Path, link: re.Match[str]) -> str:
    """What is wrong with a link of the page; empty when nothing is."""
    target = target_of(page, link)
    if not target.exists():
        return "leads nowhere"
    return "there is no such heading" if link[4] and link[4] not in headings(target) else ""


def for_package(page: Path) -> str:
    def shown(link: re.Match[str]) -> str:
        target = target_of(page, link)
        return link[0] if target in PAGES or {target, *target.parents} & {*FOLDERS} else link[2]
    return LINK.sub(shown, page.read_text())


def main(directory: Path) -> int:
    faults = [f"{page.relative_to(ROOT)}: {link[0]}: {reason}" for page in PAGES
              for link in LINK.finditer(without_blocks(page)) if (reason := fault(page, link))]
    if faults:
        print("\n".join(faults), file=sys.stderr)
        return 1
    shutil.rmtree(directory, ignore_errors=True)
    for folder in FOLDERS:
        shutil.copytree(folder, directory / folder.relative_to(ROOT))
    for page in PAGES:
        (directory / page.relative_to(ROOT)).write_text(for_package(page))
    return 0


if __name__ == "__main__":
    sys.exit(main(Path(sys.argv[1])))
