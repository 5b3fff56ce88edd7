"""Streams and panel: up with the box, and back when they, or the daemon, are killed."""

import unittest

from installed import SERVICE, InstalledBox
from machine import NATIVE

CLIP = ("gst-launch-1.0 -q videotestsrc num-buffers=100 ! video/x-raw,width=160,height=120,framerate=10/1 ! "
        "x264enc key-int-max=10 bframes=0 speed-preset=ultrafast ! h264parse ! mp4mux ! filesink location=/srv/clip.mp4")
PICTURE = "[ $(timeout 20 head -c 20000 </dev/tcp/127.0.0.1/8500 | wc -c) = 20000 ]"
ASK = "exec 3<>/dev/tcp/127.0.0.1/%d && printf '%s\\r\\n\\r\\n' >&3 && head -n 1 <&3 | grep ' 200 '"
PAGE = ASK % (80, "GET / HTTP/1.0\\r\\nHost: 127.0.0.1")
RTSP = ASK % (8554, "OPTIONS * RTSP/1.0\\r\\nCSeq: 1")
SERVES = {"fieldrelaybox-stream@source": PICTURE, "fieldrelaybox-stream@tcp": PICTURE, "fieldrelaybox-stream@rtsp": RTSP,
          "fieldrelaybox-panel": PAGE, SERVICE: PICTURE}


class Streams(unittest.TestCase):
    def test_killed(self) -> None:
        with InstalledBox(system=f"{NATIVE}-streams") as box:
            box.run(f"{CLIP} && echo url=file:///srv/clip.mp4 >/etc/fieldrelaybox/source.conf")
            for name, value in {"tcp_port": "8500", "tcp_enabled": "on", "rtsp_enabled": "on"}.items():
                box.set(name, value)
            for serves in SERVES.values():
                box.wait_until(serves, 180)
            for unit, serves in SERVES.items():
                process = box.run(f"systemctl show -P MainPID {unit}").strip()
                # The program that serves it, too, which the service only looks after.
                box.run(f"kill -KILL {process} $(pgrep -P {process} || true)")
                box.wait_until(f"! [ -e /proc/{process} ] && {serves}", 180)
            box.run("killall -KILL gst-launch-1.0")
            box.wait_until(PICTURE, 180)
            self.assertEqual(box.run("systemctl --failed --no-legend --plain"), "")
