// The conversation with the signing program: one process, one request at a time, started again when it is needed.

const api = globalThis.browser ?? globalThis.chrome;

/** The largest answer that Chromium and Firefox hand on, in bytes of JSON text. */
export const LARGEST_ANSWER = 1048576;

/** The connection was lost, or never came about. `reason` is one of the keys of LOST in words.js. */
export class ConnectionLost extends Error {
  constructor(reason, browserText) {
    super(browserText);
    this.reason = reason;
  }
}

/** What the browsers say when a program is missing, forbidden or gone; they give no codes. */
function reasonOf(text) {
  if (/not found|no such native application/i.test(text)) return "missing";
  if (/forbidden/i.test(text)) return "forbidden";
  if (/exceeds the limit/i.test(text)) return "tooLarge";
  return "ended";
}

export class SigningHost {
  #name;
  #onChange;
  #port = null;
  #pending = null;
  #queue = Promise.resolve();

  /** `onChange(running)` is called whenever the program has been started or has gone. */
  constructor(name, onChange = () => {}) {
    this.#name = name;
    this.#onChange = onChange;
  }

  /**
   * Resolves with the answer, an error answer included; rejects with ConnectionLost. Requests wait for each other, so
   * every answer belongs to the request that is pending. `expectedSize` is the caller's guess at the answer's length:
   * Chromium has the same words for an answer that is too large and for a program that broke off.
   */
  ask(request, expectedSize = 0) {
    const turn = this.#queue.then(() => this.#exchange(request, expectedSize));
    this.#queue = turn.catch(() => {});
    return turn;
  }

  /** Gives up the pending request; the browser ends the program. */
  cancel() {
    const port = this.#port;
    port?.disconnect();  // does not call our own onDisconnect
    this.#lost(port, new ConnectionLost("cancelled", "cancelled"));
  }

  #exchange(request, expectedSize) {
    return new Promise((resolve, reject) => {
      this.#pending = { resolve, reject, expectedSize };
      try {
        this.#port ??= this.#connect();
        this.#port.postMessage(request);
      } catch (error) {  // Chromium takes no message above 64 MiB; a port may have closed this moment
        this.#lost(this.#port, new ConnectionLost("ended", error.message));
      }
    });
  }

  #connect() {
    const port = api.runtime.connectNative(this.#name);
    port.onMessage.addListener((answer) => {
      if (port !== this.#port) return;
      this.#onChange(true);
      this.#pending?.resolve(answer);
      this.#pending = null;
    });
    // The program leaves after two idle minutes, and after a request that it could not understand: the next request
    // starts it anew.
    port.onDisconnect.addListener(() => {
      const text = port.error?.message ?? globalThis.chrome?.runtime?.lastError?.message ?? "";
      let reason = reasonOf(text);
      if (reason === "ended" && this.#pending?.expectedSize > LARGEST_ANSWER) reason = "tooLarge";
      this.#lost(port, new ConnectionLost(reason, text));
    });
    return port;
  }

  #lost(port, error) {
    if (port !== this.#port) return;
    this.#port = null;
    this.#onChange(false);
    this.#pending?.reject(error);
    this.#pending = null;
  }
}
