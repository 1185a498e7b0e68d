// What all parts of the page use to show something. Texts from outside only ever become text.

export function byId(id) {
  return document.getElementById(id);
}

// make("button", {type: "button", onclick: end}, "End"): attributes, handlers and children.
export function make(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (typeof value === "function") {
      element.addEventListener(name.slice(2), value);
    } else if (value === true) {
      element.setAttribute(name, "");
    } else if (value !== undefined && value !== null && value !== false) {
      element.setAttribute(name, value);
    }
  }
  element.append(...children.filter((child) => child !== undefined && child !== null));
  return element;
}

export function bytes(count) {
  if (count < 1000) return `${count} B`;
  const units = ["kB", "MB", "GB", "TB"];
  let value = count / 1000;
  let unit = 0;
  while (value >= 999.5 && unit < units.length - 1) {
    value /= 1000;
    unit += 1;
  }
  return `${value < 9.95 ? value.toFixed(1) : Math.round(value)} ${units[unit]}`;
}

export function duration(microseconds) {
  if (microseconds < 999.5) return `${Math.round(microseconds)} µs`;
  const milliseconds = microseconds / 1000;
  if (milliseconds < 9.95) return `${milliseconds.toFixed(1)} ms`;
  if (milliseconds < 999.5) return `${Math.round(milliseconds)} ms`;
  const seconds = milliseconds / 1000;
  return seconds < 99.5 ? `${seconds.toFixed(1)} s` : `${Math.round(seconds / 60)} min`;
}

export function clock(milliseconds) {
  return new Date(milliseconds).toLocaleTimeString([], { hour: "2-digit", minute: "2-digit", second: "2-digit", hour12: false });
}

// Asks the sandbox to do something; fails with its own words.
export async function ask(path, body = {}) {
  const answer = await fetch(path, {
    method: "POST",
    headers: { "Content-Type": "application/json" },
    body: JSON.stringify(body),
  });
  const words = await answer.json();
  if (!answer.ok) throw new Error(words.error);
  return words;
}

// Does it, and says in the part's own line how it went.
export async function act(line, path, body, done) {
  try {
    await ask(path, body);
    byId(line).textContent = done;
  } catch (problem) {
    byId(line).textContent = `That did not work: ${problem.message}`;
  }
}

// Brings a list's elements in line with `items`: what stays keeps its element, and with it the keyboard's place.
// `build(item)` makes {element, update(item)}.
const known = new WeakMap();
export function syncList(list, items, keyOf, build) {
  const before = known.get(list) ?? new Map();
  const now = new Map();
  for (const item of items) {
    const key = keyOf(item);
    const row = before.get(key) ?? build(item);
    row.update(item);
    now.set(key, row);
  }
  for (const [key, row] of before) {
    if (!now.has(key)) row.element.remove();
  }
  let place = list.firstElementChild;
  for (const row of now.values()) {
    if (row.element === place) {
      place = place.nextElementSibling;
    } else {
      list.insertBefore(row.element, place);
    }
  }
  known.set(list, now);
}
