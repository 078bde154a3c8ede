// Words, moments and lengths of time in the reader's language.
import { texts } from "./texts.js";
import { now } from "./api.js";

const kChosen = "language";

const known = (wish) => Object.keys(texts).find((language) => wish?.toLowerCase().startsWith(language));
let language = known(localStorage.getItem(kChosen)) ?? navigator.languages.map(known).find(Boolean) ?? "en";

export const current = () => language;

export function choose(wish) {
  language = known(wish) ?? language;
  localStorage.setItem(kChosen, language);
}

// The text of a key with its values put in. What has no text of its own shows as it is.
export const say = (key, values = {}) =>
  (texts[language][key] ?? key).replace(/\{(\w+)\}/g, (_, name) => values[name] ?? "");

export const sayState = (state) => texts[language][`state.${state}`] ?? state;

const isToday = (date) => new Date(now()).toDateString() === date.toDateString();

// "03:12", with the day when it was another one.
export function clock(moment) {
  const date = new Date(moment);
  if (Number.isNaN(date.getTime())) return "";
  const form = isToday(date) ? {} : { day: "numeric", month: "short" };
  return new Intl.DateTimeFormat(language, { ...form, hour: "2-digit", minute: "2-digit", hourCycle: "h23" }).format(date);
}

// All that is known of a moment.
export const exactly = (moment) =>
  new Intl.DateTimeFormat(language, { dateStyle: "medium", timeStyle: "medium", hourCycle: "h23" }).format(new Date(moment));

const kUnits = [["day", 86_400_000], ["hour", 3_600_000], ["minute", 60_000], ["second", 1000]];
const inUnits = (ms) => {
  const [unit, size] = kUnits.find(([, size]) => ms >= size) ?? kUnits.at(-1);
  return [Math.round(ms / size), unit];
};

export function length(ms) {
  const [n, unit] = inUnits(ms);
  return new Intl.NumberFormat(language, { style: "unit", unit, unitDisplay: "short" }).format(n);
}

export function ago(moment) {
  const [n, unit] = inUnits(now() - new Date(moment));
  if (unit === "second" && n < 10) return say("justNow");
  return new Intl.RelativeTimeFormat(language, { style: "short", numeric: "always" }).format(-n, unit);
}
