// MP4 into a media element at the live edge: one SourceBuffer, appended to when it is idle, and one bounded
// queue.
import { makeLiveEdge, type EdgeLimits, type LiveEdge } from './live_edge.js';

export interface Feed {
  // In order: a beginning, then fragments. entry: where it begins, in seconds, if a decoder can begin with it;
  // what is before one that has been played may be forgotten.
  append: (segment: Uint8Array, entry?: number) => void;
  // The element is empty then; after a failure it still shows the last picture.
  end: () => void;
}

const largestQueue = 4_000_000;
const keptSeconds = 2;

interface SourceKinds { MediaSource?: typeof MediaSource; ManagedMediaSource?: typeof MediaSource }

// Phones of one kind have the managed one only.
export function sourceKind(): typeof MediaSource | undefined {
  const kinds = globalThis as SourceKinds;
  return kinds.MediaSource ?? kinds.ManagedMediaSource;
}

function joined(parts: Uint8Array[]): Uint8Array<ArrayBuffer> {
  const bytes = new Uint8Array(parts.reduce((length, part) => length + part.length, 0));
  let place = 0;
  for (const part of parts) { bytes.set(part, place); place += part.length; }
  return bytes;
}

// What has come and is played without a hole ends there, in seconds.
function bufferedEnd(buffer: SourceBuffer): number {
  const ranges = buffer.buffered;
  return ranges.length > 0 ? ranges.end(ranges.length - 1) : 0;
}

function follow(element: HTMLMediaElement, buffer: SourceBuffer, edge: LiveEdge): void {
  const end = bufferedEnd(buffer);
  const start = buffer.buffered.length > 0 ? buffer.buffered.start(buffer.buffered.length - 1) : 0;
  const behind = (end - element.currentTime) * 1000;
  const { rate, jump } = edge.decide(behind, performance.now());
  if (element.currentTime < start || jump) element.currentTime = Math.max(start, end - edge.aim() / 1000);
  if (element.playbackRate !== rate) element.playbackRate = rate;
  if (element.paused) element.play().catch(() => undefined);
}

// failed: once, and then it is of no use any more.
export function startFeed(
  element: HTMLMediaElement, type: string, limits: EdgeLimits, failed: (why: string) => void,
): Feed {
  const Source = sourceKind();
  if (!Source) throw new Error('no MediaSource');
  const source = new Source();
  const edge = makeLiveEdge(limits);
  const ending = new AbortController();
  const signal = ending.signal;
  let buffer: SourceBuffer | undefined;
  let queue: Uint8Array[] = [];
  let queued = 0;
  let entries: number[] = [];

  const fail = (why: string) => {
    if (signal.aborted) return;
    ending.abort();
    queue = [];
    failed(why);
  };
  // Only up to where a decoder can begin: what depends on the removed would go as well.
  const forget = (from: SourceBuffer) => {
    const place = entries.filter((entry) => entry < element.currentTime - keptSeconds).pop() ?? 0;
    if (place <= 0) return false;
    entries = entries.filter((entry) => entry > place);
    from.remove(0, place);
    return true;
  };
  const pump = () => {
    if (!buffer || buffer.updating || signal.aborted) return;
    try {
      if (forget(buffer) || queue.length === 0) return;
      buffer.appendBuffer(joined(queue));
      queue = [];
      queued = 0;
    } catch (error) {
      fail(String(error));
    }
  };
  source.addEventListener('sourceopen', () => {
    try {
      buffer = source.addSourceBuffer(type);
      const fresh = buffer;
      fresh.addEventListener('updateend', () => {
        follow(element, fresh, edge);
        pump();
      }, { signal });
      buffer.addEventListener('error', () => { fail('the data was refused'); }, { signal });
      pump();
    } catch (error) {
      fail(String(error));
    }
  }, { signal });
  element.addEventListener('error', () => { fail(element.error?.message ?? 'error'); }, { signal });
  element.addEventListener('waiting', () => { edge.ranDry(performance.now()); }, { signal });
  element.disableRemotePlayback = true;
  element.src = URL.createObjectURL(source);

  return {
    append: (segment, entry) => {
      queued += segment.length;
      if (queued > largestQueue) { fail('it takes no more data'); return; }
      queue.push(segment);
      if (entry !== undefined) entries.push(entry);
      pump();
    },
    end: () => {
      ending.abort();
      queue = [];
      URL.revokeObjectURL(element.src);
      element.removeAttribute('src');
      element.load();
    },
  };
}
