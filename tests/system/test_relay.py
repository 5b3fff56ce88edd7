"""The way to the box through a relay server, and the client's subcommands."""

import argparse
import contextlib
import fcntl
import io
import json
import os
import re
import select
import signal
import socket
import struct
import subprocess
import sys
import termios
import time
import unittest
from typing import Callable
from unittest.mock import Mock, patch

from box import LOOPBACK, TIMEOUT, TOOLS, BoxTestCase, Lines, Receiver, app_protocol, repeated, send, wait_until

from fieldrelaybox.app_protocol import Message
from fieldrelaybox.box_link import BoxLink
from fieldrelaybox.camera_model import CameraModel
from fieldrelaybox.client_commands import fetch_report, run_set
from fieldrelaybox.program import Failed
from fieldrelaybox.relay import Account, authentication
from fieldrelaybox.simulated_camera import SimulatedCamera

PORT, RELAY = 4343, (LOOPBACK, 4343)
ALICE, BOB = Account("alice", "secret", "box-1"), Account("bob", "word", "box-2")
REMEMBERED = 2 * TIMEOUT
"""Seconds: the box speaks every 3, and an app notices after 6 that its relay has forgotten it."""


class Relay:
    def __init__(self) -> None:
        accounts = [f"--account={it.user}:{it.password}:{it.device}" for it in (ALICE, BOB)]
        self.process = subprocess.Popen(
            [sys.executable, "-B", TOOLS / "relay_server.py", f"--port={PORT}", *accounts],
            stdout=subprocess.PIPE)
        assert self.process.stdout
        self.log = Lines(self.process.stdout)
        self.log.wait_for(f"relay on 0.0.0.0:{PORT}")

    def stop(self) -> None:
        self.process.send_signal(signal.SIGTERM)
        status = self.process.wait(TIMEOUT)
        self.log.join()
        if status:
            raise AssertionError(f"the relay ended with {status}")

    def linked_box(self) -> tuple[int, int]:
        """Port and id of the box, once it is linked."""
        start = "box box-1 linked from "
        words = self.log.lines[self.log.wait_for(start, whole=False)].split()
        return int(words[4].split(":")[1]), int(words[7])


def await_message(link: BoxLink, wanted: Callable[[Message], bool],
                  meanwhile: Callable[[], object] = lambda: None) -> Message:
    end = time.monotonic() + REMEMBERED
    while time.monotonic() < end:
        meanwhile()
        message = link.receive(0.2)
        if message and wanted(message):
            return message
    raise AssertionError("no such message from the relay")


class Linked(BoxTestCase):
    settings = (f"camera_iface=\nserver_enabled=1\nserver_host={LOOPBACK}\nserver_port={PORT}\n"
                "server_user=alice\nserver_pass=secret\nserver_devid=box-1\n")

    def setUp(self) -> None:
        self.relay = Relay()
        self.link = self.enterContext(BoxLink(LOOPBACK, PORT, account=ALICE))

    def tearDown(self) -> None:
        self.relay.stop()
        self.assertNotIn("box forged linked", self.relay.log.lines)

    def assert_video_arrives(self, client_id: int, picture: bytes) -> None:
        wanted = (app_protocol.VIDEO, client_id, picture)
        await_message(self.link, lambda got: (got.kind, got.client_id, got.payload) == wanted,
                      lambda: send(picture, 5000))


class Restarts(Linked):
    def test_traffic_survives_a_restart_of_the_relay(self) -> None:
        self.link.find(REMEMBERED)
        _, client_id = self.relay.linked_box()
        self.box.log.wait_for(f"client id {client_id}")
        self.box.log.wait_for(f"client connected from {LOOPBACK}:{PORT}", whole=False)
        self.box.stand_ins.answer("pidof", 0)
        wait_until(lambda: self.box.mirror["apstate"], "the access point is up")
        report = fetch_report(self.link, REMEMBERED)
        self.assertEqual([report[name] for name in ("s4", "s5", "s6", "apstate")],
                         ["alice", "secret", "box-1", 1])
        relay = ("--json", f"--port={PORT}", "--relay=alice:secret:box-1")
        status, output = run_client("config", *relay)
        self.assertEqual((status, json.loads(output)), (0, report | {"s5": "***"}))
        status, output = run_client("set", "tcp_port", "9002", *relay)
        self.assertEqual((status, json.loads(output)["confirmed"]), (0, {"tcp_port": "9002"}))
        version = await_message(self.link, lambda message: message.payload[:1] == b"\x0b")
        self.assertEqual((version.kind, version.client_id), (app_protocol.RECORD, client_id))
        self.assert_video_arrives(client_id, b"before")
        start = len(self.box.log.lines)
        self.relay.stop()
        self.relay = Relay()
        zero = self.box.log.wait_for("client id 0", start, REMEMBERED)
        _, client_id = self.relay.linked_box()
        self.box.log.wait_for(f"client id {client_id}", zero)
        self.assert_video_arrives(client_id, b"after")


class ThroughRelay(Linked):
    def test_garbage_at_relay_and_box(self) -> None:
        self.link.find(REMEMBERED)
        port, client_id = self.relay.linked_box()
        stranger = b'{"cmd":"updateparam","name":"tcp_port","value":"6"}'
        garbage = (*[b""] * 600, app_protocol.EMPTY_HEADER + stranger, b"B", b"{", bytes(12), b"B" * 60000, b"{}", b"[]", b"\xff" * 20,
                   b'{"cmd":' + b"[" * 30000, b'{"cmd":"auth","user":"\\ud800"}',
                   b'{"cmd":"alive","id":"\\ud800"}', b'{"cmd":"authok"}',
                   b'{"cmd":"alive","id":"1\\nbox forged linked\\n"}', b'{"cmd":"auth","type":[]}')
        for data in garbage:
            send(data, PORT)
            send(data, port)
        began = time.monotonic()
        for text in ('{"name":7,"cmd":' + "[" * 200 + "]" * 200 + "}",
                     '{"cmd":"updateparam","name":{"a":null},"value":[7]}', '{"cmd":{},"param":7}'):
            self.link.send(app_protocol.EMPTY_HEADER + text.encode())
            self.box.status.post_command(text[:127])
            wait_until(lambda: not self.box.status.raw[704], "the command field is read")
        self.assertNotEqual(fetch_report(self.link, REMEMBERED)["tcp_port"], 6)
        self.assertLess(time.monotonic() - began, TIMEOUT / 8)
        self.assert_video_arrives(client_id, b"still")

    def test_address_of_an_app_becomes_a_box(self) -> None:
        self.link.find(REMEMBERED)  # box-1 is linked: an app may attach
        box = self.enterContext(socket.socket(socket.AF_INET, socket.SOCK_DGRAM))
        box.settimeout(TIMEOUT)
        linking = authentication(BOB).replace(b'"type":"1"', b'"type":"0"')
        box.sendto(authentication(Account("alice", "word", "box-1")), RELAY)
        self.relay.log.wait_for(f"{LOOPBACK}:{box.getsockname()[1]} refused")  # with no answer
        for request in (authentication(ALICE), linking):
            box.sendto(request, RELAY)
            self.assertEqual(json.loads(box.recv(99))["cmd"], "authok")
        self.relay.log.wait_for(f"app {LOOPBACK}:{box.getsockname()[1]} is a box now")
        link = self.enterContext(BoxLink(LOOPBACK, PORT, account=BOB))
        link.find(TIMEOUT)
        self.assertEqual(box.recv(99), app_protocol.register(False))
        await_message(link, lambda message: message.payload == b"mine",
                      lambda: box.sendto(app_protocol.build_message(b"mine"), RELAY))


def run_client(subcommand: str, *arguments: str, given: str = "") -> tuple[int, str]:
    command = [sys.executable, "-B", TOOLS / "box_client.py", *subcommand.split(),
               "--host", LOOPBACK, "--timeout", str(TIMEOUT), *arguments]
    run = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, input=given,
                         timeout=2 * REMEMBERED, check=False)
    return run.returncode, run.stdout


class Subcommands(BoxTestCase):
    settings = "camera_iface=\ntcp_port=9001\n"

    def assert_client(self, status: int, told: str, *arguments: str, given: str = "") -> None:
        got, output = run_client(*arguments, given=given)
        self.assertTrue(got == status and told in output, (got, output))

    def test_settings(self) -> None:
        self.assert_client(0, "9001", "config")
        self.assert_client(0, "tcp_port is 9002", "set", "tcp_port", "9002")
        self.assert_client(2, "", "set", "tcp_port", "many")
        self.assert_client(1, "no box answers", "config", "--port", "9", "--timeout", "0.2")

    def test_secrets_are_shown_to_who_asks_for_them(self) -> None:
        phrase, word = "hidden phrase", "hidden word"
        self.assert_client(0, "camera_psk is ***", "wifi set", "--camera", "wlan0", "OSMO", "-", given=f"{phrase}\n")
        self.assert_client(0, "server_pass is ***", "set", "server_connection", LOOPBACK, "4343", "me", "-", "box", "off",
                           given=f"{word}\n")
        self.assert_client(0, f"in force on {LOOPBACK}: rtmp_url is rtmp://a/app/***\n", "set", "rtmp_url", "-",
                           given="rtmp://a/app/hidden\n")
        wait_until(lambda: self.box.mirror["camera_psk"] == phrase, "it is in force")
        asking = ("--for", "2", "--send", '{"cmd":"configrequest"}')
        for command in (("config",), ("config", "--json"), ("watch", *asking), ("watch", "--json", *asking)):
            self.assertRegex(output := run_client(*command)[1], r"\*\*\*|settings: reported")
            self.assertNotIn("hidden", output)
        for command in (("config",), ("watch", "--json", *asking)):
            output = run_client(*command, "--secrets")[1]
            self.assertTrue(all(text in output for text in (phrase, word, "app/hidden")), output)

    def test_scan_with_a_quote_in_a_name_and_a_reader_of_something_else(self) -> None:
        self.box.stand_ins.answer("iwlist", output='ESSID:"Caf"e"\nESSID:"Home"\n')
        self.assert_client(0, 'Caf"e\nHome\n', "wifi scan")

        replies = (b'{"cmd":"wlanscan","param":"2","value":"Caf"e"}', b'{"udp_en":1}')
        link = Mock()
        link.receive.side_effect = [Message(app_protocol.RECORD, 0, 0, text) for text in replies]
        self.assertEqual(fetch_report(link, TIMEOUT), {"udp_en": 1})

    def test_camera(self) -> None:
        camera = self.camera()
        self.assert_client(0, f"sent to {LOOPBACK}: {{", "camera", "iso", "400")
        camera.wait_for(lambda got: got.name.startswith("set iso"))
        self.assert_client(2, "", "camera", "fly")


class Neighbour(Receiver):
    """A box, as far as a client asks when it looks for one."""

    def __init__(self, address: str, name: str) -> None:
        super().__init__(app_protocol.PORT, address)
        self.report = app_protocol.build_message(b'{"udp_en":1,"tcp_port":9002,"s6":"%b","ifaces":[]}' % name.encode())

    def answer(self) -> None:
        while (data := self.poll()) is not None:
            if data == app_protocol.register(True):
                self.socket.sendto(b"B", self.sender)
            elif b"configrequest" in data:
                self.socket.sendto(self.report, self.sender)


class Discovery(unittest.TestCase):
    def set_port(self) -> str:
        options = argparse.Namespace(host=None, port=app_protocol.PORT, relay=None, timeout=TIMEOUT, json=False,
                                     secrets=False, name="tcp_port", values=["9002"])
        with contextlib.redirect_stdout(io.StringIO()) as told:
            run_set(options)
        return told.getvalue()

    def test_no_other_box_is_changed(self) -> None:
        boxes: list[Neighbour] = []

        def broadcast(link: BoxLink, _interface: int, data: bytes, _address: object) -> bool:
            return [link._socket.sendto(data, box.socket.getsockname()) for box in boxes] != []
        self.enterContext(patch("socket.if_nameindex", return_value=[(2, "eth0")]))
        self.enterContext(patch.object(BoxLink, "_send_out_of", broadcast))

        def put_up(address: str, name: str) -> None:
            boxes.append(box := Neighbour(address, name))
            self.addCleanup(box.close)
            self.enterContext(repeated(box.answer, 0.02))

        put_up("127.0.0.2", "van")
        self.assertEqual(self.set_port(), "in force on van at 127.0.0.2: tcp_port is 9002\n")
        put_up("127.0.0.3", "studio")
        with self.assertRaisesRegex(Failed, r"^2 boxes .*: 127\.0\.0\.2 \(van\), 127\.0\.0\.3 \(studio\)$"):
            self.set_port()
        put_up(LOOPBACK, "here")
        self.assertEqual(self.set_port(), "in force on 127.0.0.1: tcp_port is 9002\n")
        self.assertEqual([len([data for data in box.taken if b"updateparam" in data]) for box in boxes], [1, 0, 1])


class Screen(BoxTestCase):
    """What the client shows on a terminal, the lines of every picture that it draws."""

    def resize(self, columns: int, rows: int) -> None:
        fcntl.ioctl(self.terminal, termios.TIOCSWINSZ, struct.pack("4H", rows, columns, 0, 0))

    def shows(self, *words: str) -> bool:
        """Whether the newest picture has a line with each; none was ever larger than the terminal."""
        while select.select([self.terminal], [], [], 0)[0]:
            self.seen += os.read(self.terminal, 65536)
        pictures = ["", *self.seen.decode("utf-8", "replace").split("\033[H")[1:-1]]
        drawn = [re.sub(r"\033\[[\d;?]*[A-Za-z]|\r", "", text).split("\n") for text in pictures]
        self.assertLessEqual((max(map(len, drawn)), max(map(len, sum(drawn, [])))), (15, 80))
        self.picture = drawn[-1]
        return all(any(re.search(word, line) for line in self.picture) for word in words)

    def test_what_is_over_says_so_and_all_of_it_fits(self) -> None:
        self.terminal, inside = os.openpty()
        self.addCleanup(os.close, self.terminal)
        self.seen = b""
        self.resize(80, 15)
        client = subprocess.Popen([TOOLS / "box_client.py", "--host", LOOPBACK], stdin=inside, stdout=inside, stderr=inside,
                                  env=os.environ | {"TERM": "xterm"}, start_new_session=True)
        os.close(inside)
        self.addCleanup(client.wait)
        self.addCleanup(client.kill)
        with SimulatedCamera(model=CameraModel()):
            wait_until(lambda: self.shows("^no video, camera connected, RC off, no outputs on", r"battery +\ds 92 %",
                                          "in a taller window"), "all is shown")
        wait_until(lambda: self.shows("^no video, camera disconnected,", r"battery +\ds was 92 %", "was video mode"),
                   "the camera is gone")
        self.assertIn(b"\033[90m      battery", self.seen)
        self.resize(40, 10)
        wait_until(lambda: self.shows("^no outputs on$") and (len(self.picture), max(map(len, self.picture))) == (10, 40),
                   "it is drawn anew")
        client.send_signal(signal.SIGINT)
        self.assertEqual(client.wait(TIMEOUT), 0)
