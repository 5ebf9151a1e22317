// Ties the form to the signing program: version, certificate, what is signed, signing, downloads; and the same in the
// window that opens when a web page asks.

import { Items } from "./items.js";
import { Person } from "./person.js";
import { isRequested, pageRequest } from "./request.js";
import { visible } from "./review.js";
import { connect } from "./vorn-signing.js";
import { wordsFor } from "./words.js";

const api = globalThis.browser ?? globalThis.chrome;
const byId = (id) => document.getElementById(id);
const form = byId("form");
const person = new Person(form);
const items = new Items(byId("items"));
const host = connect({ onRunning: showRunning });
const MOMENT = 1000;  // milliseconds that a person needs to see what is new
const SOON = 30;  // days before its end from which a certificate is to be renewed
const extensionId = globalThis.browser?.runtime.getBrowserInfo
  ? api.runtime.getManifest().browser_specific_settings.gecko.id
  : api.runtime.id;

let stop = null;  // ends what is under way
let request = null;  // of a web page
let isFinished = false;  // with that
let files = [];
let canSign = true;
let isLocked = false;
let settling;  // runs while what is shown is too new to have been read

function showRunning(running) {
  const state = byId("state");
  state.dataset.state = running ? "running" : "waiting";
  state.textContent = running ? "Running" : "Starts when needed";
}

function lock(locked) {
  isLocked = locked;
  byId("fields").disabled = isLocked;
  byId("sign").disabled = isLocked || !canSign || settling !== undefined;
}

/** A click that was meant for what stood here a moment ago signs nothing. */
function settle() {
  const hadFocus = document.activeElement === byId("sign");
  clearTimeout(settling);
  settling = setTimeout(() => {
    settling = undefined;
    lock(isLocked);
    if (hadFocus && document.activeElement === document.body) byId("sign").focus();
  }, MOMENT);
  lock(isLocked);
}

const say = (text) => byId("progress").textContent = text;

function showProblem(error) {
  const { title, remedy, commands, detail, isChoice } = wordsFor(error, extensionId, person.typed);
  byId("problem-title").textContent = title;
  byId("problem-remedy").textContent = remedy;
  byId("problem-commands").replaceChildren(...commands.map(commandItem));
  byId("problem-detail").textContent = detail;
  byId("problem").toggleAttribute("data-choice", isChoice);
  byId("problem").hidden = false;
  byId("problem").scrollIntoView({ block: "nearest" });
}

/** A command with a button that copies it. */
function commandItem(command) {
  const code = Object.assign(document.createElement("code"), { textContent: command });
  const copy = Object.assign(document.createElement("button"), { type: "button", className: "quiet", textContent: "Copy" });
  copy.setAttribute("aria-label", `Copy ${command}`);
  copy.addEventListener("click", async () => {
    getSelection().selectAllChildren(code);
    const isCopied = await navigator.clipboard.writeText(command).then(() => true, () => false);
    copy.textContent = isCopied ? "Copied" : "Selected";
    copy.setAttribute("aria-label", copy.textContent);
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
  const days = Math.floor((certificate.expiry - Date.now()) / 86400000);
  byId("ending").hidden = days < 0 || days >= SOON;
  byId("ending").textContent = `This certificate ends ${days > 1 ? `in ${days} days` : "within two days"}. Have its authority renew it soon.`;
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
      items.failed(index, total > 1 && wordsFor(result.error, extensionId));
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

/** Resolves with whether everything can be shown. Until a moment after that nobody signs. */
async function showFiles(chosen) {
  files = chosen;
  byId("review").hidden = files.length === 0;
  canSign = false;
  lock(isLocked);
  const isShown = await items.show(files);
  if (files !== chosen) return false;  // others were chosen meanwhile
  canSign = true;
  settle();
  return isShown;
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
  if (byId("sign").disabled) return;
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
const showCommand = () => byId("setup-command").replaceChildren(commandItem(person.command));
for (const field of ["name", "email"]) byId(field).addEventListener("input", showCommand);
byId("pasted").addEventListener("input", ({ target }) => {
  if (!target.value.trim()) return;
  try {
    person.fillFrom(target.value);
    target.value = "";
    byId("pasted-outcome").textContent = `Filled in for ${visible(person.typed.name)}.`;
    showCommand();
  } catch {
    byId("pasted-outcome").textContent = "This is not the line that the command prints: it begins with { and ends with }. " +
      "When the command says that it found nothing, compare your name and address with what it lists.";
  }
});
byId("stop").addEventListener("click", () => stop?.abort());
byId("decline").addEventListener("click", () => window.close());
byId("retry").addEventListener("click", () => {
  clearOutcome();
  showVersion();
});

window.addEventListener("focus", settle);
byId("extension-id").textContent = extensionId;
byId("setup").open = !person.isComplete;
showCommand();
if (isRequested) showRequest();
showVersion();
