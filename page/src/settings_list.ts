// Every setting of the box, from the daemon's own list, grouped as people think of them. A setting that no
// group names stands with the rest of its topic.
import list from '../../tools/fieldrelaybox/settings.json';

export interface Choice { value: string; meaning?: string }
export interface Setting {
  key: string;
  topic: string;
  kind: 'switch' | 'number' | 'byte' | 'text' | 'quoted text';
  capacity: number;  // bytes of a text, with the NUL behind it
  label: string;
  help?: string;  // what the label does not say
  unit?: string;
  choices?: Choice[];
  lowest?: number;
  highest?: number;
  default_for_empty?: boolean;
  report?: string;  // its member of the configuration report; without one it is not reported
  parameters: { name: string; value: number }[];
  conversion?: string;
}

export const settings = list as unknown as Setting[];
const byKey = new Map(settings.map((setting) => [setting.key, setting]));

export function findSetting(key: string): Setting | undefined {
  return byKey.get(key);
}

export const isText = (setting: Setting) => setting.kind.endsWith('text');
export const longestText = (setting: Setting) => setting.capacity - 1;
// What nobody should read over a shoulder.
export const isSecret = (key: string) => key.endsWith('_psk') || key === 'server_pass';
// The roll speed ends with the daemon.
export const isInFile = (setting: Setting) => setting.key !== 'roll_speed';

export const interfaces = ['', 'wifi0', 'wlan0'];  // the index is the code of the app protocol
export const resolutions = [['320', '240'], ['640', '480'], ['1280', '720']];

export const channelCount = 32;
// What moves each function of an RC channel.
export const channelFunctions: Record<string, string> = {
  pan: 'stick', tilt: 'stick', roll: 'stick', center: 'switch', 'orient-lock': 'switch', record: 'switch',
  'record-shot': '3 positions', menu: 'switch', videomode: '4 positions', ev: 'knob', iso: 'knob',
  shutter: 'knob', aperture: 'knob', zoom: 'stick', 'digital-zoom': 'knob', 'digital-zoom2': 'stick',
  focus: 'knob', 'focus-pan': 'knob', 'focus-tilt': 'knob', 'custom-focus-assistant': 'switch',
  intcamera: 'switch', osd: 'switch',
};

// The choices of a setting that takes one of some words.
export function choicesOf(setting: Setting): Choice[] | undefined {
  if (setting.conversion === 'interface code')
    return interfaces.map((name) => ({ value: name, meaning: name || 'none, or another one' }));
  const side = ['video_width', 'video_height'].indexOf(setting.key);
  if (side >= 0) return resolutions.map((resolution) => ({ value: resolution[side] ?? '' }));
  return setting.choices;
}

interface Part { topic: string; title: string; keys: string[] }
export interface Group { topic: string; title: string; parts: Part[] }

const topics: Record<string, string> = {
  streams: 'Streams', sound: 'Sound', networks: 'Wi-Fi networks', rc: 'RC control', displays: 'Displays',
  server: 'Relay server',
};

const knownParts: [topic: string, title: string, keys: string][] = [
  ['streams', 'Raw UDP', 'udp_enabled udp_clients'],
  ['streams', 'RTMP', 'rtmp_enabled rtmp_url'],
  ['streams', 'MPEG-TS over UDP', 'mpegts_enabled mpegts_clients'],
  ['streams', 'MPEG-TS over TCP', 'tcp_enabled tcp_port'],
  ['streams', 'RTSP', 'rtsp_enabled'],
  ['streams', 'Transcoding', 'video_transcode_enabled video_bitrate video_width video_height'],
  ['sound', 'Stream', 'audio_enabled audio_bitrate'],
  ['sound', 'Recording level', 'audio_volume audio_autogain'],
  ['networks', 'Camera', 'camera_iface camera_ssid camera_psk'],
  ['networks', 'Network', 'wifi_iface wifi_ssid wifi_psk'],
  ['networks', 'Access point', 'ap_iface ap_ssid ap_psk ap_mode ap_channel ap_country'],
  ['rc', 'Receivers', 'rc_input_enabled rc_input_mode rc2_input_mode rc_input_map'],
  ['rc', 'Gimbal', 'rc_input_speed_pan rc_input_speed_tilt roll_speed rc_input_inverse_pan '
    + 'rc_input_inverse_tilt rc_input_exp'],
  ['displays', 'Screens', 'hdmi_enabled display_enabled'],
  ['displays', 'Over the picture', 'osd_enabled hud_enabled focus_assistant_enabled'],
  ['displays', 'Place of the text', 'osd_border_width osd_border_height osd_top_offset osd_bottom_offset'],
  ['displays', 'Internal camera', 'internal_camera_enabled internal_camera_fullscreen'],
  ['server', 'Connection', 'server_enabled server_host server_port server_user server_pass server_devid'],
];

export function groupSettings(): Group[] {
  const parts: Part[] = knownParts.map(([topic, title, keys]) => ({ topic, title, keys: keys.split(' ') }));
  const named = new Set(parts.flatMap((part) => part.keys));
  for (const { key, topic } of settings.filter((setting) => !named.has(setting.key))) {
    const rest = parts.find((part) => part.topic === topic && part.title === 'More');
    if (rest) rest.keys.push(key);
    else parts.push({ topic, title: 'More', keys: [key] });
  }
  return [...new Set(parts.map((part) => part.topic))].map((topic) => ({
    topic, title: topics[topic] ?? topic, parts: parts.filter((part) => part.topic === topic),
  }));
}

const streams = 'all streams';
const rcInput = 'the RC input';
const restarts: Record<string, string> = {
  rtsp_enabled: 'the RTSP server', rtmp_enabled: streams, rtmp_url: streams, tcp_port: streams,
  mpegts_clients: streams, video_bitrate: streams, video_transcode_enabled: streams,
  video_resolution: streams, audio_enabled: 'the sound', audio_bitrate: 'the sound',
  rcin_enabled: rcInput, rcin_mode: rcInput, rcin_map: rcInput, rcin_exp: rcInput,
  hdmi_enabled: 'the video out', display_enabled: 'the small display', osd_borders: 'the overlays',
  osd_top_offset: 'the HUD', osd_bottom_offset: 'the HUD',
  internal_camera_enabled: "the internal camera's picture",
  internal_camera_fullscreen: "the internal camera's picture",
  wifi: 'the Wi-Fi networks and what receives from the camera (this page may lose the box)',
  server_connection: 'the connection to the relay server',
};

// What a change by this parameter restarts; nothing for nothing.
export function restartOf(parameter: string): string | undefined {
  return restarts[parameter];
}
