#!/usr/bin/env python3
"""A game pad that is plugged in while this runs. Its right stick goes where lines on standard input say: "ACROSS UP",
each from -32767 to 32767."""

import fcntl
import os
import struct
import sys

END = 32767
EV_SYN, EV_KEY, EV_ABS = 0, 1, 3
BTN_GAMEPAD, BTN_THUMBR = 0x130, 0x13E
ABS_X, ABS_Y, ABS_RX, ABS_RY = 0, 1, 3, 4
UI_DEV_CREATE, UI_DEV_SETUP, UI_ABS_SETUP = 0x5501, 0x405C5503, 0x401C5504
UI_SET_EVBIT, UI_SET_KEYBIT = 0x40045564, 0x40045565
BUS_USB = 3

pad = os.open("/dev/uinput", os.O_WRONLY)
for kind in (EV_KEY, EV_ABS):
    fcntl.ioctl(pad, UI_SET_EVBIT, kind)
for button in range(BTN_GAMEPAD, BTN_THUMBR + 1):
    fcntl.ioctl(pad, UI_SET_KEYBIT, button)
for axis in (ABS_X, ABS_Y, ABS_RX, ABS_RY):  # value, minimum, maximum, fuzz, flat, resolution
    fcntl.ioctl(pad, UI_ABS_SETUP, struct.pack("H2x6i", axis, 0, -END, END, 0, 0, 0))
fcntl.ioctl(pad, UI_DEV_SETUP, struct.pack("HHHH80sI", BUS_USB, 1, 1, 1, b"pad", 0))
fcntl.ioctl(pad, UI_DEV_CREATE)


def send(kind: int, code: int, value: int) -> None:
    os.write(pad, struct.pack("llHHi", 0, 0, kind, code, value))


for line in sys.stdin:
    across, up = map(int, line.split())
    send(EV_ABS, ABS_RX, across)
    send(EV_ABS, ABS_RY, -up)
    send(EV_SYN, 0, 0)
