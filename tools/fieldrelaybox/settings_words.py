"""The settings that an app can change, the values they take, and where the report shows them.

They are read from settings.json, which is made from the rows of the box itself.
"""

from __future__ import annotations

import json
from dataclasses import dataclass
from pathlib import Path
from typing import Any

TRUE, FALSE = ("1", "true", "on", "yes"), ("0", "false", "off", "no")
INTERFACES = {"none": "0", "wifi0": "1", "wlan0": "2"}

HDMI_MODES = (
    "default", "640x480@60p CEA", "1280x720@50p CEA", "1280x720@60p CEA", "1920x1080@50i CEA",
    "1920x1080@50p CEA", "1920x1080@60i CEA", "1920x1080@60p CEA", "640x480@60p DMT",
    "640x480@75p DMT", "800x600@60p DMT", "800x600@75p DMT", "1024x768@60p DMT",
    "1024x768@75p DMT", "1152x864@75p DMT", "1280x1024@60p DMT", "1280x1024@75p DMT",
    "1920x1080@60p DMT")


@dataclass(frozen=True)
class Value:
    """One value of a setting: what it may be, and the report member that shows it ('' = none)."""

    title: str
    kind: str
    """'on|off', 'number', 'byte', 'text N' (at most N characters), or the allowed words."""

    member: str = ""
    words: tuple[str, ...] = ()

    def convert(self, text: str) -> str:
        """The text that the box understands; ValueError when it could not be meant."""
        if self.words:
            if text not in self.words:
                raise ValueError(f"{self.title}: {text} is none of {', '.join(self.words)}")
        elif self.kind == "on|off":
            return self._truth(text)
        elif self.kind in ("number", "byte"):
            self._check_number(text)
        elif len(text.encode()) > (limit := int(self.kind.split()[1])):
            raise ValueError(f"{self.title}: at most {limit} characters")
        return text

    def _truth(self, text: str) -> str:
        if text.lower() not in TRUE + FALSE:
            raise ValueError(f"{self.title}: {text} is neither on nor off")
        return "1" if text.lower() in TRUE else "0"

    def _check_number(self, text: str) -> None:
        low, high = (0, 255) if self.kind == "byte" else (-2**31, 2**31 - 1)
        try:
            number = int(text)
        except ValueError:
            raise ValueError(f"{self.title}: {text} is no number") from None
        if str(number) != text or not low <= number <= high:
            raise ValueError(f"{self.title}: {text} is no plain number from {low} to {high}")

    @property
    def described(self) -> str:
        if self.kind == "on|off":
            return "on|off"
        return "|".join(self.words) if 0 < len(self.words) < 6 else self.title.upper()


def _limit_of(kind: str, row: dict[str, Any]) -> str:
    return f"text {row['capacity'] - 1}" if kind.endswith("text") else kind


def _value(row: dict[str, Any], parameter: dict[str, Any]) -> Value:
    """How the client asks for this value: `row` is the setting that it goes to."""
    kind = "on|off" if row["kind"] == "switch" else row["kind"]
    words = parameter.get("words", ())
    if kind.endswith("text"):
        words = tuple(choice["value"] for choice in row.get("choices", ()))
    return Value(parameter.get("word", kind), _limit_of(kind, row), row.get("report", ""),
                 tuple(words))


def load_rows() -> list[dict[str, Any]]:
    """Every setting that an app can change, as the box knows it."""
    lists = json.loads(Path(__file__).with_name("settings.json").read_text())
    return [*lists["settings"], *lists["unsaved"]]


def _read_parameters() -> dict[str, tuple[Value, ...]]:
    """The values of each parameter in order. Of two settings for one value the first counts."""
    values: dict[str, dict[int, Value]] = {}
    for row in load_rows():
        for parameter in row["parameters"]:
            place = values.setdefault(parameter["name"], {})
            place.setdefault(parameter["value"], _value(row, parameter))
    return {name: tuple(place for _, place in sorted(places.items()))
            for name, places in values.items()}


SETTINGS = _read_parameters()
WIFI_MEMBERS = tuple(value.member for value in SETTINGS.pop("wifi"))
"""The report members that show the twelve values of the setting "wifi", in order."""
SETTINGS["hdmimode"] = (Value("mode", "", "", HDMI_MODES), Value("at every start", "on|off"))

UNCHANGED = "-"
"""Not a known interface code or band: the box leaves that one as it is."""


def update_command(name: str, values: list[str]) -> str:
    members = {"cmd": "updateparam", "name": name}
    for i, value in enumerate(values, 1):
        members["value" if i == 1 else f"value{i}"] = value
    return json.dumps(members, separators=(",", ":"), ensure_ascii=False)


def convert(name: str, texts: list[str]) -> list[str]:
    """The values for the box; ValueError says what is wrong with the name or a value."""
    if name not in SETTINGS:
        raise ValueError(f"{name} is no setting (see set --help)")
    values = SETTINGS[name]
    if len(texts) != len(values):
        raise ValueError(f"usage: set {name} {' '.join(value.described for value in values)}")
    return [value.convert(text) for value, text in zip(values, texts)]


def expected_members(name: str, values: list[str]) -> dict[str, str]:
    """What the report shows once the setting is as told."""
    if name == "video_resolution":
        width, height = values[0].split("x")
        return {"vw": width, "vh": height}
    return {value.member: text for value, text in zip(SETTINGS[name], values) if value.member}


def setting_of(member: str) -> str:
    """The setting behind a report member, preferring one that changes nothing else."""
    found = [name for name, values in SETTINGS.items() if member in [v.member for v in values]]
    found.sort(key=lambda name: len(SETTINGS[name]))
    if not found and member in ("vh",):
        return "set video_resolution"
    if not found:
        return "wifi set" if member in WIFI_MEMBERS else ""
    return f"set {found[0]}"


def help_text() -> str:
    return "\n".join(f"  {name} {' '.join(value.described for value in values)}"
                     for name, values in SETTINGS.items())
