// Which web pages may hand documents to this extension. A real extension names its own sites here, and in the "matches" of
// its manifest, such as "https://contracts.example.com".

const ORIGINS = [/^http:\/\/(localhost|127\.0\.0\.1)(:\d+)?$/];

/**
 * The origin of a message's sender, as the browser tells it (a page cannot forge that), or null when it may not ask. Frames
 * inside a page may not: people know the page by its address bar.
 */
export function allowedOrigin(sender) {
  const origin = sender.origin ?? new URL(sender.url).origin;
  return sender.tab && sender.frameId === 0 && ORIGINS.some((allowed) => allowed.test(origin)) ? origin : null;
}
