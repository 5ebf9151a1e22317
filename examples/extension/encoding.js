// The text of an XML file, read as the signing program reads it: what is shown is what is signed. What it refuses is refused.

const NAMES = /^(utf-(8|16|16le|16be)|us-ascii|iso-8859-([1-9]|1[01]|1[3-6])|windows-125[0-8])$/;
/** Browsers read other characters than those of the encoding here. */
const UNLIKE_BROWSERS = { "us-ascii": [0x80, 0xff], "iso-8859-1": [0x80, 0x9f], "iso-8859-9": [0x80, 0x9f], "iso-8859-11": [0x80, 0x9f] };
const MARKS = [["\xef\xbb\xbf", "utf-8"], ["\xff\xfe", "utf-16le"], ["\xfe\xff", "utf-16be"]];

const startOf = (bytes, size) => String.fromCharCode(...bytes.subarray(0, size));

/** The value of "encoding" in the XML declaration, however long that is; "" without one. */
function declaredIn(bytes, isWide) {
  if (!startOf(bytes, 10).replaceAll("\0", "").startsWith("<?xml")) return "";
  const end = bytes.findIndex((byte, at) => byte === 0x3e && bytes[at - (isWide ? 2 : 1)] === 0x3f);  // "?>"
  const text = new TextDecoder("latin1").decode(bytes.subarray(0, end)).replaceAll("\0", "");
  const field = /[ \t\r\n]*([^ \t\r\n=]*)[ \t\r\n]*=[ \t\r\n]*(?:"([^"]*)"|'([^']*)')/y;
  field.lastIndex = "<?xml".length;
  for (let found; (found = field.exec(text));) if (found[1] === "encoding") return found[2] ?? found[3];
  return "";
}

/** Throws an Error with a reason, to be put behind "…: ", when nobody can say for sure what the bytes mean. */
export function decode(bytes) {
  const start = startOf(bytes, 4);
  if (/^(\0\0\xfe\xff|\xff\xfe\0\0|\0\0\0<|<\0\0\0|\x4c\x6f\xa7\x94)/.test(start)) throw new Error("its encoding is not accepted");
  const [mark, marked] = MARKS.find(([one]) => start.startsWith(one)) ?? ["", ""];
  const form = marked || (start.startsWith("<\0") ? "utf-16le" : start.startsWith("\0<") ? "utf-16be" : "");
  const isWide = form.startsWith("utf-16");
  const declared = declaredIn(bytes.subarray(mark.length), isWide).toLowerCase();
  if (declared && !NAMES.test(declared)) throw new Error(`its encoding is not accepted: “${declared}”`);
  const fits = isWide ? (declared ? [form, "utf-16"].includes(declared) : mark) : form ? ["utf-8", ""].includes(declared) : !declared.startsWith("utf-16");
  if (!fits) throw new Error("it is in another encoding than it declares");
  const encoding = form || declared || "utf-8";
  const [first, last] = UNLIKE_BROWSERS[encoding] ?? [];
  if (first && bytes.some((byte) => byte >= first && byte <= last)) throw new Error(`it holds characters that ${encoding} does not have`);
  try {
    return new TextDecoder(encoding === "us-ascii" ? "utf-8" : encoding, { fatal: true }).decode(bytes);
  } catch {
    throw new Error(`its bytes are no text in ${encoding}`);
  }
}
