// Stands between a web page and the extension. The page posts { to: "vorn-signing", id, documents: [{ name, xml }] } to its
// own window and gets { from: "vorn-signing", id, ... } back: { results: [{ name, xml } or { name, error }] }, or { error }.

(() => {
  const api = globalThis.browser ?? globalThis.chrome;
  const PATIENCE = 30000;  // milliseconds for our own window to open
  let pending = null;

  /** Each request has one answer: the window of an earlier one has no say in the next. */
  function answer(asked, content) {
    if (asked !== pending) return;
    clearTimeout(asked.timer);
    window.postMessage({ from: "vorn-signing", id: asked.id, ...content }, location.origin);
    pending = null;
  }

  const areDocuments = (documents) => Array.isArray(documents) && documents.length > 0 &&
    documents.every((document) => typeof document?.name === "string" && typeof document.xml === "string");

  window.addEventListener("message", async ({ source, origin, data }) => {
    if (source !== window || origin !== location.origin || data?.to !== "vorn-signing") return;
    const error = pending ? "busy" : areDocuments(data.documents) ? null : "invalid-request";
    if (error) {
      window.postMessage({ from: "vorn-signing", id: data.id, error }, location.origin);
      return;
    }
    const documents = data.documents.map(({ name, xml }) => ({ name, xml }));
    const asked = { id: data.id, request: String(crypto.getRandomValues(new Uint32Array(4))), documents };
    pending = asked;
    asked.timer = setTimeout(() => answer(asked, { error: "declined" }), PATIENCE);
    const opened = await api.runtime.sendMessage({ type: "open-request", request: asked.request }).catch(() => false);
    if (!opened) answer(asked, { error: "not-allowed" });
  });

  // The extension's window is there and asks for the documents. It connects no further than to us: we connect to it, so that
  // the browser tells it who we are.
  api.runtime.onMessage.addListener((message, sender, respond) => {
    if (message?.type !== "request-window" || message.request !== pending?.request) return;
    const asked = pending;
    clearTimeout(asked.timer);
    respond(true);
    const port = api.runtime.connect({ name: asked.request });
    port.postMessage({ documents: asked.documents });
    port.onMessage.addListener((content) => answer(asked, content));
    port.onDisconnect.addListener(() => answer(asked, { error: "declined" }));
  });

  document.documentElement.dataset.vornSigning = "ready";
})();
