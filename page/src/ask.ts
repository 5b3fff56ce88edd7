// Asks before what cannot be undone.
import { byId } from './dom.js';

// False when the person cancels, by the button or the Escape key.
export function ask(question: string, yes: string): Promise<boolean> {
  const dialog = byId('ask', HTMLDialogElement);
  byId('ask-text', HTMLElement).textContent = question;
  byId('ask-yes', HTMLButtonElement).textContent = yes;
  dialog.returnValue = 'no';
  dialog.showModal();
  return new Promise((resolve) => {
    dialog.addEventListener('close', () => { resolve(dialog.returnValue === 'yes'); }, { once: true });
  });
}
