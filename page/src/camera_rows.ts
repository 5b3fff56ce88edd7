// What can be set at the camera: a row for each control, with its command and where the camera reports it.
import {
  antiFlickerWords, colourWords, evWord, evWordList, exposureModeWords, focusType, isoWords, named,
  photoFormatWords, photoKind, resolutionWord, shutterText, shutterWord, whiteBalanceWords, workModes,
} from './camera_codes.js';
import type { RecordFields, RecordName } from './records.js';
import { commandOf, type Command } from './widgets.js';

export interface Option { value: string; text: string; command: Command }
export interface Report<N extends RecordName = RecordName> {
  name: N;
  // Which of the options it is; one that is none of them is shown as it is.
  read: (fields: RecordFields[N]) => string;
}
export interface Choice { label: string; options: Option[]; report?: Report }
export interface Action { text: string; command: Command; question?: string }
export interface Actions { label: string; actions: Action[] }
export interface Group { title: string; choices: Choice[]; actions: Actions[] }

function reportOf<N extends RecordName>(name: N, read: (fields: RecordFields[N]) => string): Report {
  return { name, read: read as Report['read'] };
}
const shooting = (read: (fields: RecordFields['shooting']) => string) => reportOf('shooting', read);
const lens = (read: (fields: RecordFields['lens']) => string) => reportOf('lens', read);

// One argument per word, such as "iso" "400".
function words(
  cmd: string, list: readonly string[], text: (word: string) => string = (word) => word,
): Option[] {
  return list.map((word) => ({ value: word, text: text(word), command: commandOf(cmd, word) }));
}

// One of a further argument, such as "camera" "mode" "photo".
function secondWords(cmd: string, param: string, list: readonly [value: string, text: string][]): Option[] {
  return list.map(([value, text]) => ({ value, text, command: commandOf(cmd, param, value) }));
}

const offOn: [string, string][] = [['0', 'off'], ['1', 'on']];

const photoKinds: [kind: string, text: string][] = [
  ['single shot', 'Single'], ['single 10s', 'After 10 s'], ['single hdr', 'HDR'],
  ['multiple 3shots', 'Burst of 3'], ['multiple 5shots', 'Burst of 5'], ['multiple 7shots', 'Burst of 7'],
  ['multiple aeb3', 'Bracketing of 3'], ['multiple aeb5', 'Bracketing of 5'],
  ['interval 10s', 'Every 10 s'], ['interval 30s', 'Every 30 s'],
  ['pano 180', 'Panorama 180°'], ['pano 360', 'Panorama 360°'], ['pano 180self', 'Panorama 180° with me'],
  ['pano manual', 'Panorama by hand'], ['pano grid', 'Panorama grid'],
];

const shutters = (
  '30s 25s 20s 15s 10s 9s 8s 7s 6s 5s 4s 3.2s 3s 2.5s 2s 1.6s 1.3s 1s 1.25 1.67 2 2.5 3 4 5 6.25 8 10 12.5 15 20 25'
  + ' 30 40 50 60 80 100 120 160 200 240 320 400 500 640 800 1000 1250 1600 2000 2500 3200 4000 5000 6400 8000'
).split(' ');
const apertures = '1.7 2 2.2 2.5 2.8 3.2 3.5 4 4.5 5 5.6 6.3 7.1 8 9 10 11 13 14 16'.split(' ');

const ratesOf: [size: string, rates: string][] = [
  ['4096x2160', '24 25'], ['3840x2160', '24 25 30'], ['2704x1520', '24 25 30'],
  ['1920x1080', '24 25 30 48 50 60 120'], ['1280x720', '24 25 30 48 50 60'],
];
const resolutions = ratesOf.flatMap(([size, rates]) => rates.split(' ').map((rate) => `${size}@${rate}`));

const mode: Choice[] = [
  {
    label: 'Mode', options: secondWords('camera', 'mode', [['video', 'Video'], ['photo', 'Photo']]),
    report: reportOf('camera', ({ workMode }) => named(workModes, workMode)),
  },
  {
    label: 'Photo kind', report: shooting(photoKind),
    options: photoKinds.map(([value, text]) => (
      { value, text, command: commandOf('shottype', ...value.split(' ') as [string, string]) })),
  },
  {
    label: 'Photo format', options: words('shotmode', ['jpg', 'raw', 'jpg+raw'], (word) => word.toUpperCase()),
    report: shooting(({ photoFormat }) => named(photoFormatWords, photoFormat)),
  },
];

const exposure: Choice[] = [
  {
    label: 'Exposure by', options: words('video_mode', ['auto', 'shutter', 'aperture', 'manual']),
    report: shooting(({ exposureMode }) => named(exposureModeWords, exposureMode)),
  },
  {
    label: 'ISO', options: words('iso', ['auto', '100', '200', '400', '800', '1600', '3200', '6400']),
    report: shooting(({ isoCode }) => named(isoWords, isoCode)),
  },
  {
    label: 'Shutter', options: words('shutter', shutters, shutterText),
    report: shooting(({ shutter, shutterDecimal }) => shutterWord(shutter, shutterDecimal)),
  },
  {
    label: 'Aperture', options: words('aperture', apertures, (word) => `f/${word}`),
    report: shooting(({ apertureHundredths }) => String(apertureHundredths / 100)),
  },
  {
    label: 'EV', options: words('ev', evWordList),
    report: shooting(({ evCode }) => evWord(evCode) ?? `code ${evCode}`),
  },
  {
    label: 'Exposure', options: secondWords('exposure', 'auto', [['unlock', 'free'], ['lock', 'locked']]),
    report: shooting(({ flags }) => (flags & 2 ? 'lock' : 'unlock')),
  },
  { label: 'Histogram', options: words('hystogram', ['1', '0'], (word) => (word === '1' ? 'on' : 'off')) },
];

const focus: Choice[] = [
  {
    label: 'Focus', report: lens(focusType),
    options: secondWords('focus', 'type', [['af', 'auto'], ['afunlim', 'auto, unlimited'], ['mf', 'manual']]),
  },
  {
    label: 'Manual assistant', options: secondWords('focus', 'mfa', offOn),
    report: lens(({ assistantBits }) => String(assistantBits & 1)),
  },
  {
    label: 'Auto assistant', options: secondWords('focus', 'afa', offOn),
    report: lens(({ assistantBits }) => String((assistantBits >> 1) & 1)),
  },
  { label: 'Real-time focus', options: secondWords('focus', 'realtime', [['1', 'on'], ['0', 'off']]) },
];

const video: Choice[] = [
  {
    label: 'Resolution', options: words('video_resolution', resolutions, (word) => word.replace('@', ' at ')),
    report: shooting(resolutionWord),
  },
  {
    label: 'Standard', options: words('video_std', ['PAL', 'NTSC']),
    report: shooting(({ flags }) => (flags & 1 ? 'NTSC' : 'PAL')),
  },
  {
    label: 'Flicker of lamps',
    options: words('antiflicker', ['auto', '50', '60'], (word) => (word === 'auto' ? word : `${word} Hz`)),
    report: shooting(({ antiFlicker }) => named(antiFlickerWords, antiFlicker)),
  },
  { label: 'Aspect', options: words('video_aspect', ['16:9', '4:3']) },
];

const colour: Choice[] = [
  {
    label: 'Colour', options: words('color', Object.values(colourWords).filter((word) => word !== undefined)),
    report: shooting(({ colour: code }) => named(colourWords, code)),
  },
  {
    label: 'White balance',
    options: words('wb', ['auto', 'sunny', 'cloudy', 'incandescent', 'neon']),
    report: shooting(({ whiteBalanceMode }) => named(whiteBalanceWords, whiteBalanceMode)),
  },
  { label: 'Scene', options: words('scene', ['standard', 'scenery', 'soft', 'custom']) },
];

function action(text: string, command: Command, question?: string): Action {
  return question === undefined ? { text, command } : { text, command, question };
}

const playback = (
  'enter:Enter exit:Exit list:List back:Back prev:◀ play:Play next:▶ cancel:Cancel selectmode:Select'
  + ' selectall:All deselectall:None').split(' ').map((pair) => {
  const [param = '', text = ''] = pair.split(':');
  return action(text, commandOf('playback', param));
});

export const groups: Group[] = [
  {
    title: 'Mode', choices: mode,
    actions: [{ label: 'Interval', actions: [action('Stop interval', commandOf('stopshot'))] }],
  },
  {
    title: 'Exposure', choices: exposure,
    actions: [{ label: 'Exposure point', actions: [action('Centre', commandOf('exposure', 'center'))] }],
  },
  {
    title: 'Focus', choices: focus,
    actions: [{
      label: 'Focus point', actions: [
        action('Centre', commandOf('focus', 'point', '0.5', '0.5')),
        action('Calibrate focus', commandOf('calibratefocus'),
          'Calibrate the focus? It moves through all of its range.')],
    }],
  },
  { title: 'Video', choices: video, actions: [] },
  { title: 'Colour', choices: colour, actions: [] },
  {
    title: 'Card and playback', choices: [], actions: [
      { label: 'Playback', actions: playback },
      {
        label: 'Delete', actions: [action('Delete', commandOf('playback', 'delete'),
          'Delete the shown or selected files? They cannot be brought back.')],
      },
      {
        label: 'Card', actions: [action('Format card', commandOf('formatmicrosd'),
          'Format the card? Everything on it is lost.')],
      },
    ],
  },
  {
    title: 'System', choices: [], actions: [
      {
        label: 'Power', actions: [
          action('Sleep', commandOf('power', 'sleep')), action('Wake up', commandOf('power', 'wakeup')),
          action('Restart', commandOf('power', 'restart'), 'Restart the camera? A recording ends.'),
          action('Shut down', commandOf('power', 'shutdown'),
            'Shut the camera down? Only its own button starts it again.')],
      },
      {
        label: 'Camera link', actions: [
          action('On', commandOf('camera', 'enable')),
          action('Off', commandOf('camera', 'disable'), 'Switch the link to the camera off?')],
      },
      {
        label: 'Camera’s Wi-Fi', actions: [
          action('5.8 GHz', commandOf('wifi', 'mode', '5.8'),
            'Change the band of the camera’s Wi-Fi? It restarts, and the link with it.'),
          action('2.4 GHz', commandOf('wifi', 'mode', '2.4'),
            'Change the band of the camera’s Wi-Fi? It restarts, and the link with it.')],
      },
    ],
  },
];
