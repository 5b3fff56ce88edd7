"""The camera's and gimbal's command words as the box takes them."""

from __future__ import annotations

import json
import time
from dataclasses import dataclass
from typing import Callable


@dataclass(frozen=True)
class Word:
    """A command word. `params` are its first arguments with the values that follow them.

    '' stands for no first argument, '-' for none but values, '<...>' for one of the kinds below.
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

SHUTTERS = ("30s 25s 20s 15s 10s 9s 8s 7s 6s 5s 4s 3.2s 3s 2.5s 2s 1.6s 1.3s 1s 1.25 1.67 2 2.5 3 4 5"
            " 6.25 8 10 12.5 15 20 25 30 40 50 60 80 100 120 160 200 240 320 400 500 640 800 1000"
            " 1250 1600 2000 2500 3200 4000 5000 6400 8000").split()
EV_STEPS = [round(third / 3, 1) for third in range(-9, 10)]


def _between(lowest: float, highest: float, kind: Callable[[str], float] = int) -> Callable[[str], str]:
    """A check that says what is wrong with a text, or nothing."""
    def fault(text: str) -> str:
        try:
            fits = lowest <= kind(text) <= highest
        except ValueError:
            fits = False
        return "" if fits else f"a {'whole ' if kind is int else ''}number from {lowest} to {highest}"
    return fault


def _shutter_fault(text: str) -> str:
    return "" if text in SHUTTERS else f"one of {' '.join(SHUTTERS)}"


def _ev_fault(text: str) -> str:
    try:
        fits = float(text) in EV_STEPS
    except ValueError:
        fits = False
    return "" if fits else f"one of {' '.join(map(str, EV_STEPS))}"


def _clock_fault(text: str) -> str:
    try:
        time.strptime(text, "%Y%m%d%H%M%S")
        return "" if len(text) == 14 else "14 digits"
    except ValueError:
        return "a date and time such as 20240131235959"


SIGNED_WORD = _between(-32768, 32767)
KINDS: dict[str, Callable[[str], str]] = {
    "INDEX": _between(0, 255), "X": _between(0, 1, float), "Y": _between(0, 1, float),
    "PERCENT": _between(0, 100, float), "NUMBER": _between(0, 255), "A": SIGNED_WORD,
    "B": SIGNED_WORD, "PAN": SIGNED_WORD, "TILT": SIGNED_WORD, "STEP": _between(-100, 100), "DIRECTION": _between(-100, 100),
    "LEVEL": _between(0, 100), "KELVIN": _between(2000, 10000), "TIME": _shutter_fault,
    "F-NUMBER": _between(1, 100, float), "EV": _ev_fault, "INTERVAL": _between(-1, 6553),
    "DURATION": _between(-1, 65535), "YYYYMMDDhhmmss": _clock_fault,
}
"""What a value has to be, by the name that the help gives it."""

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
    "aperture": Word("aperture, such as 2.8", {"<F-NUMBER>": ""}),
    "iso": Word("sensitivity", _words("auto 100 200 400 800 1600 3200 6400")),
    "ev": Word("exposure compensation, -3.0 to 3.0 in thirds", {"<EV>": ""}),
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
    for key in word.params:
        if key.startswith("<") and (param or len(word.params) == 1):
            if fault := KINDS[key.strip("<>")](param):
                raise ValueError(f"{name} {param}".strip() + f": it has to be {fault}")
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
        if wanted in KINDS and (fault := KINDS[wanted](value)):
            raise ValueError(f"{name} {value}: {wanted} has to be {fault}")


DANGERS = {
    ("formatmicrosd", ""): "everything on the card is lost",
    ("playback", "delete"): "the chosen files are lost",
    ("power", "restart"): "the camera is away for a while",
    ("power", "shutdown"): "only its button wakes the camera again",
    ("reboot", ""): "the box is away for a while",
    ("shutdown", ""): "only its power supply starts the box again",
}


def danger(text: str) -> str:
    """What comes of a command that should be sure, as a question; empty for others and what is none."""
    try:
        members = {name.lower(): value for name, value in json.loads(text).items()}
    except (ValueError, AttributeError, RecursionError):
        return ""
    name, param = str(members.get("cmd", "")), str(members.get("param", ""))
    for key in ((name, param), (name, "")):
        if key in DANGERS:
            return f"{' '.join(key).strip()}: {DANGERS[key]}. Really?"
    return ""


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
