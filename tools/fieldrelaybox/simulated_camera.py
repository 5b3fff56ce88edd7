"""A simulated camera: pushes frames to the box from a port of its own and keeps what it receives.

For a test:

    with SimulatedCamera() as camera:
        camera.wait_for(lambda received: received.name == "set iso 400")

Every public method may be called from any thread.
"""

from __future__ import annotations

import math
import random
import select
import socket
import struct
import threading
import time
from collections import deque
from dataclasses import dataclass
from typing import Callable

from . import button_frames, command_names, frames
from .camera_model import CameraModel

Address = tuple[str, int]
DEFAULT_BOX: Address = ("127.0.0.1", frames.BOX_PORT)


@dataclass(frozen=True)
class Received:
    """One datagram from the box. `frame` is None when it cannot hold a frame."""

    time: float
    raw: bytes
    frame: frames.Frame | None
    gap: int
    """How many sequence numbers are missing before this frame."""

    name: str = "no frame"
    """The command in words, such as "set iso 400"."""

    odd: tuple[str, ...] = ()
    """What no known command looks like."""

    @property
    def faults(self) -> tuple[str, ...]:
        if self.frame is None:
            return (f"{len(self.raw)} bytes cannot hold a frame",)
        late = (f"{self.gap} sequence numbers missing",) if self.gap else ()
        wide = ("a sequence number of more than one byte",) if self.frame.sequence > 0xFF else ()
        return self.frame.faults + self.odd + late + wide


@dataclass
class Misbehaviour:
    """What goes wrong on the way; 0 switches each of them off."""

    lose_percent: float = 0.0
    silence_every: float = 0.0
    silence_seconds: float = 4.0
    port_every: float = 0.0
    garbage_per_second: float = 0.0


PAUSE = 0.002
"""Seconds between two frames that are due at once: the box's port holds but a few."""


@dataclass
class Push:
    """Something sent at a steady period; `build` returns None to skip a turn."""

    period: float
    build: Callable[[float], bytes | None]
    due: float = 0.0


def attitude_frame(pitch: int, roll: int, yaw: int, mode: int = 0, sequence: int = 0) -> bytes:
    """The 25-byte gimbal attitude push, angles in the gimbal's own tenths of a degree."""
    payload = struct.pack("<hhhB", pitch, roll, yaw, mode) + bytes(5)
    return frames.build_frame(frames.BOX, 0x04, 0x05, payload,
                              sender=frames.GIMBAL, sequence=sequence)


def flag_15_frame(value: int, sequence: int = 0) -> bytes:
    """The 15-byte frame whose first payload byte sets a display flag."""
    return frames.build_frame(frames.BOX, 0x09, 0x52, bytes((value, 0)),
                              sender=frames.BUTTONS, sequence=sequence)


def state_18_frame(value: int, sequence: int = 0) -> bytes:
    """The 18-byte frame: 0x80 clears the state flag, 0x84 sets it and asks for a restart."""
    return frames.build_frame(frames.BOX, 0x02, 0xDC, bytes((0, value, 0, 0, 0)),
                              sequence=sequence)


def counter_22_frame(value: int, sequence: int = 0) -> bytes:
    """The 22-byte frame that carries one u32."""
    return frames.build_frame(frames.BOX, 0x02, 0xDD, b"\0" + struct.pack("<I", value) + bytes(4),
                              sequence=sequence)


def slow_path(seconds: float) -> tuple[int, int, int]:
    """Pitch, roll and yaw of a gimbal that looks around slowly."""
    def swing(amplitude: int, period: float) -> int:
        return round(amplitude * math.sin(2 * math.pi * seconds / period))
    return swing(300, 25.0), swing(49, 15.0), swing(900, 40.0)


def garbage(source: random.Random) -> bytes:
    """One of the ways a datagram can be wrong."""
    kind = source.randrange(4)
    if kind == 0:
        return source.randbytes(source.randrange(0, 1501))
    good = attitude_frame(1, 2, 3)
    if kind == 1:
        return good[:source.randrange(0, len(good))]
    if kind == 2:
        return good + source.randbytes(source.randrange(1, 200))
    length = source.choice((15, 18, 22, 25, 49, 52, 53, 54, 59, 77, 85, 104))
    return bytes((frames.START_BYTE, length)) + source.randbytes(length - 2)


class SimulatedCamera:
    def __init__(self, box: Address = DEFAULT_BOX, *, misbehaviour: Misbehaviour | None = None,
                 on_received: Callable[[Received], None] | None = None, keep: int = 10000,
                 pushes: bool = True, model: CameraModel | None = None,
                 seed: int | None = None) -> None:
        """Without a model the camera tells its gimbal's attitude and obeys nothing."""
        self.box = box
        self.misbehaviour = misbehaviour or Misbehaviour()
        self.random = random.Random(seed)
        self.sent = self.lost = self.faulty = self.missing = 0
        self._on_received = on_received
        self._frames: deque[Received] = deque(maxlen=keep)
        self._arrived = threading.Condition()
        self._sending = threading.RLock()
        self._stop = threading.Event()
        self._thread: threading.Thread | None = None
        self._sequence = 0
        self._last_box_sequence: int | None = None
        self._silent_until = 0.0
        self._last_sent = 0.0
        self._playback_order = button_frames.PlaybackOrder()
        self._started = time.monotonic()
        self._socket = self._open()
        self.model = model
        self._pushes = self._misbehaving()
        if pushes:
            self._pushes.append(Push(0.1, self._attitude))
        if model:
            self._pushes += [Push(period, build) for period, build in model.pushes()]

    # life

    def __enter__(self) -> "SimulatedCamera":
        self.start()
        return self

    def __exit__(self, *_: object) -> None:
        self.stop()

    def start(self) -> None:
        self._thread = threading.Thread(target=self._run, name="camera", daemon=True)
        self._thread.start()

    def stop(self) -> None:
        self._stop.set()
        if self._thread:
            self._thread.join()
        self._socket.close()

    @property
    def port(self) -> int:
        return self._socket.getsockname()[1]

    # sending

    def send_raw(self, data: bytes) -> bool:
        """Send a datagram as it is; False when it was lost or the camera is silent."""
        with self._sending:
            silent = time.monotonic() < self._silent_until
            if silent or self.random.uniform(0, 100) < self.misbehaviour.lose_percent:
                self.lost += 1
                return False
            try:
                self._socket.sendto(data, self.box)
            except OSError:
                return False
            self._allow_for_silence()
            self._last_sent = time.monotonic()
            self.sent += 1
            return True

    def _allow_for_silence(self) -> None:
        """The box sends nothing to a camera it has not heard for 3 s, also inside a command."""
        if time.monotonic() - self._last_sent > 2.5:
            self._playback_order.forget()

    def push(self, frame: bytes) -> bool:
        """Send a frame of any content with the camera's next sequence number and fresh checks."""
        with self._sending:
            stamped = frame[:6] + self._sequence.to_bytes(2, "little") + frame[8:-2]
            self._sequence = (self._sequence + 1) & 0xFFFF
            return self.send_raw(frames.seal(stamped))

    def go_silent(self, seconds: float) -> None:
        """Send nothing for some seconds; 0 ends a silence."""
        self._silent_until = time.monotonic() + seconds

    def change_port(self) -> int:
        """Go on from another port; frames still on the way to the old one are gone."""
        with self._sending:
            old, self._socket = self._socket, self._open()
            old.close()
            return self.port

    def send_garbage(self) -> bool:
        return self.send_raw(garbage(self.random))

    # receiving

    def wait_for(self, wanted: Callable[[Received], bool], timeout: float = 5.0) -> Received:
        """The next datagram that fits; what came before it is dropped. TimeoutError after that."""
        end = time.monotonic() + timeout
        with self._arrived:
            while True:
                while self._frames:
                    received = self._frames.popleft()
                    if wanted(received):
                        return received
                if not self._arrived.wait(end - time.monotonic()) and time.monotonic() >= end:
                    raise TimeoutError(f"no such frame within {timeout} s")

    def next_frame(self, timeout: float = 5.0) -> Received:
        return self.wait_for(lambda _: True, timeout)

    def drain(self) -> list[Received]:
        """Everything that has arrived and was not asked for yet."""
        with self._arrived:
            taken = list(self._frames)
            self._frames.clear()
            return taken

    # inside

    @staticmethod
    def _open() -> socket.socket:
        opened = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        opened.bind(("", 0))
        opened.setblocking(False)
        return opened

    def _misbehaving(self) -> list[Push]:
        """Faults that come by themselves, as pushes that return no frame."""
        def act(action: Callable[[], object]) -> Callable[[float], None]:
            return lambda _: (action(), None)[1]
        wrong, now = self.misbehaviour, time.monotonic()
        rows = (
            (wrong.silence_every, lambda: self.go_silent(wrong.silence_seconds)),
            (wrong.port_every, self.change_port),
            (1 / wrong.garbage_per_second if wrong.garbage_per_second else 0, self.send_garbage),
        )
        return [Push(period, act(action), now + period) for period, action in rows if period > 0]

    def _attitude(self, seconds: float) -> bytes:
        path = slow_path(seconds)
        return attitude_frame(*(self.model.angles(path) if self.model else path))

    def _run(self) -> None:
        while not self._stop.is_set():
            now = time.monotonic()
            if self.model:
                self.model.advance(now - self._started)
            for push in self._pushes:
                self._push_when_due(push, now)
            due = min((push.due for push in self._pushes), default=now + 0.1)
            self._receive(min(max(due - time.monotonic(), 0.0), 0.1))

    def _push_when_due(self, push: Push, now: float) -> None:
        if now < push.due:
            return
        late = push.due == 0.0 or now - push.due > push.period
        push.due = (now if late else push.due) + push.period
        frame = push.build(now - self._started)
        if frame is not None:
            self.push(frame)
            time.sleep(PAUSE)

    def _receive(self, timeout: float) -> None:
        try:
            if not select.select([self._socket], [], [], timeout)[0]:
                return
            data = self._socket.recv(2048)
        except (OSError, ValueError):
            return  # the port was changed meanwhile
        received = self._examine(data)
        self._obey(received)
        with self._arrived:
            self._frames.append(received)
            self._arrived.notify_all()
        if self._on_received:
            self._on_received(received)

    def _obey(self, received: Received) -> None:
        if self.model is None or received.frame is None or received.frame.faults:
            return
        self.model.advance(time.monotonic() - self._started)
        self.model.take(received.frame)
        if self.model.silent_for:
            self.go_silent(self.model.silent_for)
            self.model.silent_for = 0.0

    def _examine(self, data: bytes) -> Received:
        try:
            frame = frames.parse_frame(data)
        except ValueError:
            self.faulty += 1
            return Received(time.time(), data, None, 0)
        gap = 0
        if self._last_box_sequence is not None:
            gap = (frame.sequence - self._last_box_sequence - 1) & 0xFF
        self._last_box_sequence = frame.sequence
        if gap:
            self._playback_order.forget()
        self._allow_for_silence()
        name, odd = command_names.describe(frame)
        odd += self._playback_order.odd(frame)
        self.missing += gap
        self.faulty += not frame.good or bool(odd)
        return Received(time.time(), data, frame, gap, name, odd)
