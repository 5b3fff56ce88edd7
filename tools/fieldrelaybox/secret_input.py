"""Pass phrases that must not stand in an argument, which every user of a computer can read."""

from __future__ import annotations

import os
import signal
import sys
import termios

from .program import Ending, Failed

ASKED_FOR = "-"
"""In place of a pass phrase: it is asked for on the terminal, or the next line of standard input."""
LONGEST = 4096


def ask(what: str) -> str:
    if sys.stdin is None:
        raise Failed(f"{what}: there is no standard input to read it from")
    if sys.stdin.isatty():
        return _ask_on_terminal(sys.stdin.fileno(), what)
    line = sys.stdin.readline()
    if not line:
        raise Failed(f"{what}: standard input has no line with it")
    return line.rstrip("\r\n")


def _ask_on_terminal(terminal: int, what: str) -> str:
    """It is not shown. Whoever ends the program meanwhile sees what is typed afterwards."""
    before = termios.tcgetattr(terminal)
    silent = [*before[:3], before[3] & ~termios.ECHO, *before[4:]]
    with Ending() as ending:
        termios.tcsetattr(terminal, termios.TCSAFLUSH, silent)
        try:
            print(f"{what}: ", end="", file=sys.stderr, flush=True)
            line = b"" if ending.wait(None, terminal) else os.read(terminal, LONGEST)
        finally:
            termios.tcsetattr(terminal, termios.TCSAFLUSH, before)
            print(file=sys.stderr)
    if ending.asked:
        signal.raise_signal(signal.SIGINT)
    if not line.endswith(b"\n"):
        raise Failed(f"{what}: nothing was given")
    return line.decode("utf-8", "surrogateescape").rstrip("\r\n")


def take(value: str, what: str) -> str:
    """A pass phrase as it was given, or asked for."""
    return ask(what) if value == ASKED_FOR else value


def agrees(question: str) -> bool:
    """Whether a person at the terminal says yes; nobody there says no."""
    if sys.stdin is None or not sys.stdin.isatty():
        return False
    print(f"{question} [y/N] ", end="", file=sys.stderr, flush=True)
    return sys.stdin.readline().strip().lower() in ("y", "yes")
