#!/usr/bin/env -S --block-signal=INT python3
"""A relay server, through which the client reaches a box on another network.

Give it the accounts that may use it, then set up the box and start the client:

    relay_server.py --account me:secret:box1
    box_client.py set --host BOX server_connection RELAY 4242 me secret box1 on
    box_client.py --host RELAY --relay me:secret:box1

A '-' in place of the password is asked for, or read from standard input, a line each:

    relay_server.py --account me:-:box1 --account you:-:box2 <passwords.txt
"""

from __future__ import annotations

from fieldrelaybox import at_start  # first of all  # noqa: F401

import argparse

from fieldrelaybox import program
from fieldrelaybox.relay import RelayServer, parse_account, whole_account


def parse_arguments() -> argparse.Namespace:
    parser = program.make_parser(__doc__)
    parser.add_argument("--listen", default="0.0.0.0", metavar="ADDRESS",
                        help="default %(default)s")
    parser.add_argument("--port", type=program.port, default=4242, help="default %(default)s")
    parser.add_argument("--account", type=parse_account, action="append", required=True,
                        metavar="USER:PASSWORD:DEVICE", help="who may use it (repeatable)")
    return parser.parse_args()


def main() -> None:
    options = parse_arguments()
    accounts = [whole_account(account) for account in options.account]
    address = program.resolve(options.listen), options.port
    try:
        server = RelayServer(address, accounts, lambda line: print(line, flush=True))
    except OSError as error:
        raise program.Failed(f"port {options.port}: {error.strerror}") from None
    with program.Ending() as ending:
        print(f"relay on {options.listen}:{server.port}", flush=True)
        while not ending.asked:
            server.step()
    server.close()


if __name__ == "__main__":
    program.run(main)
