"""Video that comes in bursts: every copy of every size, in order, whichever way the box takes."""

import ctypes
import fcntl
import os
import random
import signal
import struct
import subprocess
import time
from collections import Counter
from pathlib import Path
from unittest.mock import patch

from box import App, BoxTestCase, app_protocol, send, wait_until
from fieldrelaybox.box_status import read_counts

VIDEO_IN, TRANSCODED_IN, AUDIO_IN = 5000, 3001, 4001
ENCODERS = 3002, 3003, 3004  # and nobody at 3005
SIZES = ([1300] * 100, [1300] * 20 + [7] + [1300] * 20 + [1299, 1300, 0, 1300] + [8] * 3,
         [60_000] * 3 + [59_999, 60_000, 7], [30_000] * 5 + [20_000, 7, 9000, 9000, 9001, 12],
         random.Random(7).choices((7, 12, 13, 700, 1300, 1301, 2600), k=90))
"""Of the datagrams in each burst; it fits into the smallest receive buffer."""
SIOCETHTOOL, OFFLOADS = 0x8946, (0x17, 0x19, 0x24)  # check sums, pieces, segments

os.sched_setaffinity(0, {min(os.sched_getaffinity(0))})  # a sender that moves overtakes itself


def sent_messages() -> int:
    """What the namespace has sent; datagrams that the kernel cut out of one message count once."""
    names, values = (line.split() for line in Path("/proc/net/snmp").read_text().splitlines()
                     if line.startswith("Udp:"))
    return int(values[names.index("OutDatagrams")])


def is_media(message: app_protocol.Message) -> bool:
    return message.kind != app_protocol.RECORD


class Burst(BoxTestCase):
    settings = "".join(f"{name}_enabled=1\n" for name in ("rtmp", "mpegts", "tcp", "rtsp"))

    source, ports = VIDEO_IN, ENCODERS
    sounds = 0  # beside each burst

    def relay(self, sizes: list[int], *apps: App) -> int:
        """Sends a burst, compares all copies and their counts; how many messages they took."""
        receivers = {port: self.receiver(port) for port in self.ports}
        counts = self.counts()
        burst = [os.urandom(size) for size in sizes]
        self.box.process.send_signal(signal.SIGSTOP)
        os.waitid(os.P_PID, self.box.process.pid, os.WSTOPPED)
        sounds = [os.urandom(9) for _ in range(self.sounds)]
        for datagram in burst:
            send(datagram, self.source)
        before, sent = sent_messages(), [datagram for datagram in burst if datagram]
        self.box.process.send_signal(signal.SIGCONT)
        for sound in sounds:
            send(sound, AUDIO_IN)
            time.sleep(5e-5)
        for app in apps:
            wanted = [] if app.data_only else sent + sounds
            messages = [app.message(is_media) for _ in wanted]
            by_kind = sorted(messages, key=lambda message: message.kind)
            self.assertEqual([message.payload for message in by_kind], wanted)
            numbers = [message.sequence for message in messages]
            self.assertEqual(numbers, sorted(set(numbers)))
        for receiver in receivers.values():
            self.assertEqual([receiver.receive() for _ in sent], sent)
        wanted = Counter(dict.fromkeys((*ENCODERS, 3005), len(sent)))  # counted behind the sending
        wait_until(lambda: self.counts() - counts == wanted, "all copies are counted")
        self.box.fence()
        for app in apps:
            rest = filter(None, map(app_protocol.parse_message, app.drain()))
            self.assertFalse(any(map(is_media, rest)))
        for receiver in receivers.values():
            self.assertEqual(receiver.drain(), [])
            receiver.close()
        return sent_messages() - before

    def relay_all(self, *apps: App) -> int:
        return [self.relay(sizes, *apps) for sizes in SIZES][0]


    @staticmethod
    def counts() -> Counter[int]:
        """Of datagrams sent, by port."""
        counts = read_counts()
        names = zip((*ENCODERS, 3005), ("rtmp", "mpegts", "tcp", "rtsp"))
        return Counter({port: counts[f"{name}_video_out"]["datagrams"] for port, name in names})


class Segments(Burst):
    def test_a_message_for_each_receiver_and_run(self) -> None:
        apps = self.app(), self.app(), self.app(data_only=True)
        self.assertLess(self.relay_all(*apps), 100)  # for 600 copies
        for _ in range(20):
            self.relay([1300], *apps)
        self.assertLess(self.relay(SIZES[0], *apps), 200)  # alone at first

    def test_only_the_app_whose_way_refuses_them_gets_a_message_each(self) -> None:
        far = subprocess.Popen(["unshare", "--net", "sleep", "inf"])
        self.addCleanup(far.wait)
        self.addCleanup(far.kill)
        networks = [f"/proc/{who}/ns/net" for who in ("self", far.pid)]
        wait_until(lambda: not os.path.samefile(*networks), "there is another network")
        there = f"nsenter -t {far.pid} -n "
        for command in (f"ip link add near mtu 1000 type veth peer name far netns {far.pid}",
                        "ip address add 10.7.0.1/24 dev near", "ip link set near up",
                        there + "ip address add 10.7.0.2/24 dev far", there + "ip link set far up"):
            subprocess.run(command.split(), check=True)
        for ethtool_command in OFFLOADS:
            value = ctypes.create_string_buffer(struct.pack("II", ethtool_command, 0))
            request = struct.pack("16sP16x", b"near", ctypes.addressof(value))
            fcntl.ioctl(self.receiver(0).socket, SIOCETHTOOL, request)
        own, other = (os.open(path, os.O_RDONLY) for path in networks)
        set_network = ctypes.CDLL(None).setns
        self.assertEqual(set_network(other, 0), 0)
        try:
            far_app = self.enterContext(App(address="10.7.0.2", box_address="10.7.0.1"))
        finally:
            set_network(own, 0)
        count = self.relay_all(self.app(), far_app)
        for thread in Path(f"/proc/{self.box.process.pid}/task").iterdir():
            if (thread / "comm").read_text() == "video\n":  # sounds get between its sends
                os.sched_setscheduler(int(thread.name), os.SCHED_IDLE, os.sched_param(0))
        self.sounds = 30
        for _ in range(5):
            self.relay(SIZES[0], self.app(), far_app)
        self.assertTrue(100 <= count < 200, count)


class Refused(Burst):
    def test_every_way_refuses_them(self) -> None:
        subprocess.run("ip link set lo mtu 1000".split(), check=True)
        for sizes in SIZES[:2]:
            self.assertGreaterEqual(self.relay(sizes, self.app()), 5 * len(sizes) - 5)


class Transcoded(Burst):
    source = TRANSCODED_IN
    settings = Burst.settings + "video_transcode_enabled=1\n"

    def test_what_comes_back_goes_on_as_segments(self) -> None:
        self.assertLess(self.relay([1300] * 60, self.app()), 60)  # for 300 copies


class BesideUdpClients(Burst):
    ports = (*ENCODERS, 7000)
    settings = Burst.settings + "udp_enabled=1\nudp_clients=127.0.0.1:7000\n"

    def test_a_message_for_each_copy(self) -> None:
        self.assertGreaterEqual(self.relay_all(self.app()), 600)


class SwitchedOff(Burst):
    def test_a_message_for_each_copy(self) -> None:
        self.assertGreaterEqual(self.relay_all(self.app(), self.app()), 600)

    @classmethod
    def setUpClass(cls) -> None:
        with patch.dict(os.environ, FIELDRELAYBOX_SEGMENTS="off"):
            super().setUpClass()
