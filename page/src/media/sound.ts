// AAC in ADTS frames as fragmented MP4 in an audio element of its own, at the live edge like the picture.
import { startFeed, type Feed } from './feed.js';
import { fragment, initSegment, type Track } from './mp4.js';

const rates = [96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000, 7350];
const frameSamples = 1024;
const pauseMs = 1000;     // after a failure
const limits = { first: 200, most: 600, jump: 600 };

export interface AdtsFrame { track: Track; data: Uint8Array }

// Nothing for what is no whole frame of AAC with a known rate and number of channels.
export function parseAdts(frame: Uint8Array): AdtsFrame | undefined {
  const [sync = 0, kind = 0, sort = 0, more = 0, length = 0, rest = 0] = frame;
  if (sync !== 0xff || (kind & 0xf6) !== 0xf0) return undefined;
  const header = (kind & 1) !== 0 ? 7 : 9;
  const whole = ((more & 3) << 11) | (length << 3) | (rest >> 5);
  const place = (sort >> 2) & 15;
  const timescale = rates[place];
  const channels = ((sort & 1) << 2) | (more >> 6);
  if (timescale === undefined || channels === 0 || whole > frame.length || whole <= header) return undefined;
  const object = (sort >> 6) + 1;
  const config = Uint8Array.of((object << 3) | (place >> 1), ((place & 1) << 7) | (channels << 3));
  return {
    track: { kind: 'sound', timescale, width: 0, height: 0, channels, config },
    data: frame.subarray(header, whole),
  };
}

export interface Sound {
  element: HTMLAudioElement;
  take: (frame: Uint8Array) => void;
  end: () => void;
}

// failed: it begins anew after a pause.
export function startSound(failed: (why: string) => void): Sound {
  const element = document.createElement('audio');
  let feed: Feed | undefined;
  let current = '';    // rate and channels of the feed
  let sequence = 0;
  let notBefore = 0;
  const end = () => {
    feed?.end();
    feed = undefined;
  };
  const begin = ({ track }: AdtsFrame) => {
    end();
    sequence = 0;
    const object = (track.config[0] ?? 0) >> 3;
    feed = startFeed(element, `audio/mp4; codecs="mp4a.40.${object}"`, limits, (why) => {
      end();
      notBefore = performance.now() + pauseMs;
      failed(why);
    });
    feed.append(initSegment(track));
  };
  return {
    element,
    take: (bytes) => {
      const frame = parseAdts(bytes);
      if (!frame || performance.now() < notBefore) return;
      const kind = frame.track.config.join();
      if (!feed || kind !== current) begin(frame);
      current = kind;
      const time = sequence * frameSamples;
      const sample = { time, duration: frameSamples, key: true, data: frame.data };
      feed?.append(fragment(++sequence, sample), time / frame.track.timescale);
    },
    end,
  };
}
