// Whether what the box said last is still so. What comes from the camera is over when the camera is.
import type { Store, ValueName } from './store.js';

// Seconds: the box sends its own every 3 s, where one or two may be lost, RC every 0.3 s, the panel its own
// every second. What the camera tells comes in its own time.
const usual = 10;
const limits: Partial<Record<ValueName, number>> = {
  rc: 2, panel: 5, report: Infinity, scan: Infinity,
};
const fromBox = new Set<ValueName>(
  ['dataLink', 'videoLink', 'box', 'wifi', 'version', 'rc', 'report', 'scan', 'panel']);

export const connected = 2;

export function isAlive(store: Store, name: ValueName): boolean {
  if (store.age(name) > (limits[name] ?? usual)) return false;
  if (name === 'panel') return true;
  if (!isAlive(store, 'panel') || store.get('panel')?.heard !== true) return false;
  return fromBox.has(name) || cameraIsThere(store);
}

export function cameraIsThere(store: Store): boolean {
  return isAlive(store, 'dataLink') && store.get('dataLink')?.state === connected;
}
