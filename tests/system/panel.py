"""fieldrelaybox-panel as a program, and browsers for it: HTTP by the standard library, WebSocket by hand."""

from __future__ import annotations

import base64
import http.client
import json
import os
import signal
import socket
import ssl
import struct
import subprocess
import unittest
from pathlib import Path
from typing import Any, Callable

from box import LOOPBACK, ROOT, RUNNER, TIMEOUT, Program

PROGRAM = Path(os.environ.get("FIELDRELAYBOX_PROGRAMS", ROOT / "build" / "release")) / "fieldrelaybox-panel"
PASSWORD = "correct horse"
PAGE = {"index.html": b"<!doctype html><title>panel</title>", "panel.js": b"let x = 1;\n" * 20_000}


class Panel(Program):
    """Runs as a context. `place` is what it printed."""

    def __init__(self, *options: str, password: bool = False, listen: str = f"{LOOPBACK}:0",
                 page: dict[str, bytes] = PAGE) -> None:
        """Without files of a page it has its own."""
        super().__init__()
        self.password_file = self.directory / "password"
        for name, content in page.items():
            (self.directory / name).write_bytes(content)
        self.options = ["--listen", listen, *(["--page", str(self.directory)] if page else []), *options]
        if password:
            self.options += ["--password-file", str(self.password_file)]
            assert self.set_password(PASSWORD) == 0

    def set_password(self, password: str) -> int:
        return subprocess.run([*RUNNER, PROGRAM, "--set-password", "--password-file", self.password_file], check=False,
                              input=password + "\n", text=True, timeout=TIMEOUT).returncode

    def __enter__(self) -> "Panel":
        return self if hasattr(self, "process") else self.start()

    def start(self, *prefix: str, **how: Any) -> "Panel":
        self.follow(subprocess.Popen([*prefix, *RUNNER, PROGRAM, *self.options], stdin=subprocess.DEVNULL,
                                     stdout=subprocess.PIPE, stderr=subprocess.PIPE, **how))
        self.place = self.printed.lines[self.printed.wait_for("panel: ", whole=False)].split()[1]
        self.port = int(self.place.rsplit(":", 1)[1].strip("/"))
        self.host = f"{LOOPBACK}:{self.port}"
        return self

    def __exit__(self, *_: object) -> None:
        self.process.send_signal(signal.SIGTERM)
        status = self.await_exit()
        assert status == 0, (status, self.log.lines)

    def ask(self, path: str, method: str = "GET", body: object = None, source: str = LOOPBACK,
            tls: ssl.SSLContext | None = None, **headers: str) -> tuple[int, http.client.HTTPMessage, bytes]:
        """Status, headers and body of one answer; `header_name` becomes Header-Name."""
        kind = http.client.HTTPSConnection if tls else http.client.HTTPConnection
        more = {"context": tls} if tls else {}
        connection = kind(LOOPBACK, self.port, timeout=TIMEOUT, source_address=(source, 0), **more)
        names = {name.replace("_", "-"): value for name, value in headers.items()}
        if method == "POST":
            names.setdefault("Origin", self.place.rstrip("/"))
        try:
            connection.request(method, path, None if body is None else json.dumps(body), names)
            answer = connection.getresponse()
            return answer.status, answer.headers, answer.read()
        finally:
            connection.close()

    def log_in(self, password: str = PASSWORD, **how: Any) -> tuple[int, str]:
        """Status and the cookie to come back with."""
        status, headers, _ = self.ask("/login", "POST", {"password": password}, **how)
        return status, (headers["Set-Cookie"] or "").split(";")[0]


class Live:
    """A WebSocket. `status` is what the opening was answered with."""

    def __init__(self, panel: Panel, receive_buffer: int = 0, **headers: str) -> None:
        self.socket, self.pending = socket.socket(), b""
        if receive_buffer:
            self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive_buffer)
        self.socket.settimeout(TIMEOUT)
        self.socket.connect((LOOPBACK, panel.port))
        given = {"Host": panel.host, "Origin": panel.place.rstrip("/"), "Connection": "Upgrade",
                 "Upgrade": "websocket", "Sec-WebSocket-Version": "13",
                 "Sec-WebSocket-Key": base64.b64encode(os.urandom(16)).decode()}
        given.update(headers)
        rows = [f"{name}: {value}" for name, value in given.items() if value]
        self.socket.sendall("\r\n".join(("GET /live HTTP/1.1", *rows, "", "")).encode())
        while b"\r\n\r\n" not in self.pending:
            self._receive()
        head, _, self.pending = self.pending.partition(b"\r\n\r\n")
        self.status = int(head.split()[1])

    def __enter__(self) -> "Live":
        return self

    def __exit__(self, *_: object) -> None:
        self.socket.close()

    def _receive(self) -> None:
        data = self.socket.recv(65536)
        if not data:
            raise ConnectionError("the panel closed the connection")
        self.pending += data

    def _take(self, count: int) -> bytes:
        while len(self.pending) < count:
            self._receive()
        taken, self.pending = self.pending[:count], self.pending[count:]
        return taken

    def send(self, content: bytes | object, opcode: int = 1) -> None:
        data = content if isinstance(content, bytes) else json.dumps(content).encode()
        size = bytes((128 | len(data),)) if len(data) < 126 else bytes((254,)) + struct.pack(">H", len(data))
        self.socket.sendall(bytes((128 | opcode,)) + size + bytes(4) + data)  # a mask of zeros

    def frame(self) -> tuple[int, bytes]:
        """The next frame that is no ping (these are answered): its opcode and content."""
        while True:
            first, size = self._take(2)
            if size >= 126:
                size = int.from_bytes(self._take(2 if size == 126 else 8), "big")
            opcode, content = first & 15, self._take(size)
            if opcode != 9:
                return opcode, content
            self.send(content, 10)

    def message(self, wanted: Callable[[bytes], bool]) -> bytes:
        while not wanted(content := self.frame()[1]):
            pass
        return content

    def panel_state(self, wanted: Callable[[dict[str, Any]], Any] = lambda _: True) -> dict[str, Any]:
        """The next message of the panel itself that fits."""
        found = self.message(lambda content: content[:1] == b"\3" and bool(wanted(json.loads(content[1:]))))
        return dict(json.loads(found[1:]))

    def close_code(self) -> int:
        """The reason that the panel gives for closing, which it has to."""
        while True:
            opcode, content = self.frame()
            if opcode == 8:
                return int.from_bytes(content[:2], "big")


def is_closed(connection: socket.socket) -> bool:
    connection.settimeout(TIMEOUT)
    try:
        return connection.recv(1) == b""
    except ConnectionError:
        return True


@unittest.skipUnless(PROGRAM.exists(), "the panel was not built")
class PanelTestCase(unittest.TestCase):
    pass
