// The login, shown only when the panel asks for one.
import { byId } from './dom.js';
import { keep, kept } from './kept.js';

export interface Login { ask: () => void; hide: () => void }

function refusalText(response: Response): string {
  if (response.status === 401) return 'That is not the password.';
  if (response.status !== 429) return `The panel answered ${response.status}: try again.`;
  const seconds = Number(response.headers.get('Retry-After') ?? 0);
  return seconds > 0
    ? `Too many tries from this address. Try again in ${seconds} s.`
    : 'Too many tries from this address. Wait a minute and try again.';
}

// Nothing when the password is right, otherwise what is wrong.
async function tryPassword(password: string): Promise<string> {
  try {
    const response = await fetch('login', {
      method: 'POST', cache: 'no-store', headers: { 'Content-Type': 'application/json' },
      body: JSON.stringify({ password }),
    });
    return response.ok ? '' : refusalText(response);
  } catch {
    return 'The panel does not answer.';
  }
}

// Whether there is something to log out of.
export const hasLoggedIn = () => kept('logged-in') === '1';

export async function logOut(): Promise<void> {
  try {
    await fetch('logout', { method: 'POST', cache: 'no-store' });
    keep('logged-in', '0');
  } finally {
    location.reload();
  }
}

// entered: after a right password.
export function startLogin(entered: () => void): Login {
  const dialog = byId('login-dialog', HTMLDialogElement);
  const form = byId('login', HTMLFormElement);
  const password = byId('password', HTMLInputElement);
  const error = byId('login-error', HTMLElement);
  const button = form.querySelector('button');

  const send = async () => {
    error.textContent = '';
    if (button) button.disabled = true;
    error.textContent = await tryPassword(password.value);
    if (button) button.disabled = false;
    password.value = '';
    if (error.textContent) password.focus();
    else {
      keep('logged-in', '1');
      entered();
    }
  };
  form.addEventListener('submit', (event) => {
    event.preventDefault();
    void send();
  });
  // There is nothing to see behind it.
  dialog.addEventListener('cancel', (event) => { event.preventDefault(); });
  return {
    ask: () => { if (!dialog.open) dialog.showModal(); },
    hide: () => { dialog.close(); },
  };
}
