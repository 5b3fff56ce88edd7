"""The box's report of its settings: reading it, and showing it without its secrets."""

from __future__ import annotations

import json
import re
from typing import Any

from .settings_words import INTERFACES, is_secret, load_rows

Report = dict[str, Any]
COMMAND = '{"cmd":"configrequest"}'
START = '{"udp_en":'
MEMBERS = {row["report"]: row["key"] for row in load_rows() if "report" in row}
"""The key in the settings file that each member shows."""
SWITCHES = {row["report"] for row in load_rows()
            if "report" in row and row["kind"] == "switch" and "choices" not in row}
INTERFACE_CODES = {row["report"] for row in load_rows() if row.get("conversion") == "interface code"}
NAMES_OF_INTERFACES = {code: name for name, code in INTERFACES.items()}
SECRETS = {member for member, key in MEMBERS.items() if is_secret(key)}
STREAM_ADDRESS = "rtmp_url"
HIDDEN = "***"
LAST_MEMBER = "ifaces"
NAMES = ("s6", "ap_ssid", "cam_ssid")
"""What a box is told by: its device id, the name of its access point, that of its camera."""
KNOWN = {*MEMBERS, "apstate", "version", LAST_MEMBER}

_MEMBER = re.compile(r'[{,]"(\w+)":(?=["\[\d-])')
_SERVER = re.compile(r"(\w+://)([^/@]*@)?([^/?]*(?:/[^/?]*)?)")


def is_report(text: str) -> bool:
    return text.startswith(START)


def _places(text: str) -> list[tuple[str, int, int]]:
    """Each member with the place of its value. The box escapes no text: one may hold a quote, or
    look like a member, which is believed of a known one alone when the text is a secret."""
    found: list[tuple[str, int]] = []
    for match in _MEMBER.finditer(text):
        inside_secret = found and found[-1][0] in SECRETS and match[1] not in KNOWN
        if not inside_secret and match[1] not in [name for name, _ in found]:
            found.append((match[1], match.end()))
        if match[1] == LAST_MEMBER:
            break
    ends = [start - len(f',"{name}":') for name, start in found[1:]] + [len(text.rstrip("}"))]
    return [(name, start, end) for (name, start), end in zip(found, ends)]


def _value(raw: str) -> Any:
    return raw[1:-1] if raw.startswith('"') else json.loads(raw)


def parse(text: str) -> Report:
    """ValueError when it is none."""
    return {name: _value(text[start:end]) for name, start, end in _places(text)}


def name_in(text: str) -> str:
    """The name of the box whose report it is, or an empty text."""
    try:
        report = parse(text)
    except ValueError:
        return ""
    return next((str(report[member]) for member in NAMES if report.get(member)), "")


def hides(member: str) -> bool:
    """Whether a value, or a part of it, is not for everybody's eyes."""
    return member in SECRETS or member == STREAM_ADDRESS


def shown(member: str, value: Any) -> Any:
    """A value for everybody's eyes."""
    if member in SECRETS:
        return HIDDEN if value else value
    if member == STREAM_ADDRESS:
        return _without_key(str(value))
    return value


def _without_key(address: str) -> str:
    """Where a stream goes: server and application."""
    match = _SERVER.match(address)
    if not match:
        return HIDDEN if address else address
    account = f"{HIDDEN}@" if match[2] else ""
    return match[1] + account + match[3] + (f"/{HIDDEN}" if address[match.end():] else "")


def without_secrets(report: Report) -> Report:
    return {member: shown(member, value) for member, value in report.items()}


def hide_secrets(text: str) -> str:
    """The text of a report, to the letter but for its secrets."""
    for member, start, end in reversed(_places(text)):
        if text[start] == '"' and (value := shown(member, text[start + 1:end - 1])) != text[start + 1:end - 1]:
            text = f'{text[:start]}"{value}"{text[end:]}'
    return text


def in_words(member: str, value: Any) -> str:
    words = {"0": "off", "1": "on"} if member in SWITCHES else NAMES_OF_INTERFACES if member in INTERFACE_CODES else {}
    return f"{MEMBERS.get(member, member)} is {words.get(str(value), value) if str(value) else 'empty'}"


def changes(before: Report, after: Report) -> list[str]:
    """What has become of what, in words; a secret one is only told to be another."""
    return [f"{in_words(member, shown(member, value))} now"
            for member, value in after.items() if member in MEMBERS and before.get(member) != value]
