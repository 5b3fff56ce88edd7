"""Camera frames: building, parsing and their two checks.

All multi-byte fields are little-endian. A frame is one UDP datagram:

    0      0x55
    1      frame length, low 8 bits (the length counts every byte of the frame)
    2      bits 0-1 length bits 8-9, bits 2-7 protocol version (1)
    3      CRC-8 over bytes 0-2
    4, 5   sender, receiver
    6, 7   sequence number
    8      command type, 9 command set, 10 command id
    11..   payload
    last 2 CRC-16 over everything before
"""

from __future__ import annotations

from dataclasses import dataclass

START_BYTE = 0x55
PROTOCOL_VERSION = 1
HEADER_SIZE = 11
OVERHEAD = HEADER_SIZE + 2
MAX_LENGTH = 1023

CAMERA = 0x01
BOX = 0x02
GIMBAL = 0x04
BUTTONS = 0x09

BOX_PORT = 5001
"""The UDP port on which the box takes the camera's frames."""


def _reflected_table(polynomial: int) -> tuple[int, ...]:
    table = []
    for value in range(256):
        for _ in range(8):
            value = (value >> 1) ^ (polynomial if value & 1 else 0)
        table.append(value)
    return tuple(table)


_CRC8_TABLE = _reflected_table(0x8C)
_CRC16_TABLE = _reflected_table(0x8408)


def crc8(data: bytes) -> int:
    """Header check: polynomial 0x31 reflected, initial value 0x77."""
    crc = 0x77
    for byte in data:
        crc = _CRC8_TABLE[crc ^ byte]
    return crc


def crc16(data: bytes) -> int:
    """Frame check: polynomial 0x1021 reflected, initial value 0x3692."""
    crc = 0x3692
    for byte in data:
        crc = _CRC16_TABLE[(crc ^ byte) & 0xFF] ^ (crc >> 8)
    return crc


@dataclass(frozen=True)
class Frame:
    """One parsed frame. `faults` names every rule that the datagram breaks."""

    sender: int
    receiver: int
    sequence: int
    command_type: int
    command_set: int
    command_id: int
    payload: bytes
    raw: bytes
    faults: tuple[str, ...] = ()

    @property
    def good(self) -> bool:
        return not self.faults

    @property
    def command(self) -> tuple[int, int]:
        return self.command_set, self.command_id


def header(length: int) -> bytes:
    """The first four bytes of a frame of `length` bytes."""
    start = bytes((START_BYTE, length & 0xFF, (length >> 8) & 0x03 | PROTOCOL_VERSION << 2))
    return start + bytes((crc8(start),))


def seal(data: bytes) -> bytes:
    """`data` with its frame check behind it."""
    return data + crc16(data).to_bytes(2, "little")


def build_frame(receiver: int, command_set: int, command_id: int, payload: bytes = b"", *,
                sender: int = CAMERA, sequence: int = 0, command_type: int = 0) -> bytes:
    """A whole frame with both checks; ValueError when the payload is too long."""
    length = OVERHEAD + len(payload)
    if length > MAX_LENGTH:
        raise ValueError(f"a frame of {length} bytes does not fit in {MAX_LENGTH}")
    fields = bytes((sender, receiver)) + (sequence & 0xFFFF).to_bytes(2, "little")
    command = bytes((command_type, command_set, command_id))
    return seal(header(length) + fields + command + payload)


def _faults(data: bytes) -> tuple[str, ...]:
    faults = []
    if data[0] != START_BYTE:
        faults.append(f"start byte 0x{data[0]:02x}")
    length = data[1] | (data[2] & 0x03) << 8
    if length != len(data):
        faults.append(f"length field {length}, datagram {len(data)}")
    if data[2] >> 2 != PROTOCOL_VERSION:
        faults.append(f"protocol version {data[2] >> 2}")
    if data[3] != crc8(data[:3]):
        faults.append(f"header check 0x{data[3]:02x}, expected 0x{crc8(data[:3]):02x}")
    check, expected = int.from_bytes(data[-2:], "little"), crc16(data[:-2])
    if check != expected:
        faults.append(f"frame check 0x{check:04x}, expected 0x{expected:04x}")
    return tuple(faults)


def parse_frame(data: bytes) -> Frame:
    """Take a datagram apart; ValueError only when it is too short to hold a frame."""
    if len(data) < OVERHEAD:
        raise ValueError(f"{len(data)} bytes cannot hold a frame")
    return Frame(sender=data[4], receiver=data[5], sequence=int.from_bytes(data[6:8], "little"),
                 command_type=data[8], command_set=data[9], command_id=data[10],
                 payload=data[HEADER_SIZE:-2], raw=bytes(data), faults=_faults(data))
