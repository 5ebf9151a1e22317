// Who signs: the fields of the form, and what is remembered of them.

import { keyIdentifiers } from "./vorn-signing.js";
import { optionsFor } from "./words.js";

const STORE = "who-signs";
const FIELDS = ["name", "email", "abn", "aki", "algorithm"];

const compact = (abn) => abn.replace(/\s/g, "");

export class Person {
  #form;

  constructor(form) {
    this.#form = form;
    this.#recall();
    form.elements.aki.addEventListener("input", () => this.#checkIdentifiers());
    form.elements.remember.addEventListener("change", () => this.remember());
    this.#checkIdentifiers();
  }

  /** What has been typed so far. */
  get typed() {
    const text = (name) => this.#form.elements[name].value.trim();
    return { name: text("name"), email: text("email"), abn: text("abn"), aki: text("aki").split(/[\n,;]/).map((one) => one.trim()).filter(Boolean) };
  }

  /** Whether all is there that the program needs to find a certificate. */
  get isComplete() {
    const { name, email, abn, aki } = this.typed;
    return Boolean(name && email && abn && aki.length);
  }

  /** The command that reads the rest out of the certificate, for those of name and address that are typed. */
  get command() {
    const { name, email } = this.typed;
    return `vornctl identities --for-page${optionsFor({ name: name || undefined, email: email || undefined })}`;
  }

  /** Takes what the command has printed last, in whatever was copied around it; throws an Error when it is not there. */
  fillFrom(output) {
    const { name, email, abn, aki } = JSON.parse(output.replace(/[\r\n]/g, "").match(/\{"name":.*?"aki":\[[^\]]*\]\}/g)?.at(-1) ?? "");
    const values = { name, email, abn, aki: keyIdentifiers(aki.join("\n")).join("\n") };
    if (![name, email, abn].every((value) => typeof value === "string")) throw new Error("a detail is missing");
    for (const [field, value] of Object.entries(values)) this.#form.elements[field].value = value;
    this.#checkIdentifiers();
    this.remember();
  }

  get algorithm() {
    return this.#form.elements.algorithm.value;
  }

  /** Keeps the fields for the next time, or forgets them, as the person wishes. */
  remember() {
    const { elements } = this.#form;
    if (elements.remember.checked) {
      localStorage.setItem(STORE, JSON.stringify(Object.fromEntries(FIELDS.map((name) => [name, elements[name].value]))));
    } else {
      localStorage.removeItem(STORE);
    }
  }

  /**
   * The user for the signing program, and the certificate that was found. People write an ABN with blanks; in certificates
   * it mostly has none, and the program compares it letter by letter.
   */
  async find(host, signal) {
    const user = { ...this.typed, aki: keyIdentifiers(this.#form.elements.aki.value) };
    try {
      return { user, certificate: await host.certificate(user, { signal }) };
    } catch (error) {
      if (error.kind !== "certificate-not-found" || user.abn === compact(user.abn)) throw error;
      user.abn = compact(user.abn);
      return { user, certificate: await host.certificate(user, { signal }) };
    }
  }

  #recall() {
    const kept = JSON.parse(localStorage.getItem(STORE) ?? "null");
    if (!kept) return;
    for (const name of FIELDS) this.#form.elements[name].value = kept[name];
    this.#form.elements.remember.checked = true;
  }

  #checkIdentifiers() {
    const field = this.#form.elements.aki;
    let problem = "";
    try {
      if (field.value.trim()) keyIdentifiers(field.value);
    } catch {
      problem = "Key identifiers are pairs of the digits 0 to 9 and the letters a to f, such as 5f1d… or 5F:1D:…, one a line.";
    }
    field.setCustomValidity(problem);
  }
}
