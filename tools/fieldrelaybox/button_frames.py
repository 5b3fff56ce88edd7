"""The frames of set 0x01 id 0x01: pressed buttons, recognised by their whole payload.

Payload byte 9 is the XOR of the nine before it, except in the two frames that reset the gimbal.
"""

from __future__ import annotations

from functools import reduce

from .frames import BOX, BUTTONS, CAMERA, GIMBAL, Frame

REQUEST = 0x40

# Payload bytes 0-8 and the name; byte 9 is derived.
BOX_PRESSES = {
    "00 00 00 00 00 91 00 00 00": "buttons idle",
    "00 00 00 00 01 91 00 00 00": "periodic frame A",
    "00 00 00 00 02 91 00 00 00": "periodic frame B",
    "0c 00 00 00 00 91 00 00 00": "record start press",
    "04 00 00 00 00 91 00 00 00": "record stop press",
    "10 00 00 00 00 91 00 00 00": "interval stop press",
    "30 00 00 00 00 91 00 01 00": "shot single",
    "d0 00 00 00 00 91 00 0a 01": "shot single 10s",
    "50 00 00 00 00 91 00 01 00": "shot hdr",
    "90 00 00 00 00 91 00 03 00": "shot burst 3",
    "90 00 00 00 00 91 00 05 00": "shot burst 5",
    "90 00 00 00 00 91 00 07 00": "shot burst 7",
    "b0 00 00 00 00 91 00 03 00": "shot bracketing 3",
    "b0 00 00 00 00 91 00 05 00": "shot bracketing 5",
    "d0 00 00 00 00 91 00 0a ff": "shot interval 10s",
    "d0 00 00 00 00 91 00 1e ff": "shot interval 30s",
    "f0 00 00 00 00 91 00 ff 00": "shot pano",
    "f0 00 00 00 00 91 00 03 00": "shot pano grid",
    "d0 00 00 00 00 91 00 32 ff": "shot timelapse",
    "00 00 00 00 10 91 00 00 00": "selfie button",
}

PLAYBACK_PRESSES = {
    "00 00 00 00 00 91 0d 00 00": "playback release",
    "03 00 00 00 00 91 0d 00 00": "playback enter",
    "01 00 00 00 00 91 0d 00 00": "playback exit",
    "00 00 00 08 00 91 0d 00 00": "playback list",
    "00 00 00 01 00 91 0d 00 00": "playback back",
    "00 00 00 00 00 91 0f 00 00": "playback back, held",
    "00 00 01 00 00 91 0d 00 00": "playback cancel",
    "00 00 20 00 00 91 0d 00 00": "playback next",
    "00 00 40 00 00 91 0d 00 00": "playback prev",
    "00 00 02 00 00 91 0d 00 00": "playback play",
    "00 00 04 00 00 91 0d 00 00": "playback selectmode or delete",
    "00 00 00 20 00 91 0d fd 00": "playback selectall",
    "00 00 00 20 00 91 0d fc 00": "playback deselectall",
}

GIMBAL_RESET_PRESSES = {
    bytes.fromhex("00 00 00 00 0a 00 00 00 00 00"): "gimbal reset press",
    bytes.fromhex("00 00 00 00 00 00 00 00 00 00"): "gimbal reset release",
}


def _with_xor(presses: dict[str, str]) -> dict[bytes, str]:
    starts = {bytes.fromhex(start): name for start, name in presses.items()}
    return {start + bytes((reduce(lambda a, b: a ^ b, start),)): name
            for start, name in starts.items()}


FROM_BOX = _with_xor(BOX_PRESSES) | GIMBAL_RESET_PRESSES
FROM_BUTTONS = _with_xor(PLAYBACK_PRESSES)
PLAY = next(payload for payload, name in FROM_BUTTONS.items() if name == "playback play")
IDLE = next(payload for payload, name in FROM_BOX.items() if name == "buttons idle")


def describe(frame: Frame) -> tuple[str, tuple[str, ...]]:
    """The button frame's name, and what is odd about it."""
    way = (frame.sender, frame.receiver, frame.command_type)
    if way == (BUTTONS, GIMBAL, REQUEST) and frame.payload == IDLE:
        return "stop shot", ()
    takers = (CAMERA,) if frame.payload == PLAY else (CAMERA, GIMBAL)
    for ways, payloads in (({(BOX, BUTTONS, REQUEST)}, FROM_BOX),
                           ({(BUTTONS, taker, 0) for taker in takers}, FROM_BUTTONS)):
        if frame.payload in payloads:
            odd = () if way in ways else ("sender, receiver or command type of another button",)
            return payloads[frame.payload], odd
    return "unknown buttons", (f"button payload {frame.payload.hex(' ')}",)


class PlaybackOrder:
    """Playback buttons go to the camera, then to the gimbal; play's press to the camera only.

    A button that comes first to the gimbal, or in the middle of another's pair, is out of turn.
    """

    def __init__(self) -> None:
        self._last: Frame | None = None
        self._due = CAMERA

    def forget(self) -> None:
        """Frames may be missing before the next one."""
        self._last = None

    def odd(self, frame: Frame) -> tuple[str, ...]:
        """What is odd about the frame after those before it."""
        if frame.command != (0x01, 0x01) or frame.payload not in FROM_BUTTONS:
            return ()
        last, due = self._last, self._due
        to_camera = frame.receiver == CAMERA
        self._last = frame
        self._due = GIMBAL if to_camera and frame.payload != PLAY else CAMERA
        begins_wrong = last and last.payload != frame.payload and not to_camera
        if last is None or (frame.receiver == due and not begins_wrong):
            return ()
        return ("playback button out of turn: the other device was due",)
