#!/bin/sh
# check-tables.sh PROGRAM PAGE: shows the page of chip tables in a browser, in every state that it has, and compares
# what it draws with what the program lists. Needs chromium.
set -eu
program=$1
page=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The page with a script that goes through all tables, chips and variants, each compared with the chip before, and
# writes down the listed fields, the bits that the diagram gives each field, and the listed changes.
sed 's|</body>||; s|</html>||' "$page" >"$work/page.html"
cat >>"$work/page.html" <<'SCRIPT'
<script>
const lines = [];
const cells = row => [...row.cells].map(c => c.textContent);
for (const table of data.tables) for (const chip of data.chips) {
  const earlier = data.chips.filter(c => c < chip && table.chips[c].length !== 0).at(-1);
  for (let variant = 0; variant < table.chips[chip].length; ++variant) {
    history.replaceState(null, "", "#" + new URLSearchParams({ table: table.name, chip, variant, against: earlier ?? "" }));
    draw();
    const bits = {};
    for (const e of document.querySelectorAll("#diagram .field")) {
      const width = +/span (\d+)/.exec(e.style.gridColumn)[1];
      bits[e.textContent] = (bits[e.textContent] || 0) + width;
    }
    for (const row of document.querySelectorAll("#fields tbody tr")) {
      const [name, id, type, range, before, change] = cells(row);
      const key = [table.name, chip, variant].join(" ");
      if (range !== "\u2013") lines.push(["field", key, name, id, type, range, bits[name]].join(" "));
      if (change) lines.push(["change", key, name, change.replace(" ", ""), before.replace("\u2013", ""), range.replace("\u2013", "")].join(" "));
    }
  }
}
at("find").value = "vsi"; at("find").oninput();
location.hash = "#table=LifTable&chip=8&variant=1";
draw();
lines.push("marked " + document.querySelectorAll("#fields .marked").length);
const chips = [...document.querySelectorAll("#chips button")];
chips.find(b => b.textContent === "9").click();
addEventListener("hashchange", () => {
  lines.push("clicked " + document.title);
  document.body.replaceChildren(make("pre", { textContent: "<begin>\n" + lines.join("\n") + "\n<end>" }));
});
</script></body></html>
SCRIPT
timeout 120 chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking \
    --disable-component-update --disable-sync --user-data-dir="$work/profile" --virtual-time-budget=20000 --dump-dom \
    "file://$work/page.html" >"$work/dom" 2>"$work/log" || {
    cat "$work/log" >&2
    exit 1
}
sed -n '/&lt;begin&gt;/,/&lt;end&gt;/p' "$work/dom" | sed '1d;$d' >"$work/drawn"

"$program" tables --format csv --no-headings | cut -d, -f1-3 | while IFS=, read -r chip table variants; do
    case $variants in
    any) first=0 last=0 ;;
    *) first=${variants%%-*} last=${variants##*-} ;;
    esac
    for variant in $(seq "$first" "$last"); do
        "$program" layout --chip "$chip" --table "$table" --variant "$variant" --format csv --no-headings |
            awk -F, -v key="$table $chip $variant" '{ print "field", key, $1, $2, $3, $4 ":" $5, $6 }'
    done
done | LC_ALL=C sort >"$work/listed"
[ -s "$work/listed" ] || {
    echo "the program lists nothing" >&2
    exit 1
}
grep '^field' "$work/drawn" | LC_ALL=C sort | diff - "$work/listed" >"$work/differs" || {
    head -n 20 "$work/differs" >&2
    echo "the page draws other fields than the program lists" >&2
    exit 1
}
"$program" layout --table LifTable --diff 7 8 --format csv --no-headings | awk -F, '{ print $2, $3, $4 $5 $6 }' | tr -d '" ' | LC_ALL=C sort >"$work/listed"
grep '^change LifTable 8 ' "$work/drawn" | awk '{ print $4, $5, $6 $7 $8 }' | tr -d ' ' | LC_ALL=C sort | diff - "$work/listed" >"$work/differs" || {
    head -n 20 "$work/differs" >&2
    echo "the page compares chips 7 and 8 otherwise than the program" >&2
    exit 1
}
grep -q '^marked [1-9]' "$work/drawn" || {
    echo "the page finds no field called vsi" >&2
    exit 1
}
grep -q '^clicked LifTable on chip 9$' "$work/drawn" || {
    echo "a click on a chip does not switch to it" >&2
    exit 1
}
echo "the page draws $(grep -c '^field' "$work/drawn") fields as the program lists them"
