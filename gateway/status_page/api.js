// The gateway as the page sees it: requests with the token of this tab, and the stream of events.

const kToken = "token";
const kLongestReply = 10_000; // ms
const kLongestSilence = 45_000; // ms without a byte of the stream, which has a heartbeat

export class Refused extends Error {
  constructor(status, said) {
    super(said);
    this.status = status;
  }
}

export const token = {
  get: () => sessionStorage.getItem(kToken),
  set: (value) => sessionStorage.setItem(kToken, value),
  forget: () => sessionStorage.removeItem(kToken),
};

// What the gateway's clock is ahead of this machine's, in ms: ages are told by the former.
let ahead = 0;
export const now = () => Date.now() + ahead;

async function open(path, options = {}) {
  const headers = { ...options.headers };
  if (token.get()) headers.Authorization = `Bearer ${token.get()}`;
  const reply = await fetch(path, { cache: "no-store", ...options, headers });
  const date = Date.parse(reply.headers.get("Date"));
  if (!Number.isNaN(date)) ahead = date - Date.now();
  return reply;
}

const sentenceOf = ({ error, fields } = {}) => Object.values(fields ?? {}).join("; ") || error;

// The document that answers. Throws Refused with the gateway's sentence, or what fetch throws when
// nobody answers at all.
export async function ask(path, method = "GET", document = undefined) {
  const headers = document ? { "Content-Type": "application/json" } : {};
  const signal = AbortSignal.timeout(kLongestReply);
  const reply = await open(path, { method, headers, signal, body: document && JSON.stringify(document) });
  const said = await reply.json().catch(() => ({}));
  if (!reply.ok) throw new Refused(reply.status, sentenceOf(said) || `HTTP ${reply.status}`);
  return said;
}

// One event out of the lines of its block.
function parse(block) {
  const event = { type: "message", data: "" };
  for (const line of block.split("\n")) {
    const [, name, value] = line.match(/^(\w+): ?(.*)$/) ?? [];
    if (name === "event") event.type = value;
    if (name === "id") event.id = value;
    if (name === "data") event.data += value;
  }
  return event;
}

// Calls `take` with each event, as an EventSource would, but with the token. Ends when the stream
// does, or when it has been silent for too long.
export async function follow(after, opened, take) {
  const giveUp = new AbortController();
  let silence = setTimeout(() => giveUp.abort(), kLongestSilence);
  try {
    const headers = after ? { "Last-Event-ID": after } : {};
    const reply = await open("/v1/events", { headers, signal: giveUp.signal });
    if (!reply.ok) throw new Refused(reply.status, `HTTP ${reply.status}`);
    await opened();
    let rest = "";
    for (const reader = reply.body.pipeThrough(new TextDecoderStream()).getReader(); ; ) {
      const { value, done } = await reader.read();
      if (done) return;
      clearTimeout(silence);
      silence = setTimeout(() => giveUp.abort(), kLongestSilence);
      const blocks = (rest + value).replaceAll("\r", "").split("\n\n");
      rest = blocks.pop();
      for (const event of blocks.map(parse)) if (event.data) take(event);
    }
  } finally {
    clearTimeout(silence);
  }
}
