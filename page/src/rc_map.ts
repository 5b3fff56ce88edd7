// The functions of the RC channels: the text of the settings file as a list, and what collides in it.
import { channelCount } from './settings_list.js';

// One function for each channel, "" for none.
export function functionsOf(map: string): string[] {
  const names = map.split(',').slice(0, channelCount);
  return [...names, ...Array<string>(channelCount - names.length).fill('')];
}

export function withFunction(map: string, channel: number, name: string): string {
  const names = functionsOf(map);
  names[channel] = name;
  return names.join(',');
}

// The other channels, counted from 1, that have the function of this one.
export function alsoOn(map: string, channel: number): number[] {
  const names = functionsOf(map);
  const isSame = (name: string, other: number) => name && other !== channel && name === names[channel];
  return names.flatMap((name, other) => isSame(name, other) ? [other + 1] : []);
}

// Where the bar of a channel ends, in percent; nothing for one that is absent.
export function barOf(us: number): number | undefined {
  return us === 0 ? undefined : Math.min(100, Math.max(0, (us - 1000) / 10));
}
