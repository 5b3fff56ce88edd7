#!/usr/bin/env -S --block-signal=INT python3
"""A client of the box: finds it, shows what it tells, receives its video, drives it.

Without --host it is the box on this machine. Where there is none it is looked for by broadcast; when
several answer, their addresses and names are told, and nothing else is done.
Without a subcommand the client watches. See the picture, photograph, change a setting:

    box_client.py --video - | ffplay -
    box_client.py camera shot
    box_client.py set rtsp_enabled on

Pass phrases and the keys of streams are shown as *** unless --secrets is given. A '-' in place of a
pass phrase, or of the address of a stream, is asked for, or read from standard input, a line each, so
that no list of processes shows it:

    box_client.py wifi set --camera wlan0 OSMO_x1 -

exit status:
    0  all went well
    1  it cannot be done: no box answers, the box did not take it, a file cannot be written, ...
    2  wrong usage
"""

from __future__ import annotations

from fieldrelaybox import at_start  # first of all  # noqa: F401

import argparse
import os
import sys
import time
from typing import Callable

from fieldrelaybox import (
    app_protocol, box_status, camera_words, client_commands, program, report, settings_words, watch)
from fieldrelaybox.app_protocol import Message
from fieldrelaybox.box_link import BoxLink
from fieldrelaybox.relay import parse_account, whole_account
from fieldrelaybox.watch_state import BOX_SILENT_AFTER

TAKE_A_VALUE = ("--host", "--port", "--relay", "--timeout")


class WholePictures:
    """H.264 from the first parameter set to the last whole picture: all of it can be decoded."""

    START = b"\0\0\0\1"
    PARAMETER_SET = START + b"\x67"

    def __init__(self) -> None:
        self._held, self._open = b"", False

    def take(self, payload: bytes) -> bytes:
        """What is whole now."""
        self._held += payload
        if not self._open:
            start = self._held.find(self.PARAMETER_SET)
            self._open = start >= 0
            self._held = self._held[start if self._open else 1 - len(self.PARAMETER_SET):]
        end = max(self._held.rfind(self.START), 0) if self._open else 0
        whole, self._held = self._held[:end], self._held[end:]
        return whole


class Watcher:
    """Receives until told to stop, and hands everything to the view and the video file."""

    def __init__(self, link: BoxLink, view: watch.View,
                 write_video: Callable[[bytes], None] | None) -> None:
        self._link, self._view, self._write_video = link, view, write_video
        self._counters = watch.Counters(link.data_only)
        self._silent = False

    def run(self, seconds: float | None, ending: program.Ending) -> None:
        end = None if seconds is None else time.monotonic() + seconds
        told = time.monotonic()
        try:
            while not ending.asked and (end is None or time.monotonic() < end):
                message = self._link.receive(0.2)
                if message:
                    self._take(message)
                if time.monotonic() - told >= 1.0:
                    told = time.monotonic()
                    self._every_second()
                self._view.refresh()
            self._view.counters(self._counters.as_dict())
        finally:
            self._view.finish()

    def _take(self, message: Message) -> None:
        self._counters.add(message)
        if message.kind == app_protocol.VIDEO and self._write_video:
            self._write_video(message.payload)
        elif message.kind == app_protocol.RECORD:
            if text := app_protocol.json_text(message):
                self._take_text(text)
            else:
                self._view.record(message, app_protocol.decode_record(message.payload))

    def _take_text(self, text: str) -> None:
        if report.is_report(text):
            self._view.report(text)
        else:
            self._view.note(text)

    def _every_second(self) -> None:
        self._view.counters(self._counters.as_dict())
        quiet = time.monotonic() - self._link.last_heard
        if quiet > BOX_SILENT_AFTER and not self._silent:
            self._view.note(f"nothing from the box for {quiet:.0f} s, still trying")
        elif self._silent and quiet < BOX_SILENT_AFTER:
            self._view.note("the box is back")
        self._silent = quiet > BOX_SILENT_AFTER


def open_video(name: str | None) -> int | None:
    if name is None:
        return None
    if name == "-":
        return os.dup(1)
    return os.open(name, os.O_WRONLY | os.O_CREAT | os.O_TRUNC | os.O_CLOEXEC, 0o666)


def video_writer(video: int | None, whole_pictures: bool,
                 ending: program.Ending) -> Callable[[bytes], None] | None:
    if video is None:
        return None
    pictures = WholePictures()
    return lambda payload: ending.write(video, pictures.take(payload) if whole_pictures else payload)


def run_watch(options: argparse.Namespace) -> None:
    commands = [app_protocol.command(text) for text in options.send]
    for text in options.send:
        client_commands.be_sure(options, text)
    video = open_video(options.video)
    out = sys.stderr if options.video == "-" else sys.stdout
    view = watch.choose_view(out, as_json=options.json, secrets=options.secrets, pace=options.pace,
                             data_only=options.data_only, headlines=options.headline)
    with BoxLink(options.host, options.port, options.data_only, options.relay) as link:
        box = link.find(options.timeout)
        with program.Ending() as ending:
            view.note(f"registered with the box at {box[0]}:{box[1]}"
                      + (" for data only" if options.data_only else ""))
            for datagram in commands:
                link.send(datagram)
            write_video = video_writer(video, options.whole_pictures, ending)
            Watcher(link, view, write_video).run(options.seconds, ending)


def add_common(parser: argparse.ArgumentParser) -> None:
    add = parser.add_argument
    add("--host", help="address or name of the box")
    add("--port", type=program.port, default=app_protocol.PORT, help="default %(default)s")
    add("--relay", type=parse_account, metavar="USER:PASSWORD:DEVICE",
        help="the host is a relay server with this account")
    add("--timeout", type=program.seconds, default=3.0, metavar="SECS",
        help="how long to wait for an answer of the box (default %(default)s)")
    add("--json", action="store_true", help="print JSON lines")


def add_secrets(parser: argparse.ArgumentParser, where: str = "") -> None:
    parser.add_argument("--secrets", action="store_true",
                        help=f"{where}show pass phrases and the keys of streams")


def add_yes(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("--yes", action="store_true", help="do not ask before what is dangerous")


def add_watch(parser: argparse.ArgumentParser) -> None:
    add = parser.add_argument
    add("--data-only", action="store_true", help="register for records only, no video and audio")
    add("--for", dest="seconds", type=program.seconds, metavar="SECS", help="end after this time")
    add("--pace", type=program.seconds, default=1.0, metavar="SECS",
        help="when the output is no terminal: at most one line per topic in this time"
             " (default %(default)s; 0: every change)")
    add("--headline", action="append", default=[], metavar="TEXT",
        help="on a terminal: a line above all that is shown; more of them stand below it (repeatable)")
    add("--send", action="append", default=[], metavar="JSON",
        help="""send this command, such as '{"cmd":"configrequest"}', after registering (repeatable)""")
    add("--video", metavar="FILE",
        help="write the video payloads to FILE; '-' is standard output, text goes to stderr then")
    add("--whole-pictures", action="store_true",
        help="with --video: write only H.264 pictures that are whole and can be decoded")
    add_secrets(parser, "with --json: ")
    add_yes(parser)
    parser.set_defaults(run=run_watch)


def add_camera(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("word", metavar="WORD", help="what to do, see below")
    parser.add_argument("words", metavar="PARAM [VALUE1 [VALUE2]]", nargs="*",
                        help="its parameter and values")
    add_yes(parser)
    parser.epilog = ("The box answers nothing; that the camera obeys shows in its pictures and "
                     f"records.\n\nwords:\n{camera_words.help_text()}")
    parser.set_defaults(run=client_commands.run_camera)


def add_config(parser: argparse.ArgumentParser) -> None:
    add_secrets(parser)
    parser.set_defaults(run=client_commands.run_config)


def add_set(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("name", metavar="NAME", help="the setting, see below")
    parser.add_argument("values", metavar="VALUE", nargs="*", help="its values")
    add_secrets(parser)
    parser.epilog = ("What is in force then is read back from the box. A '-' in place of a password, or of"
                     " rtmp_url,\nwhich holds the key of a stream, is asked for and not shown, or is the next"
                     " line of standard input.\n\nexamples:\n  box_client.py set udp_clients 192.168.1.10:5000\n"
                     "  box_client.py set rtmp_url -\n\n"
                     f"settings:\n{settings_words.help_text()}")
    parser.set_defaults(run=client_commands.run_set)


def scanned(interface: str) -> str:
    if interface not in tuple(settings_words.INTERFACES)[1:]:
        raise argparse.ArgumentTypeError(f"apps have wlan0 and wifi0 scanned alone; on the box: nmcli device wifi list"
                                         f" ifname {interface}")
    return interface


def not_from_afar(_: str) -> None:
    raise argparse.ArgumentTypeError("status runs on the box itself; from afar the panel's /metrics has the same")


def add_wifi(parser: argparse.ArgumentParser) -> None:
    interfaces = tuple(settings_words.INTERFACES)
    actions = parser.add_subparsers(dest="action", required=True, metavar="ACTION")
    scan = actions.add_parser("scan", help="list the networks that an interface sees")
    add_common(scan)
    scan.add_argument("interface", nargs="?", default="wlan0", type=scanned,
                      help="wlan0 (the default) or wifi0")
    scan.set_defaults(run=client_commands.run_wifi_scan)
    change = actions.add_parser(
        "set", help="change the Wi-Fi links", description=f"""Changes the Wi-Fi links; what is not
        given stays as it is. IFACE is one of {', '.join(interfaces)}; another one is written into
        fieldrelaybox.conf on the box. A '-' in place of a PASSWORD is asked for, or the next line of
        standard input, in the order below.""")
    add_common(change)
    add_secrets(change)
    for option, title in (("--camera", "the camera's network"), ("--network", "the home network"),
                          ("--ap", "the box's own access point")):
        change.add_argument(option, nargs=3, metavar=("IFACE", "SSID", "PASSWORD"), help=title)
    change.add_argument("--band", choices=("2.4", "5"), help="band of the access point")
    change.add_argument("--channel", type=program.number(1, 165, int),
                        help="its channel: 1 to 13, or 36, 40, 44 or 48")
    change.add_argument("--country", help="its country code")
    change.set_defaults(run=client_commands.run_wifi_set)


def add_status(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("--json", action="store_true", help="print the whole record as JSON")
    parser.add_argument("--host", "--relay", type=not_from_afar, help=argparse.SUPPRESS)
    parser.epilog = ("Runs on the box itself; from afar the panel's /metrics has the same. Counts begin at zero"
                     " whenever\nthe daemon starts; bytes are those in the datagrams. blocked: not sent, the queue"
                     " was full; failed:\nnot sent for another reason.")
    parser.set_defaults(run=box_status.run_status)


def add_power(parser: argparse.ArgumentParser) -> None:
    add_yes(parser)
    parser.set_defaults(run=client_commands.run_power)


def add_restart(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("--no-wait", action="store_true", help="do not wait until it is back")
    parser.set_defaults(run=client_commands.run_restart)


SUBCOMMANDS: dict[str, tuple[str, Callable[[argparse.ArgumentParser], None]]] = {
    "watch": ("show what the box tells (this is what happens without a subcommand)", add_watch),
    "camera": ("drive the camera and the gimbal", add_camera),
    "config": ("show all settings of the box and how to change each", add_config),
    "set": ("change one setting", add_set),
    "wifi": ("look for networks, change the Wi-Fi links", add_wifi),
    "status": ("on the box: what the daemon has received, sent, taken and refused", add_status),
    "restart": ("end the daemon; its start script starts it again", add_restart),
    "reboot": ("start the whole box anew", add_power),
    "shutdown": ("shut the whole box down", add_power),
}


def build_parser() -> argparse.ArgumentParser:
    parser = program.make_parser(__doc__)
    commands = parser.add_subparsers(dest="subcommand", required=True, metavar="SUBCOMMAND")
    for name, (summary, add_arguments) in SUBCOMMANDS.items():
        command = commands.add_parser(name, help=summary, description=summary,
                                      formatter_class=parser.formatter_class)
        if name not in ("wifi", "status"):
            add_common(command)
        add_arguments(command)
        if name == "watch":
            options = command.format_help().split("options:\n", 1)[1]
            parser.epilog = f"options of watch:\n{options}"
    return parser


def options_behind(arguments: list[str]) -> list[str]:
    """What stands before the subcommand belongs to it, and so behind it."""
    place = 0
    while place < len(arguments) and arguments[place].startswith("-"):
        place += 2 if arguments[place] in TAKE_A_VALUE else 1
    words = 2 if arguments[place:place + 1] == ["wifi"] else 1
    if place >= len(arguments) or arguments[place] not in SUBCOMMANDS:
        return arguments
    end = place + words
    return arguments[place:end] + arguments[:place] + arguments[end:]


def parse_arguments(arguments: list[str]) -> argparse.Namespace:
    arguments = options_behind(arguments)
    known = (*SUBCOMMANDS, "-h", "--help", "--version")
    if not arguments or arguments[0] not in known:
        arguments = ["watch", *arguments]
    return build_parser().parse_args(arguments)


def main() -> None:
    options = parse_arguments(sys.argv[1:])
    if getattr(options, "relay", None):
        if not options.host:
            raise ValueError("--relay needs the relay server's --host")
        options.relay = whole_account(options.relay)
    options.run(options)


if __name__ == "__main__":
    program.run(main)
