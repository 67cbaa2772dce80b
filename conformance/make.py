#!/usr/bin/env python3
"""Adds vectors for types of the schema that have none yet. A vector that is there is never changed: it follows from the documents.

    python3 conformance/make.py

The bytes come from the rules of docs/attribute-log.md as they stand below, and from no implementation.
"""

from __future__ import annotations

import json
import pathlib

HERE = pathlib.Path(__file__).resolve().parent
DATA = HERE.parent / "python" / "loamtunnel" / "data"
SCHEMA = {each["name"]: each for each in json.loads((DATA / "schema.json").read_text())}
EXTRA = json.loads((DATA / "extra.json").read_text())
PLATFORM = EXTRA["platform"]
HOME = "Hardware::LoamTunnel::"
OPERATION = 8
BYTES = {"bool": 1, "U8": 2, "U16": 2, "U32": 4, "U64": 8, "int": 4}
BITS = {"U8": 8, "U16": 16, "U32": 32, "U64": 64}

ORDER = "A value is the forms of its stored attributes in their order, with nothing in between."
ENUMERATOR = "int, enumerator: 4, most significant first"
TEXTS = "`loamtunnel value` turns such texts into JSON, bytes and rows, and back."
JSONS = "JSON is an object by attributes, wire the bytes of an attribute log"
SHORT = "The entry: its kind, then field=value, such as AradLifAcMp vsi=100 vlanEditVid1=20"
UNKNOWN = "A value that is out of its range, such as an unknown enumerator, is a fault of the record alone"


def number(value: int) -> bytes:
    out = bytearray()
    while value > 0x7F:
        out.append(value & 0x7F | 0x80)
        value >>= 7
    return bytes((*out, value))


def string(text: str) -> bytes:
    return len(text.encode()).to_bytes(2, "big") + text.encode()


def section(kind: int, data: bytes) -> bytes:
    return bytes((kind,)) + len(data).to_bytes(2, "big") + data


def stored(name: str) -> list[tuple[str, str]]:
    if name in PLATFORM:
        return [(a, b) for a, b, _ in PLATFORM[name]["stored"]]
    return [tuple(each[:2]) for each in SCHEMA[name]["constructorArgs"]]


def enumerators(name: str) -> dict[str, int] | None:
    if name in PLATFORM:
        return PLATFORM[name].get("enumerators")
    found = SCHEMA.get(name, {})
    return {each["name"]: each["number"] for each in found["enumerators"]} if found.get("kind") == "enumeration" else None


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
    form = PLATFORM.get(name, {}).get("form")
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
    form = PLATFORM.get(name, {}).get("form")
    if enumerators(name) or form in ("address", "chips", "U64"):
        return f"'{value}'"
    if form:
        return str(value["value"])
    scalar = EXTRA["scalars"].get(name)
    if scalar:
        return str(value[scalar])
    return f"Value('{name}', ** {{{', '.join(f'{a!r}: {text(t, value[a])}' for a, t in stored(name))}}})"


def has_interface(name: str) -> bool:
    return name == "Lumen::IntfId" or any(has_interface(t) for _, t in stored_or_none(name))


def stored_or_none(name: str):
    if name in BYTES or enumerators(name) or PLATFORM.get(name, {}).get("form"):
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
    platform = PLATFORM.get(name, {})
    form = platform.get("form")
    if form == "address":
        return {"least": "0.0.0.0", "greatest": "255.255.255.255", "mixed": "10.1.2.3"}[which]
    if form == "chips":
        return {"least": "", "greatest": "0-127", "mixed": "0,15,33-35"}[which]
    if form == "U64":
        return {"least": "", "greatest": "0xffffffffffffffff", "mixed": "0x0123456789abcdef"}[which]
    if form:
        top = platform.get("most") or (1 << BITS[form]) - 1
        return {"value": {"least": 0, "greatest": top, "mixed": 0x1234567 % (top + 1)}[which]}
    limits = EXTRA["limits"].get(name, {})
    made = {a: sample(t, which, limits.get(a, (None,))[0]) for a, t in stored(name)}
    always = EXTRA["always"].get(name)
    if always:  # what is made from a text has these bits
        made[always[0]] |= always[1]
    fixed = EXTRA["defaults"].get(name, {}).get("lifType")
    if fixed:  # a view is of the type that it is a view of
        made["lifType"] = fixed
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
                # How the name of an interface and its number belong together is told nowhere.
                if which == "least" or not has_interface(name):
                    made |= {"value": value, "text": text(name, value)}
                found.append(made)
    views = {
        "AradLifAcMp vsi=100 vlanEditVid1=20": ("AradLifAcMp", {"lifType": "lifAcMp", "dword0": 20 << 48 | 100, "dword1": 0}),
        "AradLifPweToP2p sysInLif=9": ("AradLifPweToP2p", {"lifType": "lifLabelPweP2p", "dword0": 9 << 17, "dword1": 0}),
        "AradLifAcP2pToAc outLif=1 useInLif=true": (
            "AradLifAcP2pToAc",
            {"lifType": "lifAcP2pToAc", "dword0": 1 << 20, "dword1": 1 << 32},
        ),
    }
    for given, (short, value) in views.items():
        found.append(
            {"name": f"value/{short}/fields", "level": "Recommended", "rule": SHORT, "type": HOME + short, "value": value}
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
    arguments = [each[0] for each in keys(name)]
    kinds = {n: e["kind"] for n, e in SCHEMA.items()} | dict.fromkeys(PLATFORM, "value")
    for each in SCHEMA[name]["attributes"]:
        is_plain = each["type"] in BYTES or each["type"] in kinds
        if each["id"] < 258 or each["name"] in arguments:
            continue
        if each["keyType"]:
            role = "children" if kinds.get(each["type"]) == "entity" else "map"
            if each["name"] in EXTRA["references"].get(name, ()):
                role = "references"
            found.append(each | {"role": role})
        elif not each["args"] and is_plain and each["introspection"] != OPERATION:
            found.append(each | {"role": "scalar"})
    return sorted(found, key=lambda each: each["id"])


ENTITIES = [n for n, each in SCHEMA.items() if each["kind"] == "entity" and n not in EXTRA["doNotTravel"]]
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
                record(entity, each["id"], wire(each["type"], sample(each["type"], which)), 0 if is_sized(each["type"]) else 1)
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
                    {"on": "b", "expect": [record("<copy>", via["id"], key.hex(" ") + " <kid>", 3, 151), *state("<kid>", name)]},
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
                steps.append({"on": "b", "expect": [record("*", PARENTS[name][1]["id"], key.hex(" ") + " <kid>", 3, 151)]})
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
                            "send": [marker(entity, each["id"], 0), record(entity, each["id"], other[1]), marker(entity, each["id"], 2)],
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


# Sessions: hello, version skew, refusals, exchanges.

LIF = {"lif": HOME + "LifAppConfigDir"}
DIR = HOME + "LifAppConfigDir"
MPLS = (7).to_bytes(4, "big")
MAGIC = bytes.fromhex("89 4c 6f 61 6d 4c 6f 67")


def count(lif: int, value: int) -> bytes:
    """The payload of a count: key (lifAcMp, lif, 0), value."""
    return lif_key(lif) + value.to_bytes(4, "big")


def lif_key(lif: int) -> bytes:
    return (4).to_bytes(4, "big") + lif.to_bytes(8, "big") + bytes(8)


def preamble(lowest: int, highest: int, magic: bytes = MAGIC) -> bytes:
    return magic + lowest.to_bytes(2, "big") + highest.to_bytes(2, "big")


def raw(entity: int, attribute: int, payload: bytes, form: int = 1) -> bytes:
    body = bytes((form,)) + number(entity) + number(2 * attribute if attribute >= 0 else -2 * attribute - 1) + payload
    return len(body).to_bytes(2, "big") + body


def hello(name: bytes = b"conformance", limits=(4096, 262144, 65536, 1024), without: int = 0, extra: bytes = b"") -> bytes:
    parts = {16: len(name).to_bytes(2, "big") + name, 17: (1).to_bytes(8, "big")}
    parts[18] = b"".join(each.to_bytes(4, "big") for each in limits)
    return raw(1, 160, b"".join(section(k, v) for k, v in parts.items() if k != without) + extra)


def sessions() -> list[dict]:
    found = []

    def add(name: str, rule: str, steps: list, level: str = "Required", role: str = "serve", writable: bool = True) -> None:
        roots = LIF if role == "serve" else {}
        made = {"name": name, "level": level, "rule": rule, "role": role, "roots": roots, "writable": writable}
        found.append(made | {"steps": steps})

    # Hello and version skew

    refused = "A hello is refused, with a goodbye, if its magic is another one, if no protocol is common, and for a longest record"
    refused += " outside of 1024 to 65535, a ring shorter than two of those, no entities, or a name with control characters."
    for role in ("serve", "monitor"):

        def opening(data: bytes, *rest: dict) -> list:
            return [{"connect": "a", "raw": True}, {"on": "a", "bytes": data.hex()}, *rest]

        over = {"on": "a", "ends": True, "goodbye": True}
        settled = {"on": "a", "settled": True}
        told = raw(1, 163, b"").hex()
        add(
            f"hello/{role}/at-once",
            "each sends its own at once, and nothing else but a goodbye before it has read the other's",
            [{"connect": "a", "raw": True}, {"on": "a", "silent": 0.2}],
            role=role,
        )
        for lowest, highest in ((2, 2), (1, 2)):
            add(
                f"hello/{role}/protocols-{lowest}-to-{highest}",
                "both use the highest one that both speak",
                opening(preamble(lowest, highest) + hello(), {"on": "a", "bytes": told}, settled),
                role=role,
            )
        for lowest, highest in ((0, 0), (1, 1), (60000, 60001)):
            rule, start = refused, preamble(lowest, highest) + hello()
            add(f"hello/{role}/protocols-{lowest}-to-{highest}", rule, opening(start, over), role=role)
        bad = {
            "magic": preamble(2, 2, b"\x89LoamLoh") + hello(),
            "no-name": preamble(2, 2) + hello(without=16),
            "no-checksum": preamble(2, 2) + hello(without=17),
            "no-limits": preamble(2, 2) + hello(without=18),
            "record-of-1023": preamble(2, 2) + hello(limits=(1023, 262144, 65536, 1024)),
            "record-of-65536": preamble(2, 2) + hello(limits=(65536, 262144, 65536, 1024)),
            "ring-of-one-record": preamble(2, 2) + hello(limits=(4096, 8191, 65536, 1024)),
            "no-entities": preamble(2, 2) + hello(limits=(4096, 262144, 0, 1024)),
            "control-character": preamble(2, 2) + hello(name=b"con\x07formance"),
            "name-of-65-bytes": preamble(2, 2) + hello(name=b"n" * 65),
            "record-before-it": preamble(2, 2) + raw(1, 163, b""),
        }
        for what, data in bad.items():
            rule = {
                "no-name": "All three must be there",
                "no-checksum": "All three must be there",
                "no-limits": "All three must be there",
                "name-of-65-bytes": "string name, at most 64 bytes",
                "record-before-it": "The first record is the hello, whose form no later protocol changes.",
            }.get(what, refused)
            add(f"hello/{role}/{what}", rule, opening(data, over), role=role)
        good = {
            "name-of-64-bytes": (hello(name=b"n" * 64), "string name, at most 64 bytes"),
            "record-of-1024": (hello(limits=(1024, 2048, 1, 1)), refused),
            "record-of-65535": (hello(limits=(65535, 131070, 1, 1)), refused),
            "unknown-section": (hello(extra=section(99, b"new")), "An unknown one is passed over."),
        }
        for what, (data, rule) in good.items():
            add(
                f"hello/{role}/{what}",
                rule,
                opening(preamble(2, 2) + data, {"on": "a", "bytes": told}, settled),
                role=role,
            )
        add(
            f"hello/{role}/one-byte-at-a-time",
            "What carries the bytes, and in what pieces, does not matter.",
            [
                {"connect": "a", "raw": True},
                {"on": "a", "bytes": (preamble(2, 2) + hello() + raw(1, 163, b"")).hex(), "singly": True},
                settled,
            ],
            role=role,
        )

    # Faults of the stream

    ends = {"on": "a", "ends": True}
    child = [{"on": "a", "send": [record("<root>", 258, MPLS.hex(" ") + " 07", 3, 151), sync(7, 1)]}]
    base = [*writer("lif"), *child]
    stream = "A longer one, a number in an unsound form, an unknown bit of the form, and a payload that is shorter or longer than its"
    stream += " attribute are faults of the stream: the reader ends the connection."
    given = "An id that its sender may not give, and more entities than the limit, end the connection."
    faults = {
        "record-of-4097-bytes": (b"\x0f\xff\x01\x01\xcc\x02" + bytes(0xFFF - 4), stream),
        "number-longer-than-it-must-be": (bytes.fromhex("0008 00 8700 8e02 00000001"), stream),
        "number-of-eleven-bytes": (bytes.fromhex("000f 00 8080808080808080808001 8e02 00"), stream),
        "number-above-64-bits": (bytes.fromhex("000e 00 ffffffffffffffffff02 8e02 00"), stream),
        "number-cut": (bytes.fromhex("0002 00 87"), stream),
        "unknown-bit-8": (raw(7, 259, count(1, 1), 9), stream),
        "unknown-bit-128": (raw(7, 259, count(1, 1), 129), stream),
        "map-payload-short": (raw(7, 259, count(1, 1)[:-1]), stream),
        "map-payload-long": (raw(7, 259, count(1, 1) + b"\0"), stream),
        "deletion-payload-short": (raw(7, -259, lif_key(1)[:-1]), stream),
        "deletion-payload-long": (raw(7, -259, lif_key(1) + b"\0"), stream),
        "sync-mode-short": (raw(7, 135, bytes(3), 0), stream),
        "id-of-the-other-side": (
            raw(1, 136, section(1, types(DIR)) + section(3, string("x")) + section(4, b"\x09") + section(5, string("x") + b"\1\1")),
            given,
        ),
        "id-that-is-even": (
            raw(1, 136, section(1, types(DIR)) + section(3, string("x")) + section(4, b"\x0a") + section(5, string("x") + b"\1\1")),
            given,
        ),
    }
    for what, (data, rule) in faults.items():
        add(f"fault/{what}", rule, [*base, {"on": "a", "bytes": data.hex()}, ends])
    add(
        "fault/record-longer-than-agreed",
        "Of the two longest records the smaller one holds from then on.",
        [{"connect": "a", "limits": [1024, 262144, 65536, 1024]}, {"on": "a", "bytes": raw(1, 200, bytes(1100)).hex()}, ends],
    )
    add(
        "fault/server-goes-on",
        "a fault of the stream: the reader ends the connection",
        [*base, {"on": "a", "bytes": "0008 00 8700 8e02 00000001".replace(" ", "")}, ends, {"connect": "b"}]
        + [{"on": "b", "settled": True}],
    )

    # What is passed over

    passed = "a record of an unknown entity, attribute or type is passed over and counted"
    after = [
        {"on": "a", "settled": True},
        {"on": "a", "send": [record(7, 259, count(5, 6))]},
        {"on": "a", "settled": True},
        {"connect": "b"},
        {"on": "b", "send": [want("lif")]},
        {"on": "b", "root": "copy", "path": "lif", "number": 1},
        {"on": "b", "expect": [record("<copy>", 258, MPLS.hex(" ") + " <kid>", 3, 151)]},
        {"on": "b", "expect": [record("<kid>", 259, count(5, 6)), marker("<kid>", 259, 2), sync("<kid>", 1), sync("<copy>", 3)]},
    ]
    bad_key = (99).to_bytes(4, "big") + bytes(16)
    for what, sent, rule in (
        ("unknown-entity", [record(4091, 259, count(1, 1))], passed),
        ("unknown-attribute", [record(7, 700, b"\0\1")], passed),
        ("unknown-deletion", [record(7, -700, b"\0\1")], passed),
        ("unknown-attribute-of-the-session", [record(1, 900, b"\0\1")], passed),
        ("unknown-enumerator", [record(7, 259, bad_key + bytes(4))], "an unknown enumerator that is the key of a child is kept as its number, any other fails its record"),
        ("unknown-enumerator-deleted", [record(7, -259, bad_key)], "an unknown enumerator that is the key of a child is kept as its number, any other fails its record"),
        ("end-without-start", [marker(7, 259, 2)], "A marker 2 without a 0 before it says nothing."),
    ):
        never = [record("<kid>", 259, bad_key + bytes(4))]
        add(f"passed-over/{what}", rule, [*base, {"on": "a", "send": sent}, *after, {"on": "b", "never": never}])
    keeps = [{"on": "a", "send": [record(7, 259, count(1, 1))]}]
    add(
        "pass/aborted",
        "number type: 0 starts a full pass of the attribute, 1 aborts it, 2 ends it",
        [*base, *keeps, {"on": "a", "send": [marker(7, 259, 0), marker(7, 259, 1), marker(7, 259, 2)]}]
        + [*after[:-1], {"on": "b", "expect": [record("<kid>", 259, count(1, 1)), record("<kid>", 259, count(5, 6))], "order": False}],
    )
    add(
        "pass/of-children",
        "After marker 2 the reader deletes what the pass did not mention.",
        [
            *base,
            {"on": "a", "send": [record("<root>", 258, (6).to_bytes(4, "big").hex(" ") + " 0b", 3, 151), sync(11, 1)]},
            {"on": "a", "settled": True},
            {"connect": "b"},
            {"on": "b", "send": [want("lif")]},
            {"on": "b", "root": "copy", "path": "lif", "number": 1},
            {"on": "b", "expect": [sync("<copy>", 3)]},
            {"on": "a", "send": [marker("<root>", 258, 0), record("<root>", 258, MPLS.hex(" ") + " 07", 3, 151), marker("<root>", 258, 2)]},
            {"on": "b", "expect": [record("<copy>", -258, (6).to_bytes(4, "big"))]},
            {"on": "a", "settled": True},
            {"on": "b", "settled": True},
            {"on": "b", "never": [record("<copy>", -258, MPLS)]},
        ],
    )
    add(
        "passed-over/unknown-child-key-is-kept",
        "an unknown enumerator that is the key of a child is kept as its number",
        [
            *writer("lif"),
            {"on": "a", "send": [record("<root>", 258, "00 00 03 e7 07", 3, 151), sync(7, 1), record(7, 259, count(1, 2))]},
            {"on": "a", "settled": True},
            {"connect": "b"},
            {"on": "b", "send": [want("lif")]},
            {"on": "b", "root": "copy", "path": "lif", "number": 1},
            {"on": "b", "expect": [record("<copy>", 258, "00 00 03 e7 <kid>", 3, 151), record("<kid>", 259, count(1, 2))]},
        ],
    )
    push = section(1, string("Hardware::LoamTunnel::Nonesuch")) + section(3, string("x")) + section(4, b"\x0b")
    add(
        "passed-over/unknown-type",
        passed,
        [*base, {"on": "a", "send": [record(1, 136, push + section(5, string("x") + b"\1\5")), record(11, 259, count(1, 1))]}, *after],
    )
    known = section(1, types(DIR)) + section(3, string("x")) + section(4, b"\x0b") + section(77, b"new")
    add(
        "passed-over/unknown-section-of-an-announcement",
        "An unknown one is passed over.",
        [*base, {"on": "a", "send": [record(1, 136, known + section(5, string("x") + b"\1\5"))]}]
        + [{"on": "a", "expect": [record(1, 165, string("x").hex(" ") + " 05 ..")]}, *after],
    )
    derived = section(1, string("Hardware::LoamTunnel::Newer") + types(DIR)) + section(3, string("x")) + section(4, b"\x0b")
    add(
        "passed-over/unknown-type-with-a-known-base",
        "section 1, the type id of the entity and then those of its bases, nearest first",
        [*base, {"on": "a", "send": [record(1, 136, derived + section(5, string("x") + b"\1\5"))]}]
        + [{"on": "a", "expect": [record(1, 165, string("x").hex(" ") + " 05 ..")]}, *after],
        level="Recommended",
    )
    found.append(
        {"name": "passed-over/bool-of-7", "level": "Required", "rule": "bool: 1: 0 or 1; a reader takes any other byte for 1"}
        | {"role": "serve", "roots": {"tags": HOME + "TagPopPushStatus"}, "writable": True}
        | {
            "steps": [
                *writer("tags"),
                {"on": "a", "send": [record("<root>", 258, b"\7", 0)]},
                {"on": "a", "settled": True},
                {"connect": "b"},
                {"on": "b", "send": [want("tags")]},
                {"on": "b", "root": "copy", "path": "tags", "number": 1},
                {"on": "b", "expect": [record("<copy>", 258, b"\1", 0)]},
            ]
        }
    )
    old = bytes.fromhex("0008 0010 00000102 00000000") + MPLS
    add(
        "passed-over/older-record-of-a-child",
        "attributes 144 and -144 of a map of children, read but never sent",
        [*writer("lif"), {"on": "a", "send": [record("<root>", 144, old + b"\7"), sync(7, 1)]}, *after],
    )
    add(
        "passed-over/older-record-deletes-a-child",
        "attributes 144 and -144 of a map of children, read but never sent",
        [
            *base,
            {"connect": "b"},
            {"on": "b", "send": [want("lif")]},
            {"on": "b", "root": "copy", "path": "lif", "number": 1},
            {"on": "b", "expect": [sync("<copy>", 3)]},
            {"on": "a", "send": [record("<root>", -144, bytes.fromhex("0008 0000 fffffefe") + MPLS)]},
            {"on": "b", "expect": [record("<copy>", -258, MPLS)]},
        ],
        level="Recommended",
    )

    # Wants, pushes, requests

    add(
        "want/unknown-path",
        "A want has one only if it is refused",
        [{"connect": "a"}, {"on": "a", "send": [want("nothing", 9)]}]
        + [{"on": "a", "expect": [record(1, 165, string("nothing").hex(" ") + " 09 00 ??" + " ..")]}, {"on": "a", "settled": True}],
    )
    add(
        "want/again",
        "A root that is wanted again, under a new number, is unmounted and announced again",
        [
            *writer("lif"),
            {"on": "a", "send": [want("lif", 2)]},
            {"on": "a", "expect": [record("<root>", -136, b"", 0)]},
            {"on": "a", "root": "again", "path": "lif", "number": 2},
            {"on": "a", "expect": [sync("<again>", 2), sync("<again>", 1), sync("<again>", 3)]},
        ],
    )
    add(
        "want/withdrawn",
        "Negative: no longer",
        [*writer("lif"), {"on": "a", "send": [record(1, -164, string("lif") + number(1))]}]
        + [{"on": "a", "expect": [record("<root>", -136, b"", 0)]}, {"on": "a", "settled": True}],
        level="Recommended",
    )
    add(
        "want/only-then",
        "A root is sent only to a side that wants it",
        [{"connect": "a"}, {"on": "a", "silent": 0.2}],
    )
    add(
        "offer/writable",
        "string path, type id, number 1 if the reader may write and 0 if not",
        [{"connect": "a", "raw": True}, {"on": "a", "bytes": (preamble(2, 2) + hello()).hex()}]
        + [{"on": "a", "expect": [record(1, 162, string("lif") + string(DIR) + b"\1"), record(1, 163)]}],
    )
    add(
        "offer/read-only",
        "string path, type id, number 1 if the reader may write and 0 if not",
        [{"connect": "a", "raw": True}, {"on": "a", "bytes": (preamble(2, 2) + hello()).hex()}]
        + [{"on": "a", "expect": [record(1, 162, string("lif") + string(DIR) + b"\0"), record(1, 163)]}],
        writable=False,
    )
    add(
        "offer/read-only-is-not-written",
        "number bits, 1: pushed, 2: the reader may write",
        [*base, {"on": "a", "settled": True}, {"connect": "b"}, {"on": "b", "send": [want("lif")]}]
        + [{"on": "b", "root": "copy", "path": "lif", "number": 1}, {"on": "b", "expect": [sync("<copy>", 3)]}]
        + [{"on": "b", "never": [record("<copy>", 258, MPLS.hex(" ") + " ..", 3, 151)]}],
        level="Recommended",
        writable=False,
    )
    add(
        "request/unknown-verb",
        "number id, number bits (1: more follows; 2: it is an error), string piece",
        [{"connect": "a"}, {"on": "a", "send": [record(1, 166, b"\1\0" + string("nonsense") + string("hi"))]}]
        + [{"on": "a", "expect": [record(1, 167, "01 02 ..")]}],
    )
    add(
        "request/in-pieces",
        "argument and answer have up to 65535 bytes, in pieces that fit the record",
        [
            {"connect": "a"},
            {"on": "a", "send": [record(1, 166, b"\1\1" + string("nonsense") + string("x" * 3000))] * 20},
            {"on": "a", "send": [record(1, 166, b"\1\0" + string("nonsense") + string("end"))]},
            {"on": "a", "send": [record(1, 166, b"\2\0" + string("nonsense") + string(""))]},
            {"on": "a", "expect": [record(1, 167, "01 02 .."), record(1, 167, "02 02 ..")]},
        ],
    )
    add(
        "request/answers-in-order",
        "answers come in the order of the requests. A side has at most 16 requests under way.",
        [{"connect": "a"}]
        + [{"on": "a", "send": [record(1, 166, number(i) + b"\0" + string("nonsense") + string("")) for i in range(1, 17)]}]
        + [{"on": "a", "expect": [record(1, 167, number(i).hex(" ") + " 02 ..") for i in range(1, 17)]}],
    )
    add(
        "child/new-and-empty",
        "one that is new and empty is followed by sync mode 1 alone",
        [
            {"connect": "b"},
            {"on": "b", "send": [want("lif")]},
            {"on": "b", "root": "copy", "path": "lif", "number": 1},
            {"on": "b", "expect": [sync("<copy>", 3)]},
            *base,
            {"on": "b", "expect": [record("<copy>", 258, MPLS.hex(" ") + " <kid>", 3, 151), sync("<kid>", 1)]},
            {"on": "b", "never": [sync("<kid>", 2)]},
        ],
    )
    add(
        "exchange/of-the-page",
        "Bytes of the side that connected, which mounts the `LifAppConfigDir` named \"lif\" with one child and one count, raises the"
        " count, deletes the child, and unmounts the directory",
        [
            *writer("lif"),
            {"connect": "b"},
            {"on": "b", "send": [want("lif")]},
            {"on": "b", "root": "copy", "path": "lif", "number": 1},
            {"on": "b", "expect": [sync("<copy>", 3)]},
            {
                "on": "a",
                "send": [
                    "<root> 258 4 00 00",
                    "<root> 258/151 3 00 00 00 07 0b",
                    "<root> 258 4 02 00",
                    "11 135 0 00 00 00 02",
                    "11 259 4 00 00",
                    "11 259 1 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 02 00 00 00 01",
                    "11 259 4 02 00",
                    "11 135 0 00 00 00 01",
                ],
            },
            {"on": "b", "expect": ["<copy> 258/151 3 00 00 00 07 <kid>"]},
            {"on": "b", "expect": ["<kid> 259 1 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 02 00 00 00 01"]},
            {"on": "a", "send": ["11 259 1 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 02 00 00 00 02"]},
            {"on": "b", "expect": ["<kid> 259 1 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 02 00 00 00 02"]},
            {"on": "a", "send": ["<root> -258 1 00 00 00 07"]},
            {"on": "b", "expect": ["<copy> -258 1 00 00 00 07"]},
            # With the child its id is gone.
            {"on": "a", "send": ["11 259 1 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 02 00 00 00 03"]},
            {"on": "a", "settled": True},
        ],
    )
    # The bytes are the page's own.
    part = (HERE.parent / "docs" / "attribute-log.md").read_text().split("\n## Sessions\n")[1].split("\n## ")[0]
    ours = "".join(line[6:].split("   ")[0].split("  ")[0] for line in part.splitlines() if line.startswith("    > "))
    data = bytes.fromhex(ours)
    split = data.index(bytes.fromhex("00 04 00 07 8f 02"))
    add(
        "exchange/session-of-the-page",
        "A session between \"mpls\", which connects (`>`), and \"driver\" (`<`)",
        [
            {"connect": "b"},
            {"on": "b", "send": [want("lif")]},
            {"on": "b", "root": "own", "path": "lif", "number": 1},
            {"on": "b", "send": [record("<own>", 258, MPLS.hex(" ") + " 07", 3, 151), sync(7, 1)]},
            {"on": "b", "settled": True},
            {"connect": "a", "raw": True},
            {"on": "a", "bytes": data[:split].hex()},
            {
                "on": "a",
                "expect": [
                    record(1, 162, string("lif") + string(DIR) + b"\1"),
                    record(1, 163),
                    record(1, 136, (section(1, types(DIR)) + section(3, string("lif"))).hex(" ") + " 04 00 01 <root> 05 00 07 00 03 6c 69 66 02 02"),
                    record(1, 165, string("request").hex(" ") + " 01 01 ??" + " .."),
                    record(1, 167, "01 02 .."),
                ],
                "order": False,
            },
        ],
    )
    found[-1]["steps"] += [{"on": "a", "bytes": data[split:].hex()}, ends]
    add(
        "exchange/state-of-a-root",
        PASS,
        [
            *base,
            {"on": "a", "send": [record(7, 259, count(1, 2))]},
            {"on": "a", "settled": True},
            {"connect": "b"},
            {"on": "b", "send": [want("lif")]},
            {"on": "b", "root": "copy", "path": "lif", "number": 1},
            {
                "on": "b",
                "expect": [sync("<copy>", 2), marker("<copy>", 258, 0), record("<copy>", 258, MPLS.hex(" ") + " <kid>", 3, 151)]
                + [marker("<copy>", 258, 2), sync("<copy>", 1)],
            },
        ],
    )
    found[-1]["steps"] += [
        {"connect": "c"},
        {"on": "c", "send": [want("lif")]},
        {"on": "c", "root": "third", "path": "lif", "number": 1},
        {
            "on": "c",
            "expect": [record("<third>", 258, MPLS.hex(" ") + " <kid3>", 3, 151), sync("<kid3>", 2), marker("<kid3>", 259, 0)]
            + [record("<kid3>", 259, count(1, 2)), marker("<kid3>", 259, 2), sync("<kid3>", 1), sync("<third>", 3)],
        },
    ]
    add(
        "exchange/two-writers",
        "From then on each change is one record",
        [
            *base,
            {"on": "a", "settled": True},
            {"connect": "b"},
            {"on": "b", "send": [want("lif")]},
            {"on": "b", "root": "copy", "path": "lif", "number": 1},
            {"on": "b", "expect": [record("<copy>", 258, MPLS.hex(" ") + " <kid>", 3, 151), sync("<copy>", 3)]},
            {"on": "b", "send": [record("<kid>", 259, count(1, 1))]},
            {"on": "a", "expect": [record(7, 259, count(1, 1))]},
            {"on": "a", "send": [record(7, 259, count(1, 2))]},
            {"on": "b", "expect": [record("<kid>", 259, count(1, 2))]},
            {"on": "b", "send": [record("<kid>", -259, lif_key(1))]},
            {"on": "a", "expect": [record(7, -259, lif_key(1))]},
            # Nobody hears again what it has said itself.
            {"on": "b", "settled": True},
            {"on": "b", "never": [record("<kid>", 259, count(1, 1)), record("<kid>", -259, lif_key(1))]},
        ],
    )
    properties = HOME + "FapTypeProperties::AradProperties"
    fap = (1).to_bytes(4, "big")
    found.append(
        {"name": "exchange/entity-referred-to", "level": "Recommended", "rule": "map of references: key, U64 the id of the entity referred to"}
        | {"role": "serve", "roots": {"fap": HOME + "FapTypeProperties"}, "writable": True}
        | {
            "steps": [
                *writer("fap"),
                {
                    "on": "a",
                    "send": [
                        record(1, 136, section(1, types(properties)) + section(3, fap) + section(4, b"\7")),
                        *state(7, properties),
                        record("<root>", 258, fap + (7).to_bytes(8, "big")),
                    ],
                },
                {"on": "a", "settled": True},
                {"connect": "b"},
                {"on": "b", "send": [want("fap")]},
                {"on": "b", "root": "copy", "path": "fap", "number": 1},
                {"on": "b", "expect": [record(1, 136, (section(1, types(properties)) + section(3, fap)).hex(" ") + " 04 00 01 <it>")]},
                {"on": "b", "expect": [record("<copy>", 258, fap.hex(" ") + " 00 00 00 00 00 00 00 <it>")]},
                {"on": "b", "expect": [each for each in state("<it>", properties) if each.split()[1] != "135"]},
                {"on": "a", "send": [record("<root>", 258, fap + bytes(8))]},
                {"on": "a", "settled": True},
            ]
        }
    )
    add(
        "exchange/unmounted-copy-is-left-alone",
        "attribute -136, the entity is no longer mounted",
        [
            *base,
            {"connect": "b"},
            {"on": "b", "send": [want("lif")]},
            {"on": "b", "root": "copy", "path": "lif", "number": 1},
            {"on": "b", "expect": [sync("<copy>", 3)]},
            {"on": "b", "send": [record(1, 161, string("done"))]},
            {"on": "b", "ends": True},
            {"on": "a", "send": [record(7, 259, count(1, 1))]},
            {"on": "a", "settled": True},
        ],
    )
    add(
        "exchange/goodbye",
        "goodbye: the last record, before the side that sends it closes",
        [*base, {"on": "a", "send": [record(1, 161, string("done"))]}, ends, {"connect": "b"}, {"on": "b", "settled": True}],
    )
    add(
        "exchange/one-byte-at-a-time",
        "What carries the bytes, and in what pieces, does not matter.",
        [*base, {"on": "a", "bytes": (raw(7, 259, count(1, 1)) * 3 + raw(7, 259, count(5, 6))).hex(), "singly": True}]
        + [*after[:-1], {"on": "b", "expect": [record("<kid>", 259, count(1, 1)), record("<kid>", 259, count(5, 6))], "order": False}],
    )
    return found


def written(path: pathlib.Path, vectors: list[dict]) -> None:
    kept = json.loads(path.read_text()) if path.exists() else []
    names = {each["name"] for each in kept}
    added = [each for each in vectors if each["name"] not in names]
    lines = ",\n".join(json.dumps(each) for each in [*kept, *added])
    path.write_text(f"[\n{lines}\n]\n")
    print(f"{path.name}: {len(kept)} kept, {len(added)} added")


if __name__ == "__main__":
    written(HERE / "vectors" / "values.json", values())
    written(HERE / "vectors" / "entities.json", entities())
    written(HERE / "vectors" / "sessions.json", sessions())
