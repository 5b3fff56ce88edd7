// The settings as the box reports them and as the person wants them: what is edited, wrong, on its way,
// confirmed by a report, or changed meanwhile by someone else.
import type { Report } from './replies.js';
import { faultOf } from './settings_checks.js';
import { buildCommands, valueInReport, type SettingCommand } from './settings_commands.js';
import { findSetting, resolutions, restartOf, settings } from './settings_list.js';

export type Mark = '' | 'saving' | 'saved' | 'not confirmed' | 'sent';

interface Field {
  reported?: string | undefined;
  edited?: string | undefined;
  sent?: string;       // the last value that was sent and is never reported
  elsewhere: boolean;  // the report changed under an edit
  mark: Mark;
  // To be sent once a fresh report has come, or sent and to be confirmed.
  pending?: { isSent: boolean; until: number } | undefined;
}

export interface Draft {
  // What the field shows; nothing while nothing is known of it.
  value: (key: string) => string | undefined;
  reported: (key: string) => string | undefined;
  isEdited: (key: string) => boolean;
  isElsewhere: (key: string) => boolean;
  mark: (key: string) => Mark;
  fault: (key: string) => string;  // empty: right, or not edited
  report: () => Report | undefined;
  edit: (key: string, value: string) => void;
  changed: (keys?: string[]) => string[];
  restarts: (keys: string[]) => string[];
  // Asks for a report, and when it comes sends what of these is edited and was not changed elsewhere: a
  // command may hold other settings as well, which must be as they are now. Returns why not, or nothing.
  save: (keys: string[]) => string;
  discard: () => void;
  takeReport: (report: Report) => void;
  // A report came that cannot be read, or no longer.
  isBroken: () => boolean;
  takeBroken: (broken: boolean) => void;
  // Asks again for what is not confirmed, and gives up in time. To be called a few times a second.
  passTime: () => void;
  reset: () => void;
  subscribe: (listener: () => void) => void;
}

const confirmWithin = 2000;
const confirmWithinRestart = 5000;
const askAgain = 600;
const sides = ['video_width', 'video_height'];

type Send = (members: Record<string, string>) => boolean;

function tooLongText(command: SettingCommand): string {
  const names = command.keys.map((key) => findSetting(key)?.label ?? key).join(', ');
  const whole = command.parameter === 'wifi'
    ? ' (names and passwords of all three networks go together)' : '';
  return `Too long for one command by ${command.tooLong} characters: shorten ${names}${whole}.`;
}

// now: milliseconds.
export function makeDraft(send: Send, now: () => number = () => performance.now()): Draft {
  let fields = new Map<string, Field>();
  let report: Report | undefined;
  let askedAt = 0;
  let broken = false;
  const listeners: (() => void)[] = [];
  const changes = () => { for (const listener of listeners) listener(); };

  const field = (key: string): Field => {
    const found = fields.get(key) ?? { elsewhere: false, mark: '' };
    fields.set(key, found);
    return found;
  };
  const value = (key: string) => field(key).edited ?? field(key).reported ?? field(key).sent;
  const valueText = (key: string) => value(key) ?? '';
  const isEdited = (key: string) => field(key).edited !== undefined;
  const fault = (key: string) => {
    // The channel of the access point is right or wrong with the band.
    const checked = isEdited(key) || (key === 'ap_channel' && isEdited('ap_mode'));
    return checked ? faultOf(key, valueText(key), { report, value: valueText }) : '';
  };
  const changed = (keys = settings.map((setting) => setting.key)) => keys.filter(isEdited);

  const editOne = (key: string, text: string) => {
    const known = field(key);
    known.edited = text === (known.reported ?? '') ? undefined : text;
    known.elsewhere = false;
    known.mark = '';
    known.pending = undefined;
  };
  // Width and height of the picture change together.
  const editOtherSide = (key: string, text: string) => {
    const side = sides.indexOf(key);
    const other = resolutions.find((resolution) => resolution[side] === text)?.[1 - side];
    if (other !== undefined) editOne(sides[1 - side] ?? '', other);
  };

  const takeValue = (known: Field, reported: string | undefined) => {
    const differs = known.reported !== undefined && known.reported !== reported;
    known.reported = reported;
    if (reported === undefined) return;
    if (known.edited === reported) {
      known.edited = undefined;
      known.elsewhere = false;
      known.mark = known.pending || known.mark === 'not confirmed' ? 'saved' : '';
      known.pending = undefined;
    } else if (differs && !known.pending?.isSent) {
      known.elsewhere = known.edited !== undefined;
      known.mark = '';
      known.pending = undefined;
    }
  };

  const markSent = (command: SettingCommand) => {
    const patience = restartOf(command.parameter) ? confirmWithinRestart : confirmWithin;
    for (const key of command.keys) {
      const known = field(key);
      const sent = known.edited;
      if (sent === undefined) continue;
      if (findSetting(key)?.report === undefined) {
        known.sent = sent;
        known.edited = undefined;
        known.mark = 'sent';
        known.pending = undefined;
      } else known.pending = { isSent: true, until: now() + patience };
    }
  };
  const ask = () => {
    askedAt = now();
    return send({ cmd: 'configrequest' });
  };

  const commandsFor = (keys: string[]) => buildCommands(keys, (key) =>
    keys.includes(key) || field(key).pending ? valueText(key) : field(key).reported ?? field(key).sent ?? '');

  const withOtherSide = (keys: string[]) =>
    keys.some((key) => sides.includes(key)) ? [...new Set([...keys, ...sides])] : keys;

  const save = (keys: string[]): string => {
    if (!report) return 'Not saved: the box has not reported its settings yet.';
    const wanted = changed(withOtherSide(keys));
    if (wanted.length === 0) return 'Nothing has been changed.';
    if (keys.some(fault)) return 'Not saved: some values are wrong.';
    const tooLong = commandsFor(wanted).find((command) => command.tooLong > 0);
    if (tooLong) return tooLongText(tooLong);
    if (!ask()) return 'Not saved: there is no connection.';
    for (const key of wanted) {
      const pending = { isSent: false, until: now() + confirmWithin };
      Object.assign(field(key), { elsewhere: false, mark: 'saving', pending });
    }
    changes();
    return '';
  };
  const sendSaved = () => {
    const wanted = settings.map(({ key }) => key).filter((key) => field(key).pending?.isSent === false);
    for (const command of commandsFor(wanted)) if (send(command.members)) markSent(command);
    if (wanted.length > 0) ask();
    changes();
  };

  return {
    value, isEdited, fault, changed, save,
    reported: (key) => field(key).reported,
    isElsewhere: (key) => field(key).elsewhere,
    mark: (key) => field(key).mark,
    report: () => report,
    edit: (key, text) => {
      editOne(key, text);
      editOtherSide(key, text);
      changes();
    },
    restarts: (keys) => {
      const texts = commandsFor(keys).map((command) => restartOf(command.parameter));
      return [...new Set(texts.filter((text) => text !== undefined))];
    },
    discard: () => {
      for (const known of fields.values())
        Object.assign(known, { edited: undefined, elsewhere: false, mark: '', pending: undefined });
      changes();
    },
    takeReport: (fresh) => {
      report = fresh;
      for (const setting of settings) takeValue(field(setting.key), valueInReport(setting, fresh));
      sendSaved();
    },
    isBroken: () => broken,
    takeBroken: (now) => {
      broken = now;
      if (broken) sendSaved();  // else it could never be mended
      else changes();
    },
    passTime: () => {
      const waiting = [...fields.values()].filter((known) => known.pending);
      for (const known of waiting) {
        if (known.pending && now() >= known.pending.until) {
          known.pending = undefined;
          known.mark = 'not confirmed';
        }
      }
      if (waiting.length === 0) return;
      if (waiting.some((known) => known.pending) && now() - askedAt >= askAgain) ask();
      changes();
    },
    reset: () => {
      fields = new Map();
      report = undefined;
      broken = false;
      changes();
    },
    subscribe: (listener) => { listeners.push(listener); },
  };
}
