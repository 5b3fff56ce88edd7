"""Commands in the order in which they come, beside cards and tools that hang; the end of the daemon."""

import json
import signal
import time
import unittest
from typing import Iterator

from box import (MASTER, Box, BoxTestCase, app_protocol, assert_documented, command, send, update,
                 wait_until)

SLOW_MOUNT = 2.0
GIMBAL_SPEED, ZOOM_LEVEL = (0x04, 0x0C), (0x02, 0x34)
AT_REST = bytes.fromhex("000000000000")


def burst(*datagrams: bytes) -> None:
    for datagram in datagrams:
        send(datagram, app_protocol.PORT)


class Order(BoxTestCase):
    def setUp(self) -> None:
        self.note_idle_threads()
        self.listener, self.link = self.app(data_only=True), self.camera()
        self.link.stop_clock()

    def payloads(self, *wanted: tuple[int, int]) -> list[bytes]:
        """Of the frames of these commands that have come since somebody last looked."""
        self.finish_commands()
        return [got.frame.payload for got in self.link.take() if got.frame.command in wanted]

    def test_the_last_of_a_burst_counts(self) -> None:
        for number in range(1, 101):
            move = dict(cmd="position", param="moverel")
            burst(command(**move, value1=number, value2=3), command(**move, value1=0, value2=0))
            self.assertEqual(self.payloads(GIMBAL_SPEED)[-1][:6], AT_REST, number)
            burst(command(**move, value1=number, value2=3), app_protocol.gimbal_motion(1, number, 1),
                  app_protocol.gimbal_motion(1, 0, 0))
            self.assertEqual(self.payloads(GIMBAL_SPEED)[-1][:6], AT_REST, number)
            first, last = number % 50, 50 + number % 50
            burst(command(cmd="zoom", value1=first), command(cmd="zoom", value1=last))
            self.assertEqual([payload[3] for payload in self.payloads(ZOOM_LEVEL)],
                             3 * [100 + first] + 3 * [100 + last])
        burst(*(update("tcp_port", port) for port in range(7001, 7021)))
        self.finish_commands()
        self.assertIn("\ntcp_port=7020\n", MASTER.read_text())

    def test_settings_are_in_force_while_the_card_hangs(self) -> None:
        self.box.stand_ins.answer("mount", seconds=SLOW_MOUNT)
        self.addCleanup(self.box.stand_ins.answer, "mount")
        burst(update("osd_enabled", 1))
        saves = len(self.box.stand_ins.runs("umount"))
        for number in range(100):
            burst(update("audio_volume", number), command(cmd="iso", param="200"))
        wait_until(lambda: self.box.status["osd_enabled"], "the mirror")
        self.listener.command(cmd="configrequest")
        report = self.listener.json()
        self.assertEqual(int(json.loads(report.rstrip(b"\0\n"))["avol"]), 99)
        self.link.wait_for(lambda got: got.frame.command == (0x02, 0x2A))
        self.assertEqual(self.box.stand_ins.runs("umount")[saves:], [])
        self.finish_commands()
        self.assertIn("\naudio_volume=99\n", MASTER.read_text())
        self.assertLessEqual(len(self.box.stand_ins.runs("umount")) - saves, 3)
        self.assertEqual(self.box.stand_ins.runs("audio-volume.sh")[-1], "audio-volume.sh 99")

    def test_the_zoom_step_goes_with_its_app_and_with_the_camera(self) -> None:
        step = command(cmd="zoom", param="-2", value1="1")

        def levels() -> list[bytes]:
            return self.payloads(ZOOM_LEVEL)
        leaver = self.silent_app()
        for at_once in (False, True):
            leaver.register()
            leaver.await_reply()
            leaver.send(step)
            if not at_once:
                wait_until(levels, "the level moves")
            leaver.send(app_protocol.unregister())
            wait_until(lambda: not (time.sleep(0.2), levels())[1], "the level rests")
        self.listener.send(command(cmd="zoom", value1="0"))
        self.listener.send(step)
        wait_until(levels, "the level moves")
        self.link.stop()
        wait_until(lambda: self.box.status["link_byte_134"] == 0, "the camera is lost")
        self.link = self.camera()
        time.sleep(0.2)
        self.assertEqual(levels(), [])


class Ends(unittest.TestCase):
    def ends(self, mount_seconds: int, step: str) -> Iterator[tuple[Box, float]]:
        """Boxes told to end at this step of a save, each in its way, have ended; when they were told."""
        for how, status in ((None, 0), (command(cmd="restart"), 3)):
            with self.subTest(status=status):
                box = Box().start()
                box.stand_ins.answer("mount", seconds=mount_seconds)
                burst(*(update("tcp_port", port) for port in (7001, 7002)), update("hud_enabled", 1))
                wait_until(lambda: box.stand_ins.runs(step), "the save is there")
                burst(update("tcp_port", 7003))
                told = time.time()
                burst(how, how) if how else box.process.send_signal(signal.SIGTERM)
                box.process.wait(20)
                yield box, told
                self.assertEqual(box.await_exit(), status)

    def test_what_came_before_the_end_is_saved(self) -> None:
        for box, _ in self.ends(1, "umount"):  # another save is needed
            after_save = time.time() - MASTER.stat().st_mtime
            self.assertLess(after_save, 1 + 1 + 0.5)  # mounted again, and a second
            self.assertIn("\ntcp_port=7003\n", MASTER.read_text())
            runs = box.stand_ins.runs("umount", "mount")
            self.assertEqual(runs[-1], "mount /boot", "no save is cut off")
        assert_documented("restart", sent=command(cmd="restart"), exit="status 3")

    def test_a_card_that_hangs_does_not_keep_it_for_long(self) -> None:
        for box, told in self.ends(9, "mount"):
            self.assertLess(time.time() - told, 7)
            box.log.wait_for("a save is still under way after ", whole=False)
