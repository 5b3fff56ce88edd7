// H.264 as fragmented MP4 in a video element: the way that works everywhere.
import { codecName, decoderRecord, greyIdr, hasIdr, sameParameterSets, toSample, type ParameterSets }
  from './h264.js';
import { sourceKind, startFeed, type Feed } from './feed.js';
import { fragment, initSegment } from './mp4.js';
import { makeTimeline } from './timeline.js';
import type { Picture, Way, WayEvents } from './way.js';

const timescale = 1_000_000;
const firefox = /firefox/i.test(navigator.userAgent);
// Firefox decodes further ahead and drops what comes too late for that.
const limits = firefox ? { first: 150, most: 350, jump: 600 } : { first: 80, most: 300, jump: 500 };

export function videoElementShows(sets: ParameterSets): boolean {
  return sourceKind()?.isTypeSupported(`video/mp4; codecs="${codecName(sets)}"`) ?? false;
}

interface Shown { mediaTime: number; timeUs: number }

// Tells of each picture that is seen, and which it was, by its place in time.
function watchFrames(video: HTMLVideoElement, came: Shown[], events: WayEvents, ended: () => boolean): void {
  if (!('requestVideoFrameCallback' in video)) return;
  let before = 0;
  const see: VideoFrameRequestCallback = (_now, frame) => {
    if (ended()) return;
    const presented = frame.presentedFrames - before;   // some count a picture again when it is drawn again
    before = frame.presentedFrames;
    let passed = 0;
    let seen: Shown | undefined;
    while ((came[0]?.mediaTime ?? Infinity) <= frame.mediaTime + 0.0005) {
      seen = came.shift();
      passed++;
    }
    if (seen) events.shown(Math.min(presented, passed), seen.timeUs);
    video.requestVideoFrameCallback(see);
  };
  video.requestVideoFrameCallback(see);
}

export function startVideoElement(first: ParameterSets, events: WayEvents): Way {
  const video = document.createElement('video');
  video.muted = true;
  video.autoplay = true;
  video.playsInline = true;
  let ended = false;
  let sets: ParameterSets | undefined;
  let sequence = 0;
  const timeline = makeTimeline();
  const came: Shown[] = [];

  const begin = (fresh: ParameterSets) => {
    const { width, height } = fresh.read;
    feed.append(initSegment(
      { kind: 'video', timescale, width, height, channels: 0, config: decoderRecord(fresh) }));
  };
  const append = (data: Uint8Array, timeUs: number, key: boolean) => {
    const { time, duration } = timeline.next(timeUs);
    came.push({ mediaTime: time / timescale, timeUs });
    if (came.length > 300) came.shift();
    feed.append(fragment(++sequence, { time, duration, key, data }), key ? time / timescale : undefined);
  };
  const take = ({ units, key, timeUs, sets: fresh }: Picture) => {
    if (ended) return;
    const known = sets;
    const idr = hasIdr(units);
    if (key && fresh && (!known || !sameParameterSets(known, fresh))) {
      sets = fresh;
      const grey = idr ? undefined : greyIdr(units, fresh.read);
      begin(grey ? { ...fresh, pps: [...fresh.pps, grey.pps] } : fresh);
      if (grey) append(toSample([grey.idr]), timeUs, true);
    }
    append(toSample(units), timeUs, idr);
  };

  const feed: Feed = startFeed(video, `video/mp4; codecs="${codecName(first)}"`, limits, (why) => {
    ended = true;
    events.failed(why);
  });
  watchFrames(video, came, events, () => ended);
  return { name: 'MediaSource', element: video, take, end: () => { ended = true; feed.end(); } };
}
