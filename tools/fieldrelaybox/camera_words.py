"""The camera's and gimbal's command words as the box takes them."""

from __future__ import annotations

import json
from dataclasses import dataclass


@dataclass(frozen=True)
class Word:
    """A command word. `params` are its first arguments with the values that follow them.

    '' stands for no first argument, '-' for none but values, '<...>' for any text.
    """

    help: str
    params: dict[str, str]


def _words(text: str) -> dict[str, str]:
    return {word: "" for word in text.split()}


RESOLUTIONS = ("4096x2160@25 4096x2160@24 3840x2160@30 3840x2160@25 3840x2160@24 2704x1520@30"
               " 2704x1520@25 2704x1520@24 1920x1080@120 1920x1080@60 1920x1080@50 1920x1080@48"
               " 1920x1080@30 1920x1080@25 1920x1080@24 1280x720@60 1280x720@50 1280x720@48"
               " 1280x720@30 1280x720@25 1280x720@24")
COLOURS = ("d-log", "d-cinelike", "none", "art", "black white", "vivid", "beach", "dream",
           "classic", "nostalgia", "portrait")

WORDS: dict[str, Word] = {
    "camera": Word("camera link and mode",
                   {"enable": "", "disable": "", "mode": "video|photo"}),
    "horizont": Word("roll the horizon", _words("cw ccw zero calibrate")),
    "exposure": Word("exposure point and lock",
                     {"point": "INDEX", "center": "", "auto": "lock|unlock"}),
    "focus": Word("focus", {"type": "mf|af|afunlim", "point": "X Y (0..1)", "manual": "PERCENT",
                            "mfa": "0|1", "afa": "0|1", "realtime": "NUMBER"}),
    "position": Word("point the gimbal",
                     {"move": "A B", "moverel": "PAN TILT (0 0 stops)", "normal": "",
                      "selfie": ""}),
    "zoom": Word("zoom to LEVEL (0..100); -1 by a step, -2 set the step register, -3 drive",
                 {"-1": "STEP", "-2": "STEP",
                  "-3": "DIRECTION (below 0 out, above in, 0 stops)", "<LEVEL>": ""}),
    "orientation": Word("gimbal orientation", _words("lock unlock")),
    "scenemode": Word("gimbal behaviour", _words("walk sport wearable")),
    "pitch": Word("gimbal pitch", _words("lock unlock")),
    "color": Word("colour", dict.fromkeys(COLOURS, "")),
    "scene": Word("image scene", _words("standard scenery soft custom")),
    "wb": Word("white balance", _words("auto sunny cloudy incandescent neon")
               | {"custom": "KELVIN"}),
    "shot": Word("take a photo, after setting the file format if one is given",
                 {"": ""} | _words("raw jpg jpg+raw")),
    "stopshot": Word("end interval shooting", {"": ""}),
    "shotmode": Word("photo file format", _words("raw jpg jpg+raw")),
    "shottype": Word("kind of photo",
                     {"single": "shot|10s|hdr", "multiple": "3shots|5shots|7shots|aeb3|aeb5",
                      "interval": "10s|30s", "pano": "180|360|180self|manual|grid",
                      "timelapse": "INTERVAL DURATION (-1: as stored)"}),
    "record": Word("video recording", _words("start stop")),
    "hystogram": Word("histogram pushes", _words("1 0")),
    "video_mode": Word("exposure mode", _words("auto shutter aperture manual")),
    "shutter": Word("shutter, such as 30s or 8000 (a fraction of a second)", {"<TIME>": ""}),
    "aperture": Word("f-number", {"<NUMBER>": ""}),
    "iso": Word("sensitivity", _words("auto 100 200 400 800 1600 3200 6400")),
    "ev": Word("exposure compensation, -3.0 to 3.0 in thirds", {"<NUMBER>": ""}),
    "video_resolution": Word("video format", _words(RESOLUTIONS)),
    "video_aspect": Word("picture aspect ratio", _words("4:3 16:9")),
    "video_std": Word("video standard", _words("PAL NTSC")),
    "antiflicker": Word("mains frequency", _words("auto 50 60")),
    "calibratefocus": Word("calibrate the focus", {"": ""}),
    "formatmicrosd": Word("format the card: everything on it is lost", {"": ""}),
    "zoomadjustedsmoothtrack": Word("gimbal speed follows zoom", {"-": "NUMBER"}),
    "time": Word("set the camera's clock", {"-": "YYYYMMDDhhmmss"}),
    "power": Word("camera power", _words("sleep wakeup restart shutdown")),
    "wifi": Word("the camera's Wi-Fi band", {"mode": "5.8|2.4"}),
    "playback": Word("playback buttons", _words(
        "enter exit list back cancel next prev play selectmode selectall deselectall delete")),
}


def _param_of(word: Word, name: str, param: str) -> str:
    """What values follow this parameter; ValueError when the word does not know it."""
    if param in word.params:
        return word.params[param]
    if param and any(key.startswith("<") for key in word.params):
        return ""
    known = ", ".join(repr(key) if " " in key else key for key in word.params if key)
    text = f"{name} {param}".strip()
    raise ValueError(f"{text}: the parameter is one of {known}" if known
                     else f"{name} takes no parameter")


def _check_values(name: str, expected: str, values: list[str]) -> None:
    """`expected` is 'a|b' (one of them), or names in capitals (one value each)."""
    names = [word for word in expected.split() if word[0].isupper() or "|" in word]
    if len(values) != len(names):
        raise ValueError(f"{name} takes {expected or 'no value'}")
    for wanted, value in zip(names, values):
        if "|" in wanted and value not in wanted.split("|"):
            raise ValueError(f"{name} {value}: use one of {wanted}")


def command(name: str, param: str = "", values: list[str] | None = None) -> str:
    """The JSON text of a camera command; ValueError says what is wrong with the words."""
    values = list(values or [])
    if name not in WORDS:
        raise ValueError(f"{name} is no camera word (see camera --help)")
    word = WORDS[name]
    if "-" in word.params:
        values, param = [text for text in (param, *values) if text], ""
        _check_values(name, word.params["-"], values)
    else:
        _check_values(f"{name} {param}".strip(), _param_of(word, name, param), values)
    if name == "zoom" and not values:
        values = [param]
    members = {"cmd": name} | ({"param": param} if param else {})
    members |= {f"value{i}": value for i, value in enumerate(values, 1)}
    return json.dumps(members, separators=(",", ":"))


def _listed(key: str, values: str) -> str:
    quoted = f'"{key}"' if " " in key else key.strip("<>")
    return f"{'' if key in ('', '-') else quoted} {values}".strip()


def help_text() -> str:
    lines = []
    for name, word in WORDS.items():
        forms = [_listed(key, values) for key, values in word.params.items() if key or values]
        if name == "video_resolution":
            forms = ["WIDTHxHEIGHT@RATE, one of the camera's"]
        lines.append(f"  {name:24}{word.help}")
        lines += [f"      {form}" for form in forms if "|" in form or " " in form]
        short = [form for form in forms if "|" not in form and " " not in form]
        if short:
            lines.append("      " + ", ".join(short))
    return "\n".join(lines)
