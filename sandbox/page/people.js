// Who is signed in, who consents, and the logins that wait for an answer.

import { act, byId, clock, make, syncList } from "./dom.js";

const line = "people-said";

function until(tokens) {
  const others = tokens.count > 1 ? ` and ${tokens.count - 1} more` : "";
  const end = tokens.until === 0 ? "" : ` until ${clock(tokens.until)}`;
  return [make("code", {}, tokens.token), end + others];
}

function tokenLine(name, tokens) {
  return tokens.count === 0 ? make("p", { class: "hint" }, `no ${name} token`) : make("p", { class: "hint" }, `${name} `, ...until(tokens));
}

function endButton(text, title, body, done) {
  return make("button", { type: "button", "aria-label": title, onclick: () => act(line, "tokens/end", body, done) }, text);
}

function signedInRow(login) {
  const whose = `${login.name} at ${login.platform_name}`;
  const text = make("div", { class: "grow" });
  const body = { platform: login.platform, open_id: login.open_id };
  const element = make("li", {}, text,
    endButton("End access", `End access of ${whose}`, { ...body, kind: "access" },
      `The access tokens of ${whose} are over; the application has to renew them.`),
    endButton("Sign out", `Sign out ${whose}`, { ...body, kind: "all" }, `${whose} is signed out.`));
  return {
    element,
    update: (now) => text.replaceChildren(make("strong", {}, `${now.platform_name}: ${now.name}`),
      tokenLine("access", now.access), tokenLine("refresh", now.refresh)),
  };
}

function applicationRow() {
  const text = make("div", { class: "grow" });
  const element = make("li", {}, text,
    endButton("End", "End the application's tokens", { kind: "account" }, "The application's tokens are over."));
  return {
    element,
    update: (tokens) => text.replaceChildren(make("strong", {}, "The application itself"), tokenLine("account", tokens)),
  };
}

export function showPeople(people) {
  const chosen = byId("chosen-user");
  syncList(chosen, people.users, (user) => user.open_id, (user) => ({
    element: make("option", { value: user.open_id }, `${user.name} (${user.email})`),
    update: () => {},
  }));
  chosen.value = people.users.find((user) => user.chosen)?.open_id ?? "";
  byId("nobody").hidden = people.signed_in.length > 0 || people.application.count > 0;
  const application = people.application.count > 0 ? [people.application] : [];
  syncList(byId("signed-in"), [...people.signed_in, ...application],
    (login) => (login.platform_name ? `${login.platform} ${login.open_id}` : "application"),
    (login) => (login.platform_name ? signedInRow(login) : applicationRow()));
}

function pendingRow(login) {
  const decide = (decision, done) => () => act(line, "logins/decide",
    { session_id: login.session_id, decision, open_id: decision === "allow" ? byId("chosen-user").value : "" }, done);
  const scopes = login.scopes.length === 0 ? "no particular permission" : login.scopes.join(", ");
  const element = make("li", {},
    make("div", { class: "grow" },
      make("p", {}, "An application wants to sign in at ", make("strong", {}, login.platform), "."),
      make("p", { class: "hint" }, `Asked for: ${scopes}. `, make("a", { href: login.address }, "Open the page of the login"))),
    make("button", { type: "button", class: "main", "aria-label": `Allow the login at ${login.platform}`,
      onclick: decide("allow", `The login at ${login.platform} is allowed.`) }, "Allow"),
    make("button", { type: "button", "aria-label": `Deny the login at ${login.platform}`,
      onclick: decide("deny", `The login at ${login.platform} is denied.`) }, "Deny"));
  return { element, update: () => {} };
}

function decidedRow(login) {
  const how = login.decision === "allowed" ? `allowed for ${login.name}` : "denied";
  return { element: make("li", {}, `${login.platform}: ${how}`), update: () => {} };
}

export function showLogins(logins) {
  for (const choice of document.querySelectorAll("input[name=consent]")) {
    choice.checked = choice.value === logins.consent;
  }
  byId("no-pending").hidden = logins.pending.length > 0;
  syncList(byId("pending"), logins.pending, (login) => login.session_id, pendingRow);
  syncList(byId("decided"), logins.decided, (login) => login.session_id, decidedRow);
}

export function startPeople() {
  const words = { auto: "allowed at once", ask: "asked about", deny: "denied at once", never: "never answered" };
  for (const choice of document.querySelectorAll("input[name=consent]")) {
    choice.addEventListener("change", () => act(line, "consent", { mode: choice.value },
      `A login is ${words[choice.value]} from now on.`));
  }
  byId("chosen-user").addEventListener("change", (event) => act(line, "users/choose", { open_id: event.target.value },
    `Logins are for ${event.target.selectedOptions[0].textContent} from now on.`));
}
