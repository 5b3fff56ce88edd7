// What all ways to move the gimbal and drive the zoom share: pad, keys, buttons and game pad.
import type { App } from './app.js';
import { makeHold, type Hold } from './hold.js';
import { keep, kept } from './kept.js';
import { isAlive } from './state_alive.js';

export const fullSpeed = 1000;
export const speeds = { slow: 0.25, medium: 0.5, fast: 1 };
export type SpeedName = keyof typeof speeds;

export interface Drive {
  gimbal: Hold;
  zoom: Hold;
  // Whoever moves something forgets what is still pressed when everything has to stop.
  onRelease: (forget: () => void) => void;
  releaseAll: () => void;
}

export function speedName(): SpeedName {
  const name = kept('speed');
  return name === 'slow' || name === 'fast' ? name : 'medium';
}
export function setSpeed(name: string): void { keep('speed', name); }
export function isExponential(): boolean { return kept('exponential') !== '0'; }
export function setExponential(on: boolean): void { keep('exponential', on ? '1' : '0'); }

// A deflection from -1 to 1 as speed: nothing within the dead zone, finer around the centre if exponential.
export function speedOf(deflection: number, deadZone: number, exponential: boolean, share: number): number {
  const beyond = Math.min(1, Math.max(0, Math.abs(deflection) - deadZone) / (1 - deadZone));
  const curved = exponential ? 0.3 * beyond + 0.7 * beyond ** 3 : beyond;
  return Math.sign(deflection) * Math.round(curved * share * fullSpeed) || 0;
}

export function padSpeed(deflection: number, deadZone: number): number {
  return speedOf(deflection, deadZone, isExponential(), speeds[speedName()]);
}

export type Held = 'gimbal' | 'zoom';

// Another browser has it.
export function isTaken(app: App, what: Held): boolean {
  const panel = app.store.get('panel');
  if (!panel || !isAlive(app.store, 'panel')) return false;
  const holder = what === 'gimbal' ? panel.gimbalHolder : panel.zoomHolder;
  return holder !== 0 && holder !== panel.you;
}

function stopWhenNobodyLooks(releaseAll: () => void): void {
  window.addEventListener('blur', releaseAll);
  window.addEventListener('pagehide', releaseAll);
  document.addEventListener('visibilitychange', () => { if (document.hidden) releaseAll(); });
}

export function makeDrive(app: App): Drive {
  const forgetters: (() => void)[] = [];
  let lostTold = false;
  const sent = (ok: boolean) => {
    if (!ok && !lostTold) app.tell('Not moved: there is no connection.');
    lostTold = !ok;
  };
  const gimbal = makeHold(
    ({ a, b }) => { sent(app.live.send({ hold: 'gimbal', a, b })); },
    () => { app.live.send({ release: 'gimbal' }); }, fullSpeed);
  const zoom = makeHold(
    ({ a }) => { sent(app.live.send({ hold: 'zoom', a })); },
    () => { app.live.send({ release: 'zoom' }); }, 1);
  const releaseAll = () => {
    for (const forget of forgetters) forget();
    gimbal.release();
    zoom.release();
  };
  stopWhenNobodyLooks(releaseAll);
  return { gimbal, zoom, releaseAll, onRelease: (forget) => { forgetters.push(forget); } };
}
