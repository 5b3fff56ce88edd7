"""Power goes while settings are saved: then they are the old or the new ones, and the box comes back."""

import json
import os
import random
import re
import subprocess
import sys
import time
import unittest
from pathlib import Path

from installed import ON_CARD, WITHOUT_NETWORK, InstalledBox
from machine import PARTITION_START, ROOT, SHORT, run
from write_log import writes

sys.path.insert(0, str(ROOT / "tools"))

from fieldrelaybox import app_protocol  # noqa: E402

PREPARE = ROOT / "packaging/bin/prepare-configuration"
SEED = int(os.environ.get("SEED") or random.randrange(1 << 32))


def port_of(settings: bytes, sample: bytes) -> int:
    """The setting that the stories change, of settings that are otherwise those of the sample, whose empty server_host
    the daemon fills."""
    changed = re.compile(rb"(?:tcp_port|server_host)=")
    fixed, expected = ([line for line in text.splitlines() if not changed.match(line)] for text in (settings, sample))
    found = re.search(rb"^tcp_port=(\d+)\r?$", settings, re.MULTILINE)
    assert found and fixed == expected, settings
    return int(found[1])


def decision(partition: Path) -> bytes:
    """What a start makes of a boot partition: the check of file systems, then prepare-configuration."""
    check = subprocess.run(["fsck.vfat", "-a", str(partition)], capture_output=True, check=False)
    assert check.returncode in (0, 1), check.stdout  # 1: repaired
    for name in (ON_CARD, f"{ON_CARD}.bak"):
        content = subprocess.run(["mtype", "-i", str(partition), f"::{name}"], capture_output=True, check=False)
        if content.returncode == 0:
            Path("/boot", name).write_bytes(content.stdout)
        else:
            Path("/boot", name).unlink(missing_ok=True)
    Path("/run", ON_CARD).unlink(missing_ok=True)  # as when power was away
    run(PREPARE)
    return Path("/run", ON_CARD).read_bytes()


class PowerCuts(unittest.TestCase):
    def setUp(self) -> None:
        print(f"\nSEED={SEED}")
        self.dice = random.Random(SEED)

    def test_after_every_write(self) -> None:
        """All that saves write to the card is noted; a start is tried with the card as it was after each write."""
        with_log = InstalledBox(options=WITHOUT_NETWORK)
        self.addCleanup(with_log.close)
        partition, state = with_log.directory / "partition", with_log.directory / "state"
        with_log.write_log = with_log.directory / "writes"
        with_log.card.copy_partition(partition)
        sample = with_log.card.read(ON_CARD)
        ports = [port_of(sample, sample)]
        with_log.start()
        for port in range(8600, 8603 if SHORT else 8610):
            with_log.set("tcp_port", str(port))
            with_log.await_saves()
            ports.append(port)
        with_log.shut_down()
        seen, tried = [], 0
        with partition.open("r+b") as card:
            for place, data in writes(with_log.write_log):
                assert place >= PARTITION_START, "the partition table was written"
                card.seek(place - PARTITION_START)
                card.write(data)
                card.flush()
                run("cp", "--sparse=always", partition, state)
                port = port_of(decision(state), sample)
                tried += 1
                if port not in seen:
                    seen.append(port)
                self.assertEqual(port, seen[-1], f"older settings again after write {tried}")
        print(f"{tried} writes")
        self.assertEqual(seen, ports)
        self.assertGreater(tried, 20 * (len(ports) - 1))

    def test_at_any_moment(self) -> None:
        """Cut at random around saves, and started again each time."""
        outcomes = []
        with InstalledBox(options=WITHOUT_NETWORK) as box:
            save_seconds = min(self.save(box, port) for port in (8600, 8601))
            for new in range(8602, 8605 if SHORT else 8622):
                old = int(box.setting("tcp_port"))
                self.change(box, new)
                time.sleep(self.dice.uniform(0, 1.2 * save_seconds))
                box.cut_power()
                box.start()
                self.assertIn(int(box.setting("tcp_port")), (old, new))
                outcomes.append(box.setting("tcp_port") == str(new))
                found = box.run("umount /boot/firmware && fsck.vfat -n /dev/mmcblk0p1 && mount /boot/firmware")
                self.assertNotRegex(found, "(?i)dirty|differ|fsck0")
        print(f"a save takes {save_seconds:.1f} s; old settings after {outcomes.count(False)} cuts, new ones after "
              f"{outcomes.count(True)}")

    def change(self, box: InstalledBox, port: int) -> None:
        box.begin("cat >/dev/udp/127.0.0.1/4242",
                  app_protocol.command(json.dumps({"cmd": "updateparam", "name": "tcp_port", "value": str(port)})))

    def save(self, box: InstalledBox, port: int) -> float:
        begun = time.monotonic()
        self.change(box, port)
        box.wait_until(f"grep -qx tcp_port={port} /run/fieldrelaybox.conf")
        return time.monotonic() - begun
