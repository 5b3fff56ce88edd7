"""What the simulated camera is: its state, the frames that tell it, and how commands change it.

The values are plausible and change; the units and codes are those of the frames.
"""

from __future__ import annotations

import math
import random
import struct
from dataclasses import dataclass, fields, replace
from typing import Callable

from . import button_frames, frames
from .frames import BOX, CAMERA, GIMBAL, Frame

ISO_VALUES = {0: 0, 3: 100, 4: 200, 5: 400, 6: 800, 7: 1600, 8: 3200, 9: 6400}
PHOTO, VIDEO, PLAYBACK, POWER_SAVE = 0, 1, 2, 5
TIMED, PANORAMA, BURST, BRACKETING = 6, 7, 4, 5
CARD_NORMAL, CARD_FORMATTING = 0, 5
MB_PER_SECOND, MB_PER_PHOTO = 8, 5
FULL_SPEED_TENTHS_PER_SECOND = 600
GIMBAL_STOPS_AFTER = 0.3
LARGEST_ANGLE = 3000


@dataclass
class CameraState:
    """Every field can be set by name while the simulator runs."""

    work_mode: int = VIDEO
    recording: int = 0
    photo_state: int = 0
    interval_active: int = 0
    time_in_sync: int = 0
    card_state: int = CARD_NORMAL
    card_size: int = 61000
    card_free: float = 58000.0
    hot: int = 0
    recording_time: float = 0.0
    percent: float = 93.0
    millivolts: int = 11400
    milliamps: int = -900
    focus_mode: int = 2
    focus_range: int = 900
    focus_stroke: float = 300.0
    object_distance: float = 3.5
    focus_x: float = 0.5
    focus_y: float = 0.5
    focus_status: int = 1
    assistants: int = 0
    support_type: int = 2
    aperture: int = 280
    shutter: int = 0x8000 | 50
    shutter_decimal: int = 0
    iso: int = 0
    ev: int = 0x10
    photo_format: int = 1
    resolution: int = 10
    rate: int = 3
    exposure_mode: int = 1
    white_balance: int = 0
    temperature: int = 0x44
    colour: int = 0
    anti_flicker: int = 0
    photo_type: int = 1
    burst_count: int = 3
    bracketing_count: int = 3
    panorama_kind: int = 5
    timed_type: int = 0
    timed_count: int = 1
    timed_period: int = 0
    timelapse_interval: int = 20
    timelapse_duration: int = 60
    ntsc: int = 0
    exposure_locked: int = 0
    histogram: int = 1
    playback_mode: int = 0
    file_type: int = 0
    files: int = 12
    file_index: int = 1
    zoom: int = 0


def _put(payload: bytearray, layout: str, offset: int, *values: float) -> None:
    struct.pack_into("<" + layout, payload, offset, *values)


class CameraModel:
    """`take` a command, `advance` the time, and ask for the frames of `pushes`."""

    def __init__(self, short_frames: bool = False, seed: int | None = None) -> None:
        self.state = CameraState()
        self.short_frames = short_frames
        self.silent_for = 0.0
        """Seconds of silence that a command has asked for; the owner resets it."""
        self._random = random.Random(seed)
        self._now = 0.0
        self._photo_until = self._format_until = 0.0
        self._path = (0, 0, 0)
        self._angles: list[float] | None = None  # pitch, roll, yaw once a command moved them
        self._target: list[float] | None = None
        self._speed, self._speed_at = (0.0, 0.0), 0.0
        self._before_sleep = VIDEO

    def set(self, name: str, value: str) -> None:
        """Set a field of the state; ValueError when there is none or the value does not fit."""
        kinds = {field.name: type(getattr(self.state, field.name)) for field in fields(self.state)}
        if name not in kinds:
            raise ValueError(f"{name} is none of {', '.join(kinds)}")
        number = int(value, 0) if kinds[name] is int else float(value)
        if name == "percent":
            number = max(0.0, min(100.0, number))
        self._try(name, number)
        setattr(self.state, name, number)

    def _try(self, name: str, number: float) -> None:
        """ValueError when another camera could not build its frames with that."""
        trial = CameraModel(self.short_frames)
        trial.state = replace(self.state, **{name: number})
        try:
            trial.advance(0.0)
            for _, build in trial.pushes():
                build(0.0)
        except (struct.error, ValueError, OverflowError):
            raise ValueError(f"{number} does not fit into {name}") from None

    def pushes(self) -> list[tuple[float, Callable[[float], bytes | None]]]:
        """Period in seconds and builder of every frame besides the gimbal attitude."""
        rows = ((0.2, self.camera_state), (0.2, self.shooting), (0.2, self.lens),
                (1.0, self.battery), (1.0, self.playback), (0.25, self.brightness))
        return [(period, lambda _, build=build: build()) for period, build in rows]

    # time

    def advance(self, now: float) -> None:
        """Carry on to `now`, in seconds since the start."""
        passed, self._now = max(now - self._now, 0.0), now
        state = self.state
        if state.recording:
            state.recording_time += passed
            state.card_free = max(state.card_free - passed * MB_PER_SECOND, 0.0)
        state.photo_state = int(now < self._photo_until)
        if self._format_until and now >= self._format_until:
            state.card_state, state.card_free = CARD_NORMAL, float(state.card_size)
            self._format_until = 0.0
        state.percent = state.percent - passed / 20 if state.percent > 5 else 93.0
        state.millivolts = 9600 + round(state.percent * 20)
        state.milliamps = -900 - 300 * state.recording + self._random.randrange(-20, 21)
        if state.focus_mode in (1, 2):
            state.focus_stroke = state.focus_range * (0.5 + 0.45 * math.sin(now / 7))
        far = state.focus_stroke > 0.93 * state.focus_range
        state.object_distance = 1000.0 if far else round(0.3 + state.focus_stroke / 100, 2)
        self._move_gimbal(now, passed)

    def _move_gimbal(self, now: float, passed: float) -> None:
        if self._angles is None:
            return
        if now - self._speed_at < GIMBAL_STOPS_AFTER:
            pan, tilt = self._speed
            self._angles[2] += pan / 1000 * FULL_SPEED_TENTHS_PER_SECOND * passed
            self._angles[0] += tilt / 1000 * FULL_SPEED_TENTHS_PER_SECOND * passed
        elif self._target:
            step = FULL_SPEED_TENTHS_PER_SECOND * passed
            for i, target in enumerate(self._target):
                self._angles[i] += max(-step, min(step, target - self._angles[i]))
        self._angles = [max(-LARGEST_ANGLE, min(LARGEST_ANGLE, angle)) for angle in self._angles]

    def angles(self, path: tuple[int, int, int]) -> tuple[int, int, int]:
        """Pitch, roll and yaw: along the path until a command moves the gimbal."""
        self._path = path
        if self._angles is None:
            return path
        pitch, roll, yaw = self._angles
        return round(pitch), round(roll), round(yaw)

    # frames

    def _frame(self, command_set: int, command_id: int, payload: bytes) -> bytes:
        return frames.build_frame(BOX, command_set, command_id, payload)

    def camera_state(self) -> bytes:
        state, payload = self.state, bytearray(36 if self.short_frames else 37)
        flags = (0x1 | state.time_in_sync << 2 | state.photo_state << 3 | state.recording << 6
                 | 0x200 * (state.card_state != 1) | state.card_state << 10 | state.hot << 17
                 | state.photo_state << 19 | state.interval_active << 20)
        _put(payload, "IBIIII", 0, flags, state.work_mode, state.card_size, int(state.card_free),
             int(state.card_free / MB_PER_PHOTO), int(state.card_free / MB_PER_SECOND))
        _put(payload, "H", 29, min(int(state.recording_time), 65535))
        return self._frame(0x02, 0x80, payload)

    def battery(self) -> bytes:
        state, payload = self.state, bytearray(39)
        full = 980
        _put(payload, "BHHHBH", 0, int(state.percent), state.millivolts,
             int(full * state.percent / 100), full, 97, 41)
        _put(payload, "h", 14, state.milliamps)
        _put(payload, "H", 32, 310)
        return frames.build_frame(BOX, 0x05, 0x06, payload, sender=GIMBAL)

    def lens(self) -> bytes:
        state, payload = self.state, bytearray(40 if self.short_frames else 46)
        _put(payload, "BHHfHHff", 0, 0x80 | state.focus_mode, state.focus_range,
             int(state.focus_stroke), state.object_distance, 170, 1600, state.focus_x,
             state.focus_y)
        payload[21], payload[31] = state.focus_status, state.assistants
        payload[39] = state.support_type
        return self._frame(0x02, 0x87, payload)

    def shooting(self) -> bytes:
        state, payload = self.state, bytearray(72 if self.short_frames else 91)
        iso = ISO_VALUES.get(state.iso) or 100 + 50 * (int(self._now) % 7)
        _put(payload, "HHBBB", 0, state.aperture, state.shutter, state.shutter_decimal, state.iso,
             state.ev)
        _put(payload, "BBB", 12, state.photo_format, state.resolution, state.rate)
        payload[20] = state.exposure_mode
        _put(payload, "BB", 23, state.white_balance, state.temperature)
        _put(payload, "BBBBBH", 31, state.colour, state.anti_flicker, state.burst_count,
             state.timed_type, state.timed_count, state.timed_period)
        _put(payload, "HHBIB", 38, state.aperture, state.shutter, state.shutter_decimal, iso,
             state.ev)
        _put(payload, "BBB", 55, state.ntsc, state.exposure_locked, state.photo_type)
        _put(payload, "BB", 60, state.bracketing_count, state.panorama_kind)
        if not self.short_frames:
            _put(payload, "HI", 75, state.timelapse_interval, state.timelapse_duration)
        return self._frame(0x02, 0x81, payload)

    def playback(self) -> bytes:
        state, payload = self.state, bytearray(41)
        _put(payload, "BHBHH", 0, state.playback_mode, state.file_type, min(state.files, 8),
             state.files, state.file_index)
        return self._frame(0x02, 0x82, payload)

    def brightness(self) -> bytes | None:
        """The histogram: a hill that wanders; None while it is switched off."""
        if not self.state.histogram:
            return None
        middle = 32 + 20 * math.sin(self._now / 5)
        values = bytes(round(230 * math.exp(-((i - middle) / 10) ** 2)) for i in range(64))
        return self._frame(0x02, 0x83, values)

    # commands

    def take(self, frame: Frame) -> None:
        """Do what a command frame asks for; unknown ones change nothing."""
        if frame.command == (0x01, 0x01):
            self._take_buttons(button_frames.describe(frame)[0])
        elif frame.command == (0x09, 0x51) and len(frame.payload) == 1:
            self._take_power(frame.payload[0])
        elif frame.receiver == CAMERA and frame.command_set == 0x02:
            self._take_setting(frame.command_id, frame.payload)
        elif frame.receiver == GIMBAL and frame.command_set == 0x04:
            self._take_gimbal(frame.command_id, frame.payload)

    def _take_setting(self, command_id: int, payload: bytes) -> None:
        row = SETTERS.get(command_id)
        if row and struct.calcsize("<" + row[0]) <= len(payload):
            values = struct.unpack_from("<" + row[0], payload)
            for name, value in zip(row[1].split(), values):
                setattr(self.state, name, value)
        elif command_id == 0x6A and len(payload) == 6:
            self._take_shot_type(payload)
        elif command_id == 0xFA and len(payload) == 1:
            self.state.focus_mode = 2 if payload[0] else 1
        elif command_id == 0x72:
            self.state.card_state, self._format_until = CARD_FORMATTING, self._now + 2
        elif command_id == 0x54:
            self.state.time_in_sync = 1

    def _take_shot_type(self, payload: bytes) -> None:
        state = self.state
        state.photo_type = payload[0]
        if payload[0] == BURST:
            state.burst_count = payload[1]
        elif payload[0] == BRACKETING:
            state.bracketing_count = payload[1]
        elif payload[0] == TIMED:
            state.timed_type, state.timed_count = payload[2], payload[1]
            state.timed_period = int.from_bytes(payload[4:6], "little")

    def _take_buttons(self, name: str) -> None:
        state = self.state
        if name == "record start press" and state.work_mode == VIDEO:
            if not state.recording:
                state.recording, state.recording_time = 1, 0.0
        elif name == "record stop press":
            state.files += state.recording
            state.recording, state.recording_time = 0, 0.0
        elif name == "interval stop press":
            state.interval_active = 0
        elif name.startswith("shot ") and state.work_mode == PHOTO:
            self._take_photo(name)
        elif name.startswith("playback "):
            self._take_playback(name.removeprefix("playback "))
        elif name == "gimbal reset press":
            self._hold_gimbal([0.0, 0.0, 0.0])

    def _take_photo(self, name: str) -> None:
        state = self.state
        if self._now < self._photo_until:
            return  # the second press of the same shot
        self._photo_until = self._now + 0.7
        if name.startswith(("shot interval", "shot timelapse")):
            state.interval_active = 1
        state.files += 1
        state.card_free = max(state.card_free - MB_PER_PHOTO, 0.0)

    def _take_playback(self, word: str) -> None:
        state = self.state
        if word == "enter":
            state.work_mode = PLAYBACK
        elif word == "exit" and state.work_mode == PLAYBACK:
            state.work_mode = VIDEO
        elif word in ("next", "prev"):
            step = 1 if word == "next" else -1
            state.file_index = max(1, min(state.files, state.file_index + step))
        elif word in ("play", "list", "back", "cancel"):
            state.playback_mode = {"play": 2, "list": 5}.get(word, 0)

    def _take_power(self, value: int) -> None:
        if value == 1 and self.state.work_mode != POWER_SAVE:
            self._before_sleep, self.state.work_mode = self.state.work_mode, POWER_SAVE
        elif value == 2 and self.state.work_mode == POWER_SAVE:
            self.state.work_mode = self._before_sleep
        elif value in (3, 4):
            self.state.recording = 0
            self.silent_for = 2.0 if value == 3 else 10.0

    def _take_gimbal(self, command_id: int, payload: bytes) -> None:
        if command_id == 0x0C and len(payload) == 7:
            pan, tilt = struct.unpack_from("<hxxh", payload)
            self._hold_gimbal(None)
            self._speed, self._speed_at = (pan, tilt), self._now
        elif command_id == 0x0A and len(payload) == 10:
            yaw, pitch = struct.unpack_from("<hxxh", payload)
            self._hold_gimbal([pitch, 0.0, yaw])
        elif command_id == 0x07 and len(payload) == 1:
            self._hold_gimbal(None)
            step = struct.unpack("b", payload)[0]
            assert self._angles
            self._angles[1] = self._angles[1] + 10 * step if step else 0.0

    def _hold_gimbal(self, target: list[float] | None) -> None:
        if self._angles is None:
            self._angles = list(map(float, self._path))
        self._target, self._speed_at = target, -1e9


SETTERS: dict[int, tuple[str, str]] = {
    0x10: ("B", "work_mode"),
    0x16: ("B", "photo_format"),
    0x18: ("BB", "resolution rate"),
    0x1E: ("B", "exposure_mode"),
    0x24: ("B", "focus_mode"),
    0x26: ("H", "aperture"),
    0x28: ("xHB", "shutter shutter_decimal"),
    0x2A: ("B", "iso"),
    0x2C: ("BB", "white_balance temperature"),
    0x2E: ("B", "ev"),
    0x30: ("ff", "focus_x focus_y"),
    0x34: ("xxxB", "zoom"),
    0x42: ("B", "colour"),
    0x46: ("B", "anti_flicker"),
    0x60: ("B", "histogram"),
    0x66: ("B", "ntsc"),
    0x68: ("B", "exposure_locked"),
    0x6C: ("xxxHH", "timelapse_interval timelapse_duration"),
    0x6E: ("B", "panorama_kind"),
    0x95: ("H", "focus_stroke"),
    0x9A: ("B", "assistants"),
}
"""Command id to the start of its payload and the fields that it sets."""
