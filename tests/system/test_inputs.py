"""What comes into the box or is made anew there: the transcoder, sound, a source, the screen."""

import contextlib
import os
import subprocess
import tempfile
import time
import unittest
from array import array
from pathlib import Path
from typing import Any

from box import LOOPBACK, Lines, Receiver, bound_ports, replace_file, wait_until, waiting_bytes
from players import DELIMITER, PROGRAMS, RATE, Sender, film, made_by_ffmpeg, needs_streams

PICTURES = ("-i", "testsrc2=size=640x360:rate=30:duration=2")
PARAMETERS = b"\0\0\0\1\x67"
WITHOUT_SCREEN = {name: value for name, value in os.environ.items() if "DISPLAY" not in name}
GRAY = ("-f", "rawvideo", "-pix_fmt", "gray")
TONE = ("-f", "lavfi", "-i", "sine=sample_rate=44100:duration=2")


class Arrivals(Receiver):
    """All datagrams that come to a port of the box."""

    @property
    def datagrams(self) -> list[bytes]:
        self.drain()
        return self.taken

    def pictures(self) -> int:
        return sum(len(DELIMITER.findall(it)) for it in self.datagrams)

    def await_pictures(self, count: int) -> bytes:
        """More, and without the last one, of which there may be more to come."""
        wait_until(lambda: self.pictures() > count, f"{count} pictures")
        data = b"".join(self.datagrams)
        return data[:[it.start() for it in DELIMITER.finditer(data)][-1]]


def probed(data: bytes, *entries: str) -> list[list[str]]:
    """Rows of what ffprobe decodes; its complaints fail."""
    done = subprocess.run(["ffprobe", "-v", "error", "-show_entries", "frame=" + ",".join(entries), "-of",
                           "compact=p=0:nk=1", "-"], input=data, capture_output=True, timeout=60, check=True)
    assert not done.stderr, done.stderr[-500:]
    return [line.split("|")[:len(entries)] for line in done.stdout.decode().splitlines() if line]


def converted(data: bytes, *options: str) -> bytes:
    return subprocess.run(["ffmpeg", "-v", "error", "-i", "-", *options, "-"], input=data, check=True,
                          capture_output=True, timeout=60).stdout


def slices(data: bytes) -> list[bytes]:
    return [it.rstrip(b"\0") for it in data.split(b"\0\0\1")[1:] if it[0] & 31 in (1, 5)]


def change(film: bytes, size: int) -> float:
    """The mean difference of a pixel from one second to the next."""
    return sum(abs(a - b) for a, b in zip(film[:size], film[RATE * size:])) / size


@needs_streams
class Inputs(unittest.TestCase):
    def setUp(self) -> None:
        self.home = Path(self.enterContext(tempfile.TemporaryDirectory(dir="/run")))

    def arrivals(self, port: int) -> Arrivals:
        arrivals = Arrivals(port)
        self.addCleanup(arrivals.close)
        return arrivals

    def settings(self, text: str) -> None:
        replace_file(self.home / "fieldrelaybox.conf", text)

    def begin(self, *command: str | Path, **options: Any) -> subprocess.Popen[bytes]:
        process = subprocess.Popen(command, cwd=self.home, env=WITHOUT_SCREEN, **options)
        for cleanup in (process.wait, process.terminate):
            self.addCleanup(cleanup)
        return process

    def launch(self, kind: str, source: str | None = None) -> Lines:
        config = self.home / "source.conf"
        config.write_text(source or "")
        options = [] if source is None else ["--config", config]
        process = self.begin(PROGRAMS / "stream", kind, *options, stderr=subprocess.PIPE)
        assert process.stderr
        log = Lines(process.stderr)
        for cleanup in (log.join, process.wait, process.terminate):  # the last one first
            self.addCleanup(cleanup)
        return log

    def check_datagrams(self, datagrams: list[bytes], most: int) -> None:
        self.assertLessEqual(max(map(len, datagrams)), most)
        mixed = [it for it in datagrams if any(match.start() for match in DELIMITER.finditer(it))]
        self.assertEqual(mixed, [], "the end of one picture and the beginning of the next")

    def transcode(self, width: int, height: int, count: int) -> bytes:
        """That many pictures of the transcoder with these settings."""
        self.settings(f"video_transcode_enabled=1\nvideo_width={width}\nvideo_height={height}\n"
                      "video_bitrate=800000\n")
        with contextlib.closing(Arrivals(3001)) as arrivals:
            data = arrivals.await_pictures(count)
            self.check_datagrams(arrivals.datagrams, 1400)
            return data

    def test_the_transcoder_makes_another_size_with_a_key_frame_a_second(self) -> None:
        sender = self.enterContext(Sender(3000))
        sender.film = film()
        self.launch("transcode")
        data = self.transcode(801, 600, 4 * RATE)
        self.assertAlmostEqual(len(data) * 8 / len(DELIMITER.findall(data)) * RATE, 800_000, delta=200_000)
        frames = probed(data, "width", "height", "pict_type")
        self.assertEqual({tuple(it[:2]) for it in frames}, {("800", "600")})
        kinds = "".join(it[2] for it in frames)
        self.assertNotIn("B", kinds)
        self.assertLessEqual(max(map(len, kinds.split("I"))), RATE + 5, kinds)
        self.assertIn(kinds.count("I"), range(4, 8), kinds)  # on a loaded machine pictures are left out
        gray = converted(data, *GRAY, "-frames:v", "1")
        self.assertLess(max(gray[:800 * 70]), 40, "the bar on top is not black")
        self.assertGreater(max(gray[800 * 80:800 * 90]), 80, "the picture is not where it belongs")

    def test_the_transcoder_outlives_loss_garbage_and_another_size(self) -> None:
        sender = self.enterContext(Sender(3000))
        sender.film = film()
        log = self.launch("transcode")
        self.transcode(320, 180, RATE)
        sender.loss = 0.2
        for _ in range(50):
            sender.datagrams(os.urandom(1300), 3000)
            time.sleep(0.01)
        sender.loss, sender.film = 0, film("320x240")
        data = self.transcode(320, 180, 3 * RATE)
        whole = data[data.rindex(PARAMETERS):]
        self.assertEqual(set(map(tuple, probed(whole, "width", "height"))), {("320", "180")})
        self.assertEqual(log.lines[log.wait_for("transcode: started"):], ["transcode: started"])

    def check_source(self, url: str, pictures: int, sound: int) -> bytes:
        """The film that comes. More than a file has, so it comes around again."""
        video, audio = self.arrivals(5000), self.arrivals(4001)
        self.launch("source", f"url={url}\n")
        data = video.await_pictures(pictures)
        self.assertEqual(probed(data, "width", "height"),
                         [["640", "360"]] * len(DELIMITER.findall(data)))
        self.assertGreater(change(converted(data, *GRAY), 640 * 360), 5, "the picture stands still")
        self.check_datagrams(video.datagrams, 1300)
        wait_until(lambda: len(audio.datagrams) >= sound, "sound")
        for frame in audio.datagrams:
            self.assertEqual((frame[:2], (frame[3] & 3) << 11 | frame[4] << 3 | frame[5] >> 5, sound > 0),
                             (b"\xff\xf1", len(frame), True), "not one ADTS frame")
        if sound:
            heard = array("h", converted(b"".join(audio.datagrams), "-f", "s16le"))
            self.assertGreater(max(heard), 2000, "silence")
        return data

    def film_file(self, name: str, *codecs: str) -> Path:
        path = self.home / name
        made_by_ffmpeg(*PICTURES, *TONE, "-pix_fmt", "yuvj420p", *codecs, "-y", str(path), "-f", "null")
        return path

    def test_the_test_picture(self) -> None:
        self.check_source("test:", 3 * RATE, 60)

    def test_a_file_is_passed_on_as_it_is_again_and_again(self) -> None:
        path = self.film_file("film.mp4", "-c:v", "libx264", "-bf", "0", "-slices", "4", "-c:a", "aac",
                              "-movflags", "+faststart")
        begun = time.monotonic()
        data = self.check_source(f"file://{path}", 3 * RATE, 100)
        self.assertGreater(time.monotonic() - begun, 2.5, "faster than it was filmed")
        filmed = slices(converted(path.read_bytes(), "-c", "copy", "-f", "h264")) * 2
        self.assertEqual(slices(data), filmed[:len(slices(data))])

    def test_a_file_of_other_formats_is_encoded(self) -> None:
        path = self.film_file("film.avi", "-c:v", "mjpeg", "-c:a", "pcm_s16le")
        self.check_source(f"file://{path}", 3 * RATE, 100)

    def test_a_file_without_sound(self) -> None:
        path = self.film_file("film.mkv", "-c:v", "mpeg4", "-an")
        self.check_source(f"file://{path}", 3 * RATE, 0)

    def test_a_transport_stream(self) -> None:
        path = self.film_file("film.ts", "-c:v", "libx264", "-tune", "zerolatency", "-c:a", "aac")
        self.begin("ffmpeg", "-v", "error", "-nostdin", "-stream_loop", "-1", "-re", "-i", path, "-c", "copy",
                   "-f", "mpegts", f"udp://{LOOPBACK}:7777?pkt_size=1316")
        self.check_source(f"udp://{LOOPBACK}:7777", 2 * RATE, 50)

    def test_a_server_of_rtsp_that_loses_its_power_and_comes_back(self) -> None:
        sender, video = self.enterContext(Sender(3005)), self.arrivals(5000)
        sender.film = film()
        cut = "add table inet off; add chain inet off in {type filter hook input priority 0;}; " \
              "add rule inet off in tcp dport 8554 drop; add rule inet off in tcp sport 8554 drop"
        self.launch("source", f"url=rtsp://{LOOPBACK}:8554/video\n")
        for power, seconds_off in (("", 13), ("delete table inet off", 0)):
            serving = self.begin(PROGRAMS / "rtsp-server")
            wait_until(lambda: 3005 in bound_ports(), "a server")
            start = video.pictures()
            subprocess.run(["nft", power], check=True)
            wait_until(lambda: video.pictures() > start, "pictures", 3.5)
            video.await_pictures(start + RATE)
            subprocess.run(["nft", cut], check=True)
            serving.kill()
            serving.wait()
            time.sleep(seconds_off)
        self.check_datagrams(video.datagrams, 1300)

    def test_sound_has_the_bit_rate_of_the_settings(self) -> None:
        audio = self.arrivals(4001)
        self.launch("sound", "sound=test:\n")
        for bits, channels in (8000, "1"), (256000, "2"):
            self.settings(f"audio_enabled=1\naudio_bitrate={bits}\n")
            new = len(audio.datagrams)

            def right() -> bool:
                last = audio.datagrams[new:][-94:]  # two seconds
                return len(last) == 94 and 0.8 < sum(len(it) - 7 for it in last) * 4 / bits < 1.2
            wait_until(right, f"two seconds of {bits} bit/s")
            self.assertEqual({it[0] for it in probed(b"".join(audio.datagrams[-20:]), "channels")},
                             {channels})

    def test_what_is_missing_or_impossible_is_told(self) -> None:
        self.settings("audio_enabled=1\nvideo_transcode_enabled=1\nvideo_width=8\nvideo_height=720\n")
        self.launch("transcode").wait_for(
            "transcode: no picture can be 8 x 720 pixels (video_width, video_height)")
        self.launch("sound").wait_for("sound: no USB sound card")
        self.launch("source", "url=gopher://camera/\n").wait_for(
            f"source: {self.home}/source.conf: no source can be opened as gopher")
        self.launch("player").wait_for("player: Could not open DRM module", whole=False)

    def test_the_player_decodes_the_newest_even_when_slow(self) -> None:
        self.settings("audio_enabled=0\n")
        printed = subprocess.check_output([PROGRAMS / "stream", "player", "--print"], cwd=self.home,
                                          env=WITHOUT_SCREEN, text=True)
        shown = self.home / "shown"
        sink = f"video/x-raw,format=GRAY8 ! filesink buffer-mode=unbuffered location={shown}"
        self.assertIn(" kmssink ", printed)
        sender = self.enterContext(Sender(6000))
        sender.film = film()
        slow = printed.replace("avdec_h264", "identity sleep-time=100000 ! avdec_h264")
        self.begin("sh", "-c", "exec env " + slow.replace("kmssink", sink))
        wait_until(lambda: shown.exists() and shown.stat().st_size > 2 * RATE * 640 * 360, "a film")
        self.assertLess(waiting_bytes()[6000], 100_000)
        self.assertGreater(change(shown.read_bytes(), 640 * 360), 5, "the picture stands still")
