// Whether paging works now, and why not: the one thing that a tired operator must see first.

const kSlow = 5 * 60_000; // ms that a page may be due without anybody minding
const kDay = 24 * 3_600_000;
const kSilent = 60_000; // ms without a word of a machine that lives

const time = (moment) => (moment ? Date.parse(moment) : 0);
const kWaits = ["ready", "offering", "at-hub"];
const isDue = (page, now) => kWaits.includes(page.state) && time(page.not_before) <= now;
export const isSilent = (machine, now) => now - time(machine.seen) > kSilent;
const works = (line) => line.state === "idle" || line.state === "calling" || line.state === "waiting";

// When the latest page was accepted; 0: never.
const lastAccepted = ({ pages, lines }) => {
  const accepted = pages.filter((page) => page.state === "accepted").map((page) => page.changed);
  return Math.max(0, ...[...accepted, ...lines.map((line) => line.last_success)].map(time));
};

function* troubles({ worker, lines, hub, pages, now }) {
  const reason = (level, key, values = {}, where = undefined) => ({ level, key, values, where });
  const whyOf = (line) => ({ name: line.name, why: line.why || line.state });
  const broken = lines.filter((line) => !works(line));
  if (!worker) yield reason("bad", "noWorker");
  else if (!lines.length && !hub) yield reason("bad", "noLines"); // with a hub, other machines have some
  else if (lines.length && broken.length === lines.length) yield reason("bad", "noLine", whyOf(broken[0]), "lines-title");
  else for (const line of broken) yield reason("warn", "lineFails", whyOf(line), "lines-title");

  const failed = pages.filter((page) => page.state === "ready" && page.attempts > 0 && page.last_result);
  const since = Math.min(...failed.map((page) => time(page.arrived)));
  if (now - since > kSlow && lastAccepted({ pages, lines }) < since) {
    yield reason("bad", "failing", { n: failed.length, since, why: failed[0].last_result.reason }, "now-title");
  }
  const due = pages.filter((page) => isDue(page, now)).map((page) => time(page.not_before) || time(page.arrived));
  const waited = now - Math.min(now, ...due);
  if (waited > kSlow) yield reason("warn", "slow", { waited }, "now-title");

  if (hub?.away_since) yield reason("warn", "hubAway", { since: time(hub.away_since) }, "machines-title");
  if (hub?.held) yield reason("warn", "hubHeld", { why: hub.held }, "machines-title");
  for (const name of hub?.unserved ?? []) yield reason("warn", "hubUnserved", { name }, "machines-title");
  for (const machine of hub?.machines ?? []) {
    if (isSilent(machine, now)) yield reason("warn", "machineSilent", { name: machine.name, since: time(machine.seen) }, "machines-title");
  }

  for (const state of ["parked", "unknown"]) {
    const n = pages.filter((page) => page.state === state).length;
    if (n) yield reason("warn", state, { n }, "attention-title");
  }
}

// {level: "ok" | "warn" | "bad", reasons: [{level, key, values, where}]}, the worst first.
export function judge(state) {
  const reasons = [...troubles(state)].sort((a, b) => a.level.localeCompare(b.level)); // "bad" first
  if (reasons.length) return { level: reasons[0].level, reasons };
  const last = lastAccepted(state);
  const silent = state.now - last > kDay;
  return { level: "ok", reasons: [silent ? { key: "silent", values: {}, where: "test-title" } : { key: "accepted", values: { last } }] };
}
