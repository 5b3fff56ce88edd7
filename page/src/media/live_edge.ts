// How a player stays at the end of what has come: as near as it can without running dry.

export interface EdgeLimits {
  first: number;      // ms of what is not played yet that is aimed at
  most: number;       // what it may grow to when it runs dry
  jump: number;       // further behind than this: jump instead of hurrying
}

export interface LiveEdge {
  // behindMs: what has come and is not played. jump: go to the aim at once.
  decide: (behindMs: number, nowMs: number) => { rate: number; jump: boolean };
  ranDry: (nowMs: number) => void;
  aim: () => number;
}

const growth = 1.25;
const calmMs = 3_000;          // without running dry, before the aim shrinks
const shrinkPerSecond = 0.06;
const stillRightMs = 15;
const fastest = 1.25;
const slowest = 0.9;

export function makeLiveEdge(limits: EdgeLimits): LiveEdge {
  let aim = limits.first;
  let dryAt = 0;
  let last = 0;
  let smooth: number | undefined;
  return {
    decide: (behindMs, nowMs) => {
      const seconds = Math.min(1, Math.max(0, (nowMs - last) / 1000));
      last = nowMs;
      if (nowMs - dryAt > calmMs) aim += (limits.first - aim) * shrinkPerSecond * seconds;
      if (behindMs > limits.jump + aim) {
        smooth = undefined;
        return { rate: 1, jump: true };
      }
      smooth = smooth === undefined ? behindMs : smooth + (behindMs - smooth) / 4;
      const excess = smooth - aim;
      if (Math.abs(excess) < stillRightMs) return { rate: 1, jump: false };
      return { rate: Math.max(slowest, Math.min(fastest, 1 + excess / 1000)), jump: false };
    },
    ranDry: (nowMs) => {
      if (nowMs - dryAt < 300) return;
      dryAt = nowMs;
      aim = Math.min(limits.most, aim * growth);
    },
    aim: () => aim,
  };
}
