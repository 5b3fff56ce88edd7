"""Start-up: identity, shared memory, settings, ports, and what ends the start."""

import contextlib
import ctypes
import os
import signal
import socket
import struct
import subprocess
import unittest
from pathlib import Path
from typing import Iterator

from box import (DATA, MEMORY_IS_ITS_OWN, PORTS, ROOT, SHARED_MEMORY_DIRECTORY, STATUS_BLOCK,
                 TIMEOUT, App, Box, Camera, Receiver, app_protocol, bound_ports, frames, load_hex,
                 load_record, mask_record, send, wait_until)

HUD_MEM = SHARED_MEMORY_DIRECTORY / "hud_mem"
CONFIG_MEM = SHARED_MEMORY_DIRECTORY / "config_mem"
GOVERNOR = Path("/sys/devices/system/cpu/cpu0/cpufreq/scaling_governor")
SERVICES = {"transcode", "audio", "video", "telemetry", "polling", "rc-loop", "commands", "control",
            "server", "signals"}
CANNOT_DO_WITHOUT = "the daemon ends: it cannot do without the thread "
MISTAKES = {
    "udp_enabled=yes": ': udp_enabled: "yes" is not a number; taken as 0',
    "osd_enabled=1 # yes": ': osd_enabled: "1 # yes" is more than a number; taken as 1',
    "rtmp_enabled=2": ": rtmp_enabled: 2 is not within 0 to 1; taken as 1",
    "video_bitrate=fast": ': video_bitrate: "fast" is not a number; taken as 1000000',
    "audio_volume=100\0=": ": ignored from a NUL byte on",
    "audio_volume=101": ": audio_volume: 101 is not within 0 to 100; taken as 101",
    "wifi_psk=" + 191 * "x": ": a part beyond 199 characters is ignored",
    "osd_top_offset=300": ": osd_top_offset: 300 is not within 0 to 255; taken as 44",
    "tcp_port=0": "",
    "ap_mode=3": ": ap_mode: 3 is none of 2, 5; taken as 3",
    "rc_input_mode=dsm": ': rc_input_mode: "dsm" is none of pwm, ppm, sbus, crsf, ibus, pad, off',
    "rc_input_map=pan,,Tilt": ': rc_input_map: "Tilt" is no channel function; channel 3 does nothing',
    "udp_clients=192.0.2.1:7,192.0.2.2:65535":
        ': udp_clients: "192.0.2.2:65535" is not address:port',
    "mpegts_clients=192.0.2.1:65535,127.0.0.1:5000":
        ': mpegts_clients: "127.0.0.1:5000": the box itself receives there',
    "server_host=relay": ': server_host: "relay" is not a dotted IPv4 address; names are not resolved',
    "server_user=0123456789abcdef": ": server_user: longer than 15 characters; the rest is left out",
    "wifi_iface=lo": "",
    "ap_iface=wlan7": ': ap_iface: there is no interface "wlan7" here now',
    "camera_iface=a b":
        ': camera_iface: "a b" cannot be the name of an interface; it is never asked for',
    "hdmi": " ignored: no key and value",
    "hdmi_enable=1": " ignored: hdmi_enable",
}


@contextlib.contextmanager
def held_thread(process: int, name: str) -> Iterator[None]:
    """One thread of the process stands still, as if it hung."""
    seize, interrupt, detach, any_thread = 0x4206, 0x4207, 17, 0x40000000
    thread = next(int(place.name) for place in Path(f"/proc/{process}/task").iterdir()
                  if (place / "comm").read_text() == f"{name}\n")
    ptrace = ctypes.CDLL(None, use_errno=True).ptrace
    for request in (seize, interrupt):
        assert ptrace(request, thread, None, None) == 0, os.strerror(ctypes.get_errno())
    os.waitpid(thread, any_thread)
    try:
        yield
    finally:
        ptrace(detach, thread, None, None)


def hanging_children(seconds: int) -> int:
    found = subprocess.run(["ps", "-e", "-o", "args="], capture_output=True, check=True).stdout
    return found.splitlines().count(b"sleep %d" % seconds)


class Start(unittest.TestCase):
    def start(self, settings: str | bytes | None = "") -> Box:
        return self.enterContext(Box(settings))

    def assert_record(self, box: Box, name: str, part: str = "bytes") -> None:
        wait_until(lambda: box.mirror["clock"], "the first mirror copy")
        self.assertEqual(mask_record(box.mirror.raw[:]), mask_record(load_record(name, part)))

    def test_identity(self) -> None:
        box = self.start()
        box.printed.wait_for("\033[1;37mFieldrelaybox v.0.20.2\033[0m")
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

    def test_an_existing_status_block_is_cleared_and_keeps_its_size_or_grows(self) -> None:
        box = Box()
        HUD_MEM.write_bytes(b"\xaa" * 8192)
        CONFIG_MEM.write_bytes(b"\xaa" * 5000)
        with box:
            content = HUD_MEM.read_bytes()
            self.assertEqual(len(content), 8192)
            self.assertEqual(content[600:656] + content[900:1648], bytes(56 + 748))
            self.assertEqual(content[1936:], b"\xaa" * (8192 - 1936))
            self.assertEqual(CONFIG_MEM.stat().st_size, 3256)
        box = Box()
        HUD_MEM.touch()  # too small to use
        with box:
            self.assertEqual(HUD_MEM.stat().st_size, STATUS_BLOCK.size)
            self.assertTrue([line for line in box.log.lines if "hud_mem" in line])
            self.assertEqual(box.status["daemon_started"], 1)

    def assert_no_start(self, box: Box, status: int, told: str) -> None:
        box.launch()
        self.assertEqual(box.await_exit(), status)
        self.assertIn(told, box.log.lines[-1])

    def test_an_unusable_region_or_port_ends_the_start(self) -> None:
        for filling, place in ((b"full", HUD_MEM), (b"", CONFIG_MEM)):
            with self.subTest(place.name):
                box, told = Box(), f"cannot open shared memory /{place.name}: "
                place.mkdir()
                self.assert_no_start(box, 1, told)
                self.assertEqual(len(box.log.lines), 1)
                place.rmdir()
                subprocess.run(["/bin/mount", "-nt", "tmpfs", "-o", "size=4k", "small",
                                SHARED_MEMORY_DIRECTORY], check=True)
                (SHARED_MEMORY_DIRECTORY / "filling").write_bytes(filling)
                self.assert_no_start(Box(), 1, told + "No space left on device")
                subprocess.run(["/bin/umount", "-n", SHARED_MEMORY_DIRECTORY], check=True)
        with Receiver(4242).socket:
            self.assert_no_start(Box(), 100, "discovery bind failed")

    def test_the_firewall_example_is_one(self) -> None:
        rules = str(ROOT / "packaging" / "examples" / "fieldrelaybox.nft")
        for _ in range(2):  # again replaces it
            subprocess.run(["nft", "-f", rules], check=True)
        with Box(), App() as app:  # loopback stays open
            app.message()

    def test_one_daemon_at_a_time(self) -> None:
        box = Box()
        box.stand_ins.answer("reboot", seconds=14)
        box.start()
        send(app_protocol.command('{"cmd":"reboot"}'), app_protocol.PORT)
        wait_until(lambda: hanging_children(14), "the command hangs")
        regions = [place.stat().st_ino for place in sorted(SHARED_MEMORY_DIRECTORY.iterdir())]
        with HUD_MEM.open("r+b") as region:
            region.seek(600)
            region.write(b"of the first")
        status, printed, log = box.run()
        self.assertEqual((status, printed, log.count("\n")), (100, "", 1), log)
        self.assertEqual(HUD_MEM.read_bytes()[600:612], b"of the first")
        self.assertEqual([place.stat().st_ino for place in sorted(SHARED_MEMORY_DIRECTORY.iterdir())],
                         regions)
        HUD_MEM.unlink()  # its lock goes with it
        self.assertEqual(box.run(), (100, "", "discovery bind failed\n"))
        self.assertEqual([place.stat().st_ino for place in sorted(SHARED_MEMORY_DIRECTORY.iterdir())
                          if place != HUD_MEM], regions[:2])
        box.process.kill()
        box.process.wait()
        box.start()  # the child that is left has neither the lock nor a port
        self.assertEqual(hanging_children(14), 1)
        subprocess.run(["pkill", "-f", "^sleep 14"], check=True)
        box.stop()

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


class Guards(unittest.TestCase):
    """What the daemon does when it, or something it needs, does not work."""

    def test_arguments_start_nothing(self) -> None:
        box = Box("".join(f"{line}\n" for line in MISTAKES))
        told = [f"configuration file line {number}{words}"
                for number, words in enumerate(MISTAKES.values(), 1) if words]
        self.assertEqual(box.run("--check-config"), (1, "\n".join(told) + "\n", ""))
        self.assertEqual(box.run("--version")[0], 0)
        self.assertFalse(HUD_MEM.exists())
        with box:
            self.assertEqual(box.log.lines[:len(told)], told)
            settings = box.directory / "fieldrelaybox.conf"
            subprocess.run([ROOT / "scripts/settings_pages.py", "sample", settings], check=True)
            for content, words in ((settings.read_bytes(), ""),
                                   (b"", "fieldrelaybox.conf is empty; starting with the defaults"),
                                   (bytes(999), "configuration file line 1: ignored from a NUL byte on")):
                settings.write_bytes(content)
                self.assertEqual(box.run("--check-config"),
                                 (int(bool(words)), words and words + "\n", ""))
            self.assertIn("cannot read /run: Is a dir", box.run("--check-config", "/run")[1])

    @unittest.skipUnless(MEMORY_IS_ITS_OWN, "the limits are those of the daemon alone")
    def test_a_service_that_cannot_run_ends_the_daemon(self) -> None:
        missed: set[str] = set()
        every, between = range(16_000, 100_000, 4_000), range(18_000, 100_000, 4_000)
        for kilobytes in (*every, *between):
            if kilobytes in between and missed == SERVICES:
                break  # otherwise it was chance which thread met the end of the memory
            box = Box()
            box.launch("sh", "-c", f'ulimit -s 8192; ulimit -v {kilobytes}; exec "$0"')
            wait_until(lambda: box.process.poll() is not None
                       or "Init P2P client" in box.log.lines, "it runs or it ends")
            if box.process.poll() is None and box.threads() > len(SERVICES):
                box.stop()
                continue
            self.assertEqual(box.await_exit(), 1, box.log.lines)
            # Other threads, that start meanwhile, may have the last word.
            told = {line.removeprefix(CANNOT_DO_WITHOUT) for line in box.log.lines
                    if line.startswith(CANNOT_DO_WITHOUT)}
            self.assertTrue(told, box.log.lines)
            missed |= told
        self.assertEqual(missed, SERVICES)

    def test_closed_standard_streams_take_nothing_of_the_regions(self) -> None:
        box = Box()
        box.launch("sh", "-c", 'exec "$0" "$@" >&- 2>&-')
        wait_until(lambda: set(PORTS) <= bound_ports(), "it runs")
        start = HUD_MEM.read_bytes()[:15]
        box.process.terminate()
        self.assertEqual((box.await_exit(), start), (0, b"\x01Fieldrelaybox\0"))

    def test_without_a_socket_there_is_no_start(self) -> None:
        for most in (12, 22, 32):
            box = Box()
            box.launch("sh", "-c", f'ulimit -n {most}; exec "$0" "$@"')
            self.assertEqual(box.await_exit(), 1)
            self.assertEqual(box.log.lines[-1],
                             "the daemon ends: cannot open a socket: Too many open files")

    def test_taken_ports_are_had_once_they_are_free(self) -> None:
        ports = sorted(set(PORTS) - {app_protocol.PORT})
        # What the daemon before started may have its sockets until it is another program.
        wait_until(lambda: not set(ports) & bound_ports(), "the ports are free")
        taken = [Receiver(port) for port in ports]
        box = Box()
        box.launch()
        self.addCleanup(box.process.kill)
        box.log.wait_for("Init P2P client")
        for port in ports:
            wait_until(lambda: [line for line in box.log.lines if f" on port {port}: " in line],
                       f"it tells that {port} is taken")
        box.fence()  # nothing else waits
        for receiver in taken:
            receiver.close()
        box.await_start()
        with Camera(box) as camera:
            camera.connect()
        box.stop()
        told = [line for line in box.log.lines if line.startswith(("cannot ", "can "))]
        self.assertEqual(len(told), 2 * len(ports), told)


class Watchdog(unittest.TestCase):
    def test_a_thread_that_hangs_leaves_the_watchdog_hungry(self) -> None:
        box = Box()
        manager = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        manager.bind(str(box.directory / "notify"))
        self.addCleanup(manager.close)
        box.start(NOTIFY_SOCKET=str(box.directory / "notify"))
        self.addCleanup(box.process.kill)
        self.assertEqual(manager.recv(99), b"READY=1")
        for name in ("video", "telemetry", "control", "commands"):
            with self.subTest(name), held_thread(box.process.pid, name):
                box.log.wait_for(f"no sign of life from the thread {name}")
                manager.setblocking(False)
                with self.assertRaises(BlockingIOError):
                    while True:  # what came before
                        self.assertEqual(manager.recv(99), b"WATCHDOG=1")
                clock = box.mirror["clock"]
                wait_until(lambda: box.mirror["clock"] != clock, "a further pass")
                self.assertRaises(BlockingIOError, manager.recv, 99)
            manager.settimeout(TIMEOUT)
            self.assertEqual(manager.recv(99), b"WATCHDOG=1")
        box.stop()
