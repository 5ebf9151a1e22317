// Documents on their way to the signing program and back.

import { LARGEST_ANSWER } from "./host.js";

const LARGEST_REQUEST = 10485760;
const ROOM_FOR_SIGNATURES = 10000;  // bytes that two signatures with their certificates add to a document
const ROOM_FOR_REST = 4000;  // bytes of a message that are no document

const encodedSize = (bytes) => Math.ceil(bytes / 3) * 4;

/** Bytes of answer for a document of that size: base64, in which JSON writes every "/" as two characters. */
function answerSize(file) {
  return Math.ceil((encodedSize(file.size + ROOM_FOR_SIGNATURES) * 65) / 64);
}

/** A document that does not even fit into a request. */
export const isBeyondRequest = (file) => encodedSize(file.size) + ROOM_FOR_REST > LARGEST_REQUEST;

/** The files in as few requests as their answers allow, each { files, expectedSize }. A large file goes alone. */
export function inRequests(files) {
  const requests = [];
  for (const file of files) {
    const last = requests.at(-1);
    if (last && last.expectedSize + answerSize(file) <= LARGEST_ANSWER) {
      last.files.push(file);
      last.expectedSize += answerSize(file);
    } else {
      requests.push({ files: [file], expectedSize: ROOM_FOR_REST + answerSize(file) });
    }
  }
  return requests;
}

/** The file's bytes in base64, without line breaks. */
export async function encode(file) {
  const bytes = new Uint8Array(await file.arrayBuffer());
  let text = "";
  for (let at = 0; at < bytes.length; at += 8192) text += String.fromCharCode(...bytes.subarray(at, at + 8192));
  return btoa(text);
}

export function decode(base64) {
  return new Blob([Uint8Array.from(atob(base64), (character) => character.charCodeAt(0))], { type: "application/xml" });
}

/** agreement.xml becomes agreement.signed.xml. */
export const signedName = (name) => name.replace(/(\.xml)?$/i, ".signed.xml");
