// The page as a whole: what is known of the gateway, kept up to date by its events, and shown.
import { Refused, ask, follow, now, token } from "./api.js";
import { byId, keep, make } from "./dom.js";
import { journalItem, lineItem, machineItem, pageItem } from "./pages.js";
import { plot } from "./plot.js";
import { judge } from "./verdict.js";
import * as words from "./words.js";

const { say, sayState } = words;
const kLookAgain = 15_000; // ms: ages grow, and a dead worker sends no events
const kLongestPause = 15_000;
const kRecent = 50;
const kShown = 100; // of a storm: nobody reads more
const kNow = ["dialling", "claimed", "ready", "held", "withdrawing", "offering", "at-hub"]; // in this order
const kAttention = ["unknown", "parked"];
const kOpenStates = [...kNow, ...kAttention].map((state) => `state=${state}`).join("&");

const known = { pages: new Map(), lines: [], hub: null, quarters: [], worker: true, role: undefined, seen: 0, connected: false };
const tested = { ids: [], begun: 0 };

const mayOperate = () => (known.role ?? "operate") === "operate";
const maySubmit = () => known.role !== "read";
const sleep = (ms) => new Promise((done) => setTimeout(done, ms));

// --- What is known.

// A page as it is now; or as it was `before` others may have come in by the stream, which know better.
function learn(page, before = false) {
  const newer = Date.parse(page.changed) - Date.parse(known.pages.get(page.id)?.changed ?? 0);
  if (before ? newer > 0 : newer >= 0) known.pages.set(page.id, page);
}

// Of what is over, the latest are enough.
function forget() {
  const over = [...known.pages.values()].filter((page) => ![...kNow, ...kAttention].includes(page.state));
  over.sort((a, b) => Date.parse(b.changed) - Date.parse(a.changed));
  for (const page of over.slice(2 * kRecent)) known.pages.delete(page.id);
}

const quartersOf = ({ from, seconds, accepted, failed }) =>
  accepted.map((n, i) => ({ begun: Date.parse(from) + i * seconds * 1000, accepted: n, failed: failed[i] }));

async function look() {
  const [lines, stats, history, hub] = await Promise.all(["lines", "stats", "history", "hub"].map((of) => ask(`/v1/${of}`)));
  const works = !lines.length || lines.some((line) => line.state !== "not worked");
  const { role, worker = works } = stats;
  Object.assign(known, { lines, role, worker, hub, quarters: quartersOf(history), seen: now(), connected: true });
}

async function lookAtAll(streaming = false) {
  const lists = [ask(`/v1/pages?limit=${kRecent}`), ask(`/v1/pages?${kOpenStates}&limit=1000`)];
  const [latest, open] = await Promise.all([...lists, look()]);
  for (const page of [...open, ...latest]) learn(page, streaming);
  show();
}

// --- What is shown.

// What a screen reader says of itself: a new verdict, and not that a minute has passed.
function speak(level, reasons, sentences) {
  const verdict = JSON.stringify([words.current(), level, reasons.map(({ key, values }) => [key, values.n, values.name])]);
  if (byId("spoken").dataset.verdict === verdict) return;
  byId("spoken").dataset.verdict = verdict;
  byId("spoken").textContent = sentences;
}

function showVerdict() {
  const { level, reasons } = known.connected
    ? judge({ ...known, pages: [...known.pages.values()], now: now() })
    : { level: "lost", reasons: [{ key: "lostSince", values: { seen: known.seen } }] };
  const inWords = ({ last, since, waited, seen, ...values }) => ({
    ...values, time: last ? words.ago(last) : since || seen ? words.clock(since || seen) : waited ? words.length(waited) : "–",
  });
  const sentences = reasons.map(({ key, values, where }) => [say(key, inWords(values)), where]);
  document.title = `${level === "ok" ? "✓" : "✗"} ${say(level)} – mvSMS`;
  byId("verdict").dataset.level = level;
  byId("headline").textContent = say(level);
  keep(byId("reasons"), sentences, ([sentence]) => sentence, () => {
    const item = make("li");
    item.tell = ([sentence, where]) => item.replaceChildren(where ? make("a", { href: `#${where}` }, sentence) : sentence);
    return item;
  });
  speak(level, reasons, [say(level), ...sentences.map(([sentence]) => sentence)].join(". "));
}

function showList(id, pages) {
  keep(byId(id), pages, (page) => page.id, pageItem(mayOperate, operate));
  if (byId(`${id.split("-")[0]}-none`)) byId(`${id.split("-")[0]}-none`).hidden = pages.length > 0;
}

const byUrgency = (a, b) => a.priority - b.priority || Date.parse(a.arrived) - Date.parse(b.arrived);

function showPages() {
  const pages = [...known.pages.values()];
  const inStates = (states) => states.flatMap((state) => pages.filter((page) => page.state === state).sort(byUrgency));
  const over = pages.filter((page) => ![...kNow, ...kAttention].includes(page.state));
  over.sort((a, b) => Date.parse(b.changed) - Date.parse(a.changed));
  const attention = inStates(kAttention);
  byId("attention").hidden = !attention.length;
  showList("attention-pages", attention);
  const here = inStates(kNow);
  showList("now-pages", here.slice(0, kShown));
  byId("now-more").textContent = here.length > kShown ? say("more", { n: here.length - kShown }) : "";
  showList("recent-pages", over.slice(0, kRecent));
}

// A group has several pages: told is the one that is not through yet, or that came to a bad end.
function showTest() {
  if (!tested.ids.length) return;
  const pages = tested.ids.map((id) => known.pages.get(id));
  const over = pages.every((page) => page && !kNow.includes(page.state));
  const page = pages.find((one) => one?.state !== "accepted") ?? pages[0];
  const time = over ? words.length(Date.parse(page.changed) - tested.begun) : "";
  const why = page?.last_result && page.state !== "accepted" ? ` ${page.last_result.reason}` : "";
  byId("test-said").textContent = (over ? say("testState", { state: sayState(page.state), time }) : say("testTaken")) + why;
}

function show() {
  forget();
  showVerdict();
  byId("board").hidden = !known.seen;
  if (!known.seen) return;
  showPages();
  keep(byId("lines"), known.lines, (line) => line.name, lineItem);
  byId("lines-none").hidden = known.lines.length > 0;
  byId("machines-section").hidden = !known.hub;
  keep(byId("machines"), known.hub?.machines ?? [], (machine) => machine.name, machineItem);
  byId("plot").replaceChildren(plot(known.quarters));
  byId("test-section").hidden = !maySubmit();
  showTest();
}

let showing;
function showSoon() {
  clearTimeout(showing);
  showing = setTimeout(show, 50);
}

function translate() {
  document.documentElement.lang = words.current();
  for (const node of document.querySelectorAll("[data-text]")) node.textContent = say(node.dataset.text);
  for (const node of document.querySelectorAll("[data-label]")) node.setAttribute("aria-label", say(node.dataset.label));
  for (const node of document.querySelectorAll("[data-language]")) node.setAttribute("aria-pressed", node.dataset.language === words.current());
  byId("host").textContent = location.host;
  byId("test-text").value = say("testText", { time: words.clock(now()) });
  for (const item of document.querySelectorAll("#board li[data-key]")) item.told = undefined;
  if (!byId("sign-in").hidden) byId("headline").textContent = say("signIn");
}

// --- What the operator does.

async function attempt(what, act) {
  const toast = byId("said");
  try {
    await act();
    toast.textContent = say("done", { what });
  } catch (error) {
    toast.textContent = error.status === 403 ? say("forbidden") : say("failed", { why: error.message });
  }
  clearTimeout(toast.ends);
  toast.ends = setTimeout(() => (toast.textContent = ""), 8000);
}

function sure() {
  const dialog = byId("sure");
  dialog.returnValue = "";
  dialog.showModal();
  return new Promise((done) => dialog.addEventListener("close", () => done(dialog.returnValue === "yes"), { once: true }));
}

async function operate(action, page) {
  if (action === "retry" && page.state === "unknown" && !(await sure())) return;
  const path = `/v1/pages/${encodeURIComponent(page.id)}`;
  await attempt(say(action), async () => {
    learn(await (action === "cancel" ? ask(path, "DELETE") : ask(`${path}/${action}`, "POST")));
    show();
  });
}

async function sendTest(event) {
  event.preventDefault();
  const button = event.submitter ?? event.target.querySelector("button");
  button.disabled = true;
  tested.ids = [];
  try {
    const { pages } = await ask("/v1/pages", "POST", { to: byId("test-to").value, text: byId("test-text").value, expires: 30 });
    Object.assign(tested, { ids: pages.map((page) => page.id), begun: now() });
    showTest();
  } catch (error) {
    byId("test-said").textContent = error.status === 403 ? say("forbidden") : say("failed", { why: error.message });
  } finally {
    button.disabled = false;
  }
}

async function search(event) {
  event.preventDefault();
  const wanted = encodeURIComponent(byId("search-words").value);
  await ask(`/v1/journal?q=${wanted}&limit=50`).then(
    (attempts) => {
      byId("search-said").textContent = say("found", { n: attempts.length });
      keep(byId("attempts"), attempts, (one) => one.id, journalItem);
    },
    (error) => (byId("search-said").textContent = say("failed", { why: error.message })));
}

function signIn() {
  byId("sign-in").hidden = false;
  byId("board").hidden = true;
  byId("verdict").dataset.level = "none";
  byId("headline").textContent = say("signIn");
  byId("reasons").replaceChildren();
  byId("token").focus();
  return new Promise((done) => byId("sign-in").addEventListener("submit", (event) => {
    event.preventDefault();
    token.set(byId("token").value.trim());
    byId("token").value = byId("sign-in-said").textContent = "";
    byId("sign-in").hidden = true;
    done();
  }, { once: true }));
}

// --- As long as the page is open.

let latest; // event

function take(event) {
  latest = event.id ?? latest;
  const thing = JSON.parse(event.data);
  if (event.type === "page") learn(thing);
  if (event.type === "lines") known.lines = thing;
  if (event.type === "reload") lookAtAll(true).catch(() => {}); // the look every few seconds tells
  known.seen = now();
  showSoon();
}

// A stream that fell silent may have been an idle proxy's: the next look tells.
const isLoss = (error) => error.name !== "AbortError" && !(error instanceof Refused && error.status < 500);

async function stay() {
  for (let pause = 1000; ; pause = Math.min(2 * pause, kLongestPause)) {
    try {
      await lookAtAll();
      pause = 500;
      byId("sign-out").hidden = !token.get();
      await follow(latest, () => lookAtAll(true), take);
    } catch (error) {
      if (error.status === 401) {
        if (token.get()) byId("sign-in-said").textContent = say("signInWrong");
        token.forget();
        await signIn();
        continue;
      }
      if (isLoss(error)) known.connected = false;
      show();
    }
    await sleep(pause);
  }
}

setInterval(() => {
  look().then(show, (error) => {
    if (isLoss(error)) known.connected = false;
    show();
  });
}, kLookAgain);

for (const button of document.querySelectorAll("[data-language]")) {
  button.addEventListener("click", () => {
    words.choose(button.dataset.language);
    translate();
    show();
  });
}
byId("test").addEventListener("submit", sendTest);
byId("search").addEventListener("submit", search);
byId("sure-no").addEventListener("click", () => byId("sure").close());
byId("sure-yes").addEventListener("click", () => byId("sure").close("yes"));
byId("sign-out").addEventListener("click", () => {
  token.forget();
  location.reload();
});
translate();
stay();
