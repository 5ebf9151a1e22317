// Stands between a web page and the extension. The page posts { to: "vorn-signing", id, documents: [{ name, xml }] } to its
// own window and gets { from: "vorn-signing", id, ... } back: { results: [{ name, xml } or { name, error }] }, or { error }.

(() => {
  const api = globalThis.browser ?? globalThis.chrome;
  const PATIENCE = 30000;  // milliseconds for our own window to open
  let pending = null;

  function answer(content) {
    clearTimeout(pending.timer);
    window.postMessage({ from: "vorn-signing", id: pending.id, ...content }, location.origin);
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
    pending = { id: data.id, request: String(crypto.getRandomValues(new Uint32Array(4))), documents };
    pending.timer = setTimeout(() => answer({ error: "declined" }), PATIENCE);
    const opened = await api.runtime.sendMessage({ type: "open-request", request: pending.request }).catch(() => false);
    if (!opened && pending) answer({ error: "not-allowed" });
  });

  // The extension's window is there and asks for the documents. It connects no further than to us: we connect to it, so that
  // the browser tells it who we are.
  api.runtime.onMessage.addListener((message, sender, respond) => {
    if (message?.type !== "request-window" || message.request !== pending?.request) return;
    clearTimeout(pending.timer);
    respond(true);
    const port = api.runtime.connect({ name: pending.request });
    port.postMessage({ documents: pending.documents });
    port.onMessage.addListener((content) => pending && answer(content));
    port.onDisconnect.addListener(() => pending && answer({ error: "declined" }));
  });

  document.documentElement.dataset.vornSigning = "ready";
})();
