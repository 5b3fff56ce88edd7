// When a picture is shown, and how a player stays at the end of what has come.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { makeLiveEdge } from '../src/media/live_edge.js';
import { makeDelays, makeTimeline } from '../src/media/timeline.js';
import { whyNone } from '../src/player_status.js';

test('times follow how pictures come, without holes, whatever the jitter and the rate', () => {
  for (const rate of [25, 30, 60]) {
    const timeline = makeTimeline();
    const period = 1e6 / rate;
    let end = 0;
    for (let i = 0; i < 20 * rate; i++) {
      const { time, duration } = timeline.next(5e9 + i * period + (i * 7919 % 60_000));
      assert.equal(time, end);
      end = time + duration;
      if (i > rate) assert.ok(duration > period / 2 && duration < period * 2, `${duration} at ${rate}`);
    }
    assert.ok(Math.abs(end - 20e6) < 150_000, `${end} at ${rate}`);
  }
});

test('a pause takes no time, a clock that is set back neither', () => {
  const timeline = makeTimeline();
  let at = 0;
  for (let i = 0; i < 30; i++) timeline.next(at += 33_333);
  const before = timeline.next(at += 33_333).time;
  for (const jump of [60e6, -3600e6, 1e12]) timeline.next(at += jump);
  assert.ok(timeline.next(at += 33_333).time - before < 300_000);
});

// A player that plays what has come: behind grows by what comes and shrinks as it plays.
function play(seconds: number, startMs: number, stallsMs: (at: number) => number) {
  const edge = makeLiveEdge({ first: 80, most: 300, jump: 500 });
  let behind = startMs;
  let jumps = 0;
  for (let at = 0; at < seconds * 1000; at += 33) {
    const { rate, jump } = edge.decide(behind, at);
    if (jump) { behind = edge.aim(); jumps++; }
    behind += 33 - 33 * rate + stallsMs(at);
    if (behind < 0) { behind = 0; edge.ranDry(at); }
  }
  return { behind, jumps, aim: edge.aim() };
}

test('a player comes back to the end: by a jump from afar, else by hurrying', () => {
  const far = play(10, 5000, () => 0);
  assert.equal(far.jumps, 1);
  assert.ok(Math.abs(far.behind - 80) < 20, String(far.behind));
  const near = play(10, 400, () => 0);
  assert.equal(near.jumps, 0);
  assert.ok(Math.abs(near.behind - 80) < 20, String(near.behind));
});

test('running dry makes it careful up to a limit, and calm makes it bold again', () => {
  const rough = (at: number) => (at < 20_000 ? (Math.floor(at / 33) % 20 === 0 ? -380 : 20) : 0);
  const during = play(20, 80, rough);
  assert.ok(during.aim > 120 && during.aim <= 300, String(during.aim));
  assert.ok(play(120, 80, rough).aim < 90);
});

test('delays are told above the quickest, also with clocks that drift', () => {
  const delays = makeDelays();
  let told = 0;
  for (let s = 0; s < 3600; s++) {
    const nowMs = 7e6 + s * 1000 * 1.0001;
    delays.here(s * 1e6, nowMs + (s % 3) * 20);
    told = delays.since(s * 1e6, nowMs + 100);
  }
  assert.ok(told >= 95 && told < 110, String(told));
});

test('why there is no picture: what stands first is what has to be mended first', () => {
  const facts = { came: 1, cameAt: 9000, waitingSince: undefined, cannotShow: false };
  const fine = { known: true, heard: true };
  const said = [
    whyNone(facts, false, fine, 10_000), whyNone(facts, true, { known: false, heard: false }, 10_000),
    whyNone(facts, true, { known: true, heard: false }, 10_000), whyNone(facts, true, fine, 12_000),
    whyNone({ ...facts, cannotShow: true }, true, fine, 10_000),
    whyNone({ ...facts, cameAt: 20_000, waitingSince: 9000 }, true, fine, 20_000),
    whyNone({ ...facts, waitingSince: 9000 }, true, fine, 10_000), whyNone(facts, true, fine, 10_000),
  ];
  const words = ['panel', 'No box', 'answer', 'video link', 'browser', 'has none', 'Waiting', ''];
  said.forEach((line, i) => { assert.ok(line.includes(words[i] ?? '?'), line); });
  assert.equal(said[7], '');
});
