#!/usr/bin/env python3
"""check_includes.py [DIRECTORY]: every include points down the house.

The rooms stand on floors. A file may include what is in its own room and in the rooms of the floors
below, never a room of its own floor or above. Each companion in programs/ is a room of its own that
may use core, config and the GStreamer elements. Within a room no files include each other in a circle (a header and its
.cpp count as one). Prints each line that breaks this; exit status 1 when there is one.
"""

from __future__ import annotations

import re
import sys
from pathlib import Path

FLOORS = (
    ("include",),
    ("core",),
    ("config",),
    ("apps",),
    ("camera/link", "media"),
    ("camera/state",),
    ("camera/builders",),
    ("camera/commands",),
    ("rc", "control"),
    ("daemon",),
)
OPEN_TO_COMPANIONS = ("include", "core", "config", "gstreamer")
FLOOR_OF = {room: number for number, rooms in enumerate(FLOORS) for room in rooms}
INCLUDE = re.compile(r'\s*#\s*include\s+"([^"]+)"')


def room_of(name: str) -> str:
    """The room of a file named as includes name it, such as "camera/link/frame.h"."""
    parts = name.split("/")
    if parts[0] == "fieldrelaybox":
        return "include"
    return "/".join(parts[:-1]) if len(parts) > 1 else ""


def fault(room: str, target: str, companion: bool) -> str:
    """What is wrong with an include of the room target from room; empty when nothing is."""
    if target == room:
        return ""
    if companion:
        return "" if target in OPEN_TO_COMPANIONS else "companions use core, config and gstreamer only"
    if target not in FLOOR_OF:
        return f"{target or 'the top'} is no room of the daemon"
    if room not in FLOOR_OF:
        return f"{room or 'the top'} is no room of the daemon"
    return "" if FLOOR_OF[target] < FLOOR_OF[room] else f"{target} does not lie below {room}"


Units = dict[str, set[str]]


def circle(units: Units) -> list[str]:
    """Files of one room that include each other, as a way that ends where it began."""
    done: set[str] = set()

    def walk(unit: str, way: list[str]) -> list[str]:
        if unit in way:
            return [*way[way.index(unit):], unit]
        if unit in done:
            return []
        for target in sorted(units.get(unit, ())):
            if found := walk(target, [*way, unit]):
                return found
        done.add(unit)
        return []
    return next((found for unit in sorted(units) if (found := walk(unit, []))), [])


def check(root: Path) -> list[str]:
    faults: list[str] = []
    units: Units = {}
    for top, companion in (("src", False), ("programs", True)):
        for path in sorted((root / top).rglob("*")):
            if path.suffix not in (".cpp", ".h"):
                continue
            name = path.relative_to(root / top).as_posix()
            for number, line in enumerate(path.read_text().splitlines(), 1):
                match = INCLUDE.match(line)
                if match is None:
                    continue
                room, target = room_of(name), room_of(match[1])
                if wrong := fault(room, target, companion):
                    faults.append(f"{path.relative_to(root)}:{number}: {line.strip()}: {wrong}")
                unit, included = name.rsplit(".", 1)[0], match[1].rsplit(".", 1)[0]
                if room == target and unit != included:
                    units.setdefault(unit, set()).add(included)
    if way := circle(units):
        faults.append("a circle: " + " -> ".join(way))
    return faults


def main() -> int:
    root = Path(sys.argv[1]) if len(sys.argv) > 1 else Path(__file__).resolve().parents[1]
    faults = check(root)
    print("\n".join(faults) if faults else "every include points down")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
