export const HOST_NAME: "vorn.signing";

/** What went wrong. README.md says what each one means and what helps. */
export type ErrorKind =
  | "host-missing"
  | "extension-not-allowed"
  | "disabled-by-policy"
  | "host-ended"
  | "too-large"
  | "cancelled"
  | "host-failed"
  | "invalid-request"
  | "certificate-not-found"
  | "document-unreadable"
  | "document-unsuitable"
  | "key-failed"
  | "certificate-expired"
  | "algorithm-unknown";

/** Why, of a host that says so; a newer one may have more words. README.md says what each one means. */
export type ErrorReason =
  | "not-found"
  | "expired"
  | "prompt-cancelled"
  | "pin-wrong"
  | "pin-blocked"
  | "card-out"
  | "no-prompt"
  | "module-hangs"
  | "key-failed"
  | "document-malformed"
  | "document-invalid"
  | "confirm-refused"
  | "request-invalid"
  | "algorithm-unknown"
  | "store-unreadable"
  | "restart"
  | "internal";

/** The one error that everything here throws or rejects with. */
export class SigningError extends Error {
  constructor(
    kind: ErrorKind,
    text: string,
    more?: { code?: number; reason?: ErrorReason | (string & {}); certificate?: Certificate; cause?: unknown },
  );
  readonly name: "SigningError";
  readonly kind: ErrorKind;
  /** The host's or the browser's own words, for a log. */
  readonly text: string;
  /** The host's code, when the host has answered. */
  readonly code?: number;
  /** Finer than `kind`, when the host has answered and knows. */
  readonly reason?: ErrorReason | (string & {});
  /** The certificate that has expired. */
  readonly certificate?: Certificate;
  /** What a callback, an iterable or a document of the caller's threw. */
  readonly cause?: unknown;
  /** Of `sign`: what was decided before it gave up. */
  results: Result[];
}

export interface User {
  /** Exactly as in the certificate. */
  name: string;
  email: string;
  /** Exactly as in the certificate. */
  abn: string;
  /** Key identifiers of the acceptable authorities; colons, blanks and capital letters do no harm. */
  aki: string | string[];
}

export interface Certificate {
  serial: string;
  /** May be empty. */
  issuer: string;
  expiry: Date;
}

/** Bytes in an ArrayBuffer, which is what a Blob takes; TypeScript before 5.7 tells no kinds apart. */
export type Bytes = ReturnType<Uint8Array["slice"]>;

export type Data = string | ArrayBuffer | ArrayBufferView | Blob;
/** The XML, or an object of yours that holds it as `data`. Text becomes UTF-8, in its XML declaration too. */
export type Document = Data | { data: Data };

export type Result<D extends Document = Document> =
  | { document: D; signed: Bytes; certificate: Certificate; error?: undefined }
  | { document: D; signed?: undefined; certificate?: undefined; error: SigningError };

export interface Progress<D extends Document = Document> {
  /** How many documents are decided, of how many. */
  done: number;
  total: number;
  /** Which one was decided just now, and how. */
  index: number;
  result: Result<D>;
}

export interface SignOptions<D extends Document = Document> {
  algorithm?: "RSA_SHA1" | "RSA_SHA256" | "RSA_SHA512";
  onProgress?: (progress: Progress<D>) => void;
  /** When aborted, the host's process ends if it is at work, and `sign` rejects with "cancelled". */
  signal?: AbortSignal;
}

export interface Version {
  version: string;
  major: string;
  minor: string;
  release: string;
  build: string;
  os: string;
  os_type: string;
  install_location: string;
}

export interface ConnectOptions {
  /** The host's name in its manifest; HOST_NAME if missing. */
  name?: string;
  /** `browser.runtime` or `chrome.runtime`, whichever there is, if missing. */
  runtime?: { connectNative(name: string): unknown };
  /** Called when the host has answered (true) and when it has gone (false). */
  onRunning?: (running: boolean) => void;
}

/** A connection to the host, which the browser starts with the first request, and again when it has gone. */
export class SigningHost {
  constructor(options?: ConnectOptions);
  version(options?: { signal?: AbortSignal }): Promise<Version>;
  /** The certificate that would sign for this user; whether its key can sign is known only afterwards. */
  certificate(user: User, options?: { signal?: AbortSignal }): Promise<Certificate>;
  /**
   * One document, or those of an array, a FileList or any other iterable. One result for each, in their order. Rejects when none of the rest can be signed, or nothing at all.
   */
  sign<D extends Document>(document: D, user: User, options?: SignOptions<D>): Promise<Result<D>[]>;
  sign<D extends Document>(documents: Iterable<D>, user: User, options?: SignOptions<D>): Promise<Result<D>[]>;
  /** Ends the host's process; a request that is under way is rejected with "cancelled". */
  close(): void;
}

export function connect(options?: ConnectOptions): SigningHost;

/**
 * Key identifiers as certificate viewers show them, one a line, in the form that requests have. Throws SigningError
 * "invalid-request" for what is none.
 */
export function keyIdentifiers(text: string): string[];

/** The bytes that text becomes as a document. */
export function encodeText(xml: string): Bytes;
