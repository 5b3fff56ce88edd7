"""The networks of the settings, with recording stand-ins for NetworkManager and the system manager."""

import os
import shutil
import signal
import subprocess
import tempfile
import unittest
from pathlib import Path

from box import ROOT, RUNNER, TIMEOUT, Lines, wait_until

NETWORK = [*RUNNER, str(Path(os.environ.get("FIELDRELAYBOX_PROGRAMS", ".")) / "fieldrelaybox-network")]
SEARCH = ROOT / "packaging/bin/search-network"
SETTINGS, MARKER = Path("/run/fieldrelaybox.conf"), Path("/run/wlan.update")
OWN, MANAGER = Path("/run/fieldrelaybox-network"), Path("/run/NetworkManager")
CAMERA, HOMES = "af5e5dc2-911b-4d07-98fd-602a1f460d7c", "130583d6-a07d-4777-bfe2-0cce54d88f16"
STAND_IN = """#!/bin/sh
cd "${0%/*}" && echo "${0##*/} $*" >>runs
case "$*" in
"restart fieldrelaybox-access-point.service")
    [ ! -e broken ] || exit 1
    [ ! -e guest ] || cat guest >/run/fieldrelaybox-network/leases ;;
"connection load"*"home"*)
    [ ! -e hiccup ] || [ ! -e state/refused.conf ] || exit 127 ;;
"is-active --quiet fieldrelaybox-access-point.service") [ ! -e silent ] || exit 3 ;;
"-g GENERAL.STATE connection show uuid af5e"*) cat camera ;;
"-g GENERAL.STATE connection show"*) cat joined ;;
"-g GENERAL.STATE,GENERAL.CON-UUID"*) cat state ;;
*"wifi list"*) echo C3A9 ;;
"radio wifi on") echo 0 >net/wlan1/phy80211/rfkill0/soft ;;
esac 2>/dev/null
exit 0
"""
PHRASES = r" it's\a;secret# ", "another secret"
HOME = {"wifi_iface": "wlan1", "wifi_ssid": '"home"', "wifi_psk": '"phrase of home"'}
OF_CAMERA = {"camera_iface": "wlan0", "camera_ssid": '"caf\u00e9; #"', "camera_psk": f'"{PHRASES[0]}"'}
ELSEWHERE = {**HOME, "wifi_ssid": '"elsewhere"'}
ALL = {**HOME, **OF_CAMERA, "ap_iface": "wlan2", "ap_ssid": '"box"', "ap_psk": f'"{PHRASES[1]}"', "ap_mode": 2,
       "ap_channel": 6, "ap_country": "00"}


class Network(unittest.TestCase):
    def setUp(self) -> None:
        for place in (OWN, MANAGER):
            shutil.rmtree(place, ignore_errors=True)
        MARKER.unlink(missing_ok=True)
        self.home = Path(self.enterContext(tempfile.TemporaryDirectory(dir="/run")))
        for tool in ("nmcli", "systemctl"):
            (self.home / tool).write_text(STAND_IN)
            (self.home / tool).chmod(0o755)
        self.environment = dict(os.environ, PATH=f"{self.home}:{os.environ['PATH']}",
                                STATE_DIRECTORY=str(self.home / "state"))
        self.log = ""

    def write(self, **values: object) -> None:
        SETTINGS.write_text("".join(f"{key}={value}\n" for key, value in values.items()) or "\n=")

    def make(self, *arguments: str, **values: object) -> int:
        """Run the program, for new settings when there are values; its status."""
        if values:
            self.write(**values)
        ended = subprocess.run([*NETWORK, *arguments], env=self.environment, text=True, capture_output=True,
                               timeout=TIMEOUT, check=False)
        self.log = ended.stderr
        return ended.returncode

    def accept(self, **values: object) -> dict[str, str]:
        self.assertEqual(self.make("--accept", **values), 0, self.log)
        self.runs()
        return self.files()

    def start(self, line: str, *arguments: str, **values: object) -> subprocess.Popen[bytes]:
        """The program for these settings, once its log has the line."""
        self.write(**values)
        process = subprocess.Popen([*NETWORK, *arguments], env=self.environment, stderr=subprocess.PIPE)
        assert process.stderr
        log = Lines(process.stderr)
        for end in (log.join, process.wait, process.kill):
            self.addCleanup(end)
        log.wait_for(line, whole=False)
        return process

    def runs(self) -> list[str]:
        """What was asked of the system since the last call, but for questions."""
        record = self.home / "runs"
        lines = record.read_text().splitlines() if record.exists() else []
        record.unlink(missing_ok=True)
        return [line for line in lines if " -g " not in line and " is-active " not in line]

    def files(self) -> dict[str, str]:
        return {str(path): path.read_text() for place in (OWN, MANAGER) for path in place.rglob("*")
                if path.is_file() and path.name not in ("refused.conf", "lock", "trial")}

    def test_only_what_changed_is_made_anew_and_phrases_stay_in_files(self) -> None:
        self.write(**ALL)
        (self.home / "joined").write_text("activated\n")
        MARKER.touch()
        self.assertEqual(self.make(), 0, self.log)
        log, runs = self.log, self.runs()
        self.assertIn("systemctl restart fieldrelaybox-access-point.service", runs)
        self.assertIn("nmcli connection load", "".join(runs))
        self.assertFalse(MARKER.exists())
        first = self.files()
        self.assertEqual({os.stat(path).st_mode & 0o777 for path in first}, {0o600})
        self.assertEqual(self.make(), 0, self.log)
        self.assertEqual((self.runs(), self.files()), ([], first))
        (self.home / "guest").write_text("a lease\n")
        self.assertEqual(self.make(**{**ALL, "ap_psk": '"yet another secret"'}), 0, self.log)
        self.assertIn("yet another secret", (self.home / "state/accepted.conf").read_text())
        changed = self.runs()
        self.assertEqual(changed, ["systemctl stop fieldrelaybox-access-point.service",
                                   "systemctl restart fieldrelaybox-access-point.service"])
        for text in (log, self.log, *runs, *changed):
            for phrase in (*PHRASES, "phrase of home", "yet another"):
                self.assertNotIn(phrase, text)

    def test_what_is_refused_changes_nothing(self) -> None:
        before = self.accept(**ALL)
        self.assertEqual(self.make(**{**ALL, "wifi_psk": '"short"'}), 3)
        self.assertIn("wifi_psk has 5 bytes", self.log)
        self.assertEqual((self.runs(), self.files()), ([], before))
        SETTINGS.unlink()
        self.assertEqual(self.make(), 0)
        self.assertEqual((self.runs(), self.files()), ([], before))

    def test_a_change_that_locks_out_is_undone_and_not_tried_again(self) -> None:
        before = self.accept(**HOME)
        self.write(**ELSEWHERE)
        hiccup = self.home / "hiccup"
        hiccup.touch()
        self.assertEqual(self.make("--trial", "1"), 1)  # to be tried again
        self.assertIn("nobody came by the new networks within 1 s", self.log)
        self.assertIn("cannot make the network: ", self.log)
        hiccup.unlink()
        joined = self.home / "joined"
        joined.write_text("activated\n")
        self.assertEqual(self.make(), 3)
        self.assertEqual(self.files(), before)
        self.runs()
        self.assertEqual(self.make(), 3)
        self.assertEqual((self.runs(), self.files()), ([], before))
        self.assertEqual(self.make(**{**HOME, "wifi_ssid": '"a third"'}), 0, self.log)
        after = self.files()
        self.assertNotEqual(after, before)
        joined.unlink()
        self.restart()
        self.assertEqual(self.make("--trial", "1", **HOME), 3)
        self.assertEqual(self.files(), after)

    def restart(self) -> None:
        """The system starts anew, as far as it is seen here."""
        shutil.rmtree(OWN)
        shutil.rmtree(MANAGER)

    def test_what_failed_is_tried_again_when_nothing_answers(self) -> None:
        before = self.accept(**HOME)
        self.assertEqual(self.make("--trial", "1", **OF_CAMERA), 3)
        self.restart()
        (self.home / "joined").write_text("activated\n")
        self.assertEqual(self.make("--trial", "1"), 3)
        self.assertEqual(self.files(), before)  # without a trial, as the network of before answers
        (self.home / "joined").unlink()
        (self.home / "camera").write_text("activated\n")
        self.restart()
        self.assertEqual(self.make("--trial", "1"), 0)
        self.assertIn("these stay until the next start", self.log)
        self.runs()
        self.assertEqual(self.make(), 0)
        self.assertEqual(self.runs(), [])
        (self.home / "camera").unlink()
        self.restart()
        self.assertEqual(self.make("--trial", "1"), 3)
        self.assertEqual(self.files(), before)
        both = self.accept(**HOME, **OF_CAMERA)
        refused = (self.home / "state/accepted.conf").read_text()
        self.accept(**HOME)
        (self.home / "state/refused.conf").write_text(refused)
        self.restart()
        self.assertEqual(self.make("--trial", "1", **HOME, **OF_CAMERA), 0)  # for a camera that comes late
        self.assertEqual(self.files().keys(), both.keys())

    def test_what_has_not_answered_is_not_fallen_back_on(self) -> None:
        self.assertEqual(self.make(**OF_CAMERA), 0, self.log)
        accepted = self.home / "state/accepted.conf"
        self.assertIn("caf", accepted.read_text())
        self.assertEqual(self.make("--trial", "1", **OF_CAMERA, **HOME), 0)
        self.assertIn("have not answered", self.log)
        self.assertNotIn("phrase of home", accepted.read_text())
        self.assertIn("phrase of home", "".join(self.files().values()).replace("\\s", " "))
        (self.home / "joined").write_text("activated\n")
        self.assertEqual(self.make(), 0)
        self.assertIn("phrase of home", accepted.read_text())
        (self.home / "joined").unlink()
        (self.home / "silent").touch()
        self.write(**{**ALL, "ap_iface": "lo"})  # an interface that is there
        self.assertEqual(self.make("--trial", "1"), 0)
        self.assertIn("the access point does not run", self.log)
        self.assertNotIn("another secret", accepted.read_text())

    def test_a_trial_outlives_a_crash_and_so_does_a_change_half_made(self) -> None:
        before = self.accept(**HOME)
        process = self.start("the new networks take the only way in", "--trial", "600", **ELSEWHERE)
        process.kill()
        process.wait()
        (self.home / "state/accepted.conf").unlink()  # only the trial knows that there was another way in
        self.assertEqual(self.make("--trial", "1"), 3)
        self.assertEqual(self.files(), {})
        self.accept(**HOME)
        (OWN / "unfinished").touch()
        self.assertEqual(self.make(), 0, self.log)
        self.assertIn("nmcli connection load", "".join(self.runs()))
        self.assertEqual(self.files(), before)

    def change_after(self, line: str, *arguments: str, **values: object) -> None:
        """Start the program and, when its log has the line, change the settings back."""
        process = self.start(line, *arguments, **values)
        MARKER.touch()  # as a save does that fails
        wait_until(lambda: not MARKER.exists(), "the marker is seen")
        self.assertIsNone(process.poll())
        self.write(**HOME)
        self.assertEqual(process.wait(TIMEOUT), 0)

    def test_a_change_is_taken_up_at_once_during_a_trial_and_between_tries(self) -> None:
        before = self.accept(**HOME)
        self.change_after("the new networks take the only way in", "--trial", "600", **ELSEWHERE)
        self.assertEqual(self.files(), before)
        (self.home / "broken").touch()
        self.change_after("cannot make the access point", "--keep-trying", **ALL)
        self.assertEqual(self.files(), before)

    def test_accept_ends_a_trial(self) -> None:
        self.accept(**HOME)
        process = self.start("the new networks take the only way in", "--trial", "600", **ELSEWHERE)
        wanted = self.files()
        self.assertEqual(self.make("--accept"), 0, self.log)
        self.assertEqual(process.wait(TIMEOUT), 0)
        self.assertEqual(self.files(), wanted)
        self.assertIn("elsewhere", (self.home / "state/accepted.conf").read_text())
        (self.home / "broken").touch()
        process = self.start("cannot make the access point", "--keep-trying", **ALL)
        self.assertEqual(self.make("--accept"), 1)
        self.assertTrue(MARKER.exists())  # by which the service starts again
        process.wait(TIMEOUT)

    def test_a_step_that_fails_leaves_the_other_networks(self) -> None:
        before = self.accept(**HOME)
        accepted = self.home / "state/accepted.conf"
        (self.home / "broken").touch()
        self.assertEqual(self.make("--trial", "1", **{**ALL, **ELSEWHERE}), 3)  # which leads in
        self.assertEqual(self.files(), before)
        self.runs()
        self.write(**ALL)
        for _ in range(2):
            self.assertEqual(self.make(), 1)
            self.assertIn("cannot make the access point: ", self.log)
            self.assertEqual("connection load" in "".join(self.runs()), "camera" not in "".join(before))
            before = self.files()
            self.assertIn("caf", accepted.read_text())
            self.assertNotIn("ap_iface=wlan2", accepted.read_text())
        self.write(**{**ALL, **ELSEWHERE})
        for hiccup in (self.home / "hiccup", self.home / "state/refused.conf"):
            hiccup.touch()
        self.assertEqual(self.make(), 1)  # at once, as nobody could come
        self.assertEqual(len(set(before) - set(self.files())), 2)  # those of the network
        for fault in ("hiccup", "broken"):
            (self.home / fault).unlink()
        self.accept(**ALL)
        self.restart()
        (self.home / "broken").touch()
        self.assertEqual(self.make(), 1)
        (self.home / "broken").unlink()
        self.runs()
        self.assertEqual(self.make(), 0, self.log)  # and does not take it for done
        self.assertIn("systemctl restart fieldrelaybox-access-point.service", self.runs())

    def test_a_blocked_radio_is_switched_on(self) -> None:
        block = self.home / "net/wlan1/phy80211/rfkill0"
        block.mkdir(parents=True)
        subprocess.run(["/bin/mount", "--bind", self.home / "net", "/sys/class/net"], check=True)
        self.addCleanup(subprocess.run, ["/bin/umount", "/sys/class/net"], check=True)
        for hard, line in (0, "unblocking it"), (1, "cannot use wlan1, as its radio is blocked: the device has"):
            (block / "soft").write_text("1")
            (block / "hard").write_text(str(hard))
            self.assertEqual(self.make("--accept", **HOME), 0)
            self.assertIn(line, self.log)
            self.assertEqual(self.log.count("blocked"), 1)
            self.restart()

    def test_options(self) -> None:
        self.write(**ALL)
        printed = subprocess.run([*NETWORK, "--print"], env=self.environment, text=True, capture_output=True,
                                 timeout=TIMEOUT, check=True).stdout
        self.assertIn(f"write {OWN}/hostapd.conf\n", printed)
        self.assertFalse(any(phrase in printed for phrase in PHRASES), printed)
        self.assertEqual((self.runs(), self.files()), ([], {}))
        self.assertEqual(self.make(ap_iface="wlan2"), 0)
        self.assertIn("ap_ssid is empty", self.log)
        for wrong in (["--trial", "0"], ["--trial"], ["--print", "x"], ["x"]):
            self.assertEqual(self.make(*wrong), 2)
            self.assertEqual(self.log.count("\n"), 1)

    def test_a_network_is_looked_for_until_it_is_joined(self) -> None:
        (self.home / "sleep").write_text('#!/bin/sh\necho sleep >>"${0%/*}/runs"; exec /bin/sleep 0.1\n')
        (self.home / "sleep").chmod(0o755)
        state, record = self.home / "state", self.home / "runs"
        free, others = "30 (disconnected)\n\n", "100 (connected)\nanother\n"
        for network, uuid, before, joins in (("camera", CAMERA, free, True), ("camera", CAMERA, others, True),
                                             ("network", HOMES, free, True), ("network", HOMES, others, False),
                                             ("camera", CAMERA, f"100 (connected)\n{CAMERA}\n", False)):
            with self.subTest(network, before=before):
                state.write_text(before)
                search = subprocess.Popen(["sh", str(SEARCH), network, "wlan7", "C3A9"], env=self.environment,
                                          start_new_session=True)
                wait_until(lambda: record.exists() and record.read_text().count("sleep") > 1, "it has looked twice")
                os.killpg(search.pid, signal.SIGKILL)
                search.wait()
                runs = record.read_text()
                self.assertEqual(f"nmcli --wait 40 connection up uuid {uuid}" in runs, joins, runs)
                self.assertLess(len(runs.split("sleep")[1].splitlines()), 6)
                record.unlink()
