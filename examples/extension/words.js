// What the page says when something goes wrong: what happened, and what a person can do about it.

/** By the kind of a SigningError: title, remedy, and commands to be typed in a terminal. */
const KINDS = {
  "host-missing": ["The signing program is not installed for this browser.",
    "Install VORN Signing. Then type these commands in a terminal, and press “Try again”.",
    "vornctl register --extension-id ID", "vornctl doctor --extension-id ID"],
  "extension-not-allowed": ["The signing program does not accept this extension.",
    "Type this command in a terminal, and press “Try again”.", "vornctl register --extension-id ID"],
  "disabled-by-policy": ["Your organisation has switched the signing program off for this browser.",
    "Ask the people who look after your computer."],
  "host-ended": ["The signing program stopped unexpectedly.",
    "Try again. If it fails again, this command finds out more. Details are in vorn-signing.log in your home folder.",
    "vornctl doctor --extension-id ID"],
  "too-large": ["The document is too large.", "A document may have up to 7.8 million bytes."],
  cancelled: ["Signing was stopped.", "What was signed before stays signed. You can start again at any time."],
  "host-failed": ["The signing program failed.",
    "Try again. If it fails again, look into vorn-signing.log in your home folder."],
  "invalid-request": ["The signing program did not understand the request.",
    "This page and the signing program may be of different versions: update both."],
  "certificate-not-found": ["No certificate was found for these details.",
    "Compare name, e-mail address, ABN and authority key identifier with your certificate, letter by letter. This command " +
    "lists your certificates and says why each one does or does not fit.", "vornctl identities"],
  "document-unreadable": ["The document could not be read.",
    "It has to be well-formed XML that needs no other files. The detail says where it is not."],
  "document-unsuitable": ["The document is not of the kind that can be signed.",
    "It needs exactly one CounterpartData and exactly one RenderedData element."],
  "key-failed": ["Your key could not sign.",
    "Unlock your key store or insert your smart card, have its PIN at hand, and try again."],
  "certificate-expired": ["Your certificate has expired.", "Renew it with the authority that issued it, then try again."],
  "algorithm-unknown": ["The signing program does not know this kind of signature.", "Choose another one and try again."],
  "page-gone": ["The page that asked for your signature is no longer there.", "You can close this window."],
};

/** { title, remedy, commands, detail } for any error. */
export function wordsFor(error, extensionId) {
  const [title, remedy, ...commands] = KINDS[error.kind] ?? ["Something went wrong in this page.", "Reload the page and try again."];
  // The program's own words for this are those of an expired certificate.
  const said = error.kind === "certificate-not-found" ? "" : error.text ?? error.message;
  const by = error.code ? `Code ${error.code}` : said && "The browser says";
  return { title, remedy, commands: commands.map((command) => command.replace("ID", extensionId)), detail: [by, said].filter(Boolean).join(": ") };
}
