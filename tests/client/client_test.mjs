// The client library against the real host. VORN_HOST and VORN_TEST_HOMES name it and the tests' key stores.

import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, test } from "node:test";
import { pathToFileURL } from "node:url";

import { connect, encodeText, keyIdentifiers, SigningError } from "../../clients/javascript/vorn-signing.js";
import { refusingRuntime, runtimeOf } from "./host_port.mjs";

const { VORN_HOST, VORN_TEST_HOMES } = process.env;
const CLIENT = new URL("../../clients/javascript/", import.meta.url);
const aki = fs.readFileSync(path.join(VORN_TEST_HOMES, "main.aki"), "utf8");
const jane = { name: "Jane Citizen", email: "jane@example.com", abn: "12345678901", aki };
const home = fs.mkdtempSync(path.join(os.tmpdir(), "vorn-client-"));
fs.cpSync(path.join(VORN_TEST_HOMES, "main", ".pki"), path.join(home, ".pki"), { recursive: true });

const runtimes = [];
function realRuntime() {
  runtimes.push(runtimeOf(VORN_HOST, { HOME: home, PATH: process.env.PATH }));
  return runtimes.at(-1);
}
after(() => {
  for (const host of runtimes.flatMap(({ processes }) => processes)) host.kill("SIGKILL");
  fs.rmSync(home, { recursive: true });
});

const agreement = (inside) => `<D><CounterpartData>${inside}</CounterpartData><RenderedData>é</RenderedData></D>`;

function assertVerifies(signed) {
  const file = path.join(home, "signed.xml");
  fs.writeFileSync(file, signed);
  for (const part of ["CounterpartData", "RenderedData"]) {
    const { status, stderr } = spawnSync("xmlsec1", ["--verify", "--enabled-key-data", "x509", "--trusted-pem",
      path.join(VORN_TEST_HOMES, "main/certificates/Test Authority.pem"),
      "--node-xpath", `//${part}/*[local-name()='Signature']`, file]);
    assert.equal(status, 0, String(stderr));
  }
}

test("signs documents of every size and form, and says which one is broken", async () => {
  const runtime = realRuntime();
  const host = connect({ runtime });
  const progress = [];
  const documents = [
    `<?xml version="1.0" encoding="ISO-8859-1"?>${agreement("text")}`,
    new TextEncoder().encode(agreement("bytes")),
    new TextEncoder().encode(agreement("buffer")).buffer,
    { data: agreement("x".repeat(600000)), name: "large" },
    "<D><CounterpartData>",
    new Blob([agreement("y".repeat(300000))]),
    "<D/>",
    "x".repeat(8000000),
    agreement("z".repeat(7000000)),
    agreement("/".repeat(1500000)),
  ];
  const results = await host.sign(documents, jane, { onProgress: (event) => progress.push(event) });
  assert.deepEqual(results.map(({ error }) => error?.kind ?? "signed"), ["signed", "signed", "signed", "signed",
    "document-unreadable", "signed", "document-unsuitable", "too-large", "signed", "signed"]);
  assert.equal(results[4].error.code, 103);
  for (const [index, result] of results.entries()) {
    assert.equal(result.document, documents[index]);
    if (!result.signed) continue;
    assertVerifies(result.signed);
    assert.ok(Buffer.from(result.signed).includes("<RenderedData>é<"));
    assert.equal(result.certificate.serial, "1920354224474384430");
  }
  assert.deepEqual(progress.map(({ done }) => done), documents.map((_, index) => index + 1));
  assert.ok(progress.every(({ index, result, total }) => result === results[index] && total === 10));
  assert.equal(runtime.processes.length, 1, "one process did it all");
  assert.ok(runtime.largestAnswer < 1000000);
  assert.deepEqual(await host.sign([], jane), []);
});

test("packs small documents into few requests", async () => {
  const runtime = realRuntime();
  const documents = Array.from({ length: 100 }, (_, index) => agreement(index));
  const results = await connect({ runtime }).sign(documents, jane, { algorithm: "RSA_SHA512" });
  assert.ok(results.every(({ signed }, index) => Buffer.from(signed).includes(`<CounterpartData>${index}<`)));
  assert.equal(runtime.requests.filter(({ type }) => type === "sign").length, 1);
});

test("goes on in a new process when the host goes", async () => {
  const runtime = realRuntime();
  const states = [];
  const host = connect({ runtime, onRunning: (running) => states.push(running) });
  await host.version();
  runtime.processes[0].kill("SIGKILL");
  assert.equal((await host.version()).result, "ok", "between two requests");
  let kills = 0;
  runtime.change = (request, process) => {
    if (request.type === "part" && kills++ === 0) process.kill("SIGKILL");
    return request;
  };
  const results = await host.sign([agreement("1"), agreement("x".repeat(3000000))], jane);
  results.forEach(({ signed }) => assertVerifies(signed));
  assert.ok(kills > 1, "between two parts of an answer");
  assert.deepEqual(states.slice(0, 3), [true, false, true]);

  runtime.change = (request, process) => (request.type === "sign" && process.kill("SIGKILL"), request);
  const started = runtime.processes.length;
  const error = await host.sign(documentsNamed("a", "b", "c", "d"), jane).catch((reason) => reason);
  assert.equal(error.kind, "host-ended");
  assert.equal(error.results.length, 2, "gives up when it happens time and again");
  assert.ok(runtime.processes.length - started < 8);
  runtime.change = (request) => request;
  assert.equal((await host.sign([agreement("2")], jane)).length, 1);
});

const documentsNamed = (...names) => names.map((name) => ({ name, data: agreement(name) }));

test("stops at once, and keeps what was signed", async () => {
  const runtime = realRuntime();
  const host = connect({ runtime });
  const stop = new AbortController();
  const documents = Array.from({ length: 20 }, () => agreement("x".repeat(1000000)));
  const error = await host.sign(documents, jane, {
    signal: stop.signal,
    onProgress: ({ done }) => done === 3 && stop.abort(),
  }).catch((reason) => reason);
  assert.equal(error.kind, "cancelled");
  assert.equal(error.results.length, 3);
  await assert.rejects(host.version({ signal: stop.signal }), { kind: "cancelled" });
  const other = connect({ runtime, onRunning: (running) => running && other.close() });
  await assert.rejects(other.sign(documents.slice(0, 1), jane), { kind: "cancelled" }, "between the parts of an answer");
  runtime.change = (request) => (queueMicrotask(() => host.close()), request);
  await assert.rejects(host.certificate(jane), { kind: "cancelled" });
  runtime.change = (request) => request;
  assert.equal((await host.certificate(jane)).issuer, "Test Authority", "the next request starts another");
});

test("tells a key that does not sign from a document that cannot be signed", async () => {
  const all = ["a", "b", "c", "d"];
  for (const [documents, failing, kinds, asks, error_reason] of [
    [all, ["b"], ["signed", "key-failed", "signed", "signed"], 5],
    [all, ["b", "c"], ["signed", "key-failed", "key-failed"], 4, "a word of a newer host"],
    [all, all, ["key-failed"], 2, "key-failed"],
    [all, ["a", "b"], ["key-failed", "key-failed", "signed", "signed"], 5, "document-invalid"],
    [all, all, [], 1, "prompt-cancelled"],
    [all, ["b"], [], 2, "restart"],
    [["a"], ["a"], ["key-failed"], 1],
  ]) {
    const asked = [];
    const runtime = scripted((request) => {
      asked.push(request);
      const names = request.xml_data.map(({ data }) => atob(data));
      if (names.some((name) => failing.includes(name))) return { result: "error", error_code: 105, error_message: "locked", error_reason };
      return { ...SIGNED, signed_data: request.xml_data };
    });
    let rejected = null;
    const results = await connect({ runtime }).sign(documents, jane).catch((error) => (rejected = error).results);
    assert.equal(Boolean(rejected), kinds.length < documents.length, "rejects when documents are left");
    assert.equal(rejected?.reason, rejected ? error_reason : undefined);
    assert.deepEqual(results.map(({ error }) => error?.kind ?? "signed"), kinds);
    assert.equal(asked.length, asks);
    assert.ok(asked.every(({ reasons }) => reasons === true));
  }
});

const SIGNED = { result: "ok", cert_serial: "1", cert_issuer: "", cert_expiry: "2030-07-01T00:00:00.000Z" };

/** A runtime with a host that answers as told; `started` counts its processes. */
function scripted(answerTo) {
  const runtime = { started: 0, connectNative: () => {
    const listeners = [];
    runtime.started += 1;
    return { onMessage: { addListener: (listener) => listeners.push(listener) }, onDisconnect: { addListener() {} }, disconnect() {},
      postMessage: (request) => setTimeout(() => listeners.forEach((listener) => listener(answerTo(request)))) };
  } };
  return runtime;
}

test("leaves a host that an upgrade has replaced, and takes an error in parts", async () => {
  const replaced = { result: "error", error_code: 100, error_message: "replaced", error_reason: "restart" };
  for (const [stale, started, kind] of [[1, 2, "document-unreadable"], [9, 2, "host-failed"]]) {
    const text = JSON.stringify({ result: "error", error_code: 103, error_message: "x", error_reason: "document-malformed" });
    const runtime = scripted(({ part = 1 }) => runtime.started <= stale ? replaced
      : { result: "error", part, parts: 2, text: part === 1 ? text.slice(0, 30) : text.slice(30) });
    await assert.rejects(connect({ runtime }).version(), { name: "SigningError", kind });
    assert.equal(runtime.started, started);
  }
});

test("takes one document or any that can be counted up, and throws its own error alone", async () => {
  const runtime = scripted((request) => ({ ...SIGNED, signed_data: request.xml_data }));
  const host = connect({ runtime });
  const bytes = new TextEncoder().encode("<a/>");
  const textsOf = (results) => results.map(({ signed }) => Buffer.from(signed).toString()).join();
  for (const document of ["<a/>", bytes, new Uint16Array(bytes.buffer), bytes.buffer, new Blob([bytes]), new File([bytes], "a.xml"), { data: "<a/>" }]) {
    assert.equal(textsOf(await host.sign(document, jane, null)), "<a/>");
    for (const several of [[document, "<b/>"], new Set([document, "<b/>"]), (function* () { yield document; yield "<b/>"; })()]) {
      assert.equal(textsOf(await host.sign(several, jane)), "<a/>,<b/>");
    }
  }
  const thrown = new Error("from the caller");
  const fail = () => { throw thrown; };
  const answering = (answer) => connect({ runtime: scripted(() => answer) });
  const data = btoa("<a/>");
  for (const [act, kind, cause] of [
    [() => host.sign(undefined, jane), "invalid-request"], [() => host.sign(5, jane), "invalid-request"], [() => host.sign(["<a/>", null], jane), "invalid-request"],
    [() => host.sign({ [Symbol.iterator]: fail }, jane), "invalid-request", thrown],
    [() => host.sign("<a/>", jane, { onProgress: fail }), "invalid-request", thrown],
    [() => host.sign("<a/>", { ...jane, aki: Symbol("x") }), "invalid-request"], [() => host.sign("<a/>", null), "invalid-request"],
    [() => host.version({ signal: 5 }), "invalid-request"], [() => host.certificate(), "invalid-request"],
    [() => answering(null).version(), "host-failed"], [() => answering({ part: 1, parts: 1, text: "{" }).version(), "host-failed"],
    [() => answering({ ...SIGNED, signed_data: [] }).sign("<a/>", jane).then(([{ error }]) => { throw error; }), "host-failed"],
    [() => answering({ ...SIGNED, signed_data: [{ id: "0", data: "?" }, { id: "1", data }] }).sign(["<a/>", "<b/>"], jane)
      .then((results) => { throw results[1].error; }), "host-failed"],
    [async () => keyIdentifiers(), "invalid-request"], [async () => encodeText(5), "invalid-request"],
  ]) {
    await assert.rejects(act, (error) => (assert.ok(error instanceof SigningError, String(error)), assert.equal(error.kind, kind),
      assert.equal(cause && error.cause, cause), true));
  }
});

test("gives every refusal of the host and of the browsers a kind", async () => {
  const host = connect({ runtime: realRuntime() });
  const kindOf = (promise) => promise.then(() => "none", (error) => (assert.ok(error instanceof SigningError), error.kind));
  const one = [agreement("")];
  assert.equal(await kindOf(host.certificate({ ...jane, name: "Nobody" })), "certificate-not-found");
  assert.equal(await kindOf(host.sign(one, jane, { algorithm: "MD5" })), "algorithm-unknown");
  const late = await host.sign(one, { ...jane, name: "Late Larry" }).catch((error) => error);
  assert.equal(late.kind, "certificate-expired");
  assert.equal(late.certificate.expiry.getFullYear(), 2011);
  await host.certificate(jane);
  assert.equal(await kindOf(host.certificate({ ...jane, email: "x@example.com" })), "certificate-not-found", "107 without a serial number");
  for (const user of [{ ...jane, aki: "zz" }, { ...jane, aki: [] }, { ...jane, abn: 1 }, undefined]) {
    assert.equal(await kindOf(host.sign(one, user)), "invalid-request");
  }
  assert.equal(await kindOf(host.sign([5], jane)), "invalid-request");
  assert.deepEqual(keyIdentifiers(" 5F:1D \n\nab cd;01"), ["5f1d", "abcd", "01"]);

  for (const [text, kind, isFirefox = false] of [
    ["Specified native messaging host not found.", "host-missing"],
    ["No such native application vorn.signing", "host-missing", true],
    ["Invalid native messaging host name specified.", "host-missing"],
    ["Access to the specified native messaging host is forbidden.", "extension-not-allowed"],
    ["Access to the native messaging host was disabled by the system administrator.", "disabled-by-policy"],
    ["Native host has exited.", "host-ended"],
    ["Failed to start native messaging host.", "host-ended"],
    ["Error when communicating with the native messaging host.", "host-ended"],
    ["An unexpected error occurred", "host-ended", true],
    [null, "host-ended", true],
    ["Native application tried to send a message of 1048577 bytes, which exceeds the limit of 1048576 bytes.", "too-large", true],
  ]) {
    assert.equal(await kindOf(connect({ runtime: refusingRuntime(text, isFirefox) }).version()), kind, text);
  }
  const dropping = connect({ runtime: refusingRuntime("Error when communicating with the native messaging host.") });
  const [{ error }] = await dropping.sign([agreement("x".repeat(900000))], jane);
  assert.equal(error.kind, "too-large", "the same words when the answer is that long");
  const older = realRuntime();
  older.change = ({ max_answer, ...request }) => request;
  const sizes = await connect({ runtime: older }).sign(["1", "x".repeat(1500000), "2"].map(agreement), jane);
  assert.deepEqual(sizes.map((result) => result.error?.kind ?? "signed"), ["signed", "too-large", "signed"], "a host without parts");
  assert.equal(await kindOf(connect({ runtime: {} }).version()), "extension-not-allowed", "no permission");
  assert.equal(await kindOf(connect().version()), "extension-not-allowed", "no extension");
});

/** A module of the sample extension that needs no other. */
function ofExtension(name) {
  const code = fs.readFileSync(new URL(`../../examples/extension/${name}`, import.meta.url), "utf8");
  return import(`data:text/javascript,${encodeURIComponent(code)}`);
}

test("takes who signs from what vornctl has printed, whatever was copied with it", async () => {
  const extension = path.join(home, "extension");
  fs.cpSync(new URL("../../examples/extension", import.meta.url), extension, { recursive: true });
  fs.writeFileSync(path.join(extension, "package.json"), '{"type": "module"}');
  globalThis.localStorage = { getItem: () => null, removeItem() {} };
  const { Person } = await import(pathToFileURL(path.join(extension, "person.js")));
  const field = () => ({ value: "", addEventListener() {}, setCustomValidity() {} });
  const names = ["name", "email", "abn", "aki", "algorithm", "remember"];
  for (const name of ["Jane Citizen", "Zo\u00eb O'Hara, \"J} {\" \\ 5", '","aki":[]}']) {
    const elements = Object.fromEntries(names.map((one) => [one, field()]));
    const person = new Person({ elements });
    assert.throws(() => person.fillFrom("$ vornctl identities --for-page\n{}"));
    const line = (aki) => JSON.stringify({ name, email: "a@b", abn: "1 2", aki });
    const wrapped = line(["AB:CD", "01"]).replace(/(.{20})/g, "$1\r\n");
    person.fillFrom(`{venv} $ vornctl identities --for-page\n${line(["ff"])}\n{venv} $ again {x}\n${wrapped}\n{venv} $ ["aki":[1]}`);
    assert.deepEqual(person.typed, { name, email: "a@b", abn: "1 2", aki: ["abcd", "01"] });
  }
});

test("lets the sample extension work for its own pages alone", async () => {
  const { allowedOrigin } = await ofExtension("origins.js");
  for (const [sender, origin] of [
    [{ origin: "http://localhost:8000", frameId: 0, tab: {} }, "http://localhost:8000"],
    [{ url: "http://127.0.0.1/x", frameId: 0, tab: {} }, "http://127.0.0.1"],
    [{ origin: "http://localhost:8000", frameId: 3, tab: {} }, null],
    [{ origin: "http://localhost:8000", frameId: 0 }, null],
    [{ origin: "http://localhost.example.com", frameId: 0, tab: {} }, null],
    [{ origin: "https://localhost@example.com", frameId: 0, tab: {} }, null],
    [{ origin: "null", url: "http://localhost/", frameId: 0, tab: {} }, null],
  ]) assert.equal(allowedOrigin(sender), origin);
});

// What npm would pack, installed; by npm itself where it is there.
{
  const installed = path.join(home, "node_modules/vorn-signing");
  fs.mkdirSync(installed, { recursive: true });
  if (spawnSync("npm", ["pack", "--pack-destination", home], { cwd: CLIENT }).status === 0) {
    const packed = fs.readdirSync(home).find((name) => name.endsWith(".tgz"));
    spawnSync("tar", ["-xf", path.join(home, packed), "--strip-components=1", "-C", installed]);
  } else {
    const { files } = JSON.parse(fs.readFileSync(new URL("package.json", CLIENT)));
    for (const name of ["package.json", "README.md", ...files]) fs.copyFileSync(new URL(name, CLIENT), path.join(installed, name));
  }
  assert.deepEqual(fs.readdirSync(installed).sort(), ["README.md", "package.json", "vorn-signing.d.ts", "vorn-signing.js"]);
}

const readme = fs.readFileSync(new URL("README.md", CLIENT), "utf8");
const examples = [...readme.matchAll(/```js\n(.*?)```/gs)].map(([, code]) => code).join("\n").replace('"./vorn-signing.js"', '"vorn-signing"');
const hasTypeScript = spawnSync("tsc", ["--version"]).status === 0;

test("shows a document in the encoding in which the host signs it", async () => {
  const { decode } = await ofExtension("encoding.js");
  const host = connect({ runtime: realRuntime() });
  const utf16 = (text) => Buffer.from(text, "utf16le");
  for (const [bytes, shown] of [
    [Buffer.from(`<?xml version="1.0"${" ".repeat(300)}encoding="windows-1251"?>${agreement("\xc2\xa3")}`, "latin1"), "ВЈ"],
    [Buffer.from(`<?xml version="1.0" encoding='iso-8859-1'?>${agreement("\xa3")}`, "latin1"), "£"],
    [Buffer.from(`<?xml version="1.0" standalone="no"?>${agreement(' encoding="utf-7"?')}`), ' encoding="utf-7"?'],
    [utf16(`\ufeff${agreement("£")}`), "£"],
    [utf16(`<?xml version="1.0" encoding="UTF-16LE"?>${agreement("£")}`), "£"],
    [utf16(`<?xml version="1.0" encoding="UTF-16LE"?>${agreement("£")}`).swap16()],
    [utf16(agreement("£"))],
    [Buffer.from(`\ufeff<?xml version="1.0" encoding="windows-1251"?>${agreement("£")}`)],
    ...["ISO-8859-1", "iso-8859-9", "ISO-8859-11", "us-ascii", "utf-8", "utf-16", "UTF-7", "gbk", "macintosh"].map((name) =>
      [Buffer.from(`<?xml version="1.0" encoding="${name}"?>${agreement("10\x8200")}`, "latin1")]),
  ]) {
    if (!shown) assert.throws(() => decode(bytes), String(bytes));
    else {
      const [{ signed }] = await host.sign(bytes, jane);
      for (const text of [decode(bytes), Buffer.from(signed).toString()]) assert.equal(/<CounterpartData>(.*?)</.exec(text)[1], shown);
    }
  }
});

test("is typed as its page shows", { skip: !hasTypeScript && "tsc is not installed" }, () => {
  const file = path.join(home, "examples.mts");
  fs.writeFileSync(file, `${examples}
    declare const form: { aki: string }, input: HTMLInputElement, files: File[], canvas: HTMLCanvasElement;
    declare function show(text: string): void; declare function offer(name: string, blob: Blob): void;
    const [first] = await host.sign(input.files!, user);
    const bytes: BlobPart = (await host.sign(new Set([new Uint8Array(5)]), user))[0]!.signed!;
    show(first!.document.name + (await host.sign({ data: "<a/>", mine: 5 }, user))[0]!.document.mine + (error as SigningError).reason);
    for (const one of ["<a/>", new ArrayBuffer(5), new Uint8Array(5), files[0]!]) await host.sign(one, user);
    const word: SigningError["kind"] = "cancelled";
    // @ts-expect-error
    await host.sign(canvas, user);
    // @ts-expect-error
    await host.sign([5], user);
    // @ts-expect-error
    const none: SigningError["kind"] = "no kind";
    // @ts-expect-error
    host.sign(files, user, { algorithm: "MD5" });
  `);
  const { stdout } = spawnSync("tsc", ["--strict", "--noEmit", "--target", "es2022", "--module", "nodenext", file], { cwd: home });
  assert.equal(String(stdout), "");
});

test("does what its page shows", async () => {
  const file = path.join(home, "examples.mjs");
  fs.writeFileSync(file, `${examples}\nexport { version, serial };\n`);
  const shown = [];
  const offered = [];
  Object.assign(globalThis, {
    chrome: { runtime: realRuntime() },
    form: { aki: aki.toUpperCase() },
    files: documentsNamed("first").concat({ name: "second", data: "<D/>" }),
    show: (text) => shown.push(text),
    offer: (name, blob) => offered.push([name, blob.size > 5000]),
  });
  const { version, serial } = await import(pathToFileURL(file));
  assert.match(version, /^\d+\.\d+\.\d+\.\d+$/);
  assert.equal(serial, "1920354224474384430");
  assert.deepEqual(offered, [["first", true]]);
  assert.deepEqual(shown, ["1 of 2", "2 of 2", "second was not signed: document-unsuitable",
    "No certificate fits these details.", "cancelled, 0 done"]);

  const types = fs.readFileSync(new URL("vorn-signing.d.ts", CLIENT), "utf8");
  const words = [...types.matchAll(/^  \| "(.*?)"/gm)].map(([, word]) => word);
  const told = [...readme.matchAll(/^\| (`.*?`) \|/gm)].map(([, cell]) => cell.match(/[a-z-]+/g));
  assert.deepEqual(told.flat().sort(), words.sort(), "page and types know the same kinds and reasons");
  const { optionsFor, wordsFor } = await ofExtension("words.js");
  for (const [word] of told.filter((row) => row.length === 1)) {
    assert.doesNotMatch(wordsFor({ kind: word, reason: word }).title, /^Something/, `the sample has words for ${word}`);
  }
  assert.equal(wordsFor({ kind: "key-failed", reason: "of a newer host" }).title, wordsFor({ kind: "key-failed" }).title);
  const typed = { name: "-J. O'Hara $(id) `id` \\ \"x\" !1", email: "jane@example.com", abn: "", aki: ["5f1d", "ab"] };
  const { stdout } = spawnSync("sh", ["-c", `printf '%s\n' ${optionsFor(typed)}`]);
  assert.equal(String(stdout), `--name=${typed.name}\n--email=jane@example.com\n--abn=\n--aki=5f1d\n--aki=ab\n`, "a shell reads what was typed");
  const module = await import(new URL("vorn-signing.js", CLIENT));
  for (const name of Object.keys(module)) assert.match(types, new RegExp(`export (class|function|const) ${name}\\b`));
});
