// What the page has to know of H.264: the units of a picture, the parameter sets a decoder is set up with,
// and a picture to begin with where the stream has none.
import { readBits, withoutEscapes, writeBits, type BitReader } from './bits.js';

export const unitKinds = { slice: 1, idr: 5, sei: 6, sps: 7, pps: 8, delimiter: 9, filler: 12 };

export function unitKind(unit: Uint8Array): number {
  return (unit[0] ?? 0) & 31;
}

// The units between the start codes, without these and without zeros behind a unit.
export function splitUnits(accessUnit: Uint8Array): Uint8Array[] {
  const units: Uint8Array[] = [];
  let begin = -1;
  const close = (end: number) => {
    while (end > begin && accessUnit[end - 1] === 0) end--;
    if (begin >= 0 && end > begin) units.push(accessUnit.subarray(begin, end));
  };
  for (let one = accessUnit.indexOf(1, 2); one >= 0; one = accessUnit.indexOf(1, one + 1)) {
    if (accessUnit[one - 1] !== 0 || accessUnit[one - 2] !== 0) continue;
    close(one - 2);
    begin = one + 1;
  }
  close(accessUnit.length);
  return units;
}

export interface Sps {
  profile: number;
  constraints: number;
  level: number;
  id: number;
  chromaFormat: number;    // 1: 4:2:0
  lumaDepth: number;       // above 8
  chromaDepth: number;
  frameNumberBits: number;
  orderType: number;
  orderBits: number;       // of order type 0
  orderDeltaAbsent: boolean;  // order type 1
  macroblocks: number;
  frameOnly: boolean;
  width: number;           // as shown
  height: number;
}

const profilesWithChroma = [100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135];
const largestSide = 16384;

function skipScalingLists(bits: BitReader, count: number): void {
  for (let list = 0; list < count; list++) {
    if (bits.bits(1) === 0) continue;
    let next = 8;
    for (let i = 0; i < (list < 6 ? 16 : 64) && next !== 0; i++) {
      next = (next + bits.signedGolomb() + 256) % 256;
    }
  }
}

function readChroma(bits: BitReader, profile: number) {
  if (!profilesWithChroma.includes(profile)) return { chromaFormat: 1, lumaDepth: 0, chromaDepth: 0 };
  const chromaFormat = bits.golomb();
  if (chromaFormat === 3) bits.bits(1);
  const lumaDepth = bits.golomb();
  const chromaDepth = bits.golomb();
  bits.bits(1);
  if (bits.bits(1) === 1) skipScalingLists(bits, chromaFormat === 3 ? 12 : 8);
  return { chromaFormat, lumaDepth, chromaDepth };
}

function readOrder(bits: BitReader) {
  const orderType = bits.golomb();
  let orderBits = 0;
  let orderDeltaAbsent = false;
  if (orderType === 0) orderBits = bits.golomb() + 4;
  if (orderType === 1) {
    orderDeltaAbsent = bits.bits(1) === 1;
    bits.signedGolomb();
    bits.signedGolomb();
    for (let left = Math.min(255, bits.golomb()); left > 0; left--) bits.signedGolomb();
  }
  return { orderType, orderBits, orderDeltaAbsent };
}

function readSize(bits: BitReader, chromaFormat: number) {
  const columns = bits.golomb() + 1;
  const rows = bits.golomb() + 1;
  const frameOnly = bits.bits(1) === 1;
  const fields = frameOnly ? 1 : 2;
  if (!frameOnly) bits.bits(1);
  bits.bits(1);
  const cropped = bits.bits(1) === 1;
  const [left = 0, right = 0, top = 0, bottom = 0] = cropped ? Array.from({ length: 4 }, bits.golomb) : [];
  const across = chromaFormat === 1 || chromaFormat === 2 ? 2 : 1;
  const down = (chromaFormat === 1 ? 2 : 1) * fields;
  return {
    frameOnly, macroblocks: columns * rows * fields,
    width: columns * 16 - (left + right) * across,
    height: rows * fields * 16 - (top + bottom) * down,
  };
}

// Nothing when it is cut short or cannot be true. What stands behind the size is not needed.
export function parseSps(unit: Uint8Array): Sps | undefined {
  const bits = readBits(withoutEscapes(unit.subarray(1)));
  const profile = bits.bits(8);
  const constraints = bits.bits(8);
  const level = bits.bits(8);
  const id = bits.golomb();
  const chroma = readChroma(bits, profile);
  const frameNumberBits = bits.golomb() + 4;
  const order = readOrder(bits);
  bits.golomb();
  bits.bits(1);
  const size = readSize(bits, chroma.chromaFormat);
  const possible = [size.width, size.height].every((side) => side > 0 && side <= largestSide);
  const known = id <= 31 && chroma.chromaFormat <= 3 && chroma.lumaDepth <= 6 && chroma.chromaDepth <= 6 &&
    frameNumberBits <= 16 && order.orderType <= 2 && order.orderBits <= 16;
  if (bits.overrun() || !possible || !known) return undefined;
  return { profile, constraints, level, id, ...chroma, frameNumberBits, ...order, ...size };
}

// What a decoder is set up with.
export interface ParameterSets { sps: Uint8Array; pps: Uint8Array[]; read: Sps }

export function parameterSets(units: Uint8Array[]): ParameterSets | undefined {
  const sps = units.find((unit) => unitKind(unit) === unitKinds.sps);
  const read = sps && parseSps(sps);
  const pps = units.filter((unit) => unitKind(unit) === unitKinds.pps);
  return sps && read && pps.length > 0 && pps.length < 32 ? { sps, pps, read } : undefined;
}

function sameBytes(a: Uint8Array, b: Uint8Array): boolean {
  return a.length === b.length && a.every((byte, i) => byte === b[i]);
}

export function sameParameterSets(a: ParameterSets, b: ParameterSets): boolean {
  return sameBytes(a.sps, b.sps) && a.pps.length === b.pps.length &&
    a.pps.every((unit, i) => sameBytes(unit, b.pps[i] ?? new Uint8Array()));
}

// As browsers name it: avc1.42c01e.
export function codecName({ read }: ParameterSets): string {
  const hex = (value: number) => value.toString(16).padStart(2, '0');
  return `avc1.${hex(read.profile)}${hex(read.constraints)}${hex(read.level)}`;
}

// The record of the parameter sets in MP4 (avcC), with units that have lengths of 4 bytes.
export function decoderRecord({ sps, pps, read }: ParameterSets): Uint8Array {
  const withLength = (unit: Uint8Array) => [unit.length >> 8, unit.length & 255, ...unit];
  const chroma = profilesWithChroma.includes(read.profile)
    ? [0xfc | read.chromaFormat, 0xf8 | read.lumaDepth, 0xf8 | read.chromaDepth, 0] : [];
  return Uint8Array.from([
    1, read.profile, read.constraints, read.level, 0xff, 0xe1, ...withLength(sps),
    pps.length, ...pps.flatMap(withLength), ...chroma,
  ]);
}

// A picture as MP4 has it: each unit behind its length, without what stands in the record.
export function toSample(units: Uint8Array[]): Uint8Array {
  const kept = units.filter((unit) => unitKind(unit) <= unitKinds.sei || unitKind(unit) > unitKinds.filler);
  const sample = new Uint8Array(kept.reduce((length, unit) => length + 4 + unit.length, 0));
  const view = new DataView(sample.buffer);
  let place = 0;
  for (const unit of kept) {
    view.setUint32(place, unit.length);
    sample.set(unit, place + 4);
    place += 4 + unit.length;
  }
  return sample;
}

export function hasIdr(units: Uint8Array[]): boolean {
  return units.some((unit) => unitKind(unit) === unitKinds.idr);
}

const greyPpsId = 200;

// The place in the order of pictures (order type 0) that the first slice tells.
function orderOf(units: Uint8Array[], sps: Sps): number {
  const slice = units.find((unit) => unitKind(unit) === unitKinds.slice);
  if (!slice || sps.orderType !== 0) return 0;
  const bits = readBits(withoutEscapes(slice.subarray(1, 32)));
  for (let i = 0; i < 3; i++) bits.golomb();
  bits.bits(sps.frameNumberBits);
  return bits.bits(sps.orderBits);
}

// Browsers begin with an IDR picture only. For a stream that has recovery points instead: one in a single
// grey, with parameters of its own, to be decoded right before the picture of these units. Undefined for
// what it is not made for (interlaced, other than 4:2:0).
export function greyIdr(units: Uint8Array[], sps: Sps): { pps: Uint8Array; idr: Uint8Array } | undefined {
  if (!sps.frameOnly || sps.chromaFormat !== 1 || sps.lumaDepth + sps.chromaDepth > 0) return undefined;
  const pps = writeBits();
  pps.golomb(greyPpsId);
  pps.golomb(sps.id);
  pps.bits(0, 2);                                  // CAVLC, no order deltas
  for (let i = 0; i < 3; i++) pps.golomb(0);       // one slice group, one reference each way
  pps.bits(0, 3);                                  // no weights
  for (let i = 0; i < 3; i++) pps.golomb(0);       // quantizer 26, no offset
  pps.bits(0, 3);
  const slice = writeBits();
  for (const value of [0, 7, greyPpsId]) slice.golomb(value);  // from the first macroblock, intra
  slice.bits(0, sps.frameNumberBits);
  slice.golomb(0);
  if (sps.orderType === 0) slice.bits(orderOf(units, sps), sps.orderBits);
  if (sps.orderType === 1 && !sps.orderDeltaAbsent) slice.golomb(0);
  slice.bits(0, 2);
  slice.golomb(0);
  // Each predicted from its neighbours, nothing added: mode 3, chroma mode 0, no change, no coefficient.
  for (let i = 0; i < sps.macroblocks; i++) slice.bits(0b00100111, 8);
  return { pps: pps.unit(0x68), idr: slice.unit(0x65) };
}
