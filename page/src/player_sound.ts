// The button that switches the sound on, since a page may not begin with it; says when there is none.
import type { App } from './app.js';
import { make } from './dom.js';
import { startSound } from './media/sound.js';

export interface SoundButton {
  take: (frame: Uint8Array) => void;
  wanted: () => boolean;
  onChange: (changed: () => void) => void;
  end: () => void;
}

const silenceMs = 3_000;

export function startSoundButton(app: App, screen: HTMLElement): SoundButton {
  const button = make('button', { id: 'sound', type: 'button', 'aria-pressed': 'false' }, 'Sound');
  (document.getElementById('sound-slot') ?? screen).append(button);
  const sound = startSound((why) => {
    console.warn(`sound: ${why}`);
    app.tell('This browser cannot play the sound.');
  });
  button.after(sound.element);
  let wanted = false;
  let cameAt = -Infinity;
  let changed = () => { /* set by whoever asks for sound */ };
  let timer: ReturnType<typeof setTimeout> | undefined;
  button.addEventListener('click', () => {
    wanted = !wanted;
    button.setAttribute('aria-pressed', String(wanted));
    if (!wanted) sound.end();
    clearTimeout(timer);
    if (wanted) {
      timer = setTimeout(() => {
        if (performance.now() - cameAt <= silenceMs) return;
        const isOff = app.store.get('report')?.audio_en === 0;
        app.tell(`The box sends no sound${isOff ? ': it is off in Settings, Sound' : ''}.`);
      }, silenceMs);
    }
    changed();
  });
  return {
    take: (frame) => {
      cameAt = performance.now();
      if (wanted) sound.take(frame);
    },
    wanted: () => wanted,
    onChange: (then) => { changed = then; },
    end: () => { sound.end(); },
  };
}
