#!/usr/bin/env python3
"""Do the steps of ARCHITECTURE.md name every place that a new table, value or entity belongs into?

A place is a file that names nearly all that there are of a kind. Each must stand in the section `### To add a ...` of
its kind, and each path that a section names must be there.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
NEARLY_ALL = 0.8
SKIPPED = {".git", "build", "__pycache__", "fuzz"} # what fuzzers have found names many types, and needs none


def files(folder):
    for path in sorted(folder.iterdir()):
        if path.is_dir():
            if path.name not in SKIPPED and not path.name.startswith("."):  # what tools leave
                yield from files(path)
        elif path.suffix not in (".svg", ".png", ".loamlog"):
            yield path


def named(text, pattern):
    return set(re.findall(pattern, text, re.M))


def classes(folder):
    """All that the headers of a folder declare as classes of the list of types."""
    listed = set(re.findall(r"\w+", (ROOT / "model/LoamTunnelTypeList.h").read_text()))
    found = set()
    for header in sorted((ROOT / folder).glob("*.h")):
        found |= named(header.read_text(), r"^\s*class (?:KOR_EXPORT )?(\w+)") & listed
    return found


kinds = {
    "table": named((ROOT / "tables/LoamTunnelMetaInfo.cpp").read_text(), r"^template class RowOf<(\w+),"),
    "value": classes("values"),
    "entity": classes("model"),
}
text = (ROOT / "ARCHITECTURE.md").read_text()
words = {path: set(re.findall(r"\w+", path.read_text(errors="replace"))) for path in files(ROOT) if b"\0" not in path.read_bytes()}
wrong = []
for kind, members in kinds.items():
    if len(members) < 5: # the lists that they are taken from have moved
        wrong.append(f"found only {len(members)} of the kind {kind}: tests/steps.py looks in the wrong place")
    told = set()
    for title in (f"a {kind}", f"an {kind}", "a type of either kind" if kind != "table" else ""):
        section = re.search(rf"^### To add {title}\n(.*?)^##", text, re.M | re.S)
        told |= set(re.findall(r"`([\w./-]+)`", section.group(1)) if section else [])
    for path in sorted(told):
        if "/" in path and "My" not in path and not (ROOT / path).exists():
            wrong.append(f"ARCHITECTURE.md, To add a {kind}: there is no {path}")
    for path, inside in words.items():
        name = str(path.relative_to(ROOT))
        if len(members & inside) >= NEARLY_ALL * len(members) and name not in told:
            wrong.append(f"{name} names {len(members & inside)} of {len(members)} of the kind {kind}; "
                         f"ARCHITECTURE.md, To add a {kind}, does not say that a new one belongs into it")
if wrong:
    sys.exit("\n".join(wrong))
