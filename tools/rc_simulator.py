#!/usr/bin/env -S --block-signal=INT python3
"""An RC transmitter for the box: writes channel values into shared memory like the RC input does, or
speaks as a receiver does on a wire, for the RC input to read:

    rc_simulator.py                           flies by keys; beside a demo tools/attach.sh starts it
    rc_simulator.py --script FILE             flies by a script, '-' is standard input
    rc_simulator.py --sbus LINK               a pseudo-terminal that LINK leads to
    rc_simulator.py --edges FILE --script FILE    PPM's edges, written at once

keys (a stick returns to the middle when its key is let go):
    arrow keys    pan and tilt            w, s      speed of the sticks up and down
    q, e          roll                    z, x      zoom out and in
    r             record on and off       p         photo (record-shot low)
    c             centre the gimbal       o         orientation lock on and off
    i, k          ISO up and down         u, j      EV up and down
    1..9          channel 1..9 between low and high
    space         all sticks to the middle
    l             lose and find the receiver
    Ctrl-D, Esc   end
"""

from __future__ import annotations

from fieldrelaybox import at_start  # first of all  # noqa: F401

import argparse
import os
import re
import select
import sys
import termios
import time
import tty
from pathlib import Path
from typing import Callable

from fieldrelaybox import program, rc_signals, rc_sticks
from fieldrelaybox.rc_sticks import CENTRE, HIGH, LOW, STEPS, RcSticks, Sticks
from fieldrelaybox.rc_wire import EdgeSticks, SerialSticks
from fieldrelaybox.shared_memory import STATUS_BLOCK, Region

HOLD_SECONDS = 0.6
"""Terminals tell only that a key is pressed, again and again: let go means silent this long."""
TAP_SECONDS = 0.1
HEARTBEAT_SECONDS = 0.3
"""Whoever writes the channels gives a sign of life more often."""
ONE_KEY = re.compile("\033[\\[O][0-9;]*[A-Za-z~]|.", re.DOTALL)


class Keys:
    """Turns keys into channel values."""

    def __init__(self, sticks: Sticks) -> None:
        self._sticks = sticks
        self._deflection = 250
        self._held: dict[str, tuple[float, int]] = {}  # until when, and where it goes then
        self._lost = False

    def press(self, key: str) -> str:
        """Do what a key says; the text tells what happened."""
        if key in STICK_KEYS:
            name, sign = STICK_KEYS[key]
            return self._deflect(name, sign)
        if key in SWITCH_KEYS:
            return self._flip(SWITCH_KEYS[key])
        if key in TAP_KEYS:
            return self._tap(*TAP_KEYS[key])
        if key in STEP_KEYS:
            return self._step(*STEP_KEYS[key])
        if key.isdigit() and key != "0":
            return self._flip(key)
        return OTHER_KEYS.get(key, Keys._nothing)(self)

    def let_go(self) -> None:
        """Sticks whose key has not come again return to the middle, tapped switches to low."""
        now = time.monotonic()
        for name, (until, value) in list(self._held.items()):
            if now > until:
                del self._held[name]
                self._sticks.set(name, value)
        self._sticks.refresh()

    def _deflect(self, name: str, sign: int) -> str:
        self._sticks.set(name, CENTRE + sign * self._deflection)
        self._held[name] = time.monotonic() + HOLD_SECONDS, CENTRE
        return f"{name} {CENTRE + sign * self._deflection}"

    def _flip(self, name: str) -> str:
        value = LOW if self._sticks.value(name) > CENTRE else HIGH
        self._sticks.set(name, value)
        return f"{name} {value}"

    def _tap(self, name: str, value: int) -> str:
        self._sticks.set(name, value)
        self._held[name] = time.monotonic() + TAP_SECONDS, LOW
        return f"{name} {value}, then {LOW}"

    def _step(self, name: str, change: int) -> str:
        travelled = (self._sticks.value(name) or LOW) - LOW
        value = rc_sticks.step_middle(name, travelled * STEPS[name] // (HIGH - LOW) + change)
        self._sticks.set(name, value)
        return f"{name} {value}"

    def _faster(self, change: int) -> str:
        self._deflection = max(50, min(500, self._deflection + change))
        return f"stick deflection {self._deflection / 5:.0f} %"

    def _centre(self) -> str:
        self._held = {name: held for name, held in self._held.items() if held[1] != CENTRE}
        self._sticks.centre()
        return "sticks in the middle"

    def _receiver(self) -> str:
        self._lost = not self._lost
        (self._sticks.lose if self._lost else self._sticks.recover)()
        return "receiver lost" if self._lost else "receiver back"

    def _nothing(self) -> str:
        return ""


STICK_KEYS = {"\033[D": ("pan", -1), "\033[C": ("pan", 1), "\033[A": ("tilt", 1),
              "\033[B": ("tilt", -1), "q": ("roll", -1), "e": ("roll", 1), "z": ("zoom", -1),
              "x": ("zoom", 1)}
SWITCH_KEYS = {"r": "record", "o": "orient-lock"}
TAP_KEYS = {"p": ("record-shot", CENTRE), "c": ("center", HIGH)}
STEP_KEYS = {"i": ("iso", 1), "k": ("iso", -1), "u": ("ev", 1), "j": ("ev", -1)}
OTHER_KEYS: dict[str, Callable[[Keys], str]] = {
    "w": lambda keys: keys._faster(50),
    "s": lambda keys: keys._faster(-50),
    " ": Keys._centre,
    "l": Keys._receiver,
}


def fly_by_keys(sticks: Sticks, ending: program.Ending) -> None:
    keys = Keys(sticks)
    terminal = sys.stdin.fileno()
    before = termios.tcgetattr(terminal)
    tty.setcbreak(terminal)
    try:
        while not ending.wait(0.02, terminal):
            for key in ONE_KEY.findall(read_keys(terminal)):
                if key in ("\x04", "\033"):
                    return
                tell(keys, key)
            keys.let_go()
    finally:
        termios.tcsetattr(terminal, termios.TCSADRAIN, before)


def read_keys(terminal: int) -> str:
    """What was typed; Ctrl-D when the terminal is gone."""
    if not select.select([terminal], [], [], 0)[0]:
        return ""
    return os.read(terminal, 4096).decode("utf-8", "replace") or "\x04"


def tell(keys: Keys, key: str) -> None:
    try:
        text = keys.press(key)
    except ValueError as error:
        text = str(error)
    if text:
        print(text, flush=True)


def parse_arguments() -> argparse.Namespace:
    script = "script lines:\n" + (rc_sticks.run_script.__doc__ or "").split("\n\n", 1)[1]
    parser = program.make_parser(__doc__, script)
    parser.add_argument("--script", metavar="FILE", help="carry out this script, then end")
    parser.add_argument("--no-heartbeat", action="store_true",
                        help="give no sign of life, as older RC input processes")
    wire = parser.add_mutually_exclusive_group()
    for name, protocol in rc_signals.PROTOCOLS.items():
        wire.add_argument(f"--{name}", metavar="LINK", type=Path,
                          help=f"be a receiver at LINK, a frame every {protocol.period * 1000:.0f} ms")
    wire.add_argument("--edges", metavar="FILE", type=Path,
                      help="write PPM of 8 channels, 'nanoseconds level' a line; needs --script")
    parser.add_argument("--rc2", action="store_true",
                        help="the wire carries channels 17 to 32 instead of 1 to 16")
    options = parser.parse_args()
    if options.edges and not options.script:
        parser.error("--edges needs --script")
    if not options.script and not (sys.stdin and sys.stdin.isatty()):
        parser.error("keys come from a terminal; without one there has to be a --script")
    return options


def refuse_beside_another() -> None:
    """Two that write the same channels would fly in turns."""
    with Region(STATUS_BLOCK, read_only=True) as block:
        before, end = block["rc_heartbeat"], time.monotonic() + HEARTBEAT_SECONDS
        while time.monotonic() < end:
            if block["rc_heartbeat"] != before:
                raise program.Failed("another program has the channels, as rcin has with a game pad;"
                                     " to fly the demo with the keys, start it with: make run RC=keys")
            time.sleep(0.01)


def chosen_sticks(options: argparse.Namespace) -> Sticks:
    if options.edges:
        return EdgeSticks(options.edges, options.rc2)
    for name in rc_signals.PROTOCOLS:
        if link := getattr(options, name):
            return SerialSticks(name, link, options.rc2)
    try:
        refuse_beside_another()
    except FileNotFoundError:
        raise program.Failed("no daemon runs here; the demo's: tools/attach.sh rc_simulator.py") from None
    return RcSticks(heartbeat=not options.no_heartbeat)


def read_script(name: str) -> list[str]:
    with open(0 if name == "-" else name, closefd=name != "-") as script:
        return script.readlines()


def fly(sticks: Sticks, script: list[str] | None, ending: program.Ending) -> None:
    sticks.is_over = lambda: ending.asked
    sticks.await_map()
    sticks.rest()
    if script is not None:
        rc_sticks.run_script(sticks, script)
        return
    mapped = ", ".join(f"{name} on {number}" for name, number in sticks.functions().items())
    print(f"channels: {mapped or 'none is mapped (rc_input_map)'}; --help lists the keys", flush=True)
    fly_by_keys(sticks, ending)


def main() -> None:
    options = parse_arguments()
    script = read_script(options.script) if options.script else None
    sticks = chosen_sticks(options)
    with program.Ending() as ending:
        try:
            fly(sticks, script, ending)
        except rc_sticks.Over:
            pass
        finally:
            sticks.close()


if __name__ == "__main__":
    program.run(main)
