"""Records of the box as text for people."""

from __future__ import annotations

from typing import Any, Callable

from .command_names import COLOURS, ISO, RATES, RESOLUTIONS, WHITE_BALANCE, shutter_text

Record = dict[str, Any]
BARS = " ▁▂▃▄▅▆▇█"

WORK_MODES = ("photo", "video", "playback", "transcode", "tuning", "power save", "download",
              "new playback")
CARD_STATES = ("normal", "none", "invalid", "write-protected", "not formatted", "formatting",
               "illegal", "busy", "full", "slow", "unknown", "index limit", "initialising",
               "to be formatted", "recovering a file", "became slow")
EXPOSURE_MODES = {1: "auto", 2: "shutter", 3: "aperture", 4: "manual"}
FOCUS_MODES = ("manual", "single auto", "continuous auto", "manual fine")
PHOTO_TYPES = {1: "single", 2: "HDR", 4: "burst", 5: "bracketing", 6: "timed", 7: "panorama"}
PHOTO_FORMATS = ("RAW", "JPG", "JPG+RAW")
PHOTO_STATES = ("idle", "single", "several", "HDR", "full view")
PLAYBACK_MODES = ("single", "single enlarged", "playing", "paused", "several to delete", "several",
                  "download")
FILE_TYPES = ("JPEG", "DNG", "video")
CAMERA_FLAGS = ((0xC0, "recording"), (0x100, "sensor fault"), (0x20000, "hot"), (0x80000, "storing"),
                (0x100000, "interval shooting"))
RC_STATES = ("off", "no device", "no signal", "calibrating", "signal lost", "failsafe", "good")
OUTPUTS = {"udp": "UDP", "rtmp": "RTMP", "mpegts": "MPEG-TS", "tcp": "TCP", "rtsp": "RTSP"}
BOX_FLAGS = {"access_point": "access point", "hdmi": "HDMI", "internet": "internet"}
RARE_FLAGS = {"camera_disabled": "camera disabled", "state_1881": "the camera's first flag",
              "state_1882": "the camera's second flag"}
NO_NETWORK = "(null)"
FAR = 65535


def _named(names: tuple[str, ...] | dict[int, str], code: int) -> str:
    if isinstance(names, dict):
        return names.get(code, f"code {code}")
    return names[code] if code < len(names) else f"code {code}"


def _on_off(value: object) -> str:
    return "on" if value else "off"


def _minutes(seconds: int) -> str:
    return f"{seconds // 60}:{seconds % 60:02}"


def printable(text: str) -> str:
    """A text from elsewhere that a terminal shows and does not obey."""
    return "".join(letter if letter.isprintable() else "?" for letter in text)


def count_of(number: int, name: str) -> str:
    return f"{number or 'no'} {name}{'' if number == 1 else 's'}"


def ev_text(code: int) -> str:
    return f"{round((code - 0x10) / 3, 1) + 0.0:+.1f}"


def rc_text(state: int) -> str:
    return _named(RC_STATES, state)


def _camera_state(record: Record) -> str:
    flags = record["flags"]
    words = [f"{_named(WORK_MODES, record['work_mode'])} mode"]
    words += [name for mask, name in CAMERA_FLAGS if flags & mask]
    if photo := flags >> 3 & 0x7:
        words.append(f"photo {_named(PHOTO_STATES, photo)}")
    if flags & 0xC0:
        words.append(_minutes(record["recording_seconds"]))
    words.append(f"card {_named(CARD_STATES, flags >> 10 & 0xF)}" if flags & 0x200 else "no card")
    words.append(f"{record['card_free_mb']} of {record['card_size_mb']} MB free")
    words.append(f"room for {record['photos_left']} photos or"
                 f" {_minutes(record['record_seconds_left'])} of video")
    return ", ".join(words)


def _white_balance(record: Record) -> str:
    mode, temperature = record["white_balance_mode"], record["temperature"]
    kelvin = f"{temperature * 100} K"
    return kelvin if mode == 6 else WHITE_BALANCE.get((mode, temperature), f"code {mode} {kelvin}")


def _shooting(record: Record) -> str:
    shutter = shutter_text(record["shutter"], record["shutter_decimal"])
    actual = shutter_text(record["actual_shutter"], record["actual_shutter_decimal"])
    flags = record["flags"]
    words = [f"{_named(EXPOSURE_MODES, record['exposure_mode'])} exposure",
             f"ISO {_named(ISO, record['iso_code'])} (now {record['actual_iso']})",
             f"shutter {shutter} (now {actual})",
             f"f/{record['aperture_hundredths'] / 100:g}"
             f" (now {record['actual_aperture_hundredths'] / 100:g})",
             f"EV {ev_text(record['ev_code'])}",
             f"video {_named(RESOLUTIONS, record['resolution_code'])}"
             f"@{_named(RATES, record['rate_code'])} {'NTSC' if flags['ntsc'] else 'PAL'}",
             f"{_named(PHOTO_TYPES, record['photo_type'])} photos"
             f" as {_named(PHOTO_FORMATS, record['photo_format'])}",
             f"white balance {_white_balance(record)}",
             f"colour {_named(COLOURS, record['colour'])}"]
    return ", ".join(words + ["exposure locked"] * flags["exposure_locked"])


def _lens(record: Record) -> str:
    bits = record["assistant_bits"]
    unlimited = " unlimited" if record["af_unlimited"] else ""
    manual = "possible" if record["manual_focus_capability"] else "impossible"
    return (f"{_named(FOCUS_MODES, record['focus_mode'])}{unlimited}, manual {manual}, assistants:"
            f" manual {_on_off(bits & 1)}, auto {_on_off(bits & 2)}, status {record['focus_status']},"
            f" lens type {record['support_type']}")


def _focus_range(record: Record) -> str:
    distance = record["object_distance_cm"]
    return (f"position {record['stroke']} of {record['range']}, object"
            f" {'far' if distance == FAR else f'at {distance / 100:g} m'}")


def _battery(record: Record) -> str:
    return (f"{record['percent']} %, {record['millivolts'] / 1000:.2f} V,"
            f" {record['milliamps']} mA")


def _playback(record: Record) -> str:
    return (f"{_named(PLAYBACK_MODES, record['mode'])}, {_named(FILE_TYPES, record['file_type'])},"
            f" {count_of(record['files'], 'file')}, {record['files_on_page']} on the page")


def _focus_point(record: Record) -> str:
    across, down = record["x_ten_thousandths"], record["y_ten_thousandths"]
    return f"{across / 100:.0f} %, {down / 100:.0f} %" if across or down else "not set"


def _angles(*names: str, scale: float, unit: str) -> Callable[[Record], str]:
    return lambda record: ", ".join(f"{axis} {record[name] / scale:g}{unit}"
                                    for axis, name in zip(("pan", "tilt", "roll"), names))


def _status(record: Record) -> str:
    flags, outputs = record["flags"], record["outputs"]
    on = [name for bit, name in OUTPUTS.items() if outputs[bit]]
    words = [count_of(record["app_clients"], "app"), f"outputs {' '.join(on) or 'off'}",
             f"RC {rc_text(record['rc_state'])}",
             *(f"{name} {_on_off(flags[bit])}" for bit, name in BOX_FLAGS.items()),
             f"focus assistant {_on_off(record['focus_assistant'])}",
             *(words for bit, words in RARE_FLAGS.items() if flags[bit])]
    return ", ".join(words)


def _camera_wifi(record: Record) -> str:
    if record["ssid"] == NO_NETWORK:
        return "no link"
    return (f"{record['ssid']}, quality {record['quality']} of {record['quality_max']},"
            f" {record['signal'] - 256} dBm at {record['frequency_mhz']} MHz")


def _rc_channels(record: Record) -> str:
    values = record["channels"]
    last = max((i + 1 for i, value in enumerate(values) if value), default=0)
    return f"{rc_text(record['rc_state'])}, {' '.join(map(str, values[:last])) or 'no channel'}"


DESCRIBERS: dict[str, Callable[[Record], str]] = {
    "attitude": _angles("a_hundredths", "b_hundredths", "c_hundredths", scale=100, unit="°"),
    "battery": _battery, "camera_state": _camera_state, "playback": _playback,
    "shooting": _shooting, "link": lambda record: str(record["state"]), "status": _status,
    "histogram": lambda record: "".join(BARS[value * len(BARS) // 256]
                                        for value in record["values"]),
    "gimbal_status": lambda record: f"status {record['status']}", "camera_wifi": _camera_wifi,
    "raw_attitude": _angles("a", "b", "c", scale=1, unit=""),
    "version": lambda record: f"{record['major']}.{record['minor']}.{record['patch']}",
    "focus_range": _focus_range, "focus_point": _focus_point, "rc_channels": _rc_channels,
    "lens": _lens, "unknown": lambda record: f"{record['fault']}: {record['hex']}",
}
TITLES = {"status": "box", "camera_state": "camera", "shooting": "exposure", "attitude": "gimbal",
          "raw_attitude": "gimbal counts", "camera_wifi": "camera wi-fi", "lens": "focus"}


def describe(record: Record) -> str:
    """A record's fields on one line."""
    return printable(DESCRIBERS[record["record"]](record))


def topic(record: Record) -> str:
    """What one line of a display belongs to: both links have a line of their own."""
    name = str(record["record"])
    if name == "link":
        return {"data": "camera link", "video": "video link"}.get(record["link"], "other link")
    return f"{name} {record['code']}" if name == "unknown" else TITLES.get(name, name.replace("_", " "))
