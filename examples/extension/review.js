// What a document says, as text: for people to read before they sign it.

const PARTS = ["CounterpartData", "RenderedData"];
const SIGNATURE = "http://www.w3.org/2000/09/xmldsig#";

/** The text of an XML file, by its byte order mark or the encoding that it declares. */
function decode(bytes) {
  const start = String.fromCharCode(...bytes.subarray(0, 256));
  const declared = /^(?:\xef\xbb\xbf)?<\?xml[^>]*?\sencoding\s*=\s*["']([\w.-]+)["']/.exec(start)?.[1];
  const encoding = /^(\xff\xfe|<\0)/.test(start) ? "utf-16le" : /^(\xfe\xff|\0<)/.test(start) ? "utf-16be" : declared ?? "utf-8";
  return new TextDecoder(encoding, { fatal: true }).decode(bytes);
}

/** Characters that would change or hide what stands beside them are shown by their number. */
export const visible = (text) => text.replace(
  /[\u{0}-\u{8}\u{b}-\u{1f}\u{7f}-\u{9f}\u{ad}\u{34f}\u{61c}\u{115f}-\u{1160}\u{17b4}-\u{17b5}\u{180b}-\u{180f}\u{200b}-\u{200f}\u{2028}-\u{202e}\u{2060}-\u{206f}\u{2800}\u{3164}\u{fe00}-\u{fe0f}\u{feff}\u{ffa0}\u{fff0}-\u{fffb}\u{1bca0}-\u{1bca3}\u{1d173}-\u{1d17a}\u{e0000}-\u{e0fff}]/gu,
  (character) => `‹U+${character.codePointAt(0).toString(16).toUpperCase().padStart(4, "0")}›`);

/**
 * One line for each element, with its attributes and its own text. Comments are left out: no signature covers them. Nothing
 * else is, signatures that stand inside included: the new one covers what anybody has put into them.
 */
function outline(part) {
  const lines = [];
  const add = (depth, text) => {
    for (const line of text.split("\n").map((one) => one.trim()).filter(Boolean)) lines.push("  ".repeat(Math.min(depth, 40)) + visible(line));
  };
  let depth = 0;
  for (let node = part; node;) {
    if (node.nodeType === Node.ELEMENT_NODE) {
      const attributes = [...node.attributes].filter(({ name }) => !/^xmlns(:|$)/.test(name)).map(({ name, value }) => ` ${name}=“${value}”`);
      // An element with nothing but text in it stands on one line with it.
      const textAlone = [...node.childNodes].every(({ nodeType }) => nodeType === Node.TEXT_NODE || nodeType === Node.CDATA_SECTION_NODE);
      const text = textAlone ? node.textContent.trim() : "";
      const isShort = text.length < 200 && !text.includes("\n");
      add(depth, node.nodeName + attributes.join("") + (text && isShort ? `: ${text}` : ""));
      if (text && !isShort) add(depth + 1, text);
      if (!textAlone) {
        node = node.firstChild;
        depth += 1;
        continue;
      }
    } else if (node.nodeType === Node.TEXT_NODE || node.nodeType === Node.CDATA_SECTION_NODE) {
      add(depth, node.data);
    } else if (node.nodeType === Node.PROCESSING_INSTRUCTION_NODE) {
      add(depth, `<?${node.target} ${node.data}?>`);
    }
    while (node !== part && !node.nextSibling) {
      node = node.parentNode;
      depth -= 1;
    }
    node = node === part ? null : node.nextSibling;
  }
  return lines.join("\n");
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
 * { parts: [{ name, text() }], remarks } of a file. Rejects with an Error in plain words when it cannot be shown.
 */
export async function review(file) {
  let text;
  try {
    text = decode(new Uint8Array(await file.arrayBuffer()));
  } catch {
    throw new Error("This file cannot be shown: its bytes are no text in the encoding that it declares.");
  }
  const document = new DOMParser().parseFromString(text, "application/xml");
  if (document.getElementsByTagName("parsererror").length > 0) throw new Error("This file cannot be shown: it is not well-formed XML.");
  const remarks = [];
  const parts = [];
  for (const name of PARTS) {
    const found = document.getElementsByTagName(name);
    if (found.length !== 1) throw new Error(`This document cannot be signed: it has ${found.length || "no"} ${name} ${found.length > 1 ? "elements" : "element"} instead of one.`);
    remarks.push(...remarksOn(name, found[0]));
    parts.push({ name, text: () => outline(found[0]) });
  }
  return { parts, remarks };
}
