// The camera's codes as words, and back: docs/camera-protocol.md and docs/app-protocol.md have the tables.
import type { RecordFields } from './records.js';

export type Words = Partial<Record<number, string>>;
type Shooting = RecordFields['shooting'];

export const isoWords: Words = {
  0: 'auto', 3: '100', 4: '200', 5: '400', 6: '800', 7: '1600', 8: '3200', 9: '6400',
};
export const sizeWords: Words = {
  4: '1280x720', 10: '1920x1080', 24: '2704x1520', 16: '3840x2160', 22: '4096x2160',
};
export const rateWords: Words = { 1: '24', 2: '25', 3: '30', 4: '48', 5: '50', 6: '60', 7: '120' };
export const colourWords: Words = {
  0x00: 'none', 0x01: 'art', 0x04: 'black white', 0x05: 'vivid', 0x06: 'd-cinelike', 0x07: 'portrait',
  0x0e: 'beach', 0x10: 'dream', 0x12: 'classic', 0x13: 'nostalgia', 0x17: 'd-log',
};
export const whiteBalanceWords: Words = {
  0: 'auto', 1: 'sunny', 2: 'cloudy', 4: 'incandescent', 5: 'neon', 6: 'custom',
};
export const antiFlickerWords: Words = { 0: 'auto', 1: '50', 2: '60' };
export const photoFormatWords: Words = { 0: 'raw', 1: 'jpg', 2: 'jpg+raw' };
export const exposureModeWords: Words = { 1: 'auto', 2: 'shutter', 3: 'aperture', 4: 'manual' };
export const workModes = [
  'photo', 'video', 'playback', 'transcode', 'tuning', 'power save', 'download', 'new playback',
];
export const focusModes = ['manual', 'single auto', 'continuous auto', 'manual fine'];
export const playbackModes = [
  'single', 'single enlarged', 'playing', 'paused', 'several to delete', 'several', 'download',
];
export const fileTypes = ['JPEG', 'DNG', 'video'];
const cardStates = [
  'normal', 'none', 'invalid', 'write-protected', 'not formatted', 'formatting', 'illegal', 'busy', 'full',
  'slow', 'unknown', 'index limit', 'initialising', 'to be formatted', 'recovering a file', 'became slow',
];
export const rcStates = ['off', 'no device', 'no signal', 'calibrating', 'signal lost', 'failsafe', 'good'];

export function named(words: readonly string[] | Words, code: number): string {
  return words[code] ?? `code ${code}`;
}

// What the flags of the camera state say.
export const isRecording = (flags: number) => (flags & 0xc0) !== 0;
export const hasCard = (flags: number) => (flags & 0x200) !== 0;
export const takesIntervals = (flags: number) => (flags & 0x100000) !== 0;
export function cardState(flags: number): string {
  return hasCard(flags) ? named(cardStates, (flags >> 10) & 0xf) : 'missing';
}
export function warnings(flags: number): string {
  const bits: [number, string][] = [[0x100, 'sensor fault'], [0x20000, 'hot'], [0x80000, 'storing']];
  return bits.filter(([bit]) => (flags & bit) !== 0).map(([, text]) => text).join(', ');
}

// As the box takes it: "8000" for 1/8000 s, "2.5s".
export function shutterWord(value: number, decimals: number): string {
  const number = `${value & 0x7fff}${decimals ? `.${decimals}` : ''}`;
  return value & 0x8000 ? number : `${number}s`;
}
export function shutterText(word: string): string {
  return word.endsWith('s') ? `${word.slice(0, -1)} s` : `1/${word} s`;
}

const lowestEv = 0x07;
const highestEv = 0x19;
const zeroEv = 0x10;

// "-0.7", "0", "1.3"; undefined for what is no code of a third.
export function evWord(code: number): string | undefined {
  if (code < lowestEv || code > highestEv) return undefined;
  const thirds = code - zeroEv;
  return thirds === 0 ? '0' : (Math.trunc((thirds / 3) * 10 + Math.sign(thirds) * 0.5) / 10).toFixed(1);
}
export const evWordList = Array.from(
  { length: highestEv - lowestEv + 1 }, (_, i) => evWord(lowestEv + i) ?? '');

export function resolutionWord(shooting: Shooting): string {
  return `${named(sizeWords, shooting.resolutionCode)}@${named(rateWords, shooting.rateCode)}`;
}

const panoramaWords: Words = { 1: '360', 3: '180self', 4: 'manual', 5: '180', 7: 'grid' };
const timelapsePeriod = 50;

function timedWord(shooting: Shooting): string {
  if (shooting.timedCount === 1) return `single ${shooting.timedPeriod}s`;
  if (shooting.timedPeriod === timelapsePeriod) return 'timelapse';
  return `interval ${shooting.timedPeriod}s`;
}

// The kind of photo in the words of the command, such as "multiple 3shots".
export function photoKind(shooting: Shooting): string {
  switch (shooting.photoType) {
    case 1: return 'single shot';
    case 2: return 'single hdr';
    case 4: return `multiple ${shooting.burstCount}shots`;
    case 5: return `multiple aeb${shooting.bracketingCount}`;
    case 6: return timedWord(shooting);
    case 7: return `pano ${named(panoramaWords, shooting.panoramaKind)}`;
    default: return `code ${shooting.photoType}`;
  }
}

export function focusType(lens: RecordFields['lens']): string {
  if (lens.focusMode === 0 || lens.focusMode === 3) return 'mf';
  return lens.afUnlimited ? 'afunlim' : 'af';
}

export function clockText(seconds: number): string {
  const two = (value: number) => String(Math.floor(value)).padStart(2, '0');
  const hours = Math.floor(seconds / 3600);
  const minutes = Math.floor(seconds / 60) % 60;
  return hours ? `${hours}:${two(minutes)}:${two(seconds % 60)}` : `${minutes}:${two(seconds % 60)}`;
}
export function sizeText(mb: number): string {
  return mb >= 1000 ? `${(mb / 1000).toFixed(1)} GB` : `${mb} MB`;
}
