"""Somebody sets the clock: nothing that is there is lost for it, and nothing that is gone stays."""

import os
import unittest
from pathlib import Path
from unittest import mock

from box import BoxTestCase, Camera, repeated, send, wait_until

HOUR, MONTH = 3600, 30 * 24 * 3600
SHIFT = Path("/run/clock_shift")
SHIM = os.environ.get("FIELDRELAYBOX_CLOCK_SHIFT", "")
LINKS = ("app_client_count", "video_connected", "link_byte_133")


@unittest.skipUnless(SHIM, "no shim goes with sanitizers and emulators")
class Clock(BoxTestCase):
    @classmethod
    def setUpClass(cls) -> None:
        with mock.patch.dict(os.environ, LD_PRELOAD=SHIM, CLOCK_SHIFT_FILE=str(SHIFT)):
            super().setUpClass()

    def links(self) -> list[int]:
        return [self.box.status[link] for link in LINKS]

    def await_pass(self) -> None:
        clock = self.box.mirror["clock"]
        wait_until(lambda: self.box.mirror["clock"] != clock, "a pass ends")

    def everything_there_while(self, seconds: int) -> None:
        """The clock is set right behind a pass."""
        app = self.silent_app()
        with Camera(self.box) as camera, repeated(lambda: send(b"picture", 5000), 0.2):
            camera.connect()
            self.await_pass()
            app.register()
            app.await_reply()
            before, lines = self.box.mirror["clock"], len(self.box.log.lines)
            SHIFT.write_text(str(seconds))
            self.await_pass()
            self.assertGreater(abs(self.box.mirror["clock"] - before), HOUR * 900)
            self.assertEqual(self.links(), [1, 1, 1])
            self.assertNotRegex("".join(self.box.log.lines[lines:]), "lost|disconnected")

    def test_nothing_is_lost_and_nothing_stays(self) -> None:
        for there, gone in ((HOUR, 0), (-HOUR, MONTH)):
            self.everything_there_while(there)
            SHIFT.write_text(str(gone))
            wait_until(lambda: self.links() == [0, 0, 0], f"missed, the clock off by {gone}", 10)
