// The field of one setting: it shows what the box reports or what was edited, and says what is wrong with
// it and whether it is saved.
import { make } from './dom.js';
import { doubtOf } from './settings_checks.js';
import type { Draft, Mark } from './settings_draft.js';
import { choicesOf, findSetting, isSecret, isText, type Setting } from './settings_list.js';

interface Control {
  input: HTMLInputElement | HTMLSelectElement;
  read: () => string;
  write: (value: string) => void;
}

function makeSwitch(): Control {
  const input = make('input', { type: 'checkbox', role: 'switch' });
  return {
    input, read: () => input.checked ? '1' : '0', write: (value) => { input.checked = value === '1'; },
  };
}

function makeInput(setting: Setting): Control {
  // No browser fills in the panel's own password here.
  const [type, autocomplete] = isSecret(setting.key) ? ['password', 'new-password'] : ['text', 'off'];
  const input = make('input', { type, autocomplete, spellcheck: 'false', autocapitalize: 'none' });
  if (!isText(setting)) input.inputMode = 'numeric';
  const write = (value: string) => { if (input.value !== value) input.value = value; };
  return { input, read: () => input.value, write };
}

// What the box has is among the choices, whatever it is.
function makeSelect(choices: { value: string; meaning?: string }[]): Control {
  const input = make('select', {}, ...choices.map(({ value, meaning }) =>
    make('option', { value }, meaning ?? value)));
  const write = (value: string) => {
    if (![...input.options].some((option) => option.value === value))
      input.append(make('option', { value }, value ? `${value} (as it is)` : 'not known'));
    if (input.value !== value) input.value = value;
  };
  return { input, read: () => input.value, write };
}

function makeControl(setting: Setting): Control {
  const choices = choicesOf(setting);
  if (choices) return makeSelect(choices);
  if (setting.kind !== 'switch') return makeInput(setting);
  if (setting.report !== undefined) return makeSwitch();
  return makeSelect([{ value: '', meaning: 'not known' }, { value: '1', meaning: 'on' },
    { value: '0', meaning: 'off' }]);
}

function helpText({ help = '', unit, lowest, highest, conversion }: Setting): string {
  // Of an interface the list of choices says the rest.
  const about = conversion === 'interface code' ? help.replace(/;.*/, '') : help;
  const text = about.replaceAll(/`([^`]*)`/g, (_, word: string) => findSetting(word)?.label ?? word);
  const limits = highest === undefined ? '' : ` ${lowest ?? 0} to ${highest}`;
  const tail = unit ? `${limits} ${unit}` : limits;
  return [text.charAt(0).toUpperCase() + text.slice(1), tail.trim()].filter(Boolean).join('; ');
}

const marks: Record<Mark, string> = {
  '': '', saving: 'Saving …', saved: 'Saved.', 'not confirmed': 'Not confirmed by the box.',
  sent: 'Sent. The box does not report it.',
};

function remarkOf(draft: Draft, { key, report }: Setting): string {
  const fault = draft.fault(key);
  if (fault) return `Wrong: ${fault}.`;
  const now = isSecret(key) ? 'something else' : `"${draft.reported(key) ?? ''}"`;
  if (draft.isElsewhere(key)) return `Changed elsewhere meanwhile: the box has ${now}.`;
  const mark = marks[draft.mark(key)];
  if (mark) return mark;
  if (draft.isEdited(key)) return `Changed, not saved. ${doubtOf(key, draft.value(key) ?? '')}`;
  return report === undefined ? 'The box does not report it.' : '';
}

// How it looks: wrong, edited or its mark.
function stateOf(draft: Draft, key: string): string {
  if (draft.fault(key)) return 'wrong';
  return draft.mark(key) || (draft.isEdited(key) ? 'edited' : '');
}

function makeShowButton(label: string, input: HTMLInputElement): HTMLElement {
  const button = make('button',
    { type: 'button', 'aria-pressed': 'false', 'aria-label': `Show ${label}` }, 'Show');
  button.addEventListener('click', () => {
    const hidden = input.type === 'password';
    input.type = hidden ? 'text' : 'password';
    button.setAttribute('aria-pressed', String(hidden));
  });
  return button;
}

// One of a setting is its main field, with the setting's key as its name; others show the same.
export function makeField(draft: Draft, key: string, isMain = true): HTMLElement {
  const setting = findSetting(key);
  if (!setting) throw new Error(`no setting ${key}`);
  const id = isMain ? `field-${key}` : `also-${key}`;
  const { input, read, write } = makeControl(setting);
  input.id = id;
  if (isMain) input.name = key;
  input.setAttribute('aria-describedby', `${id}-help ${id}-remark`);
  const remark = make('p', { id: `${id}-remark`, class: 'remark' });
  const row = make('div', { class: 'setting' }, make('label', { for: id }, setting.label),
    make('div', { class: 'input' }, input), make('p', { id: `${id}-help`, class: 'help' }, helpText(setting)),
    remark);
  if (isSecret(key) && input instanceof HTMLInputElement) input.after(makeShowButton(setting.label, input));
  input.addEventListener('input', () => { draft.edit(key, read()); });
  const refresh = () => {
    input.disabled = draft.report() === undefined;
    write(draft.value(key) ?? '');
    input.setAttribute('aria-invalid', String(draft.fault(key) !== ''));
    row.dataset.state = stateOf(draft, key);
    remark.textContent = remarkOf(draft, setting);
  };
  draft.subscribe(refresh);
  refresh();
  return row;
}
