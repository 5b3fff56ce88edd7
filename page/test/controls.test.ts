// Holds, confirmations and the place of the picture, with a clock of their own.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { evWordList, photoKind, shutterText, shutterWord } from '../src/camera_codes.js';
import { groups } from '../src/camera_rows.js';
import { confirmWithinMs, makeConfirmation } from '../src/confirm.js';
import { speedOf } from '../src/controls_drive.js';
import { makeHold, type Motion } from '../src/hold.js';
import { letterBox, pointInPicture } from '../src/letter_box.js';
import { decodeRecord, type RecordFields } from '../src/records.js';
import { isAlive } from '../src/state_alive.js';
import { cardShown } from '../src/state_bar.js';
import { makeStore, type PanelState } from '../src/store.js';

interface Timer { at: number; every: number; action: () => void }

function makeClock() {
  let time = 0;
  const timers = new Set<Timer>();
  const add = (every: number) => (action: () => void, ms: number) => {
    const timer = { at: time + ms, every: every * ms, action };
    timers.add(timer);
    return () => { timers.delete(timer); };
  };
  const next = (end: number) => [...timers].filter(({ at }) => at <= end).sort((a, b) => a.at - b.at)[0];
  return {
    now: () => time, every: add(1), once: add(0),
    pass: (ms: number) => {
      const end = time + ms;
      for (let timer = next(end); timer; timer = next(end)) {
        time = timer.at;
        if (timer.every) timer.at += timer.every;
        else timers.delete(timer);
        timer.action();
      }
      time = end;
    },
    waiting: () => timers.size,
  };
}

function makeGimbal() {
  const clock = makeClock();
  const sent: (Motion | 'stop')[] = [];
  const times: number[] = [];
  const note = (what: Motion | 'stop') => { sent.push(what); times.push(clock.now()); };
  return { clock, sent, times, hold: makeHold(note, () => { note('stop'); }, 1000, clock) };
}

void test('a hold is repeated often enough, thinned out, and ends at once', () => {
  const { clock, sent, times, hold } = makeGimbal();
  for (let x = 1; x <= 100; x++) {
    hold.move('pad', { a: x, b: 0 });
    clock.pass(5);
  }
  assert.ok(sent.length >= 9 && sent.length <= 11, `${sent.length} messages in 500 ms`);
  clock.pass(2000);
  const gaps = times.slice(1).map((at, i) => at - (times[i] ?? 0));
  assert.ok(Math.max(...gaps) <= 200 && Math.min(...gaps) >= 50, String(gaps));
  assert.deepEqual(sent.at(-1), { a: 100, b: 0 });
  hold.move('pad', { a: 0, b: 0 });  // at rest, still under the hand
  clock.pass(400);
  assert.deepEqual(sent.slice(-2), [{ a: 0, b: 0 }, { a: 0, b: 0 }]);
  hold.move('pad', { a: 7, b: 0 });
  hold.move('pad', { a: 9, b: 0 });  // waits for its turn
  hold.move('pad');
  assert.equal(sent.at(-1), 'stop');
  const count = sent.length;
  clock.pass(1000);
  hold.release();
  assert.equal(sent.length, count);
  assert.equal(clock.waiting(), 0);
});

void test('what holds adds up within the limit, and one that lets go leaves the other', () => {
  const { clock, sent, hold } = makeGimbal();
  hold.move('pad', { a: 800, b: -900 });
  clock.pass(60);
  hold.move('keys', { a: 500, b: 100 });
  assert.deepEqual(sent.at(-1), { a: 1000, b: -800 });
  clock.pass(60);
  hold.move('pad');
  assert.deepEqual(sent.at(-1), { a: 500, b: 100 });
  hold.release();
  assert.equal(sent.at(-1), 'stop');
  clock.pass(60);
  hold.move('pad', { a: 1, b: 0 });
  assert.deepEqual(sent.at(-1), { a: 1, b: 0 });
});

void test('a card that is not there, or takes nothing, has no free space', () => {
  const shown = (flags: number) => cardShown({ flags, cardFreeMb: 58000 } as RecordFields['camera']);
  assert.deepEqual([0x400, 0xe00, 0x200].map(shown), [
    { value: '', text: 'missing' }, { value: '', text: 'write-protected' }, { value: 58000, text: '58.0 GB' }]);
});

void test('speed: nothing in the dead zone, the whole of it at the end, finer between', () => {
  assert.equal(speedOf(0.1, 0.1, false, 1), 0);
  assert.equal(speedOf(-1, 0.1, true, 0.5), -500);
  assert.equal(speedOf(1.5, 0.1, false, 1), 1000);
  assert.equal(speedOf(0.55, 0.1, false, 1), 500);
  assert.equal(speedOf(0.55, 0.1, true, 1), 238);
});

void test('a wish is confirmed by the report, late or not, or told as not confirmed', () => {
  const clock = makeClock();
  const seen: string[] = [];
  const wish = makeConfirmation<number>((reported, phase, wanted) => {
    seen.push(`${reported ?? '-'} ${phase} ${wanted ?? '-'}`);
  }, clock.once);
  const last = () => seen.at(-1);
  wish.report(0);
  assert.equal(last(), '0 steady -');
  wish.want(1);
  wish.report(0);
  clock.pass(confirmWithinMs - 1);
  assert.equal(last(), '0 waiting 1');
  wish.report(1);
  assert.equal(last(), '1 steady -');
  clock.pass(confirmWithinMs);
  wish.want(0);
  clock.pass(confirmWithinMs);
  assert.equal(last(), '1 unconfirmed 0');
  wish.report(1);
  assert.equal(last(), '1 unconfirmed 0');
  wish.want(2);
  wish.report(undefined);  // the camera went away
  clock.pass(confirmWithinMs);
  assert.equal(last(), '- unconfirmed 2');
  wish.report(2);
  assert.equal(last(), '2 steady -');
  assert.equal(clock.waiting(), 0);
});

void test('points count within the picture, not within its letter box', () => {
  const place = letterBox({ width: 400, height: 400 }, { width: 1600, height: 900 });
  assert.deepEqual(place, { left: 0, top: 87.5, width: 400, height: 225 });
  assert.deepEqual(pointInPicture(place, 100, 200), { x: 0.25, y: 0.5 });
  assert.equal(pointInPicture(place, 100, 80), undefined);
  const upright = letterBox({ width: 400, height: 100 }, { width: 100, height: 100 });
  assert.deepEqual([upright.left, upright.width], [150, 100]);
  assert.equal(letterBox({ width: 9, height: 8 }, { width: 0, height: 0 }).height, 8);
});

// The example of docs/app-protocol.md.
const shootingBytes = '04 18 01 32 80 00 05 10 01 0a 03 01 00 44 00 01 01 03 03 01 01 0a 00 18 01 32 80 00 90 01 00';

function shootingWith(changes: Partial<RecordFields['shooting']>): RecordFields['shooting'] {
  const record = decodeRecord(Uint8Array.from(shootingBytes.split(' '), (byte) => parseInt(byte, 16)));
  assert.equal(record?.name, 'shooting');
  return { ...record.fields, ...changes };
}

void test('what the camera reports is one of the words that set it', () => {
  const shooting = shootingWith({});
  const choices = groups.flatMap((group) => group.choices);
  for (const { label, options, report } of choices) {
    if (report?.name !== 'shooting') continue;
    const said = report.read(shooting);
    assert.ok(options.some(({ value }) => value === said), `${label}: ${said}`);
  }
  const kinds: [Partial<RecordFields['shooting']>, string][] = [
    [{ photoType: 6, timedCount: 1, timedPeriod: 10 }, 'single 10s'],
    [{ photoType: 6, timedCount: 255, timedPeriod: 30 }, 'interval 30s'],
    [{ photoType: 6, timedCount: 255, timedPeriod: 50 }, 'timelapse'],
    [{ photoType: 4, burstCount: 7 }, 'multiple 7shots'], [{ photoType: 5, bracketingCount: 5 }, 'multiple aeb5'],
    [{ photoType: 7, panoramaKind: 3 }, 'pano 180self'],
  ];
  for (const [changes, kind] of kinds) assert.equal(photoKind(shootingWith(changes)), kind);
  assert.deepEqual(evWordList.filter((_, i) => i % 3 < 2).slice(0, 5), ['-3.0', '-2.7', '-2.0', '-1.7', '-1.0']);
  assert.equal(shutterText(shutterWord(0x8001, 67)), '1/1.67 s');
  assert.equal(shutterText(shutterWord(2, 5)), '2.5 s');
});

void test('nothing of the camera is alive when the camera, the box or the panel is gone', () => {
  let time = 0;
  const store = makeStore(() => time);
  const panel = { box: 'b', heard: true } as PanelState;
  const tell = (state: number) => {
    store.set('panel', panel);
    store.set('dataLink', { state });
  };
  store.set('battery', { percent: 50, millivolts: 0, milliamps: 0 });
  tell(2);
  assert.ok(isAlive(store, 'battery'));
  tell(0);
  assert.ok(!isAlive(store, 'battery') && isAlive(store, 'dataLink'));
  tell(2);
  store.set('panel', { ...panel, heard: false });
  assert.ok(!isAlive(store, 'battery') && !isAlive(store, 'dataLink'));
  time = 11000;
  tell(2);
  assert.ok(!isAlive(store, 'battery'));
  time = 21500;
  assert.ok(!isAlive(store, 'dataLink') && !isAlive(store, 'panel'));
});
