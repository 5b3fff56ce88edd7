"""The client's subcommands that change something, and how they find out whether it worked."""

from __future__ import annotations

import argparse
import json
import re
import time
import urllib.parse
from typing import Any, Callable

from . import app_protocol, camera_words, report as reports, secret_input, settings_words
from .box_link import BoxLink, NoAnswer
from .program import Failed
from .record_text import printable
from .report import Report
from .settings_words import INTERFACES, UNCHANGED, WIFI, WIFI_MEMBERS

SCAN_TIMEOUT = 24.0
SCAN_AGAIN_AFTER = 12.0
"""Seconds; the box gives a scan up after 10."""

RESTART_TIMEOUT = 20.0
ASK_AGAIN_AFTER = 1.0


class NotDone(Failed):
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
        text = app_protocol.json_text(message) if message else ""
        answer = read(text) if text else None
        if answer is not None:
            return answer
    raise NotDone(f"no answer to {command} within {timeout:g} s (the box drops answers while it"
                  " sends video)")


def _read_report(text: str) -> Report | None:
    if not reports.is_report(text):
        return None
    try:
        return reports.parse(text)
    except ValueError:
        raise NotDone("the box's report of its settings cannot be read") from None


def fetch_report(link: BoxLink, timeout: float) -> Report:
    report: Report = ask(link, reports.COMMAND, _read_report, timeout)
    return report


def _read_scan(code: str, text: str) -> str | None:
    """The names in reach. They are not escaped, so the text need not be JSON."""
    head, tail = f'{{"cmd":"wlanscan","param":"{code}","value":"', '"}'
    if not text.startswith(head) or not text.endswith(tail):
        return None
    return text[len(head):-len(tail)]


def _plain_name(told: str) -> str:
    """A scan tells each byte that is no printable ASCII as \\xC3."""
    try:
        return urllib.parse.unquote(re.sub(r"\\x([0-9A-Fa-f]{2})", r"%\1", told.replace("%", "%25")), errors="strict")
    except UnicodeDecodeError:
        return told


def confirm(link: BoxLink, expected: dict[str, str], timeout: float) -> Report:
    """Read reports until they show what is expected; NotDone tells what they show instead."""
    end = time.monotonic() + timeout
    while True:
        report = fetch_report(link, timeout)
        wrong = [member for member, value in expected.items() if str(report.get(member)) != value]
        if not wrong:
            return report
        if time.monotonic() > end:
            told = (f"{member} is another" if reports.hides(member) else
                    f"{member} is {report.get(member)}, not {expected[member]}" for member in wrong)
            raise NotDone("the box did not take it: " + "; ".join(told))
        time.sleep(0.1)


def _link(options: argparse.Namespace) -> BoxLink:
    return BoxLink(options.host, options.port, True, options.relay)


def _tell(options: argparse.Namespace, text: str, **facts: Any) -> None:
    print(json.dumps(facts) if options.json else text)


def be_sure(options: argparse.Namespace, text: str) -> None:
    """Failed when the command is a dangerous one and nobody agrees."""
    question = camera_words.danger(text)
    if question and not options.yes and not secret_input.agrees(question):
        raise Failed(f"not sent: {question.removesuffix(' Really?')} Say --yes to have it")


def _send_surely(options: argparse.Namespace, text: str) -> None:
    app_protocol.command(text)
    be_sure(options, text)
    with _link(options) as link:
        link.find(options.timeout)
        link.send_command(text)
        _tell(options, f"sent to {link.described}: {text}", sent=json.loads(text), box=link.described)


def run_camera(options: argparse.Namespace) -> None:
    words = options.words
    _send_surely(options, camera_words.command(options.word, words[0] if words else "", words[1:]))


def run_power(options: argparse.Namespace) -> None:
    _send_surely(options, json.dumps({"cmd": options.subcommand}, separators=(",", ":")))


def _report_lines(report: Report) -> list[str]:
    rows = [(member, printable(str(value)), settings_words.setting_of(member))
            for member, value in report.items() if member != "ifaces"]
    rows += [("ifaces", f"{entry.get('name')} {entry.get('addr')}", "")
             for entry in report.get("ifaces", [])]
    wide = max((len(row[1]) for row in rows if len(row[1]) <= 40), default=0)
    return [f"{row[0]:16}{row[1]:{wide}}  {row[2]}".rstrip() for row in rows]


def run_config(options: argparse.Namespace) -> None:
    with _link(options) as link:
        link.find(options.timeout)
        report = fetch_report(link, options.timeout)
    if not options.secrets:
        report = reports.without_secrets(report)
    _tell(options, "\n".join(_report_lines(report)), **report)


def _change(options: argparse.Namespace, link: BoxLink, name: str, values: list[str],
            expected: dict[str, str]) -> None:
    link.send_command(settings_words.update_command(name, values))
    report = confirm(link, expected, options.timeout) if expected else {}
    in_force = {member: str(report[member]) for member in expected}
    if not options.secrets:
        in_force = reports.without_secrets(in_force)
    told = [printable(reports.in_words(*each)) for each in in_force.items()]
    untold = [value.title for value in settings_words.SETTINGS.get(name, ()) if not value.member]
    if untold and name != "video_resolution":
        told.append(f"{name} {', '.join(untold)}: sent, the box does not report it")
    lines = (f"in force on {link.described}:", *told)
    _tell(options, (" " if len(told) == 1 else "\n  ").join(lines), setting=name, confirmed=in_force or None,
          box=link.described)


def _with_secrets(values: tuple[settings_words.Value, ...], texts: list[str]) -> list[str]:
    """The texts, with those that are asked for."""
    if len(texts) != len(values):
        return texts
    return [secret_input.take(text, value.key) if reports.hides(value.member) else text
            for value, text in zip(values, texts)]


def run_set(options: argparse.Namespace) -> None:
    known = settings_words.SETTINGS.get(options.name, ())
    values = settings_words.convert(options.name, _with_secrets(known, options.values))
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
    networks = [_plain_name(name) for name in names.split(",")] if names else []
    nothing = "no network found; the box's log says so if its radio was busy, off or missing"
    _tell(options, "\n".join(printable(name) or "(hidden)" for name in networks) or nothing,
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


def _check_wifi(options: argparse.Namespace) -> None:
    """What can be known without the box; asks for pass phrases."""
    for first, given in ((0, options.camera), (3, options.network), (6, options.ap)):
        if not given:
            continue
        if given[0] not in INTERFACES:
            raise ValueError(f"{given[0]} is none of {', '.join(INTERFACES)}; an interface of another name is written"
                             f" into fieldrelaybox.conf on the box, {WIFI[first].key}={given[0]}")
        given[:] = _with_secrets(WIFI[first:first + 3], given)
        for value, text in zip(WIFI[first + 1:first + 3], given[1:]):
            settings_words.convert_value(value, text, value.key)
    if options.country is not None:
        settings_words.convert_value(WIFI[11], options.country, WIFI[11].key)


def run_wifi_set(options: argparse.Namespace) -> None:
    _check_wifi(options)
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
            _tell(options, f"told {link.described} to restart", restarted=None, box=link.described)
            return
        if not link.is_registered_anew(RESTART_TIMEOUT):
            raise NoAnswer(f"the box has not come back within {RESTART_TIMEOUT:g} s")
        _tell(options, f"{link.described} has restarted", restarted=True, box=link.described)
