"""Showing what a box tells: in place on a terminal, as lines of changes, or as JSON lines."""

from __future__ import annotations

import json
import os
import time
from typing import Any, TextIO

from . import app_protocol, report
from .app_protocol import Message
from .box_link import SequenceTracker
from .record_text import printable
from .watch_screen import ScreenView
from .watch_state import State


class MediaCount:
    def __init__(self) -> None:
        self.datagrams = self.bytes = 0

    def add(self, payload: bytes) -> None:
        self.datagrams += 1
        self.bytes += len(payload)


class Counters:
    """What is counted over the whole watch."""

    def __init__(self, data_only: bool) -> None:
        self.video, self.audio, self.records = MediaCount(), MediaCount(), MediaCount()
        self.sequence = SequenceTracker()
        self._data_only = data_only

    def add(self, message: Message) -> None:
        self.sequence.see(message.sequence)
        of_kind = {app_protocol.VIDEO: self.video, app_protocol.AUDIO: self.audio}
        of_kind.get(message.kind, self.records).add(message.payload)

    def as_dict(self) -> dict[str, Any]:
        counts: dict[str, Any] = {}
        for name in ("video", "audio", "records"):
            count: MediaCount = getattr(self, name)
            counts[name] = {"datagrams": count.datagrams, "bytes": count.bytes}
        # A data-only client sees the numbers of media messages go by without the messages.
        counts["missing"] = None if self._data_only else self.sequence.missing
        return counts | {"late": self.sequence.late, "restarts": self.sequence.restarts}


class JsonView:
    """Every record as one JSON line, the counters once a second when they changed."""

    def __init__(self, out: TextIO, secrets: bool) -> None:
        self._out, self._secrets = out, secrets
        self._last_counts: dict[str, Any] = {}

    def record(self, message: Message, record: dict[str, Any]) -> None:
        self._write({"time": round(time.time(), 3), "sequence": message.sequence,
                     "client_id": message.client_id} | record)

    def report(self, text: str) -> None:
        self.note(text if self._secrets else report.hide_secrets(text))

    def note(self, text: str) -> None:
        self._write({"note": text})

    def counters(self, counts: dict[str, Any]) -> None:
        media = {name: counts[name] for name in counts if name != "records"}
        if media != self._last_counts:
            self._last_counts = media
            self._write({"counters": counts})

    def refresh(self) -> None:
        pass

    def finish(self) -> None:
        pass

    def _write(self, value: dict[str, Any]) -> None:
        print(json.dumps(value), file=self._out, flush=True)


class LineView:
    """One line per change, of each topic at most one in `pace` seconds."""

    def __init__(self, out: TextIO, state: State, pace: float) -> None:
        self._out, self._state, self._pace = out, state, pace
        self._shown: dict[str, str] = {}
        self._waiting: dict[str, str] = {}
        self._at: dict[str, float] = {}

    def record(self, _: Message, record: dict[str, Any]) -> None:
        self._change(*self._state.record(record))

    def report(self, text: str) -> None:
        self._change(*self._state.report(text))

    def note(self, text: str) -> None:
        print(printable(text), file=self._out, flush=True)

    def counters(self, counts: dict[str, Any]) -> None:
        self._change(*self._state.counters(counts))
        self._change("summary", self._state.summary())

    def refresh(self) -> None:
        for name in [name for name in self._waiting if self._may_show(name)]:
            self._show(name, self._waiting[name])

    def finish(self) -> None:
        for name, text in list(self._waiting.items()):
            self._show(name, text)

    def _may_show(self, name: str) -> bool:
        return time.monotonic() - self._at.get(name, -1e9) >= self._pace

    def _change(self, name: str, text: str) -> None:
        if self._shown.get(name) == text:
            self._waiting.pop(name, None)
        elif self._may_show(name):
            self._show(name, text)
        else:
            self._waiting[name] = text

    def _show(self, name: str, text: str) -> None:
        self._waiting.pop(name, None)
        self._shown[name], self._at[name] = text, time.monotonic()
        print(f"{name}: {text}", file=self._out, flush=True)


View = JsonView | LineView | ScreenView


def choose_view(out: TextIO, *, as_json: bool, secrets: bool, data_only: bool, pace: float,
                headlines: list[str]) -> View:
    if as_json:
        return JsonView(out, secrets)
    state = State(data_only)
    if out.isatty() and os.environ.get("TERM", "dumb") != "dumb":
        return ScreenView(out, state, headlines)
    return LineView(out, state, pace)
