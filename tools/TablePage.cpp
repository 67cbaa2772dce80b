#include "tools/TablePage.h"

#include "tables/TableInfos.h"
#include "tools/Diagram.h"

namespace tool {

namespace {

using Hardware::ChipType;
using Hardware::FieldInfo;
using Hardware::FieldPlace;
using Hardware::TableInfo;

Json formJson(TableInfo const& table, ChipType chip, U32 variant) {
    Json lanes = Json::array();
    Diagram const diagram(rowForm(table.name, chip, variant));
    for (auto const& lane : diagram.lanes()) {
        Json& fields = lanes.emplace_back(Json::array());
        for (FieldPlace const& place : lane) {
            fields.push_back({place.field - table.fields.data(), place.lo(), U32{place.at.width}});
        }
    }
    auto const& geometry = *table.geometry(chip, variant);
    return {{"lanes", std::move(lanes)},           {"entries", geometry.entries},
            {"array", geometry.arrayElements},     {"base", hex(geometry.base, 8)},
            {"block", hex(geometry.blockBase, 2)}, {"blocks", U32{geometry.maxIdentifier} + 1}};
}

constexpr std::string_view beforeData = R"html(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Chip tables</title>
<style>
:root { color-scheme: light dark; --ink: #1c2430; --paper: #fbfbf9; --line: #b9c0c9; --box: #e7edf5; --same: #e7edf5;
  --moved: #bcd7ff; --resized: #ffd9a0; --appeared: #b9e8bd; --gone: #f6b8b4; --hole: #f1f1ee; --mark: #d33682; --accent: #1f5fa8; }
@media (prefers-color-scheme: dark) { :root { --ink: #dfe5ec; --paper: #171b21; --line: #4a5562; --box: #2b3644; --same: #2b3644;
  --moved: #1f4d86; --resized: #7a5210; --appeared: #1f5f2b; --gone: #7c2c28; --hole: #1f242b; --mark: #ff79b0; --accent: #8bbcf5; } }
body { margin: 0; font: 15px/1.45 system-ui, sans-serif; color: var(--ink); background: var(--paper); display: flex; }
nav { flex: 0 0 15em; padding: 1em; border-right: 1px solid var(--line); min-height: 100vh; box-sizing: border-box; }
nav a { display: block; padding: .15em .4em; color: var(--accent); text-decoration: none; border-radius: 4px; }
nav a[aria-current] { background: var(--box); color: var(--ink); font-weight: 600; }
main { flex: 1; padding: 1em 1.5em; min-width: 0; }
h1 { font-size: 1.4em; margin: 0 0 .2em; } h2 { font-size: 1.1em; margin: 1.6em 0 .4em; }
.choice { margin: .35em 0; } .choice span { display: inline-block; width: 8em; }
button { font: inherit; color: inherit; background: var(--box); border: 1px solid var(--line); border-radius: 4px; padding: .1em .6em; margin-right: .25em; cursor: pointer; }
button[aria-pressed=true] { background: var(--accent); color: var(--paper); } button:disabled { opacity: .35; cursor: default; }
.scroll { overflow-x: auto; } .diagram { min-width: 60em; }
.word { display: grid; grid-template-columns: 6em repeat(32, minmax(0, 1fr)); margin-bottom: 6px; }
.word > * { grid-row: 1; } .label { grid-column: 1; font-size: .85em; align-self: center; }
.bit { font-size: .65em; text-align: center; opacity: .7; }
.field, .hole { border: 1px solid var(--line); padding: .25em .1em; text-align: center; overflow: hidden; text-overflow: ellipsis; white-space: nowrap; font-size: .82em; margin: 0; border-radius: 0; }
.hole { background: repeating-linear-gradient(45deg, var(--hole) 0 4px, transparent 4px 8px); }
.same { background: var(--same); } .moved { background: var(--moved); } .resized { background: var(--resized); }
.appeared { background: var(--appeared); } .gone { background: var(--gone); } .marked { outline: 2px solid var(--mark); outline-offset: -2px; }
table { border-collapse: collapse; font-size: .88em; } th, td { border: 1px solid var(--line); padding: .15em .5em; text-align: left; }
td.n { font-variant-numeric: tabular-nums; } .key span { padding: .1em .5em; margin-right: .4em; border: 1px solid var(--line); }
input { font: inherit; padding: .1em .4em; width: 100%; box-sizing: border-box; margin-bottom: .6em; }
</style>
</head>
<body>
<nav aria-label="Tables"><input id="find" type="search" placeholder="find a field" aria-label="Find a field"><div id="tables"></div></nav>
<main>
<h1 id="title"></h1><div id="geometry"></div>
<div class="choice" id="chips"></div><div class="choice" id="variants"></div><div class="choice" id="againsts"></div>
<div class="scroll"><div class="diagram" id="diagram"></div></div>
<p class="key" id="key" hidden><span class="moved">moved</span><span class="resized">grown or shrunk</span><span class="appeared">appeared</span><span class="gone">gone</span></p>
<h2>Fields</h2><div class="scroll" id="fields"></div>
<h2>On every chip</h2><div class="scroll" id="all"></div>
<noscript>This page draws with a script, which the browser does not run.</noscript>
</main>
<script id="data" type="application/json">)html";

constexpr std::string_view afterData = R"html(</script>
<script>
"use strict";
const data = JSON.parse(document.getElementById("data").textContent);
const at = id => document.getElementById(id);
const make = (tag, of, ...children) => { const e = Object.assign(document.createElement(tag), of); e.append(...children); return e; };
let state = {};

function read() {
  const asked = Object.fromEntries(new URLSearchParams(location.hash.slice(1)));
  const table = data.tables.find(t => t.name === asked.table) || data.tables[0];
  const has = c => (table.chips[c] || []).length !== 0;
  const chip = has(asked.chip) ? +asked.chip : data.chips.filter(has).at(-1);
  const variants = table.chips[chip].length;
  const variant = Math.min(Math.max(0, parseInt(asked.variant) || 0), variants - 1);
  const against = has(asked.against) && +asked.against !== chip ? +asked.against : null;
  state = { table, chip, variant, against };
}
function link(change) {
  const s = { table: state.table.name, chip: state.chip, variant: state.variant, against: state.against ?? "", ...change };
  return "#" + new URLSearchParams(s);
}
// The places of all fields of a form: number -> {lo, width}.
function placesOf(form) {
  const all = new Map();
  for (const lane of form ? form.lanes : []) for (const [field, lo, width] of lane) all.set(field, { lo, width });
  return all;
}
const range = p => p ? (p.lo + p.width - 1) + ":" + p.lo : "\u2013";
function change(from, to) {
  if (!from || !to) return from ? "gone" : to ? "appeared" : "";
  const size = from.width === to.width ? "" : from.width < to.width ? "grown" : "shrunk";
  return [from.lo === to.lo ? "" : "moved", size].filter(Boolean).join(", ");
}
const kind = text => !text ? "same" : text === "gone" || text === "appeared" ? text : /grown|shrunk/.test(text) ? "resized" : "moved";

function choice(box, name, values, current, has, key) {
  box.replaceChildren(make("span", { textContent: name }));
  for (const [value, text] of values) {
    const button = make("button", { textContent: text, disabled: !has(value), onclick: () => { location.hash = link({ [key]: value }); } });
    button.setAttribute("aria-pressed", String(value === (current ?? "")));
    box.append(button);
  }
}
function drawWord(box, form, word, changes) {
  const ruler = make("div", { className: "word" }, make("div", { className: "label" }));
  for (let bit = 31; bit >= 0; --bit) {
    const mark = make("div", { className: "bit", textContent: word * 32 + bit });
    mark.style.gridColumn = 33 - bit;
    ruler.append(mark);
  }
  box.append(ruler);
  form.lanes.forEach((lane, number) => {
    const pieces = lane.map(([field, lo, width]) => ({ field, lo: Math.max(lo, word * 32), hi: Math.min(lo + width, word * 32 + 32) - 1 })).filter(p => p.lo <= p.hi);
    if (number !== 0 && pieces.length === 0) return;
    const line = make("div", { className: "word" }, make("div", { className: "label", textContent: number === 0 ? "word " + word : "or" }));
    const add = (piece, element) => {
      element.style.gridColumn = (33 - (piece.hi - word * 32)) + " / span " + (piece.hi - piece.lo + 1);
      line.append(element);
    };
    let free = word * 32;
    for (const piece of [...pieces].sort((a, b) => a.lo - b.lo)) {
      if (number === 0 && piece.lo > free) add({ lo: free, hi: piece.lo - 1 }, make("div", { className: "hole", title: "no field" }));
      const [name, id, type] = state.table.fields[piece.field];
      const element = make("div", { className: "field " + kind(changes.get(piece.field)), textContent: name,
        title: name + "[" + range(placesOf(form).get(piece.field)) + "] " + type + ", id " + id });
      element.dataset.field = piece.field;
      add(piece, element);
      free = piece.hi + 1;
    }
    if (number === 0 && free < word * 32 + 32) add({ lo: free, hi: word * 32 + 31 }, make("div", { className: "hole", title: "no field" }));
    box.append(line);
  });
}
function listing(headings, rows) {
  const table = make("table", {}, make("thead", {}, make("tr", {}, ...headings.map(h => make("th", { textContent: h })))));
  const body = make("tbody");
  for (const { cells, field, className } of rows) {
    const row = make("tr", { className: className || "" }, ...cells.map(c => make("td", { textContent: c, className: "n" })));
    if (field !== undefined) row.dataset.field = field;
    body.append(row);
  }
  table.append(body);
  return table;
}
function draw() {
  read();
  const { table, chip, variant, against } = state;
  const form = table.chips[chip][variant];
  const other = against === null ? null : (table.chips[against] || [])[variant];
  const here = placesOf(form), there = placesOf(other);
  const changes = new Map();
  if (against !== null) table.fields.forEach((_, field) => changes.set(field, change(there.get(field), here.get(field))));
  document.title = table.name + " on chip " + chip;
  at("title").textContent = table.name + (table.anyVariant ? "" : " variant " + variant) + " on chip " + chip + ", " + table.words * 32 + " bits";
  at("geometry").textContent = form.entries + " entries" + (form.array > 1 ? " in each of " + form.array + " array elements" : "") + ", SCHAN base " + form.base + ", block " + form.block + (form.blocks > 1 ? " and the next " + (form.blocks - 1) : "");
  choice(at("chips"), "chip", data.chips.map(c => [c, c]), chip, c => (table.chips[c] || []).length !== 0, "chip");
  choice(at("variants"), "variant", table.chips[chip].map((_, v) => [v, table.anyVariant ? "any" : v]), variant, () => true, "variant");
  choice(at("againsts"), "compared with", [["", "nothing"], ...data.chips.map(c => [c, c])], against, c => c === "" || (c !== chip && (table.chips[c] || []).length !== 0), "against");
  at("tables").replaceChildren(...data.tables.map(t => {
    const a = make("a", { textContent: t.name, href: link({ table: t.name, variant: 0 }) });
    if (t === table) a.setAttribute("aria-current", "page");
    return a;
  }));
  at("diagram").replaceChildren();
  for (let word = 0; word < table.words; ++word) drawWord(at("diagram"), form, word, changes);
  at("key").hidden = against === null;
  const shown = table.fields.map((f, field) => ({ f, field })).filter(({ field }) => here.has(field) || there.has(field))
    .sort((a, b) => (here.get(a.field)?.lo ?? 1e9) - (here.get(b.field)?.lo ?? 1e9));
  at("fields").replaceChildren(listing(["field", "id", "type", "bits", ...(against === null ? [] : ["on chip " + against, "change"])],
    shown.map(({ f, field }) => ({ field, className: against === null ? "" : kind(changes.get(field)),
      cells: [f[0], f[1], f[2], range(here.get(field)), ...(against === null ? [] : [range(there.get(field)), changes.get(field) || ""])] }))));
  const places = data.chips.map(c => placesOf((table.chips[c] || [])[variant]));
  at("all").replaceChildren(listing(["field", ...data.chips.map(c => "chip " + c)],
    table.fields.map((f, field) => ({ field, cells: [f[0], ...places.map(p => range(p.get(field)))] })).filter(r => places.some(p => p.has(r.field)))));
  mark();
}
function mark() {
  const text = at("find").value.trim().toLowerCase();
  document.querySelectorAll("[data-field]").forEach(e => e.classList.toggle("marked", text !== "" && state.table.fields[e.dataset.field][0].toLowerCase().includes(text)));
  document.querySelectorAll("#tables a").forEach((a, i) => { a.style.opacity = text === "" || data.tables[i].fields.some(f => f[0].toLowerCase().includes(text)) ? 1 : .35; });
}
at("find").oninput = mark;
addEventListener("hashchange", draw);
draw();
</script>
</body>
</html>
)html";

} // namespace

Json tablePageData() {
    Json data{{"chips", supportedChips()}, {"tables", Json::array()}};
    for (TableInfo const& table : Hardware::tableInfos()) {
        Json fields = Json::array();
        for (FieldInfo const& field : table.fields) {
            fields.push_back({field.name, field.id, field.type});
        }
        Json chips = Json::object();
        for (ChipType const chip : supportedChips()) {
            Json& forms = chips[std::to_string(chip)] = Json::array();
            for (U32 variant = 0; variant < table.variants(chip); ++variant) {
                forms.push_back(formJson(table, chip, variant));
            }
        }
        data["tables"].push_back({{"name", table.name},
                                  {"words", table.words},
                                  {"anyVariant", table.ignoresVariant},
                                  {"fields", std::move(fields)},
                                  {"chips", std::move(chips)}});
    }
    return data;
}

std::string tablePage() {
    std::string page(beforeData);
    page += tablePageData().dump();
    page += afterData;
    return page;
}

} // namespace tool
