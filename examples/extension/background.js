// The page does the work; this only opens it. A popup would close as soon as the file dialog takes the focus.
const api = globalThis.browser ?? globalThis.chrome;

api.action.onClicked.addListener(() => api.tabs.create({ url: api.runtime.getURL("page.html") }));
