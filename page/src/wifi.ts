// Wi-Fi: looks for networks and puts the one that is picked into the settings; says whether the access
// point is running.
import type { App } from './app.js';
import { make, show } from './dom.js';
import type { Draft } from './settings_draft.js';
import { isAlive } from './state_alive.js';

const radios = [['1', 'wifi0'], ['2', 'wlan0']] as const;
const scanLasts = 15_000;  // at most, before it is said that nothing came

// Which names there are, each once, and how many networks hide theirs.
export function sortScan(names: string[]): { shown: string[]; hidden: number } {
  const shown = [...new Set(names.filter(Boolean))];
  return { shown, hidden: names.filter((name) => !name).length };
}

function makePick(draft: Draft, name: string, target: 'camera' | 'wifi', text: string): HTMLElement {
  const button = make('button', { type: 'button', 'aria-label': `${name}: use as ${text}` }, text);
  button.addEventListener('click', () => {
    draft.edit(`${target}_ssid`, name);
    document.getElementById(`field-${target}_psk`)?.focus();
  });
  return button;
}

function makeNetworkList(draft: Draft, names: string[]): HTMLElement {
  return make('ul', { class: 'scan' }, ...names.map((name) => make('li', {}, make('span', {}, name),
    make('span', { class: 'picks' }, makePick(draft, name, 'camera', 'Camera'),
      makePick(draft, name, 'wifi', 'Network')))));
}

export function makeWifiScan(app: App, draft: Draft): HTMLElement {
  const state = make('p', { role: 'status' });
  const found = make('div');
  const accessPoint = make('p', { id: 'access-point' });
  let timer: ReturnType<typeof setTimeout> | undefined;

  const buttons = radios.map(([code, name]) => {
    const button = make('button', { type: 'button', id: `scan-${name}` }, `Scan with ${name}`);
    button.addEventListener('click', () => {
      if (!app.command({ cmd: 'wlan', param: 'scan', value: code })) return;
      state.textContent = `${name} is looking for networks …`;
      clearTimeout(timer);
      timer = setTimeout(() => { state.textContent = `No answer from ${name}.`; }, scanLasts);
    });
    return button;
  });
  app.store.subscribe('scan', ({ radio, names }) => {
    clearTimeout(timer);
    const { shown, hidden } = sortScan(names);
    const more = hidden > 0 ? ` and ${hidden} with a hidden name` : '';
    state.textContent = `${radio} found ${shown.length} networks${more}.`;
    found.replaceChildren(makeNetworkList(draft, shown));
  });
  setInterval(() => {
    const isKnown = isAlive(app.store, 'report') && app.store.get('report');
    const running = isKnown && Number(isKnown.apstate) !== 0;
    show(accessPoint, isKnown ? Number(running) : '',
      isKnown ? `The access point is ${running ? '' : 'not '}running.` : '');
  }, 500);
  return make('div', { class: 'card' }, accessPoint,
    make('div', { class: 'buttons' }, ...buttons), state, found);
}
