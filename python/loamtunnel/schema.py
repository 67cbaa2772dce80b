"""The types of the model, as data: what the schema tells that the package ships, or that a peer gives.

Nothing in this package knows a type by hand, but for three that have texts of their own. `TYPES` maps full names to `Type`;
`named` finds one by full or short name and says what was meant when there is none. `load` takes another schema.

    >>> named("LifAppConfig").attributes["reqCount"].key
    'Hardware::LoamTunnel::AradLifEntry'
"""

from __future__ import annotations

import difflib
import json
import keyword
import re
from collections.abc import Callable
from dataclasses import dataclass, field, fields, replace
from importlib import resources

HOME = "Hardware::LoamTunnel::"  # what a short name means when several types have it
SCALARS = {"bool": "?", "U8": "H", "U16": "H", "U32": "I", "U64": "Q", "int": "i"}  # nothing is narrower than 16 bits
VERSION = 1  # of the document that a schema is
U8_WORDS = "U8 > 255 not allowed"
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
    meaning: str = field(default="", compare=False)  # in words, where the schema has them


@dataclass(slots=True, eq=False)
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

    def is_as(self, other: Type) -> bool:
        """Whether both tell the same, whatever they say that it means."""
        names = [each.name for each in fields(self) if "meaning" not in each.name]
        return all(getattr(self, each) == getattr(other, each) for each in names)


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


ROLES = {"field": "stored", "view": "view", "constant": "constant"}  # of a value's attributes, as the schema calls them


def _role(owner: dict, attribute: dict) -> str:
    """What an attribute is, from what the schema tells of it."""
    told = attribute["role"]
    if owner["kind"] == "value":
        return ROLES.get(told, "other")
    if owner["kind"] != "entity":
        return "other"
    if told in ("key", "field"):
        return "key"
    if not attribute["travels"]:
        return "other"
    if told == "map":
        return "children" if attribute["child"] else "references" if attribute["reference"] else "map"
    return "scalar"


def _attribute(owner: dict, attribute: dict, known: dict[str, dict]) -> Attribute:
    type_ = attribute["type"]
    made = Attribute(_number(attribute["id"], 15), attribute["name"], type_, _role(owner, attribute), attribute["keyType"] or None)
    made.inside = attribute["keyAttribute"] or None if made.role == "map" else None
    if made.role == "stored" and attribute.get("words"):
        made.most, made.words = int(attribute["most"]), attribute["words"]
    made.value = attribute.get("value")
    made.bits = BITS.get(type_, 0)
    made.meaning = _words(attribute)
    if made.role == "view":
        view = attribute["view"]
        made.word, made.low, made.bits = view["word"], _number(view["low"], 6), _number(view["bits"], 7)
    needs = {type_, made.key or type_}
    made.travels = attribute["travels"] and all(each in SCALARS or each in known for each in needs)
    if made.role in ("stored", "scalar"):
        told = attribute.get("default", known.get(type_, {}).get("default"))
        made.default = _default(told, known.get(type_), made.bits)
    return made


def _default(told, type_: dict | None, bits: int):
    """A default as the class of its type takes it; () is what that type is by itself."""
    if type_ is None:
        return _number(int(told), bits) if bits and told is not None else told
    if type_["kind"] == "enumeration":
        unknown = re.fullmatch(r"\w+\((\d+)\)", told)
        return _number(int(unknown[1]), 32) if unknown else told
    if type_["name"] in QUOTED:
        return told
    if _form(type_) is not None:
        return int(told["value"])
    return told if told != type_["default"] else ()


QUOTED = {"Lumen::IntfId": "U64", "Lumen::IpAddr": "address", "Sideband::Fapmask": "chips"}  # texts with forms of their own


def _form(type_: dict) -> str | None:
    """How a value of the platform travels that is a plain number here, or that has a form of its own."""
    if type_["platform"] and type_.get("text") == "bare":
        number = type_["constructorArgs"][0][1]
        return "U16" if number == "U8" else number
    return QUOTED.get(type_["name"])


def _check(type_: dict) -> dict:
    """What a reader holds the value of a peer against."""
    attributes = type_.get("attributes", ())
    found: dict = {"most": None, "words": None, "default": 0}  # of a number
    found["checks"] = tuple(each["name"] for each in attributes if each.get("checkedOnWire"))
    found["always"] = next(((each["name"], int(each["always"])) for each in attributes if each.get("always")), None)
    if _form(type_) in BITS and type_["constructorArgs"]:
        name, number = type_["constructorArgs"][0]
        one = next((each for each in attributes if each["name"] == name), None)
        if one is None:
            raise ValueError(f"{type_['name']} is made of {name!r}, which it does not have")
        found["default"] = int(type_["default"]["value"])
        if one["words"]:
            found |= {"most": int(one["most"]), "words": one["words"]}
        elif number == "U8":  # it travels as 16 bits
            found |= {"most": 255, "words": U8_WORDS}
    return found


def _listed(types: list[dict]) -> list[dict]:
    """The types of the model, and what of the platform's is in their values and on the wire."""
    by_name = {each["name"]: each for each in types}
    needed = {each["name"]: each for each in types if not each["platform"]}
    waiting = list(needed.values())
    while waiting:
        for attribute in waiting.pop().get("attributes", ()):
            if attribute["role"] not in ROLES and not attribute["travels"]:
                continue
            for name in (attribute["type"], attribute["keyType"]):
                found = by_name.get(name)
                if found is not None and name not in needed and _is_readable(found):
                    needed[name] = found
                    waiting.append(found)
    return [each for each in types if each["name"] in needed]


def _is_readable(type_: dict) -> bool:
    if type_["kind"] == "enumeration":
        return bool(type_["enumerators"])
    return type_["kind"] == "value" and (type_["name"] in QUOTED or bool(type_["constructorArgs"]))


def _whole(listed: list[dict]) -> list[dict]:
    """Those without values in which something lies that cannot be read here."""
    while True:
        known = {each["name"] for each in listed} | SCALARS.keys()
        left = [
            each
            for each in listed
            if each["kind"] != "value"
            or each["name"] in QUOTED
            or all(one["role"] != "field" or one["type"] in known for one in each["attributes"])
        ]
        if len(left) == len(listed):
            return left
        listed = left


RESERVED = {"self", "cls", "new", "other", "family", "made", "checked"}  # names within what is composed


def _check_names(listed: list[dict]) -> None:
    """Classes are composed from these names: what is none in Python, or stands for something else there, is refused."""
    for each in listed:
        if each["kind"] not in ("value", "enumeration", "entity", "object"):
            raise ValueError(f"{each['name']!r} is of the kind {each['kind']!r}")
        names = each["name"].split("::")
        names += [one["name"] for one in (*each.get("attributes", ()), *each.get("enumerators", ()))]
        for name in names:
            if not re.fullmatch("[A-Za-z][A-Za-z0-9_]*", name) or keyword.iskeyword(name) or name in RESERVED:
                raise ValueError(f"{each['name']!r} has {name!r}, which is no name of a type, an attribute or an enumerator")
        if _python_name(each["name"]) in TAKEN_NAMES:
            raise ValueError(f"{each['name']!r} is called {_python_name(each['name'])} in Python, where that is something else")


TOLD_AS_BOOL = ("inherited", "child", "reference", "travels", "checkedOnWire")  # of an attribute
TAKEN_NAMES = {"schema", "values", "int", "str", "bool", "tuple", "dict", "property"}  # in `loamtunnel.types` and its stubs


def _check_told(types: list[dict]) -> None:
    """What is said twice, and what is no truth value where one is read."""

    def check_bool(where: str, told) -> None:
        if not isinstance(told, bool):
            raise ValueError(f"{where} is {told!r}, which is neither true nor false")

    def check_once(what: str, told: list) -> None:
        seen = set()
        for each in told:
            if each in seen:
                raise ValueError(f"{what} {each!r} is there twice")
            seen.add(each)

    check_once("the type", [each["name"] for each in types])
    for each in types:
        check_bool(f"{each['name']}: platform", each["platform"])
        attributes, enumerators = each.get("attributes", ()), each.get("enumerators", ())
        for one in attributes:
            for name in TOLD_AS_BOOL:
                if name in one or name != "checkedOnWire":
                    check_bool(f"{each['name']}::{one['name']}: {name}", one[name])
        check_once(f"{each['name']}: the attribute", [one["name"] for one in attributes])
        check_once(f"{each['name']}: the id", [one["id"] for one in attributes])
        check_once(f"{each['name']}: the enumerator", [one["name"] for one in enumerators])
        by_number: dict = {}
        for one in enumerators:
            other = by_number.setdefault(one["number"], one["name"])
            if other != one["name"]:
                raise ValueError(f"{each['name']}: {other} and {one['name']} have the same number {one['number']!r}")


def _check_ends(listed: dict[str, dict]) -> None:
    """No type is made of itself."""
    done: dict[str, bool] = {}  # to whether all below it has been seen

    def see(name: str) -> None:
        each = listed.get(name)
        if each is None or done.get(name):
            return
        if name in done:
            raise ValueError(f"{name} is made of itself")
        done[name] = False
        see(each["base"])
        for attribute in each.get("attributes", ()) if each["kind"] == "value" else ():
            if attribute["role"] == "field":
                see(attribute["type"])
        done[name] = True

    for name in listed:
        see(name)


def types_of(document: dict) -> dict[str, Type]:
    """The types of a schema as `loamtunnel schema --json` prints it. Raises `ValueError` where it is none."""
    if not isinstance(document, dict) or document.get("version") != VERSION:
        told = document.get("version") if isinstance(document, dict) else None
        raise ValueError(f"a schema of version {told!r}; this package reads version {VERSION}")
    try:
        if not isinstance(document["types"], list):
            raise ValueError("the types of a schema are a list")
        if not re.fullmatch("0x[0-9a-fA-F]{1,16}", document["checksum"]):
            raise ValueError(f"{document['checksum']!r} is no checksum of 64 bits")
        _check_told(document["types"])
        listed = _whole(_listed(document["types"]))
        known = {each["name"]: each for each in listed}
        _check_names(listed)
        _check_ends(known)
        types: dict[str, Type] = {}
        for each in listed:
            _make(each, known, types)
    except (AttributeError, IndexError, KeyError, TypeError, OverflowError, RecursionError) as fault:
        raise ValueError(f"the schema is malformed: {type(fault).__name__} {fault}") from fault
    return types


def _make(each: dict, known: dict[str, dict], types: dict[str, Type]) -> Type:
    if each["name"] in types:
        return types[each["name"]]
    base = _make(known[each["base"]], known, types) if each["base"] in known else None
    made = Type(each["name"], each["kind"], each["base"] or None, dict(base.attributes) if base else {})
    types[made.name] = made
    made.bases = (base.name, *base.bases) if base else ()
    made.enumerators = {one["name"]: _number(one["number"], 32) for one in each.get("enumerators", ())}
    made.enumerator_meanings = {one["name"]: _words(one) for one in each.get("enumerators", ())}
    made.form = _form(each)
    if each["kind"] == "value" and each.get("text") == "bare" and made.form is None:
        made.scalar = each["constructorArgs"][0][0]
    made.meaning = _words(each)
    made.check = _check(each)
    if made.form is None:
        for one in each.get("attributes", ()):
            inherited = made.attributes.get(one["name"])
            if not one["inherited"] and (inherited is None or inherited.role in ("other", "view")):
                made.attributes[one["name"]] = _attribute(each, one, known)
    for one in made.attributes.values():
        if one.role == "view":
            word = made.attributes.get(one.word)
            if word is None or word.role != "stored":
                raise ValueError(f"{made.name}::{one.name} is a view of {one.word!r}, which is not stored")
            if not one.low < one.low + one.bits <= word.bits:
                raise ValueError(f"{made.name}::{one.name} goes beyond the {word.bits} bits of {one.word}")
    tag = each.get("tag")
    for one in made.stored if tag else ():
        if any(tag == enumerator["name"] for enumerator in known.get(one.type, {}).get("enumerators", ())):
            made.attributes[one.name] = replace(one, default=tag)
    made.is_named = any(one[1] == "Kor::Name" for one in each["constructorArgs"])
    made.argument = next((one.name for one in made.attributes.values() if one.role == "key"), None)
    return made


def _words(told: dict) -> str:
    found = told.get("meaning", "")
    return found if isinstance(found, str) else ""


def _number(told, bits: int) -> int:
    if type(told) is bool or not isinstance(told, int) or not 0 <= told < 1 << bits:
        raise ValueError(f"{told!r} is no number of {bits} bits")
    return told


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
    return _python_name(type_.name)


def _python_name(name: str) -> str:
    short = name[len(HOME) :] if name.startswith(HOME) else name.rsplit("::", 1)[-1]
    return short.replace("::", "_")


LISTED: dict[str, dict] = {}  # what a peer is told that asks for them
TYPES: dict[str, Type] = {}
CHECKSUM = 0
_SHORT: dict[str, str] = {}
_FORGETTING: list[Callable[[set[str]], None]] = []


def forgets(hook: Callable[[set[str]], None]) -> Callable[[set[str]], None]:
    """Calls the hook with the names of the types that another schema has changed, for what was composed from them."""
    _FORGETTING.append(hook)
    return hook


def _check_free(types: dict[str, Type]) -> None:
    """No attribute is called as something that all values or entities have."""
    if not TYPES:
        return  # this is the package's own, and the classes are not there yet
    from . import tree, values

    for each in types.values():
        common = {"value": values.Value, "entity": tree.Entity, "enumeration": values.Enumeration}.get(each.kind)
        names = [one.name for one in each.attributes.values() if one.role != "other"]
        for name in (*names, *each.enumerators) if common else ():
            if hasattr(common, name):
                raise ValueError(f"{each.name}::{name} has the name of what all have in Python")


def _check_makes(types: dict[str, Type], changed: set[str]) -> None:
    """That classes, defaults and forms come of what has changed: better known now than when the first one is needed."""
    global TYPES
    if not TYPES:
        return
    from . import values, wire

    before, TYPES = TYPES, types
    name = ""
    try:
        with values.set_aside(changed):
            for name in types:  # also those in which something that has changed lies
                each, made = types[name], values.python_type(name)
                if each.kind == "value" and not each.form:
                    made()
                elif each.kind == "entity" and not each.argument:
                    made()
                for one in each.attributes.values() if each.kind == "entity" else ():
                    kinds = [one.key, None if one.role in ("children", "references") else one.type]
                    if one.travels:
                        wire.codec.__wrapped__(*filter(None, kinds))
                        values.python_type(one.type)
    except Exception as fault:  # of code that was composed from the schema: whatever it is, the schema is at fault
        raise ValueError(f"{name} cannot be made: {type(fault).__name__} {fault}") from fault
    finally:
        TYPES = before


def load(document: dict) -> set[str]:
    """Takes the types of a schema for those of this process; gives the names of those that are new or have changed.

    A type that tells the same as before keeps its class; of a changed one, a value that was made before is taken as one of the
    new type, by the names of its attributes. What was mounted before goes on as it was. Types that the schema lacks stay.
    Raises `ValueError` where it is no schema, and changes nothing then.
    """
    global CHECKSUM
    taken = types_of(document)
    _check_free(taken)
    changed = {name for name, each in taken.items() if name not in TYPES or not each.is_as(TYPES[name])}
    while True:  # a class is made anew when its base is
        above = {name for name, each in taken.items() if each.base in changed} - changed
        if not above:
            break
        changed |= above
    _check_makes(TYPES | {name: taken[name] for name in changed}, changed)
    TYPES.update((name, taken[name]) for name in changed)
    LISTED.clear()
    LISTED.update((each["name"], each) for each in document["types"])
    CHECKSUM = int(document["checksum"], 16)
    _SHORT.clear()
    _SHORT.update(_short_names(TYPES))
    for hook in _FORGETTING:
        hook(changed)
    return changed


def page(after: str, most: int) -> str:
    """The types behind the one of that name, as many as fit so many bytes, as the request `schema` is answered."""
    names = list(LISTED)
    if after and after not in LISTED:
        raise ValueError(f"there is no type {after}; schema takes nothing, or the name of the last type that is known")
    next_ = names.index(after) + 1 if after else 0
    head = {"version": VERSION, "checksum": f"0x{CHECKSUM:016x}"}
    size, first = len(json.dumps(head | {"types": [], "after": ""})), next_
    while next_ < len(names):
        size += len(json.dumps(LISTED[names[next_]])) + len(names[next_]) + 2
        if size > most and next_ > first:
            break
        next_ += 1
    types = [LISTED[each] for each in names[first:next_]]
    return json.dumps(head | {"types": types} | ({"after": names[next_ - 1]} if next_ < len(names) else {}))


load(_data("schema.json"))
