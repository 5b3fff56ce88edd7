// What there is to save, what it restarts and what became of it; and the button that saves.
import type { App } from './app.js';
import { make } from './dom.js';
import { brokenReport } from './replies.js';
import type { Draft, Mark } from './settings_draft.js';
import { findSetting } from './settings_list.js';

const labels = (some: string[]) => some.map((key) => findSetting(key)?.label ?? key).join(', ');

// In one line what there is to save, or what became of it.
export function describe(draft: Draft, of: string[]): string {
  if (!draft.report()) return draft.isBroken() ? brokenReport : 'The box has not reported its settings yet.';
  const marked = (mark: Mark) => of.filter((key) => draft.mark(key) === mark);
  const wrong = of.filter((key) => draft.fault(key));
  if (wrong.length > 0) return `Wrong: ${labels(wrong)}. Nothing is sent while something is wrong.`;
  if (marked('saving').length > 0) return 'Saving …';
  const edited = draft.changed(of).filter((key) => draft.mark(key) === '');
  const restarts = draft.restarts(edited).join(', ');
  const line = (words: string, some: string[]) => some.length > 0 ? `${words}: ${labels(some)}.` : '';
  const broken = draft.isBroken() ? brokenReport : '';
  const parts = [broken, line('Changed', edited), restarts ? `Saving restarts ${restarts}.` : '',
    line('Not confirmed by the box', marked('not confirmed'))];
  if (edited.length === 0) parts.push(line('Saved', marked('saved')), line('Sent', marked('sent')));
  return parts.filter(Boolean).join(' ') || 'No changes.';
}

// Says what there is to save of these settings, and saves it. id: of the button.
export function makeSaveBar(app: App, draft: Draft, of: string[], id: string): HTMLElement {
  const state = make('p', { role: 'status' });
  const save = make('button', { type: 'button', id, class: 'main' }, 'Save');
  const discard = make('button', { type: 'button' }, 'Discard');
  const bar = make('div', { class: 'save-bar' }, state, save, discard);
  const refresh = () => {
    const text = describe(draft, of);
    if (state.textContent !== text) state.textContent = text;
    discard.hidden = draft.changed(of).length === 0;
    bar.dataset.changed = String(draft.changed(of).length);
  };
  save.addEventListener('click', () => {
    const problem = draft.save(of);
    if (problem) app.tell(problem);
    bar.parentElement?.querySelector<HTMLElement>('[aria-invalid="true"]')?.focus();
  });
  discard.addEventListener('click', () => { draft.discard(); });
  draft.subscribe(refresh);
  refresh();
  return bar;
}
