"""The RC input process: alone with a status block, and flown over the wire with daemon and camera."""

import os
import random
import shutil
import signal
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

from box import COPY, RUNNER, SANITIZED, TIMEOUT, TOOLS, Lines, replace_file, wait_until
from fieldrelaybox.rc_signals import PPM_PERIOD, PROTOCOLS, ppm_edges
from fieldrelaybox.rc_sticks import ABSENT, CENTRE, HIGH, LOW, RcSticks
from fieldrelaybox.rc_wire import SerialSticks
from fieldrelaybox.shared_memory import SHARED_MEMORY_DIRECTORY, STATUS_BLOCK, Region
from test_rc import FULL, STOP, Flight, Pilot
from test_stream_launcher import PROGRAMS

OFF, NO_DEVICE, WAITING, CALIBRATING, LOST, FAILSAFE, GOOD = range(7)
BLOCK = SHARED_MEMORY_DIRECTORY / STATUS_BLOCK.name
CALIBRATION, ON_ITS_WAY = Path("/boot/rcin.cal"), Path("/run/fieldrelaybox-rcin/rcin.cal")
LOST_AFTER = 0.1
"""Seconds without a frame."""

needs_serial_lines = unittest.skipIf(RUNNER, "an emulator cannot set the rate of a serial line")


class Receiver(SerialSticks):
    """One whose faults last until they are ended."""

    sent = 0.0
    """When the last frame was on the wire."""
    turn, longest_pause = 0.0, 0.0
    """When it was to send last, and between two of these times."""

    def _send(self) -> None:
        now = time.monotonic()
        self.turn, self.longest_pause = now, max(self.longest_pause, now - (self.turn or now))
        super()._send()
        if not self._silent:
            self.sent = time.monotonic()

    def be_silent(self, silent: bool) -> None:
        with self._lock:
            self._silent = silent

    def lose_transmitter(self, lost: bool) -> None:
        self._lost = lost

    def be_away(self, away: bool) -> None:
        self._pull_out() if away else self._plug_in()

    def speak(self, protocol: str) -> None:
        self._protocol = PROTOCOLS[protocol]

    def make_noise(self, noise: bytes) -> None:
        os.write(self._master, noise)


class Rcin:
    """The process, in a directory with settings."""

    def __init__(self, directory: Path, **devices: str) -> None:
        self.directory = directory
        (directory / "rcin.conf").write_text("".join(f"{k}={v}\n" for k, v in devices.items()))
        self.start()

    def start(self) -> None:
        self.process = subprocess.Popen([*RUNNER, str(PROGRAMS / "rcin"), "--config", "rcin.conf"],
                                        cwd=self.directory, stderr=subprocess.PIPE)
        assert self.process.stderr
        self.log = Lines(self.process.stderr)

    def end(self, number: int = signal.SIGTERM) -> int:
        self.process.send_signal(number)
        self.process.wait(TIMEOUT)
        self.log.join()
        return self.process.returncode

    def restart(self) -> None:
        assert self.end() == 0
        self.start()

    def descriptors(self) -> int:
        return len(os.listdir(f"/proc/{self.process.pid}/fd"))

    def processor_seconds(self) -> float:
        ticks = Path(f"/proc/{self.process.pid}/stat").read_text().rsplit(")", 1)[1].split()[11:13]
        return sum(map(int, ticks)) / os.sysconf("SC_CLK_TCK")


@needs_serial_lines
class Alone(unittest.TestCase):
    def setUp(self) -> None:
        self.directory = Path(self.enterContext(tempfile.TemporaryDirectory(dir="/run")))
        BLOCK.unlink(missing_ok=True)
        CALIBRATION.unlink(missing_ok=True)
        self.receiver = Receiver("sbus", self.directory / "uart")
        self.receiver.be_silent(True)
        self.addCleanup(self.receiver.close)
        self.rcin = Rcin(self.directory, uart=str(self.directory / "uart"))
        self.addCleanup(lambda: self.assertEqual(self.rcin.end(), 0))

    def make_block(self, size: int = STATUS_BLOCK.size) -> Region:
        fresh = SHARED_MEMORY_DIRECTORY / "fresh"
        fresh.write_bytes(bytes(size))
        fresh.rename(BLOCK)
        self.block = Region(STATUS_BLOCK) if size >= STATUS_BLOCK.size else self.block
        return self.block

    def write_settings(self, rc1: str = "sbus", rc2: str = "off", more: str = "rc_input_enabled=1") -> None:
        replace_file(self.directory / "fieldrelaybox.conf", f"rc_input_mode={rc1}\nrc2_input_mode={rc2}\n{more}\n")

    def put_calibration(self, text: str) -> None:
        replace_file(CALIBRATION, f"rcin-calibration 1 {text}\nend\n")

    def move(self, *values: int) -> None:
        for number, value in enumerate(values, 1):
            self.receiver.set(str(number), value)

    def await_state(self, state: int, *first: int) -> None:
        """With these in the first channels, and nothing in the others but when they are good."""
        def seen() -> tuple[int, ...]:
            return self.block["rc_receiver_state"], *self.block["rc_channels"][:len(first) or 32]
        wait_until(lambda: seen() == (state, *(first or [ABSENT] * 32)),
                   f"state {state} with {first}, not {seen()}")

    def await_beats(self, count: int = 4) -> None:
        for _ in range(count):
            beat = self.block["rc_heartbeat"]
            wait_until(lambda: self.block["rc_heartbeat"] != beat, "the heart beats")

    def test_status_block_and_settings_are_waited_for(self) -> None:
        self.rcin.log.wait_for("waiting for shared memory /hud_mem:", whole=False)
        self.make_block()
        self.rcin.log.wait_for("waiting for settings in fieldrelaybox.conf")
        self.await_beats()
        self.assertEqual(self.block["rc_receiver_state"], OFF)
        self.write_settings()
        self.await_state(WAITING)
        self.receiver.be_silent(False)
        self.await_state(CALIBRATING, CENTRE, CENTRE)
        self.move(1100, 1900)
        self.await_state(CALIBRATING, 1100, 1900)
        self.put_calibration("sbus off\n1 1100 1300 1500")  # as when /boot is mounted again
        self.await_state(GOOD, LOW, 1900)
        self.move(CENTRE, CENTRE)
        self.await_state(GOOD, HIGH, CENTRE)
        self.block["rc_receiver_state"] = OFF  # as the daemon does when a setting changes
        self.await_state(GOOD, HIGH)
        old = self.block
        delays = []
        for _ in range(5):
            self.make_block()
            made = time.monotonic()
            self.await_state(GOOD, HIGH)
            delays.append(time.monotonic() - made)
        self.assertLess(min(delays), 0.3)
        self.assertEqual((old["rc_receiver_state"], old["rc_channels"]), (OFF, [ABSENT] * 32))
        os.truncate(BLOCK, 0)
        self.rcin.log.wait_for("waiting for shared memory /hud_mem: it has only 0 bytes")
        self.make_block()
        self.await_state(GOOD, HIGH)
        self.await_beats()
        self.assertEqual(self.rcin.end(), 0)
        self.await_state(OFF)

    def test_receiver_comes_goes_and_fails(self) -> None:
        self.make_block()
        self.receiver.be_away(True)
        CALIBRATION.write_text("rcin-calibration 1 sbus off\nend\n")
        self.write_settings()
        self.await_state(NO_DEVICE)
        before, busy, paces = self.rcin.descriptors(), self.rcin.processor_seconds(), []
        for _ in range(3):
            self.receiver.be_silent(True)
            self.receiver.be_away(False)
            self.await_state(WAITING)
            self.receiver.be_silent(False)
            self.await_state(GOOD, CENTRE)
            self.receiver.lose_transmitter(True)
            self.await_state(FAILSAFE)
            self.receiver.be_silent(True)
            self.await_state(LOST)
            self.receiver.lose_transmitter(False)
            self.receiver.be_silent(False)
            self.await_state(GOOD, CENTRE)
            self.await_beats()
            self.receiver.be_away(True)
            self.await_state(NO_DEVICE)
            began = time.monotonic()
            self.await_beats(40)  # 2 s
            paces.append((time.monotonic() - began) / 40)
        self.assertLess(min(paces), 0.1)
        self.assertEqual(self.rcin.descriptors(), before)
        self.assertLess(self.rcin.processor_seconds() - busy, 1)  # in more than 6 s
        self.write_settings(rc1="wrong", rc2="ppm")
        self.rcin.restart()
        self.rcin.log.wait_for('RC1 is off: "wrong" is no mode')
        self.rcin.log.wait_for('RC2 is off: mode "ppm" needs a line ppm= in rcin.conf')
        self.await_beats()
        self.assertFalse([line for line in self.rcin.log.lines if "calibration" in line])
        self.write_settings(more="rc_input_enabled=0")
        self.rcin.restart()
        self.rcin.log.wait_for("RC input is switched off (rc_input_enabled)")
        self.await_beats()
        self.assertEqual(self.block["rc_receiver_state"], OFF)

    def test_calibration_is_learnt_stored_and_used(self) -> None:
        self.make_block()
        CALIBRATION.write_text("rcin-calibration 1 ppm off\nend\n")  # of another receiver
        self.write_settings()
        self.receiver.be_silent(False)
        self.await_state(CALIBRATING, CENTRE, CENTRE)
        for end in (1100, 1900, 1500):
            self.move(end, end)
            self.await_state(CALIBRATING, end, end)
        self.await_state(GOOD, CENTRE, CENTRE)
        self.move(1100, 1700, 1900)
        self.await_state(GOOD, LOW, 1750, 1900)
        wait_until(lambda: CALIBRATION.read_text() ==
                   "rcin-calibration 1 sbus off\n1 1100 1500 1900\n2 1100 1500 1900\nend\n", "it is stored")
        wait_until(lambda: not ON_ITS_WAY.exists(), "it waits no more")
        shutil.move(CALIBRATION, ON_ITS_WAY)
        self.addCleanup(ON_ITS_WAY.unlink)
        self.rcin.restart()
        self.await_state(GOOD, LOW, 1750, 1900)
        keys = subprocess.run([str(TOOLS / "rc_simulator.py"), "--script", "-"], input="", text=True,
                              stderr=subprocess.PIPE, timeout=TIMEOUT)
        self.assertEqual((keys.returncode, "another program has the channels" in keys.stderr), (1, True))

    def test_recording_is_played_until_it_ends(self) -> None:
        self.make_block()
        values = range(1100, 1900, 100)
        edges = [edge for frame in range(200) for edge in ppm_edges(frame * PPM_PERIOD, values)]
        (self.directory / "edges").write_text("".join(f"{time_ns} {level}\n" for time_ns, level in edges))
        with (self.directory / "rcin.conf").open("a") as devices:
            devices.write("ppm=edges:edges\n")
        self.put_calibration("ppm off")
        self.write_settings(rc1="ppm")
        self.await_state(GOOD, *values, ABSENT)
        self.await_state(LOST)


class TwoReceivers(RcSticks):
    """Sticks that the box hears of over two wires."""

    def __init__(self, block: Region, *receivers: Receiver) -> None:
        super().__init__(block)
        self.receivers = receivers
        for receiver in receivers:
            receiver._values = self._values

    def refresh(self) -> None:
        for receiver in self.receivers:
            receiver.be_silent(self._lost)


@needs_serial_lines
@unittest.skipIf(b"__tsan_init" in (PROGRAMS / "rcin").read_bytes(),
                 "beside other tests it comes too late for 100 ms with ThreadSanitizer")
class Wired(Pilot):
    """Two receivers, as the map has more functions than one has channels."""

    settings = f"{Pilot.settings}rc_input_mode=sbus\nrc2_input_mode=crsf\n"
    receivers: tuple[Receiver, ...] = ()

    def setUp(self) -> None:
        directory = Path(self.enterContext(tempfile.TemporaryDirectory(dir="/run")))
        COPY.write_text(self.settings)
        (directory / COPY.name).symlink_to(COPY)
        CALIBRATION.write_text("rcin-calibration 1 sbus crsf\nend\n")
        uarts = directory / "uart", directory / "uart2"
        self.rc1, self.rc2 = Receiver("sbus", uarts[0]), Receiver("crsf", uarts[1], second=True)
        self.receivers = self.rc1, self.rc2
        for receiver in self.receivers:
            receiver.be_silent(True)  # until everything rests
            self.addCleanup(receiver.close)
        self.rcin = Rcin(directory, uart=str(uarts[0]), uart2=str(uarts[1]))
        self.addCleanup(lambda: self.rcin.end())
        super().setUp()

    def run(self, result: unittest.TestResult | None = None) -> unittest.TestResult | None:
        """Anew where a loaded computer kept a receiver from sending so long that it counts as lost."""
        assert result
        for tries_left in (2, 1, 0):
            trial = unittest.TestResult()
            super().run(trial)
            pause = max((receiver.longest_pause for receiver in self.receivers), default=0)
            if trial.wasSuccessful() or pause < LOST_AFTER / 2 or not tries_left:
                break
            print(f"{self}: failed after a pause of {pause:.3f} s, once more", flush=True)
        result.startTest(self)
        result.failures += trial.failures
        result.errors += trial.errors
        result.skipped += trial.skipped
        if trial.wasSuccessful() and not trial.skipped:
            result.addSuccess(self)
        result.stopTest(self)
        return result

    def pick_up_sticks(self) -> RcSticks:
        return TwoReceivers(self.box.status, self.rc1, self.rc2)

    def await_state(self, state: int) -> None:
        wait_until(lambda: self.box.status["rc_receiver_state"] == state, f"state {state}")

    def await_kill(self) -> None:
        """The daemon ends rcin, and systemd starts it again."""
        wait_until(lambda: "killall -q rcin" in self.box.stand_ins.runs("killall"), "rcin is ended")
        self.box.stand_ins.log.write_text("")
        self.rcin.restart()

    test_take_over_release_and_lost_rc = Flight.test_take_over_release_and_lost_rc
    test_every_function = Flight.test_switches_and_steps

    def test_no_loss_leaves_the_gimbal_moving(self) -> None:
        """Whether RC1 alone is lost or both are."""
        losses = ((Receiver.lose_transmitter, FAILSAFE), (Receiver.be_away, NO_DEVICE),
                  (Receiver.be_silent, LOST))
        for lose, state in losses:
            for receivers in (self.rc1,), (self.rc1, self.rc2):
                self.move("pan", HIGH, FULL)
                for receiver in receivers:
                    lose(receiver, True)
                self.expect(STOP)
                self.await_state(GOOD if len(receivers) == 1 else state)
                self.sticks.set("pan", CENTRE)
                for receiver in receivers:
                    lose(receiver, False)
                self.see_starting_positions()

    def test_stops_soon_after_the_last_frame(self) -> None:
        times = []
        for _ in range(5):
            self.move("pan", HIGH, FULL)
            self.sticks.lose()
            self.expect(STOP)
            times.append(time.monotonic() - self.rc1.sent)
            self.sticks.set("pan", CENTRE)
            self.sticks.recover()
            self.see_starting_positions()
        self.assertLess(min(times), 0.15, times)
        self.assertGreater(min(times), 0.1, times)

    def test_garbage_moves_nothing(self) -> None:
        noise, seen = random.Random(5), len(self.rc.seen)
        self.sticks.lose()
        self.await_state(LOST)
        busy, end = self.rcin.processor_seconds(), time.monotonic() + 10
        while time.monotonic() < end:
            for receiver in self.receivers:
                receiver.make_noise(noise.randbytes(100))
            time.sleep(0.01)
        if not SANITIZED:
            self.assertLess(self.rcin.processor_seconds() - busy, 2)
        self.sticks.recover()
        self.await_state(GOOD)
        self.see_starting_positions()
        self.assertEqual({got.name for got in self.rc.seen[seen:]} - {"gimbal speed 0,-500", STOP}, set())

    def test_killed_while_the_gimbal_moves(self) -> None:
        self.move("pan", HIGH, FULL)
        self.rcin.end(signal.SIGKILL)
        died = time.monotonic()
        self.expect(STOP)
        self.assertLess(time.monotonic() - died, 2)
        self.sticks.set("pan", CENTRE)
        self.rcin.start()
        self.see_starting_positions()
        self.move("pan", HIGH, FULL)
        self.rcin.end()
        self.expect(STOP)
        self.assertEqual(self.box.status["rc_channels"], [ABSENT] * 32)
        self.sticks.set("pan", CENTRE)
        self.rcin.start()

    def test_mode_changed_and_recalibrated_by_an_app(self) -> None:
        app = self.app(data_only=True)
        self.box.stand_ins.log.write_text("")
        app.update("rcin_mode", "ibus")
        self.await_kill()
        self.rc1.speak("ibus")
        self.calibrate()
        app.command(cmd="rc", name="recalibrate")
        self.await_kill()
        self.assertFalse(CALIBRATION.exists())
        self.calibrate()

    def calibrate(self) -> None:
        self.await_state(CALIBRATING)
        seen = len(self.rc.seen)
        for value in (1100, 1900, CENTRE):
            for name in ("pan", "tilt"):
                self.sticks.set(name, value)
            wait_until(lambda: self.box.status["rc_channels"][:2] == [value] * 2, "the sticks are seen")
        self.await_state(GOOD)
        self.assertEqual(len([got for got in self.rc.seen[seen:] if got.name.startswith("gimbal")]), 0)
        self.move("pan", 1900, FULL)
        self.move("pan", CENTRE, STOP)
