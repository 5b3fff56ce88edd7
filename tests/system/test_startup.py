"""Start-up: identity, shared memory, settings, ports, and what ends the start."""

import signal
import socket
import struct
import subprocess
import unittest
from pathlib import Path

from box import (DATA, SHARED_MEMORY_DIRECTORY, STATUS_BLOCK, App, Box, Receiver, app_protocol,
                 frames, load_hex, load_record, mask_record, wait_until)

HUD_MEM = SHARED_MEMORY_DIRECTORY / "hud_mem"
CONFIG_MEM = SHARED_MEMORY_DIRECTORY / "config_mem"
GOVERNOR = Path("/sys/devices/system/cpu/cpu0/cpufreq/scaling_governor")
START_LINES = ["Init video bridge", "Init transcode", "Init audio source", "Init video source",
               "Init data source", "Init device discovery", "Init P2P client"]


def hanging_children(seconds: int) -> int:
    found = subprocess.run(["ps", "-e", "-o", "args="], capture_output=True, check=True).stdout
    return found.splitlines().count(b"sleep %d" % seconds)


class Start(unittest.TestCase):
    def start(self, settings: str | bytes | None = "") -> Box:
        return self.enterContext(Box(settings))

    def assert_record(self, box: Box, name: str, part: str = "bytes") -> None:
        wait_until(lambda: box.mirror["clock"], "the first mirror copy")
        self.assertEqual(mask_record(box.mirror.raw[:]), mask_record(load_record(name, part)))

    def test_identity_and_start_order(self) -> None:
        box = self.start()
        box.printed.wait_for("\033[1;37mFieldrelaybox v.0.20.2\033[0m")
        self.assertEqual([line for line in box.log.lines if line.startswith("Init")], START_LINES)
        self.assertEqual(box.status.raw[:15], b"\x01Fieldrelaybox\0")
        self.assertEqual(box.status["version_text"], "v.0.20.2")
        self.assertEqual((HUD_MEM.stat().st_size, CONFIG_MEM.stat().st_size), (1936, 3256))
        self.assertEqual([place.stat().st_mode & 0o777 for place in (HUD_MEM, CONFIG_MEM)],
                         [0o600, 0o600])
        if GOVERNOR.parent.exists():
            wait_until(lambda: GOVERNOR.read_text() == "performance\n", "full processor speed")

    def test_every_key(self) -> None:
        box = self.start((DATA / "every_key.conf").read_bytes())
        self.assert_record(box, "every_key.record.hex")
        self.assertEqual(box.status.raw[570:575], bytes((1, 0, 1, 1, 1)))
        self.assertEqual(bytes(box.status["channel_function"]), load_hex("every_key.channels.hex"))
        for unusable in (14, 19, 43, 72):
            told = [line for line in box.log.lines if f"line {unusable}" in line]
            self.assertEqual(len(told), 1, f"line {unusable}")

    def test_no_file_and_empty_file(self) -> None:
        for settings, name, part in ((None, "nofile", "bytes_without_file"),
                                     ("", "empty_text", "bytes")):
            with self.subTest(name), Box(settings) as box:
                self.assert_record(box, f"{name}.record.hex", part)
                self.assertEqual(box.status["channel_function"], [0] * 32)

    def test_overlay_options_one_by_one(self) -> None:
        for name, place in (("osd_enabled", 570), ("hud_enabled", None),
                            ("internal_camera_enabled", 572),
                            ("internal_camera_fullscreen", 573), ("focus_assistant_enabled", 574)):
            with self.subTest(name), Box(f"{name}=1\n") as box:
                expected = [int(offset == place) for offset in range(570, 575)]
                self.assertEqual(list(box.status.raw[570:575]), expected)

    def test_the_first_records_carry_a_probe_result(self) -> None:
        box = Box()
        box.stand_ins.answer("ping", 0, seconds=0.5)  # an app registers meanwhile
        with box, App() as app:
            state = app.message(lambda message: message.payload[:1] == b"\x06").payload
            self.assertTrue(state[1] & 8)
            self.assertEqual(len(box.stand_ins.runs("ping")), 1)
            self.assertRegex(box.stand_ins.runs("ping")[0], r"^ping -c 1 -W 1 \d+\.\d+\.\d+\.\d+$")

    def test_an_existing_status_block_is_cleared_and_keeps_its_size(self) -> None:
        box = Box()
        HUD_MEM.write_bytes(b"\xaa" * 8192)
        CONFIG_MEM.write_bytes(b"\xaa" * 5000)
        with box:
            content = HUD_MEM.read_bytes()
            self.assertEqual(len(content), 8192)
            self.assertEqual(content[600:656] + content[900:1648], bytes(56 + 748))
            self.assertEqual(content[1936:], b"\xaa" * (8192 - 1936))
            self.assertEqual(CONFIG_MEM.stat().st_size, 3256)

    def test_a_status_block_too_small_to_use_is_grown(self) -> None:
        box = Box()
        HUD_MEM.touch()
        with box:
            self.assertEqual(HUD_MEM.stat().st_size, STATUS_BLOCK.size)
            self.assertTrue([line for line in box.log.lines if "hud_mem" in line])
            self.assertEqual(box.status["daemon_started"], 1)

    def test_an_unusable_region_ends_the_start(self) -> None:
        for place in (HUD_MEM, CONFIG_MEM):
            with self.subTest(place.name):
                box = Box()
                place.mkdir()
                box.launch()
                self.assertEqual(box.await_exit(), 1)
                place.rmdir()
                self.assertEqual(len(box.log.lines), 1, box.log.lines)
                self.assertIn(place.name, box.log.lines[0])

    def test_a_taken_app_port_ends_the_start(self) -> None:
        taken = Receiver(4242)
        box = Box()
        box.launch()
        self.assertEqual(box.await_exit(), 100)
        self.assertEqual(box.log.lines[-1], "discovery bind failed")
        taken.close()

    def test_a_child_left_running_holds_no_port(self) -> None:
        first = Box()
        first.stand_ins.answer("ping", 0, seconds=4)
        first.start()
        wait_until(lambda: hanging_children(4), "the probe hangs")
        first.process.terminate()
        first.process.wait()
        with Box():
            self.assertEqual(hanging_children(4), 1)
        first.await_exit()

    def test_a_tool_that_hangs_is_ended_with_its_children(self) -> None:
        box = Box()
        box.stand_ins.answer("ping", 0, seconds=77)
        with box:
            wait_until(lambda: hanging_children(77), "the probe hangs")
            box.log.wait_for('gave up on "ping', whole=False)
            wait_until(lambda: not hanging_children(77), "nothing of it is left", 5)

    def test_signals_and_time_limits(self) -> None:
        box = self.start()
        box.process.send_signal(signal.SIGPIPE)  # as when whoever reads the log goes away
        for port, option, milliseconds in ((frames.BOX_PORT, socket.SO_SNDTIMEO, 100),
                                           (app_protocol.PORT, socket.SO_SNDTIMEO, 100),
                                           (app_protocol.PORT, socket.SO_RCVTIMEO, 100)):
            with self.subTest(port, option=option), box.socket_at(port) as held:
                time = held.getsockopt(socket.SOL_SOCKET, option, struct.calcsize("@ll"))
                self.assertEqual(struct.unpack("@ll", time), (0, 1000 * milliseconds))
        box.fence()  # it goes on


if __name__ == "__main__":
    unittest.main()
