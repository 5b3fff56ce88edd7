"""App protocol of the box: the 12-byte header, control datagrams and the kind-0 records.

All values are little-endian. A message from the box is a header and a payload:

    0   'B'
    1   kind: 0 records and reports, 1 video, 2 audio
    4   u32 sequence number, one counter for all kinds and all receivers
    8   u16 client id given by the relay server, 0 while there is none

A kind-0 payload is either a record, which starts with its code, or JSON, which starts with '{'.
"""

from __future__ import annotations

import struct
from dataclasses import dataclass, field
from typing import Any

PORT = 4242
HEADER = struct.Struct("<cBHIHH")
RECORD, VIDEO, AUDIO = 0, 1, 2
KIND_NAMES = {RECORD: "record", VIDEO: "video", AUDIO: "audio"}
COMMAND_LIMIT = 255
"""The box cuts a JSON command behind this many bytes."""

EMPTY_HEADER = b"B" + bytes(11)


@dataclass(frozen=True)
class Message:
    kind: int
    sequence: int
    client_id: int
    payload: bytes


def parse_message(data: bytes) -> Message | None:
    """The message in a datagram, or None when it is something else."""
    if len(data) < HEADER.size or data[:1] != b"B":
        return None
    _, kind, _, sequence, client_id, _ = HEADER.unpack_from(data)
    return Message(kind, sequence, client_id, data[HEADER.size:])


def build_message(payload: bytes, kind: int = RECORD, sequence: int = 0,
                  client_id: int = 0) -> bytes:
    return HEADER.pack(b"B", kind, 0, sequence & 0xFFFFFFFF, client_id & 0xFFFF, 0) + payload


def register(data_only: bool) -> bytes:
    return EMPTY_HEADER + bytes((0, 1 if data_only else 0))


def unregister() -> bytes:
    return EMPTY_HEADER + bytes((1,))


def local_video(on: bool) -> bytes:
    return EMPTY_HEADER + bytes((2, 1 if on else 0))


def gimbal_motion(mode: int, a: int, b: int) -> bytes:
    return EMPTY_HEADER + struct.pack("<BBhh", 5, mode, a, b)


def command(text: str) -> bytes:
    """A JSON command. ValueError when the box would not see it as one or would cut it."""
    encoded = text.encode()
    if not encoded.startswith(b"{"):
        raise ValueError("a command must start with '{'")
    if len(encoded) > COMMAND_LIMIT:
        raise ValueError(f"a command of {len(encoded)} bytes: the box reads only {COMMAND_LIMIT}")
    return EMPTY_HEADER + encoded


@dataclass(frozen=True)
class RecordLayout:
    """Fields behind the code byte: struct format and names in order ('' = not shown)."""

    code: int
    name: str
    format: str
    fields: tuple[str, ...]
    flags: dict[str, tuple[str, ...]] = field(default_factory=dict)
    """For a field that holds bits: the name of each bit, lowest first ('' = not shown)."""

    @property
    def length(self) -> int:
        return 1 + struct.calcsize("<" + self.format)


def _record(code: int, name: str, layout: str, fields: str, **flags: str) -> RecordLayout:
    names = tuple("" if word == "-" else word for word in fields.split())
    bits = {key: tuple("" if word == "-" else word for word in text.split())
            for key, text in flags.items()}
    return RecordLayout(code, name, layout, names, bits)


RECORDS: dict[int, RecordLayout] = {layout.code: layout for layout in (
    _record(0, "attitude", "hhh", "a_hundredths b_hundredths c_hundredths"),
    _record(1, "battery", "HHh", "percent millivolts milliamps"),
    _record(2, "camera_state", "BIIIIIH",
            "work_mode flags card_size_mb card_free_mb photos_left record_seconds_left"
            " recording_seconds"),
    _record(3, "playback", "BBBHB", "mode file_type files_on_page files -"),
    _record(4, "shooting", "HHBBBBBBBBBBBBBBBBHHHBHB",
            "aperture_hundredths shutter shutter_decimal iso_code ev_code photo_format"
            " resolution_code rate_code exposure_mode white_balance_mode temperature colour"
            " anti_flicker photo_type burst_count bracketing_count panorama_kind timed_count"
            " timed_period actual_aperture_hundredths actual_shutter actual_shutter_decimal"
            " actual_iso flags", flags="ntsc exposure_locked"),
    _record(5, "link", "BB4s", "link state -"),
    _record(6, "status", "BBBBBB", "flags app_clients outputs focus_assistant rc_state -",
            flags="- access_point hdmi internet video_connected camera_disabled state_1881"
                  " state_1882",
            outputs="udp rtmp mpegts tcp rtsp"),
    _record(7, "histogram", "64s", "values"),
    _record(8, "gimbal_status", "HHH", "status - -"),
    _record(9, "camera_wifi", "BBBH20sB", "quality quality_max signal frequency_mhz ssid -"),
    _record(10, "raw_attitude", "hhh", "a b c"),
    _record(11, "version", "BBBBBB", "major minor patch - - -"),
    _record(12, "focus_range", "HHH", "range stroke object_distance_cm"),
    _record(13, "focus_point", "HHH", "x_ten_thousandths y_ten_thousandths -"),
    _record(15, "rc_channels", "BB32H", "rc_state count channels"),
    _record(16, "lens", "BBBBBB",
            "focus_mode af_unlimited manual_focus_capability assistant_bits focus_status"
            " support_type"),
)}

LINKS = {0: "data", 1: "video"}
LINK_STATES = {0: "disconnected", 2: "connected", 3: "disabled"}


def _text(raw: bytes) -> str:
    return raw.split(b"\0", 1)[0].decode("utf-8", "replace")


def _value(layout: RecordLayout, name: str, raw: Any) -> Any:
    if name in layout.flags:
        bits = layout.flags[name]
        return {bit: bool(raw >> i & 1) for i, bit in enumerate(bits) if bit}
    if name == "values":
        return list(raw)
    if isinstance(raw, bytes):
        return _text(raw)
    if (layout.code, name) == (5, "link"):
        return LINKS.get(raw, raw)
    if (layout.code, name) == (5, "state"):
        return LINK_STATES.get(raw, raw)
    return raw


def decode_record(payload: bytes) -> dict[str, Any]:
    """A kind-0 record by name: {"code", "record", field...}.

    A record of unknown code or wrong length is {"code", "record": "unknown", "hex", "fault"}.
    """
    if not payload:
        return {"code": None, "record": "unknown", "hex": "", "fault": "empty payload"}
    layout = RECORDS.get(payload[0])
    fault = ""
    if layout is None:
        fault = "unknown code"
    elif len(payload) != layout.length:
        fault = f"{layout.name} has {len(payload)} bytes instead of {layout.length}"
    if layout is None or fault:
        return {"code": payload[0], "record": "unknown", "hex": payload.hex(), "fault": fault}
    values = list(struct.unpack_from("<" + layout.format, payload, 1))
    if layout.code == 15:
        values[2:] = [values[2:]]
    decoded = {name: _value(layout, name, raw) for name, raw in zip(layout.fields, values) if name}
    return {"code": layout.code, "record": layout.name, **decoded}


def json_text(message: Message) -> str:
    """The JSON of a message, empty when it is none."""
    is_json = message.kind == RECORD and message.payload[:1] == b"{"
    return message.payload.rstrip(b"\0\n").decode("utf-8", "replace") if is_json else ""
