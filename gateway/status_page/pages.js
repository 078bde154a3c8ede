// Items of the lists: pages of the queue, attempts of the journal, lines.
import { ask, now } from "./api.js";
import { facts, keep, make } from "./dom.js";
import { isSilent } from "./verdict.js";
import { ago, clock, exactly, length, say, sayState } from "./words.js";

const when = (moment) => (moment ? exactly(moment) : "");

const kMayBe = { // what an operator can do with a page, by its state
  ready: ["hold", "cancel"],
  held: ["release", "cancel"],
  unknown: ["retry", "cancel"],
  parked: ["retry", "cancel"],
  cancelled: ["retry"],
  expired: ["retry"],
  offering: ["cancel"],
  "at-hub": ["cancel"],
};

// --- The dialogue of an attempt.

function dialogueOf({ dialogue }) {
  if (!dialogue?.length) return make("p", { class: "none" }, say("noDialogue"));
  return make("pre", { tabindex: "0", role: "region", "aria-label": say("dialogue") }, dialogue.join("\n"));
}

async function showAttempt(place, id) {
  const attempt = await ask(`/v1/journal/${encodeURIComponent(id)}`).catch((error) => ({ reason: error.message }));
  place.replaceChildren(facts([
    [say("reason"), attempt.reason], [say("answer"), attempt.answer], [say("modem"), attempt.modem],
    [say("seconds"), attempt.seconds && length(attempt.seconds * 1000)], [say("user"), attempt.user],
    [say("id"), attempt.id],
  ]), dialogueOf(attempt));
}

// --- An item that opens. `heading` gives what always shows, `show` fills its place when it is open.

function opening(heading, show) {
  const summary = make("summary");
  const place = make("div", { class: "body" });
  let thing;
  const details = make("details", { ontoggle: () => details.open && show(place, thing) }, summary, place);
  const item = make("li", {}, details);
  item.tell = (told) => {
    thing = told;
    summary.replaceChildren(...heading(thing));
    if (details.open) show(place, thing);
  };
  return item;
}

const badge = (state) => make("span", { class: "badge", "data-state": state }, sayState(state));
const moment = (at) => make("time", { datetime: at, title: when(at) }, clock(at));

const heading = (at, state, to, by, text, notes = []) => [
  moment(at), badge(state), make("span", { class: "to" }, to ?? ""), make("span", { class: "rest by" }, by ?? ""),
  make("span", { class: "text" }, text ?? say("textNotKept")), make("span", { class: "rest notes" }, notes.filter(Boolean).join(" · ")),
];

// Of a page, or of an attempt.
const byWhat = ({ service, modem }) => [service, modem].filter(Boolean).join(" · ");
const why = ({ state, outcome, reason, last_result }) =>
  ["accepted", "cancelled"].includes(state ?? outcome) ? "" : (last_result?.reason ?? reason ?? "");
const later = (page) =>
  page.state === "ready" && new Date(page.not_before ?? 0) > Date.now() ? say("waitsUntil", { time: clock(page.not_before) }) : "";

const attemptItem = () => opening(
  (attempt) => heading(attempt.begun, attempt.outcome, attempt.recipient, byWhat(attempt), attempt.text, [why(attempt)]),
  (place, attempt) => showAttempt(place, attempt.id));

const tryItem = () => opening(
  (one) => heading(one.begun, one.outcome, "", byWhat(one), why(one)), (place, one) => showAttempt(place, one.id));

// A try whose dialogue somebody reads stays open when its page changes.
async function showPage(place, { id }) {
  const page = await ask(`/v1/pages/${encodeURIComponent(id)}`).catch((error) => error);
  if (!place.hasChildNodes()) {
    place.append(make("div"), make("h3", { hidden: true }), make("ul", { class: "pages", hidden: true }));
  }
  const [about, title, list] = place.children;
  if (page instanceof Error) {
    about.replaceChildren(make("p", { class: "none" }, say("failed", { why: page.message })));
    return;
  }
  about.replaceChildren(
    page.perhaps_twice ? make("p", { class: "note" }, say("perhapsTwice")) : "",
    facts([
      [say("service"), page.service], [say("from"), page.from], [say("priority"), page.priority], [say("arrived"), when(page.arrived)],
      [say("notBefore"), when(page.not_before)], [say("expires"), when(page.expires)], [say("attempts"), page.attempts],
      [say("modem"), page.last_result?.modem], [say("reason"), page.last_result?.reason], [say("answer"), page.last_result?.answer],
      [say("id"), page.id],
    ]));
  title.hidden = list.hidden = !page.tries?.length;
  title.textContent = say("tries");
  keep(list, page.tries ?? [], (one) => one.id, tryItem);
}

// A page; `operate(action, page)` is called when the operator wants something of it, and `may` says
// whether he may.
export const pageItem = (may, operate) => () => {
  const item = opening(
    (page) => heading(page.arrived, page.state, page.recipient, page.service, page.text, [later(page), why(page)]), showPage);
  const actions = make("p", { class: "actions" });
  item.append(actions);
  const tell = item.tell;
  item.tell = (page) => {
    tell(page);
    actions.replaceChildren(...(may() ? kMayBe[page.state] ?? [] : []).map((action) =>
      make("button", { type: "button", onclick: () => operate(action, page) }, say(action),
        make("span", { class: "unseen" }, ` ${page.recipient}`))));
  };
  return item;
};

export const journalItem = attemptItem;

// --- A machine that shares pages with this one.

export function machineItem() {
  const item = make("li");
  item.tell = (machine) => {
    const state = isSilent(machine, now()) ? "silent" : "there";
    item.dataset.state = state;
    item.replaceChildren(
      make("span", { class: "to" }, machine.name), make("span", { class: "badge", "data-state": state }, say(`machine.${state}`)),
      make("span", { class: "rest" }, [
        say("modemsFree", { free: machine.free, n: machine.modems }), machine.services.join(", "),
        machine.pages_at_hub ? say("pagesAtHub", { n: machine.pages_at_hub }) : "",
        state === "silent" ? say("lastHeard", { time: ago(machine.seen) }) : ""].filter(Boolean).join(" · ")));
  };
  return item;
}

// --- A line.

export function lineItem() {
  const item = make("li");
  item.tell = (line) => {
    item.dataset.state = line.state;
    item.replaceChildren(
      make("span", { class: "to" }, line.name), make("span", { class: "badge", "data-state": line.state }, say(`line.${line.state}`)),
      make("span", { class: "rest" }, [line.why, line.last_success ? say("lastSuccess", { time: ago(line.last_success) }) : say("neverSuccess")]
        .filter(Boolean).join(" · ")));
  };
  return item;
}
