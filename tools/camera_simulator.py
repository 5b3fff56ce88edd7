#!/usr/bin/env -S --block-signal=INT python3
"""A simulated camera for the box: pushes its state, obeys, and prints every frame it receives.

While it runs, lines on standard input make it do things; 'help' lists them. A camera that is often
lost, and is low on power, for the daemon on this computer:

    camera_simulator.py --quiet --silent-every 20 --do 'set percent 8'
"""

from __future__ import annotations

from fieldrelaybox import at_start  # first of all  # noqa: F401

import argparse
import json
import os
import struct
import sys
import threading
import time
from typing import Callable

from fieldrelaybox import frames, program, simulated_camera as cameras
from fieldrelaybox.camera_model import CameraModel
from fieldrelaybox.simulated_camera import Misbehaviour, Received, SimulatedCamera

LineHandler = Callable[[SimulatedCamera, list[str]], str]


def _number(words: list[str], default: str) -> int:
    return int(words[0] if words else default, 0)


def _send_15(camera: SimulatedCamera, words: list[str]) -> str:
    value = _number(words, "1")
    camera.push(cameras.flag_15_frame(value))
    return f"15-byte frame sent, value {value}"


def _send_18(camera: SimulatedCamera, words: list[str]) -> str:
    value = _number(words, "0x80")
    camera.push(cameras.state_18_frame(value))
    return f"18-byte frame sent, value 0x{value:02x}"


def _send_22(camera: SimulatedCamera, words: list[str]) -> str:
    value = _number(words, "1")
    camera.push(cameras.counter_22_frame(value))
    return f"22-byte frame sent, value {value}"


def _send_hex(camera: SimulatedCamera, words: list[str]) -> str:
    data = bytes.fromhex("".join(words))
    camera.send_raw(data)
    return f"{len(data)} bytes sent"


def _silent(camera: SimulatedCamera, words: list[str]) -> str:
    seconds = float(words[0] if words else "4")
    camera.go_silent(seconds)
    return f"silent for {seconds:g} s"


def _lose(camera: SimulatedCamera, words: list[str]) -> str:
    camera.misbehaviour.lose_percent = float(words[0] if words else "0")
    return f"losing {camera.misbehaviour.lose_percent:g} % of the frames"


def _port(camera: SimulatedCamera, _: list[str]) -> str:
    return f"now sending from port {camera.change_port()}"


def _garbage(camera: SimulatedCamera, words: list[str]) -> str:
    count = _number(words, "1")
    for _ in range(count):
        camera.send_garbage()
    return f"{count} datagrams of garbage sent"


def _set(camera: SimulatedCamera, words: list[str]) -> str:
    if camera.model is None or len(words) != 2:
        raise ValueError("set NAME VALUE")
    camera.model.set(*words)
    return f"{words[0]} is now {words[1]}"


LINE_COMMANDS: dict[str, tuple[LineHandler, str]] = {
    "15": (_send_15, "15 [VALUE]      send the 15-byte frame; 1 sets its flag, else it is cleared"),
    "18": (_send_18, "18 [VALUE]      send the 18-byte frame; 0x84 sets its flag, 0x80 clears it"),
    "22": (_send_22, "22 [VALUE]      send the 22-byte frame with this 32-bit value"),
    "set": (_set, "set NAME VALUE  change the camera's state, such as percent or card_state"),
    "hex": (_send_hex, "hex BYTES       send these bytes as they are"),
    "silent": (_silent, "silent [SECS]   send nothing for 4 or SECS seconds"),
    "lose": (_lose, "lose PERCENT    lose this share of the frames sent"),
    "port": (_port, "port            go on from another port"),
    "garbage": (_garbage, "garbage [N]     send one or N datagrams of garbage"),
}


class Output:
    """One line per event, plain or JSON, flushed; several threads write."""

    def __init__(self, as_json: bool) -> None:
        self._json = as_json
        self._lock = threading.Lock()

    def note(self, text: str) -> None:
        self._write(json.dumps({"event": "note", "text": text}) if self._json else text)

    def received(self, received: Received) -> None:
        self._write(json.dumps(as_dict(received)) if self._json else as_line(received))

    def _write(self, line: str) -> None:
        with self._lock:
            print(line, flush=True)


def as_dict(received: Received) -> dict[str, object]:
    event: dict[str, object] = {"event": "frame", "time": round(received.time, 3)}
    frame = received.frame
    if frame:
        event |= {"sender": frame.sender, "receiver": frame.receiver, "sequence": frame.sequence,
                  "type": frame.command_type, "set": frame.command_set, "id": frame.command_id,
                  "payload": frame.payload.hex()}
    return event | {"name": received.name, "gap": received.gap, "hex": received.raw.hex(),
                    "faults": list(received.faults)}


def as_line(received: Received) -> str:
    frame = received.frame
    verdict = "; ".join(received.faults) or "ok"
    if frame is None:
        return f"datagram {received.raw.hex()}: {verdict}"
    return (f"{received.name}: frame {len(received.raw)}"
            f" from 0x{frame.sender:02x} to 0x{frame.receiver:02x} seq {frame.sequence} type 0x{frame.command_type:02x} set 0x{frame.command_set:02x}"
            f" id 0x{frame.command_id:02x} payload {frame.payload.hex(' ') or '-'}: {verdict}")


def run_line(camera: SimulatedCamera, line: str) -> str:
    """Do what a line of standard input says and tell what was done."""
    words = line.split()
    if not words:
        return ""
    if words[0] not in LINE_COMMANDS:
        return "\n".join(text for _, text in LINE_COMMANDS.values())
    try:
        return LINE_COMMANDS[words[0]][0](camera, words[1:])
    except (ValueError, OverflowError, struct.error) as error:
        return f"{words[0]}: {error}"


def read_lines(camera: SimulatedCamera, output: Output) -> None:
    """Serve lines until the input ends; read below Python's own buffer, which blocks the exit."""
    pending = b""
    if sys.stdin is None:
        return
    while chunk := os.read(sys.stdin.fileno(), 4096):
        *lines, pending = (pending + chunk).split(b"\n")
        for line in lines:
            answer = run_line(camera, line.decode("utf-8", "replace"))
            if answer:
                output.note(answer)


def parse_arguments(arguments: list[str] | None = None) -> argparse.Namespace:
    lines = "\n".join("  " + text for _, text in LINE_COMMANDS.values())
    parser = program.make_parser(__doc__, f"lines on standard input:\n{lines}")
    add = parser.add_argument
    add("--box", default="127.0.0.1", help="address of the box (default %(default)s)")
    add("--box-port", type=program.port, default=frames.BOX_PORT, help="default %(default)s")
    add("--json", action="store_true", help="print JSON lines")
    add("--quiet", action="store_true", help="print only faulty frames and notes")
    add("--for", dest="seconds", type=program.seconds, metavar="SECS", help="end after this time")
    add("--seed", type=int, help="make losses and garbage repeatable")
    add("--do", action="append", default=[], metavar="LINE",
        help="do this as if it came on standard input (repeatable)")
    add("--attitude-only", action="store_true", help="push nothing else, obey no command")
    add("--short-frames", action="store_true", help="push state frames of the shorter lengths")
    add("--lose", type=program.percent, default=0, metavar="PERCENT",
        help="lose this share of the frames")
    add("--silent-every", type=program.seconds, default=0, metavar="SECS",
        help="go silent this often")
    add("--silent-for", type=program.seconds, default=4, metavar="SECS",
        help="... for so long (default 4)")
    add("--port-every", type=program.seconds, default=0, metavar="SECS",
        help="change the port this often")
    add("--garbage", type=program.number(0, 100_000), default=0, metavar="RATE",
        help="send RATE garbage datagrams/s")
    return parser.parse_args(arguments)


def make_camera(options: argparse.Namespace, output: Output) -> SimulatedCamera:
    def show(received: Received) -> None:
        if received.faults or not options.quiet:
            output.received(received)
    wrong = Misbehaviour(options.lose, options.silent_every, options.silent_for,
                         options.port_every, options.garbage)
    model = None if options.attitude_only else CameraModel(options.short_frames, options.seed)
    box = program.resolve(options.box), options.box_port
    return SimulatedCamera(box, misbehaviour=wrong, on_received=show,
                           keep=0, model=model, seed=options.seed)


def main() -> None:
    options = parse_arguments()
    output = Output(options.json)
    with make_camera(options, output) as camera, program.Ending() as ending:
        output.note(f"camera on port {camera.port}, sending to {options.box}:{options.box_port}")
        for line in options.do:
            output.note(run_line(camera, line))
        threading.Thread(target=read_lines, args=(camera, output), daemon=True).start()
        ending.wait(options.seconds or None)
    output.note(f"{camera.sent} datagrams sent, {camera.lost} held back, "
                f"{camera.missing} sequence numbers missing, "
                f"{camera.faulty} faulty frames received")


if __name__ == "__main__":
    program.run(main)
