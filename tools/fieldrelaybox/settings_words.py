"""The settings that an app can change, the values they take, and where the report shows them."""

from __future__ import annotations

import json
from dataclasses import dataclass

TRUE, FALSE = ("1", "true", "on", "yes"), ("0", "false", "off", "no")
INTERFACES = {"none": "0", "wifi0": "1", "wlan0": "2"}

HDMI_MODES = (
    "default", "640x480@60p CEA", "1280x720@50p CEA", "1280x720@60p CEA", "1920x1080@50i CEA",
    "1920x1080@50p CEA", "1920x1080@60i CEA", "1920x1080@60p CEA", "640x480@60p DMT",
    "640x480@75p DMT", "800x600@60p DMT", "800x600@75p DMT", "1024x768@60p DMT",
    "1024x768@75p DMT", "1152x864@75p DMT", "1280x1024@60p DMT", "1280x1024@75p DMT",
    "1920x1080@60p DMT")


@dataclass(frozen=True)
class Value:
    """One value of a setting: what it may be, and the report member that shows it ('' = none)."""

    title: str
    kind: str
    """'on|off', 'number', 'byte', 'text N' (at most N characters), or the allowed words."""

    member: str = ""
    words: tuple[str, ...] = ()

    def convert(self, text: str) -> str:
        """The text that the box understands; ValueError when it could not be meant."""
        if self.words:
            if text not in self.words:
                raise ValueError(f"{self.title}: {text} is none of {', '.join(self.words)}")
        elif self.kind == "on|off":
            return self._truth(text)
        elif self.kind in ("number", "byte"):
            self._check_number(text)
        elif len(text.encode()) > (limit := int(self.kind.split()[1])):
            raise ValueError(f"{self.title}: at most {limit} characters")
        return text

    def _truth(self, text: str) -> str:
        if text.lower() not in TRUE + FALSE:
            raise ValueError(f"{self.title}: {text} is neither on nor off")
        return "1" if text.lower() in TRUE else "0"

    def _check_number(self, text: str) -> None:
        low, high = (0, 255) if self.kind == "byte" else (-2**31, 2**31 - 1)
        try:
            number = int(text)
        except ValueError:
            raise ValueError(f"{self.title}: {text} is no number") from None
        if str(number) != text or not low <= number <= high:
            raise ValueError(f"{self.title}: {text} is no plain number from {low} to {high}")

    @property
    def described(self) -> str:
        if self.kind == "on|off":
            return "on|off"
        return "|".join(self.words) if 0 < len(self.words) < 6 else self.title.upper()


def _on_off(member: str) -> tuple[Value, ...]:
    return (Value("on|off", "on|off", member),)


def _number(member: str, title: str = "number") -> tuple[Value, ...]:
    return (Value(title, "number", member),)


def _text(limit: int, member: str, title: str) -> tuple[Value, ...]:
    return (Value(title, f"text {limit}", member),)


SETTINGS: dict[str, tuple[Value, ...]] = {
    "rcin_enabled": _on_off("rcin_en"),
    "rcin_mode": (Value("RC1-mode", "", "rcin_mode", ("pwm", "ppm")),
                  Value("RC2-mode", "", "rcin2_mode", ("sbus", "ppm"))),
    "rcin_map": _text(511, "rcin_map", "function,function,..."),
    "rcin_speed": (*_number("rcin_pan", "pan"), *_number("rcin_tilt", "tilt"),
                   *_number("", "roll")),
    "rcin_pan": _number("rcin_pan"),
    "rcin_tilt": _number("rcin_tilt"),
    "rcin_dutch": _number(""),
    "rcin_pan_inv": _number("rcin_paninv"),
    "rcin_tilt_inv": _number("rcin_tiltinv"),
    "rcin_exp": _on_off("rcin_exp"),
    "display_enabled": _on_off("disp_en"),
    "udp_enabled": _on_off("udp_en"),
    "tcp_enabled": _on_off("tcp_en"),
    "mpegts_enabled": _on_off("mpegts_en"),
    "rtsp_enabled": _on_off("rtsp_en"),
    "rtmp_enabled": _on_off("rtmp_en"),
    "hud_enabled": _on_off("hud_en"),
    "internal_camera_enabled": _on_off("ic_en"),
    "internal_camera_fullscreen": _on_off("ic_fs"),
    "fa_enabled": _on_off(""),
    "osd_enabled": _on_off("osd_en"),
    "hdmi_enabled": _on_off("hdmistate"),
    "hdmimode": (Value("mode", "", "", HDMI_MODES), Value("at every start", "on|off")),
    "osd_borders": (Value("width", "byte", "osdbrdw"), Value("height", "byte", "osdbrdh")),
    "osd_offset": (Value("top", "byte", "osdtof"), Value("bottom", "byte", "osdbof")),
    "osd_top_offset": (Value("pixels", "byte", "osdtof"),),
    "osd_bottom_offset": (Value("pixels", "byte", "osdbof"),),
    "video_bitrate": _number("vbitrate", "bit/s"),
    "video_transcode_enabled": _on_off("vte"),
    "video_resolution": (Value("resolution", "", "vw", ("320x240", "640x480", "1280x720")),),
    "audio_bitrate": _number("abitrate", "bit/s"),
    "audio_volume": _number("avol", "percent"),
    "audio_enabled": _on_off("audio_en"),
    "audio_autogain": _on_off("again"),
    "rtmp_url": _text(255, "rtmp_url", "URL"),
    "tcp_port": _number("tcp_port", "port"),
    "mpegts_clients": _text(255, "mpegts_clients", "address:port,..."),
    "udp_clients": _text(255, "udp_clients", "address:port,..."),
    "server_connection": (
        *_text(15, "s2", "host"), *_number("s3", "port"), *_text(15, "s4", "user"),
        *_text(19, "s5", "password"), *_text(19, "s6", "device-id"), *_on_off("s1")),
}

WIFI_MEMBERS = ("cam_iface", "cam_ssid", "cam_psk", "lan_iface", "lan_ssid", "lan_psk",
                "ap_iface", "ap_ssid", "ap_psk", "ap_mode", "ap_channel", "ap_country")
"""The report members that show the twelve values of the setting "wifi", in order."""

UNCHANGED = "-"
"""Not a known interface code or band: the box leaves that one as it is."""


def update_command(name: str, values: list[str]) -> str:
    members = {"cmd": "updateparam", "name": name}
    for i, value in enumerate(values, 1):
        members["value" if i == 1 else f"value{i}"] = value
    return json.dumps(members, separators=(",", ":"), ensure_ascii=False)


def convert(name: str, texts: list[str]) -> list[str]:
    """The values for the box; ValueError says what is wrong with the name or a value."""
    if name not in SETTINGS:
        raise ValueError(f"{name} is no setting (see set --help)")
    values = SETTINGS[name]
    if len(texts) != len(values):
        raise ValueError(f"usage: set {name} {' '.join(value.described for value in values)}")
    return [value.convert(text) for value, text in zip(values, texts)]


def expected_members(name: str, values: list[str]) -> dict[str, str]:
    """What the report shows once the setting is as told."""
    if name == "video_resolution":
        width, height = values[0].split("x")
        return {"vw": width, "vh": height}
    return {value.member: text for value, text in zip(SETTINGS[name], values) if value.member}


def setting_of(member: str) -> str:
    """The setting behind a report member, preferring one that changes nothing else."""
    found = [name for name, values in SETTINGS.items() if member in [v.member for v in values]]
    found.sort(key=lambda name: len(SETTINGS[name]))
    if not found and member in ("vh",):
        return "set video_resolution"
    if not found:
        return "wifi set" if member in WIFI_MEMBERS else ""
    return f"set {found[0]}"


def help_text() -> str:
    return "\n".join(f"  {name} {' '.join(value.described for value in values)}"
                     for name, values in SETTINGS.items())
