"""The types of the model, as data: what the program's schema tells, merged with what it does not tell yet.

Nothing else in this package knows a type by hand. `TYPES` maps full names to `Type`; `named` finds one by full or short
name and says what was meant when there is none.

    >>> named("LifAppConfig").attributes["reqCount"].key
    'Hardware::LoamTunnel::AradLifEntry'
"""

from __future__ import annotations

import difflib
import json
from dataclasses import dataclass, field, replace
from importlib import resources

HOME = "Hardware::LoamTunnel::"  # what a short name means when several types have it
SCALARS = {"bool": "?", "U8": "H", "U16": "H", "U32": "I", "U64": "Q", "int": "i"}  # nothing is narrower than 16 bits
BITS = {"bool": 1, "U8": 8, "U16": 16, "U32": 32, "U64": 64}


@dataclass(slots=True)
class Attribute:
    """One attribute of a type. `role` is one of

    stored, view, constant (of values), key, scalar, map, children, references (of entities), and other.
    """

    id: int
    name: str
    type: str
    role: str
    key: str | None = None  # of a map
    inside: str | None = None  # of a map whose value holds its key: the name of that attribute of the value
    word: str | None = None  # of a view: the stored attribute that it lies in
    low: int = 0  # of a view: its least significant bit
    bits: int = 0  # of a view, or of a stored number: how wide it is
    default: object = None
    most: int | None = None  # the greatest number that the owner takes
    words: str | None = None  # what is said of a greater one that has come from a peer
    travels: bool = False
    value: object = None  # of a constant
    meaning: str = ""  # in words, where the schema has them


@dataclass(slots=True)
class Type:
    """A type of the model. `kind` is value, enumeration, entity or object."""

    name: str
    kind: str
    base: str | None
    attributes: dict[str, Attribute]  # those of its bases first
    argument: str | None = None  # of an entity: the attribute that its constructor takes, None for its name
    is_named: bool = True  # of an entity without one: whether it is made from a name
    scalar: str | None = None  # of a value: the attribute whose text is the text of the whole
    enumerators: dict[str, int] = field(default_factory=dict)
    enumerator_meanings: dict[str, str] = field(default_factory=dict)
    form: str | None = None  # of a platform value with a form of its own: how it travels
    check: dict = field(default_factory=dict)
    bases: tuple[str, ...] = ()  # nearest first, without the framework's own
    meaning: str = ""  # in words, where the schema has them

    @property
    def short(self) -> str:
        return self.name.rsplit("::", 1)[-1]

    @property
    def stored(self) -> list[Attribute]:
        return [each for each in self.attributes.values() if each.role == "stored"]


def nearest(name: str, choices) -> str:
    """`; did you mean X?`, or nothing when no name is near."""
    found = difflib.get_close_matches(name, list(choices), 1)
    return f"; did you mean {found[0]}?" if found else ""


def named(name: str) -> Type:
    """The type of a full name, or else of a short one."""
    found = TYPES.get(name) or TYPES.get(_SHORT.get(name, ""))
    if found is None:
        raise KeyError(f"no type {name}{nearest(name, _SHORT)}")
    return found


def _data(name: str):
    return json.loads(resources.files(__package__).joinpath("data", name).read_text("utf-8"))


def _role(type_: dict, attribute: dict, kinds: dict[str, str], extra: dict) -> str:
    """What an attribute is, from what the schema tells of it."""
    name, owner = attribute["name"], type_["name"]
    arguments = [each[0] for each in type_["constructorArgs"]]
    if type_["kind"] == "value":
        if name in arguments:
            return "stored"
        if attribute["role"] == "view":
            return "view"
        return "constant" if name in extra["constants"].get(owner, ()) else "other"
    if type_["kind"] != "entity" or attribute["id"] < 258:
        return "other"
    if attribute["keyType"]:
        if kinds.get(attribute["type"]) != "entity":
            return "map"
        return "children" if int(attribute["flags"][1], 16) & CHILDREN else "references"
    if name in arguments:
        return "key"
    if attribute["args"] or attribute["type"] in ("", "none") or attribute["introspection"] == OPERATION:
        return "other"
    return "scalar"


CHILDREN = 1 << 28  # in the second word of the flags: the members live in the entity
OPERATION = 8  # the introspection flags of what is called and not stored


def _attribute(type_: dict, attribute: dict, kinds: dict[str, str], extra: dict) -> Attribute:
    name, owner = attribute["name"], type_["name"]
    made = Attribute(
        attribute["id"], name, attribute["type"], _role(type_, attribute, kinds, extra), attribute["keyType"] or None
    )
    made.inside = attribute["keyAttribute"] or None if made.role == "map" else None
    made.most, made.words = extra["limits"].get(owner, {}).get(name, (None, None))
    made.value = extra["constants"].get(owner, {}).get(name)
    made.bits = BITS.get(made.type, 0)
    made.meaning = attribute.get("meaning", "")
    if made.role == "view":
        view = attribute["view"]
        made.word, made.low, made.bits = view["word"], view["low"], view["bits"]
    made.travels = (
        made.role in ("scalar", "map", "children", "references")
        and owner not in extra["doNotTravel"]
        and (made.role != "scalar" or made.type in SCALARS or made.type in kinds)
    )
    if made.role == "scalar" and not made.travels:
        made.role = "other"
    return made


def _merged(listed: list[dict], extra: dict) -> dict[str, Type]:
    types: dict[str, Type] = {}
    kinds = {each["name"]: each["kind"] for each in listed} | dict.fromkeys(extra["platform"], "value")
    for name, each in extra["platform"].items():
        made = types[name] = Type(name, "enumeration" if "enumerators" in each else "value", None, {})
        made.enumerators, made.form = each.get("enumerators", {}), each.get("form")
        made.check = {"most": each.get("most"), "words": each.get("words"), "default": each.get("default")}
        for place, (stored, type_, default) in enumerate(each.get("stored", ())):
            made.attributes[stored] = Attribute(2 + place, stored, type_, "stored", default=default)
    for each in listed:
        name = each["name"]
        base = types.get(each["base"])
        made = types[name] = Type(name, each["kind"], each["base"] or None, dict(base.attributes) if base else {})
        made.bases = (base.name, *base.bases) if base else ()
        made.enumerators = {one["name"]: one["number"] for one in each.get("enumerators", ())}
        made.enumerator_meanings = {one["name"]: one.get("meaning", "") for one in each.get("enumerators", ())}
        if each["kind"] == "value" and len(each["constructorArgs"]) == 1:
            made.scalar = each["constructorArgs"][0][0]
        made.meaning = each.get("meaning", "")
        made.check = {"checks": extra["checkedOnWire"].get(name, ()), "always": extra["always"].get(name)}
        for one in each.get("attributes", ()):
            if not one["inherited"]:
                inherited = made.attributes.get(one["name"])
                if inherited is None or inherited.role in ("other", "view"):
                    made.attributes[one["name"]] = _attribute(each, one, kinds, extra)
        made.is_named = any(one[1] == "Kor::Name" for one in each["constructorArgs"])
        made.argument = next((one.name for one in made.attributes.values() if one.role == "key"), None)
    for made in types.values():
        for one in made.attributes.values():
            if one.role in ("stored", "scalar") and one.default is None:
                one.default = _default(one.type, types)
        for one, default in extra["defaults"].get(made.name, {}).items():
            made.attributes[one] = replace(made.attributes[one], default=default)
    return types


def _default(name: str, types: dict[str, Type]):
    if name in SCALARS:
        return False if name == "bool" else 0
    type_ = types.get(name)
    if type_ is None:
        return None
    if type_.kind == "enumeration":
        return next(iter(type_.enumerators.values()))
    return type_.check["default"] if type_.form else ()


def _short_names(types: dict[str, Type]) -> dict[str, str]:
    """What each type may be called: without the namespaces; those of the model's own come first."""
    found: dict[str, str] = {}
    for name in sorted(types, key=lambda each: not each.startswith(HOME)):
        short = name[len(HOME) :] if name.startswith(HOME) else name.rsplit("::", 1)[-1]
        found.setdefault(short.replace("::", "_"), name)
        found.setdefault(short, name)
    return found


def short_names() -> list[str]:
    return sorted(each for each in _SHORT if "::" not in each)


def of_short(name: str) -> Type:
    """The type that is called so in Python, also where another one has this for its full name."""
    return named(_SHORT.get(name, name))


def python_name(type_: Type) -> str:
    """The name under which `loamtunnel.types` has a type."""
    short = type_.name[len(HOME) :] if type_.name.startswith(HOME) else type_.short
    return short.replace("::", "_")


_EXTRA = _data("extra.json")
TYPES = _merged([each for each in _data("schema.json")["types"] if not each["platform"]], _EXTRA)
CHECKSUM = int(_EXTRA["checksum"], 16)
_SHORT = _short_names(TYPES)
