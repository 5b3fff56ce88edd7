// From the times at which pictures came, which jump about, to times at which they are shown, which do not.

export interface Timeline {
  // Where the next picture begins and how long it lasts, in us; each begins where the one before it ended,
  // since a browser stalls at a hole. The duration is guessed: the next picture is not here yet.
  next: (cameUs: number) => { time: number; duration: number };
  end: () => number;
}

const firstDuration = 33_333;
const shortest = 1_000;
const longest = 500_000;
const learning = 1 / 32;   // of a duration, for each picture
const following = 1 / 8;   // of how far the times are off, taken off with each picture
const pause = 500_000;     // off by more than that: what came before does not matter

const within = (value: number, low: number, high: number) => Math.max(low, Math.min(high, value));

export function makeTimeline(): Timeline {
  let end = 0;
  let duration = firstDuration;
  let lastCame: number | undefined;
  let offset = 0;  // from the times they came to ours
  return {
    next: (cameUs) => {
      const since = cameUs - (lastCame ?? cameUs - duration);
      lastCame = cameUs;
      if (since > 0 && since < pause) duration += (within(since, 0, 3 * duration) - duration) * learning;
      duration = within(duration, shortest, longest);
      let late = cameUs + offset - end;
      if (Math.abs(late) > pause || end === 0) { offset = end - cameUs; late = 0; }
      const time = end;
      const lasts = Math.round(within(duration + late * following, duration / 2, duration * 2));
      end += lasts;
      return { time, duration: lasts };
    },
    end: () => end,
  };
}

export interface Delays {
  // Takes note of a picture that came to the panel at that time and is here now.
  here: (timeUs: number, nowMs: number) => void;
  // How long ago it came to the panel, in ms, as far as this browser can know: the clocks of both differ by
  // what the quickest of the last messages took.
  since: (timeUs: number, nowMs: number) => number;
}

const clockWindowMs = 30_000;

export function makeDelays(): Delays {
  let quickest = Infinity;   // of this window and of the one before
  let quickestBefore = Infinity;
  let windowEnd = 0;
  return {
    here: (timeUs, nowMs) => {
      if (nowMs > windowEnd) {
        quickestBefore = quickest;
        quickest = Infinity;
        windowEnd = nowMs + clockWindowMs;
      }
      quickest = Math.min(quickest, nowMs - timeUs / 1000);
    },
    since: (timeUs, nowMs) => Math.max(0, nowMs - timeUs / 1000 - Math.min(quickest, quickestBefore)),
  };
}
