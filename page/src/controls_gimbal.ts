// The view of the gimbal: how the pad feels, and what is asked for more rarely.
import type { App } from './app.js';
import { isExponential, setExponential, setSpeed, speedName } from './controls_drive.js';
import { byId, make } from './dom.js';
import { button, buttons, card, commandButton, commandOf, numberField, row, selectField, tick } from './widgets.js';

const largestAngle = 3200;
const largestTrack = 255;

function feel(): HTMLElement {
  const speed = selectField([['slow', 'Slow'], ['medium', 'Medium'], ['fast', 'Fast']]);
  speed.id = 'speed';
  speed.value = speedName();
  speed.addEventListener('change', () => { setSpeed(speed.value); });
  const fine = tick('Finer around the centre', isExponential(), setExponential);
  const pad = make('span', { id: 'game-pad', class: 'note' });
  fine.classList.add('wide');
  return card('Moving', make('div', { class: 'rows' },
    ...row('Speed', speed), fine, ...row('Game pad', pad)));
}

function moveTo(app: App): HTMLElement[] {
  const pan = numberField(-largestAngle, largestAngle, 1, 0);
  const tilt = numberField(-largestAngle, largestAngle, 1, 0);
  pan.setAttribute('aria-label', 'Pan angle');
  tilt.setAttribute('aria-label', 'Tilt angle');
  const go = button('Go', () => {
    if (pan.reportValidity() && tilt.reportValidity()) {
      app.command(commandOf('position', 'move', pan.valueAsNumber, tilt.valueAsNumber));
    }
  });
  return row('To an angle, in 0.1°', pan, tilt, go);
}

function track(app: App): HTMLElement[] {
  const value = numberField(0, largestTrack, 1, 0);
  const set = button('Set', () => {
    if (value.reportValidity()) app.command(commandOf('zoomadjustedsmoothtrack', '', value.valueAsNumber));
  });
  return row('Slower when zoomed', value, set);
}

export function startGimbalView(app: App): void {
  const group = (label: string, ...members: [string, string, string][]) => row(label, buttons(label,
    ...members.map(([text, cmd, param]) => commandButton(app, text, commandOf(cmd, param)))));
  byId('gimbal-view', HTMLElement).append(feel(), card('Gimbal', make('div', { class: 'rows' },
    ...group('Roll', ['Left', 'horizont', 'ccw'], ['Level', 'horizont', 'zero'],
      ['Right', 'horizont', 'cw']),
    ...group('Looks', ['Ahead', 'position', 'normal'], ['At me', 'position', 'selfie']),
    ...group('Follows', ['Walk', 'scenemode', 'walk'], ['Sport', 'scenemode', 'sport'],
      ['Worn', 'scenemode', 'wearable']),
    ...group('Pitch', ['Lock', 'pitch', 'lock'], ['Unlock', 'pitch', 'unlock']),
    ...moveTo(app), ...track(app),
    ...row('Calibration', commandButton(app, 'Calibrate horizon', commandOf('horizont', 'calibrate'),
      'Calibrate the horizon? Put the camera on something level first, and do not touch it.'))),
  make('p', { class: 'note' }, 'The camera does not report these: what was sent may be seen in the picture.')));
}
