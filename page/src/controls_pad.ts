// The pad on the page and the arrow keys.
import type { App } from './app.js';
import { isTaken, padSpeed, type Drive } from './controls_drive.js';
import { byId } from './dom.js';
import { cameraIsThere } from './state_alive.js';

const deadZone = 0.08;
const slowShare = 0.3;
const arrows: Partial<Record<string, [pan: number, tilt: number]>> = {
  ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1],
};

const isOff = (pad: HTMLElement) => pad.getAttribute('aria-disabled') === 'true';

// Right and down are positive, as the box counts.
function startPointer(pad: HTMLElement, drive: Drive): void {
  let pointer: number | undefined;
  const knob = (x: number, y: number) => {
    pad.style.setProperty('--x', String(x));
    pad.style.setProperty('--y', String(y));
  };
  const drop = () => {
    if (pointer === undefined) return;
    pointer = undefined;
    pad.classList.remove('held');
    knob(0, 0);
    drive.gimbal.move('pad');
  };
  const follow = (event: PointerEvent) => {
    if (event.pointerId !== pointer) return;
    const place = pad.getBoundingClientRect();
    const reach = Math.min(place.width, place.height) / 2 - 26;
    const part = (at: number, middle: number) => Math.max(-1, Math.min(1, (at - middle) / reach));
    const x = part(event.clientX, place.left + place.width / 2);
    const y = part(event.clientY, place.top + place.height / 2);
    knob(x * reach, y * reach);
    drive.gimbal.move('pad', { a: padSpeed(x, deadZone), b: padSpeed(y, deadZone) });
  };
  pad.addEventListener('pointerdown', (event) => {
    if (pointer !== undefined || event.button !== 0 || isOff(pad)) return;
    pointer = event.pointerId;
    pad.setPointerCapture(event.pointerId);
    pad.classList.add('held');
    follow(event);
  });
  pad.addEventListener('pointermove', follow);
  for (const name of ['pointerup', 'pointercancel', 'lostpointercapture'] as const) {
    pad.addEventListener(name, (event) => { if (event.pointerId === pointer) drop(); });
  }
  pad.addEventListener('contextmenu', (event) => { event.preventDefault(); });
  drive.onRelease(drop);
}

function startArrows(pad: HTMLElement, drive: Drive): void {
  const pressed = new Set<string>();
  let slowly = false;
  const apply = () => {
    let [a, b] = [0, 0];
    for (const key of pressed) {
      const [pan, tilt] = arrows[key] ?? [0, 0];
      a += pan;
      b += tilt;
    }
    const speed = padSpeed(1, 0) * (slowly ? slowShare : 1);
    drive.gimbal.move('keys', pressed.size ? { a: a * speed, b: b * speed } : undefined);
  };
  const drop = () => {
    if (pressed.size === 0) return;
    pressed.clear();
    apply();
  };
  const isOurs = () => {
    const at = document.activeElement ?? document.body;
    // Elsewhere than at the gimbal the arrows scroll, and where no pad is to be seen nothing moves by them.
    return pad.offsetWidth > 0 && (at === document.body ? document.body.dataset.view === 'gimbal'
      : at.closest('#controls, #screen') !== null && !at.matches('input, select'));
  };
  document.addEventListener('keydown', (event) => {
    slowly = event.shiftKey;
    if (arrows[event.key] && isOurs() && !event.ctrlKey && !event.altKey && !event.metaKey) {
      event.preventDefault();  // the page does not scroll meanwhile
      if (!isOff(pad)) pressed.add(event.key);
    }
    if (pressed.size) apply();
  });
  document.addEventListener('keyup', (event) => {
    slowly = event.shiftKey;
    if (pressed.delete(event.key) || pressed.size) apply();
  });
  // Keys that are let go elsewhere are not seen here.
  document.addEventListener('focusin', () => { if (!isOurs()) drop(); });
  drive.onRelease(drop);
}

function noteText(app: App): string {
  if (isTaken(app, 'gimbal')) return 'moved by another browser';
  return app.store.get('panel') && !cameraIsThere(app.store) ? 'camera not connected' : '';
}

// Returns what to call now and then: whether someone else moves it.
export function startPad(app: App, drive: Drive): () => void {
  const pad = byId('pad', HTMLElement);
  const note = byId('pad-note', HTMLElement);
  startPointer(pad, drive);
  startArrows(pad, drive);
  return () => {
    const taken = isTaken(app, 'gimbal');
    if (taken && !isOff(pad)) drive.releaseAll();
    pad.setAttribute('aria-disabled', String(taken));
    pad.classList.toggle('away', !cameraIsThere(app.store));
    const text = noteText(app);
    if (note.textContent !== text) note.textContent = text;
  };
}
