// Says in #screen why there is no picture.
import type { App } from './app.js';
import { make } from './dom.js';

export interface PictureFacts {
  came: number;
  cameAt: number;                       // ms
  waitingSince: number | undefined;     // pictures come, but none to begin with
  cannotShow: boolean;
}

const silenceMs = 2_000;
const patienceMs = 10_000;

// Empty: there is a picture.
export function whyNone(
  facts: PictureFacts, connected: boolean, box: { known: boolean; heard: boolean }, nowMs: number,
): string {
  const waited = facts.waitingSince === undefined ? undefined : nowMs - facts.waitingSince;
  const reasons: [boolean, string][] = [
    [!connected, 'No connection to the panel.'],
    [!box.known, 'No box found yet.'],
    [!box.heard, 'The box does not answer.'],
    [nowMs - facts.cameAt > silenceMs, 'No picture comes from the camera: there is no video link.'],
    [facts.cannotShow, 'This browser cannot show H.264.'],
    [waited !== undefined && waited > patienceMs, 'Waiting for a key frame: this stream has none.'],
    [waited !== undefined, 'Waiting for a key frame.'],
  ];
  return reasons.find(([holds]) => holds)?.[1] ?? '';
}

export function startPictureStatus(app: App, screen: HTMLElement, facts: PictureFacts): void {
  const line = make('p', { id: 'picture-status', role: 'status' });
  screen.append(line);
  const tell = () => {
    const panel = app.store.get('panel');
    const box = { known: (panel?.box ?? '') !== '', heard: panel?.heard ?? false };
    const why = whyNone(facts, app.live.connected(), box, performance.now());
    if (line.textContent !== why) line.textContent = why;
    line.hidden = why === '';
    screen.classList.toggle('no-picture', why !== '');
  };
  setInterval(tell, 500);
}
