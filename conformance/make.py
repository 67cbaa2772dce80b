#!/usr/bin/env python3
"""Adds vectors for types of the schema that have none yet.

    python3 conformance/make.py

A vector that is there is never changed: it follows from the documents. Those of sessions are written by hand. The bytes come from the rules of docs/attribute-log.md as they stand below, and from no implementation.
"""

from __future__ import annotations

import json
import pathlib

from run import number, string

HERE = pathlib.Path(__file__).resolve().parent
DATA = HERE.parent / "python" / "loamtunnel" / "data"
ALL = {each["name"]: each for each in json.loads((DATA / "schema.json").read_text())["types"]}
SCHEMA = {name: each for name, each in ALL.items() if not each["platform"]}
QUOTED = {"Lumen::IntfId": "U64", "Lumen::IpAddr": "address", "Sideband::Fapmask": "chips"}  # with texts of their own
HOME = "Hardware::LoamTunnel::"
BYTES = {"bool": 1, "U8": 2, "U16": 2, "U32": 4, "U64": 8, "int": 4}
BITS = {"U8": 8, "U16": 16, "U32": 32, "U64": 64}

ORDER = "A value is the forms of its stored attributes in their order, with nothing in between."
ENUMERATOR = "int, enumerator: 4, most significant first"
TEXTS = "`loamtunnel value` turns such texts into JSON, bytes and rows, and back."
JSONS = "JSON is an object by attributes, wire the bytes of an attribute log"
SHORT = "The entry: its kind, then field=value, such as AradLifAcMp vsi=100 vlanEditVid1=20"
PATHS = "The place, such as lifStatus.appStatus[vtAppMpls].lifEntry[AradLifAcMp vsi=100]"
UNKNOWN = "A value that is out of its range, such as an unknown enumerator, is a fault of the record alone"


def section(kind: int, data: bytes) -> bytes:
    return bytes((kind,)) + len(data).to_bytes(2, "big") + data


def stored(name: str) -> list[tuple[str, str]]:
    return [tuple(each[:2]) for each in ALL[name]["constructorArgs"]]


def enumerators(name: str) -> dict[str, int] | None:
    found = ALL.get(name, {})
    return (
        {each["name"]: each["number"] for each in found["enumerators"]} if found.get("kind") == "enumeration" else None
    )


def form_of(name: str) -> str | None:
    """How a value of the platform travels that is a number, or has a text of its own."""
    found = ALL.get(name, {})
    if found.get("platform") and found["text"] == "bare":
        return stored(name)[0][1]
    return QUOTED.get(name)


def most_of(name: str, attribute: str) -> int | None:
    """The greatest number that the owner of a stored attribute takes, where that is less than its type has."""
    found = next(each for each in ALL[name]["attributes"] if each["name"] == attribute)
    return int(found["most"]) if found.get("words") else None


def chips(text: str) -> list[int]:
    found = []
    for part in filter(None, text.split(",")):
        first, _, last = part.partition("-")
        found += range(int(first), int(last or first) + 1)
    return found


def wire(name: str, value) -> bytes:
    """The bytes of a value, which is given as its JSON."""
    if name in BYTES:
        return int(value).to_bytes(BYTES[name], "big")
    known = enumerators(name)
    if known:
        return known[value].to_bytes(4, "big")
    form = form_of(name)
    if form == "address":
        return bytes(map(int, value.split(".")))
    if form == "chips":
        words = [0] * 8
        for chip in chips(value):
            words[chip // 16] |= 1 << chip % 16
        present = sum(1 << i for i, word in enumerate(words) if word)
        return b"".join(each.to_bytes(2, "big") for each in (present, *filter(None, words)))
    if form == "U64":
        return int(value or "0", 16).to_bytes(8, "big")
    if form:
        return value["value"].to_bytes(BYTES[form], "big")
    return b"".join(wire(type_, value[attribute]) for attribute, type_ in stored(name))


def text(name: str, value) -> str:
    if name == "bool":
        return str(value)
    if name in BYTES:
        return str(value)
    form = form_of(name)
    if enumerators(name) or form in ("address", "chips", "U64"):
        return f"'{value}'"
    if form:
        return str(value["value"])
    if name in SCHEMA and len(stored(name)) == 1:
        return str(value[stored(name)[0][0]])
    return f"Value('{name}', ** {{{', '.join(f'{a!r}: {text(t, value[a])}' for a, t in stored(name))}}})"


def has_interface(name: str) -> bool:
    return name == "Lumen::IntfId" or any(has_interface(t) for _, t in stored_or_none(name))


def stored_or_none(name: str):
    if name in BYTES or enumerators(name) or form_of(name):
        return []
    return stored(name)


def sample(name: str, which: str, most: int | None = None):
    """A value as its JSON: `least`, `greatest`, or `mixed`, whose fields differ from each other."""
    if name == "bool":
        return which != "least"
    if name in BITS:
        top = (1 << BITS[name]) - 1 if most is None else most
        return {"least": 0, "greatest": top, "mixed": 0x123456789ABCDEF0 % (top + 1)}[which]
    known = enumerators(name)
    if known:
        names = list(known)
        return {"least": names[0], "greatest": names[-1], "mixed": names[len(names) // 2]}[which]
    form = form_of(name)
    if form == "address":
        return {"least": "0.0.0.0", "greatest": "255.255.255.255", "mixed": "10.1.2.3"}[which]
    if form == "chips":
        return {"least": "", "greatest": "0-127", "mixed": "0,15,33-35"}[which]
    if form == "U64":
        return {"least": "", "greatest": "0xffffffffffffffff", "mixed": "0x0123456789abcdef"}[which]
    if form:
        top = most_of(name, stored(name)[0][0]) or (1 << BITS[form]) - 1
        return {"value": {"least": 0, "greatest": top, "mixed": 0x1234567 % (top + 1)}[which]}
    made = {a: sample(t, which, most_of(name, a) if t in BITS else None) for a, t in stored(name)}
    for each in ALL[name]["attributes"]:
        if each.get("always"):  # what is made from a text has these bits
            made[each["name"]] |= int(each["always"])
    if "tag" in ALL[name]:  # a view is of the type that it is a view of
        made["lifType"] = ALL[name]["tag"]
    return made


def values() -> list[dict]:
    found = []
    for name, each in SCHEMA.items():
        short = name.removeprefix(HOME)
        if each["kind"] == "enumeration" and name.startswith(HOME):
            for enumerator, code in enumerators(name).items():
                found.append(
                    {"name": f"value/{short}/{enumerator}", "level": "Required", "rule": ENUMERATOR, "type": name}
                    | {"value": enumerator, "bytes": code.to_bytes(4, "big").hex(" "), "text": f"'{enumerator}'"}
                    | {"short": enumerator}
                )
            found.append(
                {"name": f"value/{short}/unknown", "level": "Required", "rule": UNKNOWN, "type": name, "refused": True}
                | {"bytes": "00 00 03 e7"}
            )
        if each["kind"] == "value" and name.startswith(HOME):
            for which in ("least", "greatest", "mixed") if stored(name) else ("only",):
                value = sample(name, which) if stored(name) else {}
                made = {"name": f"value/{short}/{which}", "level": "Required", "rule": ORDER, "type": name}
                made["bytes"] = wire(name, value).hex(" ")
                # Those of interfaces, which have a rule of their own, are written by hand.
                if which == "least" or not has_interface(name):
                    made |= {"value": value, "text": text(name, value)}
                found.append(made)
        if each["kind"] == "value" and name.startswith(HOME) and stored(name) and not has_interface(name):
            value = sample(name, "mixed")
            words = [(a, text(t, value[a]).lower() if t == "bool" else text(t, value[a])) for a, t in stored(name)]
            if not any("(" in word for _, word in words):  # values inside of it have no short form
                found.append(
                    {
                        "name": f"value/{short}/short",
                        "level": "Recommended",
                        "rule": PATHS,
                        "type": name,
                        "value": value,
                    }
                    | {"bytes": wire(name, value).hex(" "), "text": text(name, value)}
                    | {"short": " ".join([short, *(f"{a}={word.strip(chr(39))}" for a, word in words)])}
                )
    views = {
        "AradLifAcMp vsi=100 vlanEditVid1=20": (
            "AradLifAcMp",
            {"lifType": "lifAcMp", "dword0": 20 << 48 | 100, "dword1": 0},
        ),
        "AradLifPweToP2p sysInLif=9": (
            "AradLifPweToP2p",
            {"lifType": "lifLabelPweP2p", "dword0": 9 << 17, "dword1": 0},
        ),
        "AradLifAcP2pToAc outLif=1 useInLif=true": (
            "AradLifAcP2pToAc",
            {"lifType": "lifAcP2pToAc", "dword0": 1 << 20, "dword1": 1 << 32},
        ),
    }
    for given, (short, value) in views.items():
        found.append(
            {
                "name": f"value/{short}/fields",
                "level": "Recommended",
                "rule": SHORT,
                "type": HOME + short,
                "value": value,
            }
            | {"bytes": wire(HOME + short, value).hex(" "), "text": text(HOME + short, value), "short": given}
        )
    return found


# Records, as run.py reads them: entity, attribute (and /secondary), form, payload; <name> is the number of an id.


def record(entity, attribute: int, payload: bytes | str = b"", form: int = 1, secondary: int | None = None) -> str:
    load = payload.hex(" ") if isinstance(payload, bytes) else payload
    return f"{entity} {attribute}{f'/{secondary}' if secondary else ''} {form} {load}".strip()


def sync(entity, mode: int) -> str:
    return record(entity, 135, mode.to_bytes(4, "big"), 0)


def marker(entity, attribute: int, kind: int) -> str:
    return record(entity, attribute, number(kind) + number(0), 4)


def want(path: str, wish: int = 1) -> str:
    return record(1, 164, string(path) + number(wish))


def types(name: str) -> bytes:
    names = []
    while name in SCHEMA:
        names.append(name)
        name = SCHEMA[name]["base"]
    return b"".join(map(string, names))


def announced(name: str, argument: bytes, id_: str, path: str, bits: str, wish: int) -> str:
    """An announcement; `bits` may be `??` where it may be one or the other."""
    head = section(1, types(name)) + section(3, argument)
    tail = string(path).hex(" ") + f" {bits} {number(wish).hex(' ')}"
    return record(1, 136, f"{head.hex(' ')} 04 00 01 {id_} 05 {(len(path) + 4).to_bytes(2, 'big').hex(' ')} {tail}")


def keys(name: str) -> list:
    """What an entity is made from, if that is more than a name."""
    return [each for each in SCHEMA[name]["constructorArgs"] if each[1] != "Kor::Name"]


def travels(name: str) -> list[dict]:
    """The attributes of an entity that travel, with their role."""
    found = []
    for each in SCHEMA[name]["attributes"]:
        if each["travels"]:
            role = "children" if each["child"] else "references" if each["reference"] else each["role"]
            found.append(each | {"role": "scalar" if role == "singleton" else role})
    return sorted(found, key=lambda each: each["id"])


ENTITIES = [n for n, each in SCHEMA.items() if each["kind"] == "entity" and each["travels"]]
NOT_BY_THEMSELVES = {HOME + "OutAcConfig", HOME + "OutAcStatus"}  # a process makes these inside of others
SERVED = [n for n in ENTITIES if not keys(n) and n not in NOT_BY_THEMSELVES]
PARENTS = {each["type"]: (n, each) for n in SERVED for each in travels(n) if each["role"] == "children"}


def payloads(each: dict, which: str) -> tuple[bytes, bytes]:
    """Key and payload of a record that sets a key of a map."""
    key = sample(each["keyType"], which)
    if each["keyAttribute"]:
        value = sample(each["type"], which)
        return wire(each["keyType"], value[each["keyAttribute"]]), wire(each["type"], value)
    data = wire(each["keyType"], key)
    return data, data + wire(each["type"], sample(each["type"], which))


def is_sized(name: str) -> bool:
    """Whether all values of the type have as many bytes."""
    return name != "Sideband::Fapmask" and all(is_sized(t) for _, t in stored_or_none(name))


def state(entity, name: str, which: str = "mixed") -> list[str]:
    """The whole state of an entity with one key in each map, as it is sent."""
    made = [sync(entity, 2)]
    for each in travels(name):
        if each["role"] == "scalar":
            made.append(
                record(
                    entity,
                    each["id"],
                    wire(each["type"], sample(each["type"], which)),
                    0 if is_sized(each["type"]) else 1,
                )
            )
            continue
        made.append(marker(entity, each["id"], 0))
        if each["role"] == "map":
            made.append(record(entity, each["id"], payloads(each, which)[1]))
        made.append(marker(entity, each["id"], 2))
    return [*made, sync(entity, 1)]


def writer(path: str) -> list[dict]:
    """Connection a wants what is offered under a path, and has it as <root>."""
    return [
        {"connect": "a"},
        {"on": "a", "send": [want(path)]},
        {"on": "a", "root": "root", "path": path, "number": 1},
        {"on": "a", "expect": [sync("<root>", 2), sync("<root>", 3)]},
    ]


SET = "map attribute: From then on each change is one record"
CHILD = "A child is told by a record of its parent's map and then sent likewise"
PASS = "An entity is announced, then sent: sync mode 2, each scalar, each map between its markers, sync mode 1."
ANNOUNCED = (
    "An announcement has section 1, the type id of the entity and then those of its bases, nearest first; section 3, the argument of"
    " its constructor, which is its key or, without one, its name as a string; section 4, its entity id."
)
TAKEN = "A side can also push an entity of its own; the reader finds a place for it and answers with a verdict."
WANTED = "A root is sent only to a side that wants it: the want is answered by an announcement with a section 5"


def entities() -> list[dict]:
    found = []

    def add(name: str, rule: str, steps: list, roots: dict, role: str = "serve", level: str = "Required") -> None:
        found.append({"name": name, "level": level, "rule": rule, "role": role, "roots": roots, "steps": steps})

    for name in ENTITIES:
        short = name.removeprefix(HOME) if name.startswith(HOME) else "::" + name
        argument = keys(name)
        key = wire(argument[0][1], sample(argument[0][1], "mixed")) if argument else string("mine")
        named = bool(SCHEMA[name]["constructorArgs"]) and not argument
        if not named and not argument:
            key = string("")
        if name in SERVED:
            roots = {"root": name}
            called = string("root") if named else string("")
            add(
                f"entity/{short}/announced",
                ANNOUNCED,
                [
                    {"connect": "a"},
                    {"on": "a", "send": [want("root")]},
                    {"on": "a", "expect": [announced(name, called, "<root>", "root", "02", 1), sync("<root>", 3)]},
                ],
                roots,
            )
            add(
                f"entity/{short}/wanted",
                WANTED,
                [
                    {"connect": "a", "offers": [record(1, 162, string("root") + string(name) + b"\0"), record(1, 163)]},
                    {"on": "a", "expect": [record(1, 164, string("root").hex(" ") + " <wish>")]},
                    {"on": "a", "send": [announced_to(name, called), *state(5, name), sync(5, 3)]},
                    {"on": "a", "settled": True},
                ],
                {},
                role="monitor",
            )
            top, before = name, []
        elif name in PARENTS:
            top, via = PARENTS[name]
            roots = {"root": top}
            before = [
                {"on": "a", "send": [record("<root>", via["id"], key.hex(" ") + " 07", 3, 151), sync(7, 1)]},
            ]
            add(
                f"entity/{short}/child",
                CHILD,
                [
                    *writer("root"),
                    {"connect": "c"},
                    {"on": "c", "send": [want("root")]},
                    {"on": "c", "root": "top", "path": "root", "number": 1},
                    {"on": "c", "expect": [sync("<top>", 3)]},
                    {"on": "a", "send": [record("<root>", via["id"], key.hex(" ") + " 07", 3, 151), *state(7, name)]},
                    # To another side it comes as a child, with all that it has, in one way or the other.
                    {"on": "c", "expect": [record("<top>", via["id"], key.hex(" ") + " <child>", 3, 151)]},
                    {"on": "c", "expect": [each for each in state("<child>", name) if each.split()[2] == "1"]},
                    {"connect": "b"},
                    {"on": "b", "send": [want("root")]},
                    {"on": "b", "root": "copy", "path": "root", "number": 1},
                    {
                        "on": "b",
                        "expect": [record("<copy>", via["id"], key.hex(" ") + " <kid>", 3, 151), *state("<kid>", name)],
                    },
                    {"on": "b", "expect": [sync("<copy>", 3)]},
                    {"on": "a", "send": [record("<root>", -via["id"], key)]},
                    {"on": "c", "expect": [record("<top>", -via["id"], key)]},
                    {"on": "b", "expect": [record("<copy>", -via["id"], key)]},
                ],
                roots,
            )
        else:
            roots, before = {}, None
        add(
            f"entity/{short}/pushed",
            TAKEN,
            [
                {"connect": "a"},
                {
                    "on": "a",
                    "send": [announced(name, key, "07", "conformance", "01", 1), *state(7, name), sync(7, 3)],
                },
                {"on": "a", "expect": [record(1, 165, string("conformance").hex(" ") + " 01 ..")]},
                {"on": "a", "settled": True},
            ],
            {"root": HOME + "HwIvecs"},
        )
        if before is None:
            continue
        entity = "<root>" if not before else "7"
        for each in travels(name):
            if each["role"] == "scalar":
                data = wire(each["type"], sample(each["type"], "mixed"))
                form = 0 if is_sized(each["type"]) else 1
                changes, pattern = [record(entity, each["id"], data, form)], [("set", each["id"], data, form)]
            elif each["role"] == "map":
                one, other = payloads(each, "mixed"), payloads(each, "greatest")
                changes = [record(entity, each["id"], one[1]), record(entity, each["id"], other[1])]
                pattern = [("set", each["id"], one[1], 1), ("set", each["id"], other[1], 1)]
            else:
                continue
            steps = [*writer("root"), *before, {"on": "a", "send": changes}, {"on": "a", "settled": True}]
            steps += [{"connect": "b"}, {"on": "b", "send": [want("root")]}]
            if before:
                # The child comes with its parent's map.
                copy = "<kid>"
                steps.append(
                    {"on": "b", "expect": [record("*", PARENTS[name][1]["id"], key.hex(" ") + " <kid>", 3, 151)]}
                )
            else:
                copy = "<copy>"
                steps.append({"on": "b", "root": "copy", "path": "root", "number": 1})
            seen = [record(copy, id_, data, form) for _, id_, data, form in pattern]
            if each["role"] == "map":
                # In a pass the order of keys is the sender's own affair.
                steps.append({"on": "b", "expect": [marker(copy, each["id"], 0)]})
                steps.append({"on": "b", "expect": seen, "order": False})
                steps.append({"on": "b", "expect": [marker(copy, each["id"], 2)]})
            else:
                steps.append({"on": "b", "expect": [sync(copy, 2), *seen, sync(copy, 1)]})
            steps.append({"on": "b", "expect": ["* 135 0 00 00 00 03"]})
            add(f"entity/{short}/{each['name']}/set", PASS, steps, roots)
            if each["role"] == "map":
                again = payloads(each, "mixed")
                add(
                    f"entity/{short}/{each['name']}/delete",
                    SET,
                    [
                        *steps,
                        {"on": "a", "send": [record(entity, -each["id"], again[0])]},
                        {"on": "b", "expect": [record(copy, -each["id"], again[0])]},
                        {"on": "a", "send": [record(entity, each["id"], again[1])]},
                        {"on": "b", "expect": [record(copy, each["id"], again[1])]},
                    ],
                    roots,
                )
                add(
                    f"entity/{short}/{each['name']}/marker",
                    "After marker 2 the reader deletes what the pass did not mention.",
                    [
                        *steps,
                        {
                            "on": "a",
                            "send": [
                                marker(entity, each["id"], 0),
                                record(entity, each["id"], other[1]),
                                marker(entity, each["id"], 2),
                            ],
                        },
                        {"on": "b", "expect": [record(copy, -each["id"], again[0])]},
                        {"on": "a", "settled": True},
                        {"on": "b", "settled": True},
                        {"on": "b", "never": [record(copy, -each["id"], other[0])]},
                    ],
                    roots,
                )
    return found


def announced_to(name: str, called: bytes) -> str:
    """The answer to a want whose number has been bound as <wish>."""
    made = announced(name, called, "05", "root", "00", 1)
    return made[: -len("01")] + "<wish>"


def told(vector: dict) -> str:
    """A vector as JSON, with a line for each step."""
    steps = vector.get("steps")
    if steps is None:
        return json.dumps(vector)
    head = json.dumps({name: each for name, each in vector.items() if name != "steps"})
    return head[:-1] + ', "steps": [\n' + ",\n".join("  " + json.dumps(each) for each in steps) + "\n]}"


def written(path: pathlib.Path, vectors: list[dict]) -> None:
    kept = json.loads(path.read_text()) if path.exists() else []
    names = {each["name"] for each in kept}
    added = [each for each in vectors if each["name"] not in names]
    path.write_text("[\n" + ",\n".join(map(told, [*kept, *added])) + "\n]\n")
    print(f"{path.name}: {len(kept)} kept, {len(added)} added")


if __name__ == "__main__":
    written(HERE / "vectors" / "values.json", values())
    written(HERE / "vectors" / "entities.json", entities())
