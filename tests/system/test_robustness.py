"""Whatever arrives, the daemon answers afterwards and is no larger than before."""

import fcntl
import random
import time

from box import (FENCE, MEMORY_IS_ITS_OWN, PORTS, TIMEOUT, App, BoxTestCase, Camera, app_protocol, frames,
                 send, wait_until)
from fieldrelaybox.box_status import read_counts

GARBAGE_SECONDS = 2
FLOOD = 3000
MOST_WORKERS = 64
GROWTH_KILOBYTES = 4096


class Robustness(BoxTestCase):
    settings = "udp_enabled=1\nudp_clients=127.0.0.1:9,127.0.0.1:19\nrtmp_enabled=1\n"

    def setUp(self) -> None:
        with App() as app:
            app.message()
        wait_until(lambda: self.box.status["app_client_count"] == 0, "no app is left")
        self.note_idle_threads()
        descriptors = []
        wait_until(lambda: descriptors.append(self.box.descriptors()) or len(descriptors) > 50,
                   "a query of the Wi-Fi is over")
        self.before = (self.idle_threads, min(descriptors))

    def assert_steady(self) -> None:
        """Workers and children end; then everything is as it was and the box still works."""
        wait_until(lambda: (self.box.threads(), self.box.descriptors()) == self.before,
                   "threads and descriptors are as before")
        with App() as app:
            send(b"picture", 5000)
            app.message(lambda message: message.payload == b"picture")  # behind what is queued
            camera = self.camera()
            camera.stop_clock()
            app.record(bytes.fromhex("05000200000000"))

    def garbage(self, seed: int) -> None:
        source = random.Random(seed)
        control = [app_protocol.EMPTY_HEADER + bytes((code,)) for code in (0, 1, 2, 5)]
        starts = [b"", b"B", b"[", b"[1,2,3", b"B" + bytes(11) + b"{", *control,
                  app_protocol.EMPTY_HEADER + b'{"cmd":"', frames.header(25), frames.header(104)]
        harmful = (b"restart", b"reboot")
        with Camera(self.box) as camera:
            end = time.monotonic() + GARBAGE_SECONDS
            while time.monotonic() < end:
                size = source.choice((1, 2, 3, 14, 93, 300, 1500, 30000, 65000))
                data = (source.choice(starts) + source.randbytes(size))[:65000]
                if not any(word in data for word in harmful):
                    for port in PORTS:
                        send(data, port)
                camera.send_garbage()
                time.sleep(0.001)  # a sanitizer's box keeps up with this

    def test_garbage_at_every_port(self) -> None:
        self.garbage(1)
        resident = self.box.resident_kilobytes()
        self.garbage(2)
        if MEMORY_IS_ITS_OWN:
            self.assertLess(self.box.resident_kilobytes(), resident + GROWTH_KILOBYTES)
        self.finish_commands()
        wait_until(lambda: self.box.status["app_client_count"] > 0, "garbage apps are counted")
        wait_until(lambda: self.box.status["app_client_count"] == 0, "the last of them is gone")
        self.assert_steady()

    def test_a_log_that_nobody_reads(self) -> None:
        """Nobody waits for its reader; what is lost is counted and told, and all else is whole."""
        fcntl.fcntl(self.box.process.stderr, fcntl.F_SETPIPE_SZ, 4096)
        log, start = self.box.log, len(self.box.log.lines)
        log.reading.clear()
        self.box.fence()  # it stands still with this line
        for _ in range(30):
            send(b"[7" + bytes(400 * "x", "ascii"), app_protocol.PORT)
        for _ in range(40):
            self.box.fence()  # until there is no room for its short line either
        self.assertGreater(read_counts()["log_lines_lost"], 0)
        log.reading.set()

        def told() -> bool:  # without a further line
            told = [int(line.split()[0]) for line in log.lines[start:] if "nobody read" in line]
            return sum(told) == read_counts()["log_lines_lost"]
        wait_until(told, "what was lost is told")
        whole = {"test command [7" + 400 * "x", "test command " + FENCE.decode()}
        self.assertLessEqual({line for line in log.lines[start:] if "[7" in line}, whole)
    def test_empty_datagrams_hold_nobody_up(self) -> None:
        with App() as app, Camera(self.box, quiet=True) as camera:
            camera.connect()
            began = time.monotonic()
            for port in (3001, 4001, 5000):
                for datagram in (*[b""] * 100, b"real"):
                    send(datagram, port)
                app.message(lambda message: message.payload == b"real")
            for _ in range(3000):
                app.send(b"")
            self.box.fence()
            for _ in range(20):
                camera.send_raw(b"")
                camera.fence()
            self.assertLess(time.monotonic() - began, TIMEOUT / 4)

    def flood(self) -> int:
        """Thousands of commands that take a moment each; the most threads seen on the way."""
        most = 0
        with App() as app:
            for number in range(FLOOD):
                app.command(cmd="playback", param="next", value=str(number))
                if number % 20 == 0:
                    most = max(most, self.box.threads())
        wait_until(lambda: self.box.threads() == self.before[0], "all workers have ended")
        return most

    def test_a_command_flood_is_bounded(self) -> None:
        most = self.flood()
        self.assertGreater(most, self.before[0])
        # A worker's place is free a moment before its thread is gone, a long one on a busy machine.
        self.assertLessEqual(most, self.before[0] + 5 * MOST_WORKERS)
        resident, start = self.box.resident_kilobytes(), len(self.box.log.lines)
        self.flood()
        if MEMORY_IS_ITS_OWN:
            self.assertLess(self.box.resident_kilobytes(), resident + GROWTH_KILOBYTES)
        told = [line for line in self.box.log.lines[start:] if "dropped" in line]
        self.assertTrue(1 <= len(told) <= 20, told)
        self.assert_steady()
