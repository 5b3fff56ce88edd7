"""Settings that were changed by an app are there again after a restart, and after power went away."""

import unittest

from installed import InstalledBox

LAYOUTS = {"Raspberry Pi OS 12": "", "older, mounted read-only": "/boot,ro"}


class Settings(unittest.TestCase):
    def test_restart_and_power_cut(self) -> None:
        for layout, card_at in LAYOUTS.items():
            with self.subTest(layout), InstalledBox(card_at=card_at) as box:
                box.set("tcp_port", "8600")
                box.await_saves()
                box.restart()
                self.assertEqual(box.setting("tcp_port"), "8600")
                box.set("tcp_port", "8700")
                box.await_saves()
                box.cut_power()
                box.start()
                self.assertEqual(box.setting("tcp_port"), "8700")
                self.assertEqual(box.run("findmnt -n -o OPTIONS --target /boot/fieldrelaybox.conf").startswith("ro"),
                                 bool(card_at))
