// RC control: what the receiver is doing, live bars of the channels beside the functions they have, and
// the settings of the sticks.
import type { App } from './app.js';
import { ask } from './ask.js';
import { byId, make, show } from './dom.js';
import { alsoOn, barOf, functionsOf, withFunction } from './rc_map.js';
import type { Draft } from './settings_draft.js';
import { makeField } from './settings_fields.js';
import { channelCount, channelFunctions, groupSettings } from './settings_list.js';
import { makeSaveBar } from './settings_save.js';
import { isAlive } from './state_alive.js';

const mapKey = 'rc_input_map';
const liveFor = 1.5;  // seconds; records come every 0.3 while RC control is on

const states = ['off', 'no device', 'no signal yet', 'calibrating: move everything to its ends, then let go '
  + 'for 2 seconds', 'signal lost', 'failsafe', 'good'];
export const rcStateText = (state: number) => `${state}: ${states[state] ?? 'unknown'}`;

interface Channel {
  row: HTMLElement;
  showValue: (us: number | undefined) => void;
  showFunction: (map: string, isKnown: boolean) => void;
}

function makeBar(number: number) {
  const bar = make('div', { class: 'bar', role: 'meter', 'aria-label': `Channel ${number}`,
    'aria-valuemin': '1000', 'aria-valuemax': '2000' }, make('i'));
  const value = make('span', { class: 'us' });
  const showValue = (us: number | undefined) => {
    const at = us === undefined ? undefined : barOf(us);
    const text = us === undefined ? '–' : at === undefined ? 'absent' : `${us} µs`;
    show(value, us ?? '', text);
    bar.setAttribute('aria-valuetext', text);
    bar.setAttribute('aria-valuenow', String(us ?? 0));
    bar.classList.toggle('absent', at === undefined);
    bar.style.setProperty('--at', `${at ?? 0}%`);
  };
  showValue(undefined);
  return { bar, value, showValue };
}

// Grouped by what moves them.
function makeFunctionOptions(): HTMLElement[] {
  const functions = Object.entries(channelFunctions);
  const namesOf = (kind: string) => functions.filter(([, moves]) => moves === kind).map(([name]) => name);
  return [...new Set(functions.map(([, moves]) => moves))].map((kind) => make('optgroup', { label: kind },
    ...namesOf(kind).map((name) => make('option', { value: name }, name))));
}

function makeChannel(draft: Draft, index: number): Channel {
  const number = index + 1;
  const { bar, value, showValue } = makeBar(number);
  const note = make('span', { class: 'remark', id: `channel-${number}-note` });
  const select = make('select', { 'aria-label': `Function of channel ${number}`,
    'aria-describedby': note.id }, make('option', { value: '' }, '–'), ...makeFunctionOptions());
  select.addEventListener('change', () => {
    draft.edit(mapKey, withFunction(draft.value(mapKey) ?? '', index, select.value));
  });
  const showFunction = (map: string, isKnown: boolean) => {
    const name = functionsOf(map)[index] ?? '';
    if (![...select.options].some((option) => option.value === name))
      select.append(make('option', { value: name }, `${name} (no function)`));
    select.value = name;
    select.disabled = !isKnown;
    const others = alsoOn(map, index);
    note.textContent = others.length > 0 ? `also on channel ${others.join(', ')}` : '';
  };
  const row = make('li', { class: 'channel' }, make('span', { class: 'number' }, String(number)), bar, value,
    select, note);
  return { row, showValue, showFunction };
}

function makeMap(app: App, draft: Draft, view: HTMLElement): HTMLElement {
  const channels = Array.from({ length: channelCount }, (_, index) => makeChannel(draft, index));
  let shownMap: string | undefined;
  draft.subscribe(() => {
    const map = draft.value(mapKey) ?? '';
    const now = `${String(draft.report() !== undefined)} ${map}`;
    if (now === shownMap) return;
    shownMap = now;
    for (const channel of channels) channel.showFunction(map, draft.report() !== undefined);
  });
  const showValues = () => {
    if (view.offsetParent === null) return;
    const values = app.store.age('rc') < liveFor ? app.store.get('rc')?.channels : undefined;
    channels.forEach((channel, index) => { channel.showValue(values?.[index]); });
  };
  app.store.subscribe('rc', showValues);
  setInterval(showValues, 500);
  return make('ol', { class: 'channels card' }, ...channels.map((channel) => channel.row));
}

function makeState(app: App): HTMLElement {
  const state = make('strong', { id: 'rc-receiver' }, '–');
  const refresh = () => {
    const live = app.store.age('rc') < liveFor ? app.store.get('rc')?.state : undefined;
    const known = live ?? (isAlive(app.store, 'box') ? app.store.get('box')?.rcState : undefined);
    show(state, known ?? '', known === undefined ? '–' : rcStateText(known));
  };
  app.store.subscribe('rc', refresh);
  setInterval(refresh, 500);
  return make('p', { role: 'status' }, 'Receiver: ', state);
}

function makeActions(app: App): HTMLElement {
  const action = (text: string, id: string, act: () => void) => {
    const button = make('button', { type: 'button', id }, text);
    button.addEventListener('click', act);
    return button;
  };
  const showChannels = (value: string) => () => {
    app.command({ cmd: 'rc', name: 'showchannels', value });
  };
  const recalibrate = async () => {
    const question = 'Calibrate the receivers anew? RC control stops until everything has been moved to its '
      + 'ends and let go for 2 seconds.';
    if (await ask(question, 'Calibrate')) app.command({ cmd: 'rc', name: 'recalibrate' });
  };
  return make('div', { class: 'buttons' },
    action('Calibrate anew', 'rc-recalibrate', () => { void recalibrate(); }),
    action('Channels in the overlay', 'rc-overlay-on', showChannels('1')),
    action('None in the overlay', 'rc-overlay-off', showChannels('0')));
}

export function startRc(app: App, draft: Draft): void {
  const view = byId('rc-view', HTMLElement);
  const parts = groupSettings().filter((group) => group.topic === 'rc').flatMap((group) => group.parts);
  const keys = parts.flatMap((part) => part.keys);
  const cards = parts.map((part) => make('fieldset', { class: 'card' }, make('legend', {}, part.title),
    ...part.keys.filter((key) => key !== mapKey).map((key) => makeField(draft, key, false))));
  view.append(make('h2', {}, 'RC control'), makeState(app), makeActions(app),
    make('h3', {}, 'Channels and their functions'),
    make('p', { class: 'help' }, 'Of several channels for the same stick the first that is there counts; '
      + 'switches and knobs act each.'),
    makeMap(app, draft, view), make('div', { class: 'cards' }, ...cards),
    makeSaveBar(app, draft, keys, 'rc-save'));
}
