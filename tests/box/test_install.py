"""Packages on a fresh system, as the README says, and the first start from power-on."""

import re
import time
import unittest

from installed import ON_CARD, InstalledBox
from machine import NATIVE, SHORT, Machine

# Asks and sends until something comes back; tells when, in seconds since the kernel began.
FIRST_SIGNS = r"""
import select, socket, sys, time
sys.path.insert(0, "/usr/share/fieldrelaybox-tools")
from fieldrelaybox import app_protocol

def first(send, receiver):
    while not select.select([receiver], [], [], 0.05)[0]:
        send()
    return time.clock_gettime(time.CLOCK_BOOTTIME)

app, client = (socket.socket(socket.AF_INET, socket.SOCK_DGRAM) for _ in range(2))
client.bind(("127.0.0.1", 7000))
print(first(lambda: app.sendto(app_protocol.register(True), ("127.0.0.1", app_protocol.PORT)), app),
      first(lambda: app.sendto(b"picture", ("127.0.0.1", 5000)), client), open("/proc/uptime").read().split()[0])
"""


class Install(unittest.TestCase):
    def test_first_start(self) -> None:
        box = InstalledBox(system="" if SHORT else f"{NATIVE}-streams",
                           options="modules_load=mac80211_hwsim")  # a radio, as every Pi has one
        self.addCleanup(box.close)
        box.card.write(ON_CARD, re.sub(rb"\nudp_clients=.*", b"\nudp_clients=127.0.0.1:7000", box.card.read(ON_CARD)))
        Machine.start(box)
        answer, datagram, now = map(float, box.run("python3 -", FIRST_SIGNS.encode()).split())
        before_kernel = time.monotonic() - box.powered_at - now
        print(f"\nfrom power-on to the first answer {before_kernel + answer:.1f} s, "
              f"to the first relayed datagram {before_kernel + datagram:.1f} s")
        box.wait_until("[ $(systemctl is-system-running) = running ]")
        warnings = box.run("journalctl -q -b -p warning -u 'fieldrelaybox*' -o cat --no-pager").splitlines()
        # A query of the daemon's that takes too long is the emulation's fault.
        self.assertEqual([line for line in warnings if not line.startswith("gave up on")], [])
