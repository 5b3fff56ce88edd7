"""The panel as browsers, strangers and start scripts see it; what its page does is tested elsewhere."""

from __future__ import annotations

import base64
import contextlib
import gzip
import re
import signal
import socket
import ssl
import stat
import subprocess
from typing import Any

from box import LOOPBACK, MEMORY_IS_ITS_OWN, RUNNER, TIMEOUT, Receiver, run, wait_until
from fieldrelaybox.app_protocol import VIDEO, build_message, register
from panel import PAGE, PASSWORD, PROGRAM, Live, Panel, PanelTestCase, is_closed

OTHER = "127.0.0.2"
SPS_PPS = b"\0\0\0\1\x67\x42\xc0\x1e\0\0\0\1\x68\xce\x3c\x80"
BASIC = "Basic " + base64.b64encode(f"any:{PASSWORD}".encode()).decode()


def refused(*options: str, prefix: tuple[str, ...] = (), **how: Any) -> tuple[int, str]:
    """Status and log of a panel that has to end by itself."""
    return run(*prefix, *RUNNER, PROGRAM, *options, **how)[::2]


class Start(PanelTestCase):
    def test_open_doors_are_refused(self) -> None:
        hash_less = self.enterContext(contextlib.closing(open("/run/no-hash", "w+", encoding="utf-8")))
        for options, word in ((["--listen", "0.0.0.0:0"], "--password-file"), (["--listen", "[::]:0"], "--password"),
                              (["--listen", "somewhere"], "ADDRESS:PORT"),
                              (["--password-file", hash_less.name], "no hash"),
                              (["--password-file", "/run/missing"], "No such file")):
            status, log = refused(*options)
            self.assertEqual((status, word in log), (1, True), (options, log))

    def test_a_socket_is_handed_over(self) -> None:
        panel = Panel(listen="192.0.2.1:1")
        with socket.create_server((LOOPBACK, 0)) as ours:
            port, descriptor = ours.getsockname()[1], ours.fileno()

            def shell(owner: str) -> tuple[str, ...]:
                return "sh", "-c", f'export LISTEN_FDS=1 LISTEN_PID={owner}; exec "$@" 3<&{descriptor}', "sh"
            status, log = refused(*panel.options, prefix=shell("1"), pass_fds=(descriptor,))  # not ours
            self.assertEqual((status, "192.0.2.1" in log), (1, True))
            with panel.start(*shell("$$"), pass_fds=(descriptor,)):
                self.assertEqual((panel.port, panel.ask("/session")[0]), (port, 204))

    def test_password_file(self) -> None:
        panel = Panel(password=True)
        self.assertEqual(stat.S_IMODE(panel.password_file.stat().st_mode), 0o600)
        first = panel.password_file.read_text()
        self.assertNotIn(PASSWORD, first)
        self.assertEqual(panel.set_password("short"), 1)
        self.assertEqual(panel.password_file.read_text(), first)
        self.assertEqual(panel.set_password(PASSWORD), 0)
        self.assertNotEqual(panel.password_file.read_text(), first)  # salted


class Pages(PanelTestCase):
    def setUp(self) -> None:
        self.panel = self.enterContext(Panel("--name", "box.example.org"))

    def test_files_are_packed_and_known_again(self) -> None:
        status, headers, body = self.panel.ask("/")
        self.assertEqual((status, body), (200, PAGE["index.html"]))
        self.assertEqual(headers["Content-Type"], "text/html; charset=utf-8")
        for encoding, unpack in (("identity", bytes), ("gzip, br", gzip.decompress)):
            status, headers, body = self.panel.ask("/panel.js", Accept_Encoding=encoding)
            self.assertEqual((status, unpack(body)), (200, PAGE["panel.js"]))
            self.assertEqual(len(body) < 2000, encoding != "identity")
            status, again, body = self.panel.ask("/panel.js", Accept_Encoding=encoding, If_None_Match=headers["ETag"])
            self.assertEqual((status, body, again["ETag"]), (304, b"", headers["ETag"]))
        self.assertEqual(self.panel.ask("/panel.js", "HEAD")[1]["Content-Length"], str(len(PAGE["panel.js"])))

    def test_every_answer_has_the_safe_headers(self) -> None:
        for path, method, expected in (("/", "GET", 200), ("/session", "GET", 204), ("/../password", "GET", 404),
                                       ("/nothing", "GET", 404), ("/metrics", "GET", 200),
                                       ("/", "POST", 405), ("/", "DELETE", 405),
                                       ("/login", "GET", 405), ("/live", "GET", 426), ("/", "NONSENSE", 403)):
            status, headers, _ = self.panel.ask(path, method)
            self.assertEqual(status, expected, (path, method))
            self.assertIn("default-src 'none'; script-src 'self'", headers["Content-Security-Policy"])
            self.assertNotIn("unsafe", headers["Content-Security-Policy"])
            self.assertEqual((headers["X-Content-Type-Options"], headers["Referrer-Policy"]), ("nosniff", "no-referrer"))

    def test_other_hosts_and_origins_are_refused(self) -> None:
        port = self.panel.port
        for host, expected in ((f"localhost:{port}", 200), ("192.0.2.5", 200), ("[fe80::1]:80", 200), ("Box.LOCAL", 200),
                               (f"box.example.org:{port}", 200), ("evil.example", 421), ("box.local.evil.example", 421),
                               (".local", 421), ("127.0.0.1.evil.example", 421), ("[::1]evil", 421), ("", 421)):
            self.assertEqual(self.panel.ask("/", Host=host)[0], expected, host)
        own = self.panel.place.rstrip("/")
        for origin in ("http://evil.example", "null", own + "0", own.replace("http", "https"), f"{own}.evil.example", ""):
            self.assertEqual(self.panel.ask("/login", "POST", {}, Origin=origin)[0], 403, origin)
            with Live(self.panel, Origin=origin) as live:
                self.assertEqual(live.status, 403, origin)
        with Live(self.panel, Host="evil.example", Origin="http://evil.example") as live:
            self.assertEqual(live.status, 421)
        with Live(self.panel) as live:
            self.assertEqual(live.status, 101)
            live.panel_state()

    def test_idle_connections_keep_nobody_out(self) -> None:
        address = (LOOPBACK, self.panel.port)
        with contextlib.ExitStack() as stack:
            live = stack.enter_context(Live(self.panel))
            idle = [stack.enter_context(socket.create_connection(address, TIMEOUT, (f"127.0.1.{i % 30}", 0)))
                    for i in range(300)]
            here = [stack.enter_context(socket.create_connection(address, TIMEOUT)) for _ in range(300)]
            for connection in here[::2]:
                with contextlib.suppress(OSError):
                    connection.sendall(b"GET / HTTP/1.1\r\nHost: ")
            self.assertEqual(self.panel.ask("/", source=OTHER)[0], 200)
            self.assertEqual(self.panel.ask("/")[0], 200)
            self.assertTrue(is_closed(here[0]) and is_closed(idle[0]))
            self.assertLess(self.panel.descriptors(), 300)
            live.send({"watch": True, "sound": False})  # the one that is used stays
            live.panel_state(lambda state: state["viewers"] == 1)
            self.assertTrue(is_closed(here[-1]))  # its request never became whole
            wait_until(lambda: self.panel.descriptors() < 30, "requests have their time")

    def test_requests_are_bounded(self) -> None:
        address = (LOOPBACK, self.panel.port)
        head = f"Host: {self.panel.host}\r\nOrigin: http://{self.panel.host}\r\n"
        for text, expected in ((f"POST /login HTTP/1.1\r\n{head}Content-Length: 5000\r\n\r\n", "413"),
                               (f"POST /login HTTP/1.1\r\n{head}Content-Length: -1\r\n\r\n", "411"),
                               (f"POST /login HTTP/1.1\r\n{head}Transfer-Encoding: chunked\r\n\r\n", "411"),
                               (f"GET / HTTP/1.1\r\n{head}Content-Length: 1\r\n\r\n", "413"),
                               (f"GET / HTTP/1.1\r\n{head}Content-Length: -5\r\n\r\n", "400"),
                               (f"GET / HTTP/1.1\r\n{head}Transfer-Encoding: chunked\r\n\r\n", "400"),
                               (f"GET / HTTP/1.1\r\n{head}Connection: Upgrade, HTTP2-Settings\r\nUpgrade: h2c\r\n"
                                "HTTP2-Settings: AAMAAABkAAQCAAAAAAIAAAAA\r\n\r\n", "426"),
                               (f"GET / HTTP/1.1\r\n{head}X: {'x' * 9000}\r\n\r\n", "")):
            with socket.create_connection(address, TIMEOUT) as connection, contextlib.suppress(ConnectionError):
                connection.sendall(text.encode())
                answer = b"".join(iter(lambda: connection.recv(4096), b"")).decode()
                self.assertEqual((answer.split() + ["", ""])[1][:3] in (expected, "403"), True, answer)
        with socket.create_connection(address, TIMEOUT) as connection:  # asks and asks, and reads nothing
            with self.assertRaises(ConnectionError):
                while True:
                    connection.sendall(f"GET /panel.js HTTP/1.1\r\n{head}\r\n".encode())
        self.assertEqual(self.panel.ask("/", source=OTHER)[0], 200)

    def test_messages_are_bounded(self) -> None:
        for opcode, content, code in ((1, b"x" * 4097, 1009), (2, b"{}", 1003), (1, b"\xff\xfe", 1007)):
            with Live(self.panel) as live:
                live.send(content, opcode)
                self.assertEqual(live.close_code(), code)
        with Live(self.panel) as live, Live(self.panel) as other:
            live.send(b" " * 4096)
            for _ in range(300):  # each is answered before the next is sent
                live.send({})
                opcode, content = live.frame()
                while opcode != 8 and b'"told"' not in content:
                    opcode, content = live.frame()
                if opcode == 8:
                    break
            self.assertEqual((opcode, int.from_bytes(content[:2], "big")), (8, 1008))
            other.send({"watch": True, "sound": False})
            other.panel_state(lambda state: state["viewers"] == 1)


class Login(PanelTestCase):
    def setUp(self) -> None:
        self.panel = self.enterContext(Panel(password=True, listen="0.0.0.0:0"))

    def test_only_who_logged_in_gets_in(self) -> None:
        panel = self.panel
        self.assertEqual([panel.ask(path)[0] for path in ("/", "/session", "/metrics")], [200, 401, 401])
        for cookie in ("", "fieldrelaybox-panel=", "fieldrelaybox-panel=" + "0" * 64):
            with Live(panel, Origin=f"http://{panel.host}", Cookie=cookie) as live:
                self.assertEqual(live.status, 401)
        place = f"http://{panel.host}"
        status, headers, _ = panel.ask("/login", "POST", {"password": PASSWORD}, Origin=place)
        self.assertEqual(status, 204)
        self.assertRegex(headers["Set-Cookie"], r"^fieldrelaybox-panel=[0-9a-f]{64}; Path=/; Max-Age=\d+; "
                                                r"HttpOnly; SameSite=Strict$")
        cookie = "other=1; " + headers["Set-Cookie"].split(";")[0]
        self.assertEqual([panel.ask(path, Cookie=cookie)[0] for path in ("/session", "/metrics")], [204, 200])
        with Live(panel, Origin=place, Cookie=cookie) as live:
            live.panel_state()
            self.assertEqual(panel.ask("/logout", "POST", {}, Origin=place, Cookie=cookie)[0], 204)
            with self.assertRaises(ConnectionError):
                live.message(lambda _: False)
        self.assertEqual(panel.ask("/session", Cookie=cookie)[0], 401)
        panel.log.wait_for(f"login: {LOOPBACK} logged in")

    def test_a_stranger_locks_nobody_out(self) -> None:
        place = f"http://{self.panel.host}"

        def log_in(password: str, source: str = LOOPBACK) -> int:
            return self.panel.log_in(password, Origin=place, source=source)[0]
        tries = [log_in("wrong one") for _ in range(8)]
        self.assertEqual(tries, [401] * 5 + [429] * 3)
        self.assertEqual(log_in(PASSWORD), 429)
        self.assertEqual(log_in(PASSWORD, OTHER), 204)
        self.assertEqual([log_in("wrong one", OTHER) for _ in range(6)], [401] * 5 + [429])
        told = [line for line in self.panel.log.lines if "wrong password" in line]
        self.assertEqual(len(told), 1)
        self.assertNotIn("wrong one", "\n".join(self.panel.log.lines))
        for body in ([], {"password": 1}, {"password": "x" * 3000}):
            self.assertIn(self.panel.ask("/login", "POST", body, Origin=place, source="127.0.0.3")[0], (400, 401))

    def test_metrics_by_basic_authorization(self) -> None:
        self.assertIn("Basic", self.panel.ask("/metrics")[1]["WWW-Authenticate"])
        for _ in range(20):  # as often as one likes
            status, headers, body = self.panel.ask("/metrics", Authorization=BASIC)
            self.assertEqual((status, headers["Content-Type"]), (200, "text/plain; version=0.0.4; charset=utf-8"))
        self.assertIn(b"\nfieldrelaybox_panel_connections ", body)
        wrong = "Basic " + base64.b64encode(b"any:wrong").decode()
        answers = [self.panel.ask("/metrics", Authorization=wrong)[0] for _ in range(6)]
        self.assertEqual(answers, [401] * 5 + [429])

    def test_a_new_password_ends_what_the_old_one_opened(self) -> None:
        place = f"http://{self.panel.host}"
        _, cookie = self.panel.log_in(Origin=place)
        with Live(self.panel, Origin=place, Cookie=cookie) as live:
            live.panel_state()
            self.panel.set_password("another horse")
            self.panel.process.send_signal(signal.SIGHUP)
            with self.assertRaises(ConnectionError):
                live.message(lambda _: False)
        self.assertEqual(self.panel.ask("/session", Cookie=cookie)[0], 401)
        self.assertEqual(self.panel.log_in("another horse", Origin=place)[0], 204)


class SentPictures(Receiver):
    """A box that sends pictures of some 33 kB, numbered, every tenth a key picture."""

    number = sequence = 0

    def await_registration(self) -> None:
        wanted = register(data_only=False)
        while self.receive() != wanted:
            pass
        self.socket.sendto(b"B", self.sender)

    def send(self) -> None:
        """The next one whole, and what says that it has ended: the beginning of one more."""
        self.number += 1
        head = SPS_PPS + b"\0\0\0\1\x65\x88" if self.number % 10 == 1 else b"\0\0\0\1\x41\x9a"
        unit = b"\0\0\0\1\x09\xf0" + head + b"%08d" % self.number + b"\x55" * 33_000
        for place in range(0, len(unit), 1300):
            self.socket.sendto(build_message(unit[place:place + 1300], VIDEO, self.sequence), self.sender)
            self.sequence += 1


class Pictures(PanelTestCase):
    @staticmethod
    def next_picture(live: Live) -> tuple[int, int]:
        """Its number and flags."""
        content = live.message(lambda message: message[:1] == b"\1")
        found = re.search(rb"(?:\x88|\x9a)(\d{8})", content)
        assert found, content[:60]
        return int(found[1]), content[1]

    def test_a_stopped_reader_changes_nothing_for_the_others(self) -> None:
        box = SentPictures()
        self.addCleanup(box.close)
        panel = self.enterContext(Panel("--box", f"{LOOPBACK}:{box.port}"))
        reader, stopped = self.enterContext(Live(panel)), self.enterContext(Live(panel, receive_buffer=8192))
        for live in (reader, stopped):
            live.send({"watch": True, "sound": False})
        reader.panel_state(lambda state: state["viewers"] == 2)
        box.await_registration()
        box.send()
        memory = 0
        for number in range(1, 401):
            box.send()
            self.assertEqual(self.next_picture(reader)[0], number)
            if number == 200:
                memory = panel.resident_kilobytes()
        if MEMORY_IS_ITS_OWN:
            self.assertLess(panel.resident_kilobytes() - memory, 1000)
        newcomer = self.enterContext(Live(panel))  # gets the last group of pictures
        newcomer.send({"watch": True, "sound": False})
        self.assertEqual([self.next_picture(newcomer) for _ in range(2)], [(391, 1), (392, 0)])
        box.send()
        numbers = [self.next_picture(stopped)]
        while numbers[-1][0] < 401:  # what waited, and then what comes from a key picture on
            numbers.append(self.next_picture(stopped))
        gaps = [after for before, after in zip(numbers, numbers[1:]) if after[0] != before[0] + 1]
        self.assertTrue(gaps)
        for number, flags in gaps:
            self.assertEqual((number % 10, flags & 1), (1, 1))


class Tls(PanelTestCase):
    def make_certificate(self, name: str) -> None:
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                        "-keyout", "/run/key.pem", "-out", "/run/certificate.pem", "-subj", f"/CN={name}",
                        "-addext", f"subjectAltName=IP:{LOOPBACK}"], check=True, capture_output=True)

    def test_https(self) -> None:
        self.make_certificate("first")
        with Panel("--certificate", "/run/certificate.pem", "--key", "/run/key.pem", password=True) as panel:
            self.assertTrue(panel.place.startswith("https://"))
            trusted = ssl.create_default_context(cafile="/run/certificate.pem")
            self.assertEqual(panel.ask("/panel.js", tls=trusted)[2], PAGE["panel.js"])
            headers = panel.ask("/login", "POST", {"password": PASSWORD}, tls=trusted)[1]
            self.assertIn("; Secure", headers["Set-Cookie"])
            self.assertEqual(panel.ask("/login", "POST", {}, tls=trusted, Origin=f"http://{panel.host}")[0], 403)
            old = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
            old.check_hostname, old.verify_mode = False, ssl.CERT_NONE
            old.set_ciphers("ALL:@SECLEVEL=0")
            old.minimum_version, old.maximum_version = ssl.TLSVersion.TLSv1, ssl.TLSVersion.TLSv1_1
            with self.assertRaises((ssl.SSLError, ConnectionError)):
                panel.ask("/", tls=old)
            self.make_certificate("renewed")
            panel.process.send_signal(signal.SIGHUP)
            panel.log.wait_for("the certificate was read again")
            renewed = ssl.create_default_context(cafile="/run/certificate.pem")
            self.assertEqual(panel.ask("/", tls=renewed)[0], 200)
            with self.assertRaises(ssl.SSLError):
                panel.ask("/", tls=trusted)
        status, log = refused("--certificate", "/run/missing", "--key", "/run/key.pem", "--listen", f"{LOOPBACK}:0")
        self.assertEqual((status, bool(re.search("cannot serve|certificate", log))), (1, True))
