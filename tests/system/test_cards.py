"""Settings on cards that are full, broken or away, and saves that are cut short at any moment."""

import itertools
import os
import random
import re
import shutil
import subprocess
import unittest
from pathlib import Path
from typing import Any, Callable, Iterator
from unittest import mock

from box import (COPY, DAEMON, MASTER, MEMORY_IS_ITS_OWN, ROOT, Box, BoxTestCase, app_protocol,
                 send, update, wait_until)
from fieldrelaybox.box_status import read_counts

SECOND, FIRMWARE = Path(f"{MASTER}.bak"), Path("/boot/firmware/fieldrelaybox.conf")
SLOW_CARD, STEPS = Path(DAEMON).parent / "tests" / "libslow_card.so", Path("/run/steps")
PREPARE, KILLS = ROOT / "packaging/bin/prepare-configuration", 250
HEADING, LISTS = b"# Fieldrelaybox config file\n", ("rtmp_url", "mpegts_clients")


def run(*words: Any) -> None:
    subprocess.run([str(word) for word in words], check=True, capture_output=True)


def mount(*words: Any) -> None:
    run("/bin/mount", "-n", *words)


def unix(path: Path) -> bytes:
    return path.read_bytes().replace(b"\r\n", b"\n")


class Cards(BoxTestCase):
    settings = "".join(f"{name}={'x' * 110}\n" for name in ("ap_ssid", "ap_psk", "camera_psk"))

    def setUp(self) -> None:
        self.note_idle_threads()
        self.listener = self.app(data_only=True)
        mount("-t", "tmpfs", "card", "/boot")
        self.addCleanup(run, "/bin/umount", "-l", "/boot")
        self.assertEqual([self.save("", name) for name in LISTS], [(1, 0, 0)] * 2)
        self.told = len(self.box.log.lines)

    def save(self, value: str, name: str = "tcp_port") -> tuple[int, ...]:
        """Saves that worked and failed, and whether anything is left unsaved."""
        def counts() -> tuple[int, int]:
            return read_counts()["saves_done"], read_counts()["saves_failed"]
        before = counts()
        self.listener.update(name, value)
        wait_until(lambda: counts() != before, "the save is counted")
        self.finish_commands()
        done, failed = (after - then for after, then in zip(counts(), before))
        return done, failed, read_counts()["settings_unsaved"]

    def assert_fails(self, line: str, stays: Path, mend: Callable[[], object]) -> None:
        """Told once, nothing whole is lost, and the first save that works carries everything."""
        old = COPY.read_bytes(), stays.read_bytes()
        self.assertEqual([self.save("n" * 120, name) for name in LISTS], [(0, 1, 1)] * 2)
        self.assertEqual((COPY.read_bytes(), stays.read_bytes()), old)
        mend()
        self.assertEqual(self.save("2"), (1, 0, 0))
        self.assertEqual(self.log_since(self.told, 2), [line, "settings are saved again"])
        self.assertEqual((COPY.read_bytes().count(b"n" * 120), unix(MASTER)), (2, COPY.read_bytes()))
        self.told = len(self.box.log.lines)

    def test_full(self) -> None:
        Path("/boot/filler").write_bytes(bytes(4096))
        mount("-o", "remount,size=12k", "/boot")

        def make_room() -> None:
            self.assertFalse(SECOND.exists())
            mount("-o", "remount,size=64k", "/boot")
        self.assert_fails(f"cannot write {SECOND}: No space left on device", MASTER, make_room)
        self.assertEqual({path.stat().st_mode & 0o777 for path in (MASTER, SECOND, COPY)}, {0o600})

    def test_not_mounted_again(self) -> None:
        self.box.stand_ins.answer("mount", 32)
        self.assert_fails("cannot mount /boot", COPY, lambda: self.box.stand_ins.answer("mount"))
        self.assertIn("[stand-in] mount /boot", self.box.log.lines)  # it tells why itself

    def test_read_only_and_away(self) -> None:
        FIRMWARE.parent.mkdir()
        mount("-t", "tmpfs", "card", FIRMWARE.parent)
        FIRMWARE.write_bytes(MASTER.read_bytes())
        MASTER.unlink()
        MASTER.symlink_to("firmware/fieldrelaybox.conf")
        mount("-o", "remount,ro", FIRMWARE.parent)
        self.assert_fails(f"cannot open {FIRMWARE}.bak: Read-only file system", FIRMWARE,
                          lambda: mount("-o", "remount,rw", FIRMWARE.parent))
        self.assertEqual(self.box.stand_ins.runs("mount", "umount")[-3:], [
            f"{command} /boot/firmware" for command in ("mount -o rw,remount", "umount", "mount")])
        for name in LISTS:
            self.save("", name)
        run("/bin/umount", FIRMWARE.parent)
        Path("/run/fstab").write_text("/dev/card /boot/firmware vfat defaults 0 0\n")
        mount("--bind", "/run/fstab", "/etc/fstab")
        self.addCleanup(run, "/bin/umount", "/etc/fstab")
        self.assert_fails("cannot mount /boot/firmware", COPY,
                          lambda: mount("-t", "tmpfs", "card", FIRMWARE.parent))

    def test_run_is_full(self) -> None:
        """What the card holds is saved; only the next start without the card has older settings."""
        blocker = Path(f"{COPY}.new")
        blocker.mkdir()
        self.assertEqual([self.save("n" * 120, name) for name in LISTS], [(1, 0, 0)] * 2)
        blocker.rmdir()
        self.assertEqual(self.save("2"), (1, 0, 0))
        self.assertEqual(self.log_since(self.told, 2), [f"cannot open {blocker}: Is a directory",
                                                        "settings are saved again"])

    def test_the_first_file_fails(self) -> None:
        for name in LISTS:
            self.save("", name)
        MASTER.unlink()
        MASTER.mkdir()
        self.assertEqual(self.save("n" * 120, LISTS[0]), (0, 1, 1))
        self.assertTrue(SECOND.read_bytes().endswith(b'server_devid=""\r\n\r\n'))
        MASTER.rmdir()
        self.assertEqual(self.save("", LISTS[0]), (1, 0, 0))

    def test_hangs(self) -> None:
        """Seen and told; what comes meanwhile takes the place of what waits, with its commands."""
        self.box.stand_ins.answer("mount", seconds=7)
        self.addCleanup(self.box.stand_ins.answer, "mount")
        merged = read_counts()["commands_merged"]
        for _ in range(20):
            self.listener.command(cmd="updateparam", name="rtsp_enabled", value="1")
        self.box.fence()
        self.assertEqual(read_counts()["settings_unsaved"], 1)
        self.assertGreater(read_counts()["commands_merged"] - merged, 30)
        self.box.log.wait_for("save: under way at the boot partition for more than 10 s", self.told)
        self.box.stand_ins.answer("mount")
        self.finish_commands()
        self.assertEqual(read_counts()["settings_unsaved"], 0)

    def test_control_characters(self) -> None:
        for name, value in zip(LISTS, ('a\nosd_enabled=1\x01\x1f\x7f\tb\rc"', "x" * 190)):
            self.save(value, name)
        self.save("3")
        self.assertIn(b'\nrtmp_url="aosd_enabled=1b\rc""\r\n', MASTER.read_bytes())
        self.assertEqual([line.split()[1:3] for line in self.log_since(self.told, 2)],
                         [["rtmp_url", "holds"], ["mpegts_clients", "is"]])


@unittest.skipUnless(MEMORY_IS_ITS_OWN, "another library or processor comes first")
class CutShort(unittest.TestCase):
    """The daemon on a slow card, started as the service does, with a change under way."""

    def prepare(self, *card: bytes | None) -> bytes:
        """The settings that the daemon finds when its start finds this on the card."""
        for place, content in zip((MASTER, SECOND), card):
            place.unlink(missing_ok=True)
            if content is not None:
                place.write_bytes(content)
        COPY.unlink(missing_ok=True)  # as when power was away
        run(PREPARE)
        return COPY.read_bytes()

    def test_by_hand(self) -> None:
        """The heading was kept, and the last line lacks its end."""
        start = HEADING + b"server_devid"
        for last in (b"=box", b' = "box"', b'="box" ; mine'):
            self.assertEqual(self.prepare(start + last, b"a=1\n"), start + last)
        for last in (b"", b"=", b'="', b'="bo'):
            self.assertEqual(self.prepare(start + last, b"a=1\n"), b"a=1\n")
        FIRMWARE.parent.mkdir()
        FIRMWARE.write_bytes(b"older=1\n")
        SECOND.unlink()  # the copy of the last start is left
        told = subprocess.run([PREPARE], capture_output=True, check=True, text=True).stderr
        self.assertEqual((COPY.read_bytes(), told), (b"a=1\n", (
            "no whole fieldrelaybox.conf in /boot or /boot/firmware; "
            "the settings of the last start stay\n")))
        shutil.rmtree(FIRMWARE.parent)

    def test_card_that_comes_late(self) -> None:
        """The start found nothing: the first save keeps what the card has, and what was changed."""
        for card in ((b"camera_ssid=a\n", None), (b"", HEADING + b"camera_ssid=a\nserver_devid=b")):
            self.prepare(*card)
            COPY.unlink()
            box = self.change(7)
            wait_until(COPY.exists, "the save ends")
            box.stop()
            for path in (MASTER, COPY):
                self.assertIn(b'\ncamera_ssid="a"\n', unix(path))
                self.assertIn(b"\ntcp_port=7\n", unix(path))

    def change(self, port: int) -> Box:
        STEPS.write_text("")
        box = Box(None)
        (box.directory / COPY.name).symlink_to(COPY)
        with mock.patch.dict(os.environ, LD_PRELOAD=str(SLOW_CARD), CARD_STEPS=str(STEPS)):
            box.start()
        send(update("tcp_port", port), app_protocol.PORT)
        return box

    def save(self, port: int) -> bytes:
        box = self.change(port)
        wait_until(lambda: b"\ntcp_port=%d\n" % port in COPY.read_bytes(), "the save ends")
        box.stop()
        return MASTER.read_bytes()

    def states(self, card: dict[Path, list], new: bytes) -> Iterator[tuple[bytes | None, ...]]:
        """All that may be on the card when power goes: before a sync nothing is certain."""
        for step in STEPS.read_text().splitlines():
            what, name, at = step.split()
            place = Path(name)
            if what == "sync" and place in card:
                card[place] = [new] + [None] * (None in card[place])
            elif what == "sync":  # the names in the directory
                card = {place: [it for it in card[place] if it is not None] for place in card}
            elif what == "empty":
                card[place] += [b"", bytes(len(new)), new[:600] + bytes(len(new) - 600)]
            else:
                card[place] += [new[:int(at)], new]
            yield from itertools.product(card[MASTER], card[SECOND])

    def test_power(self) -> None:
        self.prepare(b"camera_ssid=by hand\n", None)
        old = self.save(1)
        self.assertIn(b'camera_ssid="by hand"', old)
        new = old.replace(b"tcp_port=1", b"tcp_port=2")
        for before in ((old, None), (old, old), (old[:1024], old), (b"", old), (None, old)):
            self.prepare(*before)
            self.assertEqual(self.save(2), new)
            whole = [text.replace(b"\r\n", b"\n") for text in (old, new)]
            for state in set(self.states({MASTER: [before[0]], SECOND: [before[1]]}, new)):
                self.assertTrue(self.prepare(*state) in whole, (STEPS.read_text(), state))

    def test_kill(self) -> None:
        self.prepare(b"camera_ssid=x\n", None)
        self.save(1000)
        old, steps, half = COPY.read_bytes(), STEPS.read_text().count("\n"), 0
        for port in range(1001, 1001 + KILLS):
            new = re.sub(rb"tcp_port=\d+", b"tcp_port=%d" % port, old)
            box, moment = self.change(port), random.randrange(steps + 1)
            while STEPS.read_text().count("\n") < moment and COPY.read_bytes() != new:
                pass
            box.process.kill()
            box.await_exit()
            half += 0 < STEPS.read_text().count("\n") < steps
            self.assertTrue(COPY.read_bytes() in (old, new))
            self.assertTrue(self.prepare() in (old, new))
            old = COPY.read_bytes()
        self.assertGreater(half, KILLS / 2)
