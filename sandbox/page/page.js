// Listens to the sandbox and hands what it tells to the parts of the page.

import { showSetting } from "./config.js";
import { byId } from "./dom.js";
import { forgetExchanges, startExchanges, takeExchanges } from "./exchanges.js";
import { offerFaults, showFaults, startFaults } from "./faults.js";
import { showLogins, showPeople, startPeople } from "./people.js";
import { forgetUploads, takeUpload } from "./uploads.js";

const takers = {
  exchanges: takeExchanges,
  faults: showFaults,
  logins: showLogins,
  people: showPeople,
  upload: takeUpload,
  setting: (setting) => {
    offerFaults(setting);
    showSetting(setting);
  },
};

function tellConnection(text, state) {
  const line = byId("connection");
  line.textContent = text;
  line.dataset.state = state;
}

function listen() {
  const events = new EventSource("events");
  events.addEventListener("open", () => {
    forgetExchanges();
    forgetUploads();
    tellConnection(`live, at ${location.origin}`, "live");
  });
  events.addEventListener("error", () => tellConnection("the sandbox doesn't answer; trying again…", "lost"));
  for (const [name, take] of Object.entries(takers)) {
    events.addEventListener(name, (event) => take(JSON.parse(event.data)));
  }
}

startExchanges();
startFaults();
startPeople();
listen();
