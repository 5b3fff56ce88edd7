// Small helpers around the document. Text goes in as text, never as markup.

type Child = Node | string;

// An element with attributes and children; "on..." attributes are set by addEventListener instead.
export function make<K extends keyof HTMLElementTagNameMap>(
  tag: K, attributes: Record<string, string> = {}, ...children: Child[]
): HTMLElementTagNameMap[K] {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, value);
  element.append(...children);
  return element;
}

// The element of the page with that id, which is of that kind.
export function byId<T extends Element>(id: string, kind: new () => T): T {
  const element = document.getElementById(id);
  if (!(element instanceof kind)) throw new Error(`no ${kind.name} #${id}`);
  return element;
}

// A state element: what it says to people and, for scripts, its plain value.
export function show(element: HTMLElement, value: string | number, text = String(value)): void {
  element.dataset.value = String(value);
  if (element.textContent !== text) element.textContent = text;
}
