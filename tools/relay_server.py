#!/usr/bin/env python3
"""A relay server, through which the client reaches a box on another network.

Give it the accounts that may use it, then set up the box and start the client:

    relay_server.py --account me:secret:box1
    box_client.py --host BOX set server_connection RELAY 4242 me secret box1 on
    box_client.py --host RELAY --relay me:secret:box1
"""

from __future__ import annotations

import argparse
import signal
import sys
import threading

from fieldrelaybox.relay import RelayServer, parse_account


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--listen", default="0.0.0.0", metavar="ADDRESS",
                        help="default %(default)s")
    parser.add_argument("--port", type=int, default=4242, help="default %(default)s")
    parser.add_argument("--account", type=parse_account, action="append", required=True,
                        metavar="USER:PASSWORD:DEVICE", help="who may use it (repeatable)")
    return parser.parse_args()


def main() -> int:
    options = parse_arguments()
    ended = threading.Event()
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, lambda *_: ended.set())
    try:
        server = RelayServer((options.listen, options.port), options.account,
                             lambda line: print(line, flush=True))
    except OSError as error:
        print(f"relay_server: port {options.port}: {error}", file=sys.stderr)
        return 1
    print(f"relay on {options.listen}:{server.port}", flush=True)
    while not ended.is_set():
        server.step()
    server.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
