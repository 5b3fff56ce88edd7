// Settings as the report has them, and the commands that change them. docs/app-protocol.md has both.
import type { Report } from './replies.js';
import { byteLength } from './settings_checks.js';
import { findSetting, interfaces, isText, settings, type Setting } from './settings_list.js';

export interface SettingCommand {
  parameter: string;
  members: Record<string, string>;
  keys: string[];  // that it changes
  tooLong: number; // bytes more than a command has room for; 0 when it fits
}

const longestCommand = 255;

// The value as the settings file has it; nothing for what is not reported.
export function valueInReport(setting: Setting, report: Report): string | undefined {
  const said = setting.report === undefined ? undefined : report[setting.report];
  if (typeof said !== 'string' && typeof said !== 'number') return undefined;
  if (setting.conversion === 'interface code') return interfaces[Number(said)] ?? '';
  if (setting.kind === 'switch') return Number(said) === 0 ? '0' : '1';
  if (isText(setting)) return String(said);
  return String(Number(said));
}

// Of the parameters of a setting the one that changes the least else.
const valueCount = (parameter: string) => Math.max(
  ...settings.flatMap((row) => row.parameters.filter((p) => p.name === parameter).map((p) => p.value)));

function parameterFor(setting: Setting): string {
  const names = setting.parameters.map((parameter) => parameter.name);
  return names.reduce((best, name) => valueCount(name) < valueCount(best) ? name : best);
}

type ValueOf = (key: string) => string;

// As the command has it. Interfaces and the band are left as they are by an empty text: the report does not
// tell every interface.
function onTheWire({ key, conversion }: Setting, value: ValueOf, changed: boolean): string {
  if (conversion === 'interface code') return changed ? String(interfaces.indexOf(value(key))) : '';
  if (conversion === 'band') return changed ? { 2: '2.4', 5: '5' }[value(key)] ?? '' : '';
  if (conversion?.startsWith('resolution')) return `${value('video_width')}x${value('video_height')}`;
  return value(key);
}

function buildCommand(parameter: string, value: ValueOf, changed: string[]): SettingCommand {
  const members: Record<string, string> = { cmd: 'updateparam', name: parameter };
  const count = valueCount(parameter);
  for (let place = 1; place <= count; ++place) {
    const row = settings.find((setting) =>
      setting.parameters.some((p) => p.name === parameter && p.value === place));
    const text = row ? onTheWire(row, value, changed.includes(row.key)) : '';
    // To the box a missing text is an empty one, and there is little room.
    if (text || count === 1) members[place === 1 ? 'value' : `value${place}`] = text;
  }
  const keys = changed.filter((key) => findSetting(key)?.parameters.some((p) => p.name === parameter));
  const tooLong = Math.max(0, byteLength(JSON.stringify(members)) - longestCommand);
  return { parameter, members, keys, tooLong };
}

// The commands that change these settings. value tells what each setting is to be, whether it changes or not.
export function buildCommands(changed: string[], value: ValueOf): SettingCommand[] {
  const rows = changed.map(findSetting).filter((row) => row !== undefined);
  return [...new Set(rows.map(parameterFor))].map((name) => buildCommand(name, value, changed));
}
