"""Cards that fail, are full or write-protected: the daemon says so in a line and runs on, what the card holds stays
whole, and the first save that the card takes carries everything."""

import json
import os
import random
import time
import unittest

from installed import SERVICE, WITHOUT_NETWORK, InstalledBox

SEED = int(os.environ.get("SEED") or random.randrange(1 << 32))
CARD = "/dev/mmcblk0p1"
FIRMWARE = "/boot/firmware"
# The card's partition is put behind the kernel's own faulty device, which does as it is told; until the next start.
PUT_FAULTS_BEFORE_CARD = f"""
cat >card-that <<'end'
set -e
echo "0 $(blockdev --getsz /dev/card) flakey /dev/card 0 $*" | dmsetup load card
dmsetup suspend --nolockfs card
dmsetup resume card
end
set -e
umount {FIRMWARE}
mv {CARD} /dev/card
dmsetup create card --notable
bash card-that 1 0
ln -s mapper/card {CARD}
mkdir -p /run/systemd/system/{SERVICE}.d
printf '[Service]\nDeviceAllow=block-device-mapper rw\n' >/run/systemd/system/{SERVICE}.d/card.conf
systemctl daemon-reload
mount {FIRMWARE}
systemctl restart {SERVICE}
"""
WORKS, TAKES_NO_WRITE, IS_DEAD, COMES_AND_GOES = ("bash card-that " + way for way in (
    "1 0", "0 1 1 error_writes", "0 1", "1 1 1 error_writes"))
FILL = f"cat /dev/zero >{FIRMWARE}/filler; rm -f {FIRMWARE}/*.bak; cat /dev/zero >{FIRMWARE}/more"
MAKE_ROOM = f"rm {FIRMWARE}/filler {FIRMWARE}/more"
PROTECT, UNPROTECT = (f"umount {FIRMWARE}; echo {on} >/sys/block/mmcblk0/force_ro; mount {FIRMWARE}" for on in (1, 0))


class FaultyCard(unittest.TestCase):
    def saves(self, box: InstalledBox) -> tuple[int, int]:
        """Those that worked, and all."""
        counts = json.loads(box.run("fieldrelaybox-client status --json"))
        return counts["saves_done"], counts["saves_done"] + counts["saves_failed"]

    def save(self, box: InstalledBox, port: int) -> bool:
        """Whether it worked."""
        done, before = self.saves(box)
        box.set("tcp_port", str(port))
        end = time.monotonic() + 120
        while (now := self.saves(box))[1] == before:
            self.assertLess(time.monotonic(), end, "no save")
        return now[0] > done

    def assert_fails(self, box: InstalledBox, fault: str, mend: str, line: str) -> None:
        box.run("journalctl --rotate; journalctl -q --vacuum-time=1s")
        process = box.run(f"systemctl show -P MainPID {SERVICE}")
        self.assertTrue(self.save(box, 8600))
        box.finish(box.begin(fault))
        self.assertEqual([self.save(box, port) for port in (8601, 8602)], [False, False])
        self.assertEqual(box.setting("tcp_port"), "8600")
        box.finish(box.begin(mend))
        box.run(f"umount {FIRMWARE}; mount {FIRMWARE}")  # what is on the card, not in memory
        self.assertIn("\ntcp_port=8600", box.run(f"cat {FIRMWARE}/fieldrelaybox.conf"))
        self.assertTrue(self.save(box, 8603))
        told = box.run(f"journalctl -o cat -p warning -u {SERVICE}").splitlines()
        self.assertEqual([text for text in told if "boot" in text], [line])
        self.assertIn("settings are saved again\n", box.run(f"journalctl -o cat -u {SERVICE}"))
        self.assertEqual(box.setting("tcp_port"), "8603")
        self.assertEqual(box.run(f"systemctl show -P MainPID {SERVICE}"), process)

    def test_faults(self) -> None:
        cannot = f"cannot %s {FIRMWARE}/fieldrelaybox.conf.bak: %s"
        print(f"\nSEED={SEED}")
        dice = random.Random(SEED)
        with InstalledBox(options=WITHOUT_NETWORK) as box:
            box.run(PUT_FAULTS_BEFORE_CARD)
            for fault, mend, line in (
                    (TAKES_NO_WRITE, WORKS, cannot % ("write", "Input/output error")),
                    (IS_DEAD, WORKS, cannot % ("write", "Input/output error")),
                    (FILL, MAKE_ROOM, cannot % ("write", "No space left on device"))):
                with self.subTest(fault):
                    self.assert_fails(box, fault, mend, line)
            saved = 8603
            box.run(COMES_AND_GOES)
            for port in range(8610, 8616):
                time.sleep(dice.uniform(0, 1))
                saved = port if self.save(box, port) else saved
            box.cut_power()
            box.start()
            self.assertIn(int(box.setting("tcp_port")), range(saved, 8616))
            self.assert_fails(box, PROTECT, UNPROTECT, cannot % ("open", "Read-only file system"))
