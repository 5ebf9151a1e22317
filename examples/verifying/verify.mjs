#!/usr/bin/env node
/**
 * Verifies a document with two signed parts: verify.mjs DOCUMENT AUTHORITY.pem
 *
 * Prints who signed and exits with 0, or says why not and exits with 1; with 2 when a file cannot be read. Needs Node.js and
 * @xmldom/xmldom. JavaScript has no library that knows XPath Filter 2.0, so the canonical form is written here. Read the
 * document's data from the elements that verified() returns, and from nowhere else.
 */

import { createHash, verify as rsaVerifies, X509Certificate } from "node:crypto";
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { pathToFileURL } from "node:url";

const { DOMParser, ParseError } = createRequire(import.meta.url)("@xmldom/xmldom");

const DSIG = "http://www.w3.org/2000/09/xmldsig#";
const FILTER = "http://www.w3.org/2002/06/xmldsig-filter2";
const C14N = "http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments";
const TRANSFORMS = [FILTER, `${DSIG}enveloped-signature`, C14N];
const METHODS = {
  "http://www.w3.org/2001/04/xmldsig-more#rsa-sha256": ["http://www.w3.org/2001/04/xmlenc#sha256", "sha256"],
  "http://www.w3.org/2001/04/xmldsig-more#rsa-sha512": ["http://www.w3.org/2001/04/xmlenc#sha512", "sha512"],
};

export class Refused extends Error {}

function required(condition, reason) {
  if (!condition) throw new Refused(reason);
}

const childrenOf = (parent) => Array.from(parent.childNodes).filter((node) => node.nodeType === 1);

function onlyChild(parent, namespace, name) {
  const found = childrenOf(parent).filter((child) => child.localName === name && child.namespaceURI === namespace);
  required(found.length === 1, `${found.length} times ${name}`);
  return found[0];
}

function part(tree, name) {
  const found = tree.getElementsByTagNameNS("*", name);
  required(found.length === 1 && !found[0].namespaceURI, `not exactly one ${name}`);
  return found[0];
}

const inText = { "&": "&amp;", "<": "&lt;", ">": "&gt;", "\r": "&#xD;" };
const inValue = { "&": "&amp;", "<": "&lt;", '"': "&quot;", "\t": "&#x9;", "\n": "&#xA;", "\r": "&#xD;" };
const escaped = (text, pattern, table) => text.replace(pattern, (character) => table[character]);
const order = (a, b) => Buffer.compare(Buffer.from(a), Buffer.from(b));
const isDeclaration = (attribute) => attribute.name === "xmlns" || attribute.prefix === "xmlns";
const prefixDeclared = (attribute) => (attribute.name === "xmlns" ? "" : attribute.localName);

/** What the element has in scope from above: prefixes with their namespaces, and xml: attributes by name. */
function scopeAbove(element) {
  const namespaces = new Map();
  const xml = new Map();
  for (let node = element.parentNode; node?.nodeType === 1; node = node.parentNode) {
    for (const attribute of Array.from(node.attributes)) {
      if (isDeclaration(attribute) && !namespaces.has(prefixDeclared(attribute))) {
        namespaces.set(prefixDeclared(attribute), attribute.value);
      } else if (attribute.prefix === "xml" && !xml.has(attribute.name)) {
        xml.set(attribute.name, attribute);
      }
    }
  }
  return { namespaces, xml };
}

/** Canonical XML 1.0 without comments of an element, less one of its children. */
function canonical(apex, without) {
  const pieces = [];
  const writeElement = (element, scope, rendered, inherited) => {
    const attributes = Array.from(element.attributes);
    const namespaces = new Map(scope);
    attributes.filter(isDeclaration).forEach((one) => namespaces.set(prefixDeclared(one), one.value));
    const own = attributes.filter((one) => !isDeclaration(one));
    own.push(...inherited.filter((one) => !own.some((mine) => mine.name === one.name)));
    const now = new Map(rendered);
    pieces.push(`<${element.tagName}`);
    for (const prefix of [...namespaces.keys()].sort(order)) {
      if ((now.get(prefix) ?? "") === namespaces.get(prefix) || prefix === "xml") continue;
      now.set(prefix, namespaces.get(prefix));
      pieces.push(` xmlns${prefix && ":"}${prefix}="${escaped(namespaces.get(prefix), /[&<"\t\n\r]/g, inValue)}"`);
    }
    own.sort((a, b) => order(a.namespaceURI ?? "", b.namespaceURI ?? "") || order(a.localName, b.localName));
    for (const { name, value } of own) pieces.push(` ${name}="${escaped(value, /[&<"\t\n\r]/g, inValue)}"`);
    pieces.push(">");
    for (const child of Array.from(element.childNodes)) {
      if (child.nodeType === 1 && child !== without) writeElement(child, namespaces, now, []);
      if (child.nodeType === 3 || child.nodeType === 4) pieces.push(escaped(child.data, /[&<>\r]/g, inText));
      if (child.nodeType === 7) pieces.push(`<?${child.target}${child.data && " "}${child.data.replace(/\r/g, "&#xD;")}?>`);
    }
    pieces.push(`</${element.tagName}>`);
  };
  const above = scopeAbove(apex);
  writeElement(apex, above.namespaces, new Map(), [...above.xml.values()]);
  return pieces.join("");
}

const bytesIn = (element) => {
  const text = element.textContent.replace(/[ \t\r\n]/g, "");
  const bytes = Buffer.from(text, "base64");
  required(bytes.toString("base64") === text, `no base64 in ${element.tagName}`);
  return bytes;
};

/** That the signature covers its part whole; gives what digests and signs it. */
function algorithmOf(info, reference, name) {
  const algorithm = (element) => element.getAttribute("Algorithm");
  const transforms = childrenOf(onlyChild(reference, DSIG, "Transforms"));
  required(transforms.map(algorithm).join() === TRANSFORMS.join(), "other transforms");
  required(algorithm(onlyChild(info, DSIG, "CanonicalizationMethod")) === C14N, "another canonical form");
  required(reference.getAttributeNode("URI")?.value === "", "a reference to something else");
  const path = onlyChild(transforms[0], FILTER, "XPath");
  required(path.getAttribute("Filter") === "intersect" && path.textContent === `//${name}`, "another part is signed");
  const [digest, hash] = METHODS[algorithm(onlyChild(info, DSIG, "SignatureMethod"))] ?? [];
  required(digest && algorithm(onlyChild(reference, DSIG, "DigestMethod")) === digest, "other algorithms");
  return hash;
}

function verifiedSigner(element) {
  const name = element.localName;
  const signature = onlyChild(element, DSIG, "Signature");
  const info = onlyChild(signature, DSIG, "SignedInfo");
  required(!Array.from(info.childNodes).some((node) => node.nodeType === 8), "a comment in SignedInfo");
  const reference = onlyChild(info, DSIG, "Reference");
  const hash = algorithmOf(info, reference, name);
  const digest = createHash(hash).update(canonical(element, signature)).digest();
  required(digest.equals(bytesIn(onlyChild(reference, DSIG, "DigestValue"))), `${name} was altered`);
  const data = onlyChild(onlyChild(signature, DSIG, "KeyInfo"), DSIG, "X509Data");
  const certificate = new X509Certificate(bytesIn(onlyChild(data, DSIG, "X509Certificate")));
  const value = bytesIn(onlyChild(signature, DSIG, "SignatureValue"));
  required(rsaVerifies(hash, Buffer.from(canonical(info)), certificate.publicKey, value), `${name}: the signature was altered`);
  return certificate;
}

/** The signer's certificate and the two elements that it signed. Throws Refused. */
export function verified(xml, authority, now = new Date()) {
  required(!/<!DOCTYPE/.test(xml), "a document type");
  let tree;
  try {
    const fail = (reason) => { throw new Refused(reason); };
    // ParseError came with xmldom 0.9, and the other name of the option.
    const whenBad = ParseError ? { onError: (_, reason) => fail(reason) } : { errorHandler: { warning: fail, error: fail, fatalError: fail } };
    tree = new DOMParser(whenBad).parseFromString(xml, "text/xml");
  } catch (error) {
    throw new Refused(`no XML: ${error.message}`);
  }
  const parts = [part(tree, "CounterpartData"), part(tree, "RenderedData")];
  const [signer, other] = parts.map(verifiedSigner);
  required(signer.raw.equals(other.raw), "two signers");
  // Node.js builds no chains: the authority has to be the issuer itself.
  required(signer.checkIssued(authority) && signer.verify(authority.publicKey), "the signer is not trusted");
  required(new Date(signer.validFrom) <= now && now <= new Date(signer.validTo), "the certificate is not valid now");
  return { signer, parts };
}

const inOneLine = (text) => String(text).replace(/[\p{C}\s]+/gu, " ");

function main(files) {
  let document, authority;
  try {
    if (files.length !== 2) throw new Error("usage: verify.mjs DOCUMENT AUTHORITY.pem");
    document = readFileSync(files[0], "utf8");
    authority = new X509Certificate(readFileSync(files[1]));
  } catch (error) {
    console.error(inOneLine(error.message));
    return 2;
  }
  try {
    console.log(inOneLine(verified(document, authority).signer.subject.replaceAll("\n", ", ")));
    return 0;
  } catch (error) {  // a Refused, or what libraries throw at a document that is none of the host's
    console.error(`refused: ${inOneLine(error.message)}`);
    return 1;
  }
}

if (import.meta.url === pathToFileURL(process.argv[1]).href) process.exitCode = main(process.argv.slice(2));
