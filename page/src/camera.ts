// The view of the camera: every control of it, showing what the camera reports.
import type { App } from './app.js';
import { cameraClock, exposurePoint, kelvin, manualFocus, timelapse } from './camera_fields.js';
import { groups, type Choice, type Group } from './camera_rows.js';
import { makeConfirmation, phaseText } from './confirm.js';
import { byId, make } from './dom.js';
import { isAlive } from './state_alive.js';
import { buttons, card, commandButton, row, selectField } from './widgets.js';

interface Part { row: HTMLElement[]; update?: () => void }

// What the camera reports and nobody can choose, such as "playback", is shown as it is.
function showReported(field: HTMLSelectElement, reported: string): void {
  const foreign = field.querySelector<HTMLOptionElement>('option[data-foreign]');
  const known = [...field.options].some((option) => option.value === reported && option !== foreign);
  if (known) foreign?.remove();
  else {
    const option = foreign ?? make('option', { 'data-foreign': '', disabled: '' });
    option.value = reported;
    option.textContent = reported || '–';
    if (!foreign) field.prepend(option);
  }
  field.value = reported;
}

function reportedChoice(app: App, choice: Choice, report: NonNullable<Choice['report']>): Part {
  const field = selectField(choice.options.map(({ value, text }) => [value, text] as const));
  const note = make('span', { class: 'note', role: 'status' });
  const textOf = (value: string) => choice.options.find((option) => option.value === value)?.text ?? value;
  const confirmation = makeConfirmation<string>((reported, phase, wanted) => {
    showReported(field, reported ?? '');
    field.dataset.value = reported ?? '';
    field.classList.toggle('unconfirmed', phase === 'unconfirmed');
    note.classList.toggle('unconfirmed', phase === 'unconfirmed');
    note.textContent = phaseText(phase, textOf(wanted ?? ''));
    field.disabled = reported === undefined;
  });
  field.addEventListener('change', () => {
    const option = choice.options.find(({ value }) => value === field.value);
    showReported(field, field.dataset.value ?? '');
    if (option && app.command(option.command)) confirmation.want(option.value);
  });
  const update = () => {
    const fields = isAlive(app.store, report.name) ? app.store.get(report.name) : undefined;
    confirmation.report(fields && report.read(fields));
  };
  showReported(field, '');
  field.disabled = true;
  app.store.subscribe(report.name, update);
  return { row: row(choice.label, field, note), update };
}

function choiceRow(app: App, choice: Choice): Part {
  if (choice.report) return reportedChoice(app, choice, choice.report);
  return {
    row: row(choice.label, buttons(choice.label,
      ...choice.options.map(({ text, command }) => commandButton(app, text, command)))),
  };
}

// Rows with fields of their own kind, by the title of their group.
function moreRows(app: App): Partial<Record<string, Part[]>> {
  return {
    Mode: [{ row: timelapse(app) }],
    Exposure: [{ row: exposurePoint(app) }],
    Focus: [manualFocus(app)],
    Colour: [kelvin(app)],
    System: [{ row: cameraClock(app) }],
  };
}

function groupParts(app: App, group: Group, more: Part[]): Part[] {
  return [
    ...group.choices.map((choice) => choiceRow(app, choice)), ...more,
    ...group.actions.map(({ label, actions }) => ({
      row: row(label, buttons(label, ...actions.map(({ text, command, question }) =>
        commandButton(app, text, command, question)))),
    })),
  ];
}

const checkEveryMs = 500;

export function startCamera(app: App): void {
  const more = moreRows(app);
  const parts: Part[] = [];
  for (const group of groups) {
    const mine = groupParts(app, group, more[group.title] ?? []);
    parts.push(...mine);
    byId('camera-view', HTMLElement).append(
      card(group.title, make('div', { class: 'rows' }, ...mine.flatMap((part) => part.row))));
  }
  // Without a report nothing tells that what was reported is over.
  setInterval(() => { for (const part of parts) part.update?.(); }, checkEveryMs);
}
