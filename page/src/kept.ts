// What this browser keeps from visit to visit. Where that is not allowed, it lasts as long as the page.
const meanwhile = new Map<string, string>();

export function kept(name: string): string | undefined {
  try {
    return localStorage.getItem(name) ?? meanwhile.get(name);
  } catch {
    return meanwhile.get(name);
  }
}

export function keep(name: string, value: string): void {
  meanwhile.set(name, value);
  try {
    localStorage.setItem(name, value);
  } catch {
    // It is kept until the page ends.
  }
}
