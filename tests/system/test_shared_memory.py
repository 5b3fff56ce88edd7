"""The shared-memory regions: one layout wherever it is written down, and counts that are true."""

import json
import os
import re
import subprocess
import sys
import unittest
from collections import Counter
from pathlib import Path
from typing import Any

from box import (CONFIG_RECORD, DOCS, LOOPBACK, MASTER, ROOT, SHARED_MEMORY_DIRECTORY,
                 STATUS_BLOCK, TOOLS, App, Box, BoxTestCase, Receiver, app_protocol,
                 attitude_frame, counter_22_frame, wait_until)

from fieldrelaybox.box_status import read_counts
from fieldrelaybox.settings_words import update_command
from fieldrelaybox.shared_memory import STATISTICS, Structure

HEADERS = "".join(path.read_text() for path in (ROOT / "include" / "fieldrelaybox").glob("*.h"))
KINDS = {"char": ("s", "char"), "uint8_t": ("B", "u8"), "uint16_t": ("H", "u16"),
         "int16_t": ("h", "i16"), "uint32_t": ("I", "u32"), "int32_t": ("i", "i32"),
         "uint64_t": ("Q", "u64"), "int64_t": ("q", "i64"), "double": ("d", "f64")}
"""Of a C type: what the tools and what the page call it."""
Row = tuple[int, str, str, int]
"""Offset, name, C type and, of an array, count."""


def header_rows() -> dict[str, list[Row]]:
    """Every member but the padding, by structure. One without an asserted offset is an error."""
    offsets = {match[:2]: int(match[2]) for match in
               re.findall(r"FIELDRELAYBOX_LAYOUT\((\w+), (\w+), (\d+)\);", HEADERS)}
    return {name: [(offsets[name, member], member, kind, int(count or 0)) for kind, member, count in
                   re.findall(r"^ {4}(\w+) (\w+)(?:\[(\d+)\])?;", body, re.M)
                   if not re.fullmatch(r"(reserved|pad)\d+", member)]
            for name, body in re.findall(r"^typedef struct (\w+) {(.*?)^}", HEADERS, re.M | re.S)}


class Layouts(unittest.TestCase):
    ROWS = header_rows()
    maxDiff = None

    def tool_kind(self, kind: str, count: int) -> tuple[Any, int]:
        if kind in KINDS:
            return f"{count or ''}{KINDS[kind][0]}", 0
        return Structure(tuple((name, self.tool_kind(inner, many)[0])
                               for _, name, inner, many in self.ROWS[kind])), count

    def test_the_tools_have_the_headers_fields(self) -> None:
        for name, prefix, layout in (("StatusBlock", "STATUS", STATUS_BLOCK),
                                     ("ConfigRecord", "CONFIG", CONFIG_RECORD),
                                     ("Statistics", "STATISTICS", STATISTICS)):
            expected = [(offset, member, *self.tool_kind(kind, count))
                        for offset, member, kind, count in self.ROWS[name]]
            fields = [(it.offset, it.name, it.kind, it.count) for it in layout.fields.values()]
            self.assertEqual(fields, expected)
            self.assertIn(f"FIELDRELAYBOX_{prefix}_SIZE = {layout.size}", HEADERS)
            self.assertIn(f'FIELDRELAYBOX_{prefix}_NAME "/{layout.name}"', HEADERS)

    def test_the_page_has_the_headers_fields(self) -> None:
        sections = re.split(r"^##+ .*: (\w+), \d+ bytes$",
                            (DOCS / "shared-memory.md").read_text(), flags=re.M)
        page = {name: re.findall(r"^\| (\d+) \| ([^|]+) \| `(\w+)` \|", text, re.M)
                for name, text in zip(sections[1::2], sections[2::2])}

        def shown(kind: str, count: int) -> str:
            return KINDS.get(kind, ("", kind))[1] + (f"[{count}]" if count else "")
        expected = {name: [(str(offset), shown(kind, count), member)
                           for offset, member, kind, count in rows]
                    for name, rows in self.ROWS.items()}
        self.assertEqual(page, expected)


STATISTICS_PLACE = SHARED_MEMORY_DIRECTORY / STATISTICS.name
NO_COUNTERS = ("magic", "version", "size", "process_id", "started", "address", "port", "present")


def counters(value: Any, path: str = "") -> Counter[str]:
    """All counters of a record, such as "apps.0.sent.bytes"; those at 0 count as missing."""
    if isinstance(value, int):
        return Counter({path: value})
    found: Counter[str] = Counter()
    for name, member in enumerate(value) if isinstance(value, list) else value.items():
        if name not in NO_COUNTERS:
            found.update(counters(member, f"{path}.{name}".strip(".")))
    return found


def client(*words: str) -> subprocess.CompletedProcess[str]:
    return subprocess.run([sys.executable, "-B", TOOLS / "box_client.py", "status", *words],
                          capture_output=True, text=True)


class Counts(BoxTestCase):
    """What is sent and received here is what the box counts, each kind of it."""

    SERVER, LISTENER, OUT_OF_REACH = 7500, 7100, "192.0.2.9"
    ENCODERS = ("rtmp", "mpegts", "tcp", "rtsp")
    settings = ("".join(f"{name}_enabled=1\n" for name in ENCODERS)
                + f"udp_enabled=1\nudp_clients={LOOPBACK}:{LISTENER},{OUT_OF_REACH}:7200\n"
                f"server_enabled=1\nserver_host={LOOPBACK}\nserver_port={SERVER}\n")

    server: Receiver

    @classmethod
    def setUpClass(cls) -> None:
        STATISTICS_PLACE.write_bytes(b"\xaa" * 5000)  # of a daemon before
        cls.addClassCleanup(os.umask, os.umask(0o077))
        cls.server = Receiver(cls.SERVER)  # before the box speaks to it
        cls.addClassCleanup(cls.server.close)
        super().setUpClass()

    def setUp(self) -> None:
        self.note_idle_threads()
        self.sent: Counter[str] = Counter()
        self.app, self.camera, self.stranger = (self.receiver(0) for _ in range(3))
        self.got: dict[Receiver, list[bytes]] = {it: [] for it in (self.app, self.server, self.camera)}

    def note(self, payload: bytes, *places: str) -> None:
        for place in places:
            self.sent.update({f"{place}.datagrams": 1, f"{place}.bytes": len(payload)})

    def send(self, payload: bytes, port: int, *places: str, source: Receiver | None = None) -> None:
        (source or self.stranger).socket.sendto(payload, (LOOPBACK, port))
        self.note(payload, *places)

    def command(self, text: str, *events: str) -> None:
        self.send(app_protocol.EMPTY_HEADER + text.encode(), app_protocol.PORT, "control_in")
        self.sent.update(events)

    def take(self, receiver: Receiver) -> list[bytes]:
        self.got[receiver] += receiver.drain()
        return self.got[receiver]

    def expected(self) -> Counter[str]:
        """With what has been received here."""
        before = self.sent.copy()
        for data in self.take(self.app):
            self.note(data, "control_out", *(["apps.0.sent"] if data != b"B" else []))
        for data in self.take(self.server):  # the reply comes from the port of the apps
            self.note(data, "control_out" if data == b"B" else "server_out",
                      *(["apps.1.sent"] if data[:1] == b"B" != data else []))
        for data in self.take(self.camera):
            self.note(data, "camera_out")
        result, self.sent = self.sent, before
        return result

    def await_counts(self, start: str = "") -> None:
        def wrong() -> dict[str, tuple[int, int]]:
            wanted, found = self.expected(), counters(read_counts())
            return {name: (found[name], wanted[name]) for name in wanted | found
                    if name.startswith(start) and found[name] != wanted[name]}
        try:
            wait_until(lambda: not wrong(), "the counts")
        except AssertionError:
            self.assertEqual(wrong(), {}, "counted, expected")

    def register_one_app_here_and_one_behind_the_server(self) -> None:
        registration = app_protocol.register(False)
        self.send(registration, app_protocol.PORT, "control_in", "apps.0.received", source=self.app)
        wait_until(lambda: b"B" in self.take(self.app), "the reply")
        self.send(app_protocol.local_video(True), app_protocol.PORT, "control_in", "apps.0.received",
                  source=self.app)
        self.await_counts("apps.0.received")
        self.got[self.server].append(self.server.receive())  # it authenticates
        link = self.server.sender[1]
        self.send(b'{"cmd":"authok","id":"7"}', link, "server_in", source=self.server)
        self.send(registration, link, "server_in", "apps.1.received", source=self.server)
        wait_until(lambda: b"B" in self.take(self.server), "the reply")

    def stream(self) -> None:
        video_out = [f"{name}_video_out" for name in self.ENCODERS]
        audio_out = [f"{name}_audio_out" for name in self.ENCODERS[:3]]
        for size, port, places in (
                (1, 5000, ["video_in", "player_out", *video_out]),
                (60000, 5000, ["video_in", "player_out", *video_out]),
                (500, 3001, ["transcoded_in", *video_out]), (900, 4001, ["audio_in", *audio_out])):
            self.send(bytes(size), port, "udp_clients.0.sent", *places)
            self.sent["udp_clients.1.sent.failed"] += 1
        self.send(b"", 4001, "audio_in")
        self.await_counts("udp_clients")
        self.command(update_command("video_transcode_enabled", ["1"]), "commands_taken", "saves_done")
        self.await_counts("saves_done")
        self.send(bytes(700), 5000, "video_in", "player_out", "transcoder_out")

    def push_frames(self) -> None:
        self.send(b"[00,00", app_protocol.PORT, "control_in")
        self.sent["camera_not_connected"] += 1
        self.await_counts("camera_not_connected")
        attitude = attitude_frame(1, 2, 3)
        for kind, frame in (
                ("accepted", attitude), ("accepted", counter_22_frame(5)), ("too_short", bytes(14)),
                ("too_short", b""), ("too_long", bytes((0x55, 105)) + bytes(103)),
                ("wrong_length", attitude[:-1]), ("unknown", bytes((0x55, 30)) + bytes(28)),
                ("unknown", bytes((0x55, 15)) + bytes(13))):
            self.push(kind, frame)
        self.send(b"[1,2,3,4,5,6,7,8,9", app_protocol.PORT, "control_in")
        wait_until(lambda: [data for data in self.take(self.camera) if data[0] == 1], "the frame")

    def push(self, kind: str, frame: bytes) -> None:
        """One at a time: the box's buffer holds only a few."""
        self.send(frame, 5001, "camera_in", source=self.camera)
        self.sent[f"frames_{kind}"] += 1
        self.await_counts(f"frames_{kind}")

    def give_commands(self) -> None:
        self.command('{"cmd":"nonsense"}', "commands_taken", "commands_unknown")
        self.command('{"cmd":"' + 300 * "x" + '"}', "commands_taken", "commands_unknown",
                     "commands_cut")
        MASTER.unlink()
        MASTER.mkdir()
        self.addCleanup(MASTER.rmdir)
        self.command(update_command("video_transcode_enabled", ["0"]), "commands_taken",
                     "saves_failed", "settings_unsaved")
        self.command('{"cmd":"camera","param":"disable"}', "commands_taken")
        wait_until(lambda: self.box.status["camera_disabled"], "the camera is disabled")
        self.push("ignored", attitude_frame(1, 2, 3))
        self.await_counts("saves_failed")

    def overload(self) -> None:
        """Scans that share an answer; and buttons until the log tells how many were left out."""
        scan, button = ('{"cmd":"wlan","param":"scan","value":"2"}',
                        '{"cmd":"playback","param":"back"}')
        self.box.stand_ins.answer("iwlist", seconds=2)
        for merged in ([], ["commands_merged"], ["commands_merged"]):
            self.command(scan, "commands_taken", *merged)
        for _ in range(13):
            self.command(button, "commands_taken")
            self.await_counts("commands_taken")
        told = re.compile(r"buttons: command dropped, 12 others wait .* \((\d+) more left out\)")

        def left_out() -> list[int]:
            self.command(button, "commands_taken", "commands_dropped")
            self.await_counts("commands_")
            return [int(found[1]) for line in self.box.log.lines if (found := told.fullmatch(line))]
        [count] = wait_until(left_out, "a line that tells how many were left out")
        self.assertLess(0, count)
        self.assertLess(count, self.sent["commands_dropped"])

    def test_everything_is_counted(self) -> None:
        self.assertEqual((STATISTICS_PLACE.stat().st_mode & 0o777, STATISTICS_PLACE.stat().st_size),
                         (0o644, STATISTICS.size))
        self.await_counts("video_in")  # from zero
        self.register_one_app_here_and_one_behind_the_server()
        self.stream()
        self.push_frames()
        self.give_commands()
        self.overload()
        wait_until(lambda: not any(app["present"] for app in read_counts()["apps"]), "no app is left")
        self.await_counts()
        wait_until(lambda: counters(json.loads(client("--json").stdout)) == self.expected(),
                   "the client shows the same")
        shown = client().stdout
        self.assertRegex(shown, r"(?m)^video \(port 5000\) +3 +60,701 +- +- +- +-$")
        self.assertRegex(shown, rf"(?m)^UDP client {self.OUT_OF_REACH}:7200 +- +- +- +- +- +4$")
        self.assertIn(f"app {LOOPBACK}:{self.app.port} (gone) ", shown)
        self.assertIn("too short 2, too long 1, wrong length byte 1, unknown 2, ignored", shown)
        with App() as other:
            place = read_counts()["apps"][0]
            self.assertEqual((place["port"], place["present"]), (other.port, 1))
            self.assertEqual(place["received"], {"datagrams": 1, "bytes": 14})


class NoRoom(unittest.TestCase):
    def test_the_box_goes_on_without_the_region(self) -> None:
        box, place = Box(), SHARED_MEMORY_DIRECTORY
        subprocess.run(["/bin/mount", "-n", "-t", "tmpfs", "-o", "size=8k", "small", place], check=True)
        self.addCleanup(subprocess.run, ["/bin/umount", "-n", "-l", place])
        for layout in (STATUS_BLOCK, CONFIG_RECORD):  # a page each
            (place / layout.name).write_bytes(bytes(layout.size))
        with box, App() as app:
            app.message()
            box.log.wait_for("cannot keep the statistics in shared memory /fieldrelaybox_stats: "
                             "No space left on device")
            shown = client()
            self.assertEqual((shown.returncode, shown.stdout, shown.stderr.count("\n")), (1, "", 1))
