// The state bar, and the view with everything that is known and how old it is.
import type { App, Player } from './app.js';
import {
  cardState, clockText, fileTypes, focusModes, hasCard, isRecording, named, playbackModes, rcStates, sizeText, warnings,
  workModes,
} from './camera_codes.js';
import { byId, make } from './dom.js';
import { hasLoggedIn, logOut } from './login.js';
import { isAlive } from './state_alive.js';
import { ageText, linkWords, qualityText, showState, startBar } from './state_bar.js';
import type { ValueName, Values } from './store.js';
import { setTheme, theme, themes } from './views.js';
import { button, buttons, card, commandButton, commandOf, row, selectField } from './widgets.js';

const far = 65535;

interface Row { label: string; name: ValueName; text: () => string | undefined }
type RowMaker = <N extends ValueName>(label: string, name: N, text: (value: Values[N]) => string) => Row;

const yesNo = (yes: boolean) => (yes ? 'yes' : 'no');
const onOff = (on: boolean) => (on ? 'on' : 'off');

function linkRows(of: RowMaker): Row[] {
  const bit = (label: string, mask: number) =>
    of(label, 'box', ({ flags }) => yesNo((flags & mask) !== 0));
  const text = (report: Values['report'], key: string) => {
    const value = report[key];
    return typeof value === 'string' || typeof value === 'number' ? String(value) : '';
  };
  return [
    of('Box', 'panel', ({ box, heard }) => `${box || 'none'}${heard ? '' : ', not heard'}`),
    of('Version', 'version', ({ major, minor, patch }) => `${major}.${minor}.${patch}`),
    of('Version of the panel', 'panel', ({ version }) => version),
    of('Camera', 'dataLink', ({ state }) => named(linkWords, state)),
    of('Video', 'videoLink', ({ state }) => named(linkWords, state)),
    of('Apps', 'box', ({ apps }) => String(apps)),
    of('Browsers', 'panel', ({ viewers }) => String(viewers)),
    bit('Access point runs', 0x02), bit('HDMI', 0x04), bit('Internet', 0x08), bit('Camera disabled', 0x20),
    of('Relay server', 'report', (report) => Number(report.s1)
      ? `on, ${text(report, 's2')}:${text(report, 's3')}` : 'off'),
  ];
}

function outputRows(of: RowMaker): Row[] {
  return ['UDP', 'RTMP', 'MPEG-TS', 'TCP', 'RTSP'].map((label, bit) =>
    of(label, 'box', ({ outputs }) => onOff(((outputs >> bit) & 1) === 1)));
}

function cameraRows(of: RowMaker): Row[] {
  return [
    of('Mode', 'camera', ({ workMode }) => named(workModes, workMode)),
    of('Recording', 'camera', ({ flags, recordingSeconds }) =>
      (isRecording(flags) ? clockText(recordingSeconds) : 'no')),
    of('Time left', 'camera', ({ recordSecondsLeft }) => clockText(recordSecondsLeft)),
    of('Photos left', 'camera', ({ photosLeft }) => String(photosLeft)),
    of('Card', 'camera', ({ flags, cardFreeMb, cardSizeMb }) =>
      cardState(flags) + (hasCard(flags) ? `, ${sizeText(cardFreeMb)} of ${sizeText(cardSizeMb)} free` : '')),
    of('Warnings', 'camera', ({ flags }) => warnings(flags) || 'none'),
    of('Battery', 'battery', ({ percent, millivolts, milliamps }) =>
      `${percent} %, ${(millivolts / 1000).toFixed(2)} V, ${milliamps} mA`),
    of('Playback', 'playback', ({ mode, fileType, files }) =>
      `${named(playbackModes, mode)}, ${named(fileTypes, fileType)}, ${files} files`),
  ];
}

function lensRows(of: RowMaker): Row[] {
  const metres = (cm: number) => (cm === far ? 'far' : `${cm / 100} m`);
  const degrees = (value: number) => `${value.toFixed(1)}°`;
  return [
    of('Focus', 'lens', ({ focusMode, afUnlimited }) =>
      named(focusModes, focusMode) + (afUnlimited ? ', unlimited' : '')),
    of('Manual focus', 'lens', ({ manualFocusCapable }) => (manualFocusCapable ? 'possible' : 'not possible')),
    of('Focus status', 'lens', ({ focusStatus, supportType }) => `${focusStatus}, lens type ${supportType}`),
    of('Focus assistants', 'lens', ({ assistantBits }) =>
      `manual ${onOff((assistantBits & 1) !== 0)}, auto ${onOff((assistantBits & 2) !== 0)}`),
    of('Focus position', 'focusRange', ({ stroke, range }) => `${stroke} of ${range}`),
    of('Object', 'focusRange', ({ distanceCm }) => metres(distanceCm)),
    of('Focus point', 'focusPoint', ({ x, y }) =>
      (x || y ? `${Math.round(x * 100)} %, ${Math.round(y * 100)} %` : 'not set')),
    of('Pan, tilt, roll', 'attitude', ({ a, b, c }) => [a, b, c].map(degrees).join('  ')),
    of('As the gimbal counts', 'rawAttitude', ({ a, b, c }) => [a, b, c].join('  ')),
    of('Gimbal status', 'gimbal', ({ status }) => String(status)),
  ];
}

function radioRows(of: RowMaker): Row[] {
  return [
    of('Camera\u2019s Wi-Fi', 'wifi', ({ ssid }) => (ssid === '(null)' ? 'none' : ssid)),
    of('Quality', 'wifi', qualityText),
    of('Signal', 'wifi', ({ signalDbm, frequencyMhz }) =>
      (frequencyMhz ? `${signalDbm} dBm at ${frequencyMhz} MHz` : 'none')),
    of('RC', 'box', ({ rcState }) => named(rcStates, rcState)),
    of('RC channels', 'rc', ({ channels }) => `${channels.filter((value) => value > 0).length} in use`),
  ];
}

function pictureRows(of: RowMaker, player: Player): Row[] {
  const megabytes = (bytes: number) => `${(bytes / 1e6).toFixed(1)} MB`;
  return [
    of('Way', 'panel', () => player.state().way),
    of('Shown', 'panel', () => `${player.state().shown} pictures, ${player.state().leftOut} left out`),
    of('Behind', 'panel', () => `${Math.round(player.state().behindMs)} ms`),
    of('Came', 'panel', ({ videoDatagrams, videoBytes }) =>
      `${videoDatagrams} datagrams, ${megabytes(videoBytes)}`),
    of('Lost', 'panel', ({ lost, damagedPictures }) =>
      `${lost} datagrams, ${damagedPictures} pictures damaged`),
  ];
}

interface Part { element: HTMLElement; update?: () => void }

// Shows a table and returns how to bring it up to date. What is no longer so is grey beside its age.
function table(app: App, title: string, rows: Row[]): Part {
  const cells = rows.map(({ label }) => ({ label, value: make('td'), age: make('td') }));
  const body = make('tbody', {}, ...cells.map(({ label, value, age }) =>
    make('tr', {}, make('th', { scope: 'row' }, label), value, age)));
  const update = () => {
    rows.forEach(({ name, text }, i) => {
      const cell = cells[i];
      if (!cell) return;
      const said = text();
      showState(app, cell.value, name, said === undefined ? undefined : { value: said });
      cell.value.classList.toggle('stale', !isAlive(app.store, name));
      cell.age.textContent = said === undefined ? '' : ageText(app.store.age(name));
    });
  };
  return { element: card(title, make('table', { class: 'values' }, body)), update };
}

function pageCard(): Part {
  const look = selectField(themes.map((name) => [name, name] as const));
  look.id = 'theme';
  look.value = theme();
  look.addEventListener('change', () => { setTheme(look.value); });
  const leave = button('Log out', () => { void logOut(); });
  leave.id = 'log-out';
  return {
    element: card('This page', make('div', { class: 'rows' }, ...row('Light or dark', look)), leave),
    update: () => { leave.hidden = !hasLoggedIn(); },
  };
}

function boxCard(app: App): Part {
  const words = { restart: 'Restart program', reboot: 'Reboot box', shutdown: 'Shut box down' };
  const all = Object.entries(words).map(([cmd, text]) => commandButton(app, text, commandOf(cmd),
    `${text}? All streams end.${cmd === 'shutdown' ? ' Only its power supply starts it again.' : ''}`));
  return { element: card('Box', buttons('Box', ...all)) };
}

export function startState(app: App, player: Player): void {
  const of: RowMaker = (label, name, text) => ({
    label, name,
    text: () => {
      const value = app.store.get(name);
      return value === undefined ? undefined : text(value);
    },
  });
  const parts = [
    table(app, 'Links', linkRows(of)), table(app, 'Camera', cameraRows(of)),
    table(app, 'Lens and gimbal', lensRows(of)), table(app, 'Wi-Fi and RC', radioRows(of)),
    table(app, 'Outputs', outputRows(of)), table(app, 'Picture', pictureRows(of, player)), boxCard(app), pageCard(),
  ];
  const view = byId('state-view', HTMLElement);
  view.append(...parts.map(({ element }) => element));
  const updateBar = startBar(app);
  const updateView = () => { if (!view.hidden) for (const { update } of parts) update?.(); };
  setInterval(() => {
    updateBar();
    updateView();
  }, 1000);
  window.addEventListener('resize', updateView);  // another tab was chosen, too
}
