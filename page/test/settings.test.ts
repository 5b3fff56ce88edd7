// Settings: what is right, what is sent, what is confirmed; files and replies.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { test } from 'node:test';
import { makeReplyReader, type Report } from '../src/replies.js';
import { faultOf } from '../src/settings_checks.js';
import { makeDraft } from '../src/settings_draft.js';
import { differences, exportSettings, importSettings } from '../src/settings_file.js';
import { channelFunctions, findSetting, groupSettings, isInFile, settings } from '../src/settings_list.js';
import { makeStore } from '../src/store.js';

const data = (name: string) => readFileSync(`../tests/data/${name}`, 'utf8');
const everyKey = JSON.parse(data('every_key.report.json')) as Report;

type Members = Record<string, string>;

function draftOf(report: Report) {
  const box = { sent: [] as Members[], now: 0, connected: true };
  const draft = makeDraft((members) => {
    if (box.connected) box.sent.push(members);
    return box.connected;
  }, () => box.now);
  draft.takeReport(report);
  const saved = () => box.sent.filter((members) => members.cmd === 'updateparam');
  return { box, draft, saved };
}

test('every setting stands in exactly one group, and the functions are those of the box', () => {
  const keys = groupSettings().flatMap((group) => group.parts.flatMap((part) => part.keys));
  assert.deepEqual(keys.sort(), settings.map((setting) => setting.key).sort());
  const known = JSON.parse(data('channel_functions.json')) as [string, number][];
  assert.deepEqual(Object.keys(channelFunctions).sort(),
    known.filter(([name, code]) => name && code !== 255).map(([name]) => name).sort());
});

test('values are checked before they are sent', () => {
  const long = 'x'.repeat(255);
  const cases: [key: string, right: string[], wrong: string[]][] = [
    ['audio_volume', ['0', '100'], ['-1', '101', '', '7 ', '1e1', '0x1', '07', 'x']],
    ['audio_bitrate', ['0', '8000', '256000'], ['7999', '256001']],
    ['tcp_port', ['1', '65535'], ['0', '65536']],
    ['osd_top_offset', ['0', '255'], ['256', '-1']],
    ['udp_enabled', ['0', '1'], ['2', '']],
    ['rc_input_mode', ['sbus', 'off'], ['sbus2', '']],
    ['server_host', ['', '192.168.100.100'], ['box.local', '1.2.3', '1.2.3.256', '01.2.3.4']],
    ['server_user', ['ä'.repeat(7)], ['ä'.repeat(8), 'a"b', 'a\\b', 'a ;b', 'a\nb']],
    ['rtmp_url', ['', 'rtmp://h/a?b=c;d'], ['http://h/', 'rtmp://', 'rtmp://h/a b', `rtmp://${long}`]],
    ['camera_ssid', ['<b>&\'é', 'a;b'], [long]],
    ['ap_country', ['', '00', 'CH'], ['ch', 'CHE']],
    ['ap_channel', ['36', '42'], ['6', '43', '0']],
    ['camera_iface', ['', 'wifi0', 'wlan0'], ['wlan1']],
    ['mpegts_clients', ['', '192.0.2.5:65535', '127.0.0.1:4000'],
      ['192.0.2.9', '192.0.2.9:0', '192.0.2.9:1,', '192.0.2.5:5000', 'a:1', '1.2.3.4:5:6']],
    ['udp_clients', ['192.0.2.9:65534', '192.0.2.9:5000'],
      ['192.0.2.9:65535', '127.9.9.9:4000', '192.0.2.5:5001', `1.1.1.1:1${',1.1.1.1:1'.repeat(10)}`]],
    ['rc_input_map', ['', 'pan,,orient-lock', ','.repeat(31)], ['Pan', ' pan', 'toString', ','.repeat(32)]],
  ];
  for (const [key, right, wrong] of cases) {
    const fault = (value: string) => faultOf(key, value,
      { report: everyKey, value: (other) => other === 'ap_mode' ? '5' : '' });
    for (const value of right) assert.equal(fault(value), '', `${key}=${value}`);
    for (const value of wrong) assert.notEqual(fault(value), '', `${key}=${value}`);
  }
});

test('only what changed is sent, a command of several values whole', () => {
  const cases: [edits: Members, sent: Members[]][] = [
    [{ udp_enabled: '0' }, [{ name: 'udp_enabled', value: '0' }]],
    [{ rtmp_url: '' }, [{ name: 'rtmp_url', value: '' }]],
    [{ video_width: '640' }, [{ name: 'video_resolution', value: '640x480' }]],
    [{ rc_input_speed_tilt: '9', roll_speed: '3' },
      [{ name: 'rcin_tilt', value: '9' }, { name: 'rcin_dutch', value: '3' }]],
    [{ osd_border_height: '4' }, [{ name: 'osd_borders', value: '44', value2: '4' }]],
    [{ rc2_input_mode: 'off' }, [{ name: 'rcin_mode', value: 'ppm', value2: 'off' }]],
    [{ server_port: '5' }, [{ name: 'server_connection', value: '192.0.2.77', value2: '5',
      value3: 'relay-operator', value4: 'tr0ub4dor;7', value5: 'box-000123', value6: '1' }]],
    // The camera's interface is another than the report can say: it is left alone.
    [{ ap_iface: '', ap_mode: '2', ap_channel: '6' }, [{ name: 'wifi', value2: 'OSMO-77AB12',
      value3: 'osmo-secret', value5: ' Café 5G ', value6: 'home pass #9', value7: '0',
      value8: 'Relay North box', value9: 'north;pole#1', value10: '2.4', value11: '6', value12: 'NZ' }]],
  ];
  for (const [edits, sent] of cases) {
    const { draft, saved } = draftOf(everyKey);
    for (const [key, value] of Object.entries(edits)) draft.edit(key, value);
    assert.equal(draft.save(Object.keys(edits)), '');
    assert.deepEqual(saved(), []);  // before it is known what the box has now
    draft.takeReport(everyKey);
    assert.deepEqual(saved(), sent.map((members) => ({ cmd: 'updateparam', ...members })));
  }
});

test('nothing is sent while something is wrong, unknown, too long or not connected', () => {
  const { box, draft, saved } = draftOf(everyKey);
  draft.edit('tcp_port', '70000');
  draft.edit('udp_enabled', '0');
  assert.match(draft.save(['tcp_port', 'udp_enabled']), /wrong/);
  draft.discard();
  draft.edit('ap_mode', '2');  // its channel 36 is now wrong
  assert.match(draft.save(['ap_mode', 'ap_channel']), /wrong/);
  draft.discard();
  draft.edit('camera_psk', 'é'.repeat(60));
  assert.match(draft.save(['camera_psk']), /Too long .* shorten Camera password/);
  draft.discard();
  box.connected = false;
  draft.edit('udp_enabled', '0');
  assert.match(draft.save(['udp_enabled']), /connection/);
  assert.match(makeDraft(() => true).save(['udp_enabled']), /not reported/);
  assert.deepEqual(saved(), []);
});

test('a change is confirmed by a report, or said to be not; edits outlive other changes', () => {
  const { box, draft, saved } = draftOf(everyKey);
  const passUntil = (time: number) => { for (; box.now < time; box.now += 100) draft.passTime(); };
  draft.edit('audio_volume', '5');
  draft.edit('tcp_port', '99');
  draft.edit('focus_assistant_enabled', '0');
  draft.edit('osd_top_offset', '7');
  assert.deepEqual(draft.restarts(draft.changed()), ['all streams', 'the HUD']);
  assert.equal(draft.save(['audio_volume', 'tcp_port', 'focus_assistant_enabled']), '');
  draft.takeReport(everyKey);
  assert.equal(saved().length, 3);
  draft.takeReport(everyKey);  // was on its way before
  assert.deepEqual(['audio_volume', 'tcp_port', 'focus_assistant_enabled'].map(draft.mark),
    ['saving', 'saving', 'sent']);
  passUntil(2500);
  assert.deepEqual(['audio_volume', 'tcp_port'].map(draft.mark), ['not confirmed', 'saving']);
  assert.ok(box.sent.filter(({ cmd }) => cmd === 'configrequest').length > 2);
  draft.takeReport({ ...everyKey, tcp_port: 99, osdtof: 8, rcin_pan: 3 });
  assert.equal(draft.mark('tcp_port'), 'saved');
  assert.deepEqual([draft.value('osd_top_offset'), draft.isElsewhere('osd_top_offset')], ['7', true]);
  assert.equal(draft.value('rc_input_speed_pan'), '3');
  assert.deepEqual(draft.changed(), ['audio_volume', 'osd_top_offset']);
  draft.takeReport({ ...everyKey, avol: 5 });
  assert.equal(draft.mark('audio_volume'), 'saved');
});

test('a save leaves alone what others changed meanwhile', () => {
  const { box, draft, saved } = draftOf(everyKey);
  draft.edit('osd_border_height', '4');
  draft.edit('tcp_port', '99');
  assert.equal(draft.save(['osd_border_height', 'tcp_port']), '');
  draft.takeReport({ ...everyKey, osdbrdw: 11, tcp_port: 98 });
  assert.deepEqual(saved(), [{ cmd: 'updateparam', name: 'osd_borders', value: '11', value2: '4' }]);
  assert.deepEqual([draft.isElsewhere('tcp_port'), draft.mark('osd_border_height')], [true, 'saving']);
  assert.equal(draft.save(['tcp_port']), '');  // the person insists, but no report comes
  for (; box.now < 2500; box.now += 100) draft.passTime();
  assert.equal(draft.mark('tcp_port'), 'not confirmed');
  draft.takeReport(everyKey);
  assert.equal(saved().length, 1);  // given up
  draft.save(['tcp_port']);
  draft.takeBroken(true);  // else what breaks the report could not be changed
  assert.equal(saved().length, 2);
});

test('an exported file holds what the box saves, and comes back the same', () => {
  const lines = (text: string) => text.split(/\r?\n/).filter((line) => line && !line.startsWith('#'));
  const unknown = /^(focus_assistant_enabled|camera_iface)=/;  // to the report
  const expected = lines(data('every_key.saved.conf')).filter((line) => !unknown.test(line));
  const file = exportSettings(everyKey, true);
  assert.deepEqual(lines(file), expected);
  assert.deepEqual(differences(importSettings(file), everyKey), []);
  const open = exportSettings(everyKey, false);
  assert.doesNotMatch(open, /north;pole|home pass|osmo-secret|tr0ub4dor/);
  assert.equal(lines(open).length, expected.length - 4);
  const own = importSettings(data('every_key.saved.conf'));
  assert.deepEqual(differences(own, everyKey).map(({ key }) => key),
    ['camera_iface', 'focus_assistant_enabled']);
});

test('a file is read as the box reads it', () => {
  interface Line { file: string; saved_line: string; why: string }
  const cases = JSON.parse(data('reader_lines.json')) as Line[];
  for (const { file, saved_line: saved, why } of cases.filter((line) => !line.why.includes('default'))) {
    const [, key = '', value = ''] = /^(\w+)=(.*)$/.exec(saved) ?? [];
    const setting = findSetting(key);
    assert.ok(setting && isInFile(setting));
    const expected = setting.kind === 'quoted text' ? value.slice(1, -1) : value;
    assert.equal(importSettings(file).values.get(key) ?? '0', expected, why);
  }
  assert.deepEqual(importSettings('udp_enabld=1\n\ufffd\ntcp_port=1\0 2\n').unread, ['udp_enabld', '\ufffd']);
});

test('the last good report stays, a broken one is told once; names of a scan are escaped but for quotes', () => {
  const store = makeStore();
  const told: string[] = [];
  const take = makeReplyReader();
  const say = (text: string) => { take(text, store, (line) => { told.push(line); }); };
  say(data('every_key.report.json').trim());
  say('{"udp_en":1,"rtmp_url":"a"b"}');
  say('{"udp_en":1,"rtmp_url":"a"b"}');
  assert.equal(told.length, 1);
  assert.equal(store.get('report')?.rtmp_url, everyKey.rtmp_url);
  say('{"udp_en":1,"vw":null,"avol":{"x":1},"ifaces":[{"name":"e","addr":"1.2.3.4"},{"name":7},null]}');
  assert.deepEqual(store.get('report'), { udp_en: 1, ifaces: [{ name: 'e', addr: '1.2.3.4' }] });
  say('{"cmd":"wlanscan","param":"2","value":"A"}"B,,<b>\\,Caf\\xC3\\xA9 5%,\\xC3"}');
  assert.deepEqual(store.get('scan'), { radio: 'wlan0', names: ['A"}"B', '', '<b>\\', 'Caf\u00e9 5%', '\\xC3'] });
  say('{"cmd":"wlanscan","param":"1","value":""}');
  assert.deepEqual(store.get('scan'), { radio: 'wifi0', names: [] });
  say('{"cmd":"else"}');
  assert.equal(told.length, 1);
});
