// What the page says when something goes wrong: what happened, and what a person can do about it. In commands, ID stands for
// the extension's id, and USER for the details that were typed.

const DOCTOR = "vornctl doctor --extension-id ID";
const REGISTER = "vornctl register --extension-id ID";

/** By the kind of a SigningError: title, remedy, and commands to be typed in a terminal. */
const KINDS = {
  "host-missing": ["The signing program is not installed for this browser.",
    "Install VORN Signing. Then type these commands in a terminal, and press “Try again”.", REGISTER, DOCTOR],
  "extension-not-allowed": ["The signing program does not accept this extension.",
    "Type this command in a terminal, and press “Try again”.", REGISTER],
  "disabled-by-policy": ["Your organisation has switched the signing program off for this browser.",
    "Ask the people who look after your computer."],
  "host-ended": ["The signing program stopped unexpectedly.",
    "Try again. If it fails again, this command finds out more. Details are in vorn-signing.log in your home folder.", DOCTOR],
  "too-large": ["The document is too large.", "A document may have up to 7.8 million bytes."],
  cancelled: ["Signing was stopped.", "What was signed before stays signed. You can start again at any time."],
  "host-failed": ["The signing program failed.",
    "Try again. If it fails again, this command finds out more. Details are in vorn-signing.log in your home folder.", DOCTOR],
  "invalid-request": ["The signing program did not understand the request.",
    "This page and the signing program may be of different versions: update both."],
  "certificate-not-found": ["No certificate was found for these details.",
    "Name and ABN have to be written as in the certificate, letter by letter. Type this command in a terminal: it lists your " +
    "certificates and says which of the details each one does not fit.", "vornctl identitiesUSER"],
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

/** The same by the reason of a SigningError, where it says more than the kind. */
const REASONS = {
  "prompt-cancelled": ["You closed the question for your PIN, so nothing more was signed.", "Press “Sign” whenever you want to."],
  "confirm-refused": ["You said no, so nothing more was signed.", "Press “Sign” whenever you want to."],
  "pin-wrong": ["The PIN or password was not right.",
    "Try again. A card counts wrong PINs and locks itself after a few: look it up before you guess."],
  "pin-blocked": ["Your PIN is blocked: it was wrong too often.",
    "Whoever issued your card or key can unblock it, mostly with a second number, the PUK."],
  "card-out": ["Your card or key is not there.", "Put it in, wait for a moment, and press “Sign” again."],
  "no-prompt": ["You could not be asked for your PIN or your consent, or nobody answered in time.",
    "Press “Sign” again and look for a window that asks. If there is none, this command says what is missing.", DOCTOR],
  "module-hangs": ["The software of your card reader does not answer.",
    "Take the card or key out, put it in again, and press “Sign” once more. If that does not help, this command says which software it is.", DOCTOR],
  "store-unreadable": ["A key store on this computer cannot be read.", "This command says which one, and what helps.", DOCTOR],
  "document-invalid": ["The document is not of the kind that can be signed.",
    "It needs exactly one CounterpartData and exactly one RenderedData element, side by side. The detail says what is wrong."],
  internal: KINDS["host-failed"],
  restart: ["The signing program has just been updated.", "Try again."],
};

/** A word for a shell, as it stands if that is safe. */
const quoted = (text) => (/^[\w@%+=:,./-]*$/.test(text) ? text : `'${text.replaceAll("'", "'\\''")}'`);

/** What was typed of { name, email, abn, aki }, as options of vornctl. */
export const optionsFor = (user) => ["name", "email", "abn", "aki"]
  .flatMap((name) => [user[name] ?? []].flat().map((value) => ` --${name}=${quoted(value)}`)).join("");

/** { title, remedy, commands, detail, isChoice } for any error; a choice of the person's is no fault. */
export function wordsFor(error, extensionId, user = {}) {
  const [title, remedy, ...commands] = REASONS[error.reason] ?? KINDS[error.kind]
    ?? ["Something went wrong in this page.", "Reload the page and try again."];
  const isChoice = ["prompt-cancelled", "confirm-refused"].includes(error.reason) || error.kind === "cancelled";
  // The program's own words for this are those of an expired certificate.
  const said = error.kind === "certificate-not-found" || isChoice ? "" : error.text ?? error.message;
  const by = isChoice ? "" : error.code ? `Code ${error.code}` : said && "The browser says";
  const complete = (command) => command.replace("ID", () => extensionId).replace("USER", () => optionsFor(user));
  return { title, remedy, commands: commands.map(complete), detail: [by, said].filter(Boolean).join(": "), isChoice };
}
