"""Programs that are killed, hang or have no memory, and memories that are full: the box is at work again by itself."""

import json
import os
import random
import sys
import unittest

from flown import ALL_THERE, END, LEFT, FlownBox
from installed import IS_RUNNING, SERVICE
from machine import ROOT

sys.path.insert(0, str(ROOT / "tools"))

from fieldrelaybox import app_protocol  # noqa: E402

SEED = int(os.environ.get("SEED") or random.randrange(1 << 32))
WATCHED = (SERVICE, "fieldrelaybox-rcin.service")
BUSY_SECONDS, GROWTH_KILOBYTES = 180, 256
# In place of a tool that the daemon runs every 3 s.
HUNGRY_TOOL = b"#!/bin/sh\nhead -c 20M /dev/zero | tail\n"
# Apps that come, command, change settings and go; and what is none of the protocol.
CROWD = r"""
import json, os, random, socket, sys, time
sys.path.insert(0, "/usr/share/fieldrelaybox-tools")
from fieldrelaybox import app_protocol
end = time.monotonic() + float(sys.argv[1])
while time.monotonic() < end:
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as app:
        app.connect(("127.0.0.1", app_protocol.PORT))
        app.send(app_protocol.register(True))
        for text in ({"cmd": "configrequest"}, {"cmd": "camera", "name": "iso", "value": "400"},
                     {"cmd": "updateparam", "name": "tcp_port", "value": str(random.randrange(8600, 8700))}):
            app.send(app_protocol.command(json.dumps(text)))
        app.send(os.urandom(random.randrange(1, 1400)))
        time.sleep(0.5)
"""


class Mishaps(unittest.TestCase):
    box: FlownBox

    @classmethod
    def setUpClass(cls) -> None:
        print(f"\nSEED={SEED}")
        cls.box = FlownBox()
        cls.addClassCleanup(cls.box.close)
        cls.box.start()

    def setUp(self) -> None:
        self.box.run("journalctl --rotate; journalctl -q --vacuum-time=1s")

    def tearDown(self) -> None:
        """Flown by the pad, whatever it was."""
        self.box.wait_until(ALL_THERE, 120)
        self.box.move(0, 0)
        self.box.move(-END, 0)
        self.box.await_frame(LEFT)
        self.assertTrue(self.box.succeeds(IS_RUNNING))

    def journal(self, unit: str = SERVICE) -> str:
        return self.box.run(f"journalctl -o cat -u {unit}")

    def test_killed_and_hung(self) -> None:
        self.box.set("tcp_port", "8500")
        self.box.await_saves()
        before = self.box.processes()
        self.assertEqual(set(before), {*WATCHED, "fieldrelaybox-panel.service"})
        for signal, units in (("KILL", [*before]), ("STOP", WATCHED)):
            for unit in units:
                process = self.box.processes()[unit]
                self.box.run(f"kill -{signal} {process}")
                self.box.wait_until(f"systemctl is-active {unit} && [ $(systemctl show -P MainPID {unit}) != {process} ]")
                self.assertEqual("Watchdog timeout" in self.journal(unit), signal == "STOP")
        self.assertEqual(self.box.setting("tcp_port"), "8500")

    def test_killed_while_saving(self) -> None:
        dice, outcomes = random.Random(SEED), []
        for port in range(8700, 8708):
            old = self.box.setting("tcp_port")
            change = app_protocol.command(json.dumps({"cmd": "updateparam", "name": "tcp_port", "value": str(port)}))
            self.box.run(f"cat >/dev/udp/127.0.0.1/4242; sleep {dice.uniform(0, 0.5)}; "
                         f"kill -KILL {self.box.processes()[SERVICE]}; sleep 1", change)
            self.box.wait_until(IS_RUNNING)
            outcomes.append(self.box.setting("tcp_port"))
            self.assertIn(outcomes[-1], (old, str(port)))
        print("\n", outcomes)

    def test_out_of_memory(self) -> None:
        """A tool that eats all is gone, not the daemon; without enough for itself it is there as soon as there is."""
        process = self.box.processes()[SERVICE]
        self.box.put("/usr/local/sbin/pidof", HUNGRY_TOOL)
        self.box.run(f"chmod +x /usr/local/sbin/pidof; systemctl set-property --runtime {SERVICE} MemoryMax=8M")
        self.box.wait_until(f"journalctl -u {SERVICE} | grep -q 'has been killed by the OOM killer'")
        self.box.run("rm /usr/local/sbin/pidof; sleep 5")
        self.assertEqual(self.box.processes().get(SERVICE), process)
        self.box.run(f"systemctl set-property --runtime {SERVICE} MemoryMax=256K")
        self.box.wait_until(f"! [ -e /proc/{process} ]")
        self.box.run(f"sleep 10; systemctl set-property --runtime {SERVICE} MemoryMax=infinity")
        self.box.wait_until(IS_RUNNING)

    def test_full(self) -> None:
        """Root, the journal and /run: what is saved goes to the card all the same, and a hung journal holds nobody up."""
        box = self.box
        process = box.processes()[SERVICE]
        box.run("fallocate -l $(($(stat -f -c '%f * %S' /) - (64 << 20))) /filler; "
                "for full in /more /run/filler; do cat /dev/zero >$full; done; true")
        self.assertFalse(box.succeeds("echo >/one || echo >/run/one; [ -s /one ] || [ -s /run/one ]"))
        box.run("systemctl kill --signal=STOP --kill-whom=main systemd-journald")
        before = box.frame_count()
        box.set("tcp_port", "8400")
        box.wait_until("grep -q ^tcp_port=8400 /boot/fieldrelaybox.conf")
        box.run("for i in {1..3000}; do echo -n '[77' >/dev/udp/127.0.0.1/4242; done; sleep 5")
        self.assertTrue(box.succeeds(ALL_THERE))
        box.run("systemctl kill --signal=CONT --kill-whom=main systemd-journald; rm -f /filler /more /one /run/filler /run/one")
        self.assertNotEqual(box.setting("tcp_port"), "8400")
        box.set("tcp_port", "8401")
        box.await_saves()
        self.assertEqual(box.setting("tcp_port"), "8401")
        self.assertEqual(box.processes()[SERVICE], process)

    def test_memory_stays(self) -> None:
        box = self.box

        def memory() -> dict[str, int]:
            """Kilobytes that each has for itself."""
            return {unit: int(box.run(f"grep -oP '^RssAnon:\\s*\\K\\d+' /proc/{process}/status"))
                    for unit, process in box.processes().items()}
        box.put("crowd.py", CROWD.encode())
        box.run("python3 crowd.py 30")
        before = memory()
        box.run(f"python3 crowd.py {BUSY_SECONDS}", timeout=BUSY_SECONDS + 60)
        after = memory()
        print("\n", {unit: (kilobytes, after.get(unit)) for unit, kilobytes in before.items()})
        self.assertEqual(set(after), set(before))
        for unit, kilobytes in before.items():
            self.assertLess(after[unit], kilobytes + GROWTH_KILOBYTES, unit)
