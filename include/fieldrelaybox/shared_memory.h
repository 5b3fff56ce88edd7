/*
 * Two shared-memory regions of the Fieldrelaybox daemon, for C and C++ programs of the box.
 *
 * - /hud_mem, StatusBlock, 1936 bytes: identity, link, camera and RC state, written field by field.
 *
 * - /config_mem, ConfigRecord, 3256 bytes: copy of the daemon's settings, refreshed every 3 s.
 *
 * Little-endian, no locks, no version number: offsets and sizes never change. Bytes in members
 * called reservedN are zero; write only the members that say so. docs/shared-memory.md lists every
 * field and is checked against this file.
 */
#ifndef FIELDRELAYBOX_SHARED_MEMORY_H
#define FIELDRELAYBOX_SHARED_MEMORY_H

#include "fieldrelaybox/layout.h"

#include <stdint.h>

#define FIELDRELAYBOX_STATUS_NAME "/hud_mem"
#define FIELDRELAYBOX_CONFIG_NAME "/config_mem"

enum {
    FIELDRELAYBOX_STATUS_SIZE = 1936,
    FIELDRELAYBOX_CONFIG_SIZE = 3256,
    FIELDRELAYBOX_RC_CHANNELS = 32,
    FIELDRELAYBOX_COMMAND_CAPACITY = 127
};

/* One attitude angle for horizon drawing. */
typedef struct AttitudeAngle {
    double radians;
    double sine;
    double cosine;
} AttitudeAngle;

typedef struct StatusBlock {
    uint8_t daemon_started;    /* 1 once the daemon has started */
    char product_name[14];     /* "Fieldrelaybox", NUL-terminated */
    uint8_t reserved15[114];   /* 15 */
    uint8_t link_byte_129;     /* 0 on connect and on a camera source change */
    uint8_t reserved130[2];    /* 130 */
    uint8_t app_client_count;  /* registered app clients, refreshed every 3 s */
    uint8_t link_byte_133;     /* 1 while the camera link is up since its last source change */
    uint8_t link_byte_134;     /* as 133 */
    uint8_t video_connected;   /* 1 while video datagrams arrive */
    uint8_t camera_disabled;   /* 1 after the app disabled the camera link */
    uint8_t show_channels;     /* 1: the overlay shows the RC channel values */
    uint8_t reserved138[2];    /* 138 */
    char video_status[32];     /* "", "video disconnected" or "video disabled" */
    char telemetry_status[32]; /* "", "telemetry disconnected" or "telemetry disabled" */
    uint8_t reserved204[4];    /* 204 */
    AttitudeAngle attitude_a;  /* 208; rewritten while attitude_updating is 1 */
    AttitudeAngle attitude_b;  /* 232 */
    AttitudeAngle attitude_c;  /* 256 */
    uint8_t reserved280[270];  /* 280 */
    char version_text[20];     /* "v.0.20.2" */
    uint8_t osd_enabled;       /* 570..574 follow the settings of the same names */
    uint8_t hud_enabled;       /* 0 at start, then follows the app's changes */
    uint8_t internal_camera_enabled;
    uint8_t internal_camera_fullscreen;
    uint8_t focus_assistant_enabled;
    uint8_t reserved575[81];      /* 575 */
    char attitude_b_text[10];     /* degrees, no decimals */
    char attitude_c_text[10];     /* 666 */
    char attitude_a_text[10];     /* 676 */
    uint8_t attitude_updating;    /* 1 while the attitude fields are rewritten */
    uint8_t reserved687[1];       /* 687 */
    double focus_point_x;         /* 688; 0..1, 0.5 on every connect */
    double focus_point_y;         /* 696 */
    char command_field[127];      /* 704; JSON command of a sibling: write the first byte last */
    uint8_t rc_receiver_state;    /* 831; written by the RC input process, 6 = RC control active */
    uint8_t rc_heartbeat;         /* 832; once the RC input process has changed it, it has to go on
                                     doing so every 500 ms at least, or the RC counts as lost */
    uint8_t reserved833[1];       /* 833 */
    uint16_t rc_channels[32];     /* 834; written by the RC input process, pulse width in us */
    uint8_t channel_function[32]; /* 898; function of RC channel i + 1, 255 = none */
    uint8_t reserved930[70];      /* 930 */
    /* 1000..1059: what the camera reports, for overlays; 0 until it has reported. */
    uint32_t camera_flags; /* 1000; flag word of the camera's state frame */
    uint32_t card_size;    /* MB */
    uint32_t card_free;    /* MB */
    uint32_t photos_left;
    uint32_t recording_time_left; /* s */
    uint32_t iso_actual;
    uint16_t recording_time;  /* s */
    uint16_t aperture;        /* f-number x 100 */
    uint16_t aperture_actual; /* f-number x 100 */
    uint16_t shutter;         /* bits 0-14 integer part; bit 15: 1/x s */
    uint16_t shutter_actual;  /* as shutter */
    uint16_t focus_range;     /* largest focus stroke */
    uint16_t focus_stroke;
    uint16_t focus_distance;  /* cm, 65535 = far */
    uint16_t battery_voltage; /* mV */
    int16_t battery_current;  /* mA, negative while discharging */
    uint8_t recording;        /* 1 while recording */
    uint8_t photo_state;      /* 0 = idle */
    uint8_t card_present;
    uint8_t card_state;      /* 0 = normal */
    uint8_t shutter_decimal; /* digits behind the point */
    uint8_t shutter_actual_decimal;
    uint8_t iso_code;       /* 0 = auto, 3 = 100, one more per stop */
    uint8_t ev_code;        /* 16 = 0 EV, one per third of a stop */
    uint8_t ev_actual_code; /* as ev_code */
    uint8_t exposure_mode;  /* 1 auto, 2 shutter, 3 aperture, 4 manual */
    uint8_t white_balance_mode;
    uint8_t white_balance_temperature; /* kelvin / 100 */
    uint8_t video_resolution_code;     /* as in the resolution command */
    uint8_t video_rate_code;           /* as in the resolution command */
    uint8_t focus_mode;                /* 0 MF, 1 AF, 2 continuous AF, 3 fine MF */
    uint8_t battery_percent;
    uint8_t rc_menu_active;       /* 1: the sticks are for the menu process */
    uint8_t reserved1061[587];    /* 1061 */
    uint32_t camera_value_1648;   /* bytes 12-15 of the camera's 22-byte frame */
    uint8_t reserved1652[10];     /* 1652 */
    uint8_t gimbal_status;        /* 1662; 1 when byte 17 of the attitude frame is 0 */
    uint8_t reserved1663[36];     /* 1663 */
    uint8_t manual_focus_capable; /* 1699; 1 when the focus range is above 0 */
    uint8_t reserved1700[29];     /* 1700 */
    uint8_t af_unlimited;         /* 1729; 1 after the app asked for it */
    uint8_t reserved1730[134];    /* 1730 */
    uint8_t camera_work_mode;     /* 1864; 0 photo, 1 video, 2 playback */
    uint8_t reserved1865[16];     /* 1865 */
    uint8_t camera_flag_1881;     /* bit 6 of the code-6 record */
    uint8_t camera_flag_1882;     /* bit 7 of the code-6 record */
    uint8_t reserved1883[3];      /* 1883 */
    uint16_t timelapse_interval;  /* 1886; s */
    uint16_t timelapse_duration;  /* 1888; s */
    uint8_t reserved1890[46];     /* 1890 */
} StatusBlock;

typedef struct ConfigRecord {
    uint8_t hdmi_enabled; /* 1 = HDMI, 0 = composite */
    uint8_t udp_enabled;
    uint8_t rtmp_enabled;
    uint8_t mpegts_enabled;
    uint8_t tcp_enabled;
    uint8_t rtsp_enabled;
    uint8_t video_transcode_enabled;
    uint8_t pad7[1];
    int32_t video_bitrate; /* bit/s */
    int32_t video_width;   /* pixels */
    int32_t video_height;  /* pixels */
    uint8_t audio_enabled;
    uint8_t pad21[3];
    int32_t audio_bitrate; /* bit/s */
    int32_t audio_volume;  /* percent */
    uint8_t audio_autogain;
    uint8_t rc_input_enabled;
    char rc_input_mode[6];  /* "pwm", "ppm", "sbus", "crsf", "ibus", "pad" or "off" */
    char rc2_input_mode[6]; /* the same words */
    char rc_input_map[512]; /* comma-separated channel functions */
    uint8_t pad558[2];
    int32_t rc_input_speed_pan;  /* percent */
    int32_t rc_input_speed_tilt; /* percent */
    int32_t roll_speed;          /* percent; never in the file */
    int32_t rc_input_inverse_pan;
    int32_t rc_input_inverse_tilt;
    uint8_t rc_input_exp;
    uint8_t display_enabled;
    uint8_t osd_enabled;
    uint8_t hud_enabled;
    uint8_t internal_camera_enabled;
    uint8_t internal_camera_fullscreen;
    uint8_t focus_assistant_enabled;
    uint8_t osd_border_height; /* pixels */
    uint8_t osd_border_width;  /* pixels */
    uint8_t osd_top_offset;    /* pixels */
    uint8_t osd_bottom_offset; /* pixels */
    char rtmp_url[256];
    uint8_t pad847[1];
    int32_t tcp_port;
    char mpegts_clients[256]; /* host:port list */
    char udp_clients[256];    /* host:port list */
    uint8_t apstate;          /* status: an access point is running */
    char ap_iface[10];
    char ap_ssid[256];
    char ap_psk[256];
    uint8_t pad1887[1];
    int32_t ap_mode; /* 2 = 2.4 GHz, 5 = 5 GHz */
    int32_t ap_channel;
    char ap_country[10];
    char wifi_iface[10];
    char wifi_ssid[256];
    char wifi_psk[256];
    char camera_iface[10];
    char camera_ssid[256];
    char camera_psk[256];
    uint8_t pad2950[2];
    uint32_t clock;             /* status: real-time clock in ms at the last copy */
    uint8_t video_connected;    /* status */
    uint8_t camera_disabled;    /* status */
    uint8_t internet_reachable; /* status */
    uint8_t reserved2959[150];
    char version[20]; /* "0.20.2" */
    uint8_t always_one;
    uint8_t pad3130[1];
    char camera_link_ssid[40]; /* status */
    uint8_t pad3171[1];
    uint32_t server_client_id; /* status: 0 = not authenticated */
    uint8_t server_enabled;
    char server_host[16]; /* dotted IPv4 */
    uint8_t pad3193[3];
    int32_t server_port;
    char server_user[16];
    char server_pass[20];
    char server_devid[20];
} ConfigRecord;

FIELDRELAYBOX_LAYOUT(AttitudeAngle, radians, 0);
FIELDRELAYBOX_LAYOUT(AttitudeAngle, sine, 8);
FIELDRELAYBOX_LAYOUT(AttitudeAngle, cosine, 16);
FIELDRELAYBOX_SIZE(AttitudeAngle, 24);

FIELDRELAYBOX_LAYOUT(StatusBlock, daemon_started, 0);
FIELDRELAYBOX_LAYOUT(StatusBlock, product_name, 1);
FIELDRELAYBOX_LAYOUT(StatusBlock, reserved15, 15);
FIELDRELAYBOX_LAYOUT(StatusBlock, link_byte_129, 129);
FIELDRELAYBOX_LAYOUT(StatusBlock, reserved130, 130);
FIELDRELAYBOX_LAYOUT(StatusBlock, app_client_count, 132);
FIELDRELAYBOX_LAYOUT(StatusBlock, link_byte_133, 133);
FIELDRELAYBOX_LAYOUT(StatusBlock, link_byte_134, 134);
FIELDRELAYBOX_LAYOUT(StatusBlock, video_connected, 135);
FIELDRELAYBOX_LAYOUT(StatusBlock, camera_disabled, 136);
FIELDRELAYBOX_LAYOUT(StatusBlock, show_channels, 137);
FIELDRELAYBOX_LAYOUT(StatusBlock, video_status, 140);
FIELDRELAYBOX_LAYOUT(StatusBlock, telemetry_status, 172);
FIELDRELAYBOX_LAYOUT(StatusBlock, attitude_a, 208);
FIELDRELAYBOX_LAYOUT(StatusBlock, attitude_b, 232);
FIELDRELAYBOX_LAYOUT(StatusBlock, attitude_c, 256);
FIELDRELAYBOX_LAYOUT(StatusBlock, version_text, 550);
FIELDRELAYBOX_LAYOUT(StatusBlock, osd_enabled, 570);
FIELDRELAYBOX_LAYOUT(StatusBlock, hud_enabled, 571);
FIELDRELAYBOX_LAYOUT(StatusBlock, internal_camera_enabled, 572);
FIELDRELAYBOX_LAYOUT(StatusBlock, internal_camera_fullscreen, 573);
FIELDRELAYBOX_LAYOUT(StatusBlock, focus_assistant_enabled, 574);
FIELDRELAYBOX_LAYOUT(StatusBlock, attitude_b_text, 656);
FIELDRELAYBOX_LAYOUT(StatusBlock, attitude_c_text, 666);
FIELDRELAYBOX_LAYOUT(StatusBlock, attitude_a_text, 676);
FIELDRELAYBOX_LAYOUT(StatusBlock, attitude_updating, 686);
FIELDRELAYBOX_LAYOUT(StatusBlock, focus_point_x, 688);
FIELDRELAYBOX_LAYOUT(StatusBlock, focus_point_y, 696);
FIELDRELAYBOX_LAYOUT(StatusBlock, command_field, 704);
FIELDRELAYBOX_LAYOUT(StatusBlock, rc_receiver_state, 831);
FIELDRELAYBOX_LAYOUT(StatusBlock, rc_heartbeat, 832);
FIELDRELAYBOX_LAYOUT(StatusBlock, rc_channels, 834);
FIELDRELAYBOX_LAYOUT(StatusBlock, channel_function, 898);
FIELDRELAYBOX_LAYOUT(StatusBlock, camera_flags, 1000);
FIELDRELAYBOX_LAYOUT(StatusBlock, card_size, 1004);
FIELDRELAYBOX_LAYOUT(StatusBlock, card_free, 1008);
FIELDRELAYBOX_LAYOUT(StatusBlock, photos_left, 1012);
FIELDRELAYBOX_LAYOUT(StatusBlock, recording_time_left, 1016);
FIELDRELAYBOX_LAYOUT(StatusBlock, iso_actual, 1020);
FIELDRELAYBOX_LAYOUT(StatusBlock, recording_time, 1024);
FIELDRELAYBOX_LAYOUT(StatusBlock, aperture, 1026);
FIELDRELAYBOX_LAYOUT(StatusBlock, aperture_actual, 1028);
FIELDRELAYBOX_LAYOUT(StatusBlock, shutter, 1030);
FIELDRELAYBOX_LAYOUT(StatusBlock, shutter_actual, 1032);
FIELDRELAYBOX_LAYOUT(StatusBlock, focus_range, 1034);
FIELDRELAYBOX_LAYOUT(StatusBlock, focus_stroke, 1036);
FIELDRELAYBOX_LAYOUT(StatusBlock, focus_distance, 1038);
FIELDRELAYBOX_LAYOUT(StatusBlock, battery_voltage, 1040);
FIELDRELAYBOX_LAYOUT(StatusBlock, battery_current, 1042);
FIELDRELAYBOX_LAYOUT(StatusBlock, recording, 1044);
FIELDRELAYBOX_LAYOUT(StatusBlock, photo_state, 1045);
FIELDRELAYBOX_LAYOUT(StatusBlock, card_present, 1046);
FIELDRELAYBOX_LAYOUT(StatusBlock, card_state, 1047);
FIELDRELAYBOX_LAYOUT(StatusBlock, shutter_decimal, 1048);
FIELDRELAYBOX_LAYOUT(StatusBlock, shutter_actual_decimal, 1049);
FIELDRELAYBOX_LAYOUT(StatusBlock, iso_code, 1050);
FIELDRELAYBOX_LAYOUT(StatusBlock, ev_code, 1051);
FIELDRELAYBOX_LAYOUT(StatusBlock, ev_actual_code, 1052);
FIELDRELAYBOX_LAYOUT(StatusBlock, exposure_mode, 1053);
FIELDRELAYBOX_LAYOUT(StatusBlock, white_balance_mode, 1054);
FIELDRELAYBOX_LAYOUT(StatusBlock, white_balance_temperature, 1055);
FIELDRELAYBOX_LAYOUT(StatusBlock, video_resolution_code, 1056);
FIELDRELAYBOX_LAYOUT(StatusBlock, video_rate_code, 1057);
FIELDRELAYBOX_LAYOUT(StatusBlock, focus_mode, 1058);
FIELDRELAYBOX_LAYOUT(StatusBlock, battery_percent, 1059);
FIELDRELAYBOX_LAYOUT(StatusBlock, rc_menu_active, 1060);
FIELDRELAYBOX_LAYOUT(StatusBlock, camera_value_1648, 1648);
FIELDRELAYBOX_LAYOUT(StatusBlock, gimbal_status, 1662);
FIELDRELAYBOX_LAYOUT(StatusBlock, manual_focus_capable, 1699);
FIELDRELAYBOX_LAYOUT(StatusBlock, af_unlimited, 1729);
FIELDRELAYBOX_LAYOUT(StatusBlock, camera_work_mode, 1864);
FIELDRELAYBOX_LAYOUT(StatusBlock, camera_flag_1881, 1881);
FIELDRELAYBOX_LAYOUT(StatusBlock, camera_flag_1882, 1882);
FIELDRELAYBOX_LAYOUT(StatusBlock, timelapse_interval, 1886);
FIELDRELAYBOX_LAYOUT(StatusBlock, timelapse_duration, 1888);
FIELDRELAYBOX_SIZE(StatusBlock, FIELDRELAYBOX_STATUS_SIZE);

FIELDRELAYBOX_LAYOUT(ConfigRecord, hdmi_enabled, 0);
FIELDRELAYBOX_LAYOUT(ConfigRecord, udp_enabled, 1);
FIELDRELAYBOX_LAYOUT(ConfigRecord, rtmp_enabled, 2);
FIELDRELAYBOX_LAYOUT(ConfigRecord, mpegts_enabled, 3);
FIELDRELAYBOX_LAYOUT(ConfigRecord, tcp_enabled, 4);
FIELDRELAYBOX_LAYOUT(ConfigRecord, rtsp_enabled, 5);
FIELDRELAYBOX_LAYOUT(ConfigRecord, video_transcode_enabled, 6);
FIELDRELAYBOX_LAYOUT(ConfigRecord, pad7, 7);
FIELDRELAYBOX_LAYOUT(ConfigRecord, video_bitrate, 8);
FIELDRELAYBOX_LAYOUT(ConfigRecord, video_width, 12);
FIELDRELAYBOX_LAYOUT(ConfigRecord, video_height, 16);
FIELDRELAYBOX_LAYOUT(ConfigRecord, audio_enabled, 20);
FIELDRELAYBOX_LAYOUT(ConfigRecord, pad21, 21);
FIELDRELAYBOX_LAYOUT(ConfigRecord, audio_bitrate, 24);
FIELDRELAYBOX_LAYOUT(ConfigRecord, audio_volume, 28);
FIELDRELAYBOX_LAYOUT(ConfigRecord, audio_autogain, 32);
FIELDRELAYBOX_LAYOUT(ConfigRecord, rc_input_enabled, 33);
FIELDRELAYBOX_LAYOUT(ConfigRecord, rc_input_mode, 34);
FIELDRELAYBOX_LAYOUT(ConfigRecord, rc2_input_mode, 40);
FIELDRELAYBOX_LAYOUT(ConfigRecord, rc_input_map, 46);
FIELDRELAYBOX_LAYOUT(ConfigRecord, pad558, 558);
FIELDRELAYBOX_LAYOUT(ConfigRecord, rc_input_speed_pan, 560);
FIELDRELAYBOX_LAYOUT(ConfigRecord, rc_input_speed_tilt, 564);
FIELDRELAYBOX_LAYOUT(ConfigRecord, roll_speed, 568);
FIELDRELAYBOX_LAYOUT(ConfigRecord, rc_input_inverse_pan, 572);
FIELDRELAYBOX_LAYOUT(ConfigRecord, rc_input_inverse_tilt, 576);
FIELDRELAYBOX_LAYOUT(ConfigRecord, rc_input_exp, 580);
FIELDRELAYBOX_LAYOUT(ConfigRecord, display_enabled, 581);
FIELDRELAYBOX_LAYOUT(ConfigRecord, osd_enabled, 582);
FIELDRELAYBOX_LAYOUT(ConfigRecord, hud_enabled, 583);
FIELDRELAYBOX_LAYOUT(ConfigRecord, internal_camera_enabled, 584);
FIELDRELAYBOX_LAYOUT(ConfigRecord, internal_camera_fullscreen, 585);
FIELDRELAYBOX_LAYOUT(ConfigRecord, focus_assistant_enabled, 586);
FIELDRELAYBOX_LAYOUT(ConfigRecord, osd_border_height, 587);
FIELDRELAYBOX_LAYOUT(ConfigRecord, osd_border_width, 588);
FIELDRELAYBOX_LAYOUT(ConfigRecord, osd_top_offset, 589);
FIELDRELAYBOX_LAYOUT(ConfigRecord, osd_bottom_offset, 590);
FIELDRELAYBOX_LAYOUT(ConfigRecord, rtmp_url, 591);
FIELDRELAYBOX_LAYOUT(ConfigRecord, pad847, 847);
FIELDRELAYBOX_LAYOUT(ConfigRecord, tcp_port, 848);
FIELDRELAYBOX_LAYOUT(ConfigRecord, mpegts_clients, 852);
FIELDRELAYBOX_LAYOUT(ConfigRecord, udp_clients, 1108);
FIELDRELAYBOX_LAYOUT(ConfigRecord, apstate, 1364);
FIELDRELAYBOX_LAYOUT(ConfigRecord, ap_iface, 1365);
FIELDRELAYBOX_LAYOUT(ConfigRecord, ap_ssid, 1375);
FIELDRELAYBOX_LAYOUT(ConfigRecord, ap_psk, 1631);
FIELDRELAYBOX_LAYOUT(ConfigRecord, pad1887, 1887);
FIELDRELAYBOX_LAYOUT(ConfigRecord, ap_mode, 1888);
FIELDRELAYBOX_LAYOUT(ConfigRecord, ap_channel, 1892);
FIELDRELAYBOX_LAYOUT(ConfigRecord, ap_country, 1896);
FIELDRELAYBOX_LAYOUT(ConfigRecord, wifi_iface, 1906);
FIELDRELAYBOX_LAYOUT(ConfigRecord, wifi_ssid, 1916);
FIELDRELAYBOX_LAYOUT(ConfigRecord, wifi_psk, 2172);
FIELDRELAYBOX_LAYOUT(ConfigRecord, camera_iface, 2428);
FIELDRELAYBOX_LAYOUT(ConfigRecord, camera_ssid, 2438);
FIELDRELAYBOX_LAYOUT(ConfigRecord, camera_psk, 2694);
FIELDRELAYBOX_LAYOUT(ConfigRecord, pad2950, 2950);
FIELDRELAYBOX_LAYOUT(ConfigRecord, clock, 2952);
FIELDRELAYBOX_LAYOUT(ConfigRecord, video_connected, 2956);
FIELDRELAYBOX_LAYOUT(ConfigRecord, camera_disabled, 2957);
FIELDRELAYBOX_LAYOUT(ConfigRecord, internet_reachable, 2958);
FIELDRELAYBOX_LAYOUT(ConfigRecord, reserved2959, 2959);
FIELDRELAYBOX_LAYOUT(ConfigRecord, version, 3109);
FIELDRELAYBOX_LAYOUT(ConfigRecord, always_one, 3129);
FIELDRELAYBOX_LAYOUT(ConfigRecord, pad3130, 3130);
FIELDRELAYBOX_LAYOUT(ConfigRecord, camera_link_ssid, 3131);
FIELDRELAYBOX_LAYOUT(ConfigRecord, pad3171, 3171);
FIELDRELAYBOX_LAYOUT(ConfigRecord, server_client_id, 3172);
FIELDRELAYBOX_LAYOUT(ConfigRecord, server_enabled, 3176);
FIELDRELAYBOX_LAYOUT(ConfigRecord, server_host, 3177);
FIELDRELAYBOX_LAYOUT(ConfigRecord, pad3193, 3193);
FIELDRELAYBOX_LAYOUT(ConfigRecord, server_port, 3196);
FIELDRELAYBOX_LAYOUT(ConfigRecord, server_user, 3200);
FIELDRELAYBOX_LAYOUT(ConfigRecord, server_pass, 3216);
FIELDRELAYBOX_LAYOUT(ConfigRecord, server_devid, 3236);
FIELDRELAYBOX_SIZE(ConfigRecord, FIELDRELAYBOX_CONFIG_SIZE);

#endif
