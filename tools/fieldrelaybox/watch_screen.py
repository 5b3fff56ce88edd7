"""A watched box on a whole terminal, which is drawn anew in place and left as it was."""

from __future__ import annotations

import os
import signal
import textwrap
import time
from typing import Any, TextIO

from .app_protocol import Message
from .record_text import printable
from .watch_state import Row, State

ENTER = b"\033[?1049h\033[?25l\033[?7l"
"""Another screen, without a cursor; what is too long is cut and does not go on below."""
LEAVE = b"\033[?7h\033[?25h\033[?1049l"
GREY, BOLD, PLAIN = "\033[90m", "\033[1m", "\033[0m"
USUAL_SIZE = (80, 24)
TOPIC_WIDTH, AGE_WIDTH = 13, 4
CHANGE_EVERY, AGES_EVERY = 0.1, 1.0
"""Seconds from one drawing to the next."""

Line = tuple[str, str]
"""How it looks, and its text."""


def _cut(text: str, width: int) -> str:
    return text if len(text) <= width else text[:max(width - 1, 0)] + "…"


def _wrap(text: str, width: int) -> list[str]:
    return textwrap.wrap(text, max(width, 8)) or [""]


def _row_lines(row: Row, width: int, most: int) -> list[Line]:
    indent = TOPIC_WIDTH + AGE_WIDTH + 2
    wrapped = _wrap(row.text, width - indent)
    texts = [*wrapped[:most - 1], *filter(None, [" ".join(wrapped[most - 1:])])]
    heads = [f"{row.topic:>{TOPIC_WIDTH}} {row.age:>{AGE_WIDTH}} ", *[" " * indent] * len(texts)]
    return [(GREY if row.is_over else "", _cut(head + text, width))
            for head, text in zip(heads, texts)]


def compose(state: State, headlines: list[str], note: str, width: int, height: int) -> list[Line]:
    """At most `height` lines of at most `width` characters: the first headline, what works, the
    topics, and where there is room the note and the other headlines."""
    top = [("", _cut(line, width)) for line in headlines[:1] if height > 4]
    top += [(BOLD, line) for line in _wrap(state.summary(), width)[:max(height // 3, 1)]]
    bottom = [("", _cut(line, width)) for line in ([note] if note else []) + headlines[1:]]
    rows = state.rows()
    room = max(height - len(top), 0)
    if len(rows) > room:
        left_out = len(rows) - max(room - 1, 0)
        shown = [line for row in rows[:len(rows) - left_out] for line in _row_lines(row, width, 1)]
        return (top + shown + [("", _cut(f"{left_out} more in a taller window", width))])[:height]
    bottom = bottom[:room - len(rows)]
    spare = room - len(rows) - len(bottom)
    shown = []
    for row in rows:
        lines = _row_lines(row, width, 1 + spare)
        spare -= len(lines) - 1
        shown += lines
    return top + shown + bottom


class ScreenView:
    def __init__(self, out: TextIO, state: State, headlines: list[str]) -> None:
        self._out, self._state, self._headlines = out, state, [printable(line) for line in headlines]
        self._note = ""
        self._changed = True
        self._drawn_at, self._drawn_size = 0.0, (0, 0)
        self._lines: list[Line] = []
        self._is_open = False

    def record(self, _: Message, record: dict[str, Any]) -> None:
        self._state.record(record)
        self._changed = True

    def report(self, text: str) -> None:
        self._state.report(text)
        self._changed = True

    def counters(self, counts: dict[str, Any]) -> None:
        self._state.counters(counts)
        self._changed = True

    def note(self, text: str) -> None:
        self._note = f"{time.strftime('%H:%M:%S')} {printable(text)}"
        self._changed = True

    def refresh(self) -> None:
        """Draw when something changed; ages change, and the window may."""
        waited, size = time.monotonic() - self._drawn_at, self._size()
        if size != self._drawn_size or waited >= (CHANGE_EVERY if self._changed else AGES_EVERY):
            self._draw(size)

    def finish(self) -> None:
        """What was seen last stays, below what stood there before."""
        if not self._is_open:
            return
        self._is_open = False
        signal.signal(signal.SIGTSTP, signal.SIG_DFL)
        self._write(LEAVE)
        self._write("".join(f"{text}\n" for _, text in self._lines).encode())

    def _size(self) -> tuple[int, int]:
        try:
            columns, lines = os.get_terminal_size(self._out.fileno())
        except OSError:
            return USUAL_SIZE
        return (columns, lines) if columns and lines else USUAL_SIZE

    def _draw(self, size: tuple[int, int]) -> None:
        if not self._is_open:
            self._is_open = True
            signal.signal(signal.SIGTSTP, self._suspend)
            self._write(ENTER)
        self._drawn_at, self._drawn_size, self._changed = time.monotonic(), size, False
        self._lines = compose(self._state, self._headlines, self._note, *size)
        drawn = "\r\n".join(f"{look}{text}{PLAIN}\033[K" for look, text in self._lines)
        self._write(f"\033[H{drawn}\033[J".encode())

    def _suspend(self, *_: object) -> None:
        """Ctrl-Z: the shell has its own screen meanwhile."""
        self._write(LEAVE)
        signal.raise_signal(signal.SIGSTOP)
        self._write(ENTER)
        self._drawn_size = (0, 0)

    def _write(self, data: bytes) -> None:
        while data:
            data = data[os.write(self._out.fileno(), data):]
