#!/usr/bin/env python3
"""Sends numbered datagrams to the box where video is expected, when no real video is at hand.

Each datagram starts with 'N', a u32 number and the u64 time in nanoseconds, little-endian.
"""

from __future__ import annotations

import argparse
import signal
import socket
import struct
import sys
import threading
import time

HEADER = struct.Struct("<cIQ")


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--host", default="127.0.0.1", help="default %(default)s")
    parser.add_argument("--port", type=int, default=5000, help="default %(default)s")
    parser.add_argument("--rate", type=float, default=60, help="datagrams/s (default %(default)s)")
    parser.add_argument("--size", type=int, default=1300, help="bytes each (default %(default)s)")
    parser.add_argument("--count", type=int, help="end after so many")
    return parser.parse_args()


def main() -> int:
    options = parse_arguments()
    ended = threading.Event()
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, lambda *_: ended.set())
    filling = bytes(max(options.size - HEADER.size, 0))
    number, due = 0, time.monotonic()
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
        while options.count is None or number < options.count:
            if ended.wait(max(due - time.monotonic(), 0)):
                break
            head = HEADER.pack(b"N", number & 0xFFFFFFFF, time.time_ns())
            sender.sendto(head + filling, (options.host, options.port))
            number += 1
            due += 1 / options.rate
    print(f"{number} datagrams sent", flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
