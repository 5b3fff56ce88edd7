"""What RC receivers send on a wire: the frames of serial protocols and the edges of PPM."""

from __future__ import annotations

import random
from collections.abc import Iterator, Sequence
from dataclasses import dataclass
from functools import reduce
from typing import Callable

GOOD, FRAME_LOST, FAILSAFE = range(3)
"""What a receiver knows of its transmitter."""
NOISE = random.Random(1)
"""The same noise each time."""


def channel_bits(values: Sequence[int], step: int = 11) -> bytes:
    """11 bits each, the lowest first. 1500 us are 992; a step is 5/8 us."""
    raws = [max(0, min((1 << step) - 1, -((880 - value) * 8 // 5))) for value in values]
    number = sum(raw << step * place for place, raw in enumerate(raws))
    return number.to_bytes(len(raws) * step // 8, "little")


def sbus(values: Sequence[int], state: int) -> Iterator[bytes]:
    """16 channels, then digital 17 and 18."""
    flags = (values[16] > 1500) | (values[17] > 1500) << 1
    flags |= {GOOD: 0, FRAME_LOST: 0x04}.get(state, 0x0C)  # one that lost the transmitter sends on
    yield b"\x0f" + channel_bits(values[:16]) + bytes([flags, 0])


def crsf_frame(kind: int, payload: bytes) -> bytes:
    body = bytes([kind]) + payload
    return bytes([0xC8, len(body) + 1]) + body + bytes([reduce(_crc8_step, body, 0)])


def _crc8_step(crc: int, byte: int) -> int:
    crc ^= byte
    for _ in range(8):
        crc = (crc << 1) ^ (0x1D5 if crc & 0x80 else 0)
    return crc


def crsf(values: Sequence[int], state: int) -> Iterator[bytes]:
    """Link statistics come in any state, channels in a good one alone."""
    if state == GOOD:
        yield crsf_frame(0x16, channel_bits(values[:16]))
    quality = 100 if state == GOOD else 0
    yield crsf_frame(0x14, bytes([70, 75, quality, 8, 0, 4, 3, 80, quality, 7]))


def ibus(values: Sequence[int], state: int) -> Iterator[bytes]:
    if state != GOOD:
        return
    frame = b"\x20\x40" + b"".join(value.to_bytes(2, "little") for value in values[:14])
    yield frame + (0xFFFF - sum(frame)).to_bytes(2, "little")


@dataclass(frozen=True)
class Protocol:
    encode: Callable[[Sequence[int], int], Iterator[bytes]]
    period: float
    """Seconds from frame to frame."""
    bytes_per_second: int
    headers: bytes
    """What garbage can be taken for."""


PROTOCOLS = {"sbus": Protocol(sbus, 0.009, 100_000 // 12, b"\x0f\x00\x04"),
             "crsf": Protocol(crsf, 0.004, 420_000 // 10, b"\xc8\x18\x16\x3e"),
             "ibus": Protocol(ibus, 0.007, 115_200 // 10, b"\x20\x40")}


def garbage(protocol: Protocol, seconds: float) -> bytes:
    """What a noisy line brings in that time, an eighth of it as in headers and ends of frames. With
    more of those, SBUS garbage would be a frame now and then."""
    count = int(protocol.bytes_per_second * seconds)
    return bytes(NOISE.choice(protocol.headers) if NOISE.random() < 0.125 else NOISE.randrange(256)
                 for _ in range(count))


PPM_PERIOD = 22_500_000
PPM_PULSE = 300_000


def ppm_edges(start: int, values: Sequence[int]) -> Iterator[tuple[int, int]]:
    """The edges of a frame, times and levels: from pulse to pulse is a channel. In nanoseconds."""
    for value in (*values, 0):
        yield start, 1
        yield start + PPM_PULSE, 0
        start += 1000 * value
