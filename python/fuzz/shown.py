"""Trees as paths and texts: those that `loamtunnel tree` prints, and those of this process, to be compared."""

from __future__ import annotations

import re

from loamtunnel import schema, text, values
from loamtunnel.tree import Children, Entity, References

_STEP = re.compile(r"(\w+)(?:\[(.*?)\](?=\.|$))?\.?")
_LINE = re.compile(r"( *)(\w+)(?:\[(.*)\])?(?:: ([\w:]+)| = (.*))")


def printed(tree: str) -> dict[str, str]:
    """What `loamtunnel tree` has printed: each path with the text of its value, or the type of its object."""
    above: list[str] = []
    return dict(printed_line(line, above) for line in tree.splitlines())


def printed_line(line: str, above: list[str]) -> tuple[str, str]:
    """Path and text of a line; `above` has the parts of the path of the one before, and then those of this one."""
    match = _LINE.fullmatch(line)
    if match is None:
        raise AssertionError(f"a line of `loamtunnel tree` that is none: {line!r}")
    indent, name, key, type_, value = match.groups()
    del above[len(indent) // 2 :]
    above.append(name if key is None else f"{name}[{key}]")
    return ".".join(above), f"a {type_}" if type_ is not None else value


def canonical(tree: dict[str, str], roots: dict[str, schema.Type] | None = None) -> dict[str, str]:
    """The same with each key in its text form. `roots` has the types of the roots, where the tree has not."""
    types = {path: schema.named(value[2:]) for path, value in tree.items() if "." not in path and value[:2] == "a "}
    return {_place(path, types | (roots or {})): value for path, value in tree.items()}


def _place(path: str, roots: dict[str, schema.Type]) -> str:
    place, _, rest = path.partition(".")
    described = roots[place]
    while rest:
        match = _STEP.match(rest)
        assert match is not None, f"no path: {path}"
        attribute = described.attributes[match[1]]
        place += f".{match[1]}"
        if match[2] is not None:
            place += f"[{_read_key(match[2], attribute.key)}]"
        rest = rest[match.end() :]
        if rest:
            described = schema.named(attribute.type)
    return place


def _key(key, type_: str) -> str:
    """A key in the one text that both sides agree on, whatever the program has chosen to say of it."""
    described = schema.TYPES.get(type_)
    return str(key) if described is not None and described.kind == "enumeration" else text.text(key, type_)


def _read_key(given: str, type_: str) -> str:
    """The same of a key in its short form, which may be that of a derived type and name any of its fields."""
    described = schema.TYPES.get(type_)
    if described is None:
        return _key(text.value(type_, given), type_)
    read = text.short_value(type_, given)
    if isinstance(read, values.Value):
        read = values.python_type(type_)(**{each.name: getattr(read, each.name) for each in described.stored})
    return _key(read, type_)


def ours(path: str, entity: Entity) -> dict[str, str]:
    """The same of an entity of this process."""
    described = entity._schema
    found = {path: f"a {schema.python_name(described).replace('_', '::')}"}
    if described.argument:
        found[f"{path}.{described.argument}"] = text.text(entity.key, described.attributes[described.argument].type)
    for name, value in entity._scalars.items():
        found[f"{path}.{name}"] = text.text(value, described.attributes[name].type)
    for name, held in entity._maps.items():
        at = described.attributes[name]
        for key, value in held.items():
            place = f"{path}.{name}[{_key(key, at.key)}]"
            if isinstance(held, (Children, References)):
                found |= ours(place, value)
            else:
                found[place] = text.text(value, at.type)
    return found


def different(left: dict[str, str], right: dict[str, str]) -> str:
    """What differs, a line each."""
    lines = [
        f"{path}: {left.get(path, 'nothing')} | {right.get(path, 'nothing')}"
        for path in sorted(left.keys() | right.keys())
        if left.get(path) != right.get(path)
    ]
    return "\n".join([*lines[:20], f"and {len(lines) - 20} more" if len(lines) > 20 else ""]).strip()
