// Ties the form to the signing program: version, the user's certificate, signing, download.

import { decode, encode, inRequests, isBeyondRequest, signedName } from "./documents.js";
import { SigningHost } from "./host.js";
import { TOO_LARGE, wordsForAnswer, wordsForError } from "./words.js";

const HOST_NAME = "vorn.signing";

const api = globalThis.browser ?? globalThis.chrome;
const byId = (id) => document.getElementById(id);
const form = byId("form");
const host = new SigningHost(HOST_NAME, showRunning);

function showRunning(running) {
  const state = byId("state");
  state.dataset.state = running ? "running" : "waiting";
  state.textContent = running ? "Running" : "Starts when needed";
}

function showProblem({ title, remedy, detail }) {
  byId("problem-title").textContent = title;
  byId("problem-remedy").textContent = remedy;
  byId("problem-detail").textContent = detail;
  byId("problem").hidden = false;
  byId("problem").scrollIntoView({ block: "nearest" });
}

function showCertificate(answer) {
  if (!answer.cert_serial) return;
  byId("serial").textContent = answer.cert_serial;
  byId("issuer").textContent = answer.cert_issuer || "not named";
  byId("expiry").textContent = expiryText(answer.cert_expiry);
  byId("certificate").hidden = false;
}

/** The host gives local time in spite of the "Z": it must not be converted once more. */
function expiryText(text) {
  const time = new Date(text.replace(/Z$/, ""));
  return Number.isNaN(time.getTime()) ? text : time.toLocaleString(undefined, { dateStyle: "long", timeStyle: "short" });
}

function offer(name, signed) {
  const link = document.createElement("a");
  link.href = URL.createObjectURL(signed);
  link.download = signedName(name);
  link.textContent = `Download ${link.download}`;
  const size = document.createElement("span");
  size.textContent = `${signed.size.toLocaleString()} bytes`;
  const item = document.createElement("li");
  item.append(link, size);
  byId("signed").append(item);
  byId("result").hidden = false;
}

function clearOutcome() {
  for (const link of byId("signed").querySelectorAll("a")) URL.revokeObjectURL(link.href);
  byId("signed").replaceChildren();
  for (const id of ["problem", "certificate", "result"]) byId(id).hidden = true;
  say("");
}

function say(text) {
  byId("progress").textContent = text;
}

/** The request's "user_details". Key identifiers may be pasted as certificate viewers show them, as "5F:1D:...". */
function userDetails() {
  const text = (name) => form.elements[name].value.trim();
  const aki = text("aki").split(/[\n,;]/).map((line) => line.replace(/[\s:]/g, "").toLowerCase()).filter(Boolean);
  return { name: text("name"), email: text("email"), abn: text("abn").replace(/\s/g, ""), aki };
}

/** Runs one action of the user's; the form is locked meanwhile, but for the button that stops it. */
async function busyWhile(action) {
  clearOutcome();
  form.setAttribute("aria-busy", "true");
  byId("fields").disabled = true;
  byId("stop").hidden = false;
  byId("stop").focus();
  try {
    await action();
  } catch (error) {
    say("");
    showProblem(wordsForError(error));
  } finally {
    form.removeAttribute("aria-busy");
    byId("fields").disabled = false;
    byId("stop").hidden = true;
  }
}

/** Shows what every answer may carry; true when it is not an error. */
function accept(answer) {
  showCertificate(answer);
  if (answer.result === "ok") return true;
  say("");
  showProblem(wordsForAnswer(answer));
  return false;
}

async function showVersion() {
  try {
    const answer = await host.ask({ type: "version" });
    byId("version").textContent = answer.version ?? "unknown";
    byId("retry").hidden = true;
  } catch (error) {
    byId("version").textContent = "not available";
    byId("retry").hidden = false;
    byId("state").dataset.state = "missing";
    byId("state").textContent = "Not available";
    showProblem(wordsForError(error));
  }
}

async function findCertificate() {
  say("Looking for your certificate …");
  if (accept(await host.ask({ type: "version", user_details: userDetails() }))) say("This certificate would sign.");
}

async function sign() {
  const files = [...form.elements.documents.files];
  const beyond = files.find(isBeyondRequest);
  if (beyond) {
    showProblem({ ...TOO_LARGE, detail: `${beyond.name}: ${beyond.size.toLocaleString()} bytes` });
    return;
  }
  let done = 0;
  for (const { files: some, expectedSize } of inRequests(files)) {
    say(`Signing ${done + 1} of ${files.length} …`);
    const request = {
      type: "sign",
      user_details: userDetails(),
      signature_algorithm: form.elements.algorithm.value,
      // Ids are numbers of our own: the host reads other characters than plain ones less strictly than JSON.
      xml_data: await Promise.all(some.map(async (file, index) => ({ id: String(index), data: await encode(file) }))),
    };
    const answer = await host.ask(request, expectedSize);
    if (!accept(answer)) return;
    for (const { id, data } of answer.signed_data) offer(some[Number(id)].name, decode(data));
    done += some.length;
  }
  say(done === 1 ? "The document is signed." : `All ${done} documents are signed.`);
}

form.addEventListener("submit", async (event) => {
  event.preventDefault();
  await busyWhile(sign);
  (byId("signed").querySelector("a") ?? byId("sign")).focus();
});
byId("check").addEventListener("click", async () => {
  byId("documents").required = false;  // not needed to look for a certificate
  const complete = form.reportValidity();
  byId("documents").required = true;
  if (!complete) return;
  await busyWhile(findCertificate);
  byId("check").focus();
});
byId("stop").addEventListener("click", () => host.cancel());
byId("retry").addEventListener("click", () => {
  clearOutcome();
  showVersion();
});

byId("extension-id").textContent = api.runtime.getManifest().browser_specific_settings && globalThis.browser?.runtime.getBrowserInfo
  ? api.runtime.getManifest().browser_specific_settings.gecko.id
  : api.runtime.id;
showVersion();
