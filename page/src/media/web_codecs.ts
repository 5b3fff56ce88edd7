// H.264 through VideoDecoder onto a canvas: the quickest way, where the browser allows it.
import { codecName, decoderRecord, greyIdr, hasIdr, sameParameterSets, toSample, type ParameterSets }
  from './h264.js';
import type { Picture, Way, WayEvents } from './way.js';

// Pictures that wait for the decoder. Behind by more than the first, it goes on with the next key picture; a
// viewer who joins gets a whole group at once, so only far more than that is no use.
const fairQueue = 15;
const largestQueue = 600;

function configuration(sets: ParameterSets): VideoDecoderConfig {
  return { codec: codecName(sets), description: decoderRecord(sets), optimizeForLatency: true };
}

export async function webCodecsShow(sets: ParameterSets): Promise<boolean> {
  if (!('VideoDecoder' in globalThis)) return false;
  try {
    return (await VideoDecoder.isConfigSupported(configuration(sets))).supported === true;
  } catch {
    return false;
  }
}

// The newest picture is drawn when the screen is; older ones are not.
function makePainter(canvas: HTMLCanvasElement, events: WayEvents) {
  const context = canvas.getContext('2d', { alpha: false });
  let waiting: VideoFrame | undefined;
  const draw = () => {
    const frame = waiting;
    waiting = undefined;
    if (!frame) return;
    if (canvas.width !== frame.displayWidth) canvas.width = frame.displayWidth;
    if (canvas.height !== frame.displayHeight) canvas.height = frame.displayHeight;
    context?.drawImage(frame, 0, 0, canvas.width, canvas.height);
    events.shown(1, frame.timestamp);
    frame.close();
  };
  return {
    take: (frame: VideoFrame) => {
      if (waiting) waiting.close();
      else requestAnimationFrame(draw);
      waiting = frame;
    },
    end: () => {
      waiting?.close();
      waiting = undefined;
    },
  };
}

export function startWebCodecs(events: WayEvents): Way {
  const canvas = document.createElement('canvas');
  const painter = makePainter(canvas, events);
  let ended = false;
  let sets: ParameterSets | undefined;
  const end = () => {
    if (ended) return;
    ended = true;
    painter.end();
    if (decoder.state !== 'closed') decoder.close();
  };
  const fail = (why: string) => {
    if (ended) return;
    end();
    events.failed(why);
  };
  const decoder = new VideoDecoder({
    output: (frame) => { if (ended) frame.close(); else painter.take(frame); },
    error: (error) => { fail(error.message); },
  });
  const decode = (units: Uint8Array[], timestamp: number, key: boolean) => {
    decoder.decode(new EncodedVideoChunk({ type: key ? 'key' : 'delta', timestamp, data: toSample(units) }));
  };
  const begin = (fresh: ParameterSets, { units, timeUs }: Picture) => {
    sets = fresh;
    const grey = hasIdr(units) ? undefined : greyIdr(units, fresh.read);
    decoder.configure(configuration(grey ? { ...fresh, pps: [...fresh.pps, grey.pps] } : fresh));
    if (grey) decode([grey.idr], timeUs - 1, true);
  };
  const take = (picture: Picture) => {
    if (ended) return;
    const { units, timeUs, sets: fresh } = picture;
    try {
      const late = fresh !== undefined && hasIdr(units) && decoder.decodeQueueSize > fairQueue;
      if (late) decoder.reset();
      if (fresh && (late || !sets || !sameParameterSets(sets, fresh))) begin(fresh, picture);
      decode(units, timeUs, hasIdr(units));
      if (decoder.decodeQueueSize > largestQueue) fail('the decoder is too slow');
    } catch (error) {
      fail(String(error));
    }
  };
  return { name: 'WebCodecs', element: canvas, take, end };
}
