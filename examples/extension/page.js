// Ties the form to the signing program: version, certificate, what is signed, signing, downloads; and the same in the
// window that opens when a web page asks.

import { Items } from "./items.js";
import { Person } from "./person.js";
import { isRequested, pageRequest } from "./request.js";
import { connect } from "./vorn-signing.js";
import { wordsFor } from "./words.js";

const api = globalThis.browser ?? globalThis.chrome;
const byId = (id) => document.getElementById(id);
const form = byId("form");
const person = new Person(form);
const items = new Items(byId("items"));
const host = connect({ onRunning: showRunning });
const extensionId = globalThis.browser?.runtime.getBrowserInfo
  ? api.runtime.getManifest().browser_specific_settings.gecko.id
  : api.runtime.id;

let stop = null;  // ends what is under way
let request = null;  // of a web page
let isFinished = false;  // with that
let files = [];
let canSign = true;

function showRunning(running) {
  const state = byId("state");
  state.dataset.state = running ? "running" : "waiting";
  state.textContent = running ? "Running" : "Starts when needed";
}

function lock(isLocked) {
  byId("fields").disabled = isLocked;
  byId("sign").disabled = isLocked || !canSign;
}

const say = (text) => byId("progress").textContent = text;

function showProblem(error) {
  const { title, remedy, commands, detail } = wordsFor(error, extensionId);
  byId("problem-title").textContent = title;
  byId("problem-remedy").textContent = remedy;
  byId("problem-commands").replaceChildren(...commands.map(commandItem));
  byId("problem-detail").textContent = detail;
  byId("problem").hidden = false;
  byId("problem").scrollIntoView({ block: "nearest" });
}

/** A command with a button that copies it. */
function commandItem(command) {
  const code = Object.assign(document.createElement("code"), { textContent: command });
  const copy = Object.assign(document.createElement("button"), { type: "button", className: "quiet", textContent: "Copy" });
  copy.setAttribute("aria-label", `Copy ${command}`);
  copy.addEventListener("click", async () => {
    await navigator.clipboard.writeText(command);
    copy.textContent = "Copied";
  });
  const item = document.createElement("li");
  item.append(code, copy);
  return item;
}

function showCertificate(certificate) {
  if (!certificate) return;
  byId("serial").textContent = certificate.serial;
  byId("issuer").textContent = certificate.issuer || "not named";
  byId("expiry").textContent = certificate.expiry.toLocaleString(undefined, { dateStyle: "long", timeStyle: "short" });
  byId("certificate").hidden = false;
}

function clearOutcome() {
  items.reset();
  for (const id of ["problem", "certificate", "bar"]) byId(id).hidden = true;
  say("");
}

/** Runs one action of the person's; the form is locked meanwhile, but for the button that stops it. */
async function busyWhile(action) {
  clearOutcome();
  person.remember();
  stop = new AbortController();
  form.setAttribute("aria-busy", "true");
  lock(true);
  byId("stop").hidden = false;
  byId("stop").focus();
  try {
    await action(stop.signal);
  } catch (error) {
    say("");
    showCertificate(error.certificate);
    if (!isFinished) showProblem(error);
  } finally {
    form.removeAttribute("aria-busy");
    lock(isFinished);
    byId("stop").hidden = true;
    byId("bar").hidden = true;
  }
}

async function showVersion() {
  try {
    byId("version").textContent = (await host.version()).version ?? "unknown";
    byId("retry").hidden = true;
  } catch (error) {
    byId("version").textContent = "not available";
    byId("retry").hidden = false;
    byId("state").dataset.state = "missing";
    byId("state").textContent = "Not available";
    showProblem(error);
  }
}

async function find(signal) {
  say("Looking for your certificate …");
  const { user, certificate } = await person.find(host, signal);
  showCertificate(certificate);
  return user;
}

async function sign(signal) {
  const user = await find(signal);
  const total = files.length;
  items.waiting();
  byId("bar").hidden = false;
  let signed = 0;
  const showProgress = (done) => {
    Object.assign(byId("bar"), { max: total, value: done });
    say(`Signing ${Math.min(done + 1, total)} of ${total} …`);
  };
  const showResult = ({ done, index, result }) => {
    if (result.signed) {
      items.signed(index, result.signed, !request);
      signed += 1;
    } else {
      items.failed(index, wordsFor(result.error, extensionId));
      if (total === 1) showProblem(result.error);
    }
    showProgress(done);
  };
  showProgress(0);
  try {
    const results = await host.sign(files, user, { algorithm: person.algorithm, onProgress: showResult, signal });
    request?.answer({ results: results.map(forPage) });
    if (request) finish();
  } catch (error) {
    items.leftOut();
    throw error;
  }
  say(signed < total ? `${signed} of ${total} documents are signed.` : total === 1 ? "The document is signed." : `All ${total} documents are signed.`);
}

/** A result as a web page gets it. It learns no more of this computer than it needs. */
const forPage = ({ document, signed, error }) =>
  signed ? { name: document.name, xml: new TextDecoder().decode(signed) } : { name: document.name, error: error.kind };

async function showFiles(chosen) {
  files = chosen;
  byId("review").hidden = files.length === 0;
  return await items.show(files);
}

/** The form as the window of a web page's request: its documents, its name, and a way to say no. */
async function showRequest() {
  document.title = "A web page asks for your signature – VORN Signing";
  form.elements.documents.required = false;
  for (const id of ["choice", "intro"]) byId(id).hidden = true;
  for (const id of ["request", "decline"]) byId(id).hidden = false;
  lock(true);
  try {
    request = await pageRequest();
  } catch (error) {
    finish({ kind: "page-gone", text: error.message });
    return;
  }
  request.onGone(() => finish({ kind: "page-gone", text: "" }));
  for (const place of document.querySelectorAll(".origin")) place.textContent = request.origin;
  byId("request-title").focus();
  // Nobody signs for a page what cannot be shown.
  canSign = await showFiles(request.files);
  lock(isFinished);
}

/** The page has its answer, or has gone. */
function finish(problem) {
  if (isFinished) return;
  isFinished = true;
  stop?.abort();
  if (problem) showProblem(problem);
  lock(true);
  byId("decline").textContent = "Close this window";
}

form.addEventListener("submit", async (event) => {
  event.preventDefault();
  await busyWhile(sign);
  (items.firstDownload() ?? byId(isFinished ? "decline" : "sign")).focus();
});
byId("check").addEventListener("click", async () => {
  byId("documents").required = false;  // not needed to look for a certificate
  const complete = form.reportValidity();
  byId("documents").required = !isRequested;
  if (!complete) return;
  await busyWhile(async (signal) => {
    await find(signal);
    say("This certificate was found.");
  });
  byId("check").focus();
});
byId("documents").addEventListener("change", () => {
  clearOutcome();
  showFiles([...byId("documents").files]);
});
byId("stop").addEventListener("click", () => stop?.abort());
byId("decline").addEventListener("click", () => window.close());
byId("retry").addEventListener("click", () => {
  clearOutcome();
  showVersion();
});

byId("extension-id").textContent = extensionId;
if (isRequested) showRequest();
showVersion();
