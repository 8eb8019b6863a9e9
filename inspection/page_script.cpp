#include "inspection/page_script.h"

namespace libmfx::inspection::page {

// The colours are report's. A class of a verdict colours words and marks alike.
const char* const kSheetStyle = R"(
.conforms { --tint: var(--good); --tint-box: var(--good-box); }
.fails { --tint: var(--bad); --tint-box: var(--bad-box); }
.open { --tint: var(--doubtful); --tint-box: var(--doubtful-box); }
.none { --tint: var(--soft); --tint-box: var(--box); }
.unasked { --tint: var(--plan); }
.sign { color: var(--tint); font-weight: bold; font-style: normal; }
.heard { position: absolute; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%);
  white-space: nowrap; }
a { color: inherit; text-decoration-color: var(--soft); unicode-bidi: isolate; }
h1, td, li { unicode-bidi: isolate; }
:focus-visible { outline: 3px solid var(--plan); outline-offset: 2px; }
.number-of-part { margin: 0; color: var(--soft); font-size: 1.1rem; }
.overall { border-color: var(--tint); background: var(--tint-box); }
.overall > b { display: block; font-size: 1.9rem; line-height: 1.2; color: var(--tint); }
.counts { list-style: none; display: flex; flex-wrap: wrap; gap: .3rem 1.4rem; margin: .6rem 0;
  padding: 0; }
.overall ul.counts { padding: 0; margin: .5rem 0 .2rem; }
.counts b { font-size: 1.25rem; }
.numbers > section > h2:first-child { margin-top: .5rem; }
.facts th { white-space: nowrap; }
table.asked { width: 100%; font-size: .88rem; }
.asked th, .references th, .stations th, .sizes th { min-width: 0; overflow-wrap: break-word; }
.asked th, .asked td { padding-right: .6rem; }
.asked small, .sizes small { display: block; color: var(--soft); font-size: .85em; }
.asked .number, .sizes .number, .references .number { text-align: right; white-space: nowrap; }
.asked .told { text-align: center; padding-right: 0; }
.asked .told .sign { font-size: 1.25rem; line-height: 1; }
.asked tr.fails td { background: var(--bad-box); }
.asked tr.open td { background: var(--doubtful-box); }
.asked tr.none td { color: var(--soft); }
svg.zone { display: block; width: 108px; height: 16px; margin-top: .15rem; }
svg.zone .within { fill: var(--faint); }
svg.zone .limit { stroke: var(--ink); stroke-width: 1.4; }
svg.zone .line { stroke: var(--rule); stroke-width: 1; }
svg.zone .sure { stroke: var(--tint); stroke-width: 3; opacity: .55; }
svg.zone .value { fill: var(--tint); }
.signature { display: flex; flex-wrap: wrap; gap: 0 2rem; margin-top: 1.6rem; break-inside: avoid; }
.signature p { flex: 1 1 12rem; margin: 2.2rem 0 0; padding-top: .2rem;
  border-top: 1px solid var(--ink); color: var(--soft); font-size: .85rem; }
.signature .wide { flex-grow: 2; }
.views { display: flex; flex-wrap: wrap; gap: 0 1rem; }
figure.view { flex: 1 1 280px; min-width: 0; }
.stage { border: 1px solid var(--rule); }
.stage[tabindex] { cursor: grab; touch-action: pan-y; user-select: none; }
.stage svg { display: block; width: 100%; height: auto; }
.turns:not([hidden]) { display: flex; gap: .25rem; margin: .35rem 0; }
.turns button { font: inherit; color: var(--ink); background: var(--box); min-width: 2.2rem;
  min-height: 2rem; border: 1px solid var(--rule); border-radius: 4px; cursor: pointer; }
.turns [data-turn=reset] { padding: 0 .7rem; margin-left: auto; }
svg.part text { font-size: 150px; }
svg.part .mark { fill: none; stroke-linecap: round; stroke-linejoin: round; }
svg.part .cloud { stroke: var(--faint-line); stroke-width: 14; opacity: .7; }
svg.part .outline { stroke: var(--plan); stroke-width: 13; }
svg.part .missing { stroke: var(--nominal); stroke-dasharray: 70 55; }
svg.part .arrow { stroke: var(--tint); stroke-width: 26; }
svg.part .cross { stroke: var(--tint); stroke-width: 24; }
svg.part .dot { fill: var(--tint); stroke: none; }
svg.part .name { fill: var(--tint); stroke: var(--page); stroke-width: 34; paint-order: stroke; }
svg.part .axis { stroke: var(--frame); stroke-width: 14; }
svg.part .letter { fill: var(--frame); text-anchor: middle; }
svg.part path.scale { fill: none; stroke: var(--text); stroke-width: 14; }
svg.part text.scale { font-size: 125px; }
.feature h2 { margin-top: 2.2rem; }
.feature ul { padding-left: 1.2rem; margin: .3rem 0; }
.doubted td { color: var(--soft); }
@media (max-width: 560px) {
  .asked thead { display: none; }
  .asked, .asked tbody, .asked tr, .asked td { display: block; }
  .asked tr { border-bottom: 1px solid var(--rule); padding: .4rem 0; overflow: hidden; }
  .asked td, .asked .number, .asked .told { border: 0; text-align: right; padding: .05rem .3rem;
    white-space: normal; }
  .asked td[data-name]::before { content: attr(data-name); float: left; color: var(--soft);
    padding-right: .6rem; }
  .asked td.who { text-align: left; font-weight: bold; font-size: 1.1em; }
  .asked td small { font-weight: normal; }
  svg.zone { margin-left: auto; }
  .facts th { white-space: normal; min-width: 0; width: 7.2em; }
  .sizes { font-size: .74rem; }
  svg.part text { font-size: 150px; }
}
@media print {
  @page { @bottom-right { content: counter(page) " / " counter(pages); font: 9px sans-serif; } }
  .turns:not([hidden]), .hint { display: none; }
  a { text-decoration: none; }
  thead { display: table-header-group; }
  table.asked { font-size: 9.5px; }
  .asked th, .asked td { padding-right: .45rem; }
  svg.zone { width: 92px; height: 13px; }
  .asked tr td, .overall, svg.zone { print-color-adjust: exact; }
  .part-pictures { break-before: page; }
  .first p, .first ul, .feature p { margin: .25rem 0; }
  .first .overall { margin: .4rem 0 .6rem; }
  .overall > b { font-size: 1.6rem; }
  .feature h2 { margin-top: 1.2rem; }
  .feature, figure.view { break-inside: avoid; }
  .feature.illustrated { break-before: page; break-inside: auto; }
  .views { gap: 0 .6rem; flex-wrap: nowrap; }
  figure.view { flex: 1 1 0; }
  .stage svg { max-height: none; }
  svg.part text { font-size: 150px; }
  .first .signature { margin-top: 0; }
  .first .signature p { margin-top: 15mm; }
}
)";

// The numbers are those of the pictures as they stand: the same places, rounded in the same way.
const char* const kPartScript = R"("use strict";
(() => {
  const data = JSON.parse(document.getElementById("part-data").textContent);
  const middle = 1800, dotRadius = 26, crossArm = 70, arrowHead = 100;
  const corner = 3220, axisLength = 200, letterAt = 290, shortestAxis = 0.3;
  const step = Math.PI / 18, perPixel = 0.01;
  const whole = (value) => Math.floor(value + 0.5);

  const spot = (r, at, i) => [
    whole(middle + r[0] * at[i] + r[1] * at[i + 1] + r[2] * at[i + 2]),
    whole(middle - (r[3] * at[i] + r[4] * at[i + 1] + r[5] * at[i + 2]))];
  const pair = (x, y) => x + " " + y;
  const circle = (c, r) => {
    const arc = "a" + pair(r, r) + " 0 1 0 ";
    return "M" + pair(c[0] - r, c[1]) + arc + 2 * r + " 0" + arc + -2 * r + " 0Z";
  };
  const cross = (c) =>
    "M" + pair(c[0] - crossArm, c[1] - crossArm) + "L" + pair(c[0] + crossArm, c[1] + crossArm) +
    "M" + pair(c[0] - crossArm, c[1] + crossArm) + "L" + pair(c[0] + crossArm, c[1] - crossArm);
  const arrow = (from, to) => {
    const shaft = "M" + pair(from[0], from[1]) + "L" + pair(to[0], to[1]);
    const dx = to[0] - from[0], dy = to[1] - from[1];
    const length = Math.sqrt(dx * dx + dy * dy);
    if (length < 1) return shaft;
    const head = Math.min(arrowHead, 0.5 * length) / length;
    const end = (side) => pair(whole(to[0] - head * (0.9 * dx - side * dy)),
                               whole(to[1] - head * (0.9 * dy + side * dx)));
    return shaft + "M" + end(0.45) + "L" + pair(to[0], to[1]) + "L" + end(-0.45);
  };
  const axisEnd = (r, at, length) => {
    const part = length / 1000;
    return [whole(corner + part * (r[0] * at[0] + r[1] * at[1] + r[2] * at[2])),
            whole(corner - part * (r[3] * at[0] + r[4] * at[1] + r[5] * at[2]))];
  };
  const line = (r, at, mark, ending) => {
    let path = "";
    for (let i = 0; i + 2 < at.length; i += 3) {
      const p = spot(r, at, i);
      path += (i ? mark : "M") + pair(p[0], p[1]) + (mark === "M" ? "h0" : "");
    }
    return path + ending;
  };
  const paths = {
    line: (r, at) => line(r, at, "L", ""),
    closed: (r, at) => line(r, at, "L", "Z"),
    cloud: (r, at) => line(r, at, "M", ""),
    ball: (r, at) => circle(spot(r, at, 0), at[3]),
    dot: (r, at) => circle(spot(r, at, 0), dotRadius),
    cross: (r, at) => cross(spot(r, at, 0)),
    arrow: (r, at) => arrow(spot(r, at, 0), spot(r, at, 3)),
    axis: (r, at) => {
      const end = axisEnd(r, at, axisLength);
      return "M" + pair(corner, corner) + "L" + pair(end[0], end[1]);
    }
  };
  const write = (element, x, y, isVisible) => {
    element.setAttribute("x", x);
    element.setAttribute("y", y);
    element.setAttribute("visibility", isVisible ? "visible" : "hidden");
  };
  const letter = (r, at, element) => {
    const end = axisEnd(r, at, letterAt);
    const dx = end[0] - corner, dy = end[1] - corner;
    const shortest = shortestAxis * letterAt;
    write(element, end[0], end[1] + 50, dx * dx + dy * dy >= shortest * shortest);
  };
  const label = (r, at, element, taken) => {
    const p = spot(r, at, 0), width = at[3];
    const ways = [[p[0] + 60, p[1] - 50], [p[0] + 60, p[1] + 150],
                  [p[0] - 60 - width, p[1] - 50], [p[0] - 60 - width, p[1] + 150]];
    for (const [x, y] of ways) {
      const box = [x, y - 125, x + width, y + 35];
      const inside = box[0] >= 0 && box[1] >= 0 && box[2] <= 2 * middle && box[3] <= 2 * middle;
      const meets = (other) => box[0] < other[2] && other[0] < box[2] && box[1] < other[3] &&
                               other[1] < box[3];
      if (!inside || taken.some(meets)) continue;
      taken.push(box);
      write(element, x, y, true);
      return;
    }
    write(element, ways[0][0], ways[0][1], false);
  };
  const draw = (elements, r) => {
    const taken = [];
    data.marks.forEach(([kind, at], i) => {
      if (kind === "label") label(r, at, elements[i], taken);
      else if (kind === "letter") letter(r, at, elements[i]);
      else elements[i].setAttribute("d", paths[kind](r, at));
    });
  };

  // Rows of a view: to the right, up, towards the reader. What is near goes right and down.
  const turned = (r, right, down) => {
    const c = Math.cos(right), s = Math.sin(right), d = Math.cos(down), t = Math.sin(down);
    const row = (i) => [r[i], r[i + 1], r[i + 2]];
    const mix = (a, u, b, v) => u.map((x, i) => a * x + b * v[i]);
    const x = mix(c, row(0), s, row(6)), z = mix(-s, row(0), c, row(6));
    return [...x, ...mix(d, row(3), -t, z), ...mix(t, row(3), d, z)];
  };

  document.querySelectorAll("figure.view").forEach((figure, index) => {
    const stage = figure.querySelector(".stage");
    const elements = stage.querySelectorAll(".mark");
    const start = data.views[index];
    let rows = start;
    const show = (next) => {
      rows = next;
      figure.querySelector(".turned").hidden = rows === start;
      draw(elements, rows);
    };
    const ways = {
      left: () => show(turned(rows, -step, 0)),
      right: () => show(turned(rows, step, 0)),
      up: () => show(turned(rows, 0, -step)),
      down: () => show(turned(rows, 0, step)),
      reset: () => show(start)
    };
    const keys = { ArrowLeft: "left", ArrowRight: "right", ArrowUp: "up", ArrowDown: "down",
                   Home: "reset" };
    stage.addEventListener("keydown", (event) => {
      if (!keys[event.key] || event.altKey || event.ctrlKey || event.metaKey) return;
      event.preventDefault();
      ways[keys[event.key]]();
    });
    let held = null;
    stage.addEventListener("pointerdown", (event) => {
      if (event.button !== 0 || held) return;
      held = { id: event.pointerId, x: event.clientX, y: event.clientY };
    });
    // Of the window: a mouse may leave the picture while it turns it.
    window.addEventListener("pointermove", (event) => {
      if (!held || held.id !== event.pointerId) return;
      if (event.buttons === 0) held = null;
      if (!held) return;
      const dx = event.clientX - held.x, dy = event.clientY - held.y;
      held.x = event.clientX;
      held.y = event.clientY;
      show(turned(rows, perPixel * dx, perPixel * dy));
    });
    const release = (event) => {
      if (held && held.id === event.pointerId) held = null;
    };
    window.addEventListener("pointerup", release);
    window.addEventListener("pointercancel", release);
    const turns = figure.querySelector(".turns");
    turns.querySelectorAll("button").forEach((button) =>
      button.addEventListener("click", ways[button.dataset.turn]));
    show(start);
    stage.tabIndex = 0;
    turns.hidden = false;
  });
  document.querySelectorAll(".hint").forEach((hint) => { hint.hidden = false; });
})();
)";

}  // namespace libmfx::inspection::page
