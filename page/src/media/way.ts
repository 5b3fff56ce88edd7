// What the ways of showing H.264 have in common.
import type { ParameterSets } from './h264.js';

export interface Picture {
  units: Uint8Array[];
  key: boolean;
  timeUs: number;            // when it came to the panel
  sets?: ParameterSets;      // of a key picture
}

export interface Way {
  name: 'MediaSource' | 'WebCodecs';
  element: HTMLVideoElement | HTMLCanvasElement;
  // The first is a key picture.
  take: (picture: Picture) => void;
  end: () => void;
}

export interface WayEvents {
  // A picture is seen. timeUs: when it came to the panel.
  shown: (count: number, timeUs: number) => void;
  // Once; then it is of no use any more. The next one begins at the next key picture.
  failed: (why: string) => void;
}
