// The exchanges, newest first; a click opens request and reply.

import { byId, bytes, clock, duration, make } from "./dom.js";

// So many rows a browser shows with ease; the sandbox itself keeps a thousand.
const shownLimit = 300;

const exchanges = new Map();
const rows = new Map();
let matching = "";

function statusText(exchange) {
  if (!exchange.ended) return "…";
  return exchange.status === 0 ? "none" : String(exchange.status);
}

function statusClass(exchange) {
  if (!exchange.ended) return "running";
  if (exchange.status === 0 || exchange.status >= 400) return "bad";
  return "good";
}

function statusWords(exchange) {
  if (!exchange.ended) return "still running";
  return exchange.status === 0 ? "no answer went out" : undefined;
}

function matches(exchange) {
  const text = `${exchange.method} ${exchange.target} ${statusText(exchange)} ${exchange.route}`.toLowerCase();
  return matching.split(/\s+/).every((word) => text.includes(word));
}

function message(title, part) {
  const nothing = part.head.trim() === "" && part.body === "";
  return make("div", { class: "message" },
    make("h3", {}, title),
    make("pre", { tabindex: "0", "aria-label": title }, nothing ? "(nothing)" : part.head, part.body && `\n${part.body}`),
    part.cut ? make("p", { class: "hint" }, "Only the beginning is kept.") : undefined);
}

async function fill(cell, exchange) {
  cell.replaceChildren("looking…");
  try {
    const answer = await fetch(`exchanges/${exchange.serial}`);
    if (!answer.ok) throw new Error((await answer.json()).error);
    const both = await answer.json();
    cell.replaceChildren(
      make("p", { class: "hint" }, `Route ${exchange.route}`,
        exchange.fault ? `, disturbed by the ordered fault ${exchange.fault}` : "",
        `. ${bytes(exchange.sent)} of body came in, ${bytes(exchange.received)} went out with the head. Secrets are masked.`),
      make("div", { class: "messages" }, message("Request", both.request), message("Reply", both.reply)));
  } catch (problem) {
    cell.replaceChildren(`Request and reply can't be shown: ${problem.message}`);
  }
}

function toggle(row, exchange) {
  const open = row.button.getAttribute("aria-expanded") === "true";
  row.button.setAttribute("aria-expanded", String(!open));
  row.details?.remove();
  row.details = undefined;
  if (open) return;
  const cell = make("td", { colspan: "6" });
  row.details = make("tr", { class: "details" }, cell);
  row.element.after(row.details);
  fill(cell, exchange);
}

function makeRow(exchange) {
  const row = { cells: {} };
  row.button = make("button", { type: "button", class: "path", "aria-expanded": "false",
    onclick: () => toggle(row, exchanges.get(exchange.serial)) }, exchange.target);
  row.status = make("td", { class: "status" });
  row.took = make("td", { class: "number" });
  row.size = make("td", { class: "number" });
  row.element = make("tr", {},
    make("td", { class: "time" }, clock(exchange.time)), make("td", { class: "method" }, exchange.method),
    make("td", { class: "target" }, row.button), row.status, row.took, row.size);
  return row;
}

function update(row, exchange) {
  const fault = exchange.fault ? make("span", { class: "mark" }, "fault") : undefined;
  row.status.replaceChildren(
    make("span", { class: statusClass(exchange), title: statusWords(exchange) }, statusText(exchange)), fault ?? "");
  row.took.replaceChildren(exchange.ended ? duration(exchange.microseconds) : "…");
  row.size.replaceChildren(exchange.ended ? bytes(Math.max(exchange.sent, exchange.received)) : "…");
  row.element.hidden = !matches(exchange);
  if (row.details) row.details.hidden = row.element.hidden;
}

function count() {
  const shown = [...exchanges.values()].filter(matches).length;
  if (exchanges.size === 0) return "Nothing was asked yet.";
  return shown === exchanges.size ? `The latest ${shown}.` : `${shown} of the latest ${exchanges.size}.`;
}

function forgetOldest() {
  for (const serial of exchanges.keys()) {
    if (exchanges.size <= shownLimit) return;
    exchanges.delete(serial);
    rows.get(serial)?.element.remove();
    rows.get(serial)?.details?.remove();
    rows.delete(serial);
  }
}

function show() {
  if (byId("exchange-pause").checked) return;
  forgetOldest();
  const body = byId("exchange-rows");
  for (const [serial, exchange] of exchanges) {
    if (!rows.has(serial)) {
      const row = makeRow(exchange);
      rows.set(serial, row);
      body.prepend(row.element);
    }
    const row = rows.get(serial);
    if (row.shown !== exchange) update(row, exchange);
    row.shown = exchange;
  }
  byId("exchange-count").textContent = count();
}

export function takeExchanges(list) {
  for (const exchange of list) exchanges.set(exchange.serial, exchange);
  show();
}

// The sandbox is told of anew, perhaps another one.
export function forgetExchanges() {
  exchanges.clear();
  rows.clear();
  byId("exchange-rows").replaceChildren();
  byId("exchange-count").textContent = count();
}

export function startExchanges() {
  byId("exchange-filter").addEventListener("input", (event) => {
    matching = event.target.value.trim().toLowerCase();
    for (const [serial, row] of rows) update(row, exchanges.get(serial));
    byId("exchange-count").textContent = count();
  });
  byId("exchange-pause").addEventListener("change", show);
}
