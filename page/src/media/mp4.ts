// Fragmented MP4, as much as MediaSource needs: a beginning for one track, then fragments with one picture
// or one frame of sound each.

export interface Track {
  kind: 'video' | 'sound';
  timescale: number;       // units of time in a second
  width: number;           // 0 for sound
  height: number;
  channels: number;        // 0 for video
  config: Uint8Array;      // avcC, or the AudioSpecificConfig
}

export interface Sample {
  time: number;            // in the track's units
  duration: number;
  key: boolean;
  data: Uint8Array;
}

const u8 = (...values: number[]) => values;
const u16 = (...values: number[]) => values.flatMap((value) => [(value >> 8) & 255, value & 255]);
const u32 = (...values: number[]) => values.flatMap((value) => u16(value >>> 16, value & 0xffff));
const u64 = (value: number) => u32(Math.floor(value / 2 ** 32), value % 2 ** 32);
const zeros = (count: number) => Array.from({ length: count }, () => 0);
const text = (value: string) => Array.from(value, (letter) => letter.charCodeAt(0));

function box(name: string, ...parts: number[][]): number[] {
  const content = parts.flat();
  return [...u32(content.length + 8), ...text(name), ...content];
}

const matrix = u32(0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000);
const dataHere = box('dinf', box('dref', u32(0, 1), box('url ', u32(1))));

function pictureEntry(track: Track): number[] {
  return box('avc1', zeros(6), u16(1), zeros(16), u16(track.width, track.height), u32(0x480000, 0x480000, 0),
    u16(1), zeros(32), u16(24, 0xffff), box('avcC', [...track.config]));
}

function soundEntry(track: Track): number[] {
  const size = track.config.length;
  const descriptor = [
    ...u8(3, 23 + size), ...u16(1), 0,
    ...u8(4, 15 + size, 0x40, 0x15), ...zeros(11),
    ...u8(5, size), ...track.config, ...u8(6, 1, 2),
  ];
  return box('mp4a', zeros(6), u16(1), zeros(8), u16(track.channels, 16), zeros(4),
    u16(track.timescale, 0), box('esds', u32(0), descriptor));
}

function sampleTables(track: Track): number[] {
  const entry = track.kind === 'video' ? pictureEntry(track) : soundEntry(track);
  return box('stbl', box('stsd', u32(0, 1), entry), box('stts', u32(0, 0)), box('stsc', u32(0, 0)),
    box('stsz', u32(0, 0, 0)), box('stco', u32(0, 0)));
}

function media(track: Track): number[] {
  const video = track.kind === 'video';
  const header = video ? box('vmhd', u32(1, 0, 0)) : box('smhd', u32(0, 0));
  const handler = [...text(video ? 'vide' : 'soun'), ...zeros(13)];
  return box('mdia',
    box('mdhd', u32(0, 0, 0, track.timescale, 0), u16(0x55c4, 0)),
    box('hdlr', u32(0, 0), handler),
    box('minf', header, dataHere, sampleTables(track)));
}

// No length anywhere: that is how a browser knows that it is live.
export function initSegment(track: Track): Uint8Array {
  const volume = track.kind === 'sound' ? 0x100 : 0;
  return Uint8Array.from([
    ...box('ftyp', text('isom'), u32(0x200), text('isomiso5avc1mp41')),
    ...box('moov',
      box('mvhd', u32(0, 0, 0, 1000, 0, 0x10000), u16(0x100), zeros(10), matrix, zeros(24), u32(2)),
      box('trak',
        box('tkhd', u32(3, 0, 0, 1, 0, 0), zeros(8), u16(0, 0, volume, 0), matrix,
          u32(track.width * 0x10000, track.height * 0x10000)),
        media(track)),
      box('mvex', box('trex', u32(0, 1, 1, 0, 0, 0)))),
  ]);
}

const dependsOnNothing = 0x02000000;
const dependsOnOthers = 0x01010000;

// sequence: counts the fragments, from 1.
export function fragment(sequence: number, sample: Sample): Uint8Array {
  const head = (dataOffset: number) => box('moof',
    box('mfhd', u32(0, sequence)),
    box('traf',
      box('tfhd', u32(0x020000, 1)),
      box('tfdt', u32(0x01000000), u64(sample.time)),
      box('trun', u32(0x000701, 1, dataOffset, sample.duration, sample.data.length,
        sample.key ? dependsOnNothing : dependsOnOthers))));
  const moof = head(head(0).length + 8);
  const bytes = new Uint8Array(moof.length + 8 + sample.data.length);
  bytes.set([...moof, ...u32(sample.data.length + 8), ...text('mdat')]);
  bytes.set(sample.data, moof.length + 8);
  return bytes;
}
