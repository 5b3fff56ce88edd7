// The settings: groups of fields, saving with what it restarts, and the views that share the same edits.
import type { App } from './app.js';
import { byId, make } from './dom.js';
import { startOutputs } from './outputs.js';
import { startRc } from './rc_view.js';
import { makeDraft, type Draft } from './settings_draft.js';
import { makeField } from './settings_fields.js';
import { groupSettings, settings, type Group } from './settings_list.js';
import { makeSaveBar } from './settings_save.js';
import { makeTransfer } from './transfer.js';
import { makeWifiScan } from './wifi.js';

const keys = settings.map((setting) => setting.key);

function makeGroup(draft: Draft, group: Group, before: HTMLElement[]): HTMLElement {
  const parts = group.parts.map((part) => make('fieldset', { class: 'card' },
    make('legend', {}, part.title), ...part.keys.map((key) => makeField(draft, key))));
  return make('section', { id: `group-${group.topic}` }, make('h2', {}, group.title), ...before,
    make('div', { class: 'cards' }, ...parts));
}

function makeJumps(groups: Group[]): HTMLElement {
  const targets: [title: string, id: string][] = [
    ...groups.map(({ title, topic }): [string, string] => [title, `group-${topic}`]),
    ['Settings file', 'settings-file']];
  const jumps = targets.map(([title, id]) => {
    const button = make('button', { type: 'button' }, title);
    button.addEventListener('click', () => { document.getElementById(id)?.scrollIntoView(); });
    return button;
  });
  return make('nav', { class: 'buttons', 'aria-label': 'Groups of settings' }, ...jumps);
}

// Edits are of one box. Between boxes, or while it is not heard, they stay.
function followBox(app: App, draft: Draft): void {
  let box = '';
  app.store.subscribe('panel', (panel) => {
    if (!panel.box || panel.box === box) return;
    if (box) draft.reset();
    box = panel.box;
  });
  app.store.subscribe('report', (report) => { draft.takeReport(report); });
  app.store.subscribe('broken', (broken) => { draft.takeBroken(broken); });
  setInterval(() => { draft.passTime(); }, 250);
  // A first report may get lost, or be that of the box before; and others change settings too.
  setInterval(() => {
    const isSeen = !document.hidden && /state|settings|rc/.test(document.body.dataset.view ?? '');
    if (app.store.get('panel')?.heard && (!draft.report() || (isSeen && app.store.age('report') > 3)))
      app.live.send({ command: { cmd: 'configrequest' } });
  }, 2000);
}

export function startSettings(app: App): void {
  const draft = makeDraft((members) => app.live.send({ command: members }));
  const groups = groupSettings();
  const extras: Record<string, HTMLElement[]> = { networks: [makeWifiScan(app, draft)] };
  byId('settings-view', HTMLElement).append(
    makeJumps(groups),
    ...groups.map((group) => makeGroup(draft, group, extras[group.topic] ?? [])),
    makeTransfer(app, draft),
    makeSaveBar(app, draft, keys, 'settings-save'));
  startOutputs(app, draft);
  startRc(app, draft);
  followBox(app, draft);
}
