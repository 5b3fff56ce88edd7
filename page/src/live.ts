// The connection to the panel: one WebSocket, opened again whenever it ends. docs/panel.md has the bytes.

export interface PictureMessage {
  key: boolean;
  damaged: boolean;
  followsGap: boolean;
  timeUs: number;       // when it came to the panel
  accessUnit: Uint8Array;  // Annex B
}
export interface SoundMessage { timeUs: number; frame: Uint8Array }  // one ADTS frame

export type Request =
  | { watch: boolean; sound: boolean }
  | { command: Record<string, string> }
  | { hold: 'gimbal' | 'zoom'; a: number; b?: number }
  | { release: 'gimbal' | 'zoom' }
  | { box: string };

export interface FromPanel {
  open: () => void;
  // loginNeeded: it was refused for want of a session.
  closed: (loginNeeded: boolean) => void;
  status: (payload: Uint8Array) => void;
  picture: (picture: PictureMessage) => void;
  sound: (sound: SoundMessage) => void;
  panel: (json: string) => void;
}

export interface Live {
  // False when there is no connection: what is asked for meanwhile is lost, and told as lost.
  send: (request: Request) => boolean;
  connected: () => boolean;
  received: () => number;  // bytes, so far
  // At once, in place of the pause before the next try.
  reconnect: () => void;
}

const mediaHeader = 10;

// Hands over what a message holds; what is none is ignored.
export function takeMessage(data: ArrayBuffer, to: FromPanel): void {
  const bytes = new Uint8Array(data);
  const view = new DataView(data);
  const kind = bytes[0];
  if (kind === 0) to.status(bytes.subarray(1));
  else if (kind === 3) to.panel(new TextDecoder().decode(bytes.subarray(1)));
  else if ((kind === 1 || kind === 2) && bytes.length > mediaHeader) {
    const timeUs = view.getUint32(2, true) + view.getUint32(6, true) * 2 ** 32;
    const content = bytes.subarray(mediaHeader);
    const flags = view.getUint8(1);
    if (kind === 2) to.sound({ timeUs, frame: content });
    else to.picture({
      key: (flags & 1) !== 0, damaged: (flags & 2) !== 0, followsGap: (flags & 4) !== 0, timeUs,
      accessUnit: content,
    });
  }
}

const shortestPause = 500;
const longestPause = 5000;

// A refused connection looks to a page like any other that fails: whether a login is missing is asked.
async function loginIsNeeded(): Promise<boolean> {
  try {
    return (await fetch('session', { cache: 'no-store' })).status === 401;
  } catch {
    return false;
  }
}

export function connect(to: FromPanel): Live {
  let socket: WebSocket | undefined;
  let pause = shortestPause;
  let received = 0;
  let timer: ReturnType<typeof setTimeout> | undefined;

  const open = () => {
    clearTimeout(timer);
    const address = new URL('live', location.href);
    address.protocol = address.protocol.replace('http', 'ws');
    const fresh = new WebSocket(address);
    socket = fresh;
    fresh.binaryType = 'arraybuffer';
    fresh.onopen = () => { pause = shortestPause; to.open(); };
    fresh.onmessage = (event: MessageEvent<unknown>) => {
      if (event.data instanceof ArrayBuffer && event.data.byteLength > 0) {
        received += event.data.byteLength;
        takeMessage(event.data, to);
      }
    };
    fresh.onclose = () => {
      if (socket !== fresh) return;
      socket = undefined;
      void loginIsNeeded().then((needed) => {
        to.closed(needed);
        if (needed) return;  // until someone logs in
        timer = setTimeout(open, pause);
        pause = Math.min(longestPause, pause * 2);
      });
    };
  };
  open();
  const connected = () => socket?.readyState === WebSocket.OPEN;
  return {
    connected,
    received: () => received,
    send: (request) => {
      if (!connected()) return false;
      socket?.send(JSON.stringify(request));
      return true;
    },
    reconnect: () => { if (!socket) open(); },
  };
}
