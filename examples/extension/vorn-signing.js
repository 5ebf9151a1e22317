// Signs XML documents with VORN Signing, from a page or a service worker of a browser extension. README.md beside this
// file shows how; vorn-signing.d.ts describes every function.

export const HOST_NAME = "vorn.signing";

const LARGEST_REQUEST = 10485760;  // bytes of JSON text that the host takes
const LARGEST_HOST_ANSWER = 67108864;  // bytes of JSON text that the host answers with, in all parts
const LARGEST_BROWSER_ANSWER = 1048576;  // bytes of JSON text that browsers hand on
/** Of every request: longer answers come in parts, and a failure says its reason. */
const ALWAYS = { max_answer: 1000000, reasons: true };
// Small documents share a request up to this size. More would save little time, and cost more when one of them fails.
const SHARED_REQUEST = 1000000;
const ROOM_FOR_DOCUMENT = 40;  // bytes of a request around the base64 of a document
const ROOM_FOR_SIGNATURES = 10000;  // bytes that two signatures with their certificates add to a document

/** By the "error_code" of an answer. */
const KINDS = {
  100: "host-failed",
  101: "invalid-request",
  102: "certificate-not-found",
  103: "document-unreadable",
  104: "document-unsuitable",
  105: "key-failed",
  107: "certificate-expired",
  108: "algorithm-unknown",
};

/** What browsers say of a host that cannot be reached; they have no codes. The first that matches counts. */
const BROWSER_TEXTS = [
  [/disabled by the system administrator/i, "disabled-by-policy"],
  [/forbidden|connectNative is not a function|undefined.*connectNative/i, "extension-not-allowed"],
  [/host not found|no such native application|invalid native messaging host name/i, "host-missing"],
  [/exceeds the limit|exceeded maximum allowed size|allocation size overflow/i, "too-large"],
];

/** Only these say something about one document; every other error would meet the next one too. */
const OF_ONE_DOCUMENT = new Set(["document-unreadable", "document-unsuitable", "host-failed", "key-failed", "host-ended", "too-large"]);
/** And of these only when the host gives no such reason: nobody who has said no to a PIN is asked for the next document. */
const OF_EVERY_DOCUMENT = new Set(["prompt-cancelled", "pin-wrong", "pin-blocked", "card-out", "no-prompt", "module-hangs",
  "confirm-refused", "store-unreadable", "restart"]);

export class SigningError extends Error {
  /** `text` is the host's or the browser's own; a person is better served with words chosen by `kind`. */
  constructor(kind, text, { code, reason, certificate, cause } = {}) {
    super(text ? `${kind}: ${text}` : kind, { cause });
    this.name = "SigningError";
    this.kind = kind;
    this.text = text;
    this.code = code;
    this.reason = reason;
    this.certificate = certificate;
    this.results = [];
  }
}

/** Any error as one of ours: what a caller's own arguments and callbacks throw, and what a broken answer leads to. */
const ours = (error, kind) =>
  error instanceof SigningError ? error : new SigningError(kind, String(error?.message ?? error), { cause: error });

const isOfOneDocument = ({ kind, reason }) => OF_ONE_DOCUMENT.has(kind) && !OF_EVERY_DOCUMENT.has(reason);

function errorFromBrowser(text, expectedSize) {
  const kind = BROWSER_TEXTS.find(([pattern]) => pattern.test(text))?.[1];
  // Chromium has the same words for an answer that is too large and for a host that broke off.
  const dropped = /error when communicating/i.test(text) && expectedSize > LARGEST_BROWSER_ANSWER;
  return new SigningError(kind ?? (dropped ? "too-large" : "host-ended"), text);
}

function certificateOf(answer) {
  if (!answer.cert_serial) return undefined;
  // Local time, in spite of the "Z".
  return { serial: answer.cert_serial, issuer: answer.cert_issuer, expiry: new Date(String(answer.cert_expiry).replace(/Z$/, "")) };
}

/** The answer, unless it is an error. */
function accepted(answer) {
  if (answer.result === "ok") return answer;
  const certificate = certificateOf(answer);
  // A host that has found one user's certificate before answers 107 when the next user has none.
  const kind = answer.error_code === 107 && !certificate ? "certificate-not-found" : KINDS[answer.error_code] ?? "host-failed";
  throw new SigningError(kind, answer.error_message ?? "", { code: answer.error_code, reason: answer.error_reason, certificate });
}

/** The certificate and the signed bytes of all documents, by their ids. */
function signedIn(answer, count) {
  try {
    const signed = [];
    for (const { id, data } of answer.signed_data) signed[Number(id)] = bytesOf(data);
    for (let at = 0; at < count; ++at) if (!signed[at]) throw new Error(`document ${at} is missing in the answer`);
    return [certificateOf(answer), signed];
  } catch (error) {
    throw ours(error, "host-failed");
  }
}

const cancelled = () => new SigningError("cancelled", "");

/**
 * Key identifiers as certificate viewers show them ("5F:1D: ..."), several to a text, in the form that requests have.
 * Throws SigningError "invalid-request" for what is none.
 */
export function keyIdentifiers(text) {
  if (typeof text !== "string") throw new SigningError("invalid-request", "key identifiers are text");
  const identifiers = text.split(/[\n,;]/).map((line) => line.replace(/[\s:]/g, "").toLowerCase()).filter(Boolean);
  for (const identifier of identifiers) {
    if (!/^([0-9a-f]{2})+$/.test(identifier)) throw new SigningError("invalid-request", `"${identifier}" is no key identifier`);
  }
  if (identifiers.length === 0) throw new SigningError("invalid-request", "there is no key identifier");
  return identifiers;
}

function userDetails(user) {
  for (const member of ["name", "email", "abn"]) {
    if (typeof user?.[member] !== "string") throw new SigningError("invalid-request", `the user's ${member} is missing`);
  }
  const { name, email, abn } = user;
  return { name, email, abn, aki: keyIdentifiers([user.aki].flat().map(String).join("\n")) };
}

/** Text as the bytes of a document in UTF-8, which its XML declaration says then too. */
export function encodeText(xml) {
  if (typeof xml !== "string") throw new SigningError("invalid-request", "a document's text is a string");
  return new TextEncoder().encode(xml.replace(/^(<\?xml[^>]*?\sencoding\s*=\s*)(["'])[\w.-]+\2/, "$1$2UTF-8$2"));
}

/** A document in the forms that callers have, its bytes read when they are needed. */
function sourceOf(document) {
  const data = document?.data ?? document;
  if (typeof data === "string") return sourceOf(encodeText(data));
  if (typeof data?.arrayBuffer === "function") return { size: data.size, read: async () => new Uint8Array(await data.arrayBuffer()) };
  if (Object.prototype.toString.call(data) === "[object ArrayBuffer]") return sourceOf(new Uint8Array(data));
  if (ArrayBuffer.isView(data)) return { size: data.byteLength, read: async () => new Uint8Array(data.buffer, data.byteOffset, data.byteLength) };
  throw new SigningError("invalid-request", "a document is a File, a Blob, bytes or text, or holds one of these as its data");
}

/** One document, or as many as there are in an array, a FileList or any other iterable. Text and bytes are iterable too. */
function itemsOf(documents) {
  const isOne = typeof documents === "string" || ArrayBuffer.isView(documents) || typeof documents?.[Symbol.iterator] !== "function";
  return (isOne ? [documents] : [...documents]).map((document, index) => ({ document, index, ...sourceOf(document) }));
}

async function bytesToSign(item) {
  try {
    return await item.read();
  } catch (error) {  // a file that was changed or removed since it was chosen
    throw new SigningError("document-unreadable", error.message);
  }
}

/**
 * A key that did not sign, or a host that ends time and again, has hardly to do with the document: the rest would meet the
 * same, and nobody wants to be asked for a PIN once more for each.
 */
function isHopeless(error, run) {
  if (run.left === 0 || error.reason === "document-invalid") return false;
  const again = run.lastFailure === error.kind;
  return error.kind === "key-failed" ? run.signed === 0 || again : error.kind === "host-ended" && again;
}

const base64Size = (bytes) => Math.ceil(bytes / 3) * 4;
/** JSON writes every "/" of the base64 as two characters. */
const answerSize = (bytes) => Math.ceil((base64Size(bytes + ROOM_FOR_SIGNATURES) * 65) / 64);

function base64Of(bytes) {
  const pieces = [];
  const step = 3 * 8192;
  for (let at = 0; at < bytes.length; at += step) pieces.push(btoa(String.fromCharCode(...bytes.subarray(at, at + step))));
  return pieces.join("");
}

function bytesOf(base64) {
  const text = atob(base64);
  const bytes = new Uint8Array(text.length);
  for (let at = 0; at < text.length; ++at) bytes[at] = text.charCodeAt(at);
  return bytes;
}

/** One process at the other end of a port, for as long as it lasts. */
class Process {
  #port;
  #lastError;
  #waiting = null;
  #endedBy = null;
  ended = false;

  constructor(runtime, name, onRunning) {
    this.#lastError = () => this.#port.error?.message ?? runtime.lastError?.message ?? "";
    this.onRunning = onRunning;
    this.#port = runtime.connectNative(name);
    this.#port.onMessage.addListener((answer) => {
      const waiting = this.#waiting;
      this.#waiting = null;
      waiting?.resolve(answer);
      this.onRunning(true);
    });
    this.#port.onDisconnect.addListener(() => this.#lost((size) => errorFromBrowser(this.#lastError(), size)));
  }

  /** One request and its one answer. */
  ask(request, expectedSize) {
    return new Promise((resolve, reject) => {
      if (this.#endedBy) throw this.#endedBy;  // between the parts of an answer
      this.#waiting = { resolve, reject, expectedSize };
      this.#port.postMessage(request);  // throws when the port has closed or the request is too large
    }).catch((error) => {
      this.#waiting = null;
      throw error instanceof SigningError ? error : errorFromBrowser(String(error?.message ?? error), expectedSize);
    });
  }

  /** The browser ends the process; the request that is under way is rejected with `error`. */
  end(error) {
    if (this.ended) return;
    this.#endedBy = error;
    this.#port.disconnect();  // does not call our own listener
    this.#lost(() => error);
  }

  #lost(errorFor) {
    this.ended = true;
    const waiting = this.#waiting;
    this.#waiting = null;
    const error = errorFor(waiting?.expectedSize ?? 0);
    waiting?.reject(error);
    this.onRunning(false);
  }
}

export class SigningHost {
  #options;
  #process = null;
  #queue = Promise.resolve();

  constructor(options) {
    const { name = HOST_NAME, runtime = (globalThis.browser ?? globalThis.chrome)?.runtime, onRunning = () => {} } = options ?? {};
    this.#options = { name, runtime, onRunning };
  }

  /** The host's version answer. */
  version(options) {
    return this.#request({ type: "version" }, options?.signal);
  }

  /** The certificate that would sign for this user. */
  async certificate(user, options) {
    const request = { type: "version", user_details: userDetails(user) };
    return certificateOf(await this.#request(request, options?.signal));
  }

  /**
   * Signs what can be signed: one document or several. Resolves with one result for each, in their order: { document,
   * signed, certificate } or { document, error }. Rejects when none of the rest can be signed; `results` of the error holds
   * what was decided before.
   */
  async sign(documents, user, options) {
    const results = [];
    try {
      const { algorithm = "RSA_SHA256", onProgress, signal } = options ?? {};
      const request = { type: "sign", user_details: userDetails(user), signature_algorithm: algorithm, xml_data: [] };
      const items = itemsOf(documents);
      const run = { request, signal, left: items.length, signed: 0, lastFailure: null };
      run.decide = ({ document, index }, outcome) => {
        const result = results[index] = { document, ...outcome };
        run.left -= 1;
        try {
          onProgress?.({ done: items.length - run.left, total: items.length, index, result });
        } catch (error) {
          throw new SigningError("invalid-request", `onProgress failed: ${error?.message ?? error}`, { cause: error });
        }
      };
      for (const some of this.#packed(items, request)) await this.#signSome(some, run);
      return results;
    } catch (error) {
      throw Object.assign(ours(error, "invalid-request"), { results: results.filter(Boolean) });
    }
  }

  /** Ends the host's process. The next request starts it anew. */
  close() {
    this.#process?.end(cancelled());
  }

  /** Items that share a request, in their order; one that is too large for any request stands alone. */
  #packed(items, request) {
    const around = new TextEncoder().encode(JSON.stringify({ ...request, ...ALWAYS })).length;
    const packed = [];
    let size = Infinity;
    let answer = 0;
    for (const item of items) {
      const own = base64Size(item.size) + ROOM_FOR_DOCUMENT;
      item.fits = around + own <= LARGEST_REQUEST;
      if (size + own > SHARED_REQUEST || answer + answerSize(item.size) > LARGEST_HOST_ANSWER) {
        packed.push([]);
        size = around;
        answer = 0;
      }
      packed.at(-1).push(item);
      size += own;
      answer += answerSize(item.size);
    }
    return packed;
  }

  /** All the documents of a request are signed, or none. Where one of them fails, each is tried alone. */
  async #signSome(some, run) {
    if (some.length > 1) {
      try {
        return await this.#signTogether(some, run);
      } catch (error) {
        if (!isOfOneDocument(error)) throw error;
      }
    }
    for (const item of some) {
      try {
        await this.#signTogether([item], run);
      } catch (error) {
        if (!isOfOneDocument(error)) throw error;
        run.decide(item, { error });
        if (isHopeless(error, run)) throw error;
        run.lastFailure = error.kind;
      }
    }
  }

  async #signTogether(some, run) {
    // Ids are numbers of our own: the host reads other characters than plain ones less strictly than JSON.
    const data = [];
    for (const item of some) {
      if (!item.fits) throw new SigningError("too-large", `the host takes requests of ${LARGEST_REQUEST} bytes`);
      data.push({ id: String(data.length), data: base64Of(await bytesToSign(item)) });
    }
    const expectedSize = some.reduce((sum, item) => sum + answerSize(item.size), 0);
    const answer = await this.#request({ ...run.request, xml_data: data }, run.signal, expectedSize);
    const [certificate, signed] = signedIn(answer, some.length);
    run.signed += some.length;
    run.lastFailure = null;
    some.forEach((item, at) => run.decide(item, { signed: signed[at], certificate }));
  }

  /** The whole answer, in its turn: between the parts of an answer there is no other request. */
  #request(request, signal, expectedSize = 0) {
    const turn = this.#queue.then(async () => {
      const stop = () => this.#process?.end(cancelled());
      try {
        if (signal?.aborted) throw cancelled();
        if (signal && !signal.addEventListener) throw new SigningError("invalid-request", "this is no AbortSignal");
        signal?.addEventListener("abort", stop);
        return await this.#answerTo(request, expectedSize);
      } catch (error) {
        throw ours(error, "host-failed");
      } finally {
        signal?.removeEventListener?.("abort", stop);
      }
    });
    this.#queue = turn.catch(() => {});
    return turn;
  }

  /**
   * A host leaves when it is idle, and may just do so; one whose program was replaced by an upgrade has to be left. A
   * request that it did not answer, or refused for that, is sent once more.
   */
  async #answerTo(request, expectedSize) {
    for (let isAgain = false; ; isAgain = true) {
      try {
        return accepted(await this.#exchange(request, expectedSize));
      } catch (error) {
        if (error.reason === "restart") this.#process.end(error);
        if (isAgain || error.kind !== "host-ended" && error.reason !== "restart") throw error;
      }
    }
  }

  async #exchange(request, expectedSize) {
    const host = this.#running();
    const answer = await host.ask({ ...request, ...ALWAYS }, expectedSize);
    if (answer.part !== 1) return answer;
    const texts = [answer.text];
    for (let part = 2; part <= answer.parts; ++part) {
      const next = await host.ask({ type: "part", part }, 0);
      if (next.part !== part || next.parts !== answer.parts) throw new SigningError("host-failed", `part ${part} is missing`);
      texts.push(next.text);
    }
    return JSON.parse(texts.join(""));
  }

  #running() {
    if (this.#process && !this.#process.ended) return this.#process;
    const { runtime, name, onRunning } = this.#options;
    try {
      this.#process = new Process(runtime, name, onRunning);
    } catch (error) {  // no permission, or no extension at all
      throw errorFromBrowser(typeof runtime?.connectNative === "function" ? error.message : "connectNative is not a function", 0);
    }
    return this.#process;
  }
}

/** A connection to the host. The browser starts the host with the first request. */
export const connect = (options) => new SigningHost(options);
