"""From release to release and back with the settings kept, and nothing left at the end.

PREVIOUS in the environment is a directory with the packages of an earlier release; without it these packages play
that part under a lower version.
"""

import os
import unittest
from pathlib import Path

from installed import INSTALL, IS_RUNNING, InstalledBox, packages, put

PREVIOUS = os.environ.get("PREVIOUS")
IS_SEARCHING = "systemctl is-active fieldrelaybox-search@camera"
LEFT = (r"find / -xdev \( -path /var/log -o -path /var/lib/dpkg \) -prune -o "
        r"\( -name '*fieldrelaybox*' -o -name rcin.cal \) -print; ls -A /boot/firmware; "
        r"find /run /dev/shm -name '*fieldrelaybox*' -o -name '*_mem'; getent passwd | grep fieldrelaybox; "
        "ps -e -o comm= | grep -E '^(fieldrelaybox|search-|hostapd|dnsmasq)' || true")


class Upgrade(unittest.TestCase):
    def test_back_and_forth_and_purge(self) -> None:
        with InstalledBox() as box:
            box.set("tcp_port", "8600")
            box.run("fieldrelaybox-client wifi set --host 127.0.0.1 --timeout 20 --camera wlan0 OSMO_x1 'a phrase'")
            box.wait_until(IS_SEARCHING)
            box.await_saves()
            put(box, "/tmp/previous", packages(directory=Path(PREVIOUS)) if PREVIOUS else packages(version="0~before"))
            put(box, "/tmp/current", packages())
            password = box.fetch("/etc/fieldrelaybox/panel-password.txt")
            versions = []
            for release in ("previous", "current"):
                before = box.run("systemctl show -P MainPID fieldrelaybox")
                box.run(f"cd /tmp/{release} && {INSTALL} --allow-downgrades ./*.deb", timeout=600)
                box.wait_until(f"{IS_RUNNING} && {IS_SEARCHING}")
                self.assertNotEqual(box.run("systemctl show -P MainPID fieldrelaybox"), before)
                versions.append(box.run("dpkg-query -W -f '${Version}' fieldrelaybox"))
                self.assertEqual(box.setting("tcp_port"), "8600")
            self.assertNotEqual(*versions)
            self.assertEqual(box.fetch("/etc/fieldrelaybox/panel-password.txt"), password)
            # As the check of file systems keeps what power that went took from a save.
            box.run("head -c 2048 /boot/firmware/fieldrelaybox.conf >/boot/firmware/FSCK0000.REC")
            box.run("rm -r /tmp/previous /tmp/current; apt-get purge -y 'fieldrelaybox*'", timeout=600)
            self.assertEqual(box.run(LEFT), "")
