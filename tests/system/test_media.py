"""The media relay: who gets which datagram, in which order, unchanged."""

import os
import socket
import struct
import subprocess
import time
import unittest

from box import (IP_FORWARD, RUNNER, App, BoxTestCase, Receiver, app_protocol, repeated,
                 send, wait_until)
from fieldrelaybox.box_status import read_counts

VIDEO_IN, AUDIO_IN, TRANSCODED_IN = 5000, 4001, 3001
VIDEO_OUT = (3002, 3003, 3004, 3005)
AUDIO_OUT = (4002, 4003, 4004)
TRANSCODER, PLAYER = 3000, 6000
ENCODERS = "".join(f"{name}_enabled=1\n" for name in ("rtmp", "mpegts", "tcp", "rtsp"))

# Loopback keeps the order of datagrams on one processor only: a sender that moves to another in
# between can be overtaken by itself.
os.sched_setaffinity(0, {min(os.sched_getaffinity(0))})


class FanOut(BoxTestCase):
    # Nobody listens at 7300; 7400 is the same program twice; the others are skipped.
    settings = ENCODERS + ("udp_enabled=1\nudp_clients=127.0.0.1:7100,localhost:7150,127.0.0.1:7200,"
                           "127.0.0.1:65535,127.0.0.1:7300,127.0.0.1,127.0.0.1:7200\n")

    def receivers(self, *ports: int) -> list[Receiver]:
        return [self.receiver(port) for port in ports]

    def assert_relayed(self, app: App, kind: int, port: int, outputs: list[Receiver],
                       payload: bytes) -> None:
        send(payload, port)
        message = app.message(lambda message: message.kind == kind)
        self.assertEqual(message.payload, payload)
        self.assertEqual(app.sender[1], app_protocol.PORT)
        arrivals = [app.arrival]
        for output in outputs:
            self.assertEqual(output.receive(), payload)
            arrivals.append(output.arrival)
        self.assertEqual(arrivals, sorted(arrivals))

    def test_video_and_audio_reach_everyone_in_order(self) -> None:
        app, data_app = self.app(), self.app(data_only=True)
        first, second = self.receivers(7100, 7200)
        video = [first, second, second, *self.receivers(*VIDEO_OUT)]
        second_audio = self.receiver(7201)
        audio = [self.receiver(7101), second_audio, second_audio, *self.receivers(*AUDIO_OUT)]
        no_audio = self.receivers(4005, 3000, PLAYER, 30000)
        for size in (1, 12, 1316, 9999, 30000, 60000):
            with self.subTest(size=size):
                self.assert_relayed(app, app_protocol.VIDEO, VIDEO_IN, video, os.urandom(size))
                if size <= 30000:
                    self.assert_relayed(app, app_protocol.AUDIO, AUDIO_IN, audio, os.urandom(size))
        transcoded = os.urandom(10000)
        self.assert_relayed(app, app_protocol.VIDEO, TRANSCODED_IN, video, transcoded)
        for receiver in (*video, *audio, *no_audio):
            self.assertEqual(receiver.drain(), [])
        self.assertFalse([data for data in data_app.drain() if data[1] != app_protocol.RECORD])

    def test_local_player_follows_the_app(self) -> None:
        app, (player, last) = self.app(), self.receivers(PLAYER, VIDEO_OUT[-1])
        for on in (False, True, False):
            app.send(app_protocol.local_video(on))
            self.box.fence()
            for payload in (b"one", b"two", b"end"):  # at "end", the others are done
                send(payload, VIDEO_IN)
                self.assertEqual(last.receive(), payload)
            got = [payload for payload in player.drain() if payload != b"end"]
            self.assertEqual(got, [b"one", b"two"] if on else [])


class SlowNetwork(BoxTestCase):
    """An app and a client behind a link of 64 kbit/s; the box gets its address there only later."""

    settings = ENCODERS + ("udp_enabled=1\nudp_clients=10.7.0.1:4242,127.0.0.1:4999,0.0.0.0:5001,"
                           "10.7.0.2:7300,127.0.0.1:7100\n")

    @classmethod
    def setUpClass(cls) -> None:
        super().setUpClass()
        for command in ("link add slow type veth peer name far", "link set far up",
                        "link set slow up", "address add 10.7.0.1/24 dev slow",
                        "neigh add 10.7.0.2 lladdr 02:00:00:00:00:02 dev slow"):
            subprocess.run(["ip", *command.split()], check=True)
        limits = "root tbf rate 64kbit burst 2000 limit 100000000"
        subprocess.run(["tc", "qdisc", "add", "dev", "slow", *limits.split()], check=True)

    def register_slow_app(self) -> None:
        datagram = app_protocol.register(False)
        with socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_RAW) as raw:
            raw.sendto(struct.pack(">BxHHxxBBxx4s4sHHHxx", 0x45, 28 + len(datagram), 0, 64,
                                   socket.IPPROTO_UDP, bytes((10, 7, 0, 2)), bytes((10, 7, 0, 1)),
                                   7000, app_protocol.PORT, 8 + len(datagram)) + datagram,
                       ("10.7.0.1", 0))

    @unittest.skipIf(RUNNER, "an emulator does not know the socket option that this needs")
    def test_a_slow_app_and_a_slow_client_cost_the_others_nothing(self) -> None:
        self.register_slow_app()
        self.box.log.wait_for("client connected from 10.7.0.2:7000", whole=False)
        app, others = self.app(), [self.receiver(7100), self.receiver(3002)]
        began = time.monotonic()
        for number in range(1000):
            picture = struct.pack("<I", number) + bytes(40_000)
            send(picture, VIDEO_IN)
            self.assertEqual(app.payload(app_protocol.VIDEO), picture)
            for other in others:
                self.assertEqual(other.receive(), picture)
            if number % 50 == 0:
                self.register_slow_app()
        self.enterContext(App())  # whose registration is answered
        self.assertLess(time.monotonic() - began, 10)
        for kind in ("apps", "udp_clients"):
            slow = next(it["sent"] for it in read_counts()[kind] if it["address"] == "10.7.0.2")
            self.assertGreater(slow["blocked"], 0)  # all that may wait for it does

    def test_own_ports_get_no_media_and_stay_own(self) -> None:
        for client in ("10.7.0.1:4242", "127.0.0.1:4999", "0.0.0.0:5001"):
            self.box.log.wait_for(f'UDP client "{client}" skipped: the box itself receives there')
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as thief:
            thief.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEPORT, 1)
            self.assertRaises(OSError, thief.bind, ("", app_protocol.PORT))
        subprocess.run("ip address del 10.7.0.1/24 dev slow".split(), check=True)
        wait_until(lambda: "10.7.0.1" in [it["address"] for it in read_counts()["udp_clients"]],
                   "it is another's now")


class Transcoding(BoxTestCase):
    settings = ENCODERS + "video_transcode_enabled=1\n"

    def test_video_goes_by_way_of_the_transcoder(self) -> None:
        app, transcoder, encoder = self.app(), self.receiver(TRANSCODER), self.receiver(3002)
        send(b"camera picture", VIDEO_IN)
        self.assertEqual(transcoder.receive(), b"camera picture")
        send(b"smaller picture", TRANSCODED_IN)
        self.assertEqual(app.payload(app_protocol.VIDEO), b"smaller picture")
        self.assertEqual(encoder.receive(), b"smaller picture")
        self.assertEqual(transcoder.drain(), [])


class VideoLink(BoxTestCase):
    settings = ""

    def test_connection_and_silence(self) -> None:
        app, forwarded = self.app(), IP_FORWARD.read_text
        app.record(bytes.fromhex("05010000000000"))
        self.assertEqual(self.box.status["video_status"], "video disconnected")
        start = len(self.box.log.lines)
        IP_FORWARD.write_text("1")
        with repeated(lambda: send(b"picture", VIDEO_IN), 0.1):
            self.box.log.wait_for("video connected", start)
            wait_until(lambda: forwarded() == "0\n", "forwarding goes off")
            app.record(bytes.fromhex("05010200000000"))
            app.record(bytes.fromhex("06110100000000"))
            self.assertEqual(self.box.status["video_connected"], 1)
            self.assertEqual(self.box.status["video_status"], "")
            wait_until(lambda: self.box.mirror["video_connected"], "the record follows")
            self.assertNotIn("video disconnected", self.box.log.lines)
        app.drain()
        app.record(bytes.fromhex("05010000000000"))
        app.record(bytes.fromhex("06010100000000"))
        wait_until(lambda: forwarded() == "1\n", "forwarding comes back")
        self.assertEqual(self.box.status["video_connected"], 0)
        self.assertEqual(self.box.status["video_status"], "video disconnected")
        app.drain()
        app.record(bytes.fromhex("05010000000000"))  # a pass later
        told = [line for line in self.box.log.lines[start:] if line.startswith("video ")]
        self.assertEqual(told, ["video connected", "video disconnected"])
