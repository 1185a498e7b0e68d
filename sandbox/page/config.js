// What a host needs to find the sandbox, to copy.

import { byId, make } from "./dom.js";

async function copy(title, text) {
  try {
    await navigator.clipboard.writeText(text);
    byId("configuration-said").textContent = `${title} is copied.`;
  } catch {
    byId("configuration-said").textContent = "This browser does not let pages copy; select the text instead.";
  }
}

function block(title, text, hint) {
  return make("div", { class: "copy" },
    make("div", { class: "tools" }, make("h3", {}, title),
      make("button", { type: "button", "aria-label": `Copy ${title}`, onclick: () => copy(title, text) }, "Copy")),
    make("p", { class: "hint" }, hint),
    make("pre", { tabindex: "0", "aria-label": title }, text));
}

export function showSetting(setting) {
  const secret = setting.app_secret === "***" ? "the one that you gave to the sandbox" : setting.app_secret || "any";
  const commands = [
    `curl -o sandbox.json ${setting.address}/sandbox/config`,
    `export MEDIATRANSFER_APP_SECRET=${setting.app_secret === "***" ? "..." : setting.app_secret || "any"}`,
    "mediatransfer --cloud-config sandbox.json login youtube",
    "mediatransfer --cloud-config sandbox.json upload youtube holiday.mp4",
  ].join("\n");
  byId("copies").replaceChildren(
    block("Commands to try", commands, `The application's secret is ${secret}.`),
    block("Cloud configuration", setting.cloud_config, "From URL key to address, as --cloud-config reads it."),
    block("Services of the scripts", setting.script_services,
      `The file that MEDIATRANSFER_SERVICES names. The application's id is ${setting.app_id || "any"}, its redirect address ${setting.app_redirect || "any"}.`));
}
