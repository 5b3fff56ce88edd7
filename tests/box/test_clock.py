"""A Pi has no clock of its own: it starts in the past, and the time is set while everything is at work. And a box
that runs for weeks: the time that it has run for outgrows 31 and 32 bits of milliseconds."""

import itertools
import time
import unittest

from flown import ALL_THERE, END, LEFT, RIGHT, FlownBox
from installed import SERVICE

NOW = f"date -s @{time.time():.0f}"
SET = (NOW, "timedatectl set-time '2036-01-01 12:00:00'", "date -s 1970-01-02", "date -s 2039-01-01", NOW)
FAULTS = "lost|data disconnected|no sign of life|failed|[Ww]atchdog"
LATER = """[Service]
ExecStart=
ExecStart=unshare --fork --kill-child --time --monotonic=%d /usr/lib/fieldrelaybox/bin/fieldrelaybox
NotifyAccess=all
RestrictNamespaces=no
ProtectClock=no
CapabilityBoundingSet=CAP_SYS_TIME CAP_SYS_PTRACE
SystemCallFilter=@clock @debug
"""


class Clock(unittest.TestCase):
    box: FlownBox

    @classmethod
    def setUpClass(cls) -> None:
        cls.box = FlownBox()
        cls.addClassCleanup(cls.box.close)
        cls.box.hardware = ["-rtc", "base=1970-01-01"]
        cls.box.start()

    def uptime(self) -> float:
        return float(self.box.run("cut -d' ' -f1 /proc/uptime"))

    def assert_nothing_happens(self, *commands: str) -> None:
        """The stick is held meanwhile: nobody counts as gone, and the gimbal goes on without a pause."""
        box, processes = self.box, self.box.processes()
        for end, name in ((END, RIGHT), (-END, LEFT)):
            box.move(end, 0)
            box.await_frame(name)
        box.run("journalctl --rotate; journalctl -q --vacuum-time=1s")
        before = box.frame_count()
        for command in commands:
            box.run(command)
            self.assertTrue(box.succeeds(ALL_THERE), command)
        frames = box.frames(before)
        self.assertEqual([(name, len(list(same))) for name, same in itertools.groupby(frames)], [(LEFT, len(frames))])
        self.assertGreater(len(frames), 500)
        self.assertNotRegex(box.run("journalctl -q -o cat -t{systemd,fieldrelaybox{,-rcin,-panel}}"), FAULTS)
        self.assertEqual(box.processes(), processes)

    def test_time_is_set(self) -> None:
        self.assertLess(int(self.box.run("date +%s")), time.time() - 24 * 3600)
        self.assert_nothing_happens(*(f"{command}; sleep 8" for command in SET))

    def test_weeks(self) -> None:
        """The daemon's clock alone is put on; what weeks do to its memory is not seen here."""
        for bits in (31, 32):
            ahead = (1 << bits) // 1000 - int(self.uptime()) - 40
            self.box.put(f"/run/systemd/system/{SERVICE}.d/later.conf", (LATER % ahead).encode())
            self.box.run(f"systemctl daemon-reload; systemctl restart {SERVICE}")
            self.box.wait_until(ALL_THERE)
            self.assert_nothing_happens("sleep 40")
            self.assertGreater(self.uptime() + ahead, (1 << bits) / 1000)
