"""The settings that an app can change, the values they take, and where the report shows them.

They are read from settings.json, which is made from the rows of the box itself.
"""

from __future__ import annotations

import json
import re
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Callable

TRUE, FALSE = ("1", "true", "on", "yes"), ("0", "false", "off", "no")
INTERFACES = {"none": "0", "wifi0": "1", "wlan0": "2"}

HDMI_MODES = (
    "default", "640x480@60p CEA", "1280x720@50p CEA", "1280x720@60p CEA", "1920x1080@50i CEA",
    "1920x1080@50p CEA", "1920x1080@60i CEA", "1920x1080@60p CEA", "640x480@60p DMT",
    "640x480@75p DMT", "800x600@60p DMT", "800x600@75p DMT", "1024x768@60p DMT",
    "1024x768@75p DMT", "1152x864@75p DMT", "1280x1024@60p DMT", "1280x1024@75p DMT",
    "1920x1080@60p DMT")


LONGEST_LINE = 199
"""Bytes that the box reads of a line of its settings file."""
CHANNELS, UDP_RECEIVERS = 32, 10


def _is_address(text: str) -> bool:
    """Dotted IPv4."""
    parts = text.split(".")
    return len(parts) == 4 and all(part.isdecimal() and str(int(part)) == part and int(part) < 256
                                   for part in parts)


def _receivers_fault(text: str, last_port: int = 65535) -> str:
    for receiver in text.split(",") if text else ():
        address, _, port = receiver.partition(":")
        if not (_is_address(address) and port.isdecimal() and 0 < int(port) <= last_port):
            return f'"{receiver}" is not address:port, such as 192.168.1.10:5000'
    return ""


def _map_fault(text: str) -> str:
    return (f"at most {CHANNELS} functions" if text.count(",") >= CHANNELS
            else "functions stand without blanks" if " " in text else "")


def _phrase_fault(text: str) -> str:
    size = len(text.encode())
    fits = size == 0 or 8 <= size <= 63 or re.fullmatch("[0-9A-Fa-f]{64}", text)
    return "" if fits else (f"it has {size} bytes; a pass phrase has 8 to 63, a key 64 hexadecimal digits, an open"
                            " network none")


CHECKS: dict[str, Callable[[str], str]] = {
    "udp_clients": lambda text: f"at most {UDP_RECEIVERS} receivers"
        if text.count(",") >= UDP_RECEIVERS else _receivers_fault(text, 65534),  # sound: the port above
    "mpegts_clients": _receivers_fault,
    "rc_input_map": _map_fault,
    "ap_country": lambda text: "" if re.fullmatch("(00|[A-Z]{2})?", text)
        else "no country code such as 00, CN or US",
    "rtmp_url": lambda text: "" if re.fullmatch(r"(rtmps?://[^\s/]+\S*)?", text)
        else "no address such as rtmp://host/live",
    "server_host": lambda text: "" if not text or _is_address(text)
        else "no IPv4 address such as 192.0.2.5; names are not resolved",
    **dict.fromkeys(("camera_psk", "wifi_psk", "ap_psk"), _phrase_fault),
}
"""By the setting's key in the file: what is wrong with a text."""


@dataclass(frozen=True)
class Value:
    """One value of a setting: what it may be, and the report member that shows it ('' = none)."""

    title: str
    kind: str
    """'on|off', 'number' (from `lowest` to `highest`), 'text N' (at most N bytes), or the words."""

    member: str = ""
    words: tuple[str, ...] = ()
    key: str = ""
    lowest: int = 0
    highest: int = 2**31 - 1
    zero_is_unset: bool = False

    def convert(self, text: str) -> str:
        """The text that the box understands; ValueError when it could not be meant."""
        if self.kind == "on|off" and not self.words:
            if text.lower() not in TRUE + FALSE:
                raise ValueError(f"{text} is neither on nor off")
            return "1" if text.lower() in TRUE else "0"
        if fault := self._fault(text):
            raise ValueError(fault)
        return text

    def _fault(self, text: str) -> str:
        if self.words:
            return "" if text in self.words else f"{text} is none of {', '.join(self.words)}"
        return self._number_fault(text) if self.kind == "number" else self._text_fault(text)

    def _number_fault(self, text: str) -> str:
        if not re.fullmatch(r"0|-?[1-9]\d{0,9}", text):
            return f"{text} is no plain number"
        unset = self.zero_is_unset and text == "0"
        return ("" if unset or self.lowest <= int(text) <= self.highest
                else f"{text} is not within {self.lowest} to {self.highest}")

    def _text_fault(self, text: str) -> str:
        """Without the text itself, which may be a secret."""
        longest = int(self.kind.split()[1])
        if len(text.encode()) > longest:
            return f"at most {longest} bytes"
        if '"' in text:
            return "the settings file cannot hold a double quote"
        if any(ord(letter) < 32 or ord(letter) == 127 for letter in text):
            return "no control characters"
        if re.search(r"\s;", text):
            return "in the settings file a comment begins at a blank and ;"
        return CHECKS.get(self.key, lambda _: "")(text)

    @property
    def described(self) -> str:
        if self.kind == "on|off":
            return "on|off"
        return "|".join(self.words) if 0 < len(self.words) < 6 else self.title.upper()


def _kind_of(row: dict[str, Any]) -> str:
    if row["kind"] == "switch":
        return "on|off"
    if not row["kind"].endswith("text"):
        return "number"
    quotes = 2 if row["kind"] == "quoted text" else 0
    return f"text {min(row['capacity'] - 1, LONGEST_LINE - len(row['key']) - 1 - quotes)}"


def _value(row: dict[str, Any], parameter: dict[str, Any]) -> Value:
    """How the client asks for this value: `row` is the setting that it goes to."""
    words = parameter.get("words") or (
        [] if row["kind"] == "switch" else [choice["value"] for choice in row.get("choices", ())])
    byte = {"highest": 255} if row["kind"] == "byte" else {}
    limits = {name: row[name] for name in ("lowest", "highest") if name in row}
    # The box takes 0 for its own default, where there is one.
    unset = row.get("default_for_empty", row["key"] == "audio_bitrate")
    title = parameter.get("word", "number" if _kind_of(row) == "number" else row["key"])
    return Value(title, _kind_of(row), row.get("report", ""), tuple(words), row["key"],
                 zero_is_unset=unset, **(byte | limits))


def is_secret(key: str) -> bool:
    """What nobody should read over a shoulder."""
    return key.endswith("_psk") or key == "server_pass"


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
WIFI = SETTINGS.pop("wifi")
"""The twelve values of the setting "wifi", in order."""
WIFI_MEMBERS = tuple(value.member for value in WIFI)
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
        way = next((row["parameters"][0]["name"] for row in load_rows() if row["key"] == name), "")
        raise ValueError(f"{name} is changed by {'wifi set' if way == 'wifi' else f'set {way}'}" if way
                         else f"{name} is no setting (see set --help)")
    values = SETTINGS[name]
    if len(texts) != len(values):
        raise ValueError(f"usage: set {name} {' '.join(value.described for value in values)}")
    labels = [f"{name} {value.title}" for value in values] if len(values) > 1 else [name]
    return [convert_value(*each) for each in zip(values, texts, labels)]


def convert_value(value: Value, text: str, label: str) -> str:
    try:
        return value.convert(text)
    except ValueError as error:
        raise ValueError(f"{label}: {error}") from None


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
