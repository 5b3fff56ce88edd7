"""What a machine wrote to its card, write by write, as the emulator noted it (dm-log-writes format)."""

from __future__ import annotations

import struct
from pathlib import Path
from typing import Iterator

MAGIC = 0x6A736677736872
SUPER, ENTRY = struct.Struct("<QQQI"), struct.Struct("<QQQQ")
DISCARD = 4


def writes(log: Path) -> Iterator[tuple[int, bytes]]:
    """Where on the card, in bytes, and what. The emulated card writes sector by sector, so a write that is cut short
    in the middle is among what lies between."""
    data = log.read_bytes()
    magic, _, _, sector = SUPER.unpack_from(data)
    assert magic == MAGIC, "not a log of writes"
    at = sector
    while at < len(data):
        place, count, flags, _ = ENTRY.unpack_from(data, at)
        at += sector
        if count and not flags & DISCARD:
            yield place * sector, data[at:at + count * sector]
            at += count * sector
