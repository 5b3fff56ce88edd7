// What the plots show: a value a second of each thing for ten minutes, as columns.
import type { Player } from './app.js';
import type { PanelState, Store } from './store.js';

const seriesNames = [
  'mbit', 'out', 'pictures', 'lost', 'damaged', 'pan', 'tilt', 'roll', 'battery', 'quality', 'signal', 'delay',
] as const;
export type SeriesName = typeof seriesNames[number];
export type Sample = Record<SeriesName, number | null>;

export interface History {
  push: (seconds: number, sample: Sample) => void;
  times: () => number[];
  column: (name: SeriesName) => (number | null)[];
  clear: () => void;
}

export function makeHistory(length = 600): History {
  const times: number[] = [];
  const columns = Object.fromEntries(seriesNames.map((name) => [name, []])) as
    unknown as Record<SeriesName, (number | null)[]>;
  const dropFirst = () => {
    times.shift();
    for (const name of seriesNames) columns[name].shift();
  };
  const clear = () => { while (times.length > 0) dropFirst(); };
  return {
    push: (seconds, sample) => {
      // A clock that was set back would draw backwards.
      if (seconds <= (times[times.length - 1] ?? -Infinity)) clear();
      while (times.length > 0 && (times.length >= length || seconds - (times[0] ?? 0) > length)) dropFirst();
      times.push(seconds);
      for (const name of seriesNames) columns[name].push(sample[name]);
    },
    times: () => times,
    column: (name) => columns[name],
    clear,
  };
}

type Rates = Pick<Sample, 'mbit' | 'lost' | 'damaged'>;
const noRates: Rates = { mbit: null, lost: null, damaged: null };

// Between two of the panel's messages; nothing when they count differently, after a new start.
function ratesBetween(from: PanelState | undefined, to: PanelState): Rates {
  const seconds = from ? (to.timeUs - from.timeUs) / 1e6 : 0;
  if (!from || seconds <= 0 || to.videoBytes < from.videoBytes) return noRates;
  return {
    mbit: (to.videoBytes - from.videoBytes) * 8 / 1e6 / seconds, lost: (to.lost - from.lost) / seconds,
    damaged: (to.damagedPictures - from.damagedPictures) / seconds,
  };
}

const alive = 5;  // seconds that the last of a record stands for

// Takes a sample each time it is called. received: bytes so far. now: milliseconds.
export function makeSampler(
  store: Store, player: Player, received: () => number, now: () => number,
): () => Sample {
  let panelBefore: PanelState | undefined;
  let rates = noRates;
  let before = { shown: player.state().shown, bytes: received(), at: now() };
  return () => {
    const fresh = <N extends Parameters<Store['get']>[0]>(name: N) =>
      store.age(name) < alive ? store.get(name) : undefined;
    const panel = fresh('panel');
    const { shown, behindMs } = player.state();
    const seconds = (now() - before.at) / 1000;
    const bytes = received();
    const out = seconds > 0 ? (bytes - before.bytes) * 8 / 1e6 / seconds : null;
    const pictures = seconds > 0 && shown >= before.shown ? (shown - before.shown) / seconds : null;
    // The panel speaks about as often as this asks: until it does the rates stay.
    if (!panel) rates = noRates;
    else if (panel.timeUs !== panelBefore?.timeUs) rates = ratesBetween(panelBefore, panel);
    const [attitude, wifi] = [fresh('attitude'), fresh('wifi')];
    const sample = {
      ...rates, out, pictures,
      pan: attitude?.a ?? null, tilt: attitude?.b ?? null, roll: attitude?.c ?? null,
      battery: fresh('battery')?.percent ?? null,
      quality: wifi?.bestQuality ? 100 * wifi.quality / wifi.bestQuality : null,
      signal: wifi?.ssid === '(null)' ? null : wifi?.signalDbm ?? null,
      delay: pictures ? behindMs : null,
    };
    panelBefore = panel;
    before = { shown, bytes, at: now() };
    return sample;
  };
}
