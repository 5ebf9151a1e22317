// What the page says when something goes wrong: what happened, and what the user can do about it.

const MEGABYTE_ADVICE =
  "Sign fewer documents at once. A single document has to be smaller than about 750 kilobytes.";

/** By the "error_code" of an answer. Its "error_message" is for the log and is shown as a detail only. */
const CODES = {
  100: ["The signing program failed.", "Try again. If it fails again, look into vorn-signing.log in your home folder."],
  101: ["The signing program did not understand the request.",
    "This page and the signing program may be of different versions: update both."],
  102: ["No certificate was found for these details.",
    "Compare name, e-mail address, ABN and authority key identifier with your certificate, letter by letter. " +
    "The command “vornctl identities” lists your certificates and says why each does or does not fit."],
  103: ["The document could not be read.",
    "It has to be well-formed XML that needs no other files. The detail below names the line and column."],
  104: ["The document is not of the kind that can be signed.",
    "It needs exactly one CounterpartData and exactly one RenderedData element."],
  105: ["Your key could not sign.",
    "Unlock your key store, or insert your smart card or token, and try again."],
  107: ["Your certificate has expired.", "Renew it with the authority that issued it, then try again."],
  108: ["The signature algorithm is not supported.", "Choose another algorithm and try again."],
};

/** By the reason of a ConnectionLost. */
const LOST = {
  missing: ["The signing program is not installed for this browser.",
    "Install VORN Signing and run “vornctl register”, then try again. “vornctl doctor” finds what is amiss."],
  forbidden: ["The signing program does not accept this extension.",
    "Run “vornctl register” with this extension's id (shown at the bottom of the page)."],
  tooLarge: ["The signed documents are too large for the browser.",
    "Browsers drop answers of more than 1,048,576 bytes. " + MEGABYTE_ADVICE],
  cancelled: ["Signing was stopped.", "Nothing was signed since. You can start again at any time."],
  ended: ["The signing program stopped unexpectedly.",
    "Try again. If it fails again, run “vornctl doctor” and look into vorn-signing.log in your home folder."],
};

export const TOO_LARGE = {
  title: "The document is too large for the signing program.", remedy: MEGABYTE_ADVICE, detail: "",
};

/** { title, remedy, detail } for an answer whose "result" is not "ok". */
export function wordsForAnswer(answer) {
  // A running host that has already found one user's certificate answers 107, without a serial number, when the next
  // user has none.
  const nobody = answer.error_code === 107 && !answer.cert_serial;
  const [title, remedy] = CODES[nobody ? 102 : answer.error_code] ?? CODES[100];
  return { title, remedy, detail: `Code ${answer.error_code}: ${answer.error_message}` };
}

/** { title, remedy, detail } for what SigningHost.ask rejects with, and for any other error. */
export function wordsForError(error) {
  const [title, remedy] = LOST[error.reason] ?? ["Something went wrong in this page.", "Reload the page and try again."];
  return { title, remedy, detail: error.reason === "cancelled" ? "" : `The browser says: ${error.message || "nothing"}` };
}
