// Gimbal, zoom, record and photo: what drives the camera.
import type { App } from './app.js';
import { makeDrive } from './controls_drive.js';
import { startGamepad } from './controls_gamepad.js';
import { startGimbalView } from './controls_gimbal.js';
import { startKeys } from './controls_keys.js';
import { startPad } from './controls_pad.js';
import { byId } from './dom.js';

const checkEveryMs = 500;

export function startControls(app: App): void {
  const drive = makeDrive(app);
  startGimbalView(app);
  const updates = [startPad(app, drive), startKeys(app, drive)];
  startGamepad(drive, (text) => { byId('game-pad', HTMLElement).textContent = text; });
  const update = () => { for (const one of updates) one(); };
  app.store.subscribe('panel', update);
  setInterval(update, checkEveryMs);
  // The pad is out of sight in other views on a phone.
  byId('tabs', HTMLElement).addEventListener('click', drive.releaseAll);
}
