"""What the daemon counts, for people: the subcommand that looks at it on the box itself."""

from __future__ import annotations

import argparse
import json
import socket
import struct
import time
from pathlib import Path
from typing import Any

from .program import Failed
from .shared_memory import (
    STATISTICS, STATISTICS_MAGIC, STATISTICS_VERSION, Region, decode_all)

Counts = dict[str, Any]

LINKS = (
    ("video (port 5000)", "video_in", ""),
    ("audio (port 4001)", "audio_in", ""),
    ("from the transcoder (3001)", "transcoded_in", ""),
    ("apps (port 4242)", "control_in", "control_out"),
    ("relay server", "server_in", "server_out"),
    ("camera (port 5001)", "camera_in", "camera_out"),
    ("to the transcoder (3000)", "", "transcoder_out"),
    ("RTMP video (3002)", "", "rtmp_video_out"),
    ("MPEG-TS video (3003)", "", "mpegts_video_out"),
    ("TCP video (3004)", "", "tcp_video_out"),
    ("RTSP video (3005)", "", "rtsp_video_out"),
    ("RTMP audio (4002)", "", "rtmp_audio_out"),
    ("MPEG-TS audio (4003)", "", "mpegts_audio_out"),
    ("TCP audio (4004)", "", "tcp_audio_out"),
    ("local player (6000)", "", "player_out"),
)
"""In words; the record's field of what comes in and of what goes out, where there is one."""

PEERS = (("app", "apps"), ("UDP client", "udp_clients"))
COLUMNS = ("received", "bytes", "sent", "bytes", "blocked", "failed")

EVENTS = (
    ("frames for the camera", (("not connected", "camera_not_connected"),)),
    ("frames of the camera", (
        ("accepted", "frames_accepted"), ("too short", "frames_too_short"),
        ("too long", "frames_too_long"), ("wrong length byte", "frames_wrong_length"),
        ("unknown", "frames_unknown"), ("ignored while disabled", "frames_ignored"))),
    ("commands", (
        ("taken", "commands_taken"), ("unknown", "commands_unknown"), ("cut", "commands_cut"),
        ("merged", "commands_merged"), ("dropped", "commands_dropped"))),
    ("settings", (("saved", "saves_done"), ("not saved", "saves_failed"),
                  ("still to be saved", "settings_unsaved"))),
    ("log", (("lines lost", "log_lines_lost"),)),
)


def read_counts() -> Counts:
    """The whole record by the names of the header; addresses as texts."""
    try:
        with Region(STATISTICS, read_only=True) as region:
            counts = decode_all(STATISTICS, region.raw)
    except FileNotFoundError:
        raise Failed("no daemon has counted anything here: status runs on the box itself; from afar the panel's"
                     " /metrics has the same") from None
    if (counts["magic"], counts["version"]) != (STATISTICS_MAGIC, STATISTICS_VERSION):
        raise Failed("the counts on this box are not of the kind this program knows")
    for _, name in PEERS:
        for peer in counts[name]:
            peer["address"] = socket.inet_ntoa(struct.pack("<I", peer["address"]))
    return counts


def _number(value: int) -> str:
    return f"{value:,}" if value else "-"


def _cells(received: Counts, sent: Counts) -> list[str]:
    values = (received.get("datagrams"), received.get("bytes"), sent.get("datagrams"),
              sent.get("bytes"), sent.get("blocked"), sent.get("failed"))
    return [_number(value or 0) for value in values]


def _rows(counts: Counts) -> list[list[str]]:
    rows = [["", *COLUMNS]]
    rows += [[words, *_cells(counts.get(came, {}), counts.get(went, {}))]
             for words, came, went in LINKS]
    rows += [[f"{words} {peer['address']}:{peer['port']}" + ("" if peer["present"] else " (gone)"),
              *_cells(peer["received"], peer["sent"])]
             for words, name in PEERS for peer in counts[name] if peer["port"]]
    return rows


def describe_counts(counts: Counts) -> str:
    """A table of all traffic, a line per kind of event; dashes where there was nothing."""
    since = time.strftime("%Y-%m-%d %H:%M:%S", time.localtime(counts["started"]))
    ended = not Path(f"/proc/{counts['process_id']}").exists()
    lines = [f"counted since {since}" + (" by a daemon that has ended" if ended else ""), ""]
    rows = _rows(counts)
    widths = [max(map(len, column)) for column in zip(*rows)]
    for name, *cells in rows:
        shown = (cell.rjust(width) for cell, width in zip(cells, widths[1:]))
        lines.append("  ".join((name.ljust(widths[0]), *shown)))
    lines.append("")
    for words, events in EVENTS:
        lines.append(f"{words}: " + ", ".join(f"{event} {_number(counts[name])}"
                                              for event, name in events))
    return "\n".join(lines)


def run_status(options: argparse.Namespace) -> None:
    counts = read_counts()
    print(json.dumps(counts) if options.json else describe_counts(counts))
