// What the box said last of each thing, and when. Whoever shows something subscribes to it; what is too
// old to be true is told as well, by the age.
import type { RecordFields, RecordName } from './records.js';

// What is no record but comes the same way.
export interface MoreValues {
  report: Record<string, unknown>;  // the configuration report
  broken: boolean;                  // a newer one cannot be read
  panel: PanelState;                // what the panel says
  scan: { radio: string; names: string[] };  // a Wi-Fi scan
}
export type Values = RecordFields & MoreValues;
export type ValueName = RecordName | keyof MoreValues;

// See docs/panel.md. All members are there.
export interface PanelState {
  box: string;            // HOST:PORT, "" while there is none
  heard: boolean;         // the box is heard
  version: string;        // of the panel
  boxes: string[];        // that were found and may be chosen
  you: number;            // this browser's number
  gimbalHolder: number;   // who moves it, 0: nobody
  zoomHolder: number;
  viewers: number;
  videoDatagrams: number; // these four since the panel's start
  videoBytes: number;
  lost: number;
  damagedPictures: number;
  timeUs: number;         // of the panel's clock, when this was sent
}

interface Entry<T> { value: T; at: number }
type Listener<T> = (value: T) => void;

export interface Store {
  set: <N extends ValueName>(name: N, value: Values[N]) => void;
  get: <N extends ValueName>(name: N) => Values[N] | undefined;
  // Seconds since it was told; Infinity when it never was.
  age: (name: ValueName) => number;
  // Called at once when there is a value, and with each that comes. Returns how to end it.
  subscribe: <N extends ValueName>(name: N, listener: Listener<Values[N]>) => () => void;
  // Nothing is known any more: another box.
  clear: () => void;
}

// now: milliseconds.
export function makeStore(now: () => number = () => performance.now()): Store {
  const entries = new Map<ValueName, Entry<unknown>>();
  const listeners = new Map<ValueName, Set<Listener<never>>>();
  return {
    set: (name, value) => {
      entries.set(name, { value, at: now() });
      for (const listener of listeners.get(name) ?? []) (listener as Listener<typeof value>)(value);
    },
    get: <N extends ValueName>(name: N) => entries.get(name)?.value as Values[N] | undefined,
    age: (name) => {
      const entry = entries.get(name);
      return entry ? (now() - entry.at) / 1000 : Infinity;
    },
    subscribe: <N extends ValueName>(name: N, listener: Listener<Values[N]>) => {
      const group = listeners.get(name) ?? new Set();
      listeners.set(name, group);
      group.add(listener);
      const entry = entries.get(name);
      if (entry) listener(entry.value as Values[N]);
      return () => { group.delete(listener); };
    },
    clear: () => { entries.clear(); },
  };
}
