// Bits of H.264 parameter sets and slice headers, read and written. Numbers are Exp-Golomb coded where the
// format says so; what is read beyond the end is 0 and remembered.

export interface BitReader {
  bits: (count: number) => number;   // at most 32
  golomb: () => number;
  signedGolomb: () => number;
  overrun: () => boolean;
}

// Without the 3 of each 0 0 3, which keeps start codes out of units.
export function withoutEscapes(unit: Uint8Array): Uint8Array {
  const plain = new Uint8Array(unit.length);
  let length = 0;
  let zeros = 0;
  for (const byte of unit) {
    if (zeros >= 2 && byte === 3) { zeros = 0; continue; }
    zeros = byte === 0 ? zeros + 1 : 0;
    plain[length++] = byte;
  }
  return plain.subarray(0, length);
}

export function readBits(bytes: Uint8Array): BitReader {
  let place = 0;
  let overrun = false;
  const bits = (count: number) => {
    let value = 0;
    for (let i = 0; i < count; i++, place++) {
      const byte = bytes[place >> 3];
      if (byte === undefined) overrun = true;
      value = value * 2 + (((byte ?? 0) >> (7 - (place & 7))) & 1);
    }
    return value;
  };
  const golomb = () => {
    let zeros = 0;
    while (bits(1) === 0) {
      if (overrun || ++zeros > 31) { overrun = true; return 0; }
    }
    return 2 ** zeros - 1 + bits(zeros);
  };
  const signedGolomb = () => {
    const code = golomb();
    return code % 2 === 0 ? -code / 2 : (code + 1) / 2;
  };
  return { bits, golomb, signedGolomb, overrun: () => overrun };
}

export interface BitWriter {
  bits: (value: number, count: number) => void;
  golomb: (value: number) => void;
  // The unit: its first byte, then what was written, ended and with its escapes.
  unit: (firstByte: number) => Uint8Array;
}

function withEscapes(bytes: number[]): Uint8Array {
  const escaped: number[] = [];
  let zeros = 0;
  for (const byte of bytes) {
    if (zeros >= 2 && byte <= 3) { escaped.push(3); zeros = 0; }
    zeros = byte === 0 ? zeros + 1 : 0;
    escaped.push(byte);
  }
  return Uint8Array.from(escaped);
}

export function writeBits(): BitWriter {
  const bytes: number[] = [];
  let filled = 0;
  let last = 0;
  const bits = (value: number, count: number) => {
    for (let i = count - 1; i >= 0; i--) {
      last = last * 2 + (Math.floor(value / 2 ** i) & 1);
      if (++filled === 8) { bytes.push(last); filled = 0; last = 0; }
    }
  };
  const golomb = (value: number) => {
    const length = Math.floor(Math.log2(value + 1));
    bits(0, length);
    bits(value + 1, length + 1);
  };
  const unit = (firstByte: number) => {
    bits(1, 1);
    while (filled !== 0) bits(0, 1);
    return withEscapes([firstByte, ...bytes]);
  };
  return { bits, golomb, unit };
}
