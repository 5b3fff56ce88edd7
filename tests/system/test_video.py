"""Real H.264 video from ffmpeg through the box to the client, decoded without errors."""

import shutil
import subprocess
import sys

from box import TOOLS, BoxTestCase

SECONDS, RATE = 3, 10
TEST_PICTURE = ("-re", "-f", "lavfi", "-i", f"testsrc2=size=320x240:rate={RATE}:duration={SECONDS}",
                "-c:v", "libx264", "-preset", "ultrafast", "-tune", "zerolatency", "-g", str(RATE))


class Video(BoxTestCase):
    def test_video_reaches_the_client_and_decodes(self) -> None:
        if not (shutil.which("ffmpeg") and shutil.which("ffprobe")):
            self.skipTest("ffmpeg is not installed")
        film = self.box.directory / "film.h264"
        client = subprocess.Popen([sys.executable, "-B", str(TOOLS / "box_client.py"), "--host",
                                   "127.0.0.1", "--video", str(film)], stdout=subprocess.DEVNULL)
        try:
            self.box.log.wait_for("client connected from 127.0.0.1:", whole=False)
            subprocess.run(["ffmpeg", "-v", "error", "-nostdin", *TEST_PICTURE, "-f", "h264",
                            "udp://127.0.0.1:5000?pkt_size=1316"], check=True, timeout=60)
        finally:
            client.terminate()
            self.assertEqual(client.wait(10), 0)
        probe = subprocess.run(
            ["ffprobe", "-v", "error", "-count_frames", "-show_entries",
             "stream=codec_name,width,height,nb_read_frames", "-of", "csv=p=0", str(film)],
            capture_output=True, text=True, check=True, timeout=60)
        self.assertEqual(probe.stderr, "")
        self.assertEqual(probe.stdout.strip(), f"h264,320,240,{SECONDS * RATE}")
