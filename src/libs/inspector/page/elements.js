// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Makes elements from text, never from markup: the name of a stream may contain anything.

// make("td", { className: "number", "aria-label": "age" }, text or element...)
export const make = (tag, properties = {}, ...children) => {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (name === "role" || name.includes("-")) {
      element.setAttribute(name, value);
    } else {
      element[name] = value;
    }
  }
  element.append(...children.filter((child) => child !== null && child !== undefined));
  return element;
};

// A table with a row of headings. Columns are {title, number}.
export const makeTable = (caption, columns, className = "") => {
  const titles = columns.map(({ title, number }) =>
    make("th", { scope: "col", className: number ? "number" : "" }, title));
  const body = make("tbody");
  const table = make("table", { className }, make("caption", {}, caption),
    make("thead", {}, make("tr", {}, ...titles)), body);
  return { box: make("div", { className: "tableBox" }, table), body };
};

export const makeButton = (text, title, onclick) =>
  make("button", { type: "button", title, onclick }, text);

// Sets a text only if it differs, so as not to disturb selections and screen readers.
export const setText = (element, text) => {
  if (element.textContent !== text) {
    element.textContent = text;
  }
};

// Calls `action` once, `delay` milliseconds after the last of several calls.
export const debounce = (delay, action) => {
  let timer = 0;
  const call = (...args) => {
    clearTimeout(timer);
    timer = setTimeout(() => action(...args), delay);
  };
  call.cancel = () => clearTimeout(timer);
  return call;
};
