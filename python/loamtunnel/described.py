"""What `help()` tells of a type: its fields with their types and ranges, and what they mean where the schema says so."""

from __future__ import annotations

from . import schema


def short(name: str) -> str:
    """The name of a type as users write it."""
    found = schema.TYPES.get(name)
    return schema.python_name(found) if found is not None else name


def field(attribute: schema.Attribute) -> str:
    """`U16, 0 to 4095, dword0[47:36]. The second VLAN id of the VLAN edit`"""
    if attribute.key is not None:
        parts = [f"[{short(attribute.key)}]: {_range(attribute.type, attribute.bits, attribute.most)}"]
        if attribute.role == "references":
            parts.append("which live elsewhere")
        if attribute.inside:
            parts.append(f"its {attribute.inside} is the key")
    elif attribute.role == "constant":
        parts = [f"always {attribute.value}"]
    else:
        parts = [_range(attribute.type, attribute.bits, attribute.most)]
    if attribute.role == "view":
        last = attribute.low + attribute.bits - 1
        parts.append(f"{attribute.word}[{last}:{attribute.low}]" if attribute.bits > 1 else f"{attribute.word}[{last}]")
    elif attribute.role in ("stored", "scalar") and attribute.default not in (None, (), ""):
        parts.append(
            f"{attribute.default} unless given" if attribute.role == "stored" else f"{attribute.default} at first"
        )
    return ". ".join(filter(None, [", ".join(parts), attribute.meaning]))


def enumerator(type_: schema.Type, name: str) -> str:
    meaning = type_.enumerator_meanings.get(name)
    return f"  {name} = {type_.enumerators[name]}" + (f": {meaning}" if meaning else "")


def _range(type_: str, bits: int, most: int | None) -> str:
    found = schema.TYPES.get(type_)
    if type_ == "bool" or (found is not None and found.form not in schema.BITS):
        return short(type_)
    if found is not None:
        bits, most = schema.BITS[found.form], found.check.get("most", most)
    if type_ == "int":
        return "int, -2147483648 to 2147483647"
    return f"{short(type_)}, 0 to {(1 << bits) - 1 if most is None else most}" if bits else short(type_)


SHOWN = ("key", "stored", "view", "constant", "scalar", "map", "children", "references")


def doc(type_: schema.Type) -> str:
    stored = ", ".join(each.name for each in type_.stored)
    head = f"{type_.name}({stored})" if type_.kind == "value" else type_.name
    if type_.kind == "entity":
        head += f", made from its {type_.argument}" if type_.argument else ", made from a name"
    lines = [head]
    if type_.meaning:
        lines += ["", type_.meaning]
    if type_.enumerators:
        lines += ["", *(enumerator(type_, name) for name in type_.enumerators)]
    shown = [each for each in type_.attributes.values() if each.role in SHOWN]
    if shown:
        lines += ["", *(f"  {each.name}: {field(each)}" for each in shown)]
    return "\n".join(lines)
