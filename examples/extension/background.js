// Opens the page, for a person who presses the button and for a web page that asks. It keeps nothing: browsers end it at any
// time. A popup at the button would close as soon as the file dialog takes the focus.

import { allowedOrigin } from "./origins.js";

const api = globalThis.browser ?? globalThis.chrome;

api.action.onClicked.addListener(() => api.tabs.create({ url: api.runtime.getURL("page.html") }));

// From content.js. People give their consent in a window of the extension's own, which no page can draw over or press.
api.runtime.onMessage.addListener((message, sender, respond) => {
  if (message?.type !== "open-request" || !allowedOrigin(sender)) return;
  const where = new URLSearchParams({ tab: sender.tab.id, request: message.request });
  api.windows
    .create({ url: api.runtime.getURL(`page.html#${where}`), type: "popup", width: 760, height: 900 })
    .then(() => respond(true), () => respond(false));
  return true;
});
