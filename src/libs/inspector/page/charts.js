// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Charts of the numeric entries of a stream, one below the other over the same times. Each shows
// the minimum and the maximum of as many intervals as it is wide, so that no peak is lost; samples
// that come are appended until the range is read again.
//
// The chart library takes labels and titles for markup. It is given none but numbers and times.

import { debounce, make, setText } from "./elements.js";
import { get } from "./server.js";
import { formatNumber, formatTick, formatTime, showsUtc, showUnseen } from "./text.js";

const drawPeriod = 150;
const maxAppended = 2000;

const toNumber = (value) => {
  if (value === null || value === undefined) {
    return NaN;
  }
  return Number(value);
};

// Minimum and maximum of each interval as one line, which goes to the nearer of the two first.
const toRows = ({ times, min, max }) => {
  const rows = [];
  let last = 0;
  times.forEach((time, index) => {
    const [low, high] = [toNumber(min[index]), toNumber(max[index])];
    const ends = Math.abs(low - last) <= Math.abs(high - last) ? [low, high] : [high, low];
    rows.push([time / 1000, ends[0]]);
    if (low !== high && !Number.isNaN(low)) {
      rows.push([time / 1000, ends[1]]);
    }
    last = Number.isNaN(ends[1]) ? last : ends[1];
  });
  return rows;
};

// The chart library's own scripts set style attributes for its legend, which the page's policy
// forbids, and read its titles as markup. Neither is used.
const leaveOutLegend = () => {
  const unwanted = [Dygraph.Plugins.Legend, Dygraph.Plugins.ChartLabels];
  Dygraph.PLUGINS = Dygraph.PLUGINS.filter((plugin) => !unwanted.includes(plugin));
};

// The page's colours, which follow its theme.
const readColours = () => {
  const style = getComputedStyle(document.documentElement);
  const read = (name) => style.getPropertyValue(name).trim();
  return { line: read("--line"), grid: read("--grid"), match: read("--match"),
    shade: read("--match-shade") };
};

// Shades the times at which the rule held, with a bar on top that is seen without colours, too.
const drawMatches = (canvas, area, graph, matches, colours) => {
  for (const [begin, end] of matches) {
    const left = Math.max(graph.toDomXCoord(begin / 1000), area.x);
    const right = Math.min(Math.max(graph.toDomXCoord(end / 1000), left + 2), area.x + area.w);
    if (right > left) {
      canvas.fillStyle = colours.shade;
      canvas.fillRect(left, area.y, right - left, area.h);
      canvas.fillStyle = colours.match;
      canvas.fillRect(left, area.y, right - left, 4);
    }
  }
};

// One finger scrolls the page, and a tap shows a value; two fingers zoom.
const touchOnly = (name) => (event, graph, context) => {
  if (event.touches.length > 1 || context.initialTouches?.length > 1) {
    Dygraph.defaultInteractionModel[name](event, graph, context);
  }
};

class Chart {
  constructor(owner, entry) {
    this.owner = owner;
    this.entry = entry;
    this.rows = [];
    this.selected = null;
    this.value = make("output", { className: "value" });
    this.plot = make("div", { className: "plot" });
    const unit = entry.unit ? make("span", { className: "unit" }, entry.unit) : null;
    const name = showUnseen(entry.name);
    const head = make("figcaption", {}, make("span", { className: "name", title: name }, name),
      unit, this.value);
    this.empty = make("p", { className: "noData", hidden: true }, "No numbers in this range");
    this.box = make("figure", { className: "chart" }, head, this.plot, this.empty);
    this.box.setAttribute("aria-label", `Chart of ${name}`);
  }

  draw() {
    const options = { file: this.getFile(), dateWindow: this.owner.getDateWindow() };
    this.empty.hidden = this.rows.some(([, value]) => !Number.isNaN(value));
    if (this.graph === undefined) {
      this.graph = new Dygraph(this.plot, options.file, { ...this.getOptions(), ...options });
    } else {
      this.graph.updateOptions(options);
    }
  }

  // The library draws no chart without a row.
  getFile() {
    const [begin, end] = this.owner.getDateWindow();
    return this.rows.length === 0 ? [[begin, NaN], [end, NaN]] : this.rows;
  }

  getOptions() {
    const isBool = this.entry.type === "Bool";
    const model = Dygraph.defaultInteractionModel;
    return {
      labels: ["time", "value"], stepPlot: isBool, valueRange: isBool ? [-0.1, 1.1] : null,
      strokeWidth: 1.5, highlightCircleSize: 4, axisLabelFontSize: 12, rightGap: 8, yRangePad: 6,
      interactionModel: {
        ...model, touchstart: touchOnly("touchstart"), touchmove: touchOnly("touchmove"),
        touchend: touchOnly("touchend"), dblclick: () => this.owner.setFollowing(),
      },
      axes: {
        x: {
          ticker: Dygraph.dateTicker, drawGrid: true, axisLabelWidth: 64,
          axisLabelFormatter: (time, granularity, options, graph) =>
            Dygraph.dateAxisLabelFormatter(new Date(time), granularity, options, graph),
          valueFormatter: (time) => formatTime(time * 1000),
        },
        y: {
          axisLabelWidth: 64, valueFormatter: formatNumber,
          axisLabelFormatter: formatTick,
        },
      },
      underlayCallback: (canvas, area, graph) =>
        drawMatches(canvas, area, graph, this.owner.matches, this.owner.colours),
      drawCallback: (graph) => this.owner.onDraw(graph),
      highlightCallback: (event, time) => this.owner.select(time),
      unhighlightCallback: () => this.owner.select(null),
      ...this.getLook(),
    };
  }

  getLook() {
    const { line, grid } = this.owner.colours;
    return { colors: [line], gridLineColor: grid, axisLineColor: grid, gridLineWidth: 1,
      axisLineWidth: 1, labelsUTC: showsUtc() };
  }

  // The row whose time is nearest.
  findRow(time) {
    let [low, high] = [0, this.rows.length];
    while (low < high) {
      const middle = (low + high) >> 1;
      if (this.rows[middle][0] < time) {
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    const isBefore = low > 0 &&
      (low === this.rows.length || time - this.rows[low - 1][0] < this.rows[low][0] - time);
    return this.rows[isBefore ? low - 1 : low];
  }

  // Shows the value at a time that is pointed at, else the newest one.
  describe(time) {
    const row = time === null ? this.rows[this.rows.length - 1] : this.findRow(time);
    if (row === undefined) {
      setText(this.value, "");
      return;
    }
    const number = Number.isNaN(row[1]) ? "no number" : formatNumber(row[1]);
    setText(this.value, time === null ? number : `${number} at ${formatTime(row[0] * 1000)}`);
  }
}

export class Charts {
  // Options: path, stateChanged() when the range or following changes, failed(error), and
  // incomplete() when a range was read in part.
  constructor(box, options) {
    this.box = box;
    this.options = options;
    this.charts = [];
    this.matches = [];
    this.rule = null;
    this.range = [0, 1];
    this.span = 60e6;
    this.isFollowing = true;
    this.isDrawing = false;
    this.appended = 0;
    this.newest = null;
    this.turn = 0;
    this.colours = readColours();
    this.loadSoon = debounce(200, () => this.load());
    this.resizeSoon = debounce(100, () => this.onResize());
    this.observer = new ResizeObserver(this.resizeSoon);
    this.observer.observe(box);
    if (Dygraph.PLUGINS.includes(Dygraph.Plugins.Legend)) {
      leaveOutLegend();
    }
  }

  // Leaves no chart that a late answer or event could draw.
  close() {
    clearTimeout(this.drawTimer);
    this.loadSoon.cancel();
    this.resizeSoon.cancel();
    this.observer.disconnect();
    ++this.turn;
    for (const { graph } of this.charts) {
      graph?.destroy();
    }
    this.charts = [];
  }

  // Without a sample the charts end at the present; the first one may be of any time.
  begin(newest, present) {
    this.newest = newest;
    this.range = [present - this.span, present];
  }

  // There is a sample of this time, which has not come here.
  follow(time) {
    if (this.newest === null || time > this.newest) {
      this.newest = time;
      if (this.isFollowing) {
        this.range = [time - this.span, time];
        this.loadSoon();
      }
    }
  }

  setEntries(entries) {
    const kept = new Map(this.charts.map((chart) => [chart.entry.name, chart]));
    const names = new Set(entries.map(({ name }) => name));
    for (const [name, chart] of kept) {
      if (!names.has(name)) {
        chart.graph?.destroy();
      }
    }
    this.charts = entries.map((entry) => kept.get(entry.name) ?? new Chart(this, entry));
    this.box.replaceChildren(...this.charts.map((chart) => chart.box));
    return this.load();
  }

  getDateWindow() {
    return [this.range[0] / 1000, this.range[1] / 1000];
  }

  // Shows the newest `span` microseconds, and goes on with the samples.
  setFollowing(span = this.span) {
    this.span = span;
    this.isFollowing = true;
    const end = this.newest ?? this.range[1];
    this.range = [end - span, end];
    for (const { graph, entry } of this.charts) {
      graph?.updateOptions({ valueRange: entry.type === "Bool" ? [-0.1, 1.1] : null }, true);
    }
    this.options.stateChanged();
    return this.load();
  }

  // Shows a range that stays.
  setRange(begin, end) {
    this.isFollowing = false;
    this.range = [begin, Math.max(end, begin + 2000)];
    this.options.stateChanged();
    this.drawSoon();
    this.loadSoon();
  }

  zoom(factor) {
    const [begin, end] = this.range;
    if (this.isFollowing) {
      this.setFollowing(Math.max((end - begin) * factor, 2000));
    } else {
      const [middle, half] = [(begin + end) / 2, ((end - begin) * factor) / 2];
      this.setRange(middle - half, middle + half);
    }
  }

  move(share) {
    const [begin, end] = this.range;
    const step = (end - begin) * share;
    this.setRange(begin + step, end + step);
  }

  setRule(rule) {
    this.rule = rule;
    this.matches = [];
    return this.load();
  }

  // Reads the range; samples that come meanwhile are kept.
  async load() {
    const turn = ++this.turn;
    if (this.charts.length === 0) {
      return;
    }
    this.loadSoon.cancel();
    const [since, until] = this.range.map(Math.round);
    const points = Math.max(Math.min(this.box.clientWidth, 1500), 200);
    const entries = this.charts.map(({ entry }) => entry.name).join(",");
    this.waiting = [];
    try {
      const answer = await get("chart", { path: this.options.path, entries, since, until, points,
        rule: this.rule });
      if (turn === this.turn) {
        this.show(answer);
      }
    } catch (error) {
      if (turn === this.turn) {
        this.options.failed(error);
      }
    } finally {
      if (turn === this.turn) {
        this.waiting = null;
      }
    }
  }

  show(answer) {
    for (const chart of this.charts) {
      chart.rows = toRows(answer.entries[chart.entry.name] ?? { times: [], min: [], max: [] });
    }
    this.matches = answer.matches ?? [];
    if (answer.complete === false) {
      this.options.incomplete();
    }
    this.appended = 0;
    const waiting = this.waiting;
    this.waiting = null;
    waiting.forEach((action) => action());
    this.draw();
  }

  // What comes while the range is read is shown after it.
  whenRead(action) {
    if (this.waiting) {
      this.waiting.push(action);
    } else {
      action();
    }
  }

  // Takes a sample that has come.
  add(time, values) {
    this.newest = Math.max(this.newest ?? time, time);
    this.whenRead(() => this.append(time, values));
    if (this.isFollowing && ++this.appended > maxAppended) {
      this.appended = 0;
      this.loadSoon();
    }
    this.drawSoon();
  }

  // A paused chart goes no further than its range; late samples wait for the next reading.
  append(time, values) {
    [this.before, this.latest] = [this.latest, time];
    if (this.isFollowing) {
      this.range = [this.newest - this.span, this.newest];
    } else if (time > this.range[1]) {
      return;
    }
    for (const { entry, rows } of this.charts) {
      const last = rows[rows.length - 1];
      if (Object.hasOwn(values, entry.name) && (last === undefined || time / 1000 > last[0])) {
        rows.push([time / 1000, toNumber(values[entry.name])]);
      }
    }
  }

  // The rule holds for a sample that has come. Spans of samples without another one between them
  // are one.
  addMatch(time) {
    this.whenRead(() => {
      const last = this.matches[this.matches.length - 1];
      const before = this.latest === time ? this.before : this.latest;
      if (last === undefined || last[1] < before) {
        this.matches.push([time, time]);
      } else {
        last[1] = Math.max(last[1], time);
      }
    });
    this.drawSoon();
  }

  drawSoon() {
    this.drawTimer ??= setTimeout(() => this.draw(), drawPeriod);
  }

  draw() {
    clearTimeout(this.drawTimer);
    this.drawTimer = null;
    this.forgetOld();
    this.isDrawing = true;
    for (const chart of this.charts) {
      chart.draw();
      chart.describe(this.selected ?? null);
    }
    this.isDrawing = false;
  }

  // One row before the range stays, from which the line enters it.
  forgetOld() {
    if (!this.isFollowing) {
      return;
    }
    const begin = this.range[0] / 1000;
    for (const chart of this.charts) {
      const first = chart.rows.findIndex(([time]) => time >= begin);
      if (first > 1) {
        chart.rows.splice(0, first - 1);
      }
    }
    this.matches = this.matches.filter(([, end]) => end >= this.range[0]);
  }

  redraw() {
    this.colours = readColours();
    this.isDrawing = true;
    for (const chart of this.charts) {
      chart.graph?.updateOptions(chart.getLook());
    }
    this.isDrawing = false;
  }

  onResize() {
    this.isDrawing = true;
    for (const { graph } of this.charts) {
      graph?.resize();
    }
    this.isDrawing = false;
  }

  // Somebody zoomed or moved one chart: the others go along.
  onDraw(graph) {
    const [begin, end] = graph.xAxisRange();
    const [shownBegin, shownEnd] = this.getDateWindow();
    if (this.isDrawing || (Math.abs(begin - shownBegin) < 0.5 && Math.abs(end - shownEnd) < 0.5)) {
      return;
    }
    this.setRange(begin * 1000, end * 1000);
  }

  // All charts show what they have at the time that one is pointed at.
  select(time) {
    this.selected = time;
    this.isDrawing = true;
    for (const chart of this.charts) {
      chart.describe(time);
    }
    this.isDrawing = false;
  }
}
