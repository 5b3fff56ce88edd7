#!/usr/bin/env -S --block-signal=INT python3
"""Runs a command with a listening socket as descriptor 3, as systemd hands one over.

The socket listens at 127.0.0.1 and PORT, or at the next free port; LISTENING_AT tells the command
which. The command may enter another network: connections still come from here. LISTEN_FDS and
LISTEN_PID are left to whoever starts the program that takes it.

    listening_socket.py 8080 sh -c 'echo "at $LISTENING_AT"; ls -l /dev/fd/3'
"""

from __future__ import annotations

from fieldrelaybox import at_start  # first of all  # noqa: F401

import argparse
import errno
import os
import socket

from fieldrelaybox import program

ADDRESS = "127.0.0.1"
DESCRIPTOR = 3
LAST_PORT = 65535
PORTS_TO_TRY = 100


def open_socket(first: int) -> socket.socket:
    for port in range(first, min(first + PORTS_TO_TRY, LAST_PORT + 1)):
        listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
        listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        try:
            listener.bind((ADDRESS, port))
            listener.listen(64)
            return listener
        except OSError as error:
            listener.close()
            if error.errno != errno.EADDRINUSE:
                raise program.Failed(f"port {port}: {error.strerror}") from None
    raise program.Failed(f"no port is free from {first} on")


def parse_arguments() -> argparse.Namespace:
    parser = program.make_parser(__doc__)
    parser.add_argument("port", metavar="PORT", type=program.port)
    parser.add_argument("command", metavar="COMMAND", nargs=argparse.REMAINDER,
                        help="and its arguments")
    options = parser.parse_args()
    if not options.command:
        parser.error("there is no COMMAND")
    return options


def main() -> None:
    options = parse_arguments()
    listener = open_socket(options.port)
    os.environ["LISTENING_AT"] = f"{ADDRESS}:{listener.getsockname()[1]}"
    if listener.fileno() == DESCRIPTOR:
        listener.set_inheritable(True)
    else:
        os.dup2(listener.fileno(), DESCRIPTOR)  # inheritable; the original is not
    try:
        os.execvp(options.command[0], options.command)
    except OSError as error:
        raise program.Failed(f"cannot run {options.command[0]}: {error.strerror}") from None


if __name__ == "__main__":
    program.run(main)
