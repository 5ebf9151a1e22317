// How a web page has documents signed. To try it: python3 -m http.server --bind 127.0.0.1 --directory examples 8000, then
// http://localhost:8000/web-page/ in a browser with the sample extension.

const WORDS = {
  declined: "You did not sign.",
  busy: "Another document is waiting for your signature.",
  "not-allowed": "The extension does not work for this page.",
  "invalid-request": "This page asked for something that the extension does not understand.",
};

/** Whether the extension works in this page. Its content script comes when the page is there. */
const hasExtension = () => document.documentElement.dataset.vornSigning === "ready";

/**
 * Resolves with [{ name, xml }, or { name, error } for each that was not signed]; rejects with an Error whose message is one
 * of the keys of WORDS. A person may take as long as they like.
 */
function haveSigned(documents) {
  const id = crypto.randomUUID();
  return new Promise((resolve, reject) => {
    const listen = ({ source, origin, data }) => {
      if (source !== window || origin !== location.origin || data?.from !== "vorn-signing" || data.id !== id) return;
      window.removeEventListener("message", listen);
      if (data.error) reject(new Error(data.error));
      else resolve(data.results);
    };
    window.addEventListener("message", listen);
    window.postMessage({ to: "vorn-signing", id, documents }, location.origin);
  });
}

const byId = (id) => document.getElementById(id);
const say = (text) => byId("outcome").textContent = text;

byId("document").value = await fetch("../agreement.xml").then((answer) => answer.text());
byId("sign").addEventListener("click", async () => {
  byId("signed").hidden = true;
  if (!hasExtension()) return say("Install the extension to sign.");
  say("Waiting for your signature in the extension's window …");
  try {
    const [{ xml, error }] = await haveSigned([{ name: "agreement.xml", xml: byId("document").value }]);
    if (error) return say(`It was not signed: ${error}.`);
    // A server would verify the signatures now, and read nothing but what they cover.
    byId("signed").href = URL.createObjectURL(new Blob([xml], { type: "application/xml" }));
    byId("signed").hidden = false;
    say("Signed.");
  } catch ({ message }) {
    say(WORDS[message] ?? message);
  }
});
