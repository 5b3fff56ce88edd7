"""Pictures and sound for the ports that streams read, and players that tell what arrives.

They are made by ffmpeg once and then sent in real time, in a loop, as the daemon would send them.
"""

from __future__ import annotations

import contextlib
import functools
import os
import random
import re
import shutil
import socket
import subprocess
import tempfile
import threading
import time
import unittest
from pathlib import Path
from types import TracebackType
from typing import Iterator

from box import LOOPBACK, ROOT, RUNNER, SANITIZED, TIMEOUT, Lines, wait_until

PROGRAMS = Path(os.environ.get("FIELDRELAYBOX_PROGRAMS", ROOT / "build" / "release"))
TOOLS_OF_STREAMS = ("gst-launch-1.0", "ffmpeg", "ffprobe")
needs_streams = unittest.skipIf(SANITIZED or bool(RUNNER) or not all(map(shutil.which, TOOLS_OF_STREAMS)),
                                "GStreamer or ffmpeg is missing, or cannot load what was built")
RATE = 30
"""Pictures a second of all films; each second begins with a key frame."""
DATAGRAM = 1300
CAMERA_GAP, RETURN, SLACK = 30, 4, 1
"""Seconds of a gap that players outlast (ffmpeg gives a UDP session up after ten without a packet); after it
the picture is back in 3 s, and a loaded machine gets some more."""
DELIMITER = re.compile(b"\0\0\0\1\x09.", re.DOTALL)
Media = tuple[list[bytes], float]
"""Access units of H.264 or ADTS frames, and how many come in a second."""
NOTHING: Media = ([], 10)
NGINX = """load_module /usr/lib/nginx/modules/ngx_rtmp_module.so;
daemon off; master_process off; pid /run/nginx.pid; error_log stderr;
events {} rtmp { access_log off; server { listen 1935; application live { live on; } } }"""


@contextlib.contextmanager
def streaming_server() -> Iterator[None]:
    """At rtmp://127.0.0.1/live/ for as long as it is needed."""
    Path("/run/nginx.conf").write_text(NGINX)
    server = subprocess.Popen(["nginx", "-e", "stderr", "-p", "/run", "-c", "/run/nginx.conf"],
                              stderr=subprocess.DEVNULL)
    try:
        yield
    finally:
        server.kill()
        server.wait()


def made_by_ffmpeg(*arguments: str) -> bytes:
    return subprocess.run(["ffmpeg", "-v", "error", "-nostdin", "-f", "lavfi", *arguments, "-"], check=True,
                          capture_output=True, timeout=60).stdout


@functools.cache
def film(size: str = "640x360", slices: int = 1) -> Media:
    """Two seconds of a moving picture of that size."""
    data = made_by_ffmpeg("-i", f"testsrc2=size={size}:rate={RATE}:duration=2", "-c:v", "libx264",
                          "-preset", "ultrafast", "-tune", "zerolatency", "-g", str(RATE), "-x264-params",
                          f"aud=1:slices={slices}:sliced-threads=0", "-f", "h264")
    units = DELIMITER.split(data)[1:]
    return [b"\0\0\0\1" + unit[unit.index(b"\1") + 1:] for unit in units], RATE


@functools.cache
def tune(rate: int = 48000, channels: int = 2) -> Media:
    """Two seconds of a tone."""
    data = made_by_ffmpeg("-i", f"sine=frequency=440:sample_rate={rate}:duration=2", "-ac", str(channels),
                          "-c:a", "aac", "-f", "adts")
    frames: list[bytes] = []
    while data:
        length = (data[3] & 3) << 11 | data[4] << 3 | data[5] >> 5
        frames.append(data[:length])
        data = data[length:]
    return frames, rate / 1024


class Sender:
    """As a context: sends what its attributes hold, which may change meanwhile, until the end."""

    def __init__(self, film_port: int, tune_port: int = 0) -> None:
        self.film = self.tune = NOTHING
        self.loss = 0.0
        """The share of datagrams that are not sent."""
        self.numbers: dict[str, int] = {}
        """Of the part of "film" and "tune" that was sent last, from the beginning of each on."""
        self._done = threading.Event()
        self._socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._threads = [threading.Thread(target=self._send, args=it, daemon=True)
                         for it in (("film", film_port), ("tune", tune_port))]

    def __enter__(self) -> "Sender":
        for thread in self._threads:
            thread.start()
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None:
        self._done.set()
        for thread in self._threads:
            thread.join()
        self._socket.close()

    def datagrams(self, data: bytes, port: int) -> None:
        for start in range(0, len(data), DATAGRAM):
            if random.random() >= self.loss:
                self._socket.sendto(data[start:start + DATAGRAM], (LOOPBACK, port))

    def _send(self, name: str, port: int) -> None:
        """A film or a tune that takes another's place begins at its beginning."""
        while not self._done.is_set():
            playing, start, number = getattr(self, name), time.monotonic(), 0
            parts, rate = playing
            while playing is getattr(self, name):
                if self._done.wait(max(0, start + number / rate - time.monotonic())):
                    return
                self.numbers[name] = number
                self.datagrams(parts[number % len(parts)] if parts else b"", port)
                number += 1


class Player:
    """ffprobe decoding an address, as a context. It may start before there is anything to play."""

    def __init__(self, address: str, *options: str) -> None:
        self.process = subprocess.Popen(
            ["stdbuf", "-oL", "ffprobe", "-v", "error", "-fflags", "nobuffer", "-analyzeduration", "2000000",
             *options, "-show_entries", "frame=media_type,key_frame,width,height,channels",
             "-of", "compact=p=0:nk=1", address],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        assert self.process.stdout and self.process.stderr
        self.lines, self.errors = Lines(self.process.stdout), Lines(self.process.stderr)

    def __enter__(self) -> "Player":
        return self

    def __exit__(self, *_: object) -> None:
        self.process.kill()
        self.process.wait()
        self.lines.join()
        self.errors.join()

    def frames(self, kind: str) -> list[list[int]]:
        """All decoded ones: of "video" whether a key frame, width, height; of "audio" 1, channels."""
        rows = (line.rstrip("|").split("|") for line in self.lines.lines)
        return [[int(value) for value in row[1:]] for row in rows if row[0] == kind]

    def await_frames(self, kind: str, count: int, *values: int, timeout: float = TIMEOUT) -> None:
        """Of now on, with these values (width, height) when any are named."""
        start = len(self.frames(kind))

        def enough() -> bool:
            new = self.frames(kind)[start:]
            return len([it for it in new if not values or tuple(it[1:]) == values]) >= count
        wait_until(enough, f"{count} {kind} frames {values}: {self.errors.lines[-9:]}", timeout)


class Stream:
    """The launcher of a kind in a directory of its own, as a context."""

    def __init__(self, kind: str, settings: str) -> None:
        self._home = tempfile.TemporaryDirectory(prefix=f"{kind}.", dir="/run")
        self.settings = Path(self._home.name, "fieldrelaybox.conf")
        self.settings.write_text(settings)
        self.process = subprocess.Popen([PROGRAMS / "stream", kind], cwd=self._home.name,
                                        stdin=subprocess.DEVNULL, stderr=subprocess.PIPE)
        assert self.process.stderr
        self.log = Lines(self.process.stderr)

    def __enter__(self) -> "Stream":
        return self

    def __exit__(self, *_: object) -> None:
        self.process.terminate()
        assert self.process.wait(TIMEOUT) == 0, self.log.lines
        self.log.join()
        self._home.cleanup()
