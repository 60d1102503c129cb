// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Texts of times, ages and values. Times are microseconds since 1970.

let isUtc = localStorage.getItem("zone") === "utc";

export const showsUtc = () => isUtc;

export const setUtc = (value) => {
  isUtc = value;
  localStorage.setItem("zone", value ? "utc" : "local");
};

const pad = (number, digits = 2) => String(number).padStart(digits, "0");

// A date whose UTC fields show the clock of the chosen zone.
const shown = (ms) =>
  isUtc ? new Date(ms) : new Date(ms - new Date(ms).getTimezoneOffset() * 60000);

const fraction = (us) => {
  const part = ((us % 1e6) + 1e6) % 1e6;
  if (part === 0) {
    return "";
  }
  return part % 1000 === 0 ? "." + pad(part / 1000, 3) : "." + pad(part, 6);
};

export const formatClock = (us) => {
  const date = shown(Math.floor(us / 1e6) * 1000);
  return `${pad(date.getUTCHours())}:${pad(date.getUTCMinutes())}:${pad(date.getUTCSeconds())}` +
    fraction(us);
};

export const formatTime = (us) => {
  const date = shown(Math.floor(us / 1e6) * 1000);
  if (Number.isNaN(date.getTime())) {
    return `${us} µs`;
  }
  return `${date.getUTCFullYear()}-${pad(date.getUTCMonth() + 1)}-${pad(date.getUTCDate())} ` +
    formatClock(us);
};

export const zoneName = () => (isUtc ? "UTC" : "local time");

const spans = [["d", 86400], ["h", 3600], ["min", 60], ["s", 1]];

// 0.4 s, 12 s, 3 min 20 s, 5 h 12 min, 1,200 d
export const formatSpan = (seconds) => {
  if (Math.abs(seconds) < 10) {
    return `${(Math.round(seconds * 10) / 10).toFixed(seconds === 0 ? 0 : 1)} s`;
  }
  const rest = Math.floor(Math.abs(seconds));
  const at = spans.findIndex(([, length]) => rest >= length);
  const [name, length] = spans[at];
  const count = Math.floor(rest / length);
  const text = `${seconds < 0 ? "−" : ""}${count.toLocaleString("en")} ${name}`;
  if (at + 1 === spans.length || count >= 100) {
    return text;
  }
  const part = Math.floor((rest % length) / spans[at + 1][1]);
  return part === 0 ? text : `${text} ${part} ${spans[at + 1][0]}`;
};

export const formatAge = (seconds) =>
  seconds < -1 ? `in ${formatSpan(-seconds)}` : `${formatSpan(Math.max(seconds, 0))} ago`;

// The age in a narrow column: 4 s, 3 min, 5 h, 12 d.
export const formatShortAge = (seconds) => {
  const rest = Math.max(Math.floor(seconds), 0);
  const [name, length] = spans.find(([, each]) => rest >= each) ?? spans[3];
  return `${Math.floor(rest / length).toLocaleString("en")} ${name}`;
};

export const formatCount = (number) => Number(number).toLocaleString("en");

// Seven digits are enough on a screen; the title has the full number.
export const formatNumber = (number) => {
  if (Number.isSafeInteger(number)) {
    return String(number);
  }
  const isLong = Math.abs(number) >= 1e15;
  return isLong ? number.toExponential(6) : String(Number(number.toPrecision(7)));
};

// An axis label has room for about eight characters.
export const formatTick = (number) => {
  const text = String(Number(number.toPrecision(6)));
  return text.length <= 8 ? text : number.toExponential(2);
};

const maxTextLength = 200;

// Invisible characters, and those that change the direction of the text around them, are shown as
// escapes.
const unseen = new RegExp("[\\u0000-\\u0009\\u000b-\\u001f\\u007f-\\u009f\\u061c\\u200b-\\u200f" +
  "\\u2028-\\u202e\\u2060-\\u206f\\ufeff]", "g");

export const showUnseen = (text) => text.replace(unseen, (character) =>
  `\\u${character.charCodeAt(0).toString(16).padStart(4, "0")}`);

// Long texts are cut. Of a text that the server has cut, `size` is the full length.
export const formatScalar = (value, size = null) => {
  if (value === null || value === undefined) {
    return "—";
  }
  if (typeof value === "number") {
    return formatNumber(value);
  }
  const text = showUnseen(String(value));
  const length = Math.max(size ?? 0, text.length);
  return length <= maxTextLength ? text :
    `${text.slice(0, maxTextLength)}… (${formatCount(length)} characters)`;
};

const firstElements = 3;

// A value, or the first elements of an array.
export const formatValue = (value, size = null) => {
  if (!Array.isArray(value)) {
    return formatScalar(value, size);
  }
  const count = size ?? value.length;
  const begin = value.slice(0, firstElements).map((each) => formatScalar(each)).join(", ");
  return count === 0 ? "empty" : count <= firstElements ? begin : `${begin}, …`;
};

// The number of elements of an array, and the range of those that the server sent.
export const formatSpread = (value, size) => {
  if (!Array.isArray(value) || size <= firstElements) {
    return "";
  }
  const numbers = value.map(Number).filter(Number.isFinite);
  const count = `${formatCount(size)} values`;
  if (numbers.length < 2) {
    return count;
  }
  const ends = [Math.min(...numbers), Math.max(...numbers)].map(formatNumber).join(" to ");
  return size > value.length ? `${count}, the first ${value.length}: ${ends}` : `${count}: ${ends}`;
};
