"""Takes what the package ships as data from the program: `python3 -m loamtunnel.collect build/debug/tools/loamtunnel`.

`data/schema.json` is what `loamtunnel schema --json` prints.
`data/tables.json` has the tables of the chips: the geometry that `loamtunnel tables --json` prints, and for each row format the
fields that `loamtunnel layout --json` prints, each format once.
"""

import json
import pathlib
import subprocess
import sys


def printed(program: str, *arguments: str):
    done = subprocess.run([program, *arguments, "--json"], capture_output=True, text=True, check=True)
    return json.loads(done.stdout)


def variants(told: str) -> list[int] | None:
    """`0-4` as a list; None for `any`."""
    if told == "any":
        return None
    first, _, last = told.partition("-")
    return list(range(int(first), int(last or first) + 1))


def tables(program: str) -> dict:
    formats: list[list] = []
    found: dict[str, dict] = {}
    for each in printed(program, "tables"):
        for variant in variants(each["variants"]) or [None]:
            asked = ["--chip", str(each["chip"]), "--table", each["table"]]
            asked += [] if variant is None else ["--variant", str(variant)]
            fields = [[f["field"], f["id"], f["type"], f["lo"], f["width"]] for f in printed(program, "layout", *asked)]
            if fields not in formats:
                formats.append(fields)
            found.setdefault(each["table"], {}).setdefault(str(each["chip"]), {})[
                "any" if variant is None else str(variant)
            ] = {
                "words": each["words"],
                "entries": each["entries"],
                "array": each["array"],
                "base": int(each["base"], 16),
                "block": int(each["block"], 16),
                "blocks": each["blocks"],
                "format": formats.index(fields),
            }
    return {"tables": found, "formats": formats}


def written(data) -> str:
    """JSON with a line for each member of the first two levels, so that a change shows as such."""
    lines = []
    for name, part in data.items():
        items = (
            [f"{json.dumps(k)}: {json.dumps(v)}" for k, v in part.items()]
            if isinstance(part, dict)
            else map(json.dumps, part)
        )
        begin, end = ("{", "}") if isinstance(part, dict) else ("[", "]")
        lines.append(f'"{name}": {begin}\n' + ",\n".join(items) + f"\n{end}")
    return "{\n" + ",\n".join(lines) + "\n}\n"


def main(program: str) -> None:
    data = pathlib.Path(__file__).parent / "data"
    schema = subprocess.run([program, "schema", "--json"], capture_output=True, text=True, check=True).stdout
    (data / "schema.json").write_text(schema)
    (data / "tables.json").write_text(written(tables(program)))


if __name__ == "__main__":
    main(*sys.argv[1:])
