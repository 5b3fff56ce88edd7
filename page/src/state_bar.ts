// The line of what counts most. What is no longer so shows as a dash, never as if it were.
import type { App } from './app.js';
import { clockText, hasCard, isRecording, cardState, named, rcStates, sizeText } from './camera_codes.js';
import { byId, make, show } from './dom.js';
import { isAlive } from './state_alive.js';
import type { ValueName, Values } from './store.js';

export interface Shown { value: string | number; text?: string }

interface Item {
  id: string;
  name: ValueName;
  shown: () => Shown | undefined;
}

export const linkWords: Partial<Record<number, string>> = {
  0: 'disconnected', 2: 'connected', 3: 'disabled',
};
const lowBattery = 15;

// Without a value when nothing can be put on it.
export function cardShown(camera: Values['camera']): Shown {
  const state = cardState(camera.flags);
  const isFine = hasCard(camera.flags) && (state === 'normal' || state === 'slow' || state === 'became slow');
  return isFine ? { value: camera.cardFreeMb, text: sizeText(camera.cardFreeMb) } : { value: '', text: state };
}

export function qualityText({ quality, bestQuality }: Values['wifi']): string {
  return bestQuality ? `${Math.round((100 * quality) / bestQuality)} %` : 'none';
}

// Without the port that all boxes have.
const shortBox = (box: string) => box.replace(/:4242$/, '');

function items(app: App): Item[] {
  const item = <N extends ValueName>(id: string, name: N, shown: (value: Values[N]) => Shown): Item => ({
    id, name,
    shown: () => {
      const value = isAlive(app.store, name) ? app.store.get(name) : undefined;
      return value === undefined ? undefined : shown(value);
    },
  });
  const link = ({ state }: { state: number }) => ({
    value: linkWords[state] ?? 'disconnected', text: named(linkWords, state),
  });
  return [
    item('link-camera', 'dataLink', link), item('link-video', 'videoLink', link),
    item('battery', 'battery', ({ percent }) => ({ value: percent, text: `${percent} %` })),
    item('recording-time', 'camera', ({ recordingSeconds: s }) => ({ value: s, text: clockText(s) })),
    item('card', 'camera', cardShown),
    item('wifi', 'wifi', (wifi) => ({ value: wifi.quality, text: qualityText(wifi) })),
    item('rc-state', 'box', ({ rcState }) => ({ value: rcState, text: named(rcStates, rcState) })),
    item('box', 'panel', ({ box, heard }) => ({
      value: box, text: box ? shortBox(box) + (heard ? '' : ': not heard') : 'looking for one',
    })),
  ];
}

// A state element with its plain value and its age for scripts; stale ones are grey.
export function showState(app: App, element: HTMLElement, name: ValueName, shown: Shown | undefined): void {
  show(element, shown?.value ?? '', shown ? shown.text ?? String(shown.value) : '–');
  const age = app.store.age(name);
  element.dataset.age = Number.isFinite(age) ? String(Math.floor(age)) : '';
  element.classList.toggle('stale', !shown);
  element.title = shown ? '' : ageText(age);
}

export function ageText(seconds: number): string {
  if (!Number.isFinite(seconds)) return 'never told';
  if (seconds < 120) return `${Math.floor(seconds)} s`;
  return seconds < 7200 ? `${Math.floor(seconds / 60)} min` : `${Math.floor(seconds / 3600)} h`;
}

// One of several boxes, when several were found.
function showBoxes(choice: HTMLSelectElement, panel: Values['panel']): void {
  const names = [...new Set([...(panel.box ? [panel.box] : []), ...panel.boxes])];
  choice.hidden = names.length < 2;
  byId('box', HTMLElement).hidden = names.length > 1;
  const offered = [...choice.options].map((option) => option.value);
  if (offered.join() !== names.join()) {
    choice.replaceChildren(...names.map((name) => make('option', { value: name }, shortBox(name))));
  }
  if (document.activeElement !== choice) choice.value = panel.box;
}

export function startBar(app: App): () => void {
  const all = items(app);
  const choice = byId('box-choice', HTMLSelectElement);
  choice.addEventListener('change', () => {
    app.live.send({ box: choice.value });
    choice.blur();
  });
  app.store.subscribe('panel', (panel) => { showBoxes(choice, panel); });
  const update = () => {
    for (const { id, name, shown } of all) showState(app, byId(id, HTMLElement), name, shown());
    const camera = isAlive(app.store, 'camera') ? app.store.get('camera') : undefined;
    byId('recording-time', HTMLElement).dataset.recording = camera && isRecording(camera.flags) ? '1' : '0';
    const percent = isAlive(app.store, 'battery') ? app.store.get('battery')?.percent : undefined;
    byId('battery', HTMLElement).classList.toggle('low', percent !== undefined && percent < lowBattery);
  };
  for (const name of new Set(all.map((item) => item.name))) app.store.subscribe(name, update);
  return update;
}
