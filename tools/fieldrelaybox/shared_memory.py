"""The shared-memory regions of the box, by name.

`/hud_mem` is the status block, `/config_mem` the configuration record, `/fieldrelaybox_stats` what
the daemon counts. All are little-endian byte layouts; pad and unnamed bytes are reached through
`Region.raw`. Names, offsets and kinds are those of include/fieldrelaybox/, which need not be there
on the box.
"""

from __future__ import annotations

import mmap
import os
import struct
from dataclasses import dataclass
from pathlib import Path
from typing import Any

from .settings_words import load_rows

SHARED_MEMORY_DIRECTORY = Path("/dev/shm")


@dataclass(frozen=True)
class Structure:
    """Members one behind the other, without gaps."""

    members: tuple[tuple[str, "Kind"], ...]

    @property
    def size(self) -> int:
        return sum(size_of(kind) for _, kind in self.members)


Kind = str | Structure
"""'20s' is a NUL-terminated text, '32B' and the like a list, a single letter a number."""


def size_of(kind: Kind) -> int:
    return struct.calcsize("<" + kind) if isinstance(kind, str) else kind.size


@dataclass(frozen=True)
class Field:
    offset: int
    name: str
    kind: Kind
    count: int = 0
    """Of structures in a list; 0 is one that is none."""

    @property
    def size(self) -> int:
        return size_of(self.kind) * max(self.count, 1)


@dataclass(frozen=True)
class Layout:
    name: str
    size: int
    fields: dict[str, Field]


def _layout(name: str, size: int, rows: tuple[tuple[Any, ...], ...]) -> Layout:
    return Layout(name, size, {row[1]: Field(*row) for row in rows})


ATTITUDE_ANGLE = Structure((("radians", "d"), ("sine", "d"), ("cosine", "d")))
INPUT_COUNT = Structure((("datagrams", "Q"), ("bytes", "Q")))
OUTPUT_COUNT = Structure((("datagrams", "Q"), ("bytes", "Q"), ("blocked", "Q"), ("failed", "Q")))
PEER_COUNT = Structure((("address", "I"), ("port", "H"), ("present", "H"),
                        ("received", INPUT_COUNT), ("sent", OUTPUT_COUNT)))

STATUS_BLOCK = _layout("hud_mem", 1936, (
    (0, "daemon_started", "B"),
    (1, "product_name", "14s"),
    (129, "link_byte_129", "B"),
    (132, "app_client_count", "B"),
    (133, "link_byte_133", "B"),
    (134, "link_byte_134", "B"),
    (135, "video_connected", "B"),
    (136, "camera_disabled", "B"),
    (137, "show_channels", "B"),
    (140, "video_status", "32s"),
    (172, "telemetry_status", "32s"),
    (208, "attitude_a", ATTITUDE_ANGLE),
    (232, "attitude_b", ATTITUDE_ANGLE),
    (256, "attitude_c", ATTITUDE_ANGLE),
    (550, "version_text", "20s"),
    (570, "osd_enabled", "B"),
    (571, "hud_enabled", "B"),
    (572, "internal_camera_enabled", "B"),
    (573, "internal_camera_fullscreen", "B"),
    (574, "focus_assistant_enabled", "B"),
    (656, "attitude_b_text", "10s"),
    (666, "attitude_c_text", "10s"),
    (676, "attitude_a_text", "10s"),
    (686, "attitude_updating", "B"),
    (688, "focus_point_x", "d"),
    (696, "focus_point_y", "d"),
    (704, "command_field", "127s"),
    (831, "rc_receiver_state", "B"),
    (832, "rc_heartbeat", "B"),
    (834, "rc_channels", "32H"),
    (898, "channel_function", "32B"),
    (1000, "camera_flags", "I"), (1004, "card_size", "I"), (1008, "card_free", "I"),
    (1012, "photos_left", "I"), (1016, "recording_time_left", "I"), (1020, "iso_actual", "I"),
    (1024, "recording_time", "H"), (1026, "aperture", "H"), (1028, "aperture_actual", "H"),
    (1030, "shutter", "H"), (1032, "shutter_actual", "H"), (1034, "focus_range", "H"),
    (1036, "focus_stroke", "H"), (1038, "focus_distance", "H"), (1040, "battery_voltage", "H"),
    (1042, "battery_current", "h"), (1044, "recording", "B"), (1045, "photo_state", "B"),
    (1046, "card_present", "B"), (1047, "card_state", "B"), (1048, "shutter_decimal", "B"),
    (1049, "shutter_actual_decimal", "B"), (1050, "iso_code", "B"), (1051, "ev_code", "B"),
    (1052, "ev_actual_code", "B"), (1053, "exposure_mode", "B"), (1054, "white_balance_mode", "B"),
    (1055, "white_balance_temperature", "B"), (1056, "video_resolution_code", "B"),
    (1057, "video_rate_code", "B"), (1058, "focus_mode", "B"), (1059, "battery_percent", "B"),
    (1060, "rc_menu_active", "B"),
    (1648, "camera_value_1648", "I"),
    (1662, "gimbal_status", "B"),
    (1699, "manual_focus_capable", "B"),
    (1729, "af_unlimited", "B"),
    (1864, "camera_work_mode", "B"),
    (1881, "camera_flag_1881", "B"),
    (1882, "camera_flag_1882", "B"),
    (1886, "timelapse_interval", "H"),
    (1888, "timelapse_duration", "H"),
))


def _setting_rows() -> tuple[tuple[int, str, str], ...]:
    def code(row: dict[str, Any]) -> str:
        size = row["capacity"]
        return f"{size}s" if row["kind"].endswith("text") else {1: "B", 4: "i"}[size]
    return tuple((row["offset"], row["key"], code(row)) for row in load_rows())


CONFIG_RECORD = _layout("config_mem", 3256, tuple(sorted((
    *_setting_rows(),
    (568, "roll_speed", "i"),
    (1364, "apstate", "B"),
    (2952, "clock", "I"),
    (2956, "video_connected", "B"),
    (2957, "camera_disabled", "B"),
    (2958, "internet_reachable", "B"),
    (3109, "version", "20s"),
    (3129, "always_one", "B"),
    (3131, "camera_link_ssid", "40s"),
    (3172, "server_client_id", "I"),
))))

STATISTICS = _layout("fieldrelaybox_stats", 1752, (
    (0, "magic", "I"), (4, "version", "I"), (8, "size", "I"), (12, "process_id", "I"),
    (16, "started", "q"), (24, "video_in", INPUT_COUNT), (40, "audio_in", INPUT_COUNT),
    (56, "transcoded_in", INPUT_COUNT), (72, "control_in", INPUT_COUNT),
    (88, "server_in", INPUT_COUNT), (104, "camera_in", INPUT_COUNT),
    (120, "control_out", OUTPUT_COUNT), (152, "server_out", OUTPUT_COUNT),
    (184, "camera_out", OUTPUT_COUNT), (216, "transcoder_out", OUTPUT_COUNT),
    (248, "rtmp_video_out", OUTPUT_COUNT), (280, "mpegts_video_out", OUTPUT_COUNT),
    (312, "tcp_video_out", OUTPUT_COUNT), (344, "rtsp_video_out", OUTPUT_COUNT),
    (376, "rtmp_audio_out", OUTPUT_COUNT), (408, "mpegts_audio_out", OUTPUT_COUNT),
    (440, "tcp_audio_out", OUTPUT_COUNT), (472, "player_out", OUTPUT_COUNT),
    (504, "camera_not_connected", "Q"), (512, "frames_accepted", "Q"),
    (520, "frames_too_short", "Q"), (528, "frames_too_long", "Q"),
    (536, "frames_wrong_length", "Q"), (544, "frames_unknown", "Q"), (552, "frames_ignored", "Q"),
    (560, "commands_taken", "Q"), (568, "commands_unknown", "Q"), (576, "commands_cut", "Q"),
    (584, "commands_merged", "Q"), (592, "commands_dropped", "Q"), (600, "saves_done", "Q"),
    (608, "saves_failed", "Q"), (616, "apps", PEER_COUNT, 10),
    (1176, "udp_clients", PEER_COUNT, 10), (1736, "settings_unsaved", "Q"),
    (1744, "log_lines_lost", "Q"),
))
STATISTICS_MAGIC, STATISTICS_VERSION = 0x54535246, 1


class Region:
    """A mapped region. `with Region(STATUS_BLOCK) as block: block["app_client_count"]`."""

    def __init__(self, layout: Layout, read_only: bool = False) -> None:
        self.layout = layout
        path = SHARED_MEMORY_DIRECTORY / layout.name
        handle = os.open(path, os.O_RDONLY if read_only else os.O_RDWR)
        try:
            size = os.fstat(handle).st_size
            if size < layout.size:
                raise OSError(f"{path} has {size} bytes, {layout.size} are needed")
            access = mmap.ACCESS_READ if read_only else mmap.ACCESS_WRITE
            self.raw = mmap.mmap(handle, layout.size, access=access)
        finally:
            os.close(handle)

    def __enter__(self) -> "Region":
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def close(self) -> None:
        self.raw.close()

    def __getitem__(self, name: str) -> Any:
        return decode_field(self.layout.fields[name], self.raw)

    def __setitem__(self, name: str, value: Any) -> None:
        entry = self.layout.fields[name]
        self.raw[entry.offset:entry.offset + entry.size] = encode_field(entry, value)

    def post_command(self, text: str) -> None:
        """Leave a JSON command for the box; its first byte is written last.

        The box takes the field as soon as its first byte is not zero.
        """
        entry = self.layout.fields["command_field"]
        encoded = text.encode()
        if not 0 < len(encoded) <= entry.size:
            raise ValueError(f"a command has 1 to {entry.size} bytes, not {len(encoded)}")
        padded = encoded.ljust(entry.size, b"\0")
        self.raw[entry.offset + 1:entry.offset + entry.size] = padded[1:]
        self.raw[entry.offset] = padded[0]


def decode(kind: Kind, block: bytes | mmap.mmap, offset: int) -> Any:
    if isinstance(kind, Structure):
        values = {}
        for name, member in kind.members:
            values[name] = decode(member, block, offset)
            offset += size_of(member)
        return values
    found = struct.unpack_from("<" + kind, block, offset)
    if kind.endswith("s"):
        return found[0].split(b"\0", 1)[0].decode("utf-8", "replace")
    return found[0] if len(found) == 1 else list(found)


def decode_field(entry: Field, block: bytes | mmap.mmap) -> Any:
    if entry.count == 0:
        return decode(entry.kind, block, entry.offset)
    return [decode(entry.kind, block, entry.offset + i * size_of(entry.kind))
            for i in range(entry.count)]


def encode_field(entry: Field, value: Any) -> bytes:
    """Bytes of a value that is no structure; a text is cut so that its terminating NUL fits."""
    if not isinstance(entry.kind, str):
        raise ValueError(f"{entry.name} is a structure")
    if entry.kind.endswith("s"):
        encoded = value if isinstance(value, bytes) else str(value).encode()
        return encoded[:entry.size - 1].ljust(entry.size, b"\0")
    values = value if isinstance(value, (list, tuple)) else (value,)
    return struct.pack("<" + entry.kind, *values)


def decode_all(layout: Layout, block: bytes | mmap.mmap) -> dict[str, Any]:
    return {name: decode_field(entry, block) for name, entry in layout.fields.items()}
