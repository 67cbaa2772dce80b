"""Trees as paths and texts: those that `loamtunnel tree` prints, and those of this process, to be compared."""

from __future__ import annotations

import re

from loamtunnel import schema, text
from loamtunnel.tree import Children, Entity, References

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


def _key(key, type_: str) -> str:
    described = schema.TYPES.get(type_)
    return str(key) if described is not None and described.kind == "enumeration" else text.text(key, type_)


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
