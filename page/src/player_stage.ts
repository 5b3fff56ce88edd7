// The elements in #screen that show pictures: one at a time has the id, and the last picture of one that has
// ended stays until the next has its first.
import { make } from './dom.js';
import type { Way } from './media/way.js';

export interface Stage {
  enter: (way: Way) => void;
  // It has shown a picture. True: its first.
  see: (way: Way, shown: number, behindMs: number) => boolean;
  // It is over.
  stepBack: (way: Way) => void;
}

function sizeOf(element: HTMLVideoElement | HTMLCanvasElement): string {
  return element instanceof HTMLVideoElement
    ? `${element.videoWidth}x${element.videoHeight}` : `${element.width}x${element.height}`;
}

export function makeStage(screen: HTMLElement): Stage {
  const placeholder = make('canvas', { id: 'picture', class: 'picture' });
  placeholder.dataset.way = 'none';
  screen.prepend(placeholder);
  let old: Way | undefined;
  let size = '';
  const remove = (way: Way | undefined) => {
    way?.end();
    way?.element.remove();
  };
  return {
    enter: ({ name, element }) => {
      element.classList.add('picture');
      element.dataset.way = name;
      screen.prepend(element);   // behind the old one
    },
    see: (way, shown, behindMs) => {
      const first = way.element.id !== 'picture';
      if (first) {
        placeholder.remove();
        remove(old);
        old = undefined;
        way.element.id = 'picture';
      }
      way.element.dataset.shown = String(shown);
      way.element.dataset.behind = String(Math.round(behindMs));
      // Whatever is laid over the picture hears of another size.
      const before = size;
      size = sizeOf(way.element);
      if (size !== before) screen.dispatchEvent(new Event('resize'));
      return first;
    },
    stepBack: (way) => {
      if (old) remove(way);
      else old = way;
    },
  };
}
