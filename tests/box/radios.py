"""What is around a box: a camera's access point, a home's, and a phone, on simulated radios (mac80211_hwsim).

Each has a network namespace of its own. The box has two radios, wlan0 and wifi0, as apps know them.
"""

from __future__ import annotations

import json
import shlex
from typing import Any

from installed import InstalledBox

RADIOS = {"camera": 2, "home": 3, "phone": 4}
"""Which one; it is the number of its interface, too."""
SUBNETS = {"camera": "192.168.2", "home": "192.168.50"}
LEASE = 20  # the last part of the address that the box gets
PHRASES = {"camera": "phrase of camera", "home": "phrase of home", "ap": "phrase of the box"}

SETTINGS = "/run/fieldrelaybox.conf"
JOURNAL = ("journalctl -q -b --no-pager -o cat _SYSTEMD_UNIT=fieldrelaybox-network.service "
           "_SYSTEMD_UNIT=fieldrelaybox-search@camera.service _SYSTEMD_UNIT=fieldrelaybox-search@network.service")
HAS_JOINED = "nmcli -g GENERAL.STATE connection show fieldrelaybox-{} | grep -qx activated"

SET_UP = r"""
set -e
mountpoint -q /sys/kernel/debug || mount -t debugfs debugfs /sys/kernel/debug
cp /usr/sbin/hostapd /run/neighbour  # by its own name the daemon would take it for the box's
echo mac80211_hwsim >/etc/modules-load.d/radios.conf
echo options mac80211_hwsim radios=5 >/etc/modprobe.d/radios.conf
echo options mac80211 beacon_loss_count=30 >>/etc/modprobe.d/radios.conf  # a slow machine is no bad reception
printf '[Match]\nMACAddress=02:00:00:00:01:00\n[Link]\nName=wifi0\n' >/etc/systemd/network/10-wifi0.link
udevadm control --reload
modprobe mac80211_hwsim
iw reg set CN  # a Pi is asked for its country at first; without one these radios also scan what no Pi has
udevadm settle
radio=2
for place in camera home phone; do
    ip netns add $place
    ip -n $place link set lo up
    iw phy phy$radio set netns name $place
    # wlan1 is free for the next as soon as it has become wifi0
    name=$(ip -n $place -o link | sed -n 's/^[0-9]*: \(wlan[0-9]*\):.*/\1/p')
    ip -n $place link set $name down
    [ $name = wlan$radio ] || ip -n $place link set $name name wlan$radio
    radio=$((radio + 1))
done
"""

CAMERA_VIDEO = rb"""
import socket, time
camera = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
while True:
    try:
        camera.sendto(bytes(1000), ("192.168.2.20", 9000))
    except OSError:
        pass  # no way there
    time.sleep(0.05)
"""

# What the daemon is not: it gets the camera's video from a program on the box.
VIDEO_RECEIVER = rb"""
import socket
receiver = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
receiver.bind(("", 9000))
while True:
    receiver.sendto(receiver.recv(2000), ("127.0.0.1", 5000))
"""

# Does what its argument says, then tells after how many seconds a picture comes out of the box.
FIRST_PICTURE = rb"""
import socket, subprocess, sys, time
client = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
client.bind(("127.0.0.1", 7000))
client.settimeout(200)
begin = time.monotonic()
subprocess.run(sys.argv[1], shell=True, check=True)
client.recv(2000)
print(time.monotonic() - begin)
"""


class RadioBox(InstalledBox):
    """A box with two radios and its surroundings, which are silent at first.

    Its time goes by what it computes: where many share a computer, radios do not miss each other's answers.
    """

    def _command_line(self) -> list[str]:
        words = super()._command_line() + ["-icount", "shift=2,align=off,sleep=on"]
        words[words.index("-smp") + 1] = "1"  # more do not start so
        return [word.replace("thread=multi", "thread=single") for word in words]

    def _await(self, number: int, what: str, timeout: float) -> dict[str, Any]:
        return super()._await(number, what, 10 * timeout)

    def start(self) -> "RadioBox":
        super().start()
        self.run(SET_UP)
        return self

    def put_up(self, place: str, name: str, phrase: str | None = None, lines: str = "") -> None:
        """An access point that gives addresses, a router and a name server, as cameras do, too; in the place of the
        one before. lines: more for hostapd."""
        self.take_down(place)
        interface, subnet = f"wlan{RADIOS[place]}", SUBNETS[place]
        phrase = PHRASES[place] if phrase is None else phrase
        security = f"wpa=2\nwpa_key_mgmt=WPA-PSK\nrsn_pairwise=CCMP\nwpa_passphrase={phrase}\n" if phrase else ""
        self.put(f"/run/{place}.conf", (f"interface={interface}\nssid2={name.encode().hex()}\nhw_mode=g\n"
                                        f"channel={RADIOS[place]}\n{security}{lines}").encode())
        self.run_unit(f"{place}-radio", place, f"/run/neighbour /run/{place}.conf")
        self.wait_until(f"ip -n {place} link show {interface} | grep -q 'state UP'")
        self.run(f"ip -n {place} address replace {subnet}.1/24 dev {interface}; rm -f /run/{place}.leases")
        self.run_unit(f"{place}-addresses", place,
                      f"dnsmasq --no-daemon --user=root --port=0 --conf-file=/dev/null --no-ping --interface={interface} "
                      f"--dhcp-leasefile=/run/{place}.leases --dhcp-range={subnet}.{LEASE},{subnet}.{LEASE},1h "
                      f"--dhcp-option=option:router,{subnet}.1 --dhcp-option=option:dns-server,{subnet}.1")

    def take_down(self, place: str) -> None:
        self.run(f"systemctl stop {place}-radio {place}-addresses 2>/dev/null || true")

    def run_unit(self, unit: str, place: str, command: str) -> None:
        within = f"ip netns exec {place} " if place else ""
        self.run(f"systemd-run --quiet --collect --unit={unit} {within}{command}")

    def join_phone(self, name: str, phrase: str) -> None:
        interface = f"wlan{RADIOS['phone']}"
        self.run("systemctl stop phone-radio 2>/dev/null || true")
        self.put("/run/phone.conf", f'network={{\nssid={name.encode().hex()}\npsk="{phrase}"\n}}\n'.encode())
        self.run_unit("phone-radio", "phone", f"wpa_supplicant -i {interface} -c /run/phone.conf")
        self.run(f"ip netns exec phone udhcpc -n -q -t 30 -T 1 -i {interface}")

    def begin_filming(self) -> None:
        for unit, place, script in (("camera-video", "camera", CAMERA_VIDEO), ("video-receiver", "", VIDEO_RECEIVER)):
            self.put(f"/run/{unit}.py", script)
            self.run_unit(unit, place, f"python3 /run/{unit}.py")
        self.run_unit("camera-body", "camera",
                      f"fieldrelaybox-camera-simulator --quiet --box {SUBNETS['camera']}.{LEASE}")

    def reach(self, place: str, within: bool) -> str:
        """A command that takes a radio out of reach, without a farewell, or back."""
        return f"echo {int(within)} >/sys/kernel/debug/ieee80211/phy{RADIOS[place]}/hwsim/group"

    def signal(self, place: str, dbm: int) -> None:
        """How strong the place's radio is received, which sends with 20 dBm."""
        self.run(f"echo {(dbm - 20) % (1 << 64)} >/sys/kernel/debug/ieee80211/phy{RADIOS[place]}/hwsim/rx_rssi")

    def seconds_to_video(self, command: str) -> float:
        """From the end of a command to the first picture that the box passes on."""
        self.put("/run/first_picture.py", FIRST_PICTURE)
        return float(self.run(f"python3 /run/first_picture.py {shlex.quote(command)}", timeout=240))

    def client(self, *words: str, place: str = "") -> tuple[int, str]:
        """Status and output of an app on the box, or elsewhere, where it has to find the box."""
        before, host = (f"ip netns exec {place} ", "") if place else ("", "--host 127.0.0.1 ")
        separate = len(words) > 1 and words[0] == "wifi"
        head = " ".join(words[:1 + separate])
        status, output = self.finish(self.begin(
            f"{before}fieldrelaybox-client {head} {host}--timeout 20 {shlex.join(words[1 + separate:])}"))
        return status, output.decode(errors="replace")

    def ask_for(self, *words: str, told: str) -> list[str]:
        """Networks, by the words of the client's `wifi set`; returns what was logged of networks until a line began so."""
        before = len(self.journal())
        status, output = self.client("wifi", "set", *words)
        assert status == 0, output
        self.wait_until(f"{JOURNAL} | tail -n +{before + 1} | grep -q {shlex.quote('^' + told)}", 150)
        return self.journal()[before:]

    def seconds(self) -> float:
        """Since the start, as the box counts them."""
        return float(self.run("cut -d ' ' -f 1 /proc/uptime"))

    def wait(self, seconds: float) -> None:
        self.run(f"sleep {seconds}", timeout=seconds + 60)

    def watch(self, seconds: float) -> list[dict[str, Any]]:
        """What an app is told meanwhile."""
        status, output = self.client("watch", "--json", "--for", str(seconds))
        assert status == 0, output
        return [json.loads(line) for line in output.splitlines()]

    def journal(self) -> list[str]:
        """What was logged of networks."""
        return self.run(JOURNAL).splitlines()

    def no_networks(self) -> None:
        """None is wanted any more; without the trial that there would be."""
        self.run("systemctl stop fieldrelaybox-network.path fieldrelaybox-network.service")
        status, output = self.client("wifi", "set", *(word for network in ("--camera", "--network", "--ap")
                                                      for word in (network, "none", "", "")))
        assert status == 0, output
        self.wait_until(f"[ $(grep -cx '[a-z]*_iface=' {SETTINGS}) = 3 ]")
        self.run("fieldrelaybox-network --accept; systemctl start fieldrelaybox-network.path")
