// The settings file of docs/configuration.md: written from a report, and read as the box reads it.
import type { Report } from './replies.js';
import { byteLength } from './settings_checks.js';
import { valueInReport } from './settings_commands.js';
import {
  findSetting, isInFile, isSecret, isText, longestText, settings, type Setting,
} from './settings_list.js';

const longestLine = 199;
const notWritten = '# not in this file: ';

// Nothing for what cannot be told: other interfaces than wifi0 and wlan0 are reported as none.
function valueToWrite(setting: Setting, report: Report): string | undefined {
  const value = valueInReport(setting, report);
  return setting.conversion === 'interface code' && value === '' ? undefined : value;
}

function formatSetting(setting: Setting, value: string): string {
  // Quotes count against the length, so a text that fills it goes without them.
  const quoted = setting.kind === 'quoted text' && byteLength(value) < longestText(setting);
  return `${setting.key}=${quoted ? `"${value}"` : value}`;
}

export function exportSettings(report: Report, withSecrets: boolean): string {
  const lines: string[] = [];
  const left: string[] = [];
  for (const setting of settings.filter(isInFile)) {
    const value = valueToWrite(setting, report);
    if (value === undefined || (isSecret(setting.key) && !withSecrets)) left.push(setting.key);
    else lines.push(formatSetting(setting, value));
  }
  const version = typeof report.version === 'string' ? ` ${report.version}` : '';
  const head = [`# Settings of Fieldrelaybox${version}, exported`, notWritten + left.join(', ')];
  return [...head, ...lines, ''].join('\r\n');
}

// As many bytes of it as that, without a character that is cut in two.
function cutText(text: string, bytes: number): string {
  const all = new TextEncoder().encode(text);
  if (all.length <= bytes) return text;
  return new TextDecoder().decode(all.subarray(0, bytes)).replace(/\ufffd$/, '');
}

function readValue(setting: Setting, text: string): string {
  const number = Number(/^\s*[+-]?\d+/.exec(text)?.[0] ?? 0);
  if (setting.kind === 'switch') return number === 0 ? '0' : '1';
  if (setting.kind === 'byte') return String(number & 255);
  if (!isText(setting)) return String(number);
  const cut = cutText(text, longestText(setting));
  return setting.kind === 'text' ? cut : cut.replaceAll('"', '');
}

// Lines as the box reads them: cut at a NUL, and after so many characters read as a line of its own.
function* linesOf(text: string): Generator<string> {
  for (const line of text.replace(/^\ufeff/, '').split('\n')) {
    let rest = line.replace(/\0.*/, '');
    do {
      const piece = cutText(rest, longestLine);
      yield piece;
      rest = rest.slice(piece.length);
    } while (rest);
  }
}

export interface ImportedFile {
  values: Map<string, string>;
  unread: string[];  // keys or beginnings of lines that say nothing to the box
}

// A comment at the end of a line begins at a blank and a semicolon.
const withoutComment = (text: string) => text.replace(/\s;.*$/s, '').trim();

interface Reading extends ImportedFile {
  inSection: boolean;
  last: Setting | undefined;  // an indented line is another value of it
}

function readKeyLine(reading: Reading, bare: string): void {
  const [, name = bare, value] = /^([^=:]*)[=:](.*)$/s.exec(bare) ?? [];
  const key = name.trim();
  const setting = reading.inSection ? undefined : findSetting(key);
  if (value !== undefined) reading.last = setting;
  if (setting && value !== undefined && isInFile(setting))
    reading.values.set(key, readValue(setting, withoutComment(value)));
  else reading.unread.push(key.slice(0, 40));
}

function readLine(reading: Reading, line: string): void {
  const bare = line.trim();
  if (!bare || /^[;#]/.test(bare)) return;
  if (reading.last && /^\s/.test(line)) {
    reading.values.set(reading.last.key, readValue(reading.last, withoutComment(bare)));
  } else if (/^\[.*\]/.test(bare)) {
    reading.inSection = true;
    reading.last = undefined;
  } else readKeyLine(reading, bare);
}

export function importSettings(text: string): ImportedFile {
  const reading: Reading = { values: new Map(), unread: [], inSection: false, last: undefined };
  for (const line of linesOf(text)) readLine(reading, line);
  return reading;
}

export interface Difference { key: string; now: string | undefined; then: string }

// What of the file differs from the box. What is not reported always does.
export function differences(file: ImportedFile, report: Report): Difference[] {
  return [...file.values].flatMap(([key, then]) => {
    const setting = findSetting(key);
    const now = setting && valueInReport(setting, report);
    return now === then ? [] : [{ key, now, then }];
  });
}
