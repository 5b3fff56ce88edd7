// The page: connects the parts.
import type { App } from './app.js';
import { startCamera } from './camera.js';
import { startControls } from './controls.js';
import { byId } from './dom.js';
import { connect } from './live.js';
import { startLogin } from './login.js';
import { startOverlay } from './overlay.js';
import { startPlots } from './plots.js';
import { startPlayer } from './player.js';
import { takeReply } from './replies.js';
import { decodeRecord } from './records.js';
import { startSettings } from './settings.js';
import { startState } from './state.js';
import { makeStore, type PanelState } from './store.js';
import { startViews } from './views.js';

const brace = 0x7b;
const messageStaysMs = 8000;

function makeTell(message: HTMLElement): (text: string) => void {
  let timer: ReturnType<typeof setTimeout> | undefined;
  return (text) => {
    message.textContent = text;
    clearTimeout(timer);
    timer = setTimeout(() => { message.textContent = ''; }, messageStaysMs);
  };
}

function start(): void {
  const store = makeStore();
  const message = byId('message', HTMLElement);
  const tell = makeTell(message);
  const login = startLogin(() => { live.reconnect(); });
  const live = connect({
    open: () => {
      login.hide();
      player.watch();
      app.command({ cmd: 'configrequest' });
    },
    closed: (needed) => {
      player.reset();
      if (needed) login.ask();
      else tell('No connection to the panel, trying again.');
    },
    status: (payload) => {
      if (payload[0] === brace) {
        takeReply(new TextDecoder().decode(payload), store, tell);
        return;
      }
      const record = decodeRecord(payload);
      if (record) store.set(record.name, record.fields);
    },
    picture: (picture) => { player.takePicture(picture); },
    sound: (sound) => { player.takeSound(sound); },
    panel: (json) => {
      const { told, ...said } = JSON.parse(json) as PanelState & { told?: string };
      if (store.get('panel')?.box !== said.box) store.clear();
      store.set('panel', said);
      if (told) tell(told);
    },
  });
  const app: App = {
    live, store, tell,
    command: (members) => {
      const sent = live.send({ command: members });
      if (!sent) tell('Not sent: there is no connection.');
      return sent;
    },
  };
  startViews();
  const player = startPlayer(app);
  startOverlay(app);
  startControls(app);
  startCamera(app);
  startState(app, player);
  startSettings(app);
  startPlots(app, player);
}

start();
