"""What a watched box has told, how old each of it is, and whether it is still so."""

from __future__ import annotations

import time
from dataclasses import dataclass
from typing import Any, Callable

from . import report as reports
from .record_text import Record, count_of, describe, printable, rc_text, topic

USUAL_LIMIT = 10.0
"""Seconds: the box tells its own every 3 s, where one or two may be lost."""
LIMITS = {"rc channels": 2.0, "settings": float("inf"), "received": 2.5}
BOX_SILENT_AFTER = 7.0
NEVER = float("-inf")
OF_THE_BOX = ("received", "box", "camera link", "video link", "camera wi-fi", "version", "rc channels",
              "settings")
"""All else comes from the camera."""
ORDER = ("received", "camera link", "video link", "battery", "camera", "box", "exposure", "rc channels",
         "camera wi-fi", "gimbal", "focus", "focus range", "focus point", "histogram", "playback",
         "gimbal counts", "gimbal status", "version", "settings")
"""What matters most first."""


@dataclass
class Known:
    text: str
    at: float
    record: Record


@dataclass(frozen=True)
class Row:
    topic: str
    age: str
    text: str
    is_over: bool
    """It was so; what it came from is gone, or it has not come again for long."""


def age_text(seconds: float) -> str:
    if seconds == float("inf"):
        return "-"
    for size, unit in ((3600, "h"), (60, "m")):
        if seconds >= size:
            return f"{seconds // size:.0f}{unit}"
    return f"{seconds:.0f}s"


def describe_counters(counts: dict[str, Any]) -> str:
    parts = [f"{name} {counts[name]['datagrams']} ({counts[name]['bytes'] / 1e6:.1f} MB)"
             for name in ("video", "audio")]
    missing = "not counted" if counts["missing"] is None else counts["missing"]
    return f"missing {missing}, late {counts['late']}, " + ", ".join(parts)


class State:
    """Everything that was told last."""

    def __init__(self, data_only: bool, clock: Callable[[], float] = time.monotonic) -> None:
        self._data_only, self._clock = data_only, clock
        self._known: dict[str, Known] = {}
        self._counts: dict[str, int] = {}
        self._grown = {"heard": clock()}
        self._report: reports.Report | None = None

    def record(self, record: Record) -> tuple[str, str]:
        """Topic and text of what is told."""
        return self._put(topic(record), describe(record), record)

    def report(self, text: str) -> tuple[str, str]:
        """Of the settings, which are told when somebody has asked for them."""
        try:
            now = reports.parse(text)
        except ValueError:
            return self._put("settings", "reported, but the report cannot be read", {})
        before, self._report = self._report, now
        told = ", ".join(reports.changes(before, now)) if before else "reported; config shows them"
        if not told and "settings" in self._known:
            told = self._known["settings"].text
        return self._put("settings", printable(told), {})

    def counters(self, counts: dict[str, Any]) -> tuple[str, str]:
        for name in ("video", "audio", "records"):
            if counts[name]["datagrams"] > self._counts.get(name, 0):
                self._counts[name] = counts[name]["datagrams"]
                self._grown[name] = self._grown["heard"] = self._clock()
        text = describe_counters(counts)
        self._put("received", text, {})
        self._known["received"].at = max(self._grown.get("video", NEVER), self._grown.get("audio", NEVER))
        return "received", text

    def _put(self, name: str, text: str, record: Record) -> tuple[str, str]:
        self._known[name] = Known(text, self._clock(), record)
        return name, text

    def _age(self, name: str) -> float:
        return self._clock() - self._known[name].at

    def _is_alive(self, name: str) -> bool:
        if name not in self._known or self._silence() > BOX_SILENT_AFTER and name != "settings":
            return False
        if self._age(name) > LIMITS.get(name, USUAL_LIMIT):
            return False
        return name in OF_THE_BOX or self._link("camera link") == "connected"

    def _silence(self) -> float:
        return self._clock() - self._grown["heard"]

    def _link(self, name: str) -> str:
        """Its state; empty when it is not known any more."""
        return self._known[name].text if self._is_alive(name) else ""

    def rows(self) -> list[Row]:
        place = {name: number for number, name in enumerate(ORDER)}
        names = sorted(self._known, key=lambda name: (place.get(name, len(place)), name))
        return [self._row(name) for name in names]

    def _row(self, name: str) -> Row:
        age, is_over = self._age(name), not self._is_alive(name)
        text = self._known[name].text
        if is_over and name != "received":  # a count stays true
            text = f"was {text}"
        return Row(name, age_text(age), text, is_over)

    def summary(self) -> str:
        """What works, in words."""
        if self._silence() > BOX_SILENT_AFTER:
            return f"the box has been silent for {age_text(self._silence())}, still trying"
        words = [self._video(), self._camera(), *self._of_the_box()]
        return ", ".join(word for word in words if word) or "nothing is told yet"

    def _video(self) -> str:
        link = self._link("video link")
        if self._data_only:
            return {"connected": "the box has video", "disconnected": "the box has no video"}.get(link, "")
        if self._clock() - self._grown.get("video", NEVER) <= LIMITS["received"]:
            return "video flows"
        return "video reaches the box, not here" if link == "connected" else "no video"

    def _camera(self) -> str:
        link = self._link("camera link")
        return f"camera {link}" if link else ""

    def _of_the_box(self) -> list[str]:
        if not self._is_alive("box"):
            return []
        record = self._known["box"].record
        return [f"RC {rc_text(record['rc_state'])}",
                f"{count_of(sum(record['outputs'].values()), 'output')} on"]
