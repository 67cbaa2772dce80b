#!/usr/bin/env python3
"""Draws the folders of the tree and what they include of each other, from the includes themselves.

    docs/draw-folders.py docs/folders.svg           writes the picture
    docs/draw-folders.py --check docs/folders.svg   fails if the picture is not that of the tree

A row a folder, lowest first; a folder within one, such as reflect/entity/, is drawn inside its row, the lowest at the
left. An arrow goes from who includes to what is included. All arrows point up, or left; one that does not is drawn in red.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LISTED = re.search(r"^set\(LOAM_FOLDERS (.*)\)$", (ROOT / "CMakeLists.txt").read_text(encoding="utf-8"), re.M)[1].split()
LISTED += ["page", "console", "demo", "tools"]
FOLDERS = [each for each in LISTED if "/" not in each]
SAYS = {
    "runtime": "counted objects, strings, collections, notification",
    "reflect": "names, shapes, values, text; within: entities, types, boxes",
    "attrlog": "streams, records; within: connections and sessions",
    "platform": "chip identity, row base, small values",
    "chip": "data sheets, the row pattern",
    "tables": "the row classes",
    "values": "values and the three encoders",
    "model": "the entities",
    "owner": "places and indexes for who owns a table",
    "testing": "owners for the tests of applications",
    "link": "sessions on sockets",
    "forms": "values, keys, paths as text and JSON",
    "page": "the page of chip tables",
    "console": "what commands share",
    "demo": "driver and applications",
    "tools": "the program loamtunnel",
}
ROW, TOP, LEFT, WIDTH, INNER = 56, 20, 20, 388, 85


def includes():
    """(from, to) pairs of rooms: a folder, or a folder within one."""
    arrows = {}
    rooms = {}
    for folder in FOLDERS:
        for path in sorted((ROOT / folder).rglob("*")):
            if path.suffix not in (".h", ".cpp"):
                continue
            source = room(path.relative_to(ROOT))
            rooms.setdefault(source, 0)
            text = path.read_text(encoding="utf-8")
            rooms[source] += text.count("\n")
            for target in re.findall(r'^\s*#\s*include\s*"([^"]+)"', text, re.M):
                to = room(pathlib.PurePath(target))
                if to[0] in FOLDERS and to != source:
                    arrows[source, to] = arrows.get((source, to), 0) + 1
    return rooms, arrows


def room(path):
    parts = path.parts[:-1]
    inner = parts[1] if "/".join(parts[:2]) in LISTED and len(parts) > 1 else ""
    return (parts[0] if parts else "", inner)


def draw():
    rooms, arrows = includes()
    folders = [each for each in FOLDERS if any(name[0] == each for name in rooms)]
    place = {}
    height = {}
    y = TOP
    for folder in folders:
        inner = sorted((name[1] for name in rooms if name[0] == folder and name[1]), key=lambda name: LISTED.index(f"{folder}/{name}"))
        height[folder] = ROW + (26 + 4 * len(inner) if inner else 0)
        place[folder, ""] = (LEFT, y, WIDTH, height[folder])
        for i, name in enumerate(inner):
            place[folder, name] = (LEFT + 12 + i * (INNER + 8), y + ROW - 6, INNER, 26)
        y += height[folder] + 14
    total = y + 10
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 720 {total}" font-family="sans-serif" font-size="12">',
           '<title>The folders of the library, lowest first, and what they include</title>',
           '<defs><marker id="tip" viewBox="0 0 8 8" refX="7" refY="4" markerWidth="7" markerHeight="7" orient="auto">'
           '<path d="M0 0L8 4L0 8z" fill="context-stroke"/></marker></defs>',
           f'<rect width="720" height="{total}" fill="#fff"/>']
    for (folder, inner), (x, top, width, high) in place.items():
        lines = rooms.get((folder, inner), 0)
        fill = "#eef3f8" if not inner else "#fff"
        out.append(f'<rect x="{x}" y="{top}" width="{width}" height="{high}" rx="5" fill="{fill}" stroke="#456"/>')
        if inner:
            out.append(f'<text x="{x + 6}" y="{top + 17}" font-size="11">{inner}/ <tspan fill="#777">{lines}</tspan></text>')
        else:
            out.append(f'<text x="{x + 12}" y="{top + 20}" font-weight="bold">{folder}/ '
                       f'<tspan font-weight="normal" fill="#777">{lines} lines</tspan></text>')
            out.append(f'<text x="{x + 12}" y="{top + 38}" fill="#345">{SAYS[folder]}</text>')
    pairs = {}
    for (source, to), count in arrows.items():
        if source[0] != to[0]:
            pairs[source[0], to[0]] = pairs.get((source[0], to[0]), 0) + count
    for (source, to), count in sorted(arrows.items()):
        # Between folders within one, below them. That they include from the one around them goes without saying.
        if source[0] == to[0] and to[1]:
            x, top, width, high = place[source]
            left, apart = place[to][0], abs(place[source][0] - place[to][0]) / (INNER + 8)
            start, end, low = x + width / 2 - 12, left + width / 2 + 12, top + high
            right_way = source[1] and left < x
            out.append(f'<path d="M{start:g} {low}C{start:g} {low + 9 * apart:g} {end:g} {low + 9 * apart:g} {end:g} {low}" '
                       f'fill="none" stroke="{"#7a94ad" if right_way else "#c00"}" stroke-width="{1 + min(count, 40) / 20:.1f}" '
                       f'marker-end="url(#tip)"><title>{"/".join(filter(None, source))}/ includes {count} times from '
                       f'{"/".join(to)}/</title></path>')
    lane = 0
    for source in folders:
        for to in folders:
            count = pairs.get((source, to))
            if not count:
                continue
            up = folders.index(to) < folders.index(source)
            lane += 1
            right = LEFT + WIDTH
            ys = place[source, ""][1] + 12 + 6 * (folders.index(to) % 6)
            yt = place[to, ""][1] + 12 + 6 * (folders.index(source) % 6)
            bend = right + 24 + 26 * abs(folders.index(source) - folders.index(to))
            colour = "#7a94ad" if up else "#c00"
            out.append(f'<path d="M{right} {ys}C{bend} {ys} {bend} {yt} {right} {yt}" fill="none" stroke="{colour}" '
                       f'stroke-width="{1 + min(count, 40) / 20:.1f}" marker-end="url(#tip)">'
                       f'<title>{source}/ includes {count} times from {to}/</title></path>')
    out.append("</svg>")
    return "\n".join(out) + "\n"


def main():
    arguments = sys.argv[1:]
    check = arguments[:1] == ["--check"]
    if len(arguments) != (2 if check else 1):
        sys.exit("usage: docs/draw-folders.py [--check] FILE.svg")
    path = pathlib.Path(arguments[-1])
    picture = draw()
    if not check:
        path.write_text(picture, encoding="utf-8")
    elif not path.exists() or without_numbers(path.read_text(encoding="utf-8")) != without_numbers(picture):
        sys.exit(f"{path} is not the picture of the tree; docs/draw-folders.py {path} draws it")


def without_numbers(picture):
    """Lines and counts change with every change; what must hold is which rooms and arrows there are."""
    picture = re.sub(r"\d+ lines|includes \d+ times|#777\">\d+|stroke-width=\"[\d.]+\"", "", picture)
    return picture


if __name__ == "__main__":
    main()
