#!/usr/bin/env python3
"""How long frames take from a wire to shared memory: by rcin, and by a process that only copies.

Both run at the same time, each at a pseudo-terminal of its own, and get SBUS frames in turn. Of
each frame the time from its last byte being written until its first channel stands in shared memory
is taken. Prints median, 99th percentile and maximum in microseconds. The exit status is 1 when rcin's
99th percentile is above 2 ms, and 2 when that of the copying is, too: then it is the machine's.
Starts itself in the sandbox, with the real-time priority of rcin's unit where that is allowed.

    PRESET=NAME bench/rcin_latency.py [FRAMES]
"""

from __future__ import annotations

import mmap
import os
import signal
import statistics
import subprocess
import sys
import time
import tty
from pathlib import Path

HERE = Path(__file__).resolve().parent
TOOLS = HERE.parent / "tools"
sys.path.insert(0, str(TOOLS))

from fieldrelaybox.rc_signals import GOOD, PROTOCOLS  # noqa: E402
from fieldrelaybox.shared_memory import SHARED_MEMORY_DIRECTORY, STATUS_BLOCK, Region  # noqa: E402

RCIN = HERE.parent / "build" / os.environ.get("PRESET", "release") / "rcin"
LIMIT = 2e-3
LOOK_AGAIN = 2e-5
CHANNELS = STATUS_BLOCK.fields["rc_channels"].offset
FRAME_SIZE = 25
SETTINGS = "rc_input_enabled=1\nrc_input_mode=sbus\nrc2_input_mode=off\n"


def open_wire() -> tuple[int, int]:
    master, slave = os.openpty()
    tty.setraw(slave)
    return master, slave


def start_rcin(slave: int) -> subprocess.Popen[bytes]:
    (SHARED_MEMORY_DIRECTORY / STATUS_BLOCK.name).write_bytes(bytes(STATUS_BLOCK.size))
    Path("/boot/rcin.cal").write_text("rcin-calibration 1 sbus off\nend\n")
    Path("/run/fieldrelaybox.conf").write_text(SETTINGS)
    Path("/run/rcin.conf").write_text(f"uart={os.ttyname(slave)}\n")
    return subprocess.Popen([RCIN, "--config", "rcin.conf"], cwd="/run", stderr=subprocess.DEVNULL)


def start_copying(slave: int, target: mmap.mmap) -> int:
    """A child that copies what comes; its process id."""
    child = os.fork()
    while child == 0:
        data = os.read(slave, 4096)
        target[:len(data)] = data
    return child


def latency(wire: int, value: int, memory: mmap.mmap, at: int, awaited: bytes) -> float:
    frame = b"".join(PROTOCOLS["sbus"].encode([value] * 18, GOOD))
    assert len(frame) == FRAME_SIZE
    os.write(wire, frame)
    written = time.perf_counter()
    while memory[at:at + len(awaited)] != awaited:
        if time.perf_counter() - written > 5:
            raise SystemExit(f"a frame was lost at {at}")
        time.sleep(LOOK_AGAIN)  # whoever is measured may need this processor
    return time.perf_counter() - written


def show(name: str, times: list[float]) -> float:
    times.sort()
    percentile = times[len(times) * 99 // 100]
    print(f"{name:8} median {statistics.median(times) * 1e6:6.0f}   "
          f"99 % {percentile * 1e6:6.0f}   max {times[-1] * 1e6:6.0f} us")
    return percentile


def measure(count: int) -> int:
    wire, slave = open_wire()
    copied_wire, copied_slave = open_wire()
    rcin, copy = start_rcin(slave), mmap.mmap(-1, FRAME_SIZE)
    copier = start_copying(copied_slave, copy)
    by_rcin: list[float] = []
    by_copier: list[float] = []
    try:
        block = Region(STATUS_BLOCK)
        while block["rc_receiver_state"] != 2:  # waiting for a signal
            time.sleep(0.01)
        while block["rc_receiver_state"] != 6:  # it is in step only after some frames
            os.write(wire, b"".join(PROTOCOLS["sbus"].encode([1500] * 18, GOOD)))
            time.sleep(0.009)
        for number in range(count):
            value = (1000, 2000)[number % 2]
            by_rcin.append(latency(wire, value, block.raw, CHANNELS, value.to_bytes(2, "little")))
            expected = b"".join(PROTOCOLS["sbus"].encode([value] * 18, GOOD))
            by_copier.append(latency(copied_wire, value, copy, 0, expected))
            time.sleep(0.009)
    finally:
        rcin.terminate()
        rcin.wait()
        os.kill(copier, signal.SIGTERM)
        os.waitpid(copier, 0)
    machine, ours = show("copying", by_copier), show("rcin", by_rcin)
    return 0 if ours <= LIMIT else 2 if machine > LIMIT else 1


def take_priority() -> None:
    try:
        os.sched_setscheduler(0, os.SCHED_RR, os.sched_param(20))
        print("with real-time priority", flush=True)
    except PermissionError:
        print("without real-time priority", flush=True)


def main() -> int:
    if os.environ.get("RCIN_LATENCY_INSIDE"):
        return measure(int(sys.argv[1]) if len(sys.argv) > 1 else 2000)
    take_priority()  # the sandbox hands it down
    return subprocess.run([TOOLS / "sandbox.sh", __file__, *sys.argv[1:]], check=False,
                          env={**os.environ, "RCIN_LATENCY_INSIDE": "1"}).returncode


if __name__ == "__main__":
    sys.exit(main())
