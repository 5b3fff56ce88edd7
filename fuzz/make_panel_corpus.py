#!/usr/bin/env python3
"""make_panel_corpus.py DIRECTORY: writes seeds for fuzz_panel into DIRECTORY/seeds and its words into
DIRECTORY/words. What the box sends comes from docs/app-protocol.md."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
# In the order of fuzz_panel.cpp.
SCENE, TEXTS, VISIT, LIVE = range(4)
MESSAGE, VIDEO, OUT_OF_TURN, RAW, SPEAK, TIME, READ, COME = range(8)
STATUS, SOUND = b"\x00", b"\x02"
MOST = 255  # bytes of an act

REQUESTS = [
    '{"watch":true,"sound":true}', '{"watch":false}', '{"hold":"gimbal","a":-300,"b":70}',
    '{"hold":"zoom","a":1}', '{"release":"gimbal"}', '{"release":"zoom"}', '{"box":"127.0.0.2:9"}',
    '{"command":{"cmd":"record","param":"start"}}', '{"command":{"cmd":"configrequest"}}',
    '{"command":{"cmd":"updateparam","name":"wifi","value":2}}', '{"command":{"cmd":true}}', '{"hold":1}',
]
KEY = b"\x67\x42\xc0\x1e\x00\x00\x01\x68\xce\x3c\x80\x00\x00\x01"
RECOVERY = KEY + b"\x06\x06\x01\xc4\x80\x00\x00\x01\x41\x9a\x01"
PICTURES = [KEY + b"\x65\x88\x01", b"\x41\x9a\x02", b"\x41\x5a\x03",
            b"\x09\xf0\x00\x00\x01\x41\x9a\x04", RECOVERY]
LINES = ["Host: localhost", "Origin: http://localhost", "Cookie: a=b; fieldrelaybox-panel=0",
         "If-None-Match: \"tag\"",
         "Accept-Encoding: gzip", "Connection: Upgrade", "Upgrade: websocket", "Sec-WebSocket-Version: 13",
         "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==", "Authorization: Basic YTpi", "Connection: close",
         "Transfer-Encoding: chunked", "Content-Length: 23"]


def scenes(records):
    """Records, pictures in and out of turn, sound, requests of two browsers, time."""
    def act(kind, data=b""):
        return bytes([kind, len(data[:MOST])]) + data[:MOST]

    pictures = [act(VIDEO, picture) for picture in PICTURES]
    pause, read = act(TIME, b"\x01"), act(READ)
    begin = b"\x01" + act(TIME, b"\x01")
    wish = act(COME, b"\x00") + act(SPEAK, b"\x00" + REQUESTS[0].encode())
    yield begin + b"".join(pictures) + pause + read + wish
    swapped = b"\x00\x00\x01\x41\x9a"
    yield begin + act(OUT_OF_TURN, b"\x01" + swapped).join(pictures + [act(MESSAGE, SOUND + b"\xff\xf1")])
    yield begin + b"".join(act(OUT_OF_TURN, bytes([way]) + swapped) + read for way in range(0, 255, 7))
    answers = b"".join(act(RAW, bytes([sender]) + b"B") for sender in (3, 5, 3))
    yield b"\x00" + answers + act(TIME, b"\x10\x40") + read
    for record in records:
        yield begin + act(MESSAGE, STATUS + record) + act(RAW, b"\x00" + record) + read + act(TIME, b"\x40")
    for request in REQUESTS:
        said = [act(SPEAK, bytes([browser]) + request.encode()) for browser in (0, 1)]
        yield begin + pause.join(said * 3) + act(COME, b"\x00") + act(TIME, b"\x04\x20") + read


def visits():
    """Requests for each path, with each line left out once."""
    for first in ("GET / HTTP/1.1", "GET /session HTTP/1.1", "POST /login HTTP/1.1",
                  "POST /logout HTTP/1.1", "GET /metrics HTTP/1.1", "GET /live HTTP/1.1",
                  "HEAD /%2e%2e/x HTTP/1.0", "PUT / HTTP/1.1"):
        for without in LINES:
            lines = [first] + [line for line in LINES[:-3] if line != without]
            lines += [without] if without in LINES[-3:] else []
            yield ("\r\n".join(lines) + "\r\n\r\n" + '{"password":"password"}').encode()


def frames():
    """Masked with zeros: texts, whole and in two fragments, and everything else there is."""
    for request in REQUESTS:
        data = request.encode()
        yield bytes([0x81, 0x80 | len(data)]) + bytes(4) + data
        yield b"\x01\x85" + bytes(4) + data[:5] + bytes([0x80, 0x80 | (len(data) - 5)]) + bytes(4) + data[5:]
    for first in range(256):
        yield bytes([first, 0x82]) + bytes(4) + b"\x03\xe8"
    for size in (b"\xfe\x20\x00", b"\xff" + bytes(4) + b"\x00\x10\x00\x00", b"\xff" + b"\xff" * 8):
        yield b"\x81" + size + bytes(4) + b"x" * 1000


def in_pieces(data, size):
    """As the entrance reads them: each piece behind its length in units of 8 bytes."""
    return b"".join(bytes([size // 8]) + data[at:at + size] for at in range(0, len(data), size))


def main():
    page = (ROOT / "docs/app-protocol.md").read_text()
    examples = re.findall(r"`((?:[0-9a-f]{2}\s+)+[0-9a-f]{2})`", page)
    records = [bytes.fromhex(example) for example in examples]
    records += [b'{"version":"0.20.2","s1":1}', b'{"cmd":"wlanscan"']
    hosts = ["localhost", "127.0.0.1:8080", "box.local", "[::1]:1", "box.example", "[fe80::1%eth0]"]
    texts = REQUESTS + [f"{host}\nhttp://{host}" for host in hosts]
    texts += ["fieldrelaybox-panel=0; a=b", "192.0.2.1:4242", "a.example\nhttp://a.example",
              '{"password":"correct horse"}', "Basic YW55OmNvcnJlY3QgaG9yc2U="]
    seeds = [(SCENE, scene) for scene in scenes(records)] + [(TEXTS, text.encode()) for text in texts]
    for size in (64, 2040):
        seeds += [(VISIT, in_pieces(visit, size)) for visit in visits()]
        seeds += [(LIVE, in_pieces(frame, size)) for frame in frames()]

    directory = pathlib.Path(sys.argv[1])
    (directory / "seeds").mkdir()
    for number, (entrance, data) in enumerate(seeds):
        (directory / "seeds" / f"{number:05}").write_bytes(bytes([entrance]) + data)
    words = {word for text in texts + LINES for word in re.findall(r"[\w/.:-]{2,40}", text)}
    (directory / "words").write_text("".join(f'"{word}"\n' for word in sorted(words)))
    print(f"{len(seeds)} seeds, {len(words)} words")


if __name__ == "__main__":
    main()
