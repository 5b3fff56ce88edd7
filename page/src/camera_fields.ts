// Controls of the camera view that take a number.
import type { App } from './app.js';
import { makeConfirmation, phaseText } from './confirm.js';
import { make } from './dom.js';
import { isAlive } from './state_alive.js';
import type { ValueName, Values } from './store.js';
import { button, commandOf, numberField, row, type Command } from './widgets.js';

const sendEveryMs = 150;

interface Slider<N extends ValueName> {
  label: string; min: number; max: number; step: number; unit: string;
  command: (value: number) => Command;
  name: N;
  // undefined: it cannot be set now.
  read: (value: Values[N]) => number | undefined;
}

// Follows the report, but not against the hand on it.
function slider<N extends ValueName>(app: App, what: Slider<N>): { row: HTMLElement[]; update: () => void } {
  const { min, max, step, unit } = what;
  const field = make('input', { type: 'range', min: String(min), max: String(max), step: String(step) });
  const note = make('span', { class: 'note', role: 'status' });
  const said = make('output');
  let timer: ReturnType<typeof setTimeout> | undefined;
  let phaseNow = 'steady';
  const confirmation = makeConfirmation<number>((reported, phase, wanted) => {
    phaseNow = phase;
    note.textContent = phaseText(phase, `${wanted ?? ''}${unit}`);
    note.classList.toggle('unconfirmed', phase === 'unconfirmed');
    said.textContent = reported === undefined ? '–' : `${reported}${unit}`;
    field.dataset.value = String(reported ?? '');
    if (phase !== 'waiting' && reported !== undefined && timer === undefined) field.value = String(reported);
  });
  field.addEventListener('input', () => {
    timer ??= setTimeout(() => {
      timer = undefined;
      if (app.command(what.command(field.valueAsNumber))) confirmation.want(field.valueAsNumber);
    }, sendEveryMs);
  });
  const update = () => {
    const value = isAlive(app.store, what.name) ? app.store.get(what.name) : undefined;
    const reported = value === undefined ? undefined : what.read(value);
    field.disabled = reported === undefined && phaseNow === 'steady';
    confirmation.report(reported);
  };
  app.store.subscribe(what.name, update);
  return { row: row(what.label, field, said, note), update };
}

export function manualFocus(app: App): { row: HTMLElement[]; update: () => void } {
  return slider(app, {
    label: 'Manual focus', min: 0, max: 100, step: 1, unit: ' %', name: 'focusRange',
    command: (percent) => commandOf('focus', 'manual', percent),
    read: ({ range, stroke }) => {
      const isManual = app.store.get('lens')?.manualFocusCapable !== 0 && range > 0;
      return isManual ? Math.round((100 * stroke) / range) : undefined;
    },
  });
}

export function kelvin(app: App): { row: HTMLElement[]; update: () => void } {
  return slider(app, {
    label: 'Own white balance', min: 2000, max: 10000, step: 100, unit: ' K', name: 'shooting',
    command: (value) => commandOf('wb', 'custom', value), read: ({ temperature }) => temperature,
  });
}

export function timelapse(app: App): HTMLElement[] {
  const interval = numberField(1, 6000, 0.1, 2);
  const duration = numberField(-1, 65535, 1, -1);
  interval.setAttribute('aria-label', 'Seconds between pictures');
  duration.setAttribute('aria-label', 'Seconds in all, -1: as the camera has it');
  const set = button('Set', () => {
    if (!interval.reportValidity() || !duration.reportValidity()) return;
    app.command(commandOf('shottype', 'timelapse', interval.valueAsNumber, duration.valueAsNumber));
  });
  return [make('h3', { class: 'wide' }, 'Time lapse'), ...row('Every, in s', interval),
    ...row('For, in s', duration, set, make('span', { class: 'note' }, '-1: as the camera has it'))];
}

const largestPoint = 255;

export function exposurePoint(app: App): HTMLElement[] {
  const index = numberField(0, largestPoint, 1, 0);
  return row('Exposure point no.', index, button('Set', () => {
    if (index.reportValidity()) app.command(commandOf('exposure', 'point', index.valueAsNumber));
  }));
}

// "20240131235959", of this browser's clock.
export function clockWord(date: Date): string {
  const two = (value: number) => String(value).padStart(2, '0');
  return [
    String(date.getFullYear()), two(date.getMonth() + 1), two(date.getDate()), two(date.getHours()),
    two(date.getMinutes()), two(date.getSeconds()),
  ].join('');
}

export function cameraClock(app: App): HTMLElement[] {
  return row('Camera’s clock', button('Set to this browser’s', () => {
    app.command(commandOf('time', '', clockWord(new Date())));
  }));
}
