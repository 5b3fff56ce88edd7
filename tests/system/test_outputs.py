"""The outputs rtmp, mpegts and tcp with real players and a real streaming server."""

import contextlib
import os
import random
import socket
import subprocess
import time
import unittest
from pathlib import Path
from typing import Iterator

from box import LOOPBACK, TIMEOUT, Receiver, send, wait_until
from players import (CAMERA_GAP, DATAGRAM, NOTHING, PROGRAMS, RATE, RETURN, SLACK, Player, Sender, Stream,
                     film, needs_streams, streaming_server, tune)

TCP = "tcp_enabled=1\ntcp_port=8555\n"
TCP_ADDRESS = f"tcp://{LOOPBACK}:8555"
RTMP_ADDRESS = f"rtmp://{LOOPBACK}/live/key"
OWN_ELEMENTS = {"PATH": os.defpath, "GST_PLUGIN_PATH": str(PROGRAMS / "gstreamer-1.0")}
PACKET = 188
ESTABLISHED, LISTENING = "01", "0A"  # in /proc/net/tcp


@contextlib.contextmanager
def showing(address: str) -> Iterator[Player]:
    """A player that shows a picture. One that comes before there is anything to play ends."""
    shown = False
    while not shown:
        with Player(address) as player:
            wait_until(lambda: player.frames("video") or player.process.poll() is not None, "player")
            if shown := bool(player.frames("video")):
                yield player


def sockets(port: int, state: str) -> int:
    """Of the box, at this TCP port."""
    rows = "".join(Path(f"/proc/net/{name}").read_text() for name in ("tcp", "tcp6")).splitlines()
    return sum(row.split()[1].endswith(f":{port:04X}") and row.split()[3] == state for row in rows)


@needs_streams
class Outputs(unittest.TestCase):
    def sender(self, film_port: int) -> Sender:
        sender = self.enterContext(Sender(film_port, film_port + 1000))
        sender.film, sender.tune = film(), tune()
        return sender

    def test_settings_that_cannot_be_are_told(self) -> None:
        for kind, settings, line in (
                ("tcp", "tcp_enabled=1\ntcp_port=65536\n", "tcp_port is no port"),
                ("rtmp", 'rtmp_enabled=1\nrtmp_url="rtmp://host/live"\n', "rtmp_url is no rtmp address"),
                ("rtmp", 'rtmp_enabled=1\nrtmp_url="rtmp://host.invalid/a/b"\n', "Failed to connect: Error"),
                ("mpegts", "mpegts_enabled=1\nmpegts_clients=\n", "mpegts_clients names no receiver"),
                ("mpegts", f"mpegts_enabled=1\nmpegts_clients=nobody,{LOOPBACK}:5000,{LOOPBACK}:9\n",
                 f"mpegts_clients leaves out nobody: no address:port, {LOOPBACK}:5000: an input of the box"),
                ("mpegts", f"mpegts_enabled=1\nmpegts_clients={LOOPBACK}:3004\n",
                 f"mpegts_clients names no receiver but {LOOPBACK}:3004: an input of the box")):
            with self.subTest(line), Stream(kind, settings) as stream:
                stream.log.wait_for(f"{kind}: {line}", whole=False)

    def test_tcp_players_come_early_and_late_and_read_slowly(self) -> None:
        stream, sender = self.enterContext(Stream("tcp", TCP)), self.sender(3004)
        wait_until(lambda: sockets(8555, LISTENING), "somebody listens")
        first = self.enterContext(Player(TCP_ADDRESS))
        self.enterContext(socket.create_connection(("::1", 8555)))  # and never reads
        sender.film, sender.tune = film(slices=4), tune(44100, 1)
        first.await_frames("video", 40, 640, 360)
        late = self.enterContext(Player(TCP_ADDRESS))
        late.await_frames("audio", 40, 2)
        units, rate = film()
        burst = b"\0\0\0\1\x0c" + 100 * DATAGRAM * b"\xff" + b"\x80"  # filler behind each picture
        sender.film = [unit + burst for unit in units], rate
        wait_until(lambda: sockets(8555, ESTABLISHED) == 2, "who does not read is cut off")
        sender.film = film("320x240")
        for player in (first, late):
            player.await_frames("video", 40, 320, 240)
            self.assertEqual((player.frames("video")[0], player.errors.lines), ([1, 640, 360], []))
        sender.loss = 0.2
        for _ in range(300):
            for port, data, head in ((3004, units[0], 0), (4004, tune()[0][0], 7)):
                send(data[:random.randrange(len(data))], port)
                send(data[:head] + random.randbytes(len(data) - head if head else 1300), port)
        first.await_frames("audio", 40)
        sender.film = sender.tune = NOTHING
        time.sleep(CAMERA_GAP)
        sender.loss, sender.film, sender.tune = 0, film(), tune()
        for kind in ("video", "audio"):
            first.await_frames(kind, 1, timeout=RETURN)
        first.await_frames("video", 40, 640, 360)
        self.assertEqual(stream.log.lines, ["tcp: started"])
        for settings, port, timeout in ((TCP.replace("8555", "8556"), 8556, 2), ("tcp_enabled=0\n", 0, 1)):
            stream.settings.write_text(settings)
            wait_until(lambda: (not sockets(8555, LISTENING), sockets(8556, LISTENING)) == (True, port > 0),
                       settings, timeout + SLACK)

    def test_what_is_no_unit_stays_away_from_parsers(self) -> None:
        units, large = film()[0], b"\0\0\1\x01" + 600_000 * b"\7"
        Path("/run/in").write_bytes(b"\7" * 9 + units[0] + b"\0\0\1\x0b\7\7\0\0\1" + units[1] + large
                                    + units[2] + b"\0\0\1\x0a")
        for size in (1, 3, 1300):  # start codes lie across borders
            pipeline = f"filesrc location=/run/in blocksize={size} ! h264units ! filesink location=/run/out"
            subprocess.run(["gst-launch-1.0", "-q", *pipeline.split()], env=OWN_ELEMENTS, check=True,
                           timeout=TIMEOUT)
            passed = Path("/run/out").read_bytes()
            first, last = units[0][1:] + units[1][1:], units[2][1:]
            length = len(passed) - len(first + last)
            self.assertTrue(passed == first + large[:length] + last and 400_000 < length <= 500_000, size)

    def test_mpegts_datagrams(self) -> None:
        """A receiver that is not there is in front of the one that is."""
        receiver = Receiver()
        self.addCleanup(receiver.close)
        clients = f"{LOOPBACK}:9,{LOOPBACK}:{receiver.port}"
        self.enterContext(Stream("mpegts", f"mpegts_enabled=1\nmpegts_clients={clients}\n"))
        units, rate = film()
        middle = units[RATE][units[RATE].index(b"\1\x65") - 3:]  # a key frame without its parameter sets
        self.sender(3003).film = [*units[:RATE], middle, *units[RATE + 1:]], rate
        starts = []
        while sum(key for _, key, _ in starts) < 4:
            data = receiver.receive()
            self.assertEqual((len(data) % PACKET, len(data) <= 7 * PACKET), (0, True))
            packets = [data[at:at + PACKET] for at in range(0, len(data), PACKET)]
            pictures = [packet for packet in packets if packet[1:3] in (b"\x40\x41", b"\x00\x41")]
            starts += [(at, packet[3] & 0x20 and packet[5] & 0x40 != 0, packet)
                       for at, packet in enumerate(pictures) if packet[1] & 0x40]
        self.assertEqual({at for at, _, _ in starts}, {0}, "a picture waited for the next")
        self.assertTrue(all(b"\0\0\0\1\x67" in packet for _, key, packet in starts if key))
        heads = [data[at + 1:at + 3] for data in receiver.taken for at in range(0, len(data), PACKET)]
        for table in (b"\x40\x00", b"\x40\x20"):
            self.assertGreaterEqual(heads.count(table) * RATE, len(starts), "of tables, one a second")
        recorded = Path("/run/recorded.ts")
        recorded.write_bytes(b"".join(receiver.taken[:-1]))  # up to the last picture's begin
        with Player(str(recorded)) as player:
            player.process.wait(TIMEOUT)
            self.assertGreaterEqual(len(player.frames("video")), 3 * RATE)
            self.assertEqual((player.frames("audio")[0], player.errors.lines), ([1, 2], []))

    def test_rtmp_server_comes_and_goes(self) -> None:
        stream = self.enterContext(Stream("rtmp", f'rtmp_enabled=1\nrtmp_url="{RTMP_ADDRESS}"\n'))
        stream.log.wait_for("rtmp: Connection refused", whole=False)
        sender = self.sender(3002)
        sender.tune = NOTHING
        for _ in range(2):
            start = time.monotonic()
            with streaming_server(), showing(RTMP_ADDRESS) as player:
                self.assertLess(time.monotonic() - start, 10 + SLACK)
                player.await_frames("video", 40, 640, 360)
                player.await_frames("audio", 40, 2)
                sender.film = film("320x240")
                player.await_frames("video", 40, 320, 240)
                sender.film = NOTHING
                player.await_frames("audio", 100)  # the sound alone
                sender.film = film()
                player.await_frames("video", 40, 640, 360)
                self.assertEqual(player.errors.lines, [])

    def test_a_dead_connection_is_ended(self) -> None:
        with socket.create_server((LOOPBACK, 0)) as server:  # takes it and reads nothing
            place = f"host={LOOPBACK} port={server.getsockname()[1]}"
            sink = f"videotestsrc ! tcptimeout timeout=300 ! tcpclientsink {place}"
            command = subprocess.run(["gst-launch-1.0", *sink.split()], capture_output=True, text=True,
                                     env=OWN_ELEMENTS, timeout=TIMEOUT, check=False)
        self.assertIn("timed out", command.stderr)
