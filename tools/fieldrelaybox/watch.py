"""Showing what a box tells: in place on a terminal, as lines of changes, or as JSON lines."""

from __future__ import annotations

import json
import shutil
import time
from typing import Any, TextIO

from . import app_protocol
from .app_protocol import Message
from .box_link import SequenceTracker
from .record_text import describe, topic


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


def describe_counters(counts: dict[str, Any]) -> str:
    parts = [f"{name} {counts[name]['datagrams']} datagrams {counts[name]['bytes']} bytes"
             for name in ("video", "audio")]
    missing = "not counted" if counts["missing"] is None else counts["missing"]
    return ", ".join(parts) + f", missing {missing}, late {counts['late']}"


class JsonView:
    """Every record as one JSON line, the counters once a second when they changed."""

    def __init__(self, out: TextIO) -> None:
        self._out = out
        self._last_counts: dict[str, Any] = {}

    def record(self, message: Message, record: dict[str, Any]) -> None:
        self._write({"time": round(time.time(), 3), "sequence": message.sequence,
                     "client_id": message.client_id} | record)

    def note(self, text: str) -> None:
        self._write({"note": text})

    def counters(self, counts: dict[str, Any]) -> None:
        media = {name: counts[name] for name in counts if name != "records"}
        if media != self._last_counts:
            self._last_counts = media
            self._write({"counters": counts})

    def finish(self) -> None:
        pass

    def _write(self, value: dict[str, Any]) -> None:
        print(json.dumps(value), file=self._out, flush=True)


class LineView:
    """One line per change, of each topic at most one in `pace` seconds."""

    def __init__(self, out: TextIO, pace: float) -> None:
        self._out, self._pace = out, pace
        self._shown: dict[str, str] = {}
        self._waiting: dict[str, str] = {}
        self._at: dict[str, float] = {}

    def record(self, _: Message, record: dict[str, Any]) -> None:
        self._change(topic(record), describe(record))

    def note(self, text: str) -> None:
        print(text, file=self._out, flush=True)

    def counters(self, counts: dict[str, Any]) -> None:
        self._change("media", describe_counters(counts))
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


class ScreenView:
    """One line per topic, drawn over and over in place."""

    REDRAW_EVERY = 0.1

    def __init__(self, out: TextIO, headline: str) -> None:
        self._out, self._headline = out, [headline] if headline else []
        self._lines: dict[str, str] = {}
        self._notes: list[str] = []
        self._height = 0
        self._drawn_at = 0.0

    def record(self, _: Message, record: dict[str, Any]) -> None:
        self._lines[topic(record)] = describe(record)
        self._draw()

    def note(self, text: str) -> None:
        self._notes.append(text)
        self._draw(force=True)

    def counters(self, counts: dict[str, Any]) -> None:
        self._lines["media"] = describe_counters(counts)
        self._draw()

    def finish(self) -> None:
        self._draw(force=True)

    def _draw(self, force: bool = False) -> None:
        now = time.monotonic()
        if not force and now - self._drawn_at < self.REDRAW_EVERY:
            return
        self._drawn_at = now
        width = shutil.get_terminal_size().columns
        topics = [f"{name:>13}  {text}" for name, text in sorted(self._lines.items())]
        lines = [line[:width - 1] for line in self._headline + topics]
        up = f"\033[{self._height}A" if self._height else ""
        notes, self._notes = self._notes, []
        drawn = "".join(f"\r{line}\033[K\n" for line in notes + lines)
        self._out.write(f"{up}{drawn}\033[J")
        self._out.flush()
        self._height = len(lines)


View = JsonView | LineView | ScreenView


def choose_view(out: TextIO, as_json: bool, pace: float, headline: str = "") -> View:
    if as_json:
        return JsonView(out)
    return ScreenView(out, headline) if out.isatty() else LineView(out, pace)
