// What the reader does with the timeline: hovering, zooming, the list of marks. Texts from the trace reach the page as
// text nodes only.
"use strict";

(() => {
const { data, traces, comparing, begin, end, box, chart, lanes, color, clock, label } = timeline;
const MARK_REACH_PX = 7;
let pointer = { x: 0, y: 0 };

const clamp = (value, low, high) => Math.min(high, Math.max(low, value));
const textOf = (index, number) => traces[index].texts[number];

// The last of the records, ascending by their time, that is not later than `time`.
function lastAt(records, time) {
  let low = 0, high = records.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (records[middle][0] <= time) low = middle + 1; else high = middle;
  }
  return records[low - 1];
}

// --- hovering -------------------------------------------------------------------------------------------------------

function make(name, text = "", className = "") {
  const made = document.createElement(name);
  made.textContent = text;
  made.className = className;
  return made;
}

const times = (count) => (count > 1 ? `, ${count} times` : "");

function message(title, text, time, count) {
  const part = make("div", "", "message");
  part.append(make("p", title));
  const when = clock(time) + times(count);
  part.append(make("div", when, "soft"));
  if (text) part.append(make("code", text));
  return part;
}

const panelUnder = (y) => timeline.panels().find((panel) => y >= panel.y && y <= panel.y + panel.height);

function marksNear(index, time, reach, lane) {
  return traces[index].marks.filter((mark) => (!lane || mark.lane === lane.key) && time >= mark.time - reach &&
                                              time <= (mark.end ?? mark.time) + reach);
}

function markMessages(index, marks) {
  const parts = marks.slice(0, 5).flatMap((mark) => mark.texts.slice(0, 6).map(([title, text]) =>
    message(label(index) + textOf(index, title), textOf(index, text), mark.time, mark.count)));
  if (marks.length > 5) parts.push(make("p", `and ${marks.length - 5} more here: zoom in`, "soft"));
  return parts;
}

function valuesTable(time) {
  const table = make("table");
  for (const panel of timeline.panels()) {
    for (const [name, points, unit, hue] of panel.curves) {
      const row = table.insertRow();
      const swatch = make("i");
      swatch.style.background = color(hue);
      const head = row.insertCell();
      if (!comparing) head.append(swatch);
      head.append(name);
      traces.forEach((trace, index) => {
        const point = lastAt(points(trace) || [], time);
        const value = !point || time > trace.end ? "" : point[1] === null ? "not read" : `${point[1]} ${unit}`;
        row.insertCell().textContent = label(index) + value;
      });
    }
  }
  return table;
}

// The latest decision and, when that wrote nothing, the one whose ceiling is in force.
function decisionMessages(index, time) {
  const trace = traces[index];
  if (time > trace.end) return [];
  const latest = lastAt(trace.decisions, time);
  if (!latest) return [];
  const show = (decision, what) => message(label(index) + what + textOf(index, decision[2]), textOf(index, decision[3]),
                                           decision[0]);
  if (latest[4]) return [show(latest, "")];
  const inForce = lastAt(trace.decisions.filter((decision) => decision[4]), time);
  return inForce ? [show(latest, ""), show(inForce, `Ceiling ${inForce[1]}: `)] : [show(latest, "")];
}

function limitMessages(index, time) {
  const latest = lastAt(traces[index].limits, time);
  return latest ? [message(label(index) + textOf(index, latest[2]), textOf(index, latest[3]), latest[0])] : [];
}

function tip() {
  const time = chart.convertFromPixel({ xAxisIndex: 0 }, pointer.x);
  const reach = chart.convertFromPixel({ xAxisIndex: 0 }, pointer.x + MARK_REACH_PX) - time;
  const panel = panelUnder(pointer.y);
  const part = make("div", "", "tip");
  part.append(make("h3", clock(clamp(time, begin, end))));
  if (panel && panel.key === "lanes") {
    const row = Math.round(chart.convertFromPixel({ yAxisIndex: panel.index }, pointer.y));
    const lane = lanes[clamp(row, 0, lanes.length - 1)];
    const found = traces.flatMap((_, index) => markMessages(index, marksNear(index, time, reach, lane)));
    if (found.length) {
      part.firstChild.textContent = lane.label;
      part.append(...found);
      return part;
    }
  }
  part.append(valuesTable(time));
  const messages = panel && panel.key === "limit" ? limitMessages : decisionMessages;
  traces.forEach((_, index) => part.append(...messages(index, time)));
  return part;
}

// Before the library's own listener, which makes the tip.
function followPointer(event) {
  const place = box.getBoundingClientRect();
  pointer = { x: event.clientX - place.left, y: event.clientY - place.top };
}
for (const type of ["pointermove", "pointerdown"]) box.addEventListener(type, followPointer, true);

// --- zooming --------------------------------------------------------------------------------------------------------

function show(from, to) {
  const width = clamp(to - from, Math.min(end - begin, 1000), end - begin);
  const start = clamp(from, begin, end - width);
  chart.dispatchAction({ type: "dataZoom", dataZoomIndex: 0, startValue: start, endValue: start + width });
}

function tellShown() {
  const [from, to] = timeline.shown();
  const whole = from <= begin && to >= end ? `, the whole ${data.what}` : "";
  document.getElementById("shown").textContent = `${clock(from)} to ${clock(to)}${whole}`;
}

function zoom(factor) {
  const [from, to] = timeline.shown();
  const middle = (from + to) / 2, half = (to - from) * factor / 2;
  show(middle - half, middle + half);
}

function move(share) {
  const [from, to] = timeline.shown();
  show(from + (to - from) * share, to + (to - from) * share);
}

const acts = { in: () => zoom(0.5), out: () => zoom(2), left: () => move(-0.25), right: () => move(0.25),
               reset: () => show(begin, end) };
const keys = { "+": "in", "=": "in", "-": "out", ArrowLeft: "left", ArrowRight: "right", 0: "reset", Home: "reset" };

chart.on("datazoom", tellShown);
for (const button of document.querySelectorAll("[data-act]")) {
  button.addEventListener("click", acts[button.dataset.act]);
}
box.addEventListener("keydown", (event) => {
  const act = keys[event.key];
  if (!act || event.ctrlKey || event.altKey || event.metaKey) return;
  event.preventDefault();
  acts[act]();
});

// --- the list of marks ----------------------------------------------------------------------------------------------

function markRow(table, index, mark) {
  const row = table.insertRow();
  const time = make("button", clock(mark.time));
  time.type = "button";
  time.title = "Show this moment";
  time.addEventListener("click", () => {
    show(mark.time - 15000, Math.max(mark.time, mark.end ?? 0) + 15000);
    box.scrollIntoView({ block: "center" });
  });
  row.insertCell().append(time);
  row.insertCell().textContent = data.lanes.find((lane) => lane.key === mark.lane).label;
  const what = row.insertCell();
  for (const [title, text] of mark.texts) {
    what.append(make("div", textOf(index, title) + times(mark.count)), make("code", textOf(index, text)));
  }
}

// Made when it is opened: a long trace has thousands.
function listMarks() {
  traces.forEach((trace, index) => {
    const details = make("details");
    details.append(make("summary", `${label(index)}All ${trace.marks.length} marks with their messages`));
    details.addEventListener("toggle", () => {
      if (!details.open || details.children.length > 1) return;
      const table = make("table");
      for (const mark of trace.marks) markRow(table, index, mark);
      const scroll = make("div", "", "scroll");
      scroll.append(table);
      details.append(scroll);
    });
    document.getElementById("marks").append(details);
  });
}

function redraw() {
  timeline.draw(tip);
  tellShown();
}

let width = 0;
new ResizeObserver(() => {
  if (box.clientWidth === width) return;
  width = box.clientWidth;
  redraw();
}).observe(box);
matchMedia("(prefers-color-scheme: dark)").addEventListener("change", redraw);
listMarks();
})();
