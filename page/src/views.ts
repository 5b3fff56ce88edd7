// The tabs with the views, and light or dark.
import { byId } from './dom.js';
import { keep, kept } from './kept.js';

const dark = matchMedia('(prefers-color-scheme: dark)');

export const themes = ['system', 'light', 'dark'] as const;

export function theme(): string {
  return kept('theme') ?? 'system';
}

function applyTheme(): void {
  const wanted = theme();
  const isDark = wanted === 'dark' || (wanted !== 'light' && dark.matches);
  document.documentElement.dataset.theme = isDark ? 'dark' : 'light';
}

export function setTheme(name: string): void {
  keep('theme', name);
  applyTheme();
}

function panelOf(tab: HTMLElement): HTMLElement {
  return byId(tab.getAttribute('aria-controls') ?? '', HTMLElement);
}

function nameOf(tab: HTMLElement): string {
  return tab.id.replace('-tab', '');
}

function select(tabs: HTMLElement[], chosen: HTMLElement): void {
  for (const tab of tabs) {
    const isChosen = tab === chosen;
    tab.setAttribute('aria-selected', String(isChosen));
    tab.tabIndex = isChosen ? 0 : -1;
    panelOf(tab).hidden = !isChosen;
  }
  document.body.dataset.view = nameOf(chosen);
  window.scrollTo(0, 0);
  // Plots and the like have a size of their own only now.
  window.dispatchEvent(new Event('resize'));
}

// Steps to another tab by these keys, with either direction of the list.
const steps: Partial<Record<string, number>> = { ArrowRight: 1, ArrowDown: 1, ArrowLeft: -1, ArrowUp: -1 };

function targetOf(key: string, at: number, count: number): number | undefined {
  if (key === 'Home') return 0;
  if (key === 'End') return count - 1;
  const step = steps[key];
  return step === undefined ? undefined : (at + step + count) % count;
}

function startTabs(): void {
  const list = byId('tabs', HTMLElement);
  const tabs = [...list.querySelectorAll<HTMLElement>('[role=tab]')];
  for (const tab of tabs) tab.addEventListener('click', () => { select(tabs, tab); });
  list.addEventListener('keydown', (event) => {
    const at = tabs.findIndex((tab) => tab === event.target);
    const next = tabs[targetOf(event.key, at, tabs.length) ?? -1];
    if (!next) return;
    event.preventDefault();
    next.focus();
    select(tabs, next);
  });
}

// What sticks below the state bar has to know how high that is.
function watchBar(): void {
  const bar = byId('state-bar', HTMLElement);
  new ResizeObserver(() => {
    document.documentElement.style.setProperty('--bar', `${bar.offsetHeight}px`);
  }).observe(bar);
}

export function startViews(): void {
  applyTheme();
  dark.addEventListener('change', applyTheme);
  startTabs();
  watchBar();
}
