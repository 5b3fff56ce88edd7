#!/usr/bin/env -S --block-signal=INT python3
"""Sends numbered datagrams to the box where video is expected, when no real video is at hand.

Each datagram starts with 'N', a u32 number and the u64 time in nanoseconds, little-endian. Ten
seconds of video, on the box itself:

    numbered_stream.py --count 600
"""

from __future__ import annotations

from fieldrelaybox import at_start  # first of all  # noqa: F401

import argparse
import socket
import struct
import time

from fieldrelaybox import program

HEADER = struct.Struct("<cIQ")
LARGEST_DATAGRAM = 65507


def parse_arguments() -> argparse.Namespace:
    parser = program.make_parser(__doc__)
    parser.add_argument("--host", default="127.0.0.1", help="default %(default)s")
    parser.add_argument("--port", type=program.port, default=5000, help="default %(default)s")
    parser.add_argument("--rate", type=program.number(0.001, 1_000_000), default=60,
                        help="datagrams/s (default %(default)s)")
    parser.add_argument("--size", type=program.number(HEADER.size, LARGEST_DATAGRAM, int),
                        default=1300, help="bytes each (default %(default)s)")
    parser.add_argument("--count", type=program.number(1, 2**63, int), help="end after so many")
    return parser.parse_args()


def main() -> None:
    options = parse_arguments()
    address = program.resolve(options.host), options.port
    filling = bytes(options.size - HEADER.size)
    number, due = 0, time.monotonic()
    with program.Ending() as ending, socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
        while options.count is None or number < options.count:
            if ending.wait(due - time.monotonic()):
                break
            head = HEADER.pack(b"N", number & 0xFFFFFFFF, time.time_ns())
            sender.sendto(head + filling, address)
            number += 1
            due += 1 / options.rate
    print(f"{number} datagrams sent")


if __name__ == "__main__":
    program.run(main)
