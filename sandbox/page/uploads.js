// Uploads, the newest first: how far and how fast while they run, what came when they are complete.

import { byId, bytes, clock, duration, make, syncList } from "./dom.js";

// As many as the sandbox tells of.
const shownLimit = 20;
const svgNamespace = "http://www.w3.org/2000/svg";

let uploads = new Map();

function svg(tag, attributes, ...children) {
  const element = document.createElementNS(svgNamespace, tag);
  for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, value);
  element.append(...children);
  return element;
}

// Bytes a second of each step. The last one is not over while the upload runs.
function rates(upload) {
  const seconds = upload.curve.step / 1000;
  const all = upload.curve.bytes.map((count) => count / seconds);
  return upload.state === "running" && all.length > 1 ? all.slice(0, -1) : all;
}

function drawCurve(curve, upload) {
  const points = rates(upload);
  const top = Math.max(...points, 1);
  const width = Math.max(points.length - 1, 1);
  const places = points.map((rate, at) => `${((at / width) * 100).toFixed(2)},${(29 - (rate / top) * 28).toFixed(2)}`);
  if (points.length === 1) places.push(`100,${(29 - (points[0] / top) * 28).toFixed(2)}`);
  curve.path.setAttribute("d", `M0,30 L${places.join(" L")} L100,30 Z`);
  const seconds = Math.max(upload.lasted, upload.curve.step) / 1000;
  const mean = `${bytes(Math.round(upload.received / seconds))}/s on average`;
  const words = `${mean}, ${bytes(Math.round(top))}/s at most`;
  curve.element.setAttribute("aria-label", `Rate over time: ${words}`);
  curve.words.textContent = words;
}

function makeCurve() {
  const path = svg("path", {});
  const element = svg("svg", { class: "curve", role: "img", viewBox: "0 0 100 30", preserveAspectRatio: "none" }, path);
  return { path, element, words: make("p", { class: "hint" }) };
}

const stateWords = {
  running: "on its way",
  waiting: "waiting for more",
  complete: "complete",
  broken: "refused or broken off",
};

function progressWords(upload) {
  const size = upload.announced > upload.received
    ? `${bytes(upload.received)} of ${bytes(upload.announced)}` : bytes(upload.received);
  const when = upload.time ? `, since ${clock(upload.time)}` : "";
  const took = upload.state === "complete" && upload.time ? `, in ${duration(upload.lasted * 1000)}` : "";
  return `${stateWords[upload.state]}: ${size}${upload.state === "complete" ? took : when}`;
}

function facts(upload) {
  const rows = [
    ["Media id", upload.media_id], ["File", upload.file_name], ["SHA-256", upload.sha256],
    ["Parts", upload.chunks ? String(upload.chunks) : ""],
  ].filter(([, value]) => value);
  return make("details", {}, make("summary", {}, "What was said of it"),
    ...rows.map(([name, value]) => make("p", { class: "hint" }, `${name}: ${value}`)),
    upload.metadata ? make("pre", { tabindex: "0", "aria-label": "Metadata" }, upload.metadata) : "");
}

function player(upload, title) {
  const address = `videos/${encodeURIComponent(upload.id)}`;
  const kind = upload.type.split("/")[0];
  const save = make("a", { href: address, download: upload.file_name || `${upload.media_id || "video"}` }, "Save what came");
  if (kind === "video") {
    return [make("video", { src: address, controls: true, preload: "metadata", "aria-label": `Video: ${title}` }), save];
  }
  return kind === "image" ? [make("img", { src: address, alt: title }), save] : [save];
}

function uploadRow(first) {
  const heading = make("strong", {});
  const words = make("p", {});
  const bar = make("progress", { max: "1", value: "0" });
  const curve = makeCurve();
  const more = make("div", {});
  const side = make("div", {}, curve.element, curve.words);
  const element = make("li", { "data-upload": first.id }, make("div", {}, heading, words, bar, more), side);
  let last = "";
  return {
    element,
    update: (upload) => {
      const title = upload.title || upload.file_name || "a video";
      heading.textContent = `${upload.service}: ${title}${upload.name ? `, by ${upload.name}` : ""}`;
      words.textContent = progressWords(upload);
      words.className = upload.state === "complete" ? "good" : upload.state === "broken" ? "bad" : "running";
      bar.hidden = upload.state === "complete" || upload.state === "broken";
      bar.value = upload.announced ? upload.received / upload.announced : 0;
      bar.setAttribute("aria-label", `How far ${title} is`);
      // What came at once has no rate worth a picture.
      const hasCurve = upload.curve?.bytes.length > 1;
      curve.element.toggleAttribute("hidden", !hasCurve);
      curve.words.hidden = !hasCurve;
      if (hasCurve) drawCurve(curve, upload);
      // The player must not begin anew with each news of its upload.
      const now = JSON.stringify([upload.state, upload.type, upload.metadata]);
      if (now === last) return;
      last = now;
      more.replaceChildren(upload.state === "complete" ? facts(upload) : "");
      if (upload.state === "complete" && upload.type) side.replaceChildren(...player(upload, title), curve.element, curve.words);
    },
  };
}

function show() {
  byId("no-uploads").hidden = uploads.size > 0;
  syncList(byId("upload-list"), [...uploads.values()].reverse(), (upload) => upload.id, uploadRow);
}

export function takeUpload(upload) {
  uploads.set(upload.id, upload);
  for (const id of uploads.keys()) {
    if (uploads.size <= shownLimit) break;
    uploads.delete(id);
  }
  show();
}

export function forgetUploads() {
  uploads = new Map();
  show();
}
