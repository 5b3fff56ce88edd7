"""The panel under strangers who ask too much: what moves is stopped in time, and the owner gets in."""

from __future__ import annotations

import contextlib
import http.client
import json
import socket
import subprocess
import time

from box import LOOPBACK, TIMEOUT, Receiver, wait_until
from panel import PASSWORD, Live, Panel, PanelTestCase, is_closed

OTHER = "127.0.0.2"
STOP = {"cmd": "position", "param": "moverel", "value1": "0", "value2": "0"}


class HeardBox(Receiver):
    """A box that answers and keeps the commands that it hears, with their times."""

    def heard(self, seconds: float) -> list[tuple[float, dict[str, str]]]:
        found, end = [], time.monotonic() + seconds
        while (left := end - time.monotonic()) > 0:
            if data := self.poll(left):
                if data[12:13] == b"{":
                    found.append((time.monotonic(), json.loads(data[12:])))
                else:
                    self.socket.sendto(b"B", self.sender)
        return found


class UnderLoad(PanelTestCase):
    def test_a_stop_does_not_wait_for_passwords(self) -> None:
        box = HeardBox()
        self.addCleanup(box.close)
        panel = self.enterContext(Panel("--box", f"{LOOPBACK}:{box.port}", password=True))
        place, body = f"http://{panel.host}", b'{"password":"wrong one"}'
        live = self.enterContext(Live(panel, Cookie=panel.log_in()[1]))
        strangers = [self.enterContext(socket.create_connection((LOOPBACK, panel.port), TIMEOUT, (f"127.0.20.{i}", 0)))
                     for i in range(1, 49) for _ in range(4)]
        box.heard(0.5)
        heard = []
        for _ in range(4):
            live.send({"hold": "gimbal", "a": 300, "b": 0})
            heard += box.heard(0.15)
        self.assertIn("300", [command.get("value1") for _, command in heard])
        let_go = time.monotonic()  # within 150 ms
        for stranger in strangers:
            stranger.sendall(f"POST /login HTTP/1.1\r\nHost: {panel.host}\r\nOrigin: {place}\r\n"
                             f"Content-Length: {len(body)}\r\n\r\n".encode() + body)
        stops = [at - let_go for at, command in box.heard(2) if command == STOP]
        self.assertTrue(stops)
        self.assertLess(stops[0], 0.5)
        answers = {int(stranger.recv(4096).split()[1]) for stranger in strangers}
        self.assertEqual(answers, {401, 503})  # checked, or told that too many wait
        self.assertEqual(panel.log_in()[0], 204)

    def test_a_stranger_in_the_same_ipv6_network_locks_nobody_out(self) -> None:
        server, owner, *others = (f"fd00:1::{i:x}" for i in range(1, 20))
        for address in (server, owner, *others):
            subprocess.run(["ip", "-6", "addr", "add", f"{address}/64", "dev", "lo", "nodad"], check=True)
        panel = self.enterContext(Panel(password=True, listen=f"[{server}]:0"))

        def log_in(password: str, source: str) -> int:
            with contextlib.closing(http.client.HTTPConnection(server, panel.port, TIMEOUT, (source, 0))) as connection:
                connection.request("POST", "/login", json.dumps({"password": password}),
                                   {"Origin": panel.place.rstrip("/")})
                return connection.getresponse().status
        self.assertEqual([log_in("wrong one", others[0]) for _ in range(7)], [401] * 5 + [429] * 2)
        self.assertEqual(log_in(PASSWORD, owner), 204)
        answers = [log_in("wrong one", other) for other in others for _ in range(5)]
        self.assertIn(429, answers[60:])  # addresses without end are of no use


class TooMuch(PanelTestCase):
    def setUp(self) -> None:
        self.panel = self.enterContext(Panel())

    def test_requests_of_one_address_are_bounded(self) -> None:
        with contextlib.closing(http.client.HTTPConnection(LOOPBACK, self.panel.port, timeout=TIMEOUT)) as connection:
            answers = []
            while 429 not in answers:
                connection.request("GET", "/session")
                answer = connection.getresponse()
                answer.read()
                answers.append(answer.status)
        self.assertGreaterEqual(answers.count(204), 100)
        self.assertEqual(answer.headers["Retry-After"], "1")
        self.assertEqual(self.panel.ask("/session", source=OTHER)[0], 204)

    def test_one_browser_too_many_is_told(self) -> None:
        pages = [self.enterContext(Live(self.panel)) for _ in range(16)]
        self.assertEqual(self.panel.ask("/")[0], 503)
        with Live(self.panel) as live:
            self.assertEqual(live.close_code(), 1013)
        self.panel.log.wait_for(f"web: no room for one more connection of {LOOPBACK}")
        crowd = [self.enterContext(socket.create_connection((LOOPBACK, self.panel.port), TIMEOUT)) for _ in range(30)]
        self.assertTrue(is_closed(crowd[-1]))
        self.assertEqual(self.panel.ask("/", source=OTHER)[0], 200)
        for connection in (pages[0].socket, *crowd):
            connection.close()

        def is_served() -> bool:
            with contextlib.suppress(ConnectionError):
                return self.panel.ask("/")[0] == 200
            return False
        wait_until(is_served, "there is room again")
