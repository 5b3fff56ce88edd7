#!/usr/bin/env python3
"""How far behind the page shows the picture, and how much of it: a real browser, the built page, and a
server of its own that sends what the panel would, H.264 with a number in each picture.

    cd page && npm ci && node build.mjs && cd .. && bench/panel_delay.py
    bench/panel_delay.py --browser firefox --way mse --loss 1 --seconds 20

The number stands in black and white bars in the uppermost part of the picture. A script in the page reads
it from what is shown, 60 times a second, and notes the time; both clocks are this machine's.
"""

from __future__ import annotations

import argparse
import asyncio
import base64
import hashlib
import json
import random
import statistics
import subprocess
import sys
import threading
import time
from pathlib import Path
from typing import Any

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "tests/browser"))
from webdriver import Browser, chromium, firefox  # noqa: E402

WIDTH, HEIGHT, BAR = 640, 360, 40
PAGE = Path(__file__).resolve().parents[1] / "page/build/page"
KINDS = {".html": "text/html", ".js": "text/javascript", ".css": "text/css", ".svg": "image/svg+xml"}
KEY, DAMAGED, GAP = 1, 2, 4
DATAGRAM = 1300
MEASURE = """
const small = document.createElement('canvas');
[small.width, small.height] = [64, 4];
const context = small.getContext('2d', { willReadFrequently: true });
const seen = [];
document.getElementById('screen').style.setProperty('min-height', '50vh');
let last = -1;
function read(picture) {
  const width = picture.videoWidth || picture.width, height = picture.videoHeight || picture.height;
  if (!width) return -1;
  context.drawImage(picture, 0, height / 36, width, height / 9, 0, 0, 64, 4);
  const pixels = context.getImageData(0, 2, 64, 1).data;
  let number = 0;
  for (let bar = 0; bar < 16; bar++) number = number * 2 + (pixels[(bar * 4 + 2) * 4] > 127 ? 1 : 0);
  const counter = number >> 4;
  return (number & 15) === ((counter + (counter >> 4) + (counter >> 8) + 5) & 15) ? counter : -1;
}
function look() {
  const picture = document.getElementById('picture');
  const number = picture ? read(picture) : -1;
  if (number >= 0 && number !== last) seen.push([number, performance.timeOrigin + performance.now()]);
  if (number >= 0) last = number;
  requestAnimationFrame(look);
}
look();
setInterval(() => { document.documentElement.dataset.seen = JSON.stringify(seen); }, 250);
"""


def raw_picture(number: int) -> bytes:
    bits = number << 4 | (number + (number >> 4) + (number >> 8) + 5) & 15
    bars = b"".join((b"\xeb" if bits >> 15 - bar & 1 else b"\x10") * BAR for bar in range(16))
    ramp = bytes(16 + (x * 7 + x // 9 * 31) % 200 for x in range(WIDTH * 2))
    rows = b"".join(ramp[(start := (number * 5 + y // 8 * 13) % WIDTH):start + WIDTH]
                    for y in range(HEIGHT - 64 - 40))
    faint = bytes(100 + i // 8 for i in range(256))
    rows += random.Random(number % 7).randbytes(WIDTH * 40).translate(faint)
    return bars * 64 + rows + b"\x80" * (WIDTH * HEIGHT // 2)


def encode(numbers: range, options: argparse.Namespace, height: int = HEIGHT) -> list[bytes]:
    """The access units, each with a delimiter."""
    refresh = ":intra-refresh=1" if options.refresh else ""
    command = ["ffmpeg", "-v", "error", "-f", "rawvideo", "-pix_fmt", "yuv420p",
               "-s", f"{WIDTH}x{HEIGHT}", "-r", str(options.rate), "-i", "-", "-vf", f"scale=-2:{height}", "-c:v", "libx264", "-preset", "veryfast",
               "-tune", "zerolatency", "-g", str(options.rate), "-b:v", f"{options.kbits}k",
               "-maxrate", f"{options.kbits}k", "-bufsize", f"{options.kbits // 4}k", "-x264-params",
               f"aud=1:threads=1:slices={options.slices}{refresh}", "-f", "h264", "-"]
    encoder = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    assert encoder.stdin and encoder.stdout

    def write() -> None:
        assert encoder.stdin
        for number in numbers:
            encoder.stdin.write(raw_picture(number))
        encoder.stdin.close()
    writer = threading.Thread(target=write)
    writer.start()
    stream = encoder.stdout.read()
    writer.join()
    return [b"\0\0\0\1\x09" + unit for unit in stream.split(b"\0\0\0\1\x09")[1:]]


def is_key(unit: bytes) -> bool:
    return b"\0\0\1\x67" in unit


def lossy(unit: bytes, percent: float, cut: bool) -> bytes | None:
    """What is left of it; nothing when its beginning is lost."""
    parts = [unit[place:place + DATAGRAM] for place in range(0, len(unit), DATAGRAM)]
    if cut:
        first = next((i for i in range(len(parts)) if random.random() * 100 < percent), len(parts))
        return b"".join(parts[:first]) or None
    kept = [part for part in parts if random.random() * 100 >= percent]
    return b"".join(kept) if kept and kept[0] is parts[0] else None


class Viewer:
    """A browser at the WebSocket."""

    def __init__(self, writer: asyncio.StreamWriter) -> None:
        self.writer, self.watching, self.gap = writer, False, False

    def send(self, message: bytes, opcode: int = 2) -> None:
        size = len(message)
        head = bytes([size]) if size < 126 else (
            b"\x7e" + size.to_bytes(2, "big") if size < 65536 else b"\x7f" + size.to_bytes(8, "big"))
        self.writer.write(bytes([0x80 | opcode]) + head + message)


class Server:
    def __init__(self, units: list[bytes], sound: list[bytes], options: argparse.Namespace) -> None:
        self.units, self.sound, self.options = units, sound, options
        self.viewers: set[Viewer] = set()
        self.sent: list[tuple[int, float, bool]] = []
        """Number, time in ms, and whether it went out whole."""
        self.place = 0

    def picture(self, viewer: Viewer, number: int, loss: float) -> bool:
        unit = self.units[number]
        left = lossy(unit, loss, self.options.cut)
        if left is None:
            viewer.gap = True
            return False
        flags = is_key(unit) * KEY | (len(left) < len(unit)) * DAMAGED | viewer.gap * GAP
        viewer.gap = False
        viewer.send(bytes([1, flags]) + (time.monotonic_ns() // 1000).to_bytes(8, "little") + left)
        return len(left) == len(unit)

    async def play(self) -> None:
        begin = time.monotonic()
        held: list[int] = []
        while True:
            self.place += 1
            await asyncio.sleep(max(0.0, begin + self.place / self.options.rate - time.monotonic()))
            held.append(self.place % len(self.units))
            if random.random() < self.options.hold:
                continue
            for number in held:
                whole = False
                for viewer in self.viewers:
                    if viewer.watching:
                        whole = self.picture(viewer, number, self.options.loss)
                self.sent.append((number, time.time() * 1000, whole))
            held.clear()

    async def play_sound(self) -> None:
        begin = time.monotonic()
        for count in range(1_000_000_000):
            await asyncio.sleep(max(0.0, begin + count * 1024 / 48000 - time.monotonic()))
            for viewer in self.viewers:
                viewer.send(b"\2\0" + (time.monotonic_ns() // 1000).to_bytes(8, "little") +
                            self.sound[count % len(self.sound)])

    async def tell(self) -> None:
        numbers = ("you", "gimbalHolder", "zoomHolder", "viewers", "videoDatagrams", "videoBytes", "lost",
                   "damagedPictures", "timeUs")
        state = {"box": "192.0.2.5:4242", "heard": True, "boxes": [], **dict.fromkeys(numbers, 1)}
        while True:
            for viewer in self.viewers:
                viewer.send(b"\3" + json.dumps(state).encode())
            await asyncio.sleep(1)

    def watch(self, viewer: Viewer, wanted: bool) -> None:
        """Whoever begins gets the last group of pictures at once."""
        if wanted and not viewer.watching and self.sent:
            last = self.sent[-1][0]
            first = max((i for i in range(last + 1) if is_key(self.units[i])), default=0)
            for number in range(first, last + 1):
                self.picture(viewer, number, 0)
        viewer.watching = wanted

    async def websocket(self, key: str, reader: asyncio.StreamReader, writer: asyncio.StreamWriter) -> None:
        accept = base64.b64encode(hashlib.sha1(
            (key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11").encode()).digest()).decode()
        writer.write(("HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                      f"Sec-WebSocket-Accept: {accept}\r\n\r\n").encode())
        viewer = Viewer(writer)
        self.viewers.add(viewer)
        try:
            while (head := await reader.readexactly(2))[0] & 15 != 8:
                size = head[1] & 127
                if size == 126:
                    size = int.from_bytes(await reader.readexactly(2), "big")
                mask = await reader.readexactly(4)
                text = bytes(byte ^ mask[i % 4] for i, byte in enumerate(await reader.readexactly(size)))
                if b"watch" in text:
                    self.watch(viewer, bool(json.loads(text)["watch"]))
        finally:
            self.viewers.discard(viewer)

    async def serve(self, reader: asyncio.StreamReader, writer: asyncio.StreamWriter) -> None:
        try:
            head = (await reader.readuntil(b"\r\n\r\n")).decode("latin-1").split("\r\n")
            path = head[0].split()[1].split("?")[0].lstrip("/") or "index.html"
            keys = [line.split()[1] for line in head if line.lower().startswith("sec-websocket-key:")]
            if keys:
                await self.websocket(keys[0], reader, writer)
                return
            body = MEASURE.encode() if path == "measure.js" else (PAGE / path).read_bytes()
            if path == "index.html":
                body = body.replace(b"</body>", b'<script src="measure.js"></script></body>')
            kind = KINDS.get(Path(path).suffix, "text/plain")
            writer.write(f"HTTP/1.1 200 OK\r\nContent-Type: {kind}\r\nContent-Length: {len(body)}\r\n"
                         "Connection: close\r\n\r\n".encode() + body)
            await writer.drain()
        except (OSError, asyncio.IncompleteReadError):
            pass
        finally:
            writer.close()


def start(server: Server) -> int:
    """Its port. It ends with the process."""
    port: list[int] = []
    ready = threading.Event()

    async def run() -> None:
        listener = await asyncio.start_server(server.serve, "127.0.0.1", 0)
        port.append(listener.sockets[0].getsockname()[1])
        ready.set()
        tasks = [server.play(), server.tell()] + ([server.play_sound()] if server.sound else [])
        await asyncio.gather(*tasks)
    threading.Thread(target=lambda: asyncio.run(run()), daemon=True).start()
    ready.wait()
    return port[0]


def listen(browser: Browser) -> list[float]:
    """Where the sound is played, before and after a second."""
    browser.script("document.getElementById('sound').click()")
    playing = "const sound = document.querySelector('audio'); return sound.currentTime"
    browser.wait(f"{playing} > 1 && sound.currentTime", "sound is played")
    first = browser.script(playing)
    time.sleep(1)
    last, end = browser.script("const sound = document.querySelector('audio');"
                               "return [sound.currentTime, sound.buffered.end(0)]")
    return [round(value, 2) for value in (first, last, end)]


def measure(browser: Browser, server: Server, address: str, seconds: float) -> dict[str, Any]:
    browser.open(address)
    browser.wait("return document.documentElement.dataset.seen?.length > 100", "pictures are seen")
    begin = time.time() * 1000 + 2000
    time.sleep(2 + seconds)
    end = begin + seconds * 1000
    time.sleep(1)
    seen = json.loads(browser.script("return document.documentElement.dataset.seen"))
    delays = []
    for number, at in seen:
        sent = [when for which, when, _ in server.sent if which == number and when <= at]
        if sent and begin <= at < end:
            delays.append(at - sent[-1])
    went = [whole for _, when, whole in server.sent if begin <= when < end]
    if server.sound and browser.name == "chromium":  # Firefox wants a sound device
        print("sound, s:", listen(browser))
    picture = browser.script("const picture = document.getElementById('picture');"
                             "return {...picture.dataset, rate: picture.playbackRate}")
    return {"median": round(statistics.median(delays)),
            "p95": round(statistics.quantiles(delays, n=20)[-1]),
            "seen": len(delays), "sent": len(went), "whole": sum(went), **picture}


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("--browser", choices=("chromium", "firefox"), action="append")
    parser.add_argument("--way", choices=("mse", "webcodecs"), action="append")
    parser.add_argument("--seconds", type=float, default=20)
    parser.add_argument("--rate", type=int, default=30, help="pictures a second")
    parser.add_argument("--kbits", type=int, default=2000)
    parser.add_argument("--slices", type=int, default=1)
    parser.add_argument("--loss", type=float, default=0, help="percent of the datagrams")
    parser.add_argument("--cut", action="store_true", help="a picture ends where a datagram is lost")
    parser.add_argument("--hold", type=float, default=0, help="how likely a picture waits for the next")
    parser.add_argument("--refresh", action="store_true", help="intra refresh: no IDR picture but the first")
    parser.add_argument("--change", action="store_true", help="another size every 10 s")
    parser.add_argument("--sound", action="store_true")
    parser.add_argument("--console", action="store_true", help="what the page said")
    options = parser.parse_args()
    half = 10 * options.rate
    units = encode(range(half), options)
    units += encode(range(half, 2 * half), options, HEIGHT // 2 if options.change else HEIGHT)
    sound: list[bytes] = []
    if options.sound:
        command = "ffmpeg -v error -f lavfi -i sine=440:d=10 -ar 48000 -ac 2 -c:a aac -f adts -"
        stream = subprocess.run(command.split(), capture_output=True, check=True).stdout
        sound = [b"\xff\xf1" + part for part in stream.split(b"\xff\xf1")[1:]]
    for name in options.browser or ("chromium", "firefox"):
        for way in options.way or ("mse", "webcodecs"):
            server = Server(units, sound, options)
            port = start(server)
            with (chromium() if name == "chromium" else firefox()) as browser:
                result = measure(browser, server, f"http://127.0.0.1:{port}/?way={way}", options.seconds)
                if options.console:
                    print("\n".join(browser.console()[-20:]))
            print(f"{name} {way}: median {result.pop('median')} ms, p95 {result.pop('p95')} ms; "
                  f"{result.pop('seen')} of {result.pop('sent')} pictures seen {result}", flush=True)


if __name__ == "__main__":
    main()
