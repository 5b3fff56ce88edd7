// H.264, MP4 and ADTS: what is read from a stream and what is written for a browser.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { withoutEscapes, writeBits } from '../src/media/bits.js';
import { codecName, decoderRecord, greyIdr, hasIdr, parameterSets, parseSps, sameParameterSets, splitUnits,
  toSample } from '../src/media/h264.js';
import { fragment, initSegment } from '../src/media/mp4.js';
import { parseAdts } from '../src/media/sound.js';

const bytes = (hex: string) => Uint8Array.from(Buffer.from(hex.replaceAll(' ', ''), 'hex'));
const hex = (data: Uint8Array) => Buffer.from(data).toString('hex');
const high = bytes('6764001eacd940a02ff970110000030001000003003c0f162d96');
const pps = bytes('68ebe3cb22c0');

test('the size of real streams, and nothing of one that is cut short', () => {
  const known: [Uint8Array, number, number, number][] = [
    [high, 100, 640, 360],
    [bytes('6742c028d900780227e5c044000003000400000300f03c60c920'), 66, 1920, 1080],
    [bytes('67640028acd94078044fde0220000003002000000783e2c5b2c0'), 100, 1920, 1080],   // interlaced
    [bytes('674d401eeca05017f5360220000003002000000781e2c5b2c0'), 77, 638, 358],
    [bytes('67f4000d919b28283f6022000003000200000300781e28532c'), 244, 320, 240],       // 4:4:4
  ];
  for (const [sps, profile, width, height] of known) {
    const read = parseSps(sps);
    assert.deepEqual([read?.profile, read?.width, read?.height], [profile, width, height]);
    for (let length = 0; length < 8; length++) assert.equal(parseSps(sps.subarray(0, length)), undefined);
  }
  assert.equal(parseSps(new Uint8Array(400)), undefined);
});

test('units between start codes of both lengths, told by their kind', () => {
  const units = splitUnits(bytes('00000001 09f0 000001 67640028 0000 00000001 6588800000030001 00'));
  assert.deepEqual(units.map(hex), ['09f0', '67640028', '6588800000030001']);
  assert.equal(hex(toSample(units)), '00000008' + '6588800000030001');
  assert.equal(hasIdr(units), true);
  assert.deepEqual(splitUnits(bytes('0102030000')), []);
});

test('parameter sets become what a decoder is set up with', () => {
  const sets = parameterSets([high, pps, bytes('6588')]);
  assert.ok(sets);
  assert.equal(codecName(sets), 'avc1.64001e');
  assert.equal(hex(decoderRecord(sets)), `0164001effe1001a${hex(high)}010006${hex(pps)}fdf8f800`);
  assert.equal(sameParameterSets(sets, { ...sets, pps: [bytes('68ebe3cb22c1')] }), false);
  assert.equal(parameterSets([high, bytes('6588')]), undefined);
});

// The bytes were decoded elsewhere: one picture, all samples 128.
test('a grey picture to begin with, told apart from the start codes', () => {
  const sps = parseSps(high);
  assert.ok(sps);
  const grey = greyIdr([bytes('419a')], sps);
  assert.ok(grey);
  assert.equal(hex(grey.pps), '68019338e2');
  assert.equal(grey.idr.length, 926);
  assert.equal(greyIdr([], { ...sps, frameOnly: false }), undefined);
  const writer = writeBits();
  for (const value of [0, 0, 1, 0, 0, 3]) writer.bits(value, 8);
  const unit = writer.unit(0x65);
  assert.equal(hex(unit), '65 000003 01 000003 03 80'.replaceAll(' ', ''));
  assert.equal(hex(withoutEscapes(unit)), '6500000100000380');
});

// The boxes within boxes, as "moof/traf/trun", with where each begins and ends; lengths must add up.
function boxes(data: Uint8Array, from = 0, to = data.length, path = ''): Map<string, [number, number]> {
  const found = new Map<string, [number, number]>();
  const view = new DataView(data.buffer, data.byteOffset);
  let place = from;
  while (place < to) {
    const end = place + view.getUint32(place);
    const name = path + String.fromCharCode(...data.subarray(place + 4, place + 8));
    assert.ok(end >= place + 8 && end <= to, name);
    found.set(name, [place, end]);
    const inside = { stsd: 16, avc1: 86, mp4a: 36 }[name.slice(-4)] ?? 8;
    if (/(moov|trak|mdia|minf|stbl|stsd|avc1|mp4a|mvex|moof|traf)$/.test(name)) {
      for (const [inner, range] of boxes(data, place + inside, end, `${name}/`)) found.set(inner, range);
    }
    place = end;
  }
  return found;
}

test('boxes fit into each other, and a fragment leads to its data', () => {
  const video = initSegment(
    { kind: 'video', timescale: 1e6, width: 640, height: 360, channels: 0, config: bytes('0164') });
  const entry = boxes(video).get('moov/trak/mdia/minf/stbl/stsd/avc1/avcC');
  assert.ok(entry);
  assert.equal(hex(video.subarray(entry[0] + 8, entry[1])), '0164');
  const part = fragment(7, { time: 2 ** 33 + 5, duration: 33, key: true, data: bytes('c0ffee') });
  const view = new DataView(part.buffer);
  const found = boxes(part);
  const [run] = found.get('moof/traf/trun') ?? [0];
  const [time] = found.get('moof/traf/tfdt') ?? [0];
  assert.equal(hex(part.subarray(view.getUint32(run + 16))), 'c0ffee');
  assert.deepEqual([view.getUint32(run + 20), view.getUint32(run + 24)], [33, 3]);
  assert.equal(view.getBigUint64(time + 12), 2n ** 33n + 5n);
});

test('sound: rate and channels of a frame, and nothing of what is none', () => {
  const frame = parseAdts(bytes('fff14c80019ffc0102030405'));
  assert.deepEqual([frame?.track.timescale, frame?.track.channels, hex(frame?.track.config ?? high)],
    [48000, 2, '1190']);
  assert.equal(hex(frame?.data ?? high), '0102030405');
  const broken = ['', 'ff', 'fff14c80', 'fff17c80019ffc0102030405', 'fff14c8002dffc0102030405',
    'fff14c00019ffc0102'];
  for (const wrong of broken) assert.equal(parseAdts(bytes(wrong)), undefined, wrong);
});
