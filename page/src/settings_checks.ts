// What is wrong with a setting's value, before it is sent. Values are texts, as the settings file has them.
import { interfacesOf, type Report } from './replies.js';
import {
  channelCount, channelFunctions, choicesOf, findSetting, isText, longestText, type Setting,
} from './settings_list.js';

export interface Surroundings {
  report: Report | undefined;
  // What another setting is to be.
  value: (key: string) => string;
}

const longestLine = 199;  // of the settings file
const udpReceivers = 10;
const ownInputs = [3001, 4001, 4242, 5000, 5001];  // of the box
const largestNumber = 2 ** 31 - 1;

export const byteLength = (text: string) => new TextEncoder().encode(text).length;

function isNumber(text: string, lowest: number, highest: number): boolean {
  const number = Number(text);
  return /^(0|-?[1-9]\d{0,9})$/.test(text) && number >= lowest && number <= highest;
}

export function isIpv4(text: string): boolean {
  const parts = text.split('.');
  return parts.length === 4 && parts.every((part) => isNumber(part, 0, 255));
}

function isTheBox(address: string, report: Report | undefined): boolean {
  return /^127\.|^0\.0\.0\.0$|^255\.255\.255\.255$/.test(address)
    || interfacesOf(report).some((item) => item.addr === address);
}

// ports: how many, from its own up, a receiver gets datagrams at.
function receiverFault(item: string, ports: number, report: Report | undefined): string {
  const [address = '', port = '', ...rest] = item.split(':');
  if (rest.length > 0 || !isIpv4(address) || !isNumber(port, 1, 65536 - ports))
    return `"${item}" is not address:port, such as 192.168.1.10:5000`;
  const first = Number(port);
  if (isTheBox(address, report) && ownInputs.some((own) => own >= first && own < first + ports))
    return `"${item}": the box itself receives there`;
  return '';
}

function receiversFault(list: string, ports: number, report: Report | undefined): string {
  const faults = list.split(',').map((item) => receiverFault(item, ports, report));
  return list ? faults.find((fault) => fault) ?? '' : '';
}

function mapFault(map: string): string {
  const names = map.split(',');
  if (names.length > channelCount) return `more than ${channelCount} channels`;
  const wrong = names.find((name) => name && !Object.keys(channelFunctions).includes(name));
  return wrong === undefined ? '' : `"${wrong}" is no function of a channel`;
}

function channelFault(channel: string, band: string): string {
  const [lowest, highest] = band === '5' ? [36, 42] : [1, 13];
  if (isNumber(channel, lowest, highest)) return '';
  return `not within ${lowest} to ${highest}, the channels of ${band === '5' ? '5' : '2.4'} GHz`;
}

type Check = (value: string, around: Surroundings) => string;
const say = (right: boolean, fault: string) => right ? '' : fault;

const checks: Record<string, Check> = {
  udp_clients: (value, { report }) => value.split(',').length > udpReceivers
    ? `more than ${udpReceivers} receivers` : receiversFault(value, 2, report),
  mpegts_clients: (value, { report }) => receiversFault(value, 1, report),
  rc_input_map: mapFault,
  ap_channel: (value, around) => channelFault(value, around.value('ap_mode')),
  ap_country: (value) => say(/^(00|[A-Z]{2})?$/.test(value), 'not a country code such as 00, CN or US'),
  rtmp_url: (value) => say(/^(rtmps?:\/\/[^\s/]+\S*)?$/.test(value),
    'not an address such as rtmp://host/live'),
  server_host: (value) => say(value === '' || isIpv4(value), 'not an IPv4 address such as 192.0.2.5'),
};

function textFault(setting: Setting, value: string): string {
  const length = byteLength(value);
  const quotes = setting.kind === 'quoted text' ? 2 : 0;
  const room = Math.min(longestText(setting), longestLine - setting.key.length - 1 - quotes);
  if (length > room) return `${length} characters (as UTF-8 bytes), ${room} at most`;
  if (/["\\]/.test(value)) return 'the box cannot keep or report a quote or a backslash';
  if (/[\0-\x1f\x7f]/.test(value)) return 'holds a control character';
  if (/\s;/.test(value)) return 'in the settings file a comment begins at a blank and ;';
  return '';
}

function numberFault(setting: Setting, value: string): string {
  const isByte = setting.kind === 'byte';
  const lowest = setting.lowest ?? 0;
  const highest = setting.highest ?? (isByte ? 255 : largestNumber);
  const unset = value === '0' && (setting.default_for_empty ?? setting.key === 'audio_bitrate');
  if (unset || isNumber(value, lowest, highest)) return '';
  return isNumber(value, -largestNumber, largestNumber)
    ? `not within ${lowest} to ${highest}` : 'not a plain number';
}

function kindFault(setting: Setting, value: string): string {
  const choices = choicesOf(setting);
  if (choices) {
    return say(choices.some((choice) => choice.value === value),
      `none of ${choices.map((choice) => choice.meaning ?? choice.value).join(', ')}`);
  }
  if (isText(setting)) return textFault(setting, value);
  if (setting.kind === 'switch') return say(value === '0' || value === '1', 'neither on nor off');
  return numberFault(setting, value);
}

// Empty when it is right.
export function faultOf(key: string, value: string, around: Surroundings): string {
  const setting = findSetting(key);
  if (!setting) return 'no such setting';
  return kindFault(setting, value) || (checks[key]?.(value, around) ?? '');
}

// What is right for the box now, but will hardly do; empty for nothing.
export function doubtOf(key: string, value: string): string {
  const setting = findSetting(key);
  const length = byteLength(value);
  if (setting?.kind === 'quoted text' && length === longestText(setting))
    return 'So long a text loses its last character when the box starts anew.';
  if (key.endsWith('_ssid') && length > 32) return 'Names of Wi-Fi networks have at most 32 bytes.';
  if (key.endsWith('_psk') && length > 0 && length < 8) return 'WPA passwords have at least 8 characters.';
  return '';
}
