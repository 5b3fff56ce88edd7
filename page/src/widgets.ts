// What the views are put together of.
import type { App } from './app.js';
import { ask } from './ask.js';
import { make } from './dom.js';

export type Command = Record<string, string>;

// "position move" with values: {"cmd":"position","param":"move","value1":...}.
export function commandOf(cmd: string, param = '', ...values: (string | number)[]): Command {
  const command: Command = { cmd };
  if (param) command.param = param;
  values.forEach((value, i) => { command[`value${i + 1}`] = String(value); });
  return command;
}

export function button(text: string, action: () => void, className = ''): HTMLButtonElement {
  const made = make('button', { type: 'button' }, text);
  if (className) made.className = className;
  made.addEventListener('click', action);
  return made;
}

// question: asked before it is sent.
export function commandButton(app: App, text: string, command: Command, question?: string): HTMLButtonElement {
  const send = () => { app.command(command); };
  if (!question) return button(text, send);
  return button(text, () => {
    void ask(question, text).then((yes) => { if (yes) send(); });
  }, 'danger');
}

export function buttons(label: string, ...members: HTMLElement[]): HTMLElement {
  return make('div', { class: 'buttons', role: 'group', 'aria-label': label }, ...members);
}

export function card(title: string, ...members: HTMLElement[]): HTMLElement {
  return make('section', { class: 'card' }, make('h2', {}, title), ...members);
}

let lastId = 0;

// A label and what belongs to it, for the two columns of a .rows element.
export function row(label: string, field: HTMLElement, ...more: HTMLElement[]): HTMLElement[] {
  const box = make('div', { class: 'field' }, field, ...more);
  if (!field.matches('input, select')) {
    field.setAttribute('aria-label', field.getAttribute('aria-label') ?? label);
    return [make('span', {}, label), box];
  }
  field.id = field.id || `field-${++lastId}`;
  return [make('label', { for: field.id }, label), box];
}

export function numberField(min: number, max: number, step: number, value: number): HTMLInputElement {
  return make('input', {
    type: 'number', min: String(min), max: String(max), step: String(step), value: String(value),
  });
}

export function selectField(options: readonly (readonly [value: string, text: string])[]): HTMLSelectElement {
  return make('select', {}, ...options.map(([value, text]) => make('option', { value }, text)));
}

export function tick(text: string, checked: boolean, changed: (on: boolean) => void): HTMLLabelElement {
  const box = make('input', { type: 'checkbox' });
  box.checked = checked;
  box.addEventListener('change', () => { changed(box.checked); });
  return make('label', { class: 'tick' }, box, text);
}
