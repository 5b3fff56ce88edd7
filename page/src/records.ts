// The records of the box, by the tables of docs/app-protocol.md. All that comes is checked: a record of
// another length than its own is none.

export interface RecordFields {
  attitude: { a: number; b: number; c: number };  // degrees
  battery: { percent: number; millivolts: number; milliamps: number };
  camera: {
    workMode: number; flags: number; cardSizeMb: number; cardFreeMb: number; photosLeft: number;
    recordSecondsLeft: number; recordingSeconds: number;
  };
  playback: { mode: number; fileType: number; filesOnPage: number; files: number };
  shooting: {
    apertureHundredths: number; shutter: number; shutterDecimal: number; isoCode: number; evCode: number;
    photoFormat: number; resolutionCode: number; rateCode: number; exposureMode: number;
    whiteBalanceMode: number; temperature: number; colour: number; antiFlicker: number; photoType: number;
    burstCount: number; bracketingCount: number; panoramaKind: number; timedCount: number;
    timedPeriod: number; actualApertureHundredths: number; actualShutter: number;
    actualShutterDecimal: number; actualIso: number; flags: number;
  };
  dataLink: { state: number };  // 0 disconnected, 2 connected, 3 disabled
  videoLink: { state: number };
  box: { flags: number; apps: number; outputs: number; focusAssistant: number; rcState: number };
  histogram: { values: number[] };  // 64 of 0 to 255
  gimbal: { status: number };
  wifi: { quality: number; bestQuality: number; signalDbm: number; frequencyMhz: number; ssid: string };
  rawAttitude: { a: number; b: number; c: number };
  version: { major: number; minor: number; patch: number };
  focusRange: { range: number; stroke: number; distanceCm: number };
  focusPoint: { x: number; y: number };  // 0 to 1
  rc: { state: number; channels: number[] };  // 32, in us
  lens: {
    focusMode: number; afUnlimited: number; manualFocusCapable: number; assistantBits: number;
    focusStatus: number; supportType: number;
  };
}
export type RecordName = keyof RecordFields;
export type DecodedRecord = { [N in RecordName]: { name: N; fields: RecordFields[N] } }[RecordName];

interface Layout {
  length: number;
  decode: (view: DataView) => DecodedRecord | undefined;
}

// Reads one number behind the other, in the byte order of the wire.
class Cursor {
  private at = 1;
  constructor(private readonly view: DataView) {}
  u8(): number { return this.view.getUint8(this.at++); }
  u16(): number { this.at += 2; return this.view.getUint16(this.at - 2, true); }
  i16(): number { this.at += 2; return this.view.getInt16(this.at - 2, true); }
  u32(): number { this.at += 4; return this.view.getUint32(this.at - 4, true); }
  list(count: number, read: () => number): number[] { return Array.from({ length: count }, read); }
  // Up to the first NUL. What is no UTF-8 shows as replacement characters.
  text(size: number): string {
    const bytes = new Uint8Array(this.view.buffer, this.view.byteOffset + this.at, size);
    this.at += size;
    const end = bytes.indexOf(0);
    return new TextDecoder().decode(end < 0 ? bytes : bytes.subarray(0, end));
  }
}

function layout<N extends RecordName>(
  length: number, name: N, read: (cursor: Cursor) => RecordFields[N],
): Layout {
  return { length, decode: (view) => ({ name, fields: read(new Cursor(view)) }) as DecodedRecord };
}

const layouts: Partial<Record<number, Layout>> = {
  0: layout(7, 'attitude', (c) => ({ a: c.i16() / 100, b: c.i16() / 100, c: c.i16() / 100 })),
  1: layout(7, 'battery', (c) => ({ percent: c.u16(), millivolts: c.u16(), milliamps: c.i16() })),
  2: layout(24, 'camera', (c) => ({
    workMode: c.u8(), flags: c.u32(), cardSizeMb: c.u32(), cardFreeMb: c.u32(), photosLeft: c.u32(),
    recordSecondsLeft: c.u32(), recordingSeconds: c.u16(),
  })),
  3: layout(7, 'playback', (c) => ({
    mode: c.u8(), fileType: c.u8(), filesOnPage: c.u8(), files: c.u16(),
  })),
  4: layout(31, 'shooting', (c) => ({
    apertureHundredths: c.u16(), shutter: c.u16(), shutterDecimal: c.u8(), isoCode: c.u8(), evCode: c.u8(),
    photoFormat: c.u8(), resolutionCode: c.u8(), rateCode: c.u8(), exposureMode: c.u8(),
    whiteBalanceMode: c.u8(), temperature: c.u8() * 100, colour: c.u8(), antiFlicker: c.u8(),
    photoType: c.u8(), burstCount: c.u8(), bracketingCount: c.u8(), panoramaKind: c.u8(),
    timedCount: c.u8(), timedPeriod: c.u16(), actualApertureHundredths: c.u16(), actualShutter: c.u16(),
    actualShutterDecimal: c.u8(), actualIso: c.u16(), flags: c.u8(),
  })),
  5: {
    length: 7,
    decode: (view) => {
      const fields = { state: view.getUint8(2) };
      const link = view.getUint8(1);
      if (link === 0) return { name: 'dataLink', fields };
      return link === 1 ? { name: 'videoLink', fields } : undefined;
    },
  },
  6: layout(7, 'box', (c) => ({
    flags: c.u8(), apps: c.u8(), outputs: c.u8(), focusAssistant: c.u8(), rcState: c.u8(),
  })),
  7: layout(65, 'histogram', (c) => ({ values: c.list(64, () => c.u8()) })),
  8: layout(7, 'gimbal', (c) => ({ status: c.u16() })),
  9: layout(27, 'wifi', (c) => {
    const [quality, bestQuality, signal] = [c.u8(), c.u8(), c.u8()];
    return {
      quality, bestQuality, signalDbm: signal ? signal - 256 : 0, frequencyMhz: c.u16(), ssid: c.text(20),
    };
  }),
  10: layout(7, 'rawAttitude', (c) => ({ a: c.i16(), b: c.i16(), c: c.i16() })),
  11: layout(7, 'version', (c) => ({ major: c.u8(), minor: c.u8(), patch: c.u8() })),
  12: layout(7, 'focusRange', (c) => ({ range: c.u16(), stroke: c.u16(), distanceCm: c.u16() })),
  13: layout(7, 'focusPoint', (c) => ({ x: c.u16() / 10000, y: c.u16() / 10000 })),
  15: layout(67, 'rc', (c) => {
    const state = c.u8();
    c.u8();
    return { state, channels: c.list(32, () => c.u16()) };
  }),
  16: layout(7, 'lens', (c) => ({
    focusMode: c.u8(), afUnlimited: c.u8(), manualFocusCapable: c.u8(), assistantBits: c.u8(),
    focusStatus: c.u8(), supportType: c.u8(),
  })),
};

// Nothing for what is no record, or one of another length.
export function decodeRecord(payload: Uint8Array): DecodedRecord | undefined {
  const code = payload[0];
  const found = code === undefined ? undefined : layouts[code];
  if (found?.length !== payload.length) return undefined;
  return found.decode(new DataView(payload.buffer, payload.byteOffset, payload.length));
}
