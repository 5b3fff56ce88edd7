// What the parts of the page share.
import type { Live, PictureMessage, SoundMessage } from './live.js';
import type { Store } from './store.js';

export interface App {
  live: Live;
  store: Store;
  // A command to the box. One that cannot be sent is told.
  command: (members: Record<string, string>) => boolean;
  // A line for the person, said by screen readers as well.
  tell: (text: string) => void;
}

// Shows pictures in #screen and plays sound; the parts that draw over the picture do not know how.
export interface Player {
  takePicture: (picture: PictureMessage) => void;
  takeSound: (sound: SoundMessage) => void;
  // Asks the panel for what is looked at and listened to: at each new connection.
  watch: () => void;
  // The connection is gone, or the box is another one.
  reset: () => void;
  // For the state view: "MediaSource", frames shown and left out so far, and how far behind, in ms.
  state: () => { way: string; shown: number; leftOut: number; behindMs: number };
}
