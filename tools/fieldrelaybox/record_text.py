"""Records of the box as text for people."""

from __future__ import annotations

from typing import Any, Callable

from .command_names import ISO, RATES, RESOLUTIONS, shutter_text

Record = dict[str, Any]
BARS = " ▁▂▃▄▅▆▇█"

WORK_MODES = ("photo", "video", "playback", "transcode", "tuning", "power save", "download",
              "new playback")
CARD_STATES = ("normal", "none", "invalid", "write-protected", "not formatted", "formatting",
               "illegal", "busy", "full", "slow", "unknown", "index limit", "initialising",
               "to be formatted", "recovering a file", "became slow")
EXPOSURE_MODES = {1: "auto", 2: "shutter", 3: "aperture", 4: "manual"}
FOCUS_MODES = ("manual", "single auto", "continuous auto", "manual fine")
PHOTO_TYPES = {1: "single", 2: "hdr", 4: "burst", 5: "bracketing", 6: "timed", 7: "pano"}
PHOTO_FORMATS = ("RAW", "JPG", "JPG+RAW")
PHOTO_STATES = ("idle", "single", "several", "hdr", "full view")
PLAYBACK_MODES = ("single", "single enlarged", "playing", "paused", "several to delete", "several",
                  "download")
FILE_TYPES = ("JPEG", "DNG", "video")
CAMERA_FLAGS = ((0x1, "connected"), (0x2, "usb"), (0x4, "time in sync"), (0xC0, "recording"),
                (0x100, "sensor fault"), (0x20000, "hot"), (0x80000, "storing"),
                (0x100000, "interval shooting"))
FAR = 65535


def _named(names: tuple[str, ...] | dict[int, str], code: int) -> str:
    if isinstance(names, dict):
        return names.get(code, f"code {code}")
    return names[code] if code < len(names) else f"code {code}"


def _minutes(seconds: int) -> str:
    return f"{seconds // 60}:{seconds % 60:02}"


def flag_words(bits: dict[str, bool]) -> str:
    return "+".join(name for name, on in bits.items() if on) or "none"


def ev_text(code: int) -> str:
    return f"{round((code - 0x10) / 3, 1) + 0.0:+.1f}"


def _camera_state(record: Record) -> str:
    flags = record["flags"]
    words = [name for mask, name in CAMERA_FLAGS if flags & mask]
    photo = flags >> 3 & 0x7
    if photo:
        words.append(f"photo {_named(PHOTO_STATES, photo)}")
    card = _named(CARD_STATES, flags >> 10 & 0xF) if flags & 0x200 else "missing"
    return (f"mode={_named(WORK_MODES, record['work_mode'])} {', '.join(words) or 'no flags'}"
            f" time={_minutes(record['recording_seconds'])} card={card}"
            f" free={record['card_free_mb']}/{record['card_size_mb']} MB"
            f" left={record['photos_left']} photos {_minutes(record['record_seconds_left'])}")


def _shooting(record: Record) -> str:
    shutter = shutter_text(record["shutter"], record["shutter_decimal"])
    actual = shutter_text(record["actual_shutter"], record["actual_shutter_decimal"])
    video = f"{_named(RESOLUTIONS, record['resolution_code'])}@{_named(RATES, record['rate_code'])}"
    return (f"mode={_named(EXPOSURE_MODES, record['exposure_mode'])}"
            f" iso={_named(ISO, record['iso_code'])} ({record['actual_iso']})"
            f" shutter={shutter} ({actual})"
            f" f={record['aperture_hundredths'] / 100:g}"
            f" ({record['actual_aperture_hundredths'] / 100:g})"
            f" ev={ev_text(record['ev_code'])} video={video}"
            f" photo={_named(PHOTO_TYPES, record['photo_type'])}"
            f" {_named(PHOTO_FORMATS, record['photo_format'])}"
            f" wb={record['white_balance_mode']}/{record['temperature'] * 100}"
            f" colour={record['colour']} {flag_words(record['flags'])}")


def _lens(record: Record) -> str:
    return (f"focus={_named(FOCUS_MODES, record['focus_mode'])}"
            f" unlimited={record['af_unlimited']} manual={record['manual_focus_capability']}"
            f" assistants={record['assistant_bits']} status={record['focus_status']}"
            f" support={record['support_type']}")


def _focus_range(record: Record) -> str:
    distance = record["object_distance_cm"]
    return (f"range={record['range']} stroke={record['stroke']}"
            f" distance={'far' if distance == FAR else f'{distance / 100:g} m'}")


def _battery(record: Record) -> str:
    return (f"{record['percent']} % {record['millivolts'] / 1000:.2f} V"
            f" {record['milliamps']} mA")


def _playback(record: Record) -> str:
    return (f"mode={_named(PLAYBACK_MODES, record['mode'])}"
            f" type={_named(FILE_TYPES, record['file_type'])}"
            f" files={record['files']} on_page={record['files_on_page']}")


def _focus_point(record: Record) -> str:
    return f"x={record['x_ten_thousandths'] / 1e4:g} y={record['y_ten_thousandths'] / 1e4:g}"


def _histogram(record: Record) -> str:
    return "".join(BARS[value * len(BARS) // 256] for value in record["values"])


DESCRIBERS: dict[str, Callable[[Record], str]] = {
    "camera_state": _camera_state, "shooting": _shooting, "lens": _lens, "battery": _battery,
    "focus_range": _focus_range, "focus_point": _focus_point, "playback": _playback,
    "histogram": _histogram,
}


def _shown(name: str, value: Any) -> str:
    if isinstance(value, dict):
        return flag_words(value)
    if name.endswith("_hundredths"):
        return f"{value / 100:g}"
    if name == "channels":
        last = max((i + 1 for i, item in enumerate(value) if item), default=0)
        return ",".join(map(str, value[:last])) or "none"
    return str(value)


def describe(record: Record) -> str:
    """A record's fields on one line."""
    if record["record"] in DESCRIBERS:
        return DESCRIBERS[record["record"]](record)
    return " ".join(f"{name.removesuffix('_hundredths')}={_shown(name, value)}"
                    for name, value in record.items()
                    if name not in ("code", "record") and value != "")


def topic(record: Record) -> str:
    """What one line of a display belongs to: both links have a line of their own."""
    name = str(record["record"])
    if name == "link":
        return f"{record['link']} link"
    return f"{name} {record['code']}" if name == "unknown" else name.replace("_", " ")
