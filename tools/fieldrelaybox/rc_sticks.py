"""Stick and switch positions as pulse widths, scripts that move them, and their way into the status
block that goes past any receiver. The ways over a wire are in rc_wire.py."""

from __future__ import annotations

import struct
import time
from typing import Callable

from .shared_memory import CONFIG_RECORD, STATUS_BLOCK, Region

LOW, CENTRE, HIGH, ABSENT = 1000, 1500, 2000, 0
RECEIVING, LOST = 6, 0
CHANNELS = 32

NO_FUNCTION = 255
AXES = ("pan", "tilt", "roll", "zoom", "digital-zoom2", "focus-pan", "focus-tilt")
"""Functions that rest in the middle; the others rest low."""
STEPS = {"ev": 19, "iso": 8, "shutter": 57, "aperture": 8}
"""Functions that divide the travel into so many steps; they rest in the middle of the first."""


def step_middle(name: str, index: int) -> int:
    """The pulse width in the middle of a step, the nearest one there is."""
    count = STEPS[name]
    index = max(0, min(count - 1, index))
    return LOW + (2 * index + 1) * (HIGH - LOW) // (2 * count)


def resting_place(name: str) -> int:
    if name in STEPS:
        return step_middle(name, 0)
    return CENTRE if name in AXES else LOW


class Over(Exception):
    """Time to end."""


class Sticks:
    """A transmitter's sticks and switches. Subclasses say where their values go."""

    is_over: Callable[[], bool] = staticmethod(lambda: False)
    """Asked in every pause, which then ends with Over."""

    def __init__(self) -> None:
        self._values: dict[int, int] = {}
        self._lost = False
        self.plain_words: dict[str, Callable[[], None]] = {
            "rest": self.rest, "centre": self.centre, "lost": self.lose, "back": self.recover}
        self.timed_words: dict[str, Callable[[float], None]] = {
            "wait": lambda seconds: pause(self, seconds)}

    def refresh(self) -> None:
        """Called at each change and at least every 20 ms."""

    def close(self) -> None:
        """The end."""

    def now(self) -> float:
        return time.monotonic()

    def sleep(self, seconds: float) -> None:
        if self.is_over():
            raise Over
        self._pass(seconds)

    def _pass(self, seconds: float) -> None:
        time.sleep(seconds)

    def await_map(self, timeout: float = 5) -> None:
        """Return when the box has told its channel map, as it does every 3 s."""
        end = time.monotonic() + timeout
        with Region(CONFIG_RECORD, read_only=True) as record:
            while not record["clock"] and time.monotonic() < end:
                if self.is_over():
                    raise Over
                time.sleep(0.05)

    def functions(self) -> dict[str, int]:
        """The channel number, from 1, of every function that has one."""
        with Region(STATUS_BLOCK, read_only=True) as block, \
                Region(CONFIG_RECORD, read_only=True) as record:
            table = block["channel_function"]
            names = record["rc_input_map"].split(",")  # empty until the box's first pass
        found: dict[str, int] = {}
        for number, (name, function) in enumerate(zip(names, table), 1):
            if name and function != NO_FUNCTION:
                found.setdefault(name, number)
        return found

    def channel(self, name: str) -> int:
        """A channel by number or function; ValueError when there is none."""
        if name.isdigit() and 1 <= int(name) <= CHANNELS:
            return int(name)
        channels = self.functions()
        if name not in channels:
            known = ", ".join(channels) or "nothing"
            raise ValueError(f"no channel is mapped to {name} (mapped: {known})")
        return channels[name]

    def value(self, name: str) -> int:
        return self._values.get(self.channel(name), ABSENT)

    def set(self, name: str, value: int) -> None:
        if value != ABSENT and not 500 <= value <= 2500:
            raise ValueError(f"{value} is no pulse width in microseconds")
        self._values[self.channel(name)] = value
        self.refresh()

    def rest(self) -> None:
        """Every mapped channel to where it rests."""
        for name, channel in self.functions().items():
            self._values[channel] = resting_place(name)
        self.refresh()

    def centre(self) -> None:
        for name, channel in self.functions().items():
            if name in AXES:
                self._values[channel] = CENTRE
        self.refresh()

    def lose(self) -> None:
        """The receiver hears nothing."""
        self._lost = True
        self.refresh()

    def recover(self) -> None:
        self._lost = False
        self.refresh()


class RcSticks(Sticks):
    """Writes channel values as the RC input process does; call `refresh` often."""

    def __init__(self, block: Region | None = None, heartbeat: bool = False) -> None:
        super().__init__()
        self._block = block or Region(STATUS_BLOCK)
        self.heartbeat = heartbeat
        """Once it has begun, the box counts the RC as lost 0.5 s after the last `refresh`."""
        self.plain_words["hang"] = self.hang

    def hang(self) -> None:
        self.heartbeat = False

    def refresh(self) -> None:
        """Write values and receiver state; the box clears the state when settings change."""
        offset = STATUS_BLOCK.fields["rc_channels"].offset
        for channel, value in self._values.items():
            struct.pack_into("<H", self._block.raw, offset + 2 * (channel - 1), value)
        self._block["rc_receiver_state"] = LOST if self._lost else RECEIVING
        if self.heartbeat:
            self._block["rc_heartbeat"] = (self._block["rc_heartbeat"] + 1) % 256

    def close(self) -> None:
        self._lost = True
        self.refresh()
        self._block.close()


def run_script(sticks: Sticks, lines: list[str]) -> None:
    """Carry out a script; ValueError names the line that cannot be understood.

        NAME VALUE              a channel, by function or number, to a pulse width
        ramp NAME VALUE SECS    ... moved there steadily
        wait SECS               go on after this time
        rest, centre            all channels to rest, or the sticks to their middle
        lost, back              the receiver loses and finds the transmitter
        hang                    without a wire: no heartbeat any more, as of a process that hangs
        frame-lost              on a wire, SBUS: each frame is flagged as lost, until back
        garbage SECS            on a wire: noise instead of frames, some of it like headers of frames
        silence SECS            on a wire: nothing at all
        unplug SECS             on a wire, serial: no device meanwhile
    """
    for number, line in enumerate(lines, 1):
        words = line.split("#")[0].split()
        try:
            if words:
                _run_line(sticks, words)
        except (ValueError, IndexError, KeyError) as error:
            raise ValueError(f"line {number}: {line.strip()}: {error}") from None


def _run_line(sticks: Sticks, words: list[str]) -> None:
    if len(words) == 1:
        sticks.plain_words[words[0]]()
    elif words[0] in sticks.timed_words:
        sticks.timed_words[words[0]](float(words[1]))
    elif words[0] == "ramp":
        ramp(sticks, words[1], int(words[2]), float(words[3]))
    else:
        sticks.set(words[0], int(words[1]))


def pause(sticks: Sticks, seconds: float) -> None:
    """Wait, writing at the pace of a receiver."""
    end = sticks.now() + seconds
    while (left := end - sticks.now()) > 0:
        sticks.refresh()
        sticks.sleep(min(0.02, left))


def ramp(sticks: Sticks, name: str, target: int, seconds: float) -> None:
    start, began = sticks.value(name) or CENTRE, sticks.now()
    while (passed := sticks.now() - began) < seconds:
        sticks.set(name, round(start + (target - start) * passed / seconds))
        sticks.sleep(0.02)
    sticks.set(name, target)
