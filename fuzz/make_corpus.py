#!/usr/bin/env python3
"""make_corpus.py DIRECTORY: writes seeds for fuzz_entrances into DIRECTORY/seeds and its words into
DIRECTORY/words. Both come from tests/data and docs/, which tests keep complete."""
import json
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
# In the order of fuzz_entrances.cpp.
SETTINGS, CONTROL, COMMAND, CAMERA, SERVER, TOOL, FIELD, RC, SERIAL, EDGES = range(10)
ENTRANCES = 10


def leaves(tree):
    """Every text in a JSON tree."""
    if isinstance(tree, dict):
        tree = tree.values()
    elif isinstance(tree, str):
        yield tree
        return
    elif not isinstance(tree, list):
        return
    for branch in tree:
        yield from leaves(branch)


def is_hex(text, start):
    return text.startswith(start) and len(text) > 4 and re.fullmatch("([0-9a-f]{2})+", text)


def seeds_of_text(text):
    """What a text of the test data is a sample of."""
    data = text.encode()
    if text.startswith('{"cmd"'):
        return [(COMMAND, data), (FIELD, data), (CONTROL, b"B" + bytes(11) + data), (SERVER, data)]
    if is_hex(text, "55"):
        return [(CAMERA, bytes.fromhex(text))]
    if is_hex(text, "42"):
        return [(CONTROL, bytes.fromhex(text)), (SERVER, bytes.fromhex(text))]
    if text.startswith("["):
        return [(CONTROL, data)]
    if text.startswith("{"):
        return [(TOOL, data)]
    if text.endswith("\n") and "=" in text:
        return [(SETTINGS, data)]
    return []


def rc_seeds(functions):
    """Each function alone: absent, then through all positions and back, with and without switches."""
    steps = b"".join(bytes([value, 0, 0, 0, 0]) for value in (0, 40, 120, 200, 255, 160, 100, 20, 120))
    for function in functions:
        for switches in range(8):
            yield RC, bytes([function, 255, 255, 255, switches]) + steps


def serial_seeds():
    """For each protocol headers, pauses and nearly whole frames."""
    frames = bytes([0x0F]) + bytes(24), bytes.fromhex("c8041600abcd"), bytes([0x20, 0x40]) + bytes(30)
    for port, frame in enumerate(2 * frames, 2):  # with pauses behind, and without; 0 is the second
        for burst in (frame, frame[:1] * 40, frame[:2] + frame, frame * 3):
            for pause in (0, 255):
                yield SERIAL + ENTRANCES * port, bytes(22) + 2 * (bytes([len(burst), pause]) + burst)


def edge_seeds():
    """Six frames of four channels, then six pulses on each of three lines."""
    starts = [20000 * frame + 1500 * pulse for frame in range(6) for pulse in range(5)]
    edges = [(start + after, level, 1) for start in starts for after, level in ((0, 1), (300, 0))]
    edges += [(200000 + 20000 * frame + 3000 * line + 1500 * (1 - level), level, line)
              for frame in range(6) for line in (1, 2, 3) for level in (1, 0)]
    yield EDGES, "".join(f"{time}000 {level} {line}\n" for time, level, line in edges).encode()


def main():
    texts, functions = [], []
    for path in sorted((ROOT / "tests/data").glob("*.json")):
        tree = json.loads(path.read_text())
        texts += leaves(tree)
        if path.stem == "channel_functions":
            functions = [number for _, number in tree]
    pages = "\n".join(path.read_text() for path in sorted((ROOT / "docs").rglob("*.md")))
    texts += re.findall(r'\{"cmd"[^}\n]*\}', pages)
    texts += [example.replace(" ", "") for example in re.findall("`(42(?: [0-9a-f]{2})+)`", pages)]

    seeds = {seed for text in texts for seed in seeds_of_text(text)} | set(rc_seeds(functions))
    seeds |= set(serial_seeds()) | set(edge_seeds())
    seeds |= {(SETTINGS, path.read_bytes()) for path in (ROOT / "tests/data").glob("*.conf")}
    names = [text for text in texts if re.fullmatch(r"[\w .@-]{1,32}", text) and not is_hex(text, "")]
    scan = "".join(f'Cell\n  ESSID:"{name}"\nssid={name}\n' for name in names[:40])
    seeds |= {(TOOL, scan.encode())}
    words = set(re.findall(r'`"?([A-Za-z0-9_+.@ -]{2,40})"?`', pages))
    words |= {word for text in texts if text.startswith("{") for word in re.findall('"([^"]+)"', text)}

    directory = pathlib.Path(sys.argv[1])
    (directory / "seeds").mkdir()
    for number, (entrance, data) in enumerate(sorted(seeds)):
        (directory / "seeds" / f"{number:05}").write_bytes(bytes([entrance]) + data)
    escaped = ("".join(c if c.isascii() and c.isalnum() else f"\\x{ord(c) & 255:02X}" for c in word)
               for word in sorted(words) if len(word) <= 64)
    (directory / "words").write_text("".join(f'"{word}"\n' for word in escaped))
    print(f"{len(seeds)} seeds, {len(words)} words")


if __name__ == "__main__":
    main()
