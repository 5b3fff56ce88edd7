"""The client's subcommands that change something, and how they find out whether it worked."""

from __future__ import annotations

import argparse
import json
import time
from typing import Any, Callable

from . import app_protocol, camera_words, settings_words
from .box_link import BoxLink, NoAnswer
from .settings_words import INTERFACES, UNCHANGED, WIFI_MEMBERS

SCAN_TIMEOUT = 24.0
SCAN_AGAIN_AFTER = 12.0
"""Seconds; the box gives a scan up after 10."""

RESTART_TIMEOUT = 20.0
ASK_AGAIN_AFTER = 1.0
REPORT_COMMAND = '{"cmd":"configrequest"}'
REPORT_START = '{"udp_en":'

Report = dict[str, Any]


class NotDone(Exception):
    """The box answers, but did not do what it was told."""


def ask(link: BoxLink, command: str, read: Callable[[str], Any], timeout: float,
        again_after: float = ASK_AGAIN_AFTER) -> Any:
    """Send a command and return what `read` makes of the first JSON text that is its answer.

    Apps get each other's answers, too: `read` returns None for those. The command is sent again
    from time to time: an answer is dropped while the box is sending video. NotDone when none came.
    """
    end = time.monotonic() + timeout
    ask_at = 0.0
    while (now := time.monotonic()) < end:
        if now >= ask_at:
            link.send_command(command)
            ask_at = now + again_after
        message = link.receive(min(0.2, end - now))
        if message is None or message.kind != app_protocol.RECORD:
            continue
        if not app_protocol.is_json(message.payload):
            continue
        answer = read(message.payload.rstrip(b"\0\n").decode("utf-8", "replace"))
        if answer is not None:
            return answer
    raise NotDone(f"no answer to {command} within {timeout:g} s (the box drops answers while it"
                  " sends video)")


def _read_report(text: str) -> Report | None:
    if not text.startswith(REPORT_START):
        return None
    try:
        # The box inserts texts as they are: a backslash in one stands for itself.
        report: Report = json.loads(text.replace("\\", "\\\\"), strict=False)
    except ValueError as error:
        raise NotDone(f"the box's answer is no JSON, perhaps a text in it contains a quote"
                      f" ({error}):\n{text}") from None
    return report


def fetch_report(link: BoxLink, timeout: float) -> Report:
    report: Report = ask(link, REPORT_COMMAND, _read_report, timeout)
    return report


def _read_scan(code: str, text: str) -> str | None:
    """The names in reach. They are not escaped, so the text need not be JSON."""
    head, tail = f'{{"cmd":"wlanscan","param":"{code}","value":"', '"}'
    if not text.startswith(head) or not text.endswith(tail):
        return None
    return text[len(head):-len(tail)]


def confirm(link: BoxLink, expected: dict[str, str], timeout: float) -> None:
    """Read reports until they show what is expected; NotDone tells what they show instead."""
    end = time.monotonic() + timeout
    while True:
        report = fetch_report(link, timeout)
        wrong = [f"{member} is {report.get(member)!s}, not {value}"
                 for member, value in expected.items() if str(report.get(member)) != value]
        if not wrong:
            return
        if time.monotonic() > end:
            raise NotDone("the box did not take it: " + "; ".join(wrong))
        time.sleep(0.1)


def _link(options: argparse.Namespace) -> BoxLink:
    return BoxLink(options.host, options.port, True, options.relay)


def _tell(options: argparse.Namespace, text: str, **facts: Any) -> None:
    print(json.dumps(facts) if options.json else text)


def run_camera(options: argparse.Namespace) -> None:
    words = options.words
    text = camera_words.command(options.word, words[0] if words else "", words[1:])
    with _link(options) as link:
        link.find(options.timeout)
        link.send_command(text)
    _tell(options, f"sent {text}", sent=json.loads(text))


def _report_lines(report: Report) -> list[str]:
    rows = [(member, str(value), settings_words.setting_of(member))
            for member, value in report.items() if member != "ifaces"]
    rows += [("ifaces", f"{entry.get('name')} {entry.get('addr')}", "")
             for entry in report.get("ifaces", [])]
    wide = max((len(row[1]) for row in rows if len(row[1]) <= 40), default=0)
    return [f"{row[0]:16}{row[1]:{wide}}  {row[2]}".rstrip() for row in rows]


def run_config(options: argparse.Namespace) -> None:
    with _link(options) as link:
        link.find(options.timeout)
        report = fetch_report(link, options.timeout)
    _tell(options, "\n".join(_report_lines(report)), **report)


def _change(options: argparse.Namespace, link: BoxLink, name: str, values: list[str],
            expected: dict[str, str]) -> None:
    link.send_command(settings_words.update_command(name, values))
    if expected:
        confirm(link, expected, options.timeout)
    shown = " ".join(f"{member}={value}" for member, value in expected.items())
    _tell(options, f"{name}: the box reports {shown}" if expected
          else f"{name}: sent (the report does not show it)",
          setting=name, confirmed=expected or None)


def run_set(options: argparse.Namespace) -> None:
    values = settings_words.convert(options.name, options.values)
    app_protocol.command(settings_words.update_command(options.name, values))
    with _link(options) as link:
        link.find(options.timeout)
        expected = settings_words.expected_members(options.name, values)
        _change(options, link, options.name, values, expected)


def run_wifi_scan(options: argparse.Namespace) -> None:
    code = INTERFACES[options.interface]
    command = json.dumps({"cmd": "wlan", "param": "scan", "value": code}, separators=(",", ":"))
    with _link(options) as link:
        link.find(options.timeout)
        names = ask(link, command, lambda text: _read_scan(code, text),
                    SCAN_TIMEOUT, SCAN_AGAIN_AFTER)
    networks = names.split(",") if names else []
    _tell(options, "\n".join(name or "(hidden)" for name in networks) or "no network found",
          interface=options.interface, networks=networks)


def _wifi_values(options: argparse.Namespace, report: Report) -> list[str]:
    """All twelve values: what is not given stays as the report shows it."""
    values = [str(report.get(member, "")) for member in WIFI_MEMBERS]
    for first in (0, 3, 6):
        values[first] = UNCHANGED  # the report does not tell every interface name apart
    for first, given in ((0, options.camera), (3, options.network), (6, options.ap)):
        if given:
            values[first:first + 3] = [INTERFACES[given[0]], given[1], given[2]]
    values[9] = {"2": "2.4", "5": "5"}.get(values[9], UNCHANGED)
    for place, given in ((9, options.band), (10, options.channel), (11, options.country)):
        if given is not None:
            values[place] = str(given)
    return values


def run_wifi_set(options: argparse.Namespace) -> None:
    for given in (options.camera, options.network, options.ap):
        if given and given[0] not in INTERFACES:
            raise ValueError(f"{given[0]} is none of {', '.join(INTERFACES)}")
    with _link(options) as link:
        link.find(options.timeout)
        values = _wifi_values(options, fetch_report(link, options.timeout))
        modes = {"2.4": "2", "5": "5"}
        expected = {member: modes.get(value, value) if member == "ap_mode" else value
                    for member, value in zip(WIFI_MEMBERS, values) if value != UNCHANGED}
        _change(options, link, "wifi", values, expected)


def run_restart(options: argparse.Namespace) -> None:
    if options.relay and not options.no_wait:
        raise ValueError("a relay does not tell whether the box is back: use --no-wait")
    with _link(options) as link:
        link.find(options.timeout)
        link.send_command('{"cmd":"restart"}')
        if options.no_wait:
            _tell(options, "told to restart", restarted=None)
            return
        if not link.is_registered_anew(RESTART_TIMEOUT):
            raise NoAnswer(f"the box has not come back within {RESTART_TIMEOUT:g} s")
    _tell(options, "the box has restarted", restarted=True)
