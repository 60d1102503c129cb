// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// The overview of the host, shown while no stream is selected.

import { make, makeButton, makeTable, setText } from "./elements.js";
import { get, getAbout, server } from "./server.js";
import { formatCount, formatSpan } from "./text.js";

const typesPage = 50;

const fact = (title, value) =>
  make("div", { className: "fact" }, make("dt", {}, title), make("dd", {}, value));

const cell = (text, isNumber) => make("td", { className: isNumber ? "number" : "" }, text);

// Rebuilds the rows of a table; shows a sentence if there are none.
class Section {
  constructor(title, columns, none) {
    this.columns = columns;
    const { box, body } = makeTable(title, columns);
    this.body = body;
    this.tableBox = box;
    this.none = make("p", { className: "none" }, none);
    this.box = make("section", { className: "part" }, make("h2", {}, title), box, this.none);
  }

  setRows(rows) {
    this.tableBox.hidden = rows.length === 0;
    this.none.hidden = rows.length > 0;
    this.body.replaceChildren(...rows.map((row) => this.makeRow(row)));
  }

  addRows(rows) {
    this.tableBox.hidden = false;
    this.none.hidden = true;
    this.body.append(...rows.map((row) => this.makeRow(row)));
  }

  makeRow(row) {
    return make("tr", {}, ...row.map((text, at) => cell(text, this.columns[at].number)));
  }
}

export class Overview {
  constructor() {
    this.title = make("h1", {}, "Overview");
    this.facts = make("dl", { className: "facts" });
    this.rules = new Section("Rules",
      [{ title: "Name" }, { title: "Rule" }, { title: "Matches", number: true }],
      "The host has named no rules. Choose a stream to try one.");
    this.deliveries = new Section("Deliveries",
      [{ title: "Name" }, { title: "Delivered", number: true }, { title: "Waiting", number: true },
        { title: "Dropped", number: true }, { title: "Failed", number: true }],
      "The host has named no deliveries.");
    this.types = new Section("Types",
      [{ title: "Name" }, { title: "Version" }, { title: "Entries", number: true }],
      "The host has no types yet.");
    this.more = makeButton("Show more types", "", () => this.readTypes());
    this.more.hidden = true;
    this.types.box.append(this.more);
    this.box = make("div", { className: "overview" }, this.title, this.facts, this.rules.box,
      this.deliveries.box, this.types.box);
    this.onAbout = () => this.show();
    server.addEventListener("about", this.onAbout);
    this.show();
    this.readTypes();
  }

  close() {
    server.removeEventListener("about", this.onAbout);
  }

  show() {
    const about = getAbout();
    if (about === null) {
      return;
    }
    setText(this.title, about.title || "Overview");
    this.facts.replaceChildren(
      fact("Streams", formatCount(about.streams)), fact("Types", formatCount(about.types)),
      fact("Running for", formatSpan(about.uptime)), fact("History", about.history ? "yes" : "no"),
      fact("Version", about.version));
    this.rules.setRows((about.rules ?? []).map(({ name, rule, matches }) =>
      [name, make("code", {}, rule), formatCount(matches)]));
    this.deliveries.setRows((about.deliveries ?? []).map((each) =>
      [each.name, formatCount(each.delivered), formatCount(each.waiting),
        this.markBad(each.dropped), this.markBad(each.failures ?? 0)]));
  }

  markBad(count) {
    return make("span", { className: count > 0 ? "bad" : "" }, formatCount(count));
  }

  async readTypes() {
    const offset = this.types.body.children.length;
    try {
      const { total, types } = await get("types", { offset, limit: typesPage });
      if (offset === this.types.body.children.length) {
        this.types[offset === 0 ? "setRows" : "addRows"](types.map((type) =>
          [type.name, type.version, formatCount(type.entries)]));
      }
      this.more.hidden = this.types.body.children.length >= total || types.length === 0;
    } catch {
      // The notice of the lost connection is enough.
    }
  }
}
