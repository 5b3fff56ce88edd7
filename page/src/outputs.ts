// The outputs: on and off, where they go, and the addresses that players open.
import type { App } from './app.js';
import { byId, make } from './dom.js';
import { interfacesOf, type Report } from './replies.js';
import type { Draft } from './settings_draft.js';
import { makeField } from './settings_fields.js';
import { findSetting } from './settings_list.js';

// The hosts by which a player reaches the box. The page's own host is one when the panel runs on the box.
export function hostsOf(report: Report | undefined, box: string, pageHost: string): string[] {
  const own = /^(localhost$|127\.|\[::1\])/;
  const first = own.test(box) && !own.test(pageHost) ? [pageHost] : [];
  const found = new Set([...first, ...interfacesOf(report).map((item) => item.addr)]);
  if (found.size === 0) found.add(own.test(box) ? pageHost : box.replace(/:\d+$/, ''));
  return [...found].filter(Boolean);
}

interface Output {
  key: string;
  note: string;
  addresses: (value: (key: string) => string, hosts: string[]) => string[];
}

const receivers = (list: string) => list.split(',').filter(Boolean);

export const outputs: Output[] = [
  {
    key: 'rtsp_enabled', note: 'Players open it here; without sound.',
    addresses: (_, hosts) => hosts.map((host) => `rtsp://${host}:8554/video`),
  },
  {
    key: 'tcp_enabled', note: 'Players open it here.',
    addresses: (value, hosts) => value('tcp_port') === '0' ? []
      : hosts.map((host) => `tcp://${host}:${value('tcp_port')}`),
  },
  {
    key: 'mpegts_enabled', note: 'Goes to these receivers.',
    addresses: (value) => receivers(value('mpegts_clients')).map((item) => `udp://${item}`),
  },
  {
    key: 'rtmp_enabled', note: 'Goes to this server.',
    addresses: (value) => [value('rtmp_url')].filter(Boolean),
  },
  {
    key: 'udp_enabled', note: 'Goes to these receivers; sound to the port above.',
    addresses: (value) => receivers(value('udp_clients')).map((item) => `udp://${item}`),
  },
];

// Where the page may not write the clipboard: the text is selected, and copied if the browser still does.
function copyBySelecting(input: HTMLInputElement): boolean {
  input.focus();
  input.select();
  try {
    // Deprecated, but all there is on a page that came by plain HTTP.
    // eslint-disable-next-line @typescript-eslint/no-deprecated
    return document.execCommand('copy');
  } catch {
    return false;
  }
}

async function copy(input: HTMLInputElement): Promise<boolean> {
  try {
    await navigator.clipboard.writeText(input.value);
    return true;
  } catch {
    return copyBySelecting(input);
  }
}

function makeAddress(app: App, address: string): HTMLElement {
  const input = make('input', { type: 'text', readonly: '', value: address, 'aria-label': 'Address' });
  const button = make('button', { type: 'button', 'aria-label': `Copy ${address}` }, 'Copy');
  button.addEventListener('click', () => {
    void copy(input).then((copied) => {
      app.tell(copied ? `Copied: ${address}` : 'The browser does not copy: the address is selected.');
    });
  });
  return make('li', { class: 'address' }, input, button);
}

function makeOutput(app: App, draft: Draft, output: Output): HTMLElement {
  const list = make('ul', { class: 'addresses' });
  const none = make('p', { class: 'help' }, 'No address yet: it is set in Settings, Streams.');
  const card = make('div', { class: 'card' }, makeField(draft, output.key, false),
    make('p', { class: 'help' }, output.note), list, none);
  let last = '';
  const refresh = () => {
    const hosts = hostsOf(draft.report(), app.store.get('panel')?.box ?? '', location.hostname);
    const found = output.addresses((key) => draft.reported(key) ?? '', hosts);
    card.dataset.value = draft.reported(output.key) ?? '';
    if (found.join(' ') === last) return;
    last = found.join(' ');
    list.replaceChildren(...found.map((address) => makeAddress(app, address)));
    none.hidden = found.length > 0;
  };
  // A switch here is for now: it is sent at once.
  card.addEventListener('change', (event) => {
    if (!(event.target instanceof HTMLInputElement) || event.target.type !== 'checkbox') return;
    const problem = draft.save([output.key]);
    if (problem) app.tell(problem);
  });
  draft.subscribe(refresh);
  return card;
}

export function startOutputs(app: App, draft: Draft): void {
  const known = outputs.filter((output) => findSetting(output.key));
  byId('state-view', HTMLElement).append(make('section', { id: 'outputs-view' },
    make('h2', {}, 'Addresses of the outputs'),
    make('div', { class: 'cards' }, ...known.map((output) => makeOutput(app, draft, output)))));
}
