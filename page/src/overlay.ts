// What lies over the picture, each part of it switchable; a tap on the picture sets the focus point.
import type { App } from './app.js';
import { clockText, evWord, exposureModeWords, isRecording, named, shutterText, shutterWord }
  from './camera_codes.js';
import { makeConfirmation } from './confirm.js';
import { byId } from './dom.js';
import { keep, kept } from './kept.js';
import { letterBox, pointInPicture, type Rect } from './letter_box.js';
import { cameraIsThere, isAlive } from './state_alive.js';
import { cardShown } from './state_bar.js';
import type { ValueName, Values } from './store.js';
import { commandOf, tick } from './widgets.js';

const parts = [
  ['overlay-recording', 'Recording time', true], ['overlay-battery', 'Battery', true],
  ['overlay-card', 'Card', true], ['overlay-exposure', 'Exposure', true],
  ['focus-mark', 'Focus point', true], ['horizon', 'Horizon', false], ['histogram', 'Histogram', false],
] as const;
type Part = (typeof parts)[number][0];

const updateEveryMs = 250;

function isWanted(part: Part): boolean {
  const byDefault = parts.find(([id]) => id === part)?.[2] === true;
  return (kept(part) ?? (byDefault ? '1' : '0')) === '1';
}

// The value behind a part, when it is to be seen.
function valueFor<N extends ValueName>(app: App, part: Part, name: N): Values[N] | undefined {
  return isWanted(part) && isAlive(app.store, name) ? app.store.get(name) : undefined;
}

function showText(part: Part, text: string | undefined): void {
  const element = byId(part, HTMLElement);
  element.hidden = text === undefined;
  if (text !== undefined && element.textContent !== text) element.textContent = text;
}

function exposureText(shooting: Values['shooting'] | undefined): string | undefined {
  if (!shooting) return undefined;
  const shutter = shutterText(shutterWord(shooting.actualShutter, shooting.actualShutterDecimal));
  const ev = evWord(shooting.evCode) ?? '?';
  return [
    `ISO ${shooting.actualIso}`, shutter, `f/${shooting.actualApertureHundredths / 100}`,
    `${ev.startsWith('-') || ev === '0' ? '' : '+'}${ev} EV`, named(exposureModeWords, shooting.exposureMode),
  ].join('   ');
}

function showTexts(app: App): void {
  const recording = valueFor(app, 'overlay-recording', 'camera');
  const runs = recording && isRecording(recording.flags);
  showText('overlay-recording', runs ? clockText(recording.recordingSeconds) : undefined);
  const battery = valueFor(app, 'overlay-battery', 'battery');
  showText('overlay-battery', battery && `${battery.percent} %`);
  const camera = valueFor(app, 'overlay-card', 'camera');
  const card = camera && cardShown(camera);
  showText('overlay-card', card && (card.value === '' ? `Card ${card.text}`
    : `${card.text}, ${clockText(camera.recordSecondsLeft)} left`));
  showText('overlay-exposure', exposureText(valueFor(app, 'overlay-exposure', 'shooting')));
}

function showHorizon(app: App): void {
  const attitude = valueFor(app, 'horizon', 'attitude');
  const horizon = byId('horizon', HTMLElement);
  horizon.hidden = !attitude;
  if (!attitude) return;
  horizon.style.setProperty('--roll', `${attitude.c}deg`);
  horizon.style.setProperty('--pitch', String(attitude.b));
}

function showHistogram(app: App): void {
  const histogram = valueFor(app, 'histogram', 'histogram');
  const canvas = byId('histogram', HTMLCanvasElement);
  canvas.hidden = !histogram;
  const context = canvas.getContext('2d');
  if (!histogram || !context) return;
  const step = canvas.width / histogram.values.length;
  context.clearRect(0, 0, canvas.width, canvas.height);
  context.fillStyle = 'rgb(0 0 0 / 45%)';
  context.fillRect(0, 0, canvas.width, canvas.height);
  context.fillStyle = '#fff';
  histogram.values.forEach((value, i) => {
    const height = (value / 255) * canvas.height;
    context.fillRect(i * step, canvas.height - height, step, height);
  });
}

function pictureSize(): { width: number; height: number } {
  const picture = document.getElementById('picture');
  if (picture?.dataset.way === 'none') return { width: 0, height: 0 };
  if (picture instanceof HTMLVideoElement) return { width: picture.videoWidth, height: picture.videoHeight };
  if (picture instanceof HTMLCanvasElement) return { width: picture.width, height: picture.height };
  return { width: 0, height: 0 };
}

function pictureRect(screen: HTMLElement): Rect {
  return letterBox({ width: screen.clientWidth, height: screen.clientHeight }, pictureSize());
}

function place(screen: HTMLElement): void {
  const overlay = byId('overlay', HTMLElement);
  for (const [name, value] of Object.entries(pictureRect(screen))) {
    overlay.style.setProperty(name, `${value as number}px`);
  }
}

const pointWord = (x: number, y: number) => `${x.toFixed(3)} ${y.toFixed(3)}`;

function startFocus(app: App, screen: HTMLElement): () => void {
  const mark = byId('focus-mark', HTMLElement);
  const confirmation = makeConfirmation<string>((reported, phase, wanted) => {
    const [x, y] = (phase === 'waiting' ? wanted : reported)?.split(' ').map(Number) ?? [];
    mark.classList.toggle('asked', phase === 'waiting');
    mark.style.setProperty('left', `${(x ?? 0) * 100}%`);
    mark.style.setProperty('top', `${(y ?? 0) * 100}%`);
    mark.dataset.value = reported ?? '';
    if (phase === 'unconfirmed') app.tell('The focus point was not confirmed.');
  });
  screen.addEventListener('click', (event) => {
    const at = event.target;
    if (at instanceof Element && at.closest('#screen-buttons, button, a, input')) return;
    if (!cameraIsThere(app.store)) return;
    const room = screen.getBoundingClientRect();
    const point = pointInPicture(pictureRect(screen), event.clientX - room.left, event.clientY - room.top);
    if (!point) return;
    const word = pointWord(point.x, point.y);
    if (app.command(commandOf('focus', 'point', ...word.split(' ')))) confirmation.want(word);
  });
  return () => {
    const point = valueFor(app, 'focus-mark', 'focusPoint');
    const isSet = point && (point.x > 0 || point.y > 0);
    confirmation.report(isSet ? pointWord(point.x, point.y) : undefined);
    mark.hidden = !isSet && !mark.classList.contains('asked');
  };
}

function startChoice(app: App, update: () => void): void {
  const choice = byId('overlay-choice', HTMLDetailsElement);
  choice.querySelector('fieldset')?.append(...parts.map(([id, text]) => tick(text, isWanted(id), (on) => {
    keep(id, on ? '1' : '0');
    // The camera tells it only when it was asked to.
    if (id === 'histogram') app.command(commandOf('hystogram', on ? '1' : '0'));
    update();
  })));
  // A click elsewhere closes it and does nothing else.
  document.addEventListener('click', (event) => {
    if (!choice.open || !(event.target instanceof Node) || choice.contains(event.target)) return;
    choice.open = false;
    event.stopPropagation();
  }, true);
  choice.addEventListener('keydown', (event) => {
    if (event.key !== 'Escape') return;
    choice.open = false;
    choice.querySelector('summary')?.focus();
  });
}

// Where the browser has no full screen for it, it fills the page.
function startFullScreen(screen: HTMLElement): void {
  byId('full-screen', HTMLButtonElement).addEventListener('click', () => {
    const fill = () => { screen.classList.toggle('filled'); };
    if (document.fullscreenElement) void document.exitFullscreen();
    else if (!('requestFullscreen' in screen)) fill();
    else screen.requestFullscreen().catch(fill);
  });
}

export function startOverlay(app: App): void {
  const screen = byId('screen', HTMLElement);
  const showFocus = startFocus(app, screen);
  const update = () => {
    place(screen);
    showTexts(app);
    showHorizon(app);
    showHistogram(app);
    showFocus();
  };
  startChoice(app, update);
  startFullScreen(screen);
  new ResizeObserver(() => { place(screen); }).observe(screen);
  screen.addEventListener('resize', () => { place(screen); });
  app.store.subscribe('attitude', () => { showHorizon(app); });
  app.store.subscribe('histogram', () => { showHistogram(app); });
  app.store.subscribe('focusPoint', showFocus);
  setInterval(update, updateEveryMs);
}
