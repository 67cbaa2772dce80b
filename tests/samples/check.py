#!/usr/bin/env python3
"""Does what the public headers show compile?

    check.py COMPILER

A sample is a block of a `///` comment, indented by four more blanks and more, behind an empty line. All of them go into one source, each in a
namespace of its own and, but for those that `atFile` names, in a function. given.toml has what a sample may take as given: the
declarations in front of it, by the header. `...` stands for what a reader would fill in, and `... words ...` as well.
"""

import pathlib
import re
import subprocess
import sys
import tomllib

ROOT = pathlib.Path(__file__).resolve().parents[2]
HERE = pathlib.Path(__file__).resolve().parent
FOLDERS = ("runtime", "reflect", "attrlog", "platform", "chip", "tables", "values", "model", "owner", "testing", "link", "forms")


def samples(header):
    """[(line, text)] of the header's samples."""
    found, block, gap = [], None, False
    for number, line in enumerate(header.read_text().splitlines() + [""], 1):
        match = re.fullmatch(r"\s*///(.*)", line)
        inside = match.group(1) if match else None
        if inside is not None and not inside.strip():
            if block is not None:
                block[1].append("")
            gap = True
        elif inside is not None and inside.startswith("     ") and (block is not None or gap):
            if block is None:
                block = (number, [])
            block[1].append(inside[5:])
        else:
            if block is not None:
                found.append((block[0], "\n".join(block[1]).rstrip()))
            block, gap = None, False
    return found


def filled(text):
    """Without what a reader would fill in."""
    text = re.sub(r"\.\.\. \S[^\n]*? \.\.\.", "", text)
    text = re.sub(r",\s*\.\.\.(?=\s*[>)}])", "", text)
    return re.sub(r"\.\.\.", "", text)


def main():
    compiler = sys.argv[1]
    known = tomllib.loads((HERE / "given.toml").read_text())
    headers = [path for folder in FOLDERS for path in sorted((ROOT / folder).rglob("*.h")) if "internal" not in path.parts]
    source = [(HERE / "given.h").read_text()]
    used, count = set(), 0
    for header in headers:
        name = str(header.relative_to(ROOT))
        told = known.get(name, {})
        for number, text in samples(header):
            if any(text.startswith(words) for words in told.get("noCode", [])):
                used.add(name)
                continue
            count += 1
            at_file = any(text.startswith(words) for words in told.get("atFile", []))
            used.add(name)
            source.append(f"namespace sample{count} {{\nusing namespace given;\n{told.get('given', '')}")
            code = f"#line {number} \"{header}\"\n{filled(text)}\n"
            source.append(code if at_file else f"[[maybe_unused]] void sample() {{\n{code}}}")
            source.append("}")
    unused = set(known) - used
    if unused:
        sys.exit(f"given.toml: no samples in {', '.join(sorted(unused))}")
    if count == 0:
        sys.exit("there is no sample")
    ended = subprocess.run([compiler, "-std=c++20", "-fsyntax-only", "-w", f"-I{ROOT}", "-x", "c++", "-"], input="\n".join(source),
                           text=True, check=False)
    if ended.returncode != 0:
        sys.exit("a sample does not compile; what it takes as given is in tests/samples/given.toml")
    print(f"{count} samples compile")


main()
