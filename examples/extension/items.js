// The list of documents: what each one says, how it fares, and its download.

import { review, visible } from "./review.js";

const FIRST_LOOK = 20000;  // characters of a part that are shown until somebody asks for more
const MOST_LINES = 10000;  // that are elements of the page; beyond it they are one text, whose lines do not break

/** agreement.xml becomes agreement.signed.xml. */
export const signedName = (name) => name.replace(/(\.xml)?$/i, ".signed.xml");

function make(tag, properties = {}, ...children) {
  const element = Object.assign(document.createElement(tag), properties);
  element.append(...children);
  return element;
}

export class Items {
  #list;
  #rows = [];

  constructor(list) {
    this.#list = list;
  }

  /** Resolves when every file is shown; with true when what is shown is all that will be signed. */
  async show(files) {
    this.clear();
    this.#rows = files.map((file) => new Row(file));
    this.#list.replaceChildren(...this.#rows.map(({ element }) => element));
    let all = true;
    for (const row of this.#rows) all = (await row.look()) && all;
    return all;
  }

  /** Takes away what an earlier signing left. */
  reset() {
    for (const row of this.#rows) row.set("", "");
  }

  clear() {
    this.reset();
    this.#rows = [];
    this.#list.replaceChildren();
  }

  waiting() {
    for (const row of this.#rows) row.set("waiting", "Waiting");
  }

  signed(index, bytes, isOffered) {
    this.#rows[index].set("signed", "Signed");
    if (isOffered) this.#rows[index].offer(bytes);
  }

  failed(index, words) {
    this.#rows[index].set("failed", "Not signed", words);
  }

  /** For those that have had no turn. */
  leftOut() {
    for (const row of this.#rows.filter(({ state }) => state === "waiting")) row.set("", "Not signed");
  }

  firstDownload() {
    return this.#list.querySelector("a");
  }
}

class Row {
  #file;
  #outcome = make("span", { className: "outcome" });
  #download = make("span", { className: "download" });
  #trouble = make("p", { className: "trouble", hidden: true });
  #remark = make("p", { className: "remark" });
  #contents = make("div", { className: "contents" });

  constructor(file) {
    this.#file = file;
    const name = make("span", { className: "name", textContent: visible(file.name) });
    const size = make("span", { className: "size", textContent: `${file.size.toLocaleString()} bytes` });
    this.element = make("li", {}, make("div", { className: "row" }, name, size, this.#outcome, this.#download),
      this.#trouble, this.#contents);
    this.state = "";
  }

  set(state, text, words) {
    this.state = state;
    this.element.dataset.state = state;
    this.#outcome.textContent = text;
    this.#trouble.hidden = !words;
    this.#remark.hidden = state === "failed";  // says the same
    this.#trouble.textContent = words ? [words.title, words.remedy, words.detail].filter(Boolean).join(" ") : "";
    for (const link of this.#download.querySelectorAll("a")) URL.revokeObjectURL(link.href);
    this.#download.replaceChildren();
  }

  offer(bytes) {
    const download = signedName(this.#file.name);
    const href = URL.createObjectURL(new Blob([bytes], { type: "application/xml" }));
    this.#download.append(make("a", { href, download, textContent: `Download ${download}` }));
  }

  async look() {
    try {
      const { parts, remarks, isWhole } = await review(this.#file);
      const details = make("details", { open: true },
        make("summary", { textContent: `What is signed in ${visible(this.#file.name)}` }), ...parts.map(partOf));
      this.#contents.replaceChildren(...remarks.map((remark) => make("p", { className: "remark", textContent: remark })), details);
      return isWhole;
    } catch (error) {
      this.#remark.textContent = error.message;
      this.#contents.replaceChildren(this.#remark);
      return false;
    }
  }
}

/** Names and texts look different, and a line that is broken goes on further in: no text can pass for an element. */
function lineOf({ depth, name, text }) {
  const line = make("div", { className: "line" }, name, text && make("q", { textContent: text }), "\n");
  line.style.setProperty("--depth", depth);
  return line;
}

function partOf({ name, lines: read }) {
  const lines = read();
  const shown = [];
  let size = 0;
  for (const line of lines) {
    if (size < FIRST_LOOK) shown.push({ ...line, name: line.name.slice(0, FIRST_LOOK), text: line.text.slice(0, FIRST_LOOK - size) });
    size += line.name.length + line.text.length;
  }
  // A scrolling region has to be reachable by keyboard, and to have a name.
  const content = make("pre", { tabIndex: 0 }, ...shown.map(lineOf));
  content.setAttribute("role", "region");
  content.setAttribute("aria-label", name);
  const block = make("div", {}, make("h3", { textContent: name }), content);
  if (size <= FIRST_LOOK) return block;
  const more = make("button", { type: "button", className: "quiet", textContent: `Show all ${size.toLocaleString()} characters` });
  more.addEventListener("click", () => {
    const all = read();
    const isLong = all.length > MOST_LINES;
    content.classList.toggle("long", isLong);
    content.replaceChildren(...(isLong ? [all.map(({ depth, name, text }) => `${"  ".repeat(depth)}${name}${text}\n`).join("")] : all.map(lineOf)));
    content.focus();
    more.remove();
  });
  block.append(more);
  return block;
}
