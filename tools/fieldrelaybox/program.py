"""What the programs for people share: how they are called, how they fail, and how they end."""

from __future__ import annotations

import argparse
import os
import select
import signal
import socket
import sys
from pathlib import Path
from typing import Callable, NoReturn, TextIO

from . import __version__

FAILED, WRONG_USAGE = 1, 2
"""Exit statuses."""

NAME = Path(sys.argv[0]).stem
LONGEST_TIME = 10_000_000
"""Seconds; what can be waited for."""


class Failed(Exception):
    """It cannot be done; the text says why, in one line."""


class Parser(argparse.ArgumentParser):
    """Tells a mistake in one line."""

    def error(self, message: str) -> NoReturn:
        self.exit(WRONG_USAGE, f"{NAME}: {message}, see --help\n")


def make_parser(description: str | None, epilog: str | None = None) -> Parser:
    parser = Parser(description=description, epilog=epilog,
                    formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--version", action="version", version=f"{NAME} {__version__}")
    return parser


def number(lowest: float, highest: float,
           kind: Callable[[str], float] = float) -> Callable[[str], float]:
    """A type of arguments: numbers within these limits."""
    def convert(text: str) -> float:
        try:
            value = kind(text)
        except ValueError:
            value = float("nan")
        if not lowest <= value <= highest:
            raise argparse.ArgumentTypeError(
                f"{text} is no {'whole ' if kind is int else ''}number from {lowest} to {highest}")
        return value
    return convert


port = number(1, 65535, int)
seconds = number(0, LONGEST_TIME)
percent = number(0, 100)


def resolve(host: str) -> str:
    """The IPv4 address of a host; Failed when there is none."""
    try:
        return socket.gethostbyname(host)
    except (OSError, UnicodeError) as error:
        reason = error.strerror if isinstance(error, OSError) else "it is no name of a host"
        raise Failed(f"no address for {host}: {reason}") from None


class Ending:
    """Inside of it SIGINT and SIGTERM are only noted, however many come: nothing disturbs the end."""

    def __enter__(self) -> "Ending":
        self.asked = False
        self._woken, self._wake = os.pipe2(os.O_NONBLOCK | os.O_CLOEXEC)
        # Whichever thread the signal reaches, it is this one that wakes up.
        signal.set_wakeup_fd(self._wake, warn_on_full_buffer=False)
        self._before = {number_of_signal: signal.signal(number_of_signal, self._note)
                        for number_of_signal in (signal.SIGINT, signal.SIGTERM)
                        if signal.getsignal(number_of_signal) != signal.SIG_IGN}
        return self

    def __exit__(self, *_: object) -> None:
        for number_of_signal, handler in self._before.items():
            signal.signal(number_of_signal, handler)
        signal.set_wakeup_fd(-1)
        os.close(self._woken)
        os.close(self._wake)

    def _note(self, *_: object) -> None:
        self.asked = True

    def wait(self, timeout: float | None, *readable: int) -> bool:
        """Until the end is asked for, one of the descriptors can be read, or so many seconds have
        passed; whether the end is asked for."""
        select.select([self._woken, *readable], [], [], timeout and max(timeout, 0.0))
        return self.asked

    def write(self, descriptor: int, data: bytes) -> None:
        """All of it, unless the end is asked for while nobody takes it."""
        while data:
            if select.select([self._woken], [descriptor], [])[1]:
                data = data[os.write(descriptor, data[:select.PIPE_BUF]):]
            elif self.asked:
                return
            else:
                os.read(self._woken, 1)  # another signal, such as Ctrl-Z


def run(main: Callable[[], int | None]) -> NoReturn:
    """Carry out a program. Whatever cannot be is one line, and nobody has to read to the end."""
    for stream in (sys.stdout, sys.stderr):
        if stream:
            stream.reconfigure(errors="backslashreplace")
    try:
        status = main() or 0
        _flush(sys.stdout)
    except SystemExit as end:
        status = end.code if isinstance(end.code, int) else 0
    except BrokenPipeError:
        status = 0
    except ValueError as error:
        status = _complain(WRONG_USAGE, str(error))
    except OSError as error:
        where = error.filename2 or error.filename
        status = _complain(FAILED, f"{where}: {error.strerror}" if where else str(error.strerror or error))
    except Failed as error:
        status = _complain(FAILED, str(error))
    try:
        _flush(sys.stdout)
    except OSError:
        os.dup2(os.open(os.devnull, os.O_WRONLY), 1)  # Python tries once more
    sys.exit(status)


def _flush(stream: TextIO | None) -> None:
    if stream:
        stream.flush()


def _complain(status: int, text: str) -> int:
    print(f"{NAME}: {text}", file=sys.stderr)
    return status
