"""The client's side of the app protocol: find a box, stay registered, receive, send commands."""

from __future__ import annotations

import errno
import select
import socket
import struct
import time

from . import app_protocol, relay, report
from .app_protocol import Message
from .program import Failed, resolve
from .record_text import printable

Address = tuple[str, int]
REGISTER_EVERY = 2.0
"""Seconds between registrations; the box forgets a client after 5."""

RECEIVE_BUFFER = 4_000_000
LARGEST_DATAGRAM = 65535
RELAY_FORGETS_AFTER = 6.0
EVERYBODY, HERE = "255.255.255.255", "127.0.0.1"
ASK_AGAIN_AFTER = 0.5
OTHERS_ANSWER_WITHIN = 1.0
"""Seconds after the first box."""

IP_PKTINFO = 8  # of Linux; Python has no name for it


class NoAnswer(Failed):
    """No box answered a registration."""


class SequenceTracker:
    """Counts gaps in the sequence number; a number that comes late closes its gap again."""

    REMEMBERED = 1000

    def __init__(self) -> None:
        self.missing = self.late = self.restarts = 0
        self._next: int | None = None
        self._open: dict[int, None] = {}

    def see(self, sequence: int) -> None:
        ahead = 0 if self._next is None else (sequence - self._next) & 0xFFFFFFFF
        if sequence in self._open:
            del self._open[sequence]
            self.missing -= 1
            self.late += 1
            return
        if ahead > 0x7FFFFFFF:
            self.restarts += 1  # the box started anew, or sent a number twice
            self._open.clear()
        elif ahead:
            self.missing += ahead
            self._remember(sequence, min(ahead, self.REMEMBERED))
        self._next = (sequence + 1) & 0xFFFFFFFF

    def _remember(self, sequence: int, count: int) -> None:
        for back in range(count, 0, -1):
            self._open[(sequence - back) & 0xFFFFFFFF] = None
        while len(self._open) > self.REMEMBERED:
            del self._open[next(iter(self._open))]


class BoxLink:
    """A UDP socket that belongs to one box once `find` has returned."""

    def __init__(self, host: str | None = None, port: int = app_protocol.PORT,
                 data_only: bool = False, account: relay.Account | None = None) -> None:
        """`account`: the host is a relay server that knows us under it."""
        self.host, self.port, self.data_only = host, port, data_only
        self._account = account
        self._name = account.device if account else host or ""
        self.box: Address | None = None
        self.last_heard = 0.0
        self._registered_at = 0.0
        self._early: list[Message] = []
        self._socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, RECEIVE_BUFFER)
        self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)
        self._socket.bind(("", 0))

    def __enter__(self) -> "BoxLink":
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def close(self) -> None:
        """Leave the box's client table."""
        if self.box:
            self._send(app_protocol.unregister(), self.box)
        self._socket.close()

    def find(self, timeout: float = 3.0) -> Address:
        """Register with the host. Without one with the box on this machine, also when it does not
        answer; where there is none, with the only one in the networks. Failed when there are more."""
        host = self.host or self._discover(timeout)
        if self.box or host and self._try(host, timeout):
            assert self.box
            return self.box
        if self._account:
            raise NoAnswer(f"the relay server at {host}:{self.port} does not let us in (is it reachable, is the account"
                           " right, is the box linked to it?)")
        raise NoAnswer(f"no box answers at {host or 'any address'}:{self.port} (is it running and reachable,"
                       " and has it fewer than 10 clients?)")

    @property
    def described(self) -> str:
        """The box, once it is found, for people."""
        assert self.box
        address = self.box[0]
        return address if self._name in ("", address) else f"{self._name} at {address}"

    def _discover(self, timeout: float) -> str:
        """This machine's address if a box is here; else an empty one, and who answers is the box."""
        found: dict[Address, str] = {}
        end, ask_at = time.monotonic() + timeout, 0.0
        while (now := time.monotonic()) < end:
            if now >= ask_at:
                if not found and self._is_one_here():
                    return HERE
                ask_at = now + ASK_AGAIN_AFTER
                self._send(app_protocol.register(True), (EVERYBODY, self.port))
            got = self._receive_datagram(min(ask_at, end) - now)
            if got and got[1][1] == self.port and got[0][:1] == b"B":
                if not found:
                    end = time.monotonic() + OTHERS_ANSWER_WITHIN
                self._hear_of(got[1], got[0], found)
        self._choose(found)
        return ""

    def _is_one_here(self) -> bool:
        """Whether a program of this machine has the port: the system tells at once when none has."""
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
            try:
                probe.connect((HERE, self.port))
                probe.send(b"")
            except OSError:  # not even a loopback interface
                return False
            return not select.select([probe], [], [], 0.1)[0]

    def _hear_of(self, box: Address, data: bytes, found: dict[Address, str]) -> None:
        """Enter a box, and its name as soon as it tells it."""
        if box not in found:
            found[box] = ""
            self._send(app_protocol.command(report.COMMAND), box)
        message = app_protocol.parse_message(data)
        text = app_protocol.json_text(message) if message else ""
        if report.is_report(text):
            found[box] = printable(report.name_in(text))

    def _choose(self, found: dict[Address, str]) -> None:
        if len(found) == 1:
            [(self.box, self._name)] = found.items()
            self.last_heard = self._registered_at = time.monotonic()
            self._register(self.box)
            return
        for box in found:
            self._send(app_protocol.unregister(), box)
        if found:
            boxes = [address + (f" ({name})" if name else "") for (address, _), name in sorted(found.items())]
            raise Failed(f"{len(found)} boxes answer, say by --host which one is meant: {', '.join(boxes)}")

    def _try(self, target: str, timeout: float) -> bool:
        end = time.monotonic() + timeout
        address = resolve(target), self.port
        while time.monotonic() < end:
            if not self._register(address):
                return False
            self._registered_at = time.monotonic()
            if self._await_answer(min(end, time.monotonic() + ASK_AGAIN_AFTER)):
                return True
        return False

    def _register(self, address: Address) -> bool:
        quiet = time.monotonic() - self.last_heard > RELAY_FORGETS_AFTER
        if self._account and (quiet or not self.box):
            self._send(relay.authentication(self._account), address)
        return self._send(app_protocol.register(self.data_only), address)

    def _await_answer(self, end: float) -> bool:
        """A lone 'B', or any message: the box knows us already."""
        while (left := end - time.monotonic()) > 0:
            got = self._receive_datagram(left)
            if got is None:
                continue
            data, sender = got
            if sender[1] != self.port or data[:1] != b"B":
                continue
            message = app_protocol.parse_message(data)
            if message:
                self._early.append(message)
            self.box, self.last_heard = sender, time.monotonic()
            return True
        return False

    def is_registered_anew(self, timeout: float) -> bool:
        """True once the box takes us for a new client: it has started again."""
        assert self.box
        end, ask_at = time.monotonic() + timeout, 0.0
        while (now := time.monotonic()) < end:
            if now >= ask_at:
                self._send(app_protocol.register(self.data_only), self.box)
                ask_at = now + 0.5
            if self._receive_datagram(min(0.5, end - now)) == (b"B", self.box):
                return True
        return False

    def _send(self, data: bytes, address: Address) -> bool:
        if address[0] == EVERYBODY:
            return any([self._send_out_of(index, data, address) for index, name in socket.if_nameindex()
                        if name != "lo"])
        try:
            self._socket.sendto(data, address)
            return True
        except OSError as error:
            return error.errno in (errno.ECONNREFUSED, errno.ENOBUFS, errno.EAGAIN)

    def _send_out_of(self, interface: int, data: bytes, address: Address) -> bool:
        """Also where there is no way to anywhere else, as in the box's own access point."""
        way = (socket.IPPROTO_IP, IP_PKTINFO, struct.pack("=i8x", interface))
        try:
            self._socket.sendmsg([data], [way], 0, address)
            return True
        except OSError:
            return False

    def _receive_datagram(self, timeout: float) -> tuple[bytes, Address] | None:
        if not select.select([self._socket], [], [], max(timeout, 0))[0]:
            return None
        try:
            return self._socket.recvfrom(LARGEST_DATAGRAM)
        except OSError:
            return None

    def keep_registered(self) -> None:
        """Register again when it is time to; call it often."""
        now = time.monotonic()
        if self.box and now - self._registered_at >= REGISTER_EVERY:
            self._registered_at = now
            self._register(self.box)

    def receive(self, timeout: float) -> Message | None:
        """The next message of the box, or None when none comes in time."""
        self.keep_registered()
        if self._early:
            return self._early.pop(0)
        got = self._receive_datagram(timeout)
        if got is None or got[1] != self.box:
            return None
        self.last_heard = time.monotonic()
        return app_protocol.parse_message(got[0])

    def send_command(self, text: str) -> None:
        self.send(app_protocol.command(text))

    def send(self, datagram: bytes) -> None:
        assert self.box
        self._send(datagram, self.box)
