// A browser's native messaging for Node: runtime.connectNative over a child process, with Chromium's limits and words.

import { spawn } from "node:child_process";

const LARGEST_ANSWER = 1048576;

class Event {
  #listeners = [];
  addListener(listener) {
    this.#listeners.push(listener);
  }
  fire(...values) {
    for (const listener of this.#listeners) listener(...values);
  }
}

/**
 * A runtime whose hosts are `program` in that environment. `processes` are those that were started, `requests` what was
 * sent; `change`, when set, may replace a request or return null to swallow it.
 */
export function runtimeOf(program, environment) {
  const runtime = { lastError: undefined, processes: [], requests: [], largestAnswer: 0, change: (request) => request };
  runtime.connectNative = () => {
    const port = { onMessage: new Event(), onDisconnect: new Event() };
    const host = spawn(program, ["chrome-extension://test/"], { env: environment, stdio: ["pipe", "pipe", "ignore"] });
    runtime.processes.push(host);
    let open = true;
    let bytes = [];
    const disconnect = (message) => {
      if (!open) return;
      open = false;
      runtime.lastError = { message };
      port.onDisconnect.fire(port);
      runtime.lastError = undefined;
    };
    host.stdin.on("error", () => {});
    host.stdout.on("data", (piece) => {
      bytes.push(piece);
      let size = bytes.reduce((sum, { length }) => sum + length, 0);
      for (;;) {
        if (size < 4) return;
        if (bytes[0].length < 4) bytes = [Buffer.concat(bytes)];
        const length = bytes[0].readUInt32LE();
        if (length > LARGEST_ANSWER) {
          host.kill();
          return disconnect("Error when communicating with the native messaging host.");
        }
        if (size < 4 + length) return;
        const all = Buffer.concat(bytes);
        bytes = [all.subarray(4 + length)];
        size = bytes[0].length;
        runtime.largestAnswer = Math.max(runtime.largestAnswer, length);
        if (open) port.onMessage.fire(JSON.parse(all.subarray(4, 4 + length).toString()));
      }
    });
    host.stdout.on("close", () => disconnect("Native host has exited."));
    port.postMessage = (message) => {
      if (!open) throw new Error("Attempting to use a disconnected port object");
      const request = runtime.change(message, host);
      if (!request) return;
      runtime.requests.push(request);
      const text = Buffer.from(JSON.stringify(request));
      const length = Buffer.alloc(4);
      length.writeUInt32LE(text.length);
      host.stdin.write(Buffer.concat([length, text]));
    };
    port.disconnect = () => {
      open = false;
      host.stdin.end();
    };
    return port;
  };
  return runtime;
}

/** A runtime whose every connection ends with this text, given as Chromium or as Firefox gives it. */
export function refusingRuntime(text, isFirefox = false) {
  const runtime = {};
  runtime.connectNative = () => {
    const port = { onMessage: new Event(), onDisconnect: new Event(), disconnect() {} };
    port.postMessage = () => setTimeout(() => {
      if (isFirefox) port.error = text === null ? null : { message: text };
      else runtime.lastError = { message: text };
      port.onDisconnect.fire(port);
      runtime.lastError = undefined;
    });
    return port;
  };
  return runtime;
}
