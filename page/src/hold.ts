// A motion that lasts while a person holds something. The panel stops what is not repeated; what is let
// go is told at once.
export interface Motion { a: number; b: number }

export const repeatMs = 150;
// A hand moves in smaller steps than are worth a message.
export const closestMs = 50;

export interface Hold {
  // Of one of the things that can be held, by its name: "pad", "keys", "game pad". They add up. What is
  // held at rest stays held; without a motion it is let go.
  move: (source: string, motion?: Motion) => void;
  // All of them, whatever is still held: until they move anew.
  release: () => void;
}

export interface Clock {
  now: () => number;  // ms
  every: (action: () => void, ms: number) => () => void;
  once: (action: () => void, ms: number) => () => void;
}

const realClock: Clock = {
  now: () => performance.now(),
  every: (action, ms) => {
    const timer = setInterval(action, ms);
    return () => { clearInterval(timer); };
  },
  once: (action, ms) => {
    const timer = setTimeout(action, ms);
    return () => { clearTimeout(timer); };
  },
};

function sum(motions: Iterable<Motion>, limit: number): Motion {
  const total = { a: 0, b: 0 };
  for (const motion of motions) {
    total.a += motion.a;
    total.b += motion.b;
  }
  const within = (value: number) => Math.max(-limit, Math.min(limit, Math.round(value)));
  return { a: within(total.a), b: within(total.b) };
}

// limit: of each number of a motion, which are whole.
export function makeHold(
  send: (motion: Motion) => void, stop: () => void, limit: number, clock: Clock = realClock,
): Hold {
  const sources = new Map<string, Motion>();
  let current: Motion = { a: 0, b: 0 };
  let sentAt = -Infinity;
  let endRepeat: (() => void) | undefined;
  let endPause: (() => void) | undefined;

  const sendNow = () => {
    endPause?.();
    endPause = undefined;
    sentAt = clock.now();
    send(current);
  };
  const end = () => {
    sources.clear();
    current = { a: 0, b: 0 };
    endPause?.();
    endPause = undefined;
    if (!endRepeat) return;
    endRepeat();
    endRepeat = undefined;
    stop();
  };
  const begin = () => {
    if (endRepeat) return;
    endRepeat = clock.every(() => { if (clock.now() - sentAt >= repeatMs - closestMs) sendNow(); }, repeatMs);
  };
  return {
    release: end,
    move: (source, motion) => {
      if (motion) sources.set(source, motion);
      else sources.delete(source);
      const next = sum(sources.values(), limit);
      if (sources.size === 0) {
        end();
        return;
      }
      if (endRepeat && next.a === current.a && next.b === current.b) return;
      current = next;
      begin();
      const wait = sentAt + closestMs - clock.now();
      if (wait <= 0) sendNow();
      else endPause ??= clock.once(sendNow, wait);
    },
  };
}
