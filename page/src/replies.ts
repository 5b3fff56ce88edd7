// The JSON replies of the box. Their texts are not escaped, so each is read with care: a report that is no
// JSON is told, and the last good one stays.
import { interfaces } from './settings_list.js';
import type { Store } from './store.js';

export type Report = Record<string, unknown>;
export const brokenReport =
  "The box's report cannot be read: a setting holds a quote or backslash. What is shown may be old.";
export interface Interface { name: string; addr: string }

// The box's own addresses, as the report has them.
export function interfacesOf(report: Report | undefined): Interface[] {
  return Array.isArray(report?.ifaces) ? report.ifaces as Interface[] : [];
}

function isInterface(item: unknown): item is Interface {
  const { name, addr } = (item ?? {}) as Record<string, unknown>;
  return typeof name === 'string' && typeof addr === 'string';
}

// Texts, numbers and the interfaces; what is something else is left out. Nothing for what is no report.
function readReport(text: string): Report | undefined {
  const report: Report = {};
  try {
    const said: unknown = JSON.parse(text);
    for (const [name, value] of Object.entries(said as object)) {
      if (typeof value === 'string' || typeof value === 'number') report[name] = value;
      else if (name === 'ifaces' && Array.isArray(value)) report[name] = value.filter(isInterface);
    }
  } catch {
    return undefined;
  }
  return report;
}

// A name may hold quotes, so from the outside in. A comma in a name cannot be told from one between two.
const scanReply = /^\{"cmd":"wlanscan","param":"([12])","value":"([^]*)"\}$/;

// A scan tells each byte that is no printable ASCII as \xC3.
function plainName(told: string): string {
  try {
    return decodeURIComponent(told.replaceAll('%', '%25').replace(/\\x([0-9A-F]{2})/gi, '%$1'));
  } catch {
    return told;
  }
}

export function makeReplyReader(): (text: string, store: Store, tell: (text: string) => void) => void {
  let told = '';
  return (text, store, tell) => {
    const scan = scanReply.exec(text);
    if (scan) {
      const list = scan[2] ?? '';
      store.set('scan', { radio: interfaces[Number(scan[1])] ?? '', names: list ? list.split(',').map(plainName) : [] });
    } else if (text.startsWith('{"udp_en":')) {
      const report = readReport(text);
      if (report) {
        told = '';
        store.set('report', report);
      }
      store.set('broken', !report);
      if (!report && text !== told) {
        told = text;
        tell(brokenReport);
      }
    }
  };
}

export const takeReply = makeReplyReader();
