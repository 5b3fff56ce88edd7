"""Sticks whose values go over a wire: a pseudo-terminal with a receiver's frames, or a recording of
PPM's edges."""

from __future__ import annotations

import os
import random
import select
import threading
import time
import tty
from collections.abc import Iterator
from pathlib import Path

from . import rc_signals
from .rc_signals import FAILSAFE, FRAME_LOST, GOOD
from .rc_sticks import CENTRE, LOW, Sticks, pause

PPM_CHANNELS = 8
RECEIVER_CHANNELS = 16


class WireSticks(Sticks):
    """What wires have in common. Channels that nobody has set stand in the middle."""

    def __init__(self, second: bool = False) -> None:
        super().__init__()
        self._first = RECEIVER_CHANNELS * second + 1
        self._flagged_lost = False
        self._garbage = self._silent = False
        self.plain_words["frame-lost"] = self.flag_frames_lost
        self.timed_words |= {"garbage": self.garbage, "silence": self.silence}

    def await_map(self, timeout: float = 5) -> None:
        try:
            super().await_map(timeout)
        except OSError:
            pass  # no box here: channels go by their numbers

    def functions(self) -> dict[str, int]:
        try:
            return super().functions()
        except OSError:
            return {}

    def recover(self) -> None:
        self._flagged_lost = False
        super().recover()

    def flag_frames_lost(self) -> None:
        self._flagged_lost = True

    def garbage(self, seconds: float) -> None:
        self._garbage = True
        pause(self, seconds)
        self._garbage = False

    def silence(self, seconds: float) -> None:
        self._silent = True
        pause(self, seconds)
        self._silent = False

    def _state(self) -> int:
        return FAILSAFE if self._lost else FRAME_LOST if self._flagged_lost else GOOD

    def _pulses(self) -> list[int]:
        """The receiver's 16 channels and SBUS's two switches."""
        first = self._first
        digital = [self._values.get(number) or LOW for number in (first + 16, first + 17)]
        return [self._values.get(first + i) or CENTRE for i in range(RECEIVER_CHANNELS)] + digital


class SerialSticks(WireSticks):
    """Speaks a serial protocol at its own pace; `link` leads to the device to read from."""

    def __init__(self, protocol: str, link: Path, second: bool = False) -> None:
        super().__init__(second)
        self._protocol = rc_signals.PROTOCOLS[protocol]
        self._link = link
        self._lock = threading.Lock()
        self._end = threading.Event()
        self.timed_words["unplug"] = self.unplug
        self._master, self._device = -1, ""
        self._plug_in()
        self._thread = threading.Thread(target=self._send_all, daemon=True)
        self._thread.start()

    def unplug(self, seconds: float) -> None:
        self._pull_out()
        pause(self, seconds)
        self._plug_in()

    def close(self) -> None:
        self._end.set()
        self._thread.join()
        self._pull_out()

    def _plug_in(self) -> None:
        master, slave = os.openpty()
        tty.setraw(slave)
        os.set_blocking(master, False)
        new_link = self._link.with_name(f".{self._link.name}.{os.getpid()}")
        self._device = os.ttyname(slave)
        new_link.symlink_to(self._device)
        new_link.replace(self._link)
        os.close(slave)
        with self._lock:
            self._master = master

    def _pull_out(self) -> None:
        with self._lock:
            if self._master >= 0:
                if self._link.is_symlink() and os.readlink(self._link) == self._device:
                    self._link.unlink()
                os.close(self._master)
            self._master = -1

    def _send_all(self) -> None:
        due = time.monotonic()
        while not self._end.wait(max(0.0, due - time.monotonic())):
            due = max(due, time.monotonic() - self._protocol.period) + self._protocol.period
            with self._lock:
                self._send()

    def _send(self) -> None:
        """A wire keeps nothing for a reader who comes later."""
        if self._master < 0 or self._silent or not self._is_open():
            return
        if self._garbage:
            data = rc_signals.garbage(self._protocol, self._protocol.period)
        else:
            data = b"".join(self._protocol.encode(self._pulses(), self._state()))
        try:
            os.write(self._master, data)
        except OSError:
            pass  # the reader sleeps, or has gone just now

    def _is_open(self) -> bool:
        poll = select.poll()
        poll.register(self._master, 0)
        return not poll.poll(0)


class EdgeSticks(WireSticks):
    """Writes PPM's edges, `nanoseconds level` a line, in a time of its own that takes no time."""

    def __init__(self, path: Path, second: bool = False) -> None:
        super().__init__(second)
        self._file = path.open("w")
        self._now = 0
        self._next_frame = 0
        self.timed_words["unplug"] = self.silence

    def now(self) -> float:
        return self._now / 1e9

    def _pass(self, seconds: float) -> None:
        self._now += max(1, round(seconds * 1e9))
        while self._next_frame < self._now:
            for time_ns, level in self._edges():
                self._file.write(f"{time_ns} {level}\n")
            self._next_frame += rc_signals.PPM_PERIOD

    def close(self) -> None:
        self._file.close()

    def _edges(self) -> Iterator[tuple[int, int]]:
        if self._garbage:
            yield from self._noise()
        elif not self._silent and not self._lost:
            yield from rc_signals.ppm_edges(self._next_frame, self._pulses()[:PPM_CHANNELS])

    def _noise(self) -> Iterator[tuple[int, int]]:
        time_ns, level = self._next_frame, 1
        while time_ns < self._next_frame + rc_signals.PPM_PERIOD - 2_000_000:
            yield time_ns, level
            time_ns, level = time_ns + random.randrange(2_000, 2_000_000), 1 - level
