"""Settings that were changed by an app are there again after a restart, and after power went away."""

import unittest

from installed import WITHOUT_NETWORK, InstalledBox
from machine import NATIVE, SHORT

BOXES = {"Raspberry Pi OS 12": (NATIVE, "")}
if not SHORT:
    BOXES |= {"boot partition of older systems, mounted read-only": (NATIVE, "/boot,ro"), "32-bit ARM": ("armhf", "")}


class Settings(unittest.TestCase):
    def test_restart_and_power_cut(self) -> None:
        for name, (architecture, card_at) in BOXES.items():
            with self.subTest(name), InstalledBox(architecture, card_at, options=WITHOUT_NETWORK) as box:
                box.set("tcp_port", "8600")
                box.await_saves()
                box.restart()
                self.assertEqual(box.setting("tcp_port"), "8600")
                box.set("tcp_port", "8700")
                box.await_saves()
                box.cut_power()
                box.start()
                self.assertEqual(box.setting("tcp_port"), "8700")
                options = box.run(f"findmnt -n -o OPTIONS {card_at.split(',')[0] or '/boot/firmware'}")
                self.assertEqual(options.split(",")[0], "ro" if card_at else "rw")
