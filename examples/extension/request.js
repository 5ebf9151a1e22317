// The request of a web page, for which this window was opened.

import { allowedOrigin } from "./origins.js";
import { encodeText } from "./vorn-signing.js";

const api = globalThis.browser ?? globalThis.chrome;
const where = new URLSearchParams(location.hash.slice(1));

/** Whether a web page has asked for this window. */
export const isRequested = where.has("request");

/**
 * Resolves with { origin, files, answer(content), onGone(listener) }; rejects when the page that asked is no longer there.
 * The origin is the browser's word, not the page's.
 */
export function pageRequest() {
  const tab = Number(where.get("tab"));
  const request = where.get("request");
  return new Promise((resolve, reject) => {
    api.runtime.onConnect.addListener((port) => {
      const origin = allowedOrigin(port.sender);
      if (port.name !== request || port.sender.tab?.id !== tab || !origin) return;
      port.onMessage.addListener(({ documents }) => resolve({
        origin,
        files: documents.map(({ name, xml }) => new File([encodeText(xml)], name, { type: "application/xml" })),
        answer: (content) => port.postMessage(content),
        onGone: (listener) => port.onDisconnect.addListener(listener),
      }));
    });
    api.tabs.sendMessage(tab, { type: "request-window", request }, { frameId: 0 })
      .then((isKnown) => isKnown || reject(new Error("its request is no longer known")), reject);
  });
}
