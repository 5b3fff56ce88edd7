#!/usr/bin/env python3
"""Measures what a slow card costs the commands: 200 changes of one setting in two seconds while each
mount takes two, and a camera command between any two of them. To be run in tools/sandbox.sh with
FIELDRELAYBOX_DAEMON naming the daemon; bench/run.sh does.

The latency is the time from handing a command to the network to reading its frame from the camera's
socket. The same commands without changes, in the same process, are the measure. Exit status 1 when
the last value did not count, a command was lost or overtaken, or the 99th percentile is 20 ms or more.
"""

import json
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "tests" / "system"))
from box import App, Box, Camera, app_protocol, wait_until  # noqa: E402

CHANGES, SECONDS, MOUNT_SECONDS, LIMIT_MS = 200, 2.0, 2.0, 20.0
MASTER = Path("/boot/fieldrelaybox.conf")
ZOOM_LEVEL = (0x02, 0x34)


def measure(app: App, camera: Camera, change: bool) -> tuple[list[float], int]:
    """Milliseconds of each command, sorted; how many of them did not come in their turn."""
    sent: dict[int, float] = {}
    due = time.monotonic()
    first = len(camera.seen)
    for number in range(CHANGES):
        if change:
            app.command(cmd="updateparam", name="audio_volume", value=str(number))
        level = number % 100 + 1
        sent[number] = time.time()
        app.command(cmd="zoom", value1=str(level))
        due += SECONDS / CHANGES
        time.sleep(max(0.0, due - time.monotonic()))

    def arrived() -> list[tuple[int, float]]:
        frames = [got for got in camera.seen[first:]
                  if got.frame.command == ZOOM_LEVEL and got.frame.payload[3] > 100]
        return [(got.frame.payload[3] - 100, got.time) for got in frames[::3]]
    wait_until(lambda: len(arrived()) >= CHANGES, "the frames")
    wrong = sum(level != number % 100 + 1 for number, (level, _) in enumerate(arrived()))
    return sorted(1000 * (when - sent[number]) for number, (_, when) in enumerate(arrived())), wrong


def report(what: str, times: list[float]) -> float:
    p99 = times[len(times) * 99 // 100 - 1]
    print(f"{what:24} median {times[len(times) // 2]:7.3f} ms   99 % {p99:7.3f} ms   "
          f"longest {times[-1]:7.3f} ms")
    return p99


def main() -> int:
    with Box() as box, App(data_only=True) as app, Camera(box) as camera:
        camera.connect()
        app.command(cmd="zoom", value1="0")
        alone, wrong_alone = measure(app, camera, change=False)
        box.stand_ins.answer("mount", seconds=MOUNT_SECONDS)
        app.command(cmd="zoom", value1="0")
        beside, wrong_beside = measure(app, camera, change=True)
        began = time.monotonic()
        last = f"\naudio_volume={CHANGES - 1}\n"
        wait_until(lambda: last in MASTER.read_text() if MASTER.exists() else False, "the last value")
        runs = box.stand_ins.runs
        p99_alone = report("camera commands alone", alone)
        p99 = report("beside a slow card", beside)
        print(f"ratio of the 99 %        {p99 / p99_alone:.2f}")
        print(f"last value on the card   {time.monotonic() - began:.1f} s after the last change, "
              f"{(len(runs('mount')) + 1) // 2} saves for {CHANGES} changes")
        print(f"out of their turn        {wrong_alone + wrong_beside} commands")
        return int(p99 >= LIMIT_MS or wrong_alone + wrong_beside > 0)


if __name__ == "__main__":
    sys.exit(main())
