// What was asked of the camera and what it reports: a wish that it does not report in time is told as
// not confirmed.

// How long the camera may take.
export const confirmWithinMs = 2000;

export type Phase = 'steady' | 'waiting' | 'unconfirmed';

export interface Confirmation<T> {
  want: (value: T) => void;
  // undefined: nothing is known.
  report: (value: T | undefined) => void;
}

type Later = (action: () => void, ms: number) => () => void;

// Runs it later, unless what is returned is called before.
export const later: Later = (action, ms) => {
  const timer = setTimeout(action, ms);
  return () => { clearTimeout(timer); };
};

// changed: whenever what is to be shown changes; wanted is what was asked for and is not reported.
export function makeConfirmation<T>(
  changed: (reported: T | undefined, phase: Phase, wanted: T | undefined) => void, wait: Later = later,
): Confirmation<T> {
  let reported: T | undefined;
  let wanted: T | undefined;
  let phase: Phase = 'steady';
  let cancel: (() => void) | undefined;

  const settle = (next: Phase) => {
    phase = next;
    if (next === 'steady') wanted = undefined;
    changed(reported, phase, wanted);
  };
  return {
    want: (value) => {
      cancel?.();
      wanted = value;
      if (reported === value) {
        settle('steady');
        return;
      }
      cancel = wait(() => { settle('unconfirmed'); }, confirmWithinMs);
      settle('waiting');
    },
    report: (value) => {
      const same = value === reported;
      reported = value;
      // A wish that was given up is forgotten when the camera reports anything new.
      if ((phase !== 'steady' && value === wanted) || (phase === 'unconfirmed' && !same)) {
        cancel?.();
        settle('steady');
      } else if (!same) settle(phase);
    },
  };
}

export function phaseText(phase: Phase, wanted: string): string {
  if (phase === 'waiting') return `${wanted} …`;
  return phase === 'unconfirmed' ? `${wanted}: not confirmed` : '';
}
