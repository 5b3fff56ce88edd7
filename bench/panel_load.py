#!/usr/bin/env python3
"""What the panel takes of a computer while browsers look: tools/sandbox.sh bench/panel_load.py [--minutes 30].

A sender plays the box: pictures at a steady rate and the records of a busy camera. Readers look, each on a
WebSocket of its own; in the second half one more is connected that reads nothing. Exit status 1: a limit is
not met."""

from __future__ import annotations

import argparse
import multiprocessing
import os
import select
import selectors
import socket
import struct
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path[:0] = [str(ROOT / "tests" / "system"), str(ROOT / "tools")]

from fieldrelaybox.app_protocol import VIDEO, build_message, register  # noqa: E402
from panel import Live, Panel  # noqa: E402

CPU_PERCENT, MEMORY_KB, GROWTH_KB = 10, 64_000, 1_000
PICTURES_A_SECOND, GROUP, DATAGRAM = 30, 30, 1300
KEY_HEAD = b"\0\0\0\1\x67\x42\xc0\x1e\0\0\0\1\x68\xce\x3c\x80\0\0\0\1\x65\x88"
OTHER_HEAD = b"\0\0\0\1\x41\x9a"
STATUS, MARK = 0, b"number:"
RECORDS = (bytes(7), b"\2" + bytes(23), b"\4" + bytes(30), b"\7" + bytes(64), b"\x0f\6\x20" + bytes(64))


def send_pictures(box: socket.socket, panel: tuple[str, int], megabits: float) -> None:
    """Until it is ended. Each picture is sent in one go, with its number, and five records after it."""
    size = int(megabits * 1e6 / 8 / PICTURES_A_SECOND)
    due, number, sequence = time.monotonic(), 0, 0
    while True:
        head = KEY_HEAD if number % GROUP == 0 else OTHER_HEAD
        unit = (b"\0\0\0\1\x09\xf0" + head + MARK + struct.pack(">I", number).hex().encode()).ljust(size, b"\x55")
        pieces = [(VIDEO, unit[place:place + DATAGRAM]) for place in range(0, size, DATAGRAM)]
        for kind, payload in [*pieces, *((STATUS, record) for record in RECORDS)]:
            box.sendto(build_message(payload, kind, sequence), panel)
            sequence += 1
        number, due = number + 1, due + 1 / PICTURES_A_SECOND
        time.sleep(max(0.0, due - time.monotonic()))


class Reader:
    """Counts pictures, and those that are missing between them."""

    def __init__(self, panel: Panel) -> None:
        self.live = Live(panel)
        assert self.live.status == 101
        self.live.send({"watch": True, "sound": True})
        self.pending, self.begun = bytearray(self.live.pending), False
        self.last = self.pictures = self.missing = 0

    def read(self) -> None:
        data = self.live.socket.recv(1 << 20)
        if not data:
            raise ConnectionError("the panel closed a reader's connection")
        self.pending += data
        place = 0
        while (end := self._end_of_frame(place)) and end <= len(self.pending):
            place = end
        del self.pending[:place]

    def _end_of_frame(self, place: int) -> int:
        """0 when its head is not there yet. A frame that is there whole is counted."""
        if len(self.pending) < place + 10:
            return 0
        opcode, size, begin = self.pending[place] & 15, self.pending[place + 1], place + 2
        if size >= 126:
            width = 2 if size == 126 else 8
            size = int.from_bytes(self.pending[begin:begin + width], "big")
            begin += width
        if begin + size <= len(self.pending):
            if opcode == 9:
                self.live.send(bytes(self.pending[begin:begin + size]), 10)
            elif self.pending[begin:begin + 1] == b"\1":
                self._count(bytes(self.pending[begin:begin + 100]))
        return begin + size

    def _count(self, picture: bytes) -> None:
        number = int(picture.partition(MARK)[2][:8], 16)
        if self.begun:
            self.missing += number - self.last - 1
        self.begun, self.last = True, number
        self.pictures += 1


def processor_seconds(panel: Panel) -> float:
    fields = Path(f"/proc/{panel.process.pid}/stat").read_text(encoding="ascii").rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def memory_kb(panel: Panel) -> int:
    rows = Path(f"/proc/{panel.process.pid}/status").read_text(encoding="ascii").splitlines()
    return next(int(row.split()[1]) for row in rows if row.startswith("VmRSS"))


def run(readers: list[Reader], panel: Panel, seconds: float) -> tuple[float, int, int, int]:
    """Share of a processor in percent, memory, pictures that the worst reader got, and all that are missing."""
    selector = selectors.DefaultSelector()
    for reader in readers:
        selector.register(reader.live.socket, selectors.EVENT_READ, reader)
        reader.pictures = reader.missing = 0
    began, used = time.monotonic(), processor_seconds(panel)
    while (passed := time.monotonic() - began) < seconds:
        for key, _ in selector.select(1):
            key.data.read()
    return (100 * (processor_seconds(panel) - used) / passed, memory_kb(panel),
            min(reader.pictures for reader in readers), sum(reader.missing for reader in readers))


def await_media(box: socket.socket) -> tuple[str, int]:
    while select.select([box], [], [], 20)[0]:
        datagram, sender = box.recvfrom(2048)
        if datagram == register(data_only=False):
            return (str(sender[0]), int(sender[1]))
    raise TimeoutError("the panel does not ask for pictures")


def measure(panel: Panel, readers: list[Reader], seconds: float) -> bool:
    run(readers, panel, 3)
    met, first = True, 0
    for name in ("all read", "one reads nothing"):
        if name != "all read":
            stopped = Live(panel, receive_buffer=8192)
            stopped.send({"watch": True, "sound": True})
        percent, memory, pictures, missing = run(readers, panel, seconds / 2)
        first = first or memory
        print(f"{name}: {percent:.1f} % of a processor, {memory} kB, {pictures} pictures of some"
              f" {seconds / 2 * PICTURES_A_SECOND:.0f} to the worst reader, {missing} missing", flush=True)
        met = (met and percent <= CPU_PERCENT and memory <= MEMORY_KB and missing == 0
               and pictures >= 0.95 * seconds / 2 * PICTURES_A_SECOND)
    print(f"grown by {memory - first} kB", flush=True)
    # The one that reads nothing may have its bound's worth waiting.
    return met and memory - first <= GROWTH_KB + 2000


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--minutes", type=float, default=1)
    parser.add_argument("--readers", type=int, default=10)
    parser.add_argument("--megabits", type=float, default=8)
    options = parser.parse_args()
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as box:
        box.bind(("127.0.0.1", 0))
        with Panel("--box", f"127.0.0.1:{box.getsockname()[1]}") as panel:
            readers = [Reader(panel) for _ in range(options.readers)]
            sender = multiprocessing.Process(target=send_pictures, daemon=True,
                                             args=(box, await_media(box), options.megabits))
            sender.start()
            try:
                return 0 if measure(panel, readers, options.minutes * 60) else 1
            finally:
                sender.terminate()


if __name__ == "__main__":
    sys.exit(main())
