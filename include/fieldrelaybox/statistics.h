/*
 * /fieldrelaybox_stats: what the Fieldrelaybox daemon counts, for C and C++ programs of the box.
 *
 * Anyone may read it, and only the daemon writes. It is made anew, with zeros, at every start of
 * the daemon; a program that goes on reading opens it again when process_id is gone. Before the
 * daemon starts for the first time there is none.
 *
 * Little-endian, no locks: load each counter as one atomic word; none waits for another. Bytes are
 * those in the datagrams, without the headers of the network. docs/shared-memory.md lists every
 * field and is checked against this file.
 */
#ifndef FIELDRELAYBOX_STATISTICS_H
#define FIELDRELAYBOX_STATISTICS_H

#include "fieldrelaybox/layout.h"

#include <stdint.h>

#define FIELDRELAYBOX_STATISTICS_NAME "/fieldrelaybox_stats"

enum {
    FIELDRELAYBOX_STATISTICS_MAGIC = 0x54535246, /* "FRST" in memory */
    FIELDRELAYBOX_STATISTICS_VERSION = 1,
    FIELDRELAYBOX_STATISTICS_SIZE = 1752,
    FIELDRELAYBOX_STATISTICS_PEERS = 10
};

/* What came in. */
typedef struct InputCount {
    uint64_t datagrams;
    uint64_t bytes;
} InputCount;

/* What went out. */
typedef struct OutputCount {
    uint64_t datagrams; /* handed to the network */
    uint64_t bytes;
    uint64_t blocked; /* not sent: the queue was full */
    uint64_t failed;  /* not sent: any other error */
} OutputCount;

/* One app or UDP client. A place that is taken by another one starts again at zero. */
typedef struct PeerCount {
    uint32_t address; /* IPv4, first byte of the dotted form first; 0: never used */
    uint16_t port;
    uint16_t present;    /* 1 while registered or in the setting */
    InputCount received; /* from an app; UDP clients send nothing */
    OutputCount sent;
} PeerCount;

typedef struct Statistics {
    uint32_t magic;           /* FIELDRELAYBOX_STATISTICS_MAGIC, stored last: the record is there */
    uint32_t version;         /* 1; another one when a member changes its place or meaning */
    uint32_t size;            /* of the record; later members make it longer and keep the version */
    uint32_t process_id;      /* of the daemon that counts */
    int64_t started;          /* when it began to count, seconds since 1970 */
    InputCount video_in;      /* port 5000 */
    InputCount audio_in;      /* port 4001 */
    InputCount transcoded_in; /* port 3001: what the transcoder sent back */
    InputCount control_in;    /* port 4242: apps and test datagrams */
    InputCount server_in;     /* from the remote relay server */
    InputCount camera_in;     /* port 5001 */
    OutputCount control_out;  /* from port 4242: to all apps, but for the relay server */
    OutputCount server_out;   /* to the remote relay server */
    OutputCount camera_out;   /* frames to the camera */
    OutputCount transcoder_out;    /* to port 3000 */
    OutputCount rtmp_video_out;    /* to port 3002 */
    OutputCount mpegts_video_out;  /* to port 3003 */
    OutputCount tcp_video_out;     /* to port 3004 */
    OutputCount rtsp_video_out;    /* to port 3005 */
    OutputCount rtmp_audio_out;    /* to port 4002 */
    OutputCount mpegts_audio_out;  /* to port 4003 */
    OutputCount tcp_audio_out;     /* to port 4004 */
    OutputCount player_out;        /* to port 6000 */
    uint64_t camera_not_connected; /* frames not sent to the camera: it was not connected */
    uint64_t frames_accepted;     /* datagrams of the camera that were decoded; these six are all of
                                     camera_in */
    uint64_t frames_too_short;    /* shorter than any frame */
    uint64_t frames_too_long;     /* longer than any frame */
    uint64_t frames_wrong_length; /* with a length byte that is not their length */
    uint64_t frames_unknown;      /* of a length or command that is not known */
    uint64_t frames_ignored;      /* while an app had disabled the camera */
    uint64_t commands_taken;      /* JSON commands begun, from wherever */
    uint64_t commands_unknown;    /* of these, without a word that is known */
    uint64_t commands_cut;        /* of these or the dropped, cut to the longest */
    uint64_t commands_merged;     /* left to a later one like it */
    uint64_t commands_dropped;    /* not done: too many waited */
    uint64_t saves_done;          /* of the settings, to the configuration file */
    uint64_t saves_failed;
    PeerCount apps[10];        /* by place in the table of apps */
    PeerCount udp_clients[10]; /* by place in the setting udp_clients; video and audio together */
    uint64_t settings_unsaved; /* 1 while the configuration file lacks a change: its save waits, is
                                  under way or failed; else 0 */
    uint64_t log_lines_lost;   /* nobody read standard error or output */
} Statistics;

FIELDRELAYBOX_LAYOUT(InputCount, datagrams, 0);
FIELDRELAYBOX_LAYOUT(InputCount, bytes, 8);
FIELDRELAYBOX_SIZE(InputCount, 16);

FIELDRELAYBOX_LAYOUT(OutputCount, datagrams, 0);
FIELDRELAYBOX_LAYOUT(OutputCount, bytes, 8);
FIELDRELAYBOX_LAYOUT(OutputCount, blocked, 16);
FIELDRELAYBOX_LAYOUT(OutputCount, failed, 24);
FIELDRELAYBOX_SIZE(OutputCount, 32);

FIELDRELAYBOX_LAYOUT(PeerCount, address, 0);
FIELDRELAYBOX_LAYOUT(PeerCount, port, 4);
FIELDRELAYBOX_LAYOUT(PeerCount, present, 6);
FIELDRELAYBOX_LAYOUT(PeerCount, received, 8);
FIELDRELAYBOX_LAYOUT(PeerCount, sent, 24);
FIELDRELAYBOX_SIZE(PeerCount, 56);

FIELDRELAYBOX_LAYOUT(Statistics, magic, 0);
FIELDRELAYBOX_LAYOUT(Statistics, version, 4);
FIELDRELAYBOX_LAYOUT(Statistics, size, 8);
FIELDRELAYBOX_LAYOUT(Statistics, process_id, 12);
FIELDRELAYBOX_LAYOUT(Statistics, started, 16);
FIELDRELAYBOX_LAYOUT(Statistics, video_in, 24);
FIELDRELAYBOX_LAYOUT(Statistics, audio_in, 40);
FIELDRELAYBOX_LAYOUT(Statistics, transcoded_in, 56);
FIELDRELAYBOX_LAYOUT(Statistics, control_in, 72);
FIELDRELAYBOX_LAYOUT(Statistics, server_in, 88);
FIELDRELAYBOX_LAYOUT(Statistics, camera_in, 104);
FIELDRELAYBOX_LAYOUT(Statistics, control_out, 120);
FIELDRELAYBOX_LAYOUT(Statistics, server_out, 152);
FIELDRELAYBOX_LAYOUT(Statistics, camera_out, 184);
FIELDRELAYBOX_LAYOUT(Statistics, transcoder_out, 216);
FIELDRELAYBOX_LAYOUT(Statistics, rtmp_video_out, 248);
FIELDRELAYBOX_LAYOUT(Statistics, mpegts_video_out, 280);
FIELDRELAYBOX_LAYOUT(Statistics, tcp_video_out, 312);
FIELDRELAYBOX_LAYOUT(Statistics, rtsp_video_out, 344);
FIELDRELAYBOX_LAYOUT(Statistics, rtmp_audio_out, 376);
FIELDRELAYBOX_LAYOUT(Statistics, mpegts_audio_out, 408);
FIELDRELAYBOX_LAYOUT(Statistics, tcp_audio_out, 440);
FIELDRELAYBOX_LAYOUT(Statistics, player_out, 472);
FIELDRELAYBOX_LAYOUT(Statistics, camera_not_connected, 504);
FIELDRELAYBOX_LAYOUT(Statistics, frames_accepted, 512);
FIELDRELAYBOX_LAYOUT(Statistics, frames_too_short, 520);
FIELDRELAYBOX_LAYOUT(Statistics, frames_too_long, 528);
FIELDRELAYBOX_LAYOUT(Statistics, frames_wrong_length, 536);
FIELDRELAYBOX_LAYOUT(Statistics, frames_unknown, 544);
FIELDRELAYBOX_LAYOUT(Statistics, frames_ignored, 552);
FIELDRELAYBOX_LAYOUT(Statistics, commands_taken, 560);
FIELDRELAYBOX_LAYOUT(Statistics, commands_unknown, 568);
FIELDRELAYBOX_LAYOUT(Statistics, commands_cut, 576);
FIELDRELAYBOX_LAYOUT(Statistics, commands_merged, 584);
FIELDRELAYBOX_LAYOUT(Statistics, commands_dropped, 592);
FIELDRELAYBOX_LAYOUT(Statistics, saves_done, 600);
FIELDRELAYBOX_LAYOUT(Statistics, saves_failed, 608);
FIELDRELAYBOX_LAYOUT(Statistics, apps, 616);
FIELDRELAYBOX_LAYOUT(Statistics, udp_clients, 1176);
FIELDRELAYBOX_LAYOUT(Statistics, settings_unsaved, 1736);
FIELDRELAYBOX_LAYOUT(Statistics, log_lines_lost, 1744);
FIELDRELAYBOX_SIZE(Statistics, FIELDRELAYBOX_STATISTICS_SIZE);

#endif
