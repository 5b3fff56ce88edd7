// A game pad at this computer: right stick pan and tilt, left stick up and down zoom, and four buttons.
import { padSpeed, type Drive } from './controls_drive.js';
import { byId } from './dom.js';

const deadZone = 0.15;
const zoomFrom = 0.5;
// Button of the standard layout: element of the page that it presses.
const presses: [number, string][] = [[0, 'record'], [1, 'recentre'], [2, 'lock'], [3, 'shot']];

function firstPad(): Gamepad | undefined {
  return navigator.getGamepads().find((pad) => pad?.connected) ?? undefined;
}

const axis = (pad: Gamepad, i: number) => pad.axes[i] ?? 0;

// told: what to say of it in the view.
export function startGamepad(drive: Drive, told: (text: string) => void): void {
  // Without a secure connection browsers keep game pads to themselves.
  if (!('getGamepads' in navigator)) {
    told('this browser offers none here (it may want https)');
    return;
  }
  let armed = false;  // only a stick that was at rest since everything stopped moves anything
  let running = false;
  const down = new Set<number>();

  const pressButtons = (pad: Gamepad) => {
    for (const [i, id] of presses) {
      if (!pad.buttons[i]?.pressed) down.delete(i);
      else if (!down.has(i)) {
        down.add(i);
        byId(id, HTMLElement).click();
      }
    }
  };
  const follow = (pad: Gamepad) => {
    const motion = { a: padSpeed(axis(pad, 2), deadZone), b: padSpeed(axis(pad, 3), deadZone) };
    const turns = motion.a !== 0 || motion.b !== 0;
    const up = -axis(pad, 1);
    const zoom = Math.abs(up) > zoomFrom ? Math.sign(up) : 0;
    armed ||= !turns && zoom === 0;
    if (!armed) return;
    drive.gimbal.move('game pad', turns ? motion : undefined);
    drive.zoom.move('game pad', zoom ? { a: zoom, b: 0 } : undefined);
  };
  const turn = () => {
    const pad = firstPad();
    if (!pad) {
      running = false;
      told('none');
      drive.gimbal.move('game pad');
      drive.zoom.move('game pad');
      return;
    }
    if (document.hasFocus()) {
      follow(pad);
      pressButtons(pad);
    }
    requestAnimationFrame(turn);
  };
  window.addEventListener('gamepadconnected', (event) => {
    told(event.gamepad.id);
    armed = false;
    if (!running) requestAnimationFrame(turn);
    running = true;
  });
  drive.onRelease(() => { armed = false; });
  told('none (press a button of it)');
}
