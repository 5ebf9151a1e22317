// What a document says, as lines: for people to read before they sign it.

import { decode } from "./encoding.js";

const PARTS = ["CounterpartData", "RenderedData"];
const SIGNATURE = "http://www.w3.org/2000/09/xmldsig#";

const byNumber = (character) => `‹U+${character.codePointAt(0).toString(16).toUpperCase().padStart(4, "0")}›`;

/** Characters that would change or hide what stands beside them, or that nobody sees, are shown by their number. */
export const visible = (text) => text.replace(
  /[\u{0}-\u{8}\u{b}-\u{1f}\u{7f}-\u{9f}\u{ad}\u{34f}\u{61c}\u{115f}-\u{1160}\u{17b4}-\u{17b5}\u{180b}-\u{180f}\u{200b}-\u{200f}\u{2028}-\u{202e}\u{2060}-\u{206f}\u{2800}\u{3164}\u{fe00}-\u{fe0f}\u{feff}\u{ffa0}\u{fff0}-\u{fffb}\u{1bca0}-\u{1bca3}\u{1d173}-\u{1d17a}\u{e0000}-\u{e0fff}]/gu, byNumber);
/** A value that cannot leave its quotation marks or its line. */
const visibleValue = (value) => visible(value).replace(/[\t\n“”]/g, byNumber);

/** Without the blanks that XML has around texts; others are shown. */
function trimmed(text) {
  const isBlank = (at) => " \t\r\n".includes(text[at]);
  let [start, end] = [0, text.length];
  while (start < end && isBlank(start)) ++start;
  while (start < end && isBlank(end - 1)) --end;
  return text.slice(start, end);
}

const isText = (node) => node?.nodeType === Node.TEXT_NODE || node?.nodeType === Node.CDATA_SECTION_NODE;
const isLeftOut = (node) => node?.nodeType === Node.COMMENT_NODE;

/** The text of an element with nothing but text in it, joined across comments; null when there is more. */
function textAlone(element) {
  let text = "";
  for (let child = element.firstChild; child; child = child.nextSibling) {
    if (isText(child)) text += child.data;
    else if (!isLeftOut(child)) return null;
  }
  return trimmed(text);
}

/**
 * One line { depth, name, text } for each element, with its attributes in `name`, and for each line of its own text. Text stands
 * in quotation marks, so that it cannot pass for an element. Comments are left out, and what they part is joined: no signature
 * covers them. Nothing else is, signatures that stand inside included: the new one covers what anybody has put into them.
 */
function outline(part) {
  const lines = [];
  const add = (depth, name, text = "") => lines.push({ depth: Math.min(depth, 40), name, text: text && `“${visible(text)}”` });
  const addText = (depth, text) => text.split("\n").map(trimmed).filter(Boolean).forEach((line) => add(depth, "", line));
  let depth = 0;
  for (let node = part; node;) {
    if (node.nodeType === Node.ELEMENT_NODE) {
      const attributes = [...(node.hasAttributes() ? node.attributes : [])].filter(({ name }) => !/^xmlns(:|$)/.test(name))
        .map(({ name, value }) => ` ${name}=“${visibleValue(value)}”`);
      // An element with nothing but text in it stands on one line with it.
      const text = textAlone(node);
      const isShort = text !== null && text.length < 200 && !text.includes("\n");
      add(depth, visible(node.nodeName) + attributes.join("") + (text && isShort ? ": " : ""), isShort ? text : "");
      if (text && !isShort) addText(depth + 1, text);
      if (text === null) {
        node = node.firstChild;
        depth += 1;
        continue;
      }
    } else if (isText(node)) {
      const pieces = [node.data];
      while (isText(node.nextSibling) || isLeftOut(node.nextSibling)) {
        node = node.nextSibling;
        if (isText(node)) pieces.push(node.data);
      }
      addText(depth, pieces.join(""));
    } else if (node.nodeType === Node.PROCESSING_INSTRUCTION_NODE) {
      add(depth, `<?${visible(node.target)} ${visibleValue(node.data)}?>`);
    }
    while (node !== part && !node.nextSibling) {
      node = node.parentNode;
      depth -= 1;
    }
    node = node === part ? null : node.nextSibling;
  }
  return lines;
}

function remarksOn(name, part) {
  const remarks = [];
  if (part.namespaceURI && !part.prefix) {
    remarks.push(`${name} stands in a default namespace: most programs will not be able to check its signature.`);
  }
  if ([...part.children].some(({ namespaceURI, localName }) => namespaceURI === SIGNATURE && localName === "Signature")) {
    remarks.push(`${name} is signed already: signing it again makes the earlier signature invalid.`);
  }
  return remarks;
}

/**
 * { parts: [{ name, lines() }], remarks, isWhole } of a file; `isWhole` when what is shown is all that will be signed. Rejects
 * with an Error in plain words when it cannot be shown.
 */
export async function review(file) {
  let text;
  try {
    text = decode(new Uint8Array(await file.arrayBuffer()));
  } catch (error) {
    throw new Error(`This file cannot be shown: ${error.message}.`);
  }
  const document = new DOMParser().parseFromString(text, "application/xml");
  if (document.getElementsByTagName("parsererror").length > 0) throw new Error("This file cannot be shown: it is not well-formed XML.");
  const remarks = [];
  if (document.doctype) {
    remarks.push("This document has a document type, which may add to what is signed without being shown here. Careful programs refuse it.");
  }
  const parts = [];
  for (const name of PARTS) {
    const found = document.getElementsByTagName(name);
    if (found.length === 0) throw new Error(`This document cannot be signed: it has no ${name} element.`);
    if (found.length > 1) throw new Error(`This document cannot be signed: it has ${found.length} ${name} elements, and only one is allowed.`);
    remarks.push(...remarksOn(name, found[0]));
    parts.push({ name, lines: () => outline(found[0]) });
  }
  return { parts, remarks, isWhole: !document.doctype };
}
