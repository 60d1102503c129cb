// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// One stream: how it is, its newest values, charts, a rule and what it matches.

import { Charts } from "./charts.js";
import { debounce, make, makeButton, makeTable, setText } from "./elements.js";
import { Live } from "./live.js";
import { RuleBox } from "./rule_box.js";
import { get, server, ServerError, serverNow, toQuery } from "./server.js";
import {
  formatAge, formatCount, formatNumber, formatSpan, formatSpread, formatTime,
  formatValue, showUnseen, zoneName,
} from "./text.js";

const numeric = /^(U?Int(8|16|32|64)|Float|Double|Bool)$/;
const statePeriod = 2000;
const firstCharts = 4;
const maxValueRows = 40;
const maxMatches = 100;
const matchColumns = 4;
const samplesInView = 300;
const arrivalTime = 10000;

// Microseconds of the ranges to choose from.
const ranges = [
  [10e6, "10 s"], [60e6, "1 min"], [600e6, "10 min"], [3600e6, "1 h"], [6 * 3600e6, "6 h"],
  [86400e6, "1 day"], [7 * 86400e6, "7 days"], [30 * 86400e6, "30 days"], [365 * 86400e6, "1 year"],
];

const valueOf = (values, name) => (Object.hasOwn(values, name) ? values[name] : undefined);

class Facts {
  constructor() {
    this.box = make("dl", { className: "facts" });
    this.parts = new Map();
    for (const title of ["Newest", "Rate", "Ring", "Subscribers", "Pushed"]) {
      const value = make("dd", {}, "–");
      this.parts.set(title, value);
      this.box.append(make("div", { className: "fact" }, make("dt", {}, title), value));
    }
    this.meter = make("meter", { min: 0, max: 1, value: 0, "aria-label": "ring use" });
    this.parts.get("Ring").after(this.meter);
  }

  set(title, text) {
    setText(this.parts.get(title), text);
  }

  show({ rate, samples, capacity, subscribers, pushed }) {
    this.set("Rate", rate === null || rate === undefined ? "–" : `${formatNumber(
      Number(rate.toPrecision(3)))} /s`);
    this.set("Ring", `${formatCount(samples)} of ${formatCount(capacity)}`);
    this.meter.value = capacity > 0 ? samples / capacity : 0;
    this.meter.title = `${Math.floor((100 * samples) / Math.max(capacity, 1))} % of the ring`;
    this.set("Subscribers", formatCount(subscribers));
    this.parts.get("Pushed").parentElement.hidden = pushed === undefined || pushed === null;
    this.set("Pushed", formatCount(pushed ?? 0));
    this.parts.get("Pushed").title = "since the inspector has been counting";
  }

  showAge(time) {
    this.set("Newest", time === null ? "none" : formatAge((serverNow() - time) / 1e6));
    this.parts.get("Newest").title = time === null ? "" : formatTime(time);
  }
}

class Values {
  constructor(entries, total) {
    const { box, body } = makeTable("Newest values",
      [{ title: "Entry" }, { title: "Value", number: true }], "values");
    this.entries = entries;
    this.body = body;
    this.cells = new Map();
    this.time = make("p", { className: "time" });
    this.box = make("section", { className: "part" }, make("h2", {}, "Newest values"), this.time,
      box);
    this.addRows(entries.slice(0, maxValueRows));
    if (entries.length > maxValueRows) {
      this.box.append(this.makeMore());
    }
    if (entries.length < total) {
      this.box.append(make("p", { className: "none" },
        `The first ${formatCount(entries.length)} of ${formatCount(total)} entries.`));
    }
  }

  makeMore() {
    const more = makeButton(`Show all ${formatCount(this.entries.length)} entries`, "", () => {
      this.addRows(this.entries.slice(maxValueRows));
      more.remove();
      if (this.newest) {
        this.show(this.newest);
      }
    });
    return more;
  }

  addRows(entries) {
    for (const { name, type, size, unit } of entries) {
      const value = make("span", { className: "value" });
      const spread = make("span", { className: "spread" });
      this.cells.set(name, { value, spread });
      const shownType = size === 1 || type === "String" ? type : `${type} × ${formatCount(size)}`;
      this.body.append(make("tr", {},
        make("th", { scope: "row" },
          make("span", { className: "clamp", title: name }, showUnseen(name)),
          make("span", { className: "type" }, shownType)),
        make("td", { className: "number" },
          make("span", { className: "clamp" }, value, unit ? ` ${unit}` : null), spread)));
    }
  }

  show(newest) {
    this.newest = newest;
    for (const [name, { value, spread }] of this.cells) {
      const shown = valueOf(newest.values, name);
      const size = valueOf(newest.sizes ?? {}, name) ?? shown?.length ?? 1;
      setText(value, formatValue(shown, size));
      value.title = typeof shown === "number" ? String(shown) : "";
      setText(spread, formatSpread(shown, size));
    }
    this.showTime();
  }

  showTime() {
    setText(this.time, this.newest ? `of ${formatTime(this.newest.time)}, ${zoneName()}` :
      "No sample has been pushed yet.");
  }
}

// Samples for which the rule holds, the newest on top.
class Matches {
  constructor(rule, entries) {
    // Entries that the rule names are of interest, else the first ones.
    const words = new Set(rule.match(/[A-Za-z_][A-Za-z0-9_]*/g) ?? []);
    const named = entries.filter(({ name }) => words.has(name));
    this.entries = (named.length > 0 ? named : entries).slice(0, matchColumns);
    const columns = [{ title: "Time" },
      ...this.entries.map(({ name }) => ({ title: showUnseen(name), number: true }))];
    const { box, body } = makeTable("Matches", columns, "matches");
    this.body = body;
    this.tableBox = box;
    this.count = 0;
    this.state = make("p", { className: "time", role: "status" });
    this.box = make("section", { className: "part" }, make("h2", {}, "Matches"), this.state, box);
    this.times = [];
  }

  makeRow(time, values, isNew) {
    const cells = this.entries.map(({ name }) =>
      make("td", { className: "number" }, formatValue(valueOf(values, name))));
    const row = make("tr", { className: isNew ? "new" : "" },
      make("td", {}, formatTime(time)), ...cells);
    row.dataset.time = time;
    return row;
  }

  // Those that were there before.
  showOld({ times, entries }) {
    const rows = times.map((time, at) => this.makeRow(time,
      Object.fromEntries(this.entries.map(({ name }) => [name, entries[name]?.[at]])), false));
    this.body.append(...rows.reverse());
    this.describe();
  }

  add(time, values) {
    ++this.count;
    this.body.prepend(this.makeRow(time, values, true));
    while (this.body.children.length > maxMatches) {
      this.body.lastChild.remove();
    }
    this.describe();
  }

  describe() {
    const isNone = this.body.children.length === 0;
    this.tableBox.hidden = isNone;
    setText(this.state, isNone ? "Nothing in the ring matches. New matches appear here." :
      `the newest ones of the ring, ${formatCount(this.count)} since this page looks`);
  }

  refreshTimes() {
    for (const row of this.body.children) {
      setText(row.firstChild, formatTime(Number(row.dataset.time)));
    }
  }
}

export class StreamView {
  // Options: path, rule, ruleChanged(rule), notify(kind, text).
  constructor(options) {
    this.options = options;
    this.path = options.path;
    this.abort = new AbortController();
    this.newest = null;
    this.matches = null;
    this.arrivals = [];
    this.title = make("h1", {}, showUnseen(this.path));
    this.box = make("div", { className: "streamView" }, make("div", { className: "heading" },
      make("a", { className: "up", href: "#", "aria-label": "Back to the streams" }, "‹ Streams"),
      this.title), make("p", { className: "none" }, "Reading…"));
    this.onBack = () => this.resume();
    this.rereadSoon = debounce(300, () => {
      this.charts.load();
      this.readMatches();
    });
    server.addEventListener("back", this.onBack);
    this.start();
  }

  close() {
    this.abort.abort();
    clearInterval(this.stateTimer);
    clearInterval(this.ageTimer);
    clearTimeout(this.showTimer);
    this.rereadSoon.cancel();
    server.removeEventListener("back", this.onBack);
    this.live?.close();
    this.charts?.close();
    this.ruleBox?.close();
  }

  // The first answer of a server that is back says so, which asks to start again.
  async start() {
    if (this.isStarting) {
      return;
    }
    this.isStarting = true;
    try {
      this.stream = await get("stream", { path: this.path }, this.abort.signal);
    } catch (error) {
      if (!this.abort.signal.aborted) {
        this.fail(error);
      }
      return;
    } finally {
      this.isStarting = false;
    }
    this.build();
    this.showState(this.stream);
    this.stateTimer = setInterval(() => this.readState(), statePeriod);
    this.ageTimer = setInterval(() => this.facts.showAge(this.newest?.time ?? null), 1000);
    await this.begin();
  }

  fail(error) {
    const text = error instanceof ServerError && error.status === 404 ?
      "There is no stream of this name. It may have been removed." :
      `This stream could not be read. ${error.message}`;
    this.box.lastChild.replaceWith(make("p", { className: "none" }, text));
  }

  build() {
    const { entries, entriesTotal, type, version } = this.stream;
    // Names with a comma cannot be asked for.
    const numbers = entries.filter(({ name, size, type: kind }) =>
      size === 1 && numeric.test(kind) && !name.includes(","));
    this.facts = new Facts();
    this.values = new Values(entries, entriesTotal ?? entries.length);
    const example = numbers.find(({ name }) => /^[A-Za-z_][A-Za-z0-9_]*$/.test(name));
    this.ruleBox = new RuleBox({
      path: this.path, text: this.options.rule ?? "",
      placeholder: example ? `for example ${example.name} > 10` : "for example pushed()",
      apply: (rule) => this.setRule(rule),
    });
    this.plots = make("div", { className: "plots" });
    this.charts = new Charts(this.plots, {
      path: this.path, stateChanged: () => this.describeRange(),
      failed: (error) => this.options.notify("bad", `The chart was not read. ${error.message}`),
      incomplete: () => this.options.notify("lost",
        "The range has more samples than the server reads at once: the chart lacks the newer ones."),
    });
    this.typeLine = make("span", { className: "typeName" }, `${type} ${version}`);
    this.download = make("a", { className: "button", download: "" }, "CSV");
    this.download.title = "Download the samples in the range shown";
    this.box.lastChild.remove();
    this.box.firstChild.append(this.typeLine, this.download);
    this.side = make("div", { className: "sideParts" }, this.values.box);
    this.chosen = new Set(numbers.slice(0, firstCharts).map(({ name }) => name));
    const chartPart = make("section", { className: "part chartPart", "aria-label": "Charts" },
      this.makeToolbar(), this.makeChoices(numbers),
      numbers.length > 0 ? this.plots :
        make("p", { className: "none" }, "This stream has no numeric entries to draw."));
    this.numbers = numbers;
    this.box.append(this.facts.box, this.ruleBox.box,
      make("div", { className: "parts" }, chartPart, this.side));
  }

  makeToolbar() {
    this.follow = makeButton("Pause", "Stop or go on (p)", () => this.toggle());
    this.follow.classList.add("follow");
    this.range = make("select", { "aria-label": "Time shown" },
      make("option", { value: "0", hidden: true }, "Other"),
      ...ranges.map(([length, name]) => make("option", { value: String(length) }, name)),
      make("option", { value: "all" }, "All"));
    this.range.addEventListener("change", () => this.onRange());
    const move = (share) => () => this.charts.move(share);
    const zoom = (factor) => () => this.charts.zoom(factor);
    const label = (text, title, action) => {
      const button = makeButton(text, title, action);
      button.setAttribute("aria-label", title);
      return button;
    };
    this.rangeText = make("span", { className: "rangeText" });
    return make("div", { className: "toolbar", role: "toolbar", "aria-label": "Chart" },
      this.follow, this.range, label("−", "Show a longer time", zoom(2)),
      label("+", "Show a shorter time", zoom(0.5)), label("◂", "Earlier", move(-0.5)),
      label("▸", "Later", move(0.5)), this.rangeText);
  }

  // Which entries are drawn; nothing to choose if there are one or none.
  makeChoices(numbers) {
    if (numbers.length < 2) {
      return null;
    }
    const choices = numbers.map(({ name }) => {
      const check = make("input", { type: "checkbox", checked: this.chosen.has(name) });
      check.addEventListener("change", () => {
        this.chosen[check.checked ? "add" : "delete"](name);
        this.drawChosen();
      });
      return make("label", {}, check, make("span", { title: name }, showUnseen(name)));
    });
    const box = make("details", { className: "choices", open: numbers.length <= 12 },
      make("summary", {}, `Entries (${numbers.length})`),
      make("div", { className: "choiceList" }, ...choices));
    return box;
  }

  drawChosen() {
    return this.charts.setEntries(this.numbers.filter(({ name }) => this.chosen.has(name)));
  }

  // A range in which some hundreds of samples lie is what a stream is shown with at first.
  async begin() {
    const span = await this.chooseSpan();
    if (this.abort.signal.aborted) {
      return;
    }
    this.charts.begin(this.newest?.time ?? null, serverNow());
    this.charts.setFollowing(span);
    this.live = new Live({
      sample: (data) => this.onSample(data), match: (data) => this.onMatch(data),
      lost: (data) => this.onLost(data), resumed: () => this.resume(),
      refused: () => this.options.notify("lost", "The server sends no live changes at present. " +
        "It may have too many readers; this page goes on asking."),
      gone: () => this.onGone(),
    });
    this.listen();
    await this.drawChosen();
  }

  async chooseSpan() {
    try {
      const { times } = await this.readSamples({ last: 1, limit: samplesInView,
        entries: this.numbers[0]?.name ?? null });
      const length = times.length > 1 ? times[times.length - 1] - times[0] : 60e6;
      return (ranges.find(([span]) => span >= length) ?? [length])[0];
    } catch {
      return 60e6;
    }
  }

  readSamples(parameters) {
    return get("samples", { path: this.path, ...parameters }, this.abort.signal);
  }

  listen() {
    if (!this.abort.signal.aborted) {
      this.live?.follow({ path: this.path, rule: this.rule ?? null });
    }
  }

  // What was missed is read again.
  resume() {
    if (this.charts === undefined) {
      this.start();
      return;
    }
    this.readState();
    this.charts.load();
    this.readMatches();
  }

  async readState() {
    if (document.hidden) {
      return;
    }
    try {
      const state = await get("stream", { path: this.path }, this.abort.signal);
      this.showState(state);
    } catch (error) {
      // The notice of the lost connection says the rest.
      if (error instanceof ServerError && error.status === 404) {
        this.onGone();
      }
    }
  }

  // The live changes end with it; one that is removed before they begin is missed by its state.
  onGone() {
    if (!this.isGone) {
      this.isGone = true;
      this.options.notify("bad", "This stream was removed by its host.");
    }
  }

  showState(state) {
    this.facts.show({ ...state, rate: state.rate || this.countArrivals() });
    if (!this.live?.isOpen) {
      this.charts.loadSoon();
    }
    if (state.newest !== null) {
      this.showNewest(state.newest);
      if (!this.live?.isOpen || this.charts.newest === null) {
        this.charts.follow(state.newest.time);
      }
    }
    this.facts.showAge(this.newest?.time ?? null);
    this.values.showTime();
  }

  showNewest(newest) {
    this.newest = newest;
    if (this.charts.isFollowing) {
      this.values.show(newest);
    }
  }

  // Samples a second that came here. Those of a recording have times of long ago, by which the
  // server counts none.
  countArrivals() {
    const begin = Date.now() - arrivalTime;
    this.arrivals = this.arrivals.filter(([time]) => time >= begin);
    const count = this.arrivals.reduce((sum, [, each]) => sum + each, 0);
    return count / (arrivalTime / 1000);
  }

  noteArrival() {
    const second = Math.floor(Date.now() / 1000) * 1000;
    const last = this.arrivals[this.arrivals.length - 1];
    if (last?.[0] === second) {
      ++last[1];
    } else {
      this.arrivals.push([second, 1]);
    }
  }

  onSample({ kind, time, values, sizes }) {
    this.noteArrival();
    if (kind === "popped") {
      this.charts.loadSoon();
      return;
    }
    this.charts.add(time, values);
    this.pending = { time, values, sizes };
    this.showTimer ??= setTimeout(() => {
      this.showTimer = undefined;
      this.showNewest(this.pending);
      this.facts.showAge(this.pending.time);
    }, 200);
  }

  onMatch({ time, values }) {
    this.charts.addMatch(time);
    this.matches?.add(time, values ?? {});
  }

  onLost({ count }) {
    const changes = count === 1 ? "1 change was" : `${formatCount(count)} changes were`;
    this.options.notify("lost", `${changes} lost on the way here. The chart has been read again.`);
    this.rereadSoon();
  }

  setRule(rule) {
    this.rule = rule;
    this.options.ruleChanged(rule);
    this.matches?.box.remove();
    this.matches = null;
    if (rule !== null) {
      this.matches = new Matches(rule, this.stream.entries);
      this.side.append(this.matches.box);
      this.readMatches();
    }
    this.showDownload();
    this.charts.setRule(rule);
    this.listen();
  }

  async readMatches() {
    const { matches, rule } = this;
    if (matches === null) {
      return;
    }
    try {
      const entries = matches.entries.map(({ name }) => name).join(",");
      const old = await this.readSamples({ rule, last: 1, limit: 20, entries });
      matches.body.replaceChildren();
      matches.showOld(old);
    } catch (error) {
      setText(matches.state, `Matches were not read. ${error.message}`);
    }
  }

  async onRange() {
    if (this.range.value === "all") {
      await this.showAll();
    } else if (this.range.value !== "0") {
      this.charts.setFollowing(Number(this.range.value));
    }
  }

  // From the oldest sample, of the history where it has one.
  async showAll() {
    try {
      const kept = this.stream.history ? await this.readOldest("history") : undefined;
      const oldest = kept ?? await this.readOldest("ring");
      // The newest value is shown a little after its sample has come to the charts.
      if (oldest !== undefined && this.charts.newest !== null) {
        this.charts.setRange(oldest, this.charts.newest);
      }
    } catch (error) {
      if (!this.abort.signal.aborted) {
        this.options.notify("bad", `The oldest sample was not found. ${error.message}`);
      }
    }
  }

  async readOldest(from) {
    const { times } = await this.readSamples({ from, limit: 1,
      entries: this.numbers[0]?.name ?? null });
    return times[0];
  }

  toggle() {
    if (this.charts.isFollowing) {
      this.charts.setRange(...this.charts.range);
    } else {
      this.charts.setFollowing();
    }
  }

  describeRange() {
    const { isFollowing, span, range } = this.charts;
    setText(this.follow, isFollowing ? "Pause" : "Go live");
    this.follow.classList.toggle("primary", !isFollowing);
    const known = ranges.some(([length]) => length === span);
    this.range.value = isFollowing && known ? String(span) : "0";
    setText(this.rangeText, isFollowing ? `newest ${formatSpan(span / 1e6)}, ${zoneName()}` :
      `${formatTime(Math.round(range[0]))} to ${formatTime(Math.round(range[1]))}, ${zoneName()}`);
    this.showDownload();
  }

  // The CSV has the range that is shown; a range that follows has no end.
  showDownload() {
    const [since, until] = this.charts.range.map(Math.round);
    const { isFollowing } = this.charts;
    this.download.href = `samples.csv?${toQuery({ path: this.path, since,
      until: isFollowing ? null : until, rule: this.rule ?? null })}`;
  }

  // After a change of the theme or the zone.
  redraw() {
    this.charts?.redraw();
    this.matches?.refreshTimes();
    this.values?.showTime();
    if (this.charts) {
      this.describeRange();
    }
  }
}
