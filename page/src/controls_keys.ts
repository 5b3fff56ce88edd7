// Record, photo, recentre, lock and zoom: the buttons that are always there.
import type { App } from './app.js';
import { isRecording, takesIntervals } from './camera_codes.js';
import { makeConfirmation } from './confirm.js';
import { isTaken, type Drive } from './controls_drive.js';
import { byId } from './dom.js';
import { isAlive } from './state_alive.js';
import { commandOf } from './widgets.js';

// What the camera says, never what was pressed.
function startRecord(app: App): () => void {
  const button = byId('record', HTMLButtonElement);
  const words = button.querySelector('span');
  const confirmation = makeConfirmation<boolean>((reported, phase, wanted) => {
    const late = phase === 'unconfirmed';
    button.dataset.value = reported === undefined ? '' : reported ? '1' : '0';
    button.setAttribute('aria-pressed', String(reported === true));
    button.classList.toggle('unconfirmed', late);
    button.toggleAttribute('data-unconfirmed', late);
    if (!words) return;
    if (phase === 'steady') words.textContent = reported ? 'Stop' : 'Record';
    else if (late) words.textContent = wanted ? 'Start not confirmed' : 'Stop not confirmed';
    else words.textContent = wanted ? 'Starting …' : 'Stopping …';
  });
  button.addEventListener('click', () => {
    const start = button.dataset.value !== '1';
    if (app.command(commandOf('record', start ? 'start' : 'stop'))) confirmation.want(start);
  });
  const report = () => {
    const camera = isAlive(app.store, 'camera') ? app.store.get('camera') : undefined;
    confirmation.report(camera && isRecording(camera.flags));
    const age = app.store.age('camera');
    button.dataset.age = Number.isFinite(age) ? String(Math.floor(age)) : '';
    button.classList.toggle('stale', !camera);
  };
  app.store.subscribe('camera', report);
  return report;
}

function startShot(app: App): () => void {
  const button = byId('shot', HTMLButtonElement);
  const words = button.querySelector('span');
  button.addEventListener('click', () => { app.command(commandOf('shot')); });
  return () => {
    const flags = isAlive(app.store, 'camera') ? app.store.get('camera')?.flags ?? 0 : 0;
    if (words) words.textContent = takesIntervals(flags) ? 'Stop interval' : 'Photo';
  };
}

// While the button is down, by pointer or by key.
function startZoomButton(button: HTMLButtonElement, direction: number, drive: Drive): void {
  const source = button.id;
  const end = () => { drive.zoom.move(source); };
  button.addEventListener('pointerdown', (event) => {
    if (event.button !== 0) return;
    button.setPointerCapture(event.pointerId);
    drive.zoom.move(source, { a: direction, b: 0 });
  });
  for (const name of ['pointerup', 'pointercancel', 'lostpointercapture', 'blur', 'keyup'] as const) {
    button.addEventListener(name, end);
  }
  button.addEventListener('keydown', (event) => {
    if (event.key === ' ' || event.key === 'Enter') drive.zoom.move(source, { a: direction, b: 0 });
  });
  button.addEventListener('contextmenu', (event) => { event.preventDefault(); });
}

const levelEveryMs = 100;

// The camera does not report its level: only one that was set here is known, until someone zooms.
function startZoomLevel(app: App): void {
  const level = byId('zoom-level', HTMLInputElement);
  let timer: ReturnType<typeof setTimeout> | undefined;
  const say = (text: string) => {
    level.classList.toggle('unknown', !text);
    level.setAttribute('aria-valuetext', text || 'unknown');
  };
  const send = () => {
    timer = undefined;
    say(`${level.value} %`);
    app.command(commandOf('zoom', '', level.value));
  };
  level.addEventListener('input', () => { timer ??= setTimeout(send, levelEveryMs); });
  say('');
  app.store.subscribe('panel', ({ zoomHolder }) => {
    level.disabled = isTaken(app, 'zoom');
    if (zoomHolder) say('');
  });
}

export function startKeys(app: App, drive: Drive): () => void {
  const report = startRecord(app);
  const showShot = startShot(app);
  byId('recentre', HTMLButtonElement).addEventListener('click', () => {
    app.command(commandOf('orientation', 'unlock'));
  });
  byId('lock', HTMLButtonElement).addEventListener('click', () => {
    app.command(commandOf('orientation', 'lock'));
    app.tell('The gimbal is asked to keep its direction until it is recentred.');
  });
  const zoomButtons: [string, number][] = [['zoom-in', 1], ['zoom-out', -1]];
  for (const [id, direction] of zoomButtons) startZoomButton(byId(id, HTMLButtonElement), direction, drive);
  startZoomLevel(app);
  return () => {
    report();
    showShot();
    for (const [id] of zoomButtons) byId(id, HTMLButtonElement).disabled = isTaken(app, 'zoom');
  };
}
