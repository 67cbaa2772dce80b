"""Writes the stubs of what is made from data: `python3 -m loamtunnel.stubs` writes `types.pyi` and `tables.pyi` beside this file.

Type checkers and editors then know the types of the model with their attributes, and the tables with their fields.
"""

from __future__ import annotations

import keyword
import pathlib
import sys

from . import described, row, schema

HEAD = "# Made by `python3 -m loamtunnel.stubs`.\n"
IMPORTS = (
    ("collections.abc", "Iterable"),
    ("ipaddress", "IPv4Address"),
    ("typing", "Any"),
    (".tree", "Children", "Entity", "Map", "References"),
    (".values", "Enumeration", "Fapmask", "Interface", "Value"),
)
PLATFORM = {"address": "IPv4Address", "chips": "Fapmask", "U64": "Interface"}


def of_ours(name: str) -> str:
    """The name under which a stub has what it imports: another one where a type of the schema is called so."""
    return f"_{name}" if name != "Fapmask" and name in schema.short_names() else name


def _imports() -> str:
    lines = []
    for module, *names in IMPORTS:
        parts = [name if of_ours(name) == name != "Fapmask" else f"{name} as {of_ours(name)}" for name in names]
        lines += [""] * (module == ".tree") + [f"from {module} import {', '.join(parts)}"]
    return "\n".join(lines) + "\n"


def python_type(name: str) -> str:
    """What an attribute of the type gives."""
    if name in schema.SCALARS:
        return "bool" if name == "bool" else "int"
    found = schema.TYPES.get(name)
    if found is None:
        return of_ours("Any")
    if found.form in PLATFORM:
        return of_ours(PLATFORM[found.form])
    return "int" if found.form in schema.BITS else schema.python_name(found)


def taken(name: str) -> str:
    """What an attribute of the type may be given."""
    made, found = python_type(name), schema.TYPES.get(name)
    if found is None:
        return made
    if found.kind == "enumeration":
        return f"{made} | str | int"
    if found.form == "address":
        return f"{made} | str | int"
    if found.form == "chips":
        return f"{made} | str | {of_ours('Iterable')}[int]"
    if found.form == "U64":
        return f"{made} | str | int"
    if found.kind != "value" or found.form:
        return made
    base = schema.TYPES.get(found.base or "")
    others = f"{schema.python_name(base)} | " if base is not None else ""
    scalar = f" | {taken(found.attributes[found.scalar].type)}" if found.scalar else ""
    return f"{others}{made} | tuple[{of_ours('Any')}, ...] | dict[str, {of_ours('Any')}]{scalar}"


def _property(attribute: schema.Attribute, gives: str, takes: str | None = None) -> list[str]:
    name = attribute.name
    lines = ["    @property", f"    def {name}(self) -> {gives}:", f'        """{described.field(attribute)}"""']
    if takes:
        lines += [f"    @{name}.setter", f"    def {name}(self, value: {takes}) -> None: ..."]
    return lines


def _head(type_: schema.Type, base: str) -> list[str]:
    head = f"class {schema.python_name(type_)}({base}):"
    return [head, f'    """{type_.meaning}"""'] if type_.meaning else [head]


def value(type_: schema.Type) -> list[str]:
    base = schema.TYPES.get(type_.base or "")
    lines = _head(type_, schema.python_name(base) if base else of_ours("Value"))
    views = [each for each in type_.attributes.values() if each.role == "view"]
    given = [f"{each.name}: {taken(each.type)} = ..." for each in type_.stored]
    # Views are set by the bits that they have.
    given += ["*", *(f"{each.name}: int = ..." for each in views)] if views else []
    lines.append(f"    def __init__({', '.join(['self', *given])}) -> None: ...")
    for each in type_.attributes.values():
        if base is not None and each.name in base.attributes and each.role != "constant":
            continue
        if each.role in ("stored", "view"):
            lines += _property(each, python_type(each.type))
        elif each.role == "constant":
            lines.append(f"    {each.name}: int")
    return lines


def enumeration(type_: schema.Type) -> list[str]:
    return _head(type_, of_ours("Enumeration")) + [
        f"    {name} = {number}" + (f"  # {told}" if (told := type_.enumerator_meanings.get(name)) else "")
        for name, number in type_.enumerators.items()
        if not keyword.iskeyword(name)
    ]


def entity(type_: schema.Type) -> list[str]:
    lines = _head(type_, of_ours("Entity"))
    argument = type_.attributes[type_.argument] if type_.argument else None
    lines.append(
        f"    def __init__(self, argument: {taken(argument.type) if argument else 'str | None = None'}) -> None: ..."
    )
    maps = {"map": "Map", "children": "Children", "references": "References"}
    for each in type_.attributes.values():
        if each.role in maps and each.key is not None:
            lines += _property(each, f"{of_ours(maps[each.role])}[{python_type(each.key)}, {python_type(each.type)}]")
        elif each.role == "scalar":
            lines += _property(each, python_type(each.type), taken(each.type))
        elif each.role == "key":
            lines += _property(each, python_type(each.type))
    return lines


def types() -> str:
    parts, plain = [], []
    for name in schema.short_names():
        found = schema.of_short(name)
        if schema.python_name(found) != name:
            continue  # another name of what stands here already
        if found.kind == "enumeration":
            parts.append(enumeration(found))
        elif found.form in schema.BITS and found.form not in PLATFORM:
            plain.append(f"{name} = int  # {described._range(found.name, 0, None)}")
        elif found.form == "U64":
            plain.append(f"{name} = {of_ours('Interface')}")
        elif found.form == "address":
            plain.append(f"{name} = {of_ours('IPv4Address')}")
        elif found.form == "chips":
            continue  # Fapmask has this name already
        else:
            parts.append(value(found) if found.kind == "value" else entity(found))
    return "\n\n".join([HEAD + _imports(), "\n".join(plain), *("\n".join(each) for each in parts)]) + "\n"


def tables() -> str:
    lines = [HEAD + "from .row import Row\n"]
    for table, fields in row.FIELDS.items():
        lines += ["", f"class {table}(Row):"]
        for field, places in fields.items():
            lines.append(
                f"    {field}: int  # " + "; ".join(f"{bits} on {' '.join(where)}" for bits, where in places.items())
            )
    names = ", ".join(f'"{each}"' for each in row.FIELDS)
    return "\n".join([*lines, "", f"__all__ = [{names}]", ""])


def main(directory: str | None = None) -> None:
    target = pathlib.Path(directory) if directory else pathlib.Path(__file__).parent
    (target / "types.pyi").write_text(types())
    (target / "tables.pyi").write_text(tables())


if __name__ == "__main__":
    main(*sys.argv[1:])
