"""rtsp-server with real players."""

import contextlib
import os
import random
import signal
import socket
import subprocess
import time
import unittest
from pathlib import Path

from box import LOOPBACK, TIMEOUT, bound_ports, run, wait_until
from players import CAMERA_GAP, PROGRAMS, RETURN, Player, Sender, film, needs_streams

PICTURE_PORT, PORT = 3005, 8554
SLOW_EXIT = PROGRAMS / "tests" / "libslow_exit.so"
ADDRESS = f"rtsp://{LOOPBACK}:{PORT}/video"
SMALL, LARGE = (640, 360), (1280, 720)


def player(transport: str) -> Player:
    """One that shows everything from the first packet on, broken pictures too."""
    return Player(ADDRESS, "-rtsp_transport", transport, "-fflags", "-nobuffer", "-flags", "output_corrupt")


def stuck_player() -> socket.socket:
    """Plays over TCP, and reads nothing of what comes."""
    connection = socket.create_connection((LOOPBACK, PORT), TIMEOUT)
    session = ""
    for request, header in (("SETUP", "Transport: RTP/AVP/TCP;interleaved=0-1"), ("PLAY", "Session: {}")):
        place = "/stream=0" if request == "SETUP" else ""
        text = f"{request} {ADDRESS}{place} RTSP/1.0\r\nCSeq: 1\r\n{header.format(session)}\r\n\r\n"
        connection.sendall(text.encode())
        answer = connection.recv(4096).decode(errors="replace")  # pictures may follow
        session = answer.partition("Session: ")[2].split("\r")[0].split(";")[0]
        assert answer.startswith("RTSP/1.0 200 "), answer
    return connection


@needs_streams
class Rtsp(unittest.TestCase):
    def setUp(self) -> None:
        random.seed(1)
        self.addCleanup(self.end_server)
        self.start_server()
        self.sender = self.enterContext(Sender(PICTURE_PORT))

    def start_server(self, **environment: str) -> None:
        self.server = subprocess.Popen([PROGRAMS / "rtsp-server"], env={**os.environ, **environment})
        wait_until(lambda: PICTURE_PORT in bound_ports(), "the server reads its port")

    def end_server(self) -> None:
        self.server.send_signal(signal.SIGTERM)
        try:
            self.assertEqual(self.server.wait(TIMEOUT), 0)
        finally:
            self.server.kill()
            self.server.wait()

    def of_server(self, what: str) -> int:
        """A figure of its status: threads, or kB."""
        self.assertIsNone(self.server.poll(), "the server runs")
        rows = Path(f"/proc/{self.server.pid}/status").read_text().splitlines()
        return next(int(row.split()[1]) for row in rows if row.startswith(what))

    def test_every_player_begins_with_a_whole_picture(self) -> None:
        self.sender.film = film(slices=4)
        with contextlib.ExitStack() as players:
            for transport in ("tcp", "udp", "tcp", "udp"):
                playing = players.enter_context(player(transport))
                playing.await_frames("video", random.randrange(35, 65), *SMALL)
                self.assertEqual(playing.frames("video")[0], [1, *SMALL])
                self.assertEqual(playing.errors.lines, [])

    def test_players_stay_through_gaps_garbage_and_a_new_resolution(self) -> None:
        with player("tcp") as first, player("udp") as second:  # before there is any picture
            wait_until(lambda: self.of_server("Threads:") > 12, "both have come")
            self.sender.film = film()
            for each in (first, second):
                each.await_frames("video", 30, *SMALL)
            self.sender.film = [], 10
            time.sleep(CAMERA_GAP)
            for size in range(200):  # the second kind ends a stream and goes on
                self.sender.datagrams(random.randbytes(1300), PICTURE_PORT)
                self.sender.datagrams(b"\0\0\0\1\x0b" + bytes([7]) * size, PICTURE_PORT)
            self.sender.film = film("1280x720")
            for each in (first, second):
                each.await_frames("video", 1, *LARGE, timeout=RETURN)
                each.await_frames("video", 30, *LARGE)
            self.sender.loss = 0.2
            first.await_frames("video", 30)

    def test_neither_a_stuck_nor_a_vanished_player_costs_the_others_anything(self) -> None:
        units, rate = film("1280x720")
        self.sender.film = units, 10 * rate
        with player("tcp") as other:
            other.await_frames("video", 30)
            threads, memory = self.of_server("Threads:"), self.of_server("VmRSS:")
            with stuck_player():
                other.await_frames("video", 900)
                self.assertLess(self.of_server("VmRSS:"), memory + 6000)
            with player("udp") as vanishing:
                vanishing.await_frames("video", 1)
            for _ in range(30):  # more than may be there at once
                stuck_player().close()
            wait_until(lambda: self.of_server("Threads:") <= threads, "both are forgotten")

    def test_players_that_leave_at_its_end_do_not_make_it_crash(self) -> None:
        self.sender.film = film()
        for _ in range(3):
            self.end_server()
            self.start_server(LD_PRELOAD=str(SLOW_EXIT), MALLOC_PERTURB_="165")
            for leaving in [stuck_player() for _ in range(20)]:
                leaving.close()

    def test_what_cannot_be_had_is_told(self) -> None:
        taken = "Address already in use\n"
        for arguments, port in (([], PORT), (["--port", "8555"], PICTURE_PORT)):
            status, _, errors = run(PROGRAMS / "rtsp-server", *arguments)
            self.assertEqual(status, 1)
            self.assertRegex(errors, f"ERROR: port {port}: .*{taken}")
