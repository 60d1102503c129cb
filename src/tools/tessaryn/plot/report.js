// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Draws the charts of `report`: times are milliseconds after `report.begin`, which is what
// the clocks of the zone show, as if it were UTC.
const charts = [];
let following = false;

const when = (ms) => new Date(ms).toISOString().replace("T", " ").replace(/(\.000)?Z$/, "");

// The chart library interprets titles and values as markup.
const escape = (text) => text.replace(/[&<>"]/g, (c) => `&#${c.charCodeAt(0)};`);

// Shades the events of a stream behind its charts.
const shade = (events) => (canvas, area, graph) => {
  canvas.fillStyle = "rgba(224, 123, 57, 0.35)";
  for (const event of events) {
    const left = graph.toDomXCoord(report.begin + event.begin);
    const right = graph.toDomXCoord(report.begin + event.end);
    canvas.fillRect(left, area.y, Math.max(right - left, 1), area.h);
  }
};

// All charts show the same times.
const follow = (graph, isInitial) => {
  if (isInitial || following) return;
  following = true;
  for (const other of charts) {
    if (other !== graph) other.updateOptions({ dateWindow: graph.xAxisRange() });
  }
  following = false;
};

const addChoice = (chart, box, graph) => {
  const choice = document.createElement("label");
  const check = document.createElement("input");
  check.type = "checkbox";
  check.checked = true;
  check.onchange = () => {
    box.hidden = !check.checked;
    graph.resize();
  };
  choice.append(check, " " + chart.title);
  document.getElementById("choices").append(choice);
};

for (const chart of report.charts) {
  const box = document.createElement("div");
  box.className = "chart";
  document.getElementById("charts").append(box);
  const rows = chart.points.map(([time, value]) => [new Date(report.begin + time), value]);
  const graph = new Dygraph(box, rows, {
    title: escape(chart.title),
    labels: ["time", escape(chart.entry)],
    labelsUTC: true,
    legend: "always",
    dateWindow: [report.begin, report.begin + report.length],
    axes: {
      x: { valueFormatter: when },
      y: { valueFormatter: (value) => value + escape(chart.unit), axisLabelWidth: 70 },
    },
    underlayCallback: shade(report.events.filter((event) => event.stream === chart.stream)),
    drawCallback: follow,
  });
  charts.push(graph);
  addChoice(chart, box, graph);
}

for (const event of report.events) {
  const item = document.createElement("li");
  const [begin, end] = [event.begin, event.end].map((time) => when(report.begin + time));
  item.textContent = `${event.stream} ${event.label}: ${begin} to ${end}`;
  document.getElementById("events").append(item);
}
