"""What a frame from the box says, by name.

Written from what a camera takes on the wire, never from the code that builds the frames, so that
a frame which comes out under another name, or with a complaint, shows a mistake in one.
"""

from __future__ import annotations

import struct
from dataclasses import dataclass
from typing import Callable

from . import button_frames
from .frames import BOX, BUTTONS, CAMERA, GIMBAL, Frame

REQUEST = 0x40
RADIO = 0x07

ISO = {0: "auto", 3: "100", 4: "200", 5: "400", 6: "800", 7: "1600", 8: "3200", 9: "6400"}
RESOLUTIONS = {4: "1280x720", 10: "1920x1080", 24: "2704x1520", 16: "3840x2160", 22: "4096x2160"}
RATES = {1: "24", 2: "25", 3: "30", 4: "48", 5: "50", 6: "60", 7: "120"}
COLOURS = {0x17: "d-log", 0x06: "d-cinelike", 0x00: "none", 0x01: "art", 0x04: "black white",
           0x05: "vivid", 0x0E: "beach", 0x10: "dream", 0x12: "classic", 0x13: "nostalgia",
           0x07: "portrait"}
WHITE_BALANCE = {(0, 0x44): "auto", (1, 0x30): "sunny", (2, 0x40): "cloudy",
                 (4, 0x44): "incandescent", (5, 0x19): "neon"}
SCENES = {"000000": "standard", "010001": "scenery", "0000ff": "soft", "010000": "custom"}
SHOT_TYPES = {"010100010000": "single shot", "060100010a00": "single 10s",
              "020100010000": "single hdr", "040300030100": "multiple 3shots",
              "040500050100": "multiple 5shots", "040700070100": "multiple 7shots",
              "050300030100": "multiple aeb3", "050500050100": "multiple aeb5",
              "06ff00ff0a00": "interval 10s", "06ff00ff1e00": "interval 30s",
              "07ff00ff0a00": "pano", "06ff02ff3200": "timelapse"}
ZOOM_DRIVES = {"01480100": "in", "01480000": "out", "00480000": "stop", "ff480000": "stop, again"}
GIMBAL_PARAMETERS = {
    3: ("scene mode", {0: "walk", 2: "sport", 3: "wearable"}),
    4: ("pitch", {0: "unlock", 1: "lock"}),
    5: ("zoom adjusted smooth track", {}),
    6: ("real-time AF", {}),
}

Decoder = Callable[[bytes], str]


class Unexpected(Exception):
    """A payload that no command of this id has."""


@dataclass(frozen=True)
class Command:
    size: int
    decode: Decoder
    sender: int = BOX
    command_type: int = REQUEST


def _choice(title: str, names: dict[int, str]) -> Command:
    """One payload byte that stands for a word."""
    def decode(payload: bytes) -> str:
        if payload[0] not in names:
            raise Unexpected(f"{title}: value 0x{payload[0]:02x}")
        return f"{title} {names[payload[0]]}"
    return Command(1, decode)


def _stored(title: str, names: dict[str, str], size: int) -> Command:
    """A whole payload that stands for a word."""
    def decode(payload: bytes) -> str:
        if payload.hex() not in names:
            raise Unexpected(f"{title}: payload {payload.hex(' ') or '-'}")
        return f"{title} {names[payload.hex()]}".rstrip()
    return Command(size, decode)


def _fixed(title: str, payload: str = "") -> Command:
    return _stored(title, {payload.replace(" ", ""): ""}, len(bytes.fromhex(payload)))


def _number(title: str, layout: str) -> Command:
    return Command(struct.calcsize("<" + layout),
                   lambda payload: f"{title} {struct.unpack('<' + layout, payload)[0]}")


def _require(payload: bytes, **expected: int) -> None:
    """`_require(payload, at2=0x90)`: these bytes never have another value."""
    for place, value in expected.items():
        offset = int(place.removeprefix("at"))
        if payload[offset] != value:
            raise Unexpected(f"payload byte {offset} is 0x{payload[offset]:02x}")


def _ev(payload: bytes) -> str:
    if not 0x07 <= payload[0] <= 0x19:
        raise Unexpected(f"EV code 0x{payload[0]:02x}")
    return f"set EV {round((payload[0] - 0x10) / 3, 1) + 0.0:.1f}"


def shutter_text(value: int, decimals: int) -> str:
    """'8000' is 1/8000 s, '30s' are 30 seconds."""
    number = f"{value & 0x7FFF}" + (f".{decimals}" if decimals else "")
    return number if value & 0x8000 else number + "s"


def _shutter(payload: bytes) -> str:
    _require(payload, at0=1)
    return f"set shutter {shutter_text(*struct.unpack_from('<HB', payload, 1))}"


def _focus_point(payload: bytes) -> str:
    return "set focus point {:g},{:g}".format(*(round(v, 6) for v in struct.unpack("<ff", payload)))


def _resolution(title: str) -> Decoder:
    def decode(payload: bytes) -> str:
        if any(payload[2:]):
            raise Unexpected(f"bytes {payload[2:].hex(' ')} behind the codes")
        width_height = RESOLUTIONS.get(payload[0], f"code {payload[0]}")
        return f"{title} {width_height}@{RATES.get(payload[1], f'code {payload[1]}')}"
    return decode


def _zoom(payload: bytes) -> str:
    _require(payload, at0=9, at1=0, at2=0, at4=0)
    if not 100 <= payload[3] <= 200:
        raise Unexpected(f"zoom byte {payload[3]}")
    return f"set zoom {payload[3] - 100}"


def _date_and_time(payload: bytes) -> str:
    return "set date and time {:04}-{:02}-{:02} {:02}:{:02}:{:02}".format(
        *struct.unpack("<H5B", payload))


def _assistants(payload: bytes) -> str:
    others = f", others 0x{payload[0] & 0xFC:02x}" if payload[0] > 3 else ""
    return f"set assistants MF {payload[0] & 1} AF {payload[0] >> 1 & 1}{others}"


def _white_balance(payload: bytes) -> str:
    if payload[0] == 6:
        return f"set wb custom {payload[1] * 100}"
    if tuple(payload) not in WHITE_BALANCE:
        raise Unexpected(f"white balance {payload.hex(' ')}")
    return f"set wb {WHITE_BALANCE[payload[0], payload[1]]}"


def _timelapse(payload: bytes) -> str:
    interval, duration = struct.unpack_from("<HH", payload, 3)
    if payload[:3].hex() != "010400" or payload[7:].hex() != "0000f9ff00000000":
        raise Unexpected(f"timelapse payload {payload.hex(' ')}")
    return f"set timelapse interval {interval / 10:g} duration {duration}"


def _scene(payload: bytes) -> str:
    entries = [payload[i:i + 3] for i in (1, 4, 7)]
    values = bytes(entry[2] for entry in entries).hex()
    heads = b"".join(entry[:2] for entry in entries)
    if payload[0] != 3 or heads.hex() != "3a013c013801" or values not in SCENES:
        raise Unexpected(f"scene payload {payload.hex(' ')}")
    return f"set image scene {SCENES[values]}"


def _gimbal_speed(payload: bytes) -> str:
    pan, tilt = struct.unpack("<hxxh", payload[:6])
    _require(payload, at2=0, at3=0, at6=0x90)
    return f"gimbal speed {pan},{tilt}"


def _gimbal_angle(payload: bytes) -> str:
    a, b = struct.unpack("<hxxh", payload[:6])
    if payload[2:4] != b"\0\0" or payload[6:].hex() != "6400e004":
        raise Unexpected(f"gimbal angle payload {payload.hex(' ')}")
    return f"gimbal set angle {a},{b}"


def _roll(payload: bytes) -> str:
    return f"roll horizont {struct.unpack('b', payload)[0]}"


def _gimbal_parameter(payload: bytes) -> str:
    changed = [i for i, value in enumerate(payload) if value != 0xFF]
    if not changed:
        return "set a gimbal parameter 255"
    if len(changed) != 1 or changed[0] not in GIMBAL_PARAMETERS:
        raise Unexpected(f"gimbal parameters {payload.hex(' ')}")
    title, words = GIMBAL_PARAMETERS[changed[0]]
    value = payload[changed[0]]
    return f"set {title} {words.get(value, value)}"


def _by(command: Command, sender: int, command_type: int = REQUEST) -> Command:
    return Command(command.size, command.decode, sender, command_type)


ON_OFF = {0: "off", 1: "on"}

COMMANDS: dict[tuple[int, int, int], Command] = {
    (CAMERA, 0x00, 0x05): Command(10, _scene),
    (CAMERA, 0x02, 0x10): _by(_choice("set mode", {0: "photo", 1: "video"}), BUTTONS),
    (CAMERA, 0x02, 0x12): _stored("set image aspect ratio", {"0000": "4:3", "0001": "16:9"}, 2),
    (CAMERA, 0x02, 0x16): _choice("set shot mode", {0: "RAW", 1: "JPG", 2: "JPG+RAW"}),
    (CAMERA, 0x02, 0x18): Command(5, _resolution("set video resolution")),
    (CAMERA, 0x02, 0x1E): _stored("set image mode", {"0100": "auto", "0200": "shutter",
                                                     "0300": "aperture", "0400": "manual"}, 2),
    (CAMERA, 0x02, 0x22): _fixed("set exposure to center", "00"),
    (CAMERA, 0x02, 0x24): _choice("set focus type", {0: "MF", 1: "AF"}),
    (CAMERA, 0x02, 0x26): Command(2, lambda payload:
                                  f"set aperture {int.from_bytes(payload, 'little') / 100:.2f}"),
    (CAMERA, 0x02, 0x28): Command(4, _shutter),
    (CAMERA, 0x02, 0x2A): _choice("set iso", ISO),
    (CAMERA, 0x02, 0x2C): Command(2, _white_balance),
    (CAMERA, 0x02, 0x2E): Command(1, _ev),
    (CAMERA, 0x02, 0x30): Command(8, _focus_point),
    (CAMERA, 0x02, 0x32): _number("set exposure point", "B"),
    (CAMERA, 0x02, 0x34): Command(5, _zoom),
    (CAMERA, 0x02, 0x42): _choice("set color", COLOURS),
    (CAMERA, 0x02, 0x46): _choice("set anti-flicker", {0: "auto", 1: "50", 2: "60"}),
    (CAMERA, 0x02, 0x54): Command(7, _date_and_time),
    (CAMERA, 0x02, 0x60): _choice("set histogram", ON_OFF),
    (CAMERA, 0x02, 0x66): _choice("set video standard", {0: "PAL", 1: "NTSC"}),
    (CAMERA, 0x02, 0x68): _choice("set auto exposure", {0: "unlocked", 1: "locked"}),
    (CAMERA, 0x02, 0x6A): _stored("set shot type", SHOT_TYPES, 6),
    (CAMERA, 0x02, 0x6C): Command(15, _timelapse),
    (CAMERA, 0x02, 0x6E): _choice("set panorama", {5: "180", 1: "360", 3: "180self", 4: "manual",
                                                   7: "grid"}),
    (CAMERA, 0x02, 0x72): _fixed("format microSD card"),
    (CAMERA, 0x02, 0x95): _number("set manual focus", "H"),
    (CAMERA, 0x02, 0x9A): Command(1, _assistants),
    (CAMERA, 0x02, 0xA4): _fixed("calibrate focus", "01 01 00"),
    (CAMERA, 0x02, 0xAF): Command(2, _resolution("set video resolution also")),
    (CAMERA, 0x02, 0xB8): _stored("zoom drive", ZOOM_DRIVES, 4),
    (CAMERA, 0x02, 0xFA): _choice("set AF unlimited", ON_OFF),
    (GIMBAL, 0x04, 0x01): _by(_fixed("calibrate gimbal", "00 04 00 04 00 04 80 00"), BUTTONS, 0x20),
    (GIMBAL, 0x04, 0x07): Command(1, _roll),
    (GIMBAL, 0x04, 0x08): _fixed("calibrate gimbal now"),
    (GIMBAL, 0x04, 0x0A): Command(10, _gimbal_angle),
    (GIMBAL, 0x04, 0x0C): Command(7, _gimbal_speed),
    (GIMBAL, 0x04, 0x35): Command(8, _gimbal_parameter),
    (RADIO, 0x07, 0x10): _choice("set Wi-Fi mode", {0: "2.4", 1: "5.8"}),
    (RADIO, 0x07, 0x15): _fixed("restart Wi-Fi"),
    (BUTTONS, 0x09, 0x51): _choice("power", {1: "sleep", 2: "wakeup", 3: "restart",
                                             4: "shutdown"}),
}


def describe(frame: Frame) -> tuple[str, tuple[str, ...]]:
    """The frame's name, and what is odd about it."""
    if frame.command == (0x01, 0x01):
        return button_frames.describe(frame)
    command = COMMANDS.get((frame.receiver, *frame.command))
    if command is None:
        return "unknown command", ("no such command",)
    if len(frame.payload) != command.size:
        return "unknown command", (f"payload of {len(frame.payload)} bytes, not {command.size}",)
    odd = []
    if frame.sender != command.sender:
        odd.append(f"sender 0x{frame.sender:02x}, not 0x{command.sender:02x}")
    if frame.command_type != command.command_type:
        odd.append(f"command type 0x{frame.command_type:02x}, not 0x{command.command_type:02x}")
    try:
        return command.decode(frame.payload), tuple(odd)
    except Unexpected as error:
        return "unknown command", (*odd, str(error))
