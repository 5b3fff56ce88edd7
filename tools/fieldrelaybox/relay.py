"""A relay server: carries the app protocol between boxes and apps that cannot reach each other.

Boxes and apps talk to one UDP port. Both authenticate with a JSON text:

    {"cmd":"auth","type":"0","user":"...","pass":"...","devid":"..."}     a box
    {"cmd":"auth","type":"1","user":"...","pass":"...","devid":"..."}     an app, for that box

and are answered {"cmd":"authok","id":"17"} with the box's client id. A box then sends
{"cmd":"alive","id":"17"} every 3 s; an unknown id is answered with the id 0, upon which the box
authenticates anew. Everything that starts with 'B' is carried on: from an app to
its box, from a box to all its apps. To the box the relay is one app, so registrations are merged:
the box hears "data only" while all its apps want it so, and "remove me" from the last of them.
"""

from __future__ import annotations

import argparse
import hmac
import json
import random
import select
import socket
import time
from dataclasses import dataclass, field, replace
from typing import Callable

from . import app_protocol, secret_input
from .program import Failed

Address = tuple[str, int]
BOX_TYPE, APP_TYPE = "0", "1"
BOX_EXPIRES_AFTER = 15.0
"""Seconds; a box sends something every 3."""
APP_EXPIRES_AFTER = 6.0
"""Seconds; an app registers every 2, and a box would forget it after 5."""

REGISTER, UNREGISTER = 0, 1
NO_ID = 0
"""A box with this id authenticates on its next pass."""


@dataclass(frozen=True)
class Account:
    user: str
    password: str
    device: str

    def fits(self, other: "Account") -> bool:
        pairs = ((self.user, other.user), (self.password, other.password),
                 (self.device, other.device))
        return all([hmac.compare_digest(_bytes(a), _bytes(b)) for a, b in pairs])


def _bytes(text: str) -> bytes:
    """JSON may hold half a surrogate pair."""
    return text.encode("utf-8", "surrogatepass")


def parse_account(text: str) -> Account:
    """An account from its form on a command line."""
    parts = text.split(":")
    if len(parts) != 3 or not all(parts) or not text.isprintable():
        raise argparse.ArgumentTypeError("it is not USER:PASSWORD:DEVICE")
    return Account(*parts)


def whole_account(account: Account) -> Account:
    """With the password that is asked for."""
    password = secret_input.take(account.password, f"password of {account.user}")
    if not password:
        raise Failed(f"{account.user} needs a password")
    return replace(account, password=password)


@dataclass
class App:
    seen: float
    registered: bool = False
    data_only: bool = False


@dataclass
class Box:
    device: str
    client_id: int
    address: Address
    seen: float
    apps: dict[Address, App] = field(default_factory=dict)


class RelayServer:
    """Owns the socket; `step` handles what has arrived and drops who is silent."""

    def __init__(self, listen: Address, accounts: list[Account],
                 log: Callable[[str], None] = print) -> None:
        self.accounts, self.log = accounts, log
        self.boxes: dict[str, Box] = {}
        self._side: dict[Address, Box] = {}
        self._socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4_000_000)
        self._socket.bind(listen)

    @property
    def port(self) -> int:
        return int(self._socket.getsockname()[1])

    def close(self) -> None:
        self._socket.close()

    def step(self, timeout: float = 0.2) -> None:
        if select.select([self._socket], [], [], timeout)[0]:
            try:
                data, sender = self._socket.recvfrom(65535)
            except OSError:
                data = b""  # an earlier receiver is gone
            if data[:1] == b"{":
                self._take_json(data, sender)
            elif data[:1] == b"B":
                self._carry(data, sender)
        self._expire()

    # JSON

    def _take_json(self, data: bytes, sender: Address) -> None:
        try:
            request = json.loads(data)
            words = {key: str(request.get(key, "")) for key in
                     ("cmd", "type", "user", "pass", "devid", "id")}
        except (ValueError, AttributeError, RecursionError):
            return
        if words["cmd"] == "auth":
            self._authenticate(words, sender)
        elif words["cmd"] == "alive":
            self._alive(words["id"], sender)

    def _authenticate(self, words: dict[str, str], sender: Address) -> None:
        wanted = Account(words["user"], words["pass"], words["devid"])
        if not any([account.fits(wanted) for account in self.accounts]):
            self.log(f"{_at(sender)} refused")
            return
        if words["type"] == BOX_TYPE:
            box = self._link_box(wanted.device, sender)
        else:
            found = self._box_for_app(wanted.device, sender)
            if found is None:
                self.log(f"app {_at(sender)}: box {wanted.device} is not linked")
                return
            box = found
            self._link_app(box, sender)
        self._send_id(box.client_id, sender)

    def _link_box(self, device: str, sender: Address) -> Box:
        box = self.boxes.get(device)
        if box is None:
            box = self.boxes[device] = Box(device, self._new_id(), sender, time.monotonic())
        self._place_box(box, sender)
        self.log(f"box {device} linked from {_at(sender)} with id {box.client_id}")
        return box

    def _place_box(self, box: Box, sender: Address) -> None:
        """The box speaks from this address now. An address is one box or one app, never both."""
        known = self._side.get(sender)
        if known is not None and sender in known.apps:
            self._drop_app(known, sender, "is a box now")
        elif known is not None and known is not box:
            self._drop_box(known, "has lost its address to another box")
        self._side.pop(box.address, None)
        box.address, box.seen = sender, time.monotonic()
        self._side[sender] = box

    def _box_for_app(self, device: str, sender: Address) -> Box | None:
        known = self._side.get(sender)
        if known is not None and known.address == sender:
            self._drop_box(known, "is an app now")
        return self.boxes.get(device)

    def _link_app(self, box: Box, sender: Address) -> None:
        known = self._side.get(sender)
        if known is not None and known is not box:
            self._drop_app(known, sender, f"goes to box {box.device}")
        if sender not in box.apps:
            self.log(f"app {_at(sender)} attached to box {box.device}")
        box.apps.setdefault(sender, App(time.monotonic())).seen = time.monotonic()
        self._side[sender] = box

    def _new_id(self) -> int:
        used = {box.client_id for box in self.boxes.values()}
        return next(number for number in iter(lambda: random.randint(1, 65535), 0)
                    if number not in used)

    def _alive(self, text: str, sender: Address) -> None:
        for box in self.boxes.values():
            if str(box.client_id) == text and box.address[0] == sender[0]:
                self._place_box(box, sender)  # address translation may have chosen another port
                return
        self.log(f"{_at(sender)} is alive with the unknown id {ascii(text[:20])}")
        self._send_id(NO_ID, sender)

    def _send_id(self, client_id: int, address: Address) -> None:
        self._send(_encode(cmd="authok", id=str(client_id)), address)

    # app protocol

    def _carry(self, data: bytes, sender: Address) -> None:
        box = self._side.get(sender)
        if box is None:
            return
        if sender == box.address:
            box.seen = time.monotonic()
            self._to_apps(box, data)
        else:
            self._to_box(box, data, sender)

    def _to_apps(self, box: Box, data: bytes) -> None:
        message = app_protocol.parse_message(data)
        if message is None:
            return
        media = message.kind != app_protocol.RECORD
        for address, app in box.apps.items():
            if app.registered and not (media and app.data_only):
                self._send(data, address)

    def _to_box(self, box: Box, data: bytes, sender: Address) -> None:
        app = box.apps[sender]
        app.seen = time.monotonic()
        if len(data) < len(app_protocol.EMPTY_HEADER):
            return
        code = data[12] if len(data) > 12 else REGISTER
        if code == REGISTER:
            self._register(box, app, data, sender)
        elif code == UNREGISTER:
            self._drop_app(box, sender, "left")
        else:
            self._send(data, box.address)

    def _register(self, box: Box, app: App, data: bytes, sender: Address) -> None:
        new = not app.registered
        app.registered, app.data_only = True, data[13:14] == b"\1"
        data_only = all(other.data_only for other in box.apps.values() if other.registered)
        self._send(app_protocol.register(data_only), box.address)
        if new:  # the box's own answer does not come this way
            self._send(b"B", sender)

    def _drop_app(self, box: Box, address: Address, why: str) -> None:
        del box.apps[address], self._side[address]
        self.log(f"app {_at(address)} {why}")
        if not any(app.registered for app in box.apps.values()):
            self._send(app_protocol.unregister(), box.address)

    def _expire(self) -> None:
        now = time.monotonic()
        for box in list(self.boxes.values()):
            silent = [at for at, app in box.apps.items() if now - app.seen > APP_EXPIRES_AFTER]
            for address in silent:
                self._drop_app(box, address, "is silent")
            if now - box.seen > BOX_EXPIRES_AFTER:
                self._drop_box(box, "is silent")

    def _drop_box(self, box: Box, why: str) -> None:
        for address in (box.address, *box.apps):
            self._side.pop(address, None)
        del self.boxes[box.device]
        self.log(f"box {box.device} {why}")

    def _send(self, data: bytes, address: Address) -> None:
        try:
            self._socket.sendto(data, address)
        except OSError:
            pass  # a lost datagram like any other


def _encode(**members: str) -> bytes:
    return json.dumps(members, separators=(",", ":")).encode()


def _at(address: Address) -> str:
    return f"{address[0]}:{address[1]}"


def authentication(account: Account) -> bytes:
    """What an app sends to be attached to its box."""
    return _encode(cmd="auth", type=APP_TYPE, user=account.user, **{"pass": account.password},
                   devid=account.device)
