"""The real daemon and everything around it, driven from outside.

Run inside tools/sandbox.sh with FIELDRELAYBOX_DAEMON naming the daemon; FIELDRELAYBOX_RUNNER is an
optional prefix such as an emulator. Nothing here waits for a time to pass: it waits for what should
happen, and fails with the daemon's log when it does not.
"""

from __future__ import annotations

import contextlib
import ctypes
import json
import os
import re
import shlex
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import textwrap
import threading
import time
import unittest
from pathlib import Path
from typing import IO, Any, Callable, Iterator

ROOT = Path(__file__).resolve().parents[2]
TOOLS = ROOT / "tools"
DATA, DOCS = ROOT / "tests" / "data", ROOT / "docs"
sys.path.insert(0, str(TOOLS))

from fieldrelaybox import app_protocol, frames  # noqa: E402
from fieldrelaybox.app_protocol import Message  # noqa: E402
from fieldrelaybox.shared_memory import (  # noqa: E402
    CONFIG_RECORD, SHARED_MEMORY_DIRECTORY, STATUS_BLOCK, Region)
from fieldrelaybox.simulated_camera import (  # noqa: E402
    Received, SimulatedCamera, attitude_frame, counter_22_frame)

DAEMON = os.path.abspath(os.environ.get("FIELDRELAYBOX_DAEMON", "fieldrelaybox"))
RUNNER = shlex.split(os.environ.get("FIELDRELAYBOX_RUNNER", ""))
LOOPBACK = "127.0.0.1"
TIMEOUT = 60.0 if RUNNER else 20.0
"""Seconds after which something that should happen counts as missing."""
PROCESSORS = len(os.sched_getaffinity(0))
PORTS = (app_protocol.PORT, frames.BOX_PORT, 5000, 4001, 3001)
SANITIZER_WORDS = ("ERROR: AddressSanitizer", "ERROR: LeakSanitizer", "WARNING: ThreadSanitizer",
                   "runtime error:")
SANITIZED = any(word in Path(DAEMON).read_bytes() for word in (b"__asan_init", b"__tsan_init"))
MEMORY_IS_ITS_OWN = not SANITIZED and not RUNNER
"""Sanitizers and emulators add memory of theirs to the daemon's."""
RESIDENT_PAGES = 1
PIDFD_GETFD = 438  # the same on every kind of processor
FENCE = b"[77"
"""A test datagram that is printed, and is too short to be sent to the camera."""
UNTOLD = ("[stand-in]", "test command", "command cut", "config request",
          "client connected", f"client {LOOPBACK}:")
IP_FORWARD = Path("/proc/sys/net/ipv4/ip_forward")
MASTER, COPY = Path("/boot/fieldrelaybox.conf"), Path("/run/fieldrelaybox.conf")
"""The settings on the card, and those that the daemon was started with."""
RECORD_BYTES_THAT_LIVE = ((1364, 1), (2952, 5), (2958, 1), (3131, 40), (3172, 4))


def wait_until(condition: Callable[[], Any], what: str, timeout: float = TIMEOUT) -> Any:
    """What `condition` gives as soon as that is true; a computer with too much to do gets thrice the time."""
    begun = time.monotonic()
    while not (value := condition()):
        if (waited := time.monotonic() - begun) > timeout * (3 if os.getloadavg()[0] > PROCESSORS else 1):
            raise AssertionError(f"{what}: not within {waited:.1f} s")
        time.sleep(0.01)
    return value


def load_json(name: str) -> Any:
    return json.loads((DATA / name).read_text())


def load_hex(name: str) -> bytes:
    return bytes.fromhex((DATA / name).read_text())


LATER_SETTINGS = load_json("later_settings.json")
"""What settings add that are younger than the files and records of tests/data."""


def without_later_settings(text: str, part: str) -> str:
    """A settings file or a report (`part` says which) as it would be without them."""
    for setting in LATER_SETTINGS:
        assert text.count(setting[part]) == 1, f"{setting[part]!r} is not in {text}"
        text = text.replace(setting[part], "")
    return text


def load_record(name: str, part: str = "bytes") -> bytes:
    record = bytearray(load_hex(name))
    for setting in LATER_SETTINGS:
        value = bytes.fromhex(setting[part])
        record[setting["offset"]:setting["offset"] + len(value)] = value
    return bytes(record)


def mask_record(record: bytes) -> bytes:
    """A configuration record without the bytes that the running box keeps changing."""
    masked = bytearray(record)
    for offset, count in RECORD_BYTES_THAT_LIVE:
        masked[offset:offset + count] = bytes(count)
    return bytes(masked)


def assert_documented(title: str, **rows: str | bytes) -> None:
    """The page of examples shows these rows below the title, bytes in hexadecimal."""
    texts = (f"{label:8}{value.hex(' ') if isinstance(value, bytes) else value}"
             for label, value in rows.items() if value)
    lines = (textwrap.fill(text, 103, subsequent_indent=8 * " ") for text in texts)
    example = "\n".join((f"\n### {title}\n\n```", *lines, "```\n"))
    path = DOCS / "app-protocol-examples.md"
    page = path.read_text()
    if os.environ.get("FIELDRELAYBOX_WRITE_EXAMPLES"):
        page = re.sub(f"\n### {re.escape(title)}\n(\n```[^`]*```\n)?", lambda _: example, page)
        path.write_text(page)
    assert example in page, f"{path.name} lacks:{example}"


def run(*command: str | Path, **how: Any) -> tuple[int, str, str]:
    """Status, output and errors of one that ends by itself."""
    ended = subprocess.run(command, text=True, capture_output=True, timeout=TIMEOUT, check=False, **how)
    return ended.returncode, ended.stdout, ended.stderr


def replace_file(path: Path, text: str) -> None:
    """As the daemon does: whoever reads finds the old text or the whole new one."""
    fresh = path.with_name(f"{path.name}.fresh")
    fresh.write_text(text)
    fresh.rename(path)


def send(data: bytes, port: int, address: str = LOOPBACK) -> None:
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
        sender.sendto(data, (address, port))


def command(**members: object) -> bytes:
    return app_protocol.command(json.dumps(members, separators=(",", ":")))


def update(name: str, value: object) -> bytes:
    """The command that changes a setting."""
    return command(cmd="updateparam", name=name, value=str(value))


@contextlib.contextmanager
def repeated(action: Callable[[], object], seconds: float) -> Iterator[None]:
    """Every so many seconds, beside what the test does meanwhile."""
    done = threading.Event()

    def repeat() -> None:
        while not done.wait(seconds):
            action()
    thread = threading.Thread(target=repeat, daemon=True)
    thread.start()
    try:
        yield
    finally:
        done.set()
        thread.join()


class Lines:
    """What the daemon prints to one of its streams, line by line as it comes."""

    def __init__(self, stream: IO[bytes]) -> None:
        self.lines: list[str] = []
        self.reading = threading.Event()
        """While it is clear nobody reads the stream."""
        self.reading.set()
        self._stream, self._changed, self._ended = stream, threading.Condition(), False
        self._thread = threading.Thread(target=self._read, daemon=True)
        self._thread.start()

    def _read(self) -> None:
        for raw in self._stream:
            self.reading.wait()
            with self._changed:
                self.lines.append(raw.decode("utf-8", "replace").rstrip("\n"))
                self._changed.notify_all()
        with self._changed:
            self._ended = True
            self._changed.notify_all()

    def wait_for(self, text: str, start: int = 0, timeout: float = TIMEOUT,
                 whole: bool = True) -> int:
        """The place of the first line from `start` on that is `text`, or begins with it."""
        def fits(line: str) -> bool:
            return line == text if whole else line.startswith(text)

        def found() -> int | None:
            return next((i for i in range(start, len(self.lines)) if fits(self.lines[i])), None)
        with self._changed:
            self._changed.wait_for(lambda: found() is not None or self._ended, timeout)
            place = found()
        if place is None:
            raise AssertionError(f"no line {text!r} in:\n" + "\n".join(self.lines[start:][-60:]))
        return place

    def join(self) -> None:
        self._thread.join(TIMEOUT)
        self._stream.close()


class StandIns:
    """The recording stand-ins for the box's tools, scripts and sibling programs."""

    def __init__(self, directory: Path) -> None:
        self.directory, self.log = directory, directory / "runs"
        directory.mkdir()
        self.log.touch()

    def answer(self, tool: str, status: int = 0, output: str = "", seconds: float = 0) -> None:
        (self.directory / f"{tool}.out").write_text(output)
        (self.directory / f"{tool}.sleep").write_text(str(seconds))
        (self.directory / tool).write_text(str(status))

    def runs(self, *tools: str) -> list[str]:
        """Every command so far, or only those of the named tools."""
        lines = self.log.read_text().splitlines()
        return [line for line in lines if not tools or line.split()[0] in tools]


class Program:
    """One that runs in a directory of its own until it ends."""

    process: subprocess.Popen[bytes]
    printed: Lines
    log: Lines

    def __init__(self) -> None:
        self._home = tempfile.TemporaryDirectory(prefix="box.", dir="/run")
        self.directory = Path(self._home.name)

    def follow(self, process: subprocess.Popen[bytes]) -> None:
        assert process.stdout and process.stderr
        self.process = process
        self.printed, self.log = Lines(process.stdout), Lines(process.stderr)

    def await_exit(self) -> int:
        """The exit status; for one that ends by itself."""
        try:
            self.process.wait(TIMEOUT)
        finally:
            self.process.kill()
            self.process.wait()
            self.log.join()
            self.printed.join()
            self._home.cleanup()
        reports = [line for line in self.log.lines if any(word in line for word in SANITIZER_WORDS)]
        if reports:
            raise AssertionError("\n".join(self.log.lines[-200:]))
        return self.process.returncode

    def threads(self) -> int:
        return len(os.listdir(f"/proc/{self.process.pid}/task"))

    def descriptors(self) -> int:
        return len(os.listdir(f"/proc/{self.process.pid}/fd"))

    def resident_kilobytes(self) -> int:
        pages = Path(f"/proc/{self.process.pid}/statm").read_text().split()[RESIDENT_PAGES]
        return int(pages) * os.sysconf("SC_PAGE_SIZE") // 1024


class Box(Program):
    """One daemon in a fresh directory that is laid out like the install directory."""

    def __init__(self, settings: str | bytes | None = "") -> None:
        super().__init__()
        self.idle_threads = 0
        self.stand_ins = StandIns(self.directory / "stand-ins")
        for name in ("bin/wlanstatus", "scripts/hdmi-change.sh", "scripts/hdmi-mode.sh",
                     "scripts/audio-change.sh", "scripts/audio-volume.sh", "scripts/audio-gain.sh"):
            place = self.directory / name
            place.parent.mkdir(exist_ok=True)
            place.symlink_to(TOOLS / "standins" / "standin")
        for name in (STATUS_BLOCK.name, CONFIG_RECORD.name):
            (SHARED_MEMORY_DIRECTORY / name).unlink(missing_ok=True)
        if settings is not None:
            text = (settings or "\n").encode() if isinstance(settings, str) else settings
            (self.directory / "fieldrelaybox.conf").write_bytes(text)

    def __enter__(self) -> "Box":
        return self.start()

    def __exit__(self, *_: object) -> None:
        self.stop()

    def launch(self, *prefix: str, **variables: str) -> None:
        environment = dict(os.environ, STANDIN_LOG=str(self.stand_ins.log),
                           STANDIN_DIR=str(self.stand_ins.directory), **variables)
        self.follow(subprocess.Popen([*prefix, *RUNNER, DAEMON], cwd=self.directory, env=environment,
                                     stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE))

    def run(self, *arguments: str) -> tuple[int, str, str]:
        """Status, output and log of another daemon in the same directory, which has to end."""
        return run(*RUNNER, DAEMON, *arguments, cwd=self.directory)

    def start(self, **variables: str) -> "Box":
        self.launch(**variables)
        return self.await_start()

    def await_start(self) -> "Box":
        self.log.wait_for("Init P2P client")
        wait_until(lambda: set(PORTS) <= bound_ports(), "the daemon's ports are bound")
        self.status, self.mirror = Region(STATUS_BLOCK), Region(CONFIG_RECORD)
        return self

    def stop(self) -> None:
        """End the daemon, which must still be running and must not have reported a fault."""
        alive = self.process.poll() is None
        self.process.send_signal(signal.SIGTERM)
        self.await_exit()
        if not alive:
            raise AssertionError(f"the daemon ended by itself ({self.process.returncode}):\n"
                                 + "\n".join(self.log.lines[-60:]))

    def await_pass(self) -> None:
        """Return behind a supervisor pass that began after the call, mirror copy included."""
        for _ in range(2):
            clock = self.mirror["clock"]
            wait_until(lambda: self.mirror["clock"] != clock, "a supervisor pass ends")

    def fence(self) -> None:
        """Return when everything sent to the app port before was taken from it."""
        printed = len(self.printed.lines)
        send(FENCE, app_protocol.PORT)
        self.printed.wait_for("77 ", printed)

    def socket_at(self, port: int) -> socket.socket:
        """The daemon's own socket that is bound to the port."""
        process, call = os.pidfd_open(self.process.pid), ctypes.CDLL(None).syscall
        for place in Path(f"/proc/{self.process.pid}/fd").iterdir():
            if os.readlink(place).startswith("socket:"):
                found = socket.socket(fileno=call(PIDFD_GETFD, process, int(place.name), 0))
                if found.getsockname()[1] == port:
                    os.close(process)
                    return found
                found.close()
        raise AssertionError(f"no socket at port {port}")


def waiting_bytes() -> dict[int, int]:
    """What the kernel holds for each UDP port that somebody has."""
    rows = [row.split() for row in Path("/proc/net/udp").read_text().splitlines()[1:]]
    return {int(row[1].split(":")[1], 16): int(row[4].split(":")[1], 16) for row in rows}


def bound_ports() -> set[int]:
    return set(waiting_bytes())


class Receiver:
    """A UDP socket of a neighbour of the box."""

    def __init__(self, port: int = 0, address: str = LOOPBACK) -> None:
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4_000_000)
        self.socket.setsockopt(socket.SOL_SOCKET, 35, 1)  # SO_TIMESTAMPNS
        self.socket.bind((address, port))
        self.port: int = self.socket.getsockname()[1]
        self.sender: tuple[str, int] = ("", 0)
        self.arrival = 0
        """Nanoseconds at which the last datagram reached the socket."""
        self.taken: list[bytes] = []
        """Everything received so far, whoever asked for it."""

    def receive(self, timeout: float = TIMEOUT) -> bytes:
        data = self.poll(timeout)
        if data is None:
            raise AssertionError(f"nothing at port {self.port} within {timeout} s")
        return data

    def poll(self, timeout: float = 0) -> bytes | None:
        self.socket.settimeout(timeout)
        try:
            data, ancillary, _, self.sender = self.socket.recvmsg(65535, 64)
        except (BlockingIOError, TimeoutError):
            return None
        seconds, nanoseconds = struct.unpack("qq", ancillary[0][2])
        self.arrival = seconds * 1_000_000_000 + nanoseconds
        self.taken.append(data)
        return data

    def drain(self) -> list[bytes]:
        """What has come since somebody last asked; `taken` has the rest."""
        return list(iter(self.poll, None))

    def close(self) -> None:
        self.socket.close()


class App(Receiver):
    """A phone app. As a context it is registered and stays so."""

    def __init__(self, data_only: bool = False, address: str = LOOPBACK,
                 box_address: str = LOOPBACK) -> None:
        super().__init__(address=address)
        self.box_address = box_address
        self.data_only, self._registered = data_only, contextlib.ExitStack()

    def __enter__(self) -> "App":
        self.register()
        self.await_reply()
        self._registered.enter_context(repeated(self.register, 1.5))
        return self

    def __exit__(self, *_: object) -> None:
        self._registered.close()
        self.send(app_protocol.unregister())
        self.close()

    def await_reply(self) -> None:
        """A record may be on its way before the reply is."""
        while self.receive() != b"B":
            pass

    def send(self, data: bytes) -> None:
        self.socket.sendto(data, (self.box_address, app_protocol.PORT))

    def register(self) -> None:
        self.send(app_protocol.register(self.data_only))

    def command(self, **members: object) -> None:
        self.send(command(**members))

    def update(self, name: str, value: object) -> None:
        self.send(update(name, value))

    def message(self, wanted: Callable[[Message], bool] = lambda _: True,
                timeout: float = TIMEOUT) -> Message:
        """The next message that fits; what came before it is passed over."""
        end = time.monotonic() + timeout
        while (left := end - time.monotonic()) > 0:
            message = app_protocol.parse_message(self.poll(left) or b"")
            if message and wanted(message):
                return message
        raise AssertionError(f"no such message within {timeout} s")

    def payload(self, kind: int) -> bytes:
        return self.message(lambda message: message.kind == kind).payload

    def json(self) -> bytes:
        """The payload of the next message that is JSON."""
        return self.message(lambda message: app_protocol.json_text(message) != "").payload

    def media(self) -> list[tuple[int, bytes]]:
        """Kind and payload of all video and audio so far, passed over or not."""
        self.drain()
        messages = filter(None, map(app_protocol.parse_message, self.taken))
        return [(it.kind, it.payload) for it in messages if it.kind != app_protocol.RECORD]

    def record(self, payload: bytes) -> Message:
        """Wait for exactly this record; on failure tell the last one of its code."""
        last = b""

        def fits(message: Message) -> bool:
            nonlocal last
            if message.kind == app_protocol.RECORD and message.payload[:1] == payload[:1]:
                last = message.payload
            return last == payload
        try:
            return self.message(fits, 10)
        except AssertionError:
            raise AssertionError(f"expected {payload.hex()}, last was {last.hex()}") from None


class Camera(SimulatedCamera):
    """A simulated camera; a quiet one pushes only what a test tells it to."""

    def __init__(self, at: Box, quiet: bool = False) -> None:
        self.seen: list[Received] = []
        """Everything received so far, whoever asked for it."""
        super().__init__(pushes=not quiet, on_received=self.seen.append)
        self.at, self._lines_before = at, len(at.log.lines)

    def connect(self) -> None:
        self.push(attitude_frame(0, 0, 0))
        self.at.log.wait_for("data disconnected", self._lines_before)
        self.fence()

    def fence(self, *frames: bytes) -> None:
        """Push frames until the box has read them; its buffer holds only a few at a time."""
        block = self.at.status
        mark = block["camera_value_1648"] + 1

        def read() -> bool:
            for frame in (*frames, counter_22_frame(mark)):
                self.push(frame)
            end = time.monotonic() + 0.2
            while block["camera_value_1648"] != mark and time.monotonic() < end:
                time.sleep(0.001)
            return block["camera_value_1648"] == mark
        wait_until(read, "the camera's frames are read")

    def take(self) -> list[Received]:
        """Everything that has reached this camera."""
        taken: list[Received] = []
        send(b"mark", self.port)  # behind everything
        while (received := self.next_frame()).raw != b"mark":
            taken.append(received)
        return taken

    def stop_clock(self) -> int:
        """Keep the box from setting the camera's clock now and then; the sequence number after."""
        send(app_protocol.command('{"cmd":"time","value1":"19991231235958"}'), app_protocol.PORT)
        wanted = bytes.fromhex("cf070c1f173b3a")
        return self.wait_for(lambda got: wanted in got.raw).raw[6]


class BoxTestCase(unittest.TestCase):
    """One daemon for all tests of a class."""

    settings: str | bytes | None = ""
    box: Box
    maxDiff = None

    @classmethod
    def setUpClass(cls) -> None:
        cls.box = Box(cls.settings)
        try:
            cls.box.start()
        finally:
            cls.addClassCleanup(cls.box.stop)

    def receiver(self, port: int) -> Receiver:
        receiver = Receiver(port)
        self.addCleanup(receiver.close)
        return receiver

    def app(self, data_only: bool = False) -> App:
        return self.enterContext(App(data_only))

    def silent_app(self) -> App:
        """One that does not register by itself."""
        app = App()
        self.addCleanup(app.close)
        return app

    def camera(self, quiet: bool = False) -> Camera:
        camera = self.enterContext(Camera(self.box, quiet))
        camera.connect()
        return camera

    def note_idle_threads(self) -> None:
        """For finish_commands; call it before the first command."""
        wait_until(lambda: self.box.mirror["clock"], "the first pass: every thread is there")
        self.box.idle_threads = self.box.idle_threads or self.box.threads()
        self.idle_threads = self.box.idle_threads

    def finish_commands(self) -> None:
        """Return when everything sent so far was taken and every command has ended."""
        self.box.fence()
        wait_until(lambda: self.box.threads() == self.idle_threads, "the commands end")

    def log_since(self, start: int, count: int) -> list[str]:
        """At least `count` lines of the log, without what belongs to the tests themselves."""
        def lines() -> list[str]:
            return [line for line in self.box.log.lines[start:] if not line.startswith(UNTOLD)]
        wait_until(lambda: len(lines()) >= count, f"{count} log lines")
        return lines()
