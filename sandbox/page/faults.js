// Orders faults by name and shows how often each was delivered.

import { act, ask, byId, make, syncList } from "./dom.js";

const line = "faults-said";
let kinds = new Map();

function describe() {
  const kind = kinds.get(byId("fault-kind").value);
  if (!kind) return;
  byId("fault-words").textContent = `${kind.words[0].toUpperCase()}${kind.words.slice(1)}.`;
  const members = kind.members.split(" ");
  for (const field of byId("fault-form").querySelectorAll("[data-member]")) {
    field.hidden = !members.includes(field.dataset.member);
  }
}

// A request's name in words that are apart: "youtubeUploadChunk" is "youtube upload chunk".
function words(name) {
  return name.replace(/([A-Z])/g, " $1").toLowerCase();
}

export function offerFaults(setting) {
  kinds = new Map(setting.fault_kinds.map((kind) => [kind.name, kind]));
  const fill = (select, names, text) => {
    const chosen = select.value;
    select.replaceChildren(...names.map((name) => make("option", { value: name }, text(name))));
    if (chosen) select.value = chosen;
  };
  fill(byId("fault-route"), setting.routes, (name) => `${name} (${words(name)})`);
  fill(byId("fault-kind"), [...kinds.keys()], (name) => name);
  describe();
}

async function order(event) {
  event.preventDefault();
  const kind = kinds.get(byId("fault-kind").value);
  const values = new FormData(event.target);
  const body = { route: values.get("route"), kind: kind.name };
  for (const member of [...kind.members.split(" ").filter(Boolean), "nth", "times"]) {
    const value = values.get(member);
    body[member] = member === "text" || member === "path" ? value : Number(value);
  }
  try {
    const { id } = await ask("faults", body);
    byId(line).textContent = `Fault ${id} is ordered.`;
  } catch (problem) {
    byId(line).textContent = `The fault was not ordered: ${problem.message}`;
  }
}

function toCome(fault) {
  if (fault.withdrawn) return "withdrawn";
  if (fault.endless) return "all that come";
  return fault.remaining === 0 ? "none to come" : `${fault.remaining} to come`;
}

function faultRow(fault) {
  const count = make("p", { class: "hint" });
  const withdraw = make("button", { type: "button", "aria-label": `Withdraw fault ${fault.id}`,
    onclick: () => act(line, "faults/clear", { id: fault.id }, `Fault ${fault.id} is withdrawn.`) }, "Withdraw");
  const element = make("li", {},
    make("div", { class: "grow" }, make("p", {}, `${fault.id}. `, make("strong", {}, fault.kind), ` of ${fault.route}`), count),
    withdraw);
  return {
    element,
    update: (now) => {
      count.textContent = `delivered ${now.delivered}, ${toCome(now)}`;
      withdraw.hidden = now.withdrawn || (!now.endless && now.remaining === 0);
    },
  };
}

export function showFaults(faults) {
  byId("no-faults").hidden = faults.length > 0;
  syncList(byId("fault-orders"), faults, (fault) => fault.id, faultRow);
}

export function startFaults() {
  byId("fault-form").addEventListener("submit", order);
  byId("fault-kind").addEventListener("change", describe);
  byId("release-stalls").addEventListener("click", () => act(line, "faults/release", {}, "What was stalled goes on."));
  byId("clear-faults").addEventListener("click", () => act(line, "faults/clear", {}, "All faults are withdrawn."));
}
