// Outputs, RC map, scan and the columns behind the plots.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import type { Player } from '../src/app.js';
import { hostsOf, outputs } from '../src/outputs.js';
import { makeHistory, makeSampler, type Sample } from '../src/plots_history.js';
import { alsoOn, barOf, functionsOf, withFunction } from '../src/rc_map.js';
import { makeDraft } from '../src/settings_draft.js';
import { describe } from '../src/settings_save.js';
import { makeStore, type PanelState } from '../src/store.js';
import { sortScan } from '../src/wifi.js';

test('addresses are those by which players reach the box', () => {
  const report = { ifaces: [{ name: 'eth0', addr: '192.0.2.5' }, { name: 'wlan0', addr: '10.0.0.1' }] };
  // The page's host is the panel's: only a panel on the box has the box's.
  assert.deepEqual(hostsOf(report, '127.0.0.1:4242', 'box.local'), ['box.local', '192.0.2.5', '10.0.0.1']);
  assert.deepEqual(hostsOf(report, '127.0.0.1:4242', 'localhost'), ['192.0.2.5', '10.0.0.1']);
  assert.deepEqual(hostsOf({}, '127.0.0.1:4242', '127.0.0.1'), ['127.0.0.1']);
  assert.deepEqual(hostsOf({}, '192.0.2.5:4242', 'laptop.local'), ['192.0.2.5']);
  assert.deepEqual(hostsOf(report, '192.0.2.5:4242', 'laptop.local'), ['192.0.2.5', '10.0.0.1']);
  const values: Record<string, string> = { tcp_port: '8555', udp_clients: '1.2.3.4:5,1.2.3.5:6' };
  const found = outputs.map((output) => output.addresses((key) => values[key] ?? '', ['h']));
  assert.deepEqual(found, [['rtsp://h:8554/video'], ['tcp://h:8555'], [], [],
    ['udp://1.2.3.4:5', 'udp://1.2.3.5:6']]);
});

test('the map of channels keeps what it does not know and tells what is there twice', () => {
  const map = 'pan,tilt,bogus,pan';
  assert.equal(functionsOf(map).length, 32);
  assert.equal(withFunction(map, 1, ''), `pan,,bogus,pan${','.repeat(28)}`);
  assert.equal(functionsOf(`${','.repeat(40)}x`).length, 32);
  assert.deepEqual([alsoOn(map, 0), alsoOn(map, 1), alsoOn(map, 9)], [[4], [], []]);
  assert.deepEqual([0, 900, 1500, 2100].map(barOf), [undefined, 0, 50, 100]);
  assert.deepEqual(sortScan(['b', '', 'a', 'b', '']), { shown: ['b', 'a'], hidden: 2 });
});

test('what is to be saved is said with what it restarts', () => {
  const draft = makeDraft(() => true, () => 0);
  const keys = ['tcp_port', 'udp_enabled'];
  assert.match(describe(draft, keys), /not reported/);
  draft.takeReport({ tcp_port: 1, udp_en: 0 });
  assert.equal(describe(draft, keys), 'No changes.');
  draft.edit('tcp_port', '5');
  assert.equal(describe(draft, keys), 'Changed: TCP port. Saving restarts all streams.');
  draft.edit('udp_enabled', 'x');
  assert.match(describe(draft, keys), /^Wrong: Raw UDP\./);
  draft.edit('udp_enabled', '0');
  draft.save(keys);
  assert.equal(describe(draft, keys), 'Saving …');
  draft.takeBroken(true);
  assert.match(describe(draft, keys), /Saving/);
  draft.takeReport({ tcp_port: 5, udp_en: 0 });
  assert.match(describe(draft, keys), /cannot be read.* Saved: TCP port.$/);
});

function makeBench() {
  const clock = { now: 0, shown: 0, bytes: 0 };
  const bench = Object.assign(clock, { store: makeStore(() => clock.now) });
  const player = { state: () => ({ way: '', shown: bench.shown, leftOut: 0, behindMs: 80 }) } as Player;
  return { bench, sample: makeSampler(bench.store, player, () => bench.bytes, () => bench.now) };
}

test('samples are rates between two messages, and gaps where nothing is known', () => {
  const { bench, sample } = makeBench();
  const say = (timeUs: number, videoBytes: number, lost: number) => {
    bench.store.set('panel', { timeUs, videoBytes, lost, damagedPictures: 0 } as PanelState);
  };
  say(1e6, 1000, 5);
  bench.store.set('wifi', { quality: 35, bestQuality: 70, signalDbm: -60, frequencyMhz: 1, ssid: 'x' });
  bench.now = 1000;
  assert.deepEqual([sample().mbit, sample().delay], [null, null]);
  say(3e6, 1_001_000, 9);
  [bench.now, bench.shown, bench.bytes] = [3000, 60, 500_000];
  const { mbit, out, lost, pictures, delay, quality, battery } = sample();
  assert.deepEqual([mbit, out, lost, pictures, delay, quality, battery], [4, 2, 2, 30, 80, 50, null]);
  bench.now = 4000;
  assert.equal(sample().mbit, 4);  // no new message yet
  say(1e6, 10, 0);  // the panel is a new one
  bench.now = 9000;
  const after = sample();
  assert.deepEqual([after.mbit, after.lost, after.quality], [null, null, null]);
});

test('the columns stay within ten minutes, however often and long they grow', () => {
  const history = makeHistory(600);
  const value = (pan: number) => ({ pan }) as unknown as Sample;
  for (let second = 1; second <= 2000; ++second) history.push(second / 2, value(second));
  assert.equal(history.times().length, 600);
  assert.deepEqual([history.column('pan')[0], history.column('tilt').length], [1401, 600]);
  history.push(900, value(7));  // a clock that was set back
  assert.deepEqual([history.times(), history.column('pan')], [[900], [7]]);
});
