// Plots of the last ten minutes. They are drawn only while someone sees them.
import uPlot from 'uplot';
import type { App, Player } from './app.js';
import { byId, make, show } from './dom.js';
import { makeHistory, makeSampler, type History, type SeriesName } from './plots_history.js';

interface Line { name: SeriesName; label: string; unit: string; digits?: number; right?: boolean }
interface Plot { title: string; lines: Line[]; range?: [number, number]; rightRange?: [number, number] }

const plots: Plot[] = [
  { title: 'Rates', lines: [{ name: 'mbit', label: 'In', unit: 'Mbit/s', digits: 2 },
    { name: 'out', label: 'Out, to this page', unit: 'Mbit/s', digits: 2 },
    { name: 'pictures', label: 'Shown', unit: 'pictures/s', right: true }] },
  { title: 'Gaps', lines: [{ name: 'lost', label: 'Lost', unit: 'datagrams/s', digits: 1 },
    { name: 'damaged', label: 'Damaged', unit: 'pictures/s', digits: 1 }] },
  { title: 'Delay of the picture', lines: [{ name: 'delay', label: 'Behind', unit: 'ms' }] },
  { title: 'Attitude', lines: [{ name: 'pan', label: 'Pan', unit: '°', digits: 1 },
    { name: 'tilt', label: 'Tilt', unit: '°', digits: 1 },
    { name: 'roll', label: 'Roll', unit: '°', digits: 1 }] },
  { title: 'Battery', lines: [{ name: 'battery', label: 'Camera', unit: '%' }], range: [0, 100] },
  { title: 'Wi-Fi to the camera', range: [0, 100], rightRange: [-100, -20],
    lines: [{ name: 'quality', label: 'Quality', unit: '%' },
      { name: 'signal', label: 'Signal', unit: 'dBm', right: true }] },
];

const height = 170;
const colours = ['--plot-1', '--plot-2', '--plot-3'];

const colour = (name: string) => getComputedStyle(document.documentElement).getPropertyValue(name).trim();

// A flat line at nothing still has something above it.
const above = (_: uPlot, lowest: number | null, highest: number | null): uPlot.Range.MinMax => {
  const [low, high] = [Math.min(0, lowest ?? 0), Math.max(0, highest ?? 0)];
  return low === high ? [low, low + 1] : [low * 1.1, high * 1.1];
};

function axis(scale: string, right: boolean): uPlot.Axis {
  const grid = { stroke: colour('--line'), width: 1, show: !right };
  // The library's names for these exist only as types.
  // eslint-disable-next-line @typescript-eslint/no-unsafe-enum-assignment
  const side: uPlot.Axis.Side = right ? 1 : 3;
  return { scale, side, stroke: colour('--muted'), grid, ticks: { show: false }, size: 46 };
}

// Hours, minutes and, with 8 characters, seconds.
const clock = (seconds: number, length: 5 | 8) => new Date(seconds * 1000).toTimeString().slice(0, length);

function optionsOf(plot: Plot, width: number, pointedAt: () => void): uPlot.Options {
  const series = plot.lines.map((line, index): uPlot.Series => ({
    scale: line.right ? 'right' : 'left', width: 2,
    stroke: colour(colours[index] ?? ''), points: { show: false },
  }));
  const time: uPlot.Axis = {
    stroke: colour('--muted'), grid: { show: false }, ticks: { show: false }, size: 28,
    space: 80, incrs: [1, 2, 5, 10, 30, 60, 120, 300],
    values: (_, times) => times.map((at) => clock(at, (times[1] ?? 0) - (times[0] ?? 0) < 60 ? 8 : 5)),
  };
  const hasRight = plot.lines.some((line) => line.right);
  return {
    width, height, series: [{}, ...series], legend: { show: false }, hooks: { setCursor: [pointedAt] },
    axes: [time, axis('left', false), ...(hasRight ? [axis('right', true)] : [])],
    scales: { left: { range: plot.range ?? above }, right: { range: plot.rightRange ?? above } },
    cursor: { drag: { x: false, y: false }, sync: { key: 'plots' } },
  };
}

interface Drawn { figure: HTMLElement; draw: (history: History) => void; end: () => void }

function makePlot(plot: Plot): Drawn {
  const time = make('span', { class: 'now' });
  const keys = plot.lines.map(() => make('span', { class: 'key' }));
  const canvas = make('div');
  const figure = make('figure', { class: 'plot card' },
    make('figcaption', {}, make('strong', {}, plot.title), ...keys, time), canvas);
  let drawn: uPlot | undefined;
  // The newest, or what the pointer is at.
  const sayValues = (history: History) => {
    const at = drawn?.cursor.idx ?? history.times().length - 1;
    plot.lines.forEach(({ name, label, unit, digits }, index) => {
      const value = history.column(name)[at] ?? null;
      const text = value === null ? '–' : `${value.toFixed(digits ?? 0)} ${unit}`;
      const key = keys[index];
      if (key) show(key, value ?? '', `${label} ${text}`);
    });
    time.textContent = drawn?.cursor.idx == null ? '' : `at ${clock(history.times()[at] ?? 0, 8)}`;
  };
  return {
    figure,
    draw: (history) => {
      const data = [history.times(), ...plot.lines.map((line) => history.column(line.name))];
      const width = canvas.clientWidth;
      if (width === 0 || history.times().length < 2) return;  // one alone gives no axis of time
      drawn ??= new uPlot(optionsOf(plot, width, () => { sayValues(history); }), undefined, canvas);
      if (drawn.width !== width) drawn.setSize({ width, height });
      drawn.setData(data as uPlot.AlignedData);
      sayValues(history);
    },
    end: () => {
      drawn?.destroy();
      drawn = undefined;
    },
  };
}

export function startPlots(app: App, player: Player): void {
  const view = byId('plots-view', HTMLElement);
  const history = makeHistory();
  const sample = makeSampler(app.store, player, app.live.received, () => performance.now());
  const drawn = plots.map(makePlot);
  view.append(make('h2', {}, 'The last 10 minutes'),
    make('div', { class: 'cards' }, ...drawn.map((plot) => plot.figure)));
  let colouring = '';
  const draw = () => {
    if (document.hidden || view.offsetParent === null) return;
    const now = colour('--text') + colour('--line');
    if (now !== colouring) for (const plot of drawn) plot.end();
    colouring = now;
    for (const plot of drawn) plot.draw(history);
  };
  let box = '';
  app.store.subscribe('panel', (panel) => {
    if (panel.box && box && panel.box !== box) history.clear();
    box = panel.box || box;
  });
  setInterval(() => {
    history.push(Date.now() / 1000, sample());
    draw();
  }, 1000);
  new ResizeObserver(draw).observe(view);
}
