// Pages and failures over the last day: a column for each quarter of an hour, what was accepted
// above the line, failed tries below it.
import { draw, make } from "./dom.js";
import { clock, say } from "./words.js";

const kColumn = 5;
const kUp = 96; // height of what was accepted
const kDown = 48;
const kWords = 18;

const sum = (quarters, name) => quarters.reduce((all, quarter) => all + quarter[name], 0);

function column(quarter, index, scale) {
  const bar = (name, y, height) =>
    draw("rect", { class: name, x: index * kColumn + 0.5, y, width: kColumn - 1, height, rx: 1 });
  const up = quarter.accepted * scale;
  const down = quarter.failed * scale;
  const words = `${clock(quarter.begun)}: ${quarter.accepted} ${say("plotAccepted")}, ${quarter.failed} ${say("plotFailures")}`;
  return draw("g", {}, draw("title", {}, words),
    draw("rect", { class: "catch", x: index * kColumn, y: 0, width: kColumn, height: kUp + kDown }),
    up ? bar("accepted", kUp - up, up) : "", down ? bar("failed", kUp, down) : "");
}

// The hours that can be divided by six, below the columns.
const hours = (quarters) =>
  quarters.map((quarter, index) => [new Date(quarter.begun), index])
    .filter(([begun, index]) => begun.getMinutes() < 15 && begun.getHours() % 6 === 0 && index > 3 && index < quarters.length - 3)
    .map(([begun, index]) => draw("g", {},
      draw("line", { class: "hour", x1: index * kColumn, x2: index * kColumn, y1: 0, y2: kUp + kDown }),
      draw("text", { x: index * kColumn, y: kUp + kDown + kWords, "text-anchor": "middle" }, clock(begun).slice(-5))));

function told(quarters) {
  const failure = quarters.findLast((quarter) => quarter.failed > 0);
  const values = { accepted: sum(quarters, "accepted"), failed: sum(quarters, "failed") };
  return [say("plotSum", values), failure ? say("plotFailed", { time: clock(failure.begun) }) : ""].join(" ");
}

export function plot(quarters) {
  const most = Math.max(0, ...quarters.flatMap(({ accepted, failed }) => [accepted, failed * (kUp / kDown)]));
  if (!most) return make("p", { class: "none" }, say("plotNone"));
  const width = quarters.length * kColumn;
  const picture = draw("svg", { viewBox: `0 -4 ${width} ${kUp + kDown + kWords + 8}`, role: "img", "aria-label": told(quarters) },
    hours(quarters), quarters.map((quarter, index) => column(quarter, index, kUp / most)),
    draw("line", { class: "ground", x1: 0, x2: width, y1: kUp, y2: kUp }),
    draw("text", { x: 1, y: 8, "aria-hidden": "true" }, String(Math.ceil(most))));
  return make("figure", {}, picture, make("figcaption", {},
    make("span", { class: "key accepted" }, say("plotAccepted")), make("span", { class: "key failed" }, say("plotFailures")),
    make("span", {}, told(quarters))));
}
