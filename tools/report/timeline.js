// Draws the timeline from the page's data: panels with curves above each other, one axis of time, and lanes of marks.
"use strict";

const timeline = (() => {
const data = JSON.parse(document.getElementById("data").textContent);
const traces = data.traces;
const comparing = traces.length > 1;
const HOUR_MS = 3600000;
const begin = data.begin;
const end = Math.max(begin + 1, ...traces.map((trace) => trace.end));
const length = end - begin;
const box = document.getElementById("chart");
const lanes = data.lanes.filter((lane) => traces.some((trace) => trace.marks.some((mark) => mark.lane === lane.key)));
const symbols = { run: "diamond", start: "triangle", burst: "pin", restore: "arrow", clip: "rect", hold: "roundRect",
                  idle: "roundRect", slider: "diamond", workload: "circle", standby: "rect", failure: "triangle",
                  other: "circle", on: "roundRect", detail: "circle" };
const chart = echarts.init(box, null, { renderer: "canvas" });
let shown = [begin, end];
let panels = [];

const color = (name) => getComputedStyle(document.documentElement).getPropertyValue("--" + name).trim();
const label = (index) => (comparing ? "AB"[index] + " " : "");

// Of a log, the time of day; of a trace, the time since its beginning.
function clock(ms, digits = 1) {
  if (data.calendar) return wallClock(ms);
  const scale = 10 ** digits, tenths = Math.round(ms * scale / 1000), seconds = tenths / scale;
  const hours = Math.floor(seconds / 3600), minutes = Math.floor(seconds / 60) % 60;
  const rest = (seconds % 60).toFixed(digits).padStart(digits ? digits + 3 : 2, "0");
  return (end >= HOUR_MS ? hours + ":" + String(minutes).padStart(2, "0") : minutes) + ":" + rest;
}

// Times of a log are told as if they were UTC.
function wallClock(ms) {
  const time = new Date(ms);
  const day = time.toLocaleDateString("en-GB", { timeZone: "UTC", day: "numeric", month: "short" });
  return (data.severalDays ? day + " " : "") + time.toISOString().slice(11, 19);
}

// --- what is drawn --------------------------------------------------------------------------------------------------

// name, how to find its points, unit, colour, and how it looks
const power = [
  ["power, samples", (trace) => trace.power, "W", "power", { width: 1 }],
  ["power, mean of step", (trace) => trace.stepPower, "W", "mean", { width: 2 }],
  ["tracker's average + 10%, where told", (trace) => trace.tracker, "W", "tracker", { points: true }],
];
const ceiling = [
  ["ceiling", (trace) => trace.ceiling, "", "ceiling", { width: 2, area: 0.1 }],
  ["tier's target", (trace) => trace.target, "", "target", { width: 1.3, type: "dashed" }],
];
const limit = [
  ["PL1", (trace) => trace.pl1, "W", "pl1", { width: 2 }],
  ["power, every 100 ms", (trace) => trace.processor.power_mw, "W", "power", { width: 1, area: 0.15 }],
  ["average that PL1 acts on", (trace) => trace.processor.average_mw, "W", "average", { width: 2 }],
];
const work = { width: 1.5, area: 0.2 };
const demand = [["unfinished work", (trace) => trace.processor.demand_core_ms, "core s", "first", work]];
const served = [["work done", (trace) => trace.processor.served_core_ms, "cores", "restore", work]];
const clockRate = [["clock", (trace) => trace.processor.clock_permille, "%", "tracker", { width: 1.6, area: 0.1 }]];

const known = (curves) => curves.filter(([, points]) => traces.some((trace) => (points(trace) || []).length));

function allPanels() {
  const simulated = known([...demand, ...served, ...clockRate]).length > 0;
  return [
    { key: "power", title: "Power, W", curves: known(power), height: 210 },
    { key: "ceiling", title: "Ceiling, preference 0 to 10000", curves: known(ceiling), height: 180, top: 10500,
      step: 2500 },
    { key: "lanes", title: "Marks", curves: [], height: Math.max(1, lanes.length) * 24 + 8 },
    { key: "limit", title: simulated ? "PL1 and the power that it acts on, W" : "PL1, W", curves: known(limit),
      height: simulated ? 150 : 80 },
    { key: "demand", title: "Unfinished work, core seconds", curves: known(demand), height: 90 },
    { key: "served", title: "Work done, cores at full clock", curves: known(served), height: 90 },
    { key: "clock", title: "Clock, % of full", curves: known(clockRate), height: 90, top: 100, step: 50 },
  ].filter((panel) => panel.key === "lanes" ? lanes.length : panel.curves.length);
}

// Round tops of an axis and the steps that divide them, in units of a power of ten.
const tops = [[1, 0.5], [1.2, 0.4], [1.5, 0.5], [2, 1], [3, 1], [4, 2], [6, 2], [8, 2], [10, 5], [12, 4]];

// The lowest round top that all of the panel's curves stay below, and its step.
function scaleOf(panel) {
  let highest = 0;
  for (const [, points] of panel.curves) {
    for (const trace of traces) for (const point of points(trace) || []) highest = Math.max(highest, point[1] || 0);
  }
  const unit = 10 ** Math.floor(Math.log10(highest || 1));
  const [top, step] = tops.find(([multiple]) => multiple * unit >= highest * 1.02);
  const finer = panel.height > 150 && top <= 2 * step ? 2 : 1;
  return { top: top * unit, step: step * unit / finer };
}

function layOut() {
  const narrow = box.clientWidth < 640;
  const place = { narrow, left: narrow ? 88 : 116, right: narrow ? 40 : 58, font: narrow ? 10 : 12 };
  panels = allPanels();
  let y = panels.some((panel) => panel.curves.length) ? 58 : 32;  // room for the curves' names
  panels.forEach((panel, index) => {
    panel.index = index;
    panel.y = y;
    if (!panel.top) Object.assign(panel, scaleOf(panel));
    y += panel.height + 38;
  });
  place.slider = y + 4;
  place.height = y + 56;
  return place;
}

// A quantity that the trace tells only now and then.
function pointSeries(panel, name, points, own, index) {
  return { name: label(index) + name, type: "scatter", symbol: "diamond", symbolSize: 6, silent: true, animation: false,
           xAxisIndex: panel.index, yAxisIndex: panel.index, data: points, z: 5,
           itemStyle: { color: color("paper"), borderColor: own, borderWidth: 1.4 } };
}

function curveSeries(panel, [name, points, unit, hue, look], index) {
  const own = color(comparing ? ["first", "second"][index] : hue);
  const second = index === 1;
  if (look.points) return pointSeries(panel, name, points(traces[index]), own, index);
  return {
    name: label(index) + name, type: "line", step: "end", showSymbol: false, symbol: "none", xAxisIndex: panel.index,
    yAxisIndex: panel.index, data: points(traces[index]) || [], animation: false, connectNulls: false, silent: true,
    lineStyle: { width: look.width, color: own, type: look.type || (second ? [7, 4] : "solid"),
                 opacity: comparing && look.width < 1.5 ? 0.45 : 1 },
    itemStyle: { color: own }, areaStyle: look.area && !second ? { color: own, opacity: look.area } : undefined,
    z: look.width > 1 ? 4 : 3,
  };
}

// The tiers' bands behind the power, each with the ceiling that it aims at where there is room for the number.
function tierBands(panel, place) {
  const shade = color("band");
  return data.tiers.filter(([from]) => from < panel.top).map(([from, target], index, all) => {
    const to = index + 1 < all.length ? all[index + 1][0] : panel.top;
    const room = (to - from) / panel.top * panel.height >= place.font;
    return [{ yAxis: from, itemStyle: { color: `rgba(${shade}, ${0.02 + 0.022 * index})` },
              label: { show: room, formatter: "\u2192 " + target, position: "right", color: color("soft"),
                       fontSize: place.font - 1 } }, { yAxis: to }];
  });
}

function bandSeries(panel, place) {
  return { name: "tiers", type: "line", data: [], xAxisIndex: panel.index, yAxisIndex: panel.index, silent: true, z: 0,
           markArea: { silent: true, data: tierBands(panel, place) } };
}

// A dot for each write of the ceiling.
function writeSeries(panel, index) {
  const writes = traces[index].decisions.filter((decision) => decision[4]);
  const own = color(comparing ? ["first", "second"][index] : "ceiling");
  return {
    name: label(index) + "writes", type: "scatter", xAxisIndex: panel.index, yAxisIndex: panel.index, animation: false,
    symbolSize: writes.length * 8 > box.clientWidth ? 2.5 : 5, z: 6, silent: true,
    data: writes.map(([time, value]) => [time, value]),
    itemStyle: index ? { color: color("paper"), borderColor: own, borderWidth: 1.4 } : { color: own },
  };
}

function firstDifferenceLine(panel) {
  if (data.firstDifference === null) return undefined;
  return { symbol: "none", silent: true, animation: false, data: [{ xAxis: data.firstDifference }],
           lineStyle: { color: color("ink"), type: "solid", width: 1.2 },
           label: { show: panel.index === 0, formatter: "first difference", color: color("ink"), position: "end" } };
}

const laneRow = (key, index) => lanes.findIndex((lane) => lane.key === key) + (comparing ? (index ? 0.22 : -0.22) : 0);
const lasts = (mark) => mark.end !== undefined && mark.end > mark.time;

function markSeries(panel, lane, index) {
  const own = color(lane.key);
  const marks = traces[index].marks.filter((mark) => mark.lane === lane.key && !lasts(mark));
  return {
    name: label(index) + lane.label, type: "scatter", xAxisIndex: panel.index, yAxisIndex: panel.index, z: 5,
    animation: false, symbol: symbols[lane.key] || "circle", symbolSize: comparing ? 8 : 11, silent: true,
    data: marks.map((mark) => [mark.time, laneRow(lane.key, index)]),
    itemStyle: index ? { color: color("paper"), borderColor: own, borderWidth: 1.5 } : { color: own, opacity: 0.9 },
  };
}

// Marks that last are bars.
function spanSeries(panel, lane, index) {
  const own = color(lane.key);
  const marks = traces[index].marks.filter((mark) => mark.lane === lane.key && lasts(mark));
  const height = comparing ? 8 : 12;
  return {
    name: label(index) + lane.label + " (time)", type: "custom", xAxisIndex: panel.index, yAxisIndex: panel.index, z: 4,
    animation: false, silent: true, clip: true, encode: { x: [0, 1], y: 2 },
    data: marks.map((mark) => [mark.time, mark.end, laneRow(lane.key, index)]),
    renderItem: (_, api) => {
      const from = api.coord([api.value(0), api.value(2)]), to = api.coord([api.value(1), api.value(2)]);
      const shape = { x: from[0], y: from[1] - height / 2, width: Math.max(4, to[0] - from[0]), height, r: 3 };
      const style = index ? { fill: color("paper"), stroke: own, lineWidth: 1.5 } : { fill: own, opacity: 0.75 };
      return { type: "rect", shape, style };
    },
  };
}

function seriesOf(panel, place) {
  const made = [];
  if (panel.key === "power") made.push(bandSeries(panel, place));
  traces.forEach((_, index) => {
    for (const curve of panel.curves) made.push(curveSeries(panel, curve, index));
    if (panel.key === "ceiling") made.push(writeSeries(panel, index));
    if (panel.key !== "lanes") return;
    for (const lane of lanes) made.push(spanSeries(panel, lane, index), markSeries(panel, lane, index));
  });
  const marked = made.find((series) => series.type === "line" && series.name !== "tiers") || made[0];
  marked.markLine = firstDifferenceLine(panel);
  return made;
}

// --- axes and the whole ---------------------------------------------------------------------------------------------

const timeUnit = () => (data.calendar ? "" : end >= HOUR_MS ? "h:min:s" : "min:s");

function xAxisOf(panel, place) {
  const last = panel.index === panels.length - 1;
  return {
    type: "time", gridIndex: panel.index, min: begin, max: end, axisLine: { lineStyle: { color: color("line") } },
    axisTick: { show: last }, splitLine: { show: true, lineStyle: { color: color("grid") } },
    name: last ? timeUnit() : "", nameLocation: "end", nameGap: 6,
    nameTextStyle: { color: color("soft"), fontSize: place.font - 1, verticalAlign: "top", padding: [8, 0, 0, 0] },
    axisLabel: { show: last, color: color("soft"), fontSize: place.font, hideOverlap: true,
                 formatter: (value) => clock(value, value % 1000 ? 1 : 0) },
    axisPointer: { show: true, snap: false, label: { show: last, formatter: ({ value }) => clock(value),
                                        backgroundColor: color("ink"), color: color("paper") } },
  };
}

function yAxisOf(panel, place) {
  const common = { type: "value", gridIndex: panel.index, axisPointer: { show: false },
                   axisLabel: { color: color("soft"), fontSize: place.font } };
  if (panel.key === "lanes") {
    return { ...common, min: -1, max: lanes.length, interval: 1, inverse: true, axisTick: { show: false },
             splitLine: { lineStyle: { color: color("grid") } },
             axisLabel: { ...common.axisLabel, formatter: (row) => (lanes[row] ? lanes[row].label : "") } };
  }
  return { ...common, min: 0, max: panel.top, interval: panel.step,
           axisLabel: { ...common.axisLabel, formatter: (value) => String(Number(value.toFixed(6))) },
           splitLine: { lineStyle: { color: color("grid") } } };
}

function titleOf(panel, place) {
  return { text: panel.title, left: place.narrow ? 0 : place.left - 4, top: panel.y - 24,
           textStyle: { color: color("ink"), fontSize: place.font + 1, fontWeight: 600 } };
}

function tierTitle(place) {
  return { text: place.narrow ? "aims at" : "tier aims at", right: 2, top: panels[0].y - 22,
           textStyle: { color: color("soft"), fontSize: place.font - 1, fontWeight: 400 } };
}

// In the legend a curve is a line without a symbol.
function legendEntries() {
  return panels.flatMap((panel) => traces.flatMap((_, index) => panel.curves.map(([name, , , , look]) =>
    ({ name: label(index) + name, itemStyle: { opacity: look.points ? 1 : 0 } }))));
}

function optionOf(place, tip) {
  const everyAxis = panels.map((panel) => panel.index);
  const zooms = { xAxisIndex: everyAxis, filterMode: "none", startValue: shown[0], endValue: shown[1],
                  minValueSpan: Math.min(length, 1000) };
  return {
    useUTC: true, animation: false, backgroundColor: "transparent", aria: { enabled: true },
    textStyle: { fontFamily: getComputedStyle(document.body).fontFamily },
    title: panels.map((panel) => titleOf(panel, place)).concat(data.tiers.length ? tierTitle(place) : []),
    legend: { type: "scroll", top: 0, left: place.narrow ? 0 : place.left - 10, right: 10, itemWidth: 22, itemHeight: 9,
              textStyle: { color: color("ink"), fontSize: place.font },
              pageTextStyle: { color: color("soft") }, pageIconColor: color("soft"), inactiveColor: color("line"),
              data: legendEntries() },
    grid: panels.map((panel) => ({ left: place.left, right: place.right, top: panel.y, height: panel.height })),
    xAxis: panels.map((panel) => xAxisOf(panel, place)),
    yAxis: panels.map((panel) => yAxisOf(panel, place)),
    axisPointer: { link: [{ xAxisIndex: "all" }], lineStyle: { color: color("soft"), type: "solid" } },
    tooltip: { trigger: "axis", confine: true, transitionDuration: 0, backgroundColor: color("paper"),
               borderColor: color("line"), textStyle: { color: color("ink") }, extraCssText: "white-space: normal;",
               formatter: tip },
    dataZoom: [
      { type: "inside", zoomOnMouseWheel: "ctrl", moveOnMouseWheel: false, moveOnMouseMove: true,
        preventDefaultMouseMove: false, ...zooms },
      { type: "slider", top: place.slider, height: 24, left: place.left, right: place.right, showDataShadow: false,
        brushSelect: true, borderColor: color("line"), fillerColor: `rgba(${color("band")}, 0.15)`, ...zooms,
        labelFormatter: (value) => clock(value, 0), textStyle: { color: color("soft"), fontSize: place.font - 1 } },
    ],
    series: panels.flatMap((panel) => seriesOf(panel, place)),
  };
}

// The library leaves out segments below two pixels. Of a step curve that would make slopes where a value holds.
function keepSmallSteps() {
  for (const shape of chart.getZr().storage.getDisplayList(true)) {
    if (!/^ec-poly(line|gon)$/.test(shape.type)) continue;
    shape.segmentIgnoreThreshold = 0.01;
    shape.dirtyShape();
  }
}

function draw(tip) {
  const place = layOut();
  box.style.height = place.height + "px";
  chart.resize();
  chart.setOption(optionOf(place, tip), { notMerge: true });
  keepSmallSteps();
}

chart.on("datazoom", () => {
  const zoomed = chart.getOption().dataZoom[0];
  shown = [zoomed.startValue, zoomed.endValue];
});

// `tip` makes what stands beside the pointer.
return { data, traces, comparing, begin, end, box, chart, lanes, color, clock, label, draw, panels: () => panels,
         shown: () => shown };
})();
