"use strict";
const tables = JSON.parse(document.getElementById("data").textContent);
const chips = [...new Set(tables.flatMap(t => Object.keys(t.chips).map(Number)))].sort((a, b) => a - b);
const at = id => document.getElementById(id);
const make = (tag, of, ...children) => { const e = Object.assign(document.createElement(tag), of); e.append(...children); return e; };
const dash = "\u2013";

// What is shown, as the address says it. `words` is the row, or null.
let state = {};

const formsOf = (table, chip) => Object.hasOwn(table.chips, chip ?? "") ? table.chips[chip] : [];
const nameOf = (table, variant) => table.variants[variant] || String(variant);
// The places of all fields of a form: number -> {lo, width}.
function placesOf(form) {
  const all = new Map();
  for (const lane of form ? form.lanes : []) for (const [field, lo, width] of lane) all.set(field, { lo, width });
  return all;
}
// Numbers of fields in row order.
const inOrder = places => [...places].sort(([a, p], [b, q]) => p.lo - q.lo || q.width - p.width || a - b).map(([field]) => field);
const range = p => p ? (p.lo + p.width - 1) + ":" + p.lo : dash;

// A row: words in hexadecimal, and the fields in it.

const hex = (number, digits) => "0x" + number.toString(16).padStart(digits, "0");
const shortWords = words => words.map(w => hex(w, 1)).join(",");
const wordsText = words => words.map(w => hex(w, 8)).join(" ");

// The words of a text, as `loamtunnel decode` takes them, and what it says of the row: {words, asked}, or {error}.
function parseWords(text, table) {
  const words = [], asked = {};
  for (const part of text.split(/[\s,]+/).filter(Boolean)) {
    const [, key, value] = /^(chip|table|variant)=(.*)$/.exec(part) || [];
    if (key) { asked[key] = value; continue; }
    const word = /^(0x)?[0-9a-f]+$/i.test(part) ? BigInt("0x" + part.replace(/^0x/i, "")) : -1n;
    if (word < 0n || word > 0xffffffffn) return { error: "'" + part + "' is no 32-bit word in hexadecimal, such as 0x1f or 0000001f" };
    words.push(Number(word));
  }
  const of = asked.table === undefined ? table : tables.find(t => t.name === asked.table);
  if (!of) return { error: "no table '" + asked.table + "'" };
  if (asked.chip !== undefined && formsOf(of, asked.chip).length === 0) return { error: "no " + of.name + " on a chip '" + asked.chip + "'; there are chips " + Object.keys(of.chips).join(", ") };
  if (asked.variant !== undefined && !Object.hasOwn(formsOf(of, asked.chip ?? state.chip), Number(asked.variant))) return { error: of.name + " has no variant '" + asked.variant + "' there" };
  if (words.length !== of.words) return { error: "a row of " + of.name + " has " + of.words + " words of 32 bits, word 0 first, not " + words.length };
  return { words, asked };
}
const whole = words => words.reduce((all, word, i) => all | BigInt(word) << BigInt(32 * i), 0n);
const maskOf = width => (1n << BigInt(width)) - 1n;
const valueOf = (words, { lo, width }) => whole(words) >> BigInt(lo) & maskOf(width);
function withValue(words, { lo, width }, value) {
  const row = whole(words) & ~(maskOf(width) << BigInt(lo)) | value << BigInt(lo);
  return words.map((_, i) => Number(row >> BigInt(32 * i) & 0xffffffffn));
}
// Decimal; a block wider than 64 bits in hexadecimal.
const valueText = (field, place, value) => field[3] > 8 ? hex(value, 2 * Math.ceil(place.width / 8)) : String(value);
function parseValue(text, field, place) {
  const trimmed = text.trim(), most = maskOf(place.width);
  if (!/^(\d+|0x[0-9a-f]+)$/i.test(trimmed)) return { error: field[0] + ": '" + text + "' is no number; one is decimal, or hexadecimal with 0x" };
  const value = BigInt(trimmed);
  if (value > most) return { error: field[0] + ": " + trimmed + " is too large; the field has " + place.width + (place.width === 1 ? " bit" : " bits") + ", at most " + valueText(field, place, most) };
  return { value };
}
function unownedText(words, places) {
  let free = whole(words);
  for (const { lo, width } of places.values()) free &= ~(maskOf(width) << BigInt(lo));
  const runs = [];
  for (let bit = 0; bit < words.length * 32; ++bit) {
    if (!(free >> BigInt(bit) & 1n)) continue;
    if (runs.length && runs.at(-1).hi === bit - 1) runs.at(-1).hi = bit; else runs.push({ lo: bit, hi: bit });
  }
  return runs.map(({ lo, hi }) => lo === hi ? lo : hi + ":" + lo).join(", ");
}

// The address.

function read() {
  const asked = Object.fromEntries(new URLSearchParams(location.hash.slice(1)));
  const table = tables.find(t => t.name === asked.table) || tables[0];
  const has = c => formsOf(table, c).length !== 0;
  const chip = has(asked.chip) ? Number(asked.chip) : chips.filter(has).at(-1);
  const named = table.variants.indexOf(asked.variant);
  const variant = Math.min(Math.max(0, named > 0 ? named : parseInt(asked.variant) || 0), formsOf(table, chip).length - 1);
  const against = has(asked.against) && Number(asked.against) !== chip ? Number(asked.against) : null;
  const field = table.fields.findIndex(f => f[0] === asked.field);
  const row = asked.row ? parseWords(asked.row, table) : {};
  state = { table, chip, variant, against, find: asked.find || "", field: field < 0 ? null : field, words: row.words || null, rowText: row.error ? asked.row : null, rowError: row.error || "" };
}
function link(change) {
  const s = { table: state.table.name, chip: state.chip, variant: state.variant, against: state.against, find: state.find,
    field: state.field === null ? "" : state.table.fields[state.field][0], row: state.words ? shortWords(state.words) : state.rowText || "", ...change };
  return "#" + Object.entries(s).filter(([, value]) => value !== "" && value !== null && value !== undefined)
    .map(([key, value]) => key + "=" + encodeURIComponent(value).replaceAll("%2C", ",").replaceAll("%20", "+")).join("&");
}
// A step that "back" returns from; without one for what is typed.
function go(change, keepsSearch) { if (link(change) !== location.hash) history.pushState(null, "", link(change)); draw(null, keepsSearch); }
function note(change) { history.replaceState(null, "", link(change)); read(); }

// Drawing. What is drawn anew keeps the focus by `data-key`.

function keepingFocus(redraw) {
  const key = document.activeElement?.dataset?.key;
  redraw();
  if (key && document.activeElement?.dataset?.key !== key) document.querySelector('[data-key="' + CSS.escape(key) + '"]')?.focus({ preventScroll: true });
}
function change(from, to) {
  if (!from || !to) return from ? "gone" : to ? "appeared" : "";
  const size = from.width === to.width ? "" : from.width < to.width ? "grown" : "shrunk";
  return [from.lo === to.lo ? "" : "moved", size].filter(Boolean).join(", ");
}
const kind = text => !text ? "same" : text === "gone" || text === "appeared" ? text : /grown|shrunk/.test(text) ? "resized" : "moved";

function choice(id, name, values, current, has) {
  at(id).replaceChildren(make("b", { textContent: name, id: id + "-name" }), ...values.map(([value, text]) => {
    const input = make("input", { type: "radio", name: id, value, checked: value === (current ?? ""), disabled: !has(value),
      onchange: () => go({ [{ chips: "chip", variants: "variant", againsts: "against" }[id]]: value }) });
    input.dataset.key = id + " " + value;
    return make("label", {}, input, make("span", { textContent: text }));
  }));
}

// How many bits stand in a line: as many as leave a name some room.
const bitsInLine = () => { const width = at("diagram").clientWidth; return width >= 800 ? 32 : width >= 420 ? 16 : 8; };
const brush = document.createElement("canvas").getContext("2d");

function drawDiagram() {
  const { table, words } = state, form = formsOf(table, state.chip)[state.variant], box = at("diagram");
  const places = placesOf(form), numbers = new Map(inOrder(places).map((field, i) => [field, i + 1])), changes = changesOf();
  const per = bitsInLine(), label = per === 8 ? 30 : 60;
  box.style.setProperty("--per", per);
  box.style.setProperty("--label", label + "px");
  const bitWidth = (box.clientWidth - label) / per;
  brush.font = "12.3px system-ui, sans-serif";
  box.replaceChildren();
  for (let word = 0; word < table.words; ++word) for (let first = word * 32 + 32 - per; first >= word * 32; first -= per) {
    const column = hi => per + 1 - (hi - first);
    const ruler = make("div", { className: "bits" });
    for (let bit = first + per - 1; bit >= first; --bit) {
      const mark = make("div", { className: "bit", textContent: bit });
      mark.style.gridColumn = column(bit);
      ruler.append(mark);
    }
    box.append(ruler);
    const short = [];
    form.lanes.forEach((lane, number) => {
      const pieces = lane.map(([field, lo, width]) => ({ field, lo: Math.max(lo, first), hi: Math.min(lo + width, first + per) - 1 })).filter(p => p.lo <= p.hi).sort((a, b) => a.lo - b.lo);
      if (number !== 0 && pieces.length === 0) return;
      const line = make("div", { className: "bits" }, make("div", { className: "label", textContent: number !== 0 ? "or" : per === 8 ? word : "word " + word }));
      const add = (lo, hi, element) => {
        element.style.gridColumn = column(hi) + " / span " + (hi - lo + 1);
        line.append(element);
      };
      let free = first;
      const hole = end => { if (number === 0 && end > free) add(free, end - 1, make("div", { className: "hole", title: "no field" })); };
      for (const { field, lo, hi } of pieces) {
        hole(lo);
        const [name, id, type] = table.fields[field], place = places.get(field);
        const fits = brush.measureText(name).width + 6 <= bitWidth * (hi - lo + 1);
        const value = words && valueText(table.fields[field], place, valueOf(words, place));
        const element = make("div", { className: "field " + kind(changes.get(field)), textContent: fits ? name : numbers.get(field),
          title: name + "[" + range(place) + "] " + type + ", id " + id + (words ? ": " + value : "") });
        if (words) element.append(make("i", { textContent: value }));
        element.dataset.field = field;
        if (!fits) short.push(field);
        add(lo, hi, element);
        free = hi + 1;
      }
      hole(first + per);
      box.append(line);
    });
    box.append(make("div", { className: "names" }, ...[...new Set(short)].sort((a, b) => places.get(b).lo - places.get(a).lo).map(field => {
      const name = make("span", {}, make("b", { textContent: numbers.get(field) }), " " + table.fields[field][0]);
      name.dataset.field = field;
      return name;
    })));
  }
}
function changesOf() {
  if (state.against === null) return new Map();
  const here = placesOf(formsOf(state.table, state.chip)[state.variant]), there = placesOf(formsOf(state.table, state.against)[state.variant]);
  return new Map(state.table.fields.map((_, field) => [field, change(there.get(field), here.get(field))]));
}
function listing(headings, rows) {
  const body = make("tbody");
  for (const { cells, field, className } of rows) {
    const row = make("tr", { className: className || "" }, ...cells.map(c => make("td", {}, c)));
    row.dataset.field = field;
    body.append(row);
  }
  return make("table", {}, make("thead", {}, make("tr", {}, ...headings.map(h => make("th", { textContent: h })))), body);
}
function valueInput(field) {
  const input = make("input", { type: "text", inputMode: "text", autocomplete: "off", spellcheck: false });
  input.setAttribute("aria-label", state.table.fields[field][0]);
  input.dataset.key = "value " + state.table.fields[field][0];
  input.oninput = () => {
    const place = placesOf(formsOf(state.table, state.chip)[state.variant]).get(field);
    const { value, error } = input.value.trim() === "" ? { value: 0n } : parseValue(input.value, state.table.fields[field], place);
    input.setAttribute("aria-invalid", String(error !== undefined));
    at("fieldError").textContent = error || "";
    if (error) return;
    const words = withValue(state.words || Array(state.table.words).fill(0), place, value);
    note({ row: shortWords(words) });
    showRow(input);
  };
  input.onblur = () => { at("fieldError").textContent = ""; showValues(); };
  return input;
}
function drawLists() {
  const { table, chip, variant, against } = state, changes = changesOf();
  const here = placesOf(formsOf(table, chip)[variant]), there = against === null ? new Map() : placesOf(formsOf(table, against)[variant]);
  const order = inOrder(here), gone = inOrder(there).filter(field => !here.has(field));
  at("fields").replaceChildren(listing(["#", "field", "bits", "value", "id", "type", ...(against === null ? [] : ["on chip " + against, "change"])],
    [...order, ...gone].map((field, i) => ({ field, className: against === null ? "" : kind(changes.get(field)),
      cells: [here.has(field) ? String(i + 1) : "", table.fields[field][0], range(here.get(field)), here.has(field) ? valueInput(field) : "",
        String(table.fields[field][1]), table.fields[field][2], ...(against === null ? [] : [range(there.get(field)), changes.get(field) || ""])] }))));
  const places = chips.map(c => placesOf(formsOf(table, c)[variant]));
  at("all").replaceChildren(listing(["field", ...chips.map(c => "chip " + c)],
    table.fields.map((f, field) => ({ field, cells: [f[0], ...places.map(p => range(p.get(field)))] })).filter(r => places.some(p => p.has(r.field)))));
}
function showValues(typedInto) {
  const places = placesOf(formsOf(state.table, state.chip)[state.variant]);
  for (const row of at("fields").querySelectorAll("tbody tr")) {
    const input = row.querySelector("input"), field = Number(row.dataset.field), place = places.get(field);
    if (!input || !place || input === typedInto) continue;
    input.value = state.words ? valueText(state.table.fields[field], place, valueOf(state.words, place)) : "";
    input.setAttribute("aria-invalid", "false");
  }
}
// The row, wherever it stands; but not in the box that is typed into.
function showRow(typedInto) {
  const places = placesOf(formsOf(state.table, state.chip)[state.variant]);
  if (typedInto !== at("words")) at("words").value = state.words ? wordsText(state.words) : state.rowText || "";
  at("words").setAttribute("aria-invalid", String(state.rowError !== ""));
  at("wordsError").textContent = state.rowError;
  const unowned = state.words ? unownedText(state.words, places) : "";
  at("unowned").textContent = unowned && "set bits that no field owns: " + unowned;
  showValues(typedInto);
  drawDiagram();
  mark();
}
at("words").oninput = () => {
  const text = at("words").value.trim(), { words, asked, error } = text === "" ? { asked: {} } : parseWords(text, state.table);
  note({ ...asked, row: error ? text : words ? shortWords(words) : "" });
  if (Object.keys(asked || {}).length !== 0) draw(at("words")); else showRow(at("words"));
};
at("words").onblur = () => { if (!state.rowError) showRow(); };

function draw(typedInto, keepsSearch) {
  read();
  if (!keepsSearch) searched = state.chip;
  const { table, chip, variant, against } = state, form = formsOf(table, chip)[variant];
  const named = table.anyVariant || formsOf(table, chip).length === 1 && !table.variants[variant] ? "" : " " + nameOf(table, variant);
  document.title = table.name + named + " on chip " + chip;
  at("title").textContent = document.title + ", " + table.words * 32 + " bits";
  at("geometry").textContent = form.entries + " entries" + (form.array > 1 ? " in each of " + form.array + " array elements" : "") + ", SCHAN base " + form.base + ", block " + form.block + (form.blocks > 1 ? " and the next " + (form.blocks - 1) : "");
  keepingFocus(() => {
    choice("chips", "chip", chips.map(c => [c, c]), chip, c => formsOf(table, c).length !== 0);
    choice("variants", "variant", formsOf(table, chip).map((_, v) => [v, table.anyVariant ? "any" : nameOf(table, v)]), variant, () => true);
    choice("againsts", "compared with", [["", "nothing"], ...chips.map(c => [c, c])], against, c => c === "" || c !== chip && formsOf(table, c).length !== 0);
    at("tables").replaceChildren(...tables.map(t => {
      const a = make("a", { textContent: t.name, href: link(t === table ? {} : { table: t.name, variant: 0, field: "", row: "" }) });
      a.dataset.key = "table " + t.name;
      if (t === table) a.setAttribute("aria-current", "page");
      return a;
    }));
    drawLists();
    at("key").hidden = against === null;
    if (document.activeElement !== at("find")) at("find").value = state.find;
    showRow(typedInto);
  });
}

// The search: every field of that name in every table and variant of the chip; and once more, on another chip, what
// this one lacks. A jump to another chip does not make the search begin anew.

let searched = null;

function matches() {
  const text = state.find.trim().toLowerCase(), all = [];
  if (text === "") return all;
  for (const table of tables) {
    const named = table.fields.map((f, field) => field).filter(field => table.fields[field][0].toLowerCase().includes(text));
    if (named.length === 0) continue;
    const onChip = chip => formsOf(table, chip).flatMap((form, variant) => inOrder(placesOf(form)).filter(f => named.includes(f)).map(field => ({ table, chip, variant, field })));
    const here = onChip(searched), found = new Set(here.map(m => m.field));
    all.push(...here);
    for (const chip of chips) for (const m of onChip(chip)) if (!found.has(m.field)) { found.add(m.field); all.push(m); }
  }
  return all;
}
const isShown = m => m.table === state.table && m.variant === state.variant && m.chip === state.chip;
function mark() {
  const all = matches(), marked = new Set(all.filter(isShown).map(m => m.field));
  for (const e of document.querySelectorAll("[data-field]")) {
    const field = Number(e.dataset.field);
    e.classList.toggle("marked", marked.has(field) || field === state.field);
    e.classList.toggle("current", field === state.field);
  }
  const current = all.findIndex(m => isShown(m) && m.field === state.field);
  at("found").textContent = state.find.trim() === "" ? "" : all.length === 0 ? "none" : (current < 0 ? "" : current + 1 + " of ") + all.length + (current < 0 ? " found" : "");
  at("previous").disabled = at("next").disabled = all.length === 0;
  document.querySelectorAll("#tables a").forEach((a, i) => a.classList.toggle("without", state.find.trim() !== "" && !all.some(m => m.table === tables[i])));
}
function jump(step) {
  const all = matches();
  if (all.length === 0) return;
  const current = all.findIndex(m => isShown(m) && m.field === state.field);
  // From a view without the match that was jumped to last: its first one, or else the first of all.
  const to = all[current >= 0 ? (current + step + all.length) % all.length : Math.max(0, all.findIndex(isShown))];
  go({ table: to.table.name, chip: to.chip, variant: to.variant, field: to.table.fields[to.field][0], ...(to.table === state.table ? {} : { row: "" }) }, true);
  reveal();
}
const reveal = () => at("diagram").querySelector(".field.current")?.scrollIntoView({ block: "nearest", inline: "nearest" });
at("find").oninput = () => { searched = state.chip; note({ find: at("find").value, field: "" }); mark(); };
at("search").onsubmit = event => { event.preventDefault(); jump(1); };
at("find").onkeydown = event => { if (event.key === "Enter" && event.shiftKey) { event.preventDefault(); jump(-1); } };
at("previous").onclick = () => jump(-1);

// A field that is clicked in the drawing is chosen, and its value can be typed.
at("diagram").onclick = event => {
  const field = event.target.closest("[data-field]")?.dataset.field;
  if (field === undefined) return;
  note({ field: state.table.fields[field][0] });
  mark();
  at("fields").querySelector('tr[data-field="' + field + '"] input')?.focus();
};
at("fields").onkeydown = event => {
  const step = { ArrowUp: -1, ArrowDown: 1, Enter: 1 }[event.key], inputs = [...at("fields").querySelectorAll("input")];
  const to = inputs[inputs.indexOf(event.target) + step];
  if (to) { event.preventDefault(); to.focus(); to.select(); }
};
addEventListener("keydown", event => {
  if (event.ctrlKey || event.altKey || event.metaKey || event.target.closest("input, textarea, #all")) return;
  const step = { ArrowLeft: -1, ArrowRight: 1 }[event.key], known = chips.filter(c => formsOf(state.table, c).length !== 0);
  if (step) {
    event.preventDefault();
    go({ chip: known[(known.indexOf(state.chip) + step + known.length) % known.length] });
  } else if (event.key === "/") {
    event.preventDefault();
    at("find").focus();
    at("find").select();
  }
});
addEventListener("hashchange", () => draw());
addEventListener("popstate", () => draw());
at("menu").open = innerWidth > 760;
let drawnWidth = 0;
new ResizeObserver(() => { if (at("diagram").clientWidth !== drawnWidth) { drawnWidth = at("diagram").clientWidth; drawDiagram(); mark(); } }).observe(at("diagram"));
draw();
