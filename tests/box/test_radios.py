"""The networks of the settings on a box with two radios: wlan0 for the camera, wifi0 for a home's or the box's own."""

import json
import shlex
import unittest

from machine import SHORT
from radios import HAS_JOINED, PHRASES, RadioBox

CAMERA = ("--camera", "wlan0", "OSMO_x1", PHRASES["camera"])
HOME = ("--network", "wifi0", "Home", PHRASES["home"])
NO_HOME = ("--network", "none", "", "")
POINT = ("--ap", "wifi0", "Box", PHRASES["ap"], "--band", "2.4", "--channel", "6", "--country", "00")
ODD_NAMES = ("it's \\the; camera #1=", "  Caf\u00e9 \u2603  ", "this name has the most: 32 bytes")
WLANSTATUS = "/usr/lib/fieldrelaybox/bin/wlanstatus wlan0"
FILES = "/run/fieldrelaybox-network/*.conf /run/fieldrelaybox-network/*.env /run/NetworkManager/*/fieldrelaybox*"

# What runs, as often as it can be looked at; of an app's client on the box it is not asked to keep secrets.
LOOK_AT_PROCESSES = rb"""
import glob, pathlib
seen = set()
while not pathlib.Path("/run/looked").exists():
    for path in glob.glob("/proc/[0-9]*/cmdline") + glob.glob("/proc/[0-9]*/environ"):
        try:
            content = pathlib.Path(path).read_bytes()
        except OSError:
            continue
        if b"fieldrelaybox-client" not in content:
            seen.add(content)
    pathlib.Path("/run/seen").write_bytes(b"\n".join(sorted(seen)))
"""


class Radios(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        cls.box = RadioBox()
        cls.addClassCleanup(cls.box.close)
        cls.box.start()
        cls.box.set("udp_clients", "127.0.0.1:7000")
        cls.box.begin_filming()

    def setUp(self) -> None:
        if SHORT and self._testMethodName != "test_camera_joined":
            self.skipTest("the long form")
        self.box.no_networks()
        for place, name in (("camera", "OSMO_x1"), ("home", "Home")):
            self.box.run(self.box.reach(place, True))
            self.box.put_up(place, name)

    def await_joined(self, network: str, seconds: float = 60) -> None:
        self.box.wait_until(HAS_JOINED.format(network), seconds)

    def await_lost(self, network: str) -> None:
        self.box.wait_until(f"! {HAS_JOINED.format(network)}", 60)

    def join(self, network: str, *words: str) -> None:
        self.box.ask_for(*words, told=f"{network}: \"")
        self.await_joined("home" if network == "network" else network)

    def test_camera_joined(self) -> None:
        begin = self.box.seconds()
        self.join("camera", *CAMERA)
        print(f"\ncamera joined {self.box.seconds() - begin:.1f} s after an app asked for it")
        self.box.wait_until(WLANSTATUS)
        link, signal = map(json.loads, self.box.run(WLANSTATUS).splitlines())
        self.assertEqual(link, {"ssid": "OSMO_x1", "freq": 2417})
        self.assertGreater(signal["quality"], 0)
        self.box.seconds_to_video("true")
        told = self.box.watch(8)
        wifi = [each for each in told if each.get("record") == "camera_wifi"][-1]
        self.assertEqual((wifi["ssid"], wifi["quality"]), ("OSMO_x1", signal["quality"]))
        states = {each["link"]: each["state"] for each in told if each.get("record") == "link"}
        self.assertEqual(states, {"data": "connected", "video": "connected"})
        self.assertGreater([each for each in told if "counters" in each][-1]["counters"]["video"]["datagrams"], 50)
        self.assertEqual(self.box.run("ip route show default; grep -s nameserver /etc/resolv.conf || true"), "")

    def test_scan_beside_another_scan(self) -> None:
        self.box.take_down("camera")
        self.box.ask_for(*CAMERA, told="camera: ")  # and so NetworkManager is asked to look around all the time
        status, output = self.box.client("wifi", "scan", "wlan0")
        self.assertEqual(status, 0, output)
        self.assertIn("Home\n", output)

    def test_signal_changes_are_seen(self) -> None:
        self.join("camera", *CAMERA)
        for signal in (-40, -75):
            self.box.signal("camera", signal)
            self.box.wait_until(f"{WLANSTATUS} | grep -q '\"signal\":{signal}'")

    def test_wrong_pass_phrase(self) -> None:
        self.box.ask_for("--camera", "wlan0", "OSMO_x1", "not the phrase",
                         told="cannot join the camera: it does not take camera_psk")
        self.assertEqual(self.box.client("config")[0], 0)
        self.join("camera", *CAMERA)
        self.join("network", *HOME)
        for connection, place, name, seconds in ("camera", "camera", "OSMO_x1", 30), ("home", "home", "Home", 90):
            self.box.put_up(place, name, "another phrase")
            self.await_lost(connection)
            self.box.wait(60)
            self.box.put_up(place, name)
            self.await_joined(connection, seconds)

    def test_camera_away_and_back(self) -> None:
        self.join("camera", *CAMERA)
        away = self.box.reach("camera", False)
        back = self.box.reach("camera", True)
        for seconds in (30, 45, 60, 300):
            self.box.seconds_to_video("true")
            self.box.run(away)
            self.await_lost("camera")
            self.box.wait(seconds)
            took = self.box.seconds_to_video(back)
            print(f"\nout of reach for {seconds} s, video {took:.1f} s after its return")
            self.assertLess(took, 15)

    def test_camera_switched_off_and_on(self) -> None:
        self.join("camera", *CAMERA)
        for seconds in (30, 60):
            self.box.seconds_to_video("true")
            self.box.take_down("camera")
            self.await_lost("camera")
            self.box.wait(seconds)
            self.box.put_up("camera", "OSMO_x1")
            took = self.box.seconds_to_video("true")
            print(f"\nswitched off for {seconds} s, video {took:.1f} s after it was up again")
            self.assertLess(took, 15)

    def test_home_lost_and_back(self) -> None:
        self.join("network", *HOME)
        self.assertIn("default via 192.168.50.1 dev wifi0", self.box.run("ip route show default"))
        self.assertIn("192.168.50.1", self.box.run("cat /etc/resolv.conf"))
        self.assertEqual(self.box.client("config", place="home")[0], 0)
        self.box.run(self.box.reach("home", False))
        self.await_lost("home")
        self.box.wait(60)
        self.box.run(self.box.reach("home", True))
        begin = self.box.seconds()
        self.await_joined("home", 150)
        print(f"\nin the home's network {self.box.seconds() - begin:.1f} s after its return")

    def test_the_only_way_in_comes_back(self) -> None:
        self.join("network", *HOME)
        self.box.ask_for("--network", "wifi0", "Home", "not the phrase",
                         told="nobody came by the new networks within 60 s")
        self.await_joined("home")
        self.assertEqual(self.box.client("config", place="home")[0], 0)

    def test_what_cannot_be_is_refused(self) -> None:
        self.box.ask_for(*CAMERA, *POINT, told="access point: \"")
        self.await_joined("camera")
        before = self.state()
        for words, line in (
                (("--channel", "40"), "ap_channel 40 is none of 2.4 GHz: 1 to 13"),
                (("--channel", "38", "--band", "5"), "ap_channel 38 is none of 5 GHz"),
                (("--channel", "36", "--band", "5"), "channel 36 is not allowed everywhere"),
                (("--channel", "13", "--band", "2.4", "--country", "US"), "channel 13 is not allowed to an access point in US"),
                (("--channel", "6", "--country", "XX"), "ap_country XX is not among the countries"),
                (("--country", "00", "--network", "wifi0", "Home", PHRASES["home"]), "wifi_iface and ap_iface are both wifi0"),
                ((*NO_HOME, "--camera", "wifi0", "OSMO_x1", PHRASES["camera"]), "camera_iface and ap_iface are both wifi0"),
                (("--camera", "wlan0", "x" * 33, ""), "camera_ssid is longer than 32 bytes")):
            with self.subTest(line):
                self.assertEqual(len(set(self.box.ask_for(*words, told=line))), 1)
                self.assertEqual(self.state(), before)

    def state(self) -> str:
        """What runs and what is joined, and since when."""
        return self.box.run(
            "systemctl show -P ExecMainPID fieldrelaybox-{search@camera,access-point,access-point-addresses}; "
            f"nmcli -g NAME,ACTIVE-PATH connection show --active; cat {FILES}")

    def test_a_second_run_changes_nothing(self) -> None:
        self.box.ask_for(*CAMERA, *POINT, told="access point: \"")
        self.await_joined("camera")
        before = self.state()
        self.box.run("fieldrelaybox-network; systemctl start fieldrelaybox-network; "
                     "systemctl restart fieldrelaybox")  # whose start says that there are settings
        self.box.wait_until("[ ! -e /run/wlan.update ] && [ $(systemctl is-active fieldrelaybox-network) = inactive ]")
        self.assertEqual(self.state(), before)

    def test_little_is_started_at_rest(self) -> None:
        self.join("camera", *CAMERA)
        self.join("network", *HOME)
        self.box.wait(20)  # what joining has started ends
        begin, before = self.box.seconds(), self.started()
        self.box.wait(30)
        each = 30 * (self.started() - before) / (self.box.seconds() - begin)
        print(f"\n{each:.0f} processes started in 30 s at rest")
        self.assertLess(each, 55)

    def started(self) -> int:
        """Processes and threads since the start."""
        return int(self.box.run("sed -n 's/^processes //p' /proc/stat"))

    def test_power_goes_and_comes(self) -> None:
        self.join("camera", *CAMERA)
        self.join("network", *HOME)
        self.box.await_saves()
        self.box.cut_power()
        self.box.start()
        self.box.begin_filming()
        for place, name in (("camera", "OSMO_x1"), ("home", "Home")):
            self.box.put_up(place, name)
        self.await_joined("camera")
        self.await_joined("home")
        self.box.seconds_to_video("true")
        self.assertNotRegex("\n".join(self.box.journal()), "undone|cannot|refused")

    def test_phone_in_the_access_point(self) -> None:
        self.join("network", *HOME)  # which has its interface before
        for band in (POINT[4:], ("--band", "5", "--channel", "36", "--country", "US")):
            with self.subTest(band):
                self.assertEqual(self.box.client("wifi", "set", *NO_HOME, "--ap", *POINT[1:4], *band)[0], 0)
                self.box.join_phone("Box", PHRASES["ap"])
                status, output = self.box.client("watch", "--json", "--for", "8", place="phone")
                self.assertEqual(status, 0, output)
                self.assertIn("registered with the box at 192.168.77.1:4242", output)
                self.assertIn('"access_point": true', output)
                self.assertEqual(self.box.run("ip -n phone route show default"), "")
        self.assertEqual(self.box.journal()[-1], "the new networks answer: they stay")
        self.box.run("pkill -KILL -x hostapd")
        self.box.wait_until("! pgrep -x hostapd")
        self.box.join_phone("Box", PHRASES["ap"])
        self.assertEqual(self.box.client("config", place="phone")[0], 0)

    def test_odd_names(self) -> None:
        for name in ODD_NAMES:
            for hidden in (False, True):
                with self.subTest(name, hidden=hidden):
                    self.box.put_up("camera", name, lines=f"ignore_broadcast_ssid={int(hidden)}\n")
                    self.join("camera", "--camera", "wlan0", name, PHRASES["camera"])
                    self.assertEqual(self.box.run("iw dev wlan0 link | grep -c Connected"), "1\n")
                    self.box.ask_for("--camera", "none", "", "", told="camera: off")
        self.box.put_up("camera", "\u00d6smo 5%")
        told = self.box.client("wifi", "scan", "wlan0")[1]
        self.assertIn("\u00d6smo 5%\n", told)
        scanned = self.box.run("iwlist wlan0 scan | sed -n 's/.*ESSID:\"\\(.*smo.*\\)\"/\\1/p'").strip()
        self.join("camera", "--camera", "wlan0", scanned, PHRASES["camera"])  # as apps hand it back
        self.box.ask_for("--camera", "none", "", "", told="camera: off")
        self.box.put_up("camera", "open", "")
        self.join("camera", "--camera", "wlan0", "open", "")

    def test_pass_phrases_are_nowhere_to_be_read(self) -> None:
        self.box.run("rm -f /run/looked /run/seen")
        looking = self.box.begin("python3 -", LOOK_AT_PROCESSES)
        self.box.ask_for(*CAMERA, *POINT, told="access point: \"")
        self.await_joined("camera")
        self.box.ask_for("--ap", "none", "", "", *HOME, told="network: \"")
        self.box.no_networks()
        self.box.run("touch /run/looked")
        self.assertEqual(self.box.finish(looking)[0], 0)
        seen = self.box.fetch("/run/seen").decode(errors="replace")
        self.assertIn("nmcli", seen)
        self.assertIn("hostapd", seen)
        journal = self.box.run("journalctl -b --no-pager -o cat")
        for phrase in PHRASES.values():
            self.assertNotIn(phrase, seen)
            self.assertNotIn(phrase, journal)

    def test_what_was_set_up_by_hand_stays(self) -> None:
        self.box.run("nmcli connection add type wifi ifname wlan0 con-name mine ssid Home "
                     f"wifi-sec.key-mgmt wpa-psk wifi-sec.psk {shlex.quote(PHRASES['home'])}")
        self.addCleanup(self.box.run, "nmcli connection delete mine")
        mine = "cat /etc/NetworkManager/system-connections/mine.nmconnection"
        before = self.box.run(mine)
        is_mine = "nmcli -g GENERAL.STATE connection show mine | grep -qx activated"
        self.box.wait_until(is_mine)
        self.box.take_down("camera")
        self.box.ask_for(*CAMERA, told="camera: \"")
        self.box.wait_until(is_mine)
        self.box.put_up("camera", "OSMO_x1")
        self.await_joined("camera")
        self.box.take_down("camera")
        self.box.wait_until(is_mine)
        self.box.ask_for("--camera", "none", "", "", told="camera: off")
        self.assertEqual(self.box.run(mine), before)
