#!/usr/bin/env python3
"""Runs a command with a listening socket as descriptor 3, as systemd hands one over.

    listening_socket.py PORT COMMAND [ARGUMENT...]

The socket listens at 127.0.0.1 and PORT, or at the next free port; LISTENING_AT tells the command
which. The command may enter another network: connections still come from here. LISTEN_FDS and
LISTEN_PID are left to whoever starts the program that takes it.
"""

from __future__ import annotations

import errno
import os
import socket
import sys

ADDRESS = "127.0.0.1"
DESCRIPTOR = 3
PORTS_TO_TRY = 100


def open_socket(first: int) -> socket.socket:
    for port in range(first, first + PORTS_TO_TRY):
        listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
        listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        try:
            listener.bind((ADDRESS, port))
            listener.listen(64)
            return listener
        except OSError as error:
            listener.close()
            if error.errno != errno.EADDRINUSE:
                raise
    raise OSError(errno.EADDRINUSE, f"no port is free from {first} on")


def main(arguments: list[str]) -> int:
    if len(arguments) < 2 or not arguments[0].isdecimal():
        print(__doc__, file=sys.stderr)
        return 2
    listener = open_socket(int(arguments[0]))
    os.environ["LISTENING_AT"] = f"{ADDRESS}:{listener.getsockname()[1]}"
    if listener.fileno() == DESCRIPTOR:
        listener.set_inheritable(True)
    else:
        os.dup2(listener.fileno(), DESCRIPTOR)  # inheritable; the original is not
    os.execvp(arguments[1], arguments[1:])


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
