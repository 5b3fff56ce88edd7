"""A pilot with a game pad: from the pad's events in the kernel to the gimbal's frames at the camera."""

import unittest

from flown import END, FLYING, LEFT, NO_PAD, STOP, FlownBox


class Pilot(unittest.TestCase):
    def test_pad(self) -> None:
        with FlownBox() as box:
            box.move(-END, 0)
            box.await_frame(LEFT)
            box.unplug()
            box.await_frame(STOP)
            box.await_rc(NO_PAD)
            box.plug_in()
            box.await_rc(FLYING)
            box.move(0, END)
            box.await_frame("gimbal speed 0,500")
            box.move(0, 0)
            box.await_frame(STOP)
            self.assertNotIn("faults\": [\"", box.run("cat camera"))
            box.wait_until("[ -s /boot/rcin.cal ] && ! [ -e /run/fieldrelaybox-rcin/rcin.cal ]")
            box.cut_power()
            box.start()  # the calibration was kept: it flies at once
            box.move(-END, 0)
            box.await_frame(LEFT)
            self.assertNotIn("calibrating", box.run("journalctl -b -u fieldrelaybox-rcin"))
