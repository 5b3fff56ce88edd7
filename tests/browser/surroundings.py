"""What a page is tested with: the real box and panel, a camera that obeys, and real H.264 and AAC.

Run inside tools/sandbox.sh; run.sh says how.
"""

from __future__ import annotations

import os
import re
import statistics
import subprocess
import sys
import time
import unittest
from pathlib import Path
from typing import Any

from webdriver import Browser, chromium

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "system"))

from box import LOOPBACK, MASTER, Box, wait_until  # noqa: E402, F401
from fieldrelaybox.camera_model import CameraModel  # noqa: E402
from fieldrelaybox.simulated_camera import Received, SimulatedCamera  # noqa: E402
from panel import Panel  # noqa: E402
from players import RATE, Sender, tune  # noqa: E402

PROGRAMS = Path(os.environ.get("FIELDRELAYBOX_PROGRAMS", ROOT / "build" / "release"))
EVIDENCE = Path(os.environ.get("FIELDRELAYBOX_EVIDENCE", PROGRAMS / "browser"))
"""Where a failing case leaves a picture of the page, its console and the logs."""
VIDEO_PORT, SOUND_PORT = 5000, 4001
PICTURES, BITS = 256, 8
READ_COUNTER = """
    const picture = document.getElementById('picture');
    if (!picture || (picture.tagName === 'VIDEO' && picture.readyState < 2)) return null;
    const small = document.createElement('canvas');
    [small.width, small.height] = [8 * 8, 8];
    const context = small.getContext('2d');
    context.drawImage(picture, 0, 0, small.width, small.height);
    const pixels = context.getImageData(0, 4, small.width, 1).data;
    let number = 0;
    for (let bit = 0; bit < 8; bit += 1) number = number * 2 + (pixels[(bit * 8 + 4) * 4] > 128 ? 1 : 0);
    return pixels[3] === 0 ? null : number;"""
"""The number in the picture that is shown; null while there is none."""


def encode(*source: str, pictures: bytes = b"") -> list[bytes]:
    """Access units of what ffmpeg makes of the source, a key picture a second."""
    stream = subprocess.run(
        ["ffmpeg", "-v", "error", *source, "-c:v", "libx264", "-preset", "ultrafast", "-tune", "zerolatency",
         "-g", str(RATE), "-crf", "30", "-x264-params", "aud=1", "-f", "h264", "-"],
        input=pictures, stdout=subprocess.PIPE, check=True).stdout
    delimiter = b"\0\0\0\1\x09"
    return [delimiter + unit for unit in stream.split(delimiter)[1:]]


def counting_film() -> list[bytes]:
    """The columns of each picture are the bits of its number, white for 1."""
    columns = (bytes(255 if number >> bit & 1 else 0 for bit in reversed(range(BITS)))
               for number in range(PICTURES))
    return encode("-f", "rawvideo", "-pix_fmt", "gray", "-s", f"{BITS}x4", "-r", str(RATE), "-i", "-",
                  "-vf", "scale=640:360:flags=neighbor,noise=alls=12:allf=t,format=yuv420p",
                  pictures=b"".join(4 * row for row in columns))


class Camera(SimulatedCamera):
    """One that obeys, and keeps in words what the box told it."""

    def __init__(self) -> None:
        self.told: list[tuple[float, str]] = []
        """When, on the monotonic clock, and what."""
        super().__init__(model=CameraModel(), on_received=self._take)

    def _take(self, received: Received) -> None:
        self.told.append((time.monotonic(), received.name))

    def state(self, name: str) -> Any:
        assert self.model
        return getattr(self.model.state, name)

    def speeds(self, since: float = 0) -> list[tuple[float, int, int]]:
        """When the gimbal was told to move how fast."""
        found = ((at, re.fullmatch(r"gimbal speed (-?\d+),(-?\d+)", name)) for at, name in list(self.told))
        return [(at, int(it[1]), int(it[2])) for at, it in found if it and at >= since]


class PageTestCase(unittest.TestCase):
    """One box, camera, panel and browser for all cases of a class; the page is loaded anew for each."""

    settings = "tcp_port=8555\ncamera_iface=wifi0\ncamera_ssid=camera\n"
    box: Box
    camera: Camera
    film: Sender
    panel: Panel
    browser: Browser
    open_browser = staticmethod(chromium)
    password = False
    """Whether the panel asks for one."""

    @classmethod
    def setUpClass(cls) -> None:
        EVIDENCE.mkdir(parents=True, exist_ok=True)
        cls.box = Box(cls.settings)
        cls.box.start()
        cls.addClassCleanup(cls.box.stop)
        cls.camera = cls.enterClassContext(Camera())
        cls.film = cls.enterClassContext(Sender(VIDEO_PORT, SOUND_PORT))
        cls.film.film, cls.film.tune = (counting_film(), RATE), tune()
        cls.panel = cls.enterClassContext(Panel("--box", LOOPBACK, password=cls.password, page={}))
        cls.browser = cls.enterClassContext(cls.open_browser())

    def setUp(self) -> None:
        self.browser.open(self.panel.place)

    def run(self, result: unittest.TestResult | None = None) -> unittest.TestResult | None:
        def faults() -> int:
            return len(result.failures) + len(result.errors) if result else 0
        before = faults()
        super().run(result)
        if faults() > before:
            self.keep_evidence()
        return result

    def keep_evidence(self) -> None:
        place = f"{EVIDENCE}/{type(self).__name__}.{self._testMethodName}"
        try:
            self.browser.screenshot(Path(f"{place}.png"))
            lines = [*self.browser.console(), "", *self.box.log.lines[-50:], "", *self.panel.log.lines]
            Path(f"{place}.log").write_text("\n".join(lines))
        except Exception as error:  # the browser may be what failed
            print(f"nothing could be kept: {error}", file=sys.stderr)
        print(f"\nsee {place}.png and {place}.log", file=sys.stderr)

    def counter(self) -> int | None:
        return self.browser.script(READ_COUNTER)

    def pictures_behind(self, number: int) -> int:
        return (self.film.numbers["film"] - number) % PICTURES

    def assert_moves(self, browser: Browser, pictures: int = 10) -> None:
        """What is shown is what is sent, hardly later, and goes on."""
        seen: set[int] = set()

        def look() -> bool:
            number = browser.script(READ_COUNTER)
            if number is not None and self.pictures_behind(number) < RATE:
                seen.add(number)
            return len(seen) >= pictures
        try:
            wait_until(look, "the picture moves", 30)
        except AssertionError as error:
            raise AssertionError(f"{error}; shown {sorted(seen)}, sent {self.film.numbers}") from None

    def assert_quick(self, limit: float) -> None:
        """What is shown was sent hardly earlier: the median, in seconds, in the best of some windows."""

        def lag() -> float:
            number = self.counter()
            return 9 if number is None else self.pictures_behind(number) / RATE
        medians: list[float] = []
        while len(medians) < 12 and min(medians, default=9.0) > limit:
            medians.append(statistics.median(lag() for _ in range(60)))
        self.assertLessEqual(min(medians), limit, medians)
