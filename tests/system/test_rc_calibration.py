"""The way of an RC calibration to the boot partition, and off it again."""

import fcntl
import os
import signal
import subprocess
import unittest
from pathlib import Path
from typing import Any

from box import (COPY, MASTER, MEMORY_IS_ITS_OWN, RUNNER, TIMEOUT, BoxTestCase, app_protocol, command, send,
                 update, wait_until)
from test_cards import SLOW_CARD, STEPS, mount, run
from test_stream_launcher import PROGRAMS

LINK, FIRMWARE, MEDIUM = Path("/boot/rcin.cal"), Path("/boot/firmware"), Path("/run/medium")
TARGET, WAITING = FIRMWARE / "rcin.cal", Path("/run/fieldrelaybox-rcin/rcin.cal")
LOCK = Path(f"{COPY}.lock")
STORE = [*RUNNER, str(PROGRAMS / "rcin"), "--store-calibration"]
OLD = "rcin-calibration 1 ppm off\n" + "1 900 1500 2100\n" * 50 + "end\n"
NEW = "rcin-calibration 1 sbus off\n" + "".join(f"{n} 1000 1500 2000\n" for n in range(1, 33)) + "end\n"


def leave(text: str) -> None:
    WAITING.parent.mkdir(exist_ok=True)
    WAITING.write_text(text)


def start_store(**variables: str) -> subprocess.Popen[str]:
    return subprocess.Popen(STORE, env={**os.environ, **variables}, text=True, stderr=subprocess.PIPE)


def store(**variables: str) -> tuple[int, str]:
    leave(NEW)
    process = start_store(**variables)
    told = process.communicate(timeout=60)[1]
    return process.returncode, told


def is_read_only(place: Path) -> bool:
    return bool(os.statvfs(place).f_flag & os.ST_RDONLY)


class Stored(unittest.TestCase):
    def tearDown(self) -> None:
        for path in (LINK, MASTER, WAITING):
            path.unlink(missing_ok=True)

    def test_read_only_partition_behind_a_link(self) -> None:
        """It lies where the settings lie, and the partition is as it was, also when it is full."""
        FIRMWARE.mkdir()
        MEDIUM.mkdir()
        mount("-t", "tmpfs", "-o", "size=8k", "medium", MEDIUM)
        fstab = Path("/run/fstab")
        fstab.write_text(f"{MEDIUM} {FIRMWARE} none bind,ro 0 0\n")
        mount("--bind", fstab, "/etc/fstab")
        self.addCleanup(run, "/bin/umount", "/etc/fstab")
        mount(FIRMWARE)
        self.addCleanup(run, "/bin/umount", FIRMWARE)
        MASTER.symlink_to("firmware/fieldrelaybox.conf")
        real_tools = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin"}
        for away in (False, True):
            if away:
                run("/bin/umount", FIRMWARE)
            self.assertEqual(store(**real_tools), (0, f"the calibration is in {LINK}\n"))
            self.assertEqual((os.readlink(LINK), TARGET.read_text()), ("firmware/rcin.cal", NEW))
            self.assertTrue(is_read_only(FIRMWARE))
            self.assertFalse(WAITING.exists())
        (MEDIUM / "rcin.cal").unlink()
        (MEDIUM / "filler").write_bytes(bytes(8192))
        self.assertEqual(store(**real_tools), (1, f"cannot write {TARGET}: No space left on device\n"))
        self.assertEqual((TARGET.exists(), is_read_only(FIRMWARE), WAITING.read_text()), (False, True, NEW))
        (MEDIUM / "filler").unlink()
        forgetful = Path("/run/forgetful/mount")
        forgetful.parent.mkdir()
        forgetful.write_text(f'#!/bin/sh\n/bin/mount "$@" && [ $# = 1 ] && : > {MEDIUM}/rcin.cal\n')
        forgetful.chmod(0o755)
        self.assertEqual(store(PATH=f"{forgetful.parent}:{real_tools['PATH']}"),
                         (1, f"{LINK} is not as it was written\n"))
        self.assertEqual(WAITING.read_text(), NEW)

    @unittest.skipUnless(MEMORY_IS_ITS_OWN, "another library or processor comes first")
    def test_power(self) -> None:
        """Cut at any step, there is nothing that looks whole and is not, and the next start ends it."""
        slow = {"LD_PRELOAD": str(SLOW_CARD), "CARD_STEPS": str(STEPS)}
        STEPS.write_text("")
        self.assertEqual(store(**slow)[0], 0)
        steps = STEPS.read_text().count("\n")
        halves = 0
        for moment in range(1, steps + 1):
            LINK.write_text(OLD)
            self.assertEqual(store(**slow, CARD_CUT=str(moment))[0], -signal.SIGKILL)
            text = LINK.read_text()
            halves += text not in (OLD, NEW)
            self.assertTrue(text in (OLD, NEW) or not text.endswith("end\n"), text)
            self.assertEqual((store()[0], LINK.read_text()), (0, NEW))
        self.assertGreater(halves, 0)


class Turns(BoxTestCase):
    def runs(self) -> list[str]:
        return self.box.stand_ins.runs("mount", "umount", "killall")

    def test_calibration_and_settings_take_turns(self) -> None:
        """Another's umount would uncover the folder below the partition."""
        def waits(process: "subprocess.Popen[Any]") -> bool:
            return f"-> FLOCK  ADVISORY  WRITE {process.pid} " in Path("/proc/locks").read_text()

        leave(NEW)
        with LOCK.open("w") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            send(update("rcin_pan", 4), app_protocol.PORT)
            rcin = start_store()
            wait_until(lambda: waits(rcin) and waits(self.box.process), "both wait")
            self.assertEqual((MASTER.exists(), LINK.exists()), (False, False))
        rcin.communicate(timeout=TIMEOUT)
        wait_until(COPY.exists, "the settings are saved")
        self.assertEqual(LINK.read_text(), NEW)

    @unittest.skipIf(RUNNER, "there the emulator has the name")
    def test_what_ends_the_reader_ends_neither_writer_nor_onlooker(self) -> None:
        def called(name: str) -> bool:
            return subprocess.run(["/usr/bin/killall", "-q", "-0", name]).returncode == 0  # kills nothing

        leave(NEW)
        with LOCK.open("w") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            onlooker = subprocess.Popen([STORE[0], "--show"], stdout=subprocess.DEVNULL)
            writer = start_store()
            wait_until(lambda: called("rcin-store") and called("rcin-show"), "both run")
            self.assertFalse(called("rcin"))
            onlooker.terminate()
            for number in (signal.SIGTERM, signal.SIGINT):
                writer.send_signal(number)
        self.assertEqual((writer.communicate(timeout=TIMEOUT), writer.returncode),
                         ((None, f"the calibration is in {LINK}\n"), 0))
        self.assertEqual((onlooker.wait(TIMEOUT), LINK.read_text()), (0, NEW))

    def test_recalibrate_removes_what_a_link_leads_to(self) -> None:
        FIRMWARE.mkdir()
        usual = ["mount -o rw,remount /boot", "umount /boot", "mount /boot", "killall -q rcin"]
        apart = [f"mount -o rw,remount {FIRMWARE}", f"umount {FIRMWARE}", f"mount {FIRMWARE}"]
        for more in ([], apart):
            LINK.unlink(missing_ok=True)
            LINK.symlink_to("firmware/rcin.cal")
            if more:
                mount("-t", "tmpfs", "card", FIRMWARE)
                self.addCleanup(run, "/bin/umount", FIRMWARE)
            TARGET.write_text(OLD)
            if more:
                mount("-o", "remount,ro", FIRMWARE)
            begin, told = len(self.runs()), len(self.box.log.lines)
            leave(OLD)
            send(command(cmd="rc", name="recalibrate"), app_protocol.PORT)
            wait_until(lambda: self.runs()[begin:][-1:] == usual[-1:], "rcin is ended")
            self.assertEqual(self.runs()[begin:], usual[:1] + more + usual[1:])
            self.assertEqual((LINK.is_symlink(), WAITING.exists(), TARGET.exists()),
                             (False, False, bool(more)))
        self.assertEqual(self.log_since(told, 1), [f"cannot remove {TARGET}: Read-only file system"])
