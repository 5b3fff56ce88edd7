// Writes the settings into a file and reads them from one.
import type { App } from './app.js';
import { ask } from './ask.js';
import { make } from './dom.js';
import { faultOf } from './settings_checks.js';
import type { Draft } from './settings_draft.js';
import { differences, exportSettings, importSettings, type Difference } from './settings_file.js';
import { findSetting, isSecret } from './settings_list.js';

const largestFile = 100_000;

function download(text: string): void {
  const address = URL.createObjectURL(new Blob([text], { type: 'text/plain' }));
  make('a', { href: address, download: 'fieldrelaybox.conf' }).click();
  setTimeout(() => { URL.revokeObjectURL(address); }, 10_000);
}

function makeExport(app: App, draft: Draft): HTMLElement {
  const secrets = make('input', { type: 'checkbox', id: 'export-secrets' });
  const button = make('button', { type: 'button', id: 'export' }, 'Export to a file');
  button.addEventListener('click', () => {
    const report = draft.report();
    if (report) download(exportSettings(report, secrets.checked));
    else app.tell('The box has not reported its settings yet.');
  });
  return make('div', { class: 'buttons' }, button,
    make('label', { class: 'tick' }, secrets, 'with passwords'));
}

// Values of secrets stay hidden.
const shown = (key: string, value: string | undefined) =>
  value === undefined ? 'not reported' : value && isSecret(key) ? '••••••' : value || '(empty)';

function makeTable(found: Difference[], faults: Map<string, string>): HTMLElement {
  const head = ['Setting', 'Box', 'File'].map((text) => make('th', { scope: 'col' }, text));
  const rows = found.map(({ key, now, then }) => {
    const fault = faults.get(key);
    const file = make('td', {}, shown(key, then));
    if (fault) file.append(make('p', { class: 'error' }, `Left out: ${fault}.`));
    return make('tr', {}, make('th', { scope: 'row' }, findSetting(key)?.label ?? key),
      make('td', {}, shown(key, now)), file);
  });
  return make('table', { class: 'differences' }, make('thead', {}, make('tr', {}, ...head)),
    make('tbody', {}, ...rows));
}

async function send(app: App, draft: Draft, right: Difference[]): Promise<void> {
  const keys = right.map(({ key }) => key);
  const restarts = draft.restarts(keys).join(', ');
  const then = restarts && `This restarts ${restarts}.`;
  if (!await ask(`Change ${keys.length} settings of the box? ${then}`, 'Change')) return;
  for (const { key, then: value } of right) draft.edit(key, value);
  const problem = draft.save(keys);
  if (problem) app.tell(problem);
}

function showFile(app: App, draft: Draft, text: string): Node[] {
  const report = draft.report();
  if (!report) return [make('p', {}, 'The box has not reported its settings yet.')];
  const file = importSettings(text);
  const found = differences(file, report);
  const value = (key: string) => file.values.get(key) ?? draft.reported(key) ?? '';
  const faults = new Map(found.map(({ key, then }) => [key, faultOf(key, then, { report, value })]));
  const right = found.filter(({ key }) => !faults.get(key));
  const unread = file.unread.length > 0 ? `Not read: ${file.unread.slice(0, 10).join(', ')}.` : '';
  const said = make('p', { role: 'status' },
    `${file.values.size} settings in the file, ${found.length} other than the box's. ${unread}`);
  const button = make('button', { type: 'button', id: 'import-send', class: 'main' },
    `Change ${right.length} settings`);
  button.addEventListener('click', () => { void send(app, draft, right); });
  const table = found.length > 0 ? [makeTable(found, faults)] : [];
  return [said, ...table, ...(right.length > 0 ? [button] : [])];
}

function makeImport(app: App, draft: Draft): HTMLElement {
  const input = make('input', { type: 'file', id: 'import', accept: '.conf,text/plain' });
  const result = make('div');
  input.addEventListener('change', () => {
    const file = input.files?.[0];
    if (!file) return;
    if (file.size > largestFile) app.tell('That is no settings file: it is too large.');
    else void file.text().then((text) => { result.replaceChildren(...showFile(app, draft, text)); });
    input.value = '';  // so that the same file can be chosen again
  });
  return make('div', {}, make('label', { for: 'import' }, 'Read a settings file (nothing is changed yet)'),
    input, result);
}

export function makeTransfer(app: App, draft: Draft): HTMLElement {
  return make('section', { id: 'settings-file' }, make('h2', {}, 'Settings file'),
    make('div', { class: 'card' }, makeExport(app, draft), makeImport(app, draft)));
}
