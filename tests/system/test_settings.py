"""App commands through port 4242 and the status block: settings, files, services, records."""

import json
import re
import threading
from pathlib import Path

from box import (COPY, DATA, LATER_SETTINGS, MASTER, App, Box, BoxTestCase, app_protocol,
                 assert_documented, command, load_json, load_record, mask_record, send, wait_until,
                 without_later_settings)
from fieldrelaybox.box_status import read_counts

SAVING = ["mount -o rw,remount /boot", "umount /boot", "mount /boot"]
WIFI_MARKER = Path("/run/wlan.update")
CIRCLE = [case for case in load_json("app_update_circle.json") if "via" not in case]
EXAMPLES = {case["name"]: case for case in reversed(CIRCLE) if "," not in case["name"]}
RECORDS = load_json("app_records.json")


def recorded(command: str) -> str:
    """A shell command as its stand-in records it."""
    command = re.sub(r" >> /dev/null( &)?$", "", command)
    return command.removeprefix("./scripts/").replace('"', "")


class Circle(BoxTestCase):
    """Every app command in turn, from the settings file that names every key."""

    settings = (DATA / "every_key.conf").read_bytes()

    def setUp(self) -> None:
        self.note_idle_threads()
        self.listener = self.app(data_only=True)
        self.saved = b""

    def report(self) -> str:
        self.listener.command(cmd="configrequest")
        return self.listener.json().decode()

    def test_every_command(self) -> None:
        for case in CIRCLE:
            with self.subTest(case["name"], send=case["send"]):
                self.run_case(case)
        self.assertEqual(without_later_settings(self.saved.decode(), "file").encode(),
                         (DATA / "app_update_circle.saved.conf").read_bytes())
        self.assertEqual(COPY.read_bytes(), self.saved.replace(b"\r\n", b"\n"))
        report = without_later_settings(self.report(), "report")
        assert_documented("configrequest", sent=command(cmd="configrequest"),
                          answer=app_protocol.build_message(report.encode()))
        self.assertEqual(report.rstrip("\0\n"),
                         (DATA / "app_update_circle.report.json").read_text().rstrip("\n"))
        self.box.await_pass()
        self.assertEqual(mask_record(self.box.mirror.raw[:]),
                         mask_record(load_record("app_update_circle.record.hex")))
        for case in [case for setting in LATER_SETTINGS for case in setting["updates"]]:
            with self.subTest(case["name"], send=case["send"]):
                self.run_case(case)
                self.box.await_pass()
        self.assert_reloads(COPY.read_bytes(), bytearray(self.box.mirror.raw[:]))

    def assert_reloads(self, saved: bytes, record: bytearray) -> None:
        type(self).doClassCleanups()  # one box at a time
        record[568:572] = bytes(4)  # the roll speed has no place in the file
        with Box(saved) as box:
            wait_until(lambda: box.mirror["clock"], "the mirror")
            self.assertEqual(mask_record(box.mirror.raw[:]), mask_record(record))

    def run_case(self, case: dict) -> None:
        box = self.box
        if case["saved"]:  # otherwise it may be meant to stay
            for offset, value in case["mirror"].items():
                box.status.raw[int(offset)] = value ^ 0x55
        WIFI_MARKER.unlink(missing_ok=True)
        MASTER.unlink(missing_ok=True)
        ran, told = len(self.runs()), len(box.log.lines)
        printed = len(box.printed.lines)
        self.listener.send(app_protocol.EMPTY_HEADER + case["send"].encode())
        self.finish_commands()
        self.assert_told(case, told, printed)
        self.assert_ran(case, ran)
        for offset, value in case["mirror"].items():
            self.assertEqual(box.status.raw[int(offset)], value, offset)
        self.assertEqual(MASTER.exists(), case["saved"])
        if case["saved"]:
            self.assert_saved(case["file_line"])
        report = self.report()
        for text in case["report"]:
            self.assertIn(text, report)
        if EXAMPLES.get(case["name"]) is case:
            assert_documented(
                case["name"], text=case["send"], sent=app_protocol.command(case["send"]),
                saved=", ".join(case["file_line"]), report=" ".join(case["report"]).rstrip(","),
                run=", ".join(self.runs()[ran + len(SAVING) * case["saved"]:]),
                block=", ".join(f"{at}={value}" for at, value in case["mirror"].items()))

    def runs(self) -> list[str]:
        """Without what the supervisor loop runs."""
        return [line for line in self.box.stand_ins.runs()
                if line.split()[0] not in ("ping", "pidof", "wlanstatus")]

    def assert_told(self, case: dict, told: int, printed: int) -> None:
        to_log = [line for line in case["log"] if line not in case["stdout"]]
        self.assertEqual(self.log_since(told, len(to_log)), to_log)
        wanted = [line for line in case["stdout"] if line]

        def lines() -> list[str]:
            return [line for line in self.box.printed.lines[printed:] if line not in ("", "77 ")]
        wait_until(lambda: len(lines()) >= len(wanted), "standard output")
        self.assertEqual(lines(), wanted)

    def assert_ran(self, case: dict, start: int) -> None:
        wanted = [recorded(command) for command in case["runs"]]
        self.assertEqual(WIFI_MARKER.exists(), f"touch {WIFI_MARKER}" in wanted)
        wanted = [line for line in wanted if line.split()[0] not in ("touch", "rm")]
        wanted = (SAVING if case["saved"] else []) + wanted
        wait_until(lambda: len(self.runs()) - start >= len(wanted), f"{wanted} run")
        self.assertEqual(self.runs()[start:], wanted)

    def assert_saved(self, changed: list[str]) -> None:
        keys = {line.split("=")[0] for line in changed}

        def others(file: bytes) -> list[str]:
            return [line for line in file.decode().splitlines() if line.split("=")[0] not in keys]
        before, self.saved = self.saved, MASTER.read_bytes()
        self.assertLessEqual(set(changed), set(self.saved.decode().splitlines()))
        if before:
            self.assertEqual(others(self.saved), others(before))


class Commands(BoxTestCase):
    settings = "camera_iface=$(reboot)\n"

    def setUp(self) -> None:
        self.note_idle_threads()
        self.listener = self.app()

    def test_two_clients_lose_no_change(self) -> None:
        """Both change settings of their own, and one of both, at full speed, save upon save."""
        names = ({"rtmp_url": "rtmp_url", "tcp_port": "tcp_port",
                  "mpegts_clients": "mpegts_clients"},
                 {"rcin_pan": "rc_input_speed_pan", "rcin_tilt": "rc_input_speed_tilt",
                  "video_bitrate": "video_bitrate", "udp_clients": "udp_clients"})

        def change(app: App, own: dict[str, str], number: int) -> None:
            for name in own:
                app.update(name, number)
                app.update("audio_volume", f"{len(own)}{number}")
        with App() as second:
            for number in range(1001, 1009):
                threads = [threading.Thread(target=change, args=(app, own, number))
                           for app, own in zip((self.listener, second), names)]
                for thread in threads:
                    thread.start()
                for thread in threads:
                    thread.join()
                self.finish_commands()
                text = MASTER.read_text().replace('"', "")
                lost = [key for own in names for key in own.values()
                        if f"\n{key}={number}\n" not in text]
                self.assertEqual(lost, [], f"round {number}")
                last_run = self.box.stand_ins.runs("audio-volume.sh")[-1].split()[1]
                self.assertIn(f"\naudio_volume={last_run}\n", text, f"round {number}")

    def test_command_field_of_the_status_block(self) -> None:
        command = '{"cmd":"updateparam","name":"tcp_port","value":"8555"}'
        self.box.status.post_command(command)
        wait_until(lambda: self.box.status.raw[704:831] == bytes(127), "the field is cleared")
        self.finish_commands()
        self.assertIn("tcp_port=8555", MASTER.read_text().splitlines())
        camera = self.camera()
        camera.stop_clock()
        for longest in ("[" * 127, '{"cmd":"iso","param":"100","x":"' + "x" * 93 + '"}'):
            self.box.status.post_command(longest)
            wait_until(lambda: self.box.status.raw[704:831] == bytes(127), "the field is cleared")
        camera.wait_for(lambda got: got.frame.command == (0x02, 0x2A))

    def test_camera_disable_and_enable(self) -> None:
        camera, start = self.camera(), len(self.box.log.lines)
        self.listener.command(cmd="camera", param="disable")
        for record in ("05010300000000", "05000300000000"):
            self.listener.record(bytes.fromhex(record))
        self.assertEqual(self.box.status["video_status"], "video disabled")
        self.assertEqual(self.box.status["telemetry_status"], "telemetry disabled")
        self.listener.record(bytes.fromhex("06310100000000"))
        received = read_counts()["video_in"]["datagrams"]
        for datagram in (b"unseen", b"mark"):
            send(datagram, 5000)
        wait_until(lambda: read_counts()["video_in"]["datagrams"] == received + 2,
                   "what came before the mark has been looked at")
        self.box.log.wait_for("data disconnected", start)
        wait_until(lambda: self.box.status["link_byte_134"] == 0, "the link is down")
        self.listener.command(cmd="camera", param="enable")
        self.listener.record(bytes.fromhex("05000200000000"))
        send(b"seen", 5000)
        self.listener.message(lambda message: message.payload == b"seen")
        self.assertNotIn((app_protocol.VIDEO, b"unseen"), self.listener.media())
        camera.stop_clock()

    def test_wifi_scan(self) -> None:
        before = len(self.box.stand_ins.runs("iwlist"))
        self.box.stand_ins.answer("iwlist", 0, 'Cell 01\n  ESSID:"one"\n  ESSID:""\n  ESSID:"2 3"\n')
        for value, name in (("1", "wifi0"), ("2", "wlan0")):
            start = len(self.box.log.lines)
            self.listener.command(cmd="wlan", param="scan", value="0")
            scan = command(cmd="wlan", param="scan", value=value)
            self.listener.send(scan)
            got = self.listener.json()
            expected = {"cmd": "wlanscan", "param": value, "value": "one,,2 3"}
            self.assertEqual(json.loads(got.rstrip(b"\0")), expected)
            assert_documented(f"wlan, {name}", sent=scan, answer=app_protocol.build_message(got))
            self.assertEqual(self.log_since(start, 2)[:2],
                             [f"scan Wi-Fi on {name}", "scan results: one,,2 3"])
        self.assertEqual(self.box.stand_ins.runs("iwlist")[before:],
                         ["iwlist wifi0 scan", "iwlist wlan0 scan"])

    def test_a_radio_that_is_busy_is_asked_again(self) -> None:
        stand_ins, asked = self.box.stand_ins, len(self.box.stand_ins.runs("iwlist"))
        for busy_for_good in (False, True):
            start = len(self.box.log.lines)
            stand_ins.answer("iwlist", 255)
            self.listener.command(cmd="wlan", param="scan", value="1")
            wait_until(lambda: len(stand_ins.runs("iwlist")) > asked + 1, "it is asked again")
            if not busy_for_good:
                stand_ins.answer("iwlist", 0, 'ESSID:"free"\n')
            got = self.listener.json()
            self.assertEqual(json.loads(got.rstrip(b"\0"))["value"], "" if busy_for_good else "free")
            asked = len(stand_ins.runs("iwlist"))
            self.box.log.wait_for("scan results: ", start, whole=False)
            told = [line for line in self.box.log.lines[start:] if "no scan" in line]
            self.assertEqual(told, ["no scan of wifi0: there is no such interface"] * busy_for_good)

    def test_commands_that_hang_are_bounded(self) -> None:
        """Nobody is shut out by scans and scripts that take long; whoever asks shares an answer."""
        self.finish_commands()
        for tool, seconds in (("iwlist", 4), ("audio-volume.sh", 2)):
            self.box.stand_ins.answer(tool, seconds=seconds)
            self.addCleanup(self.box.stand_ins.answer, tool)
        ran, merged = len(self.box.stand_ins.runs()), read_counts()["commands_merged"]
        for number in range(84):
            for interface in ("1", "2"):
                self.listener.command(cmd="wlan", param="scan", value=interface)
            self.listener.update("audio_volume", number)
        self.listener.update("rtsp_enabled", 1)
        wait_until(lambda: "killall -q rtsp-server" in self.box.stand_ins.runs()[ran:], "the rest")
        wait_until(lambda: self.box.threads() == self.idle_threads + 3, "only these three wait")
        self.finish_commands()
        runs = self.box.stand_ins.runs()[ran:]
        self.assertEqual(sorted(line for line in runs if line.startswith("iwlist")),
                         ["iwlist wifi0 scan", "iwlist wlan0 scan"])
        self.assertEqual([line for line in runs if "volume" in line][-1], "audio-volume.sh 83")
        self.assertLess(merged + 2 * 83, read_counts()["commands_merged"])

    def test_a_name_never_reaches_the_shell_unchecked(self) -> None:
        self.listener.record(bytes.fromhex(RECORDS["code9"][1]["payload"]))  # asked before
        self.assertEqual(self.box.stand_ins.runs("reboot", "wlanstatus"), [])
