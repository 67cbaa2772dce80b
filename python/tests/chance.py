"""Values that are drawn by lot."""

from __future__ import annotations

import random

from loamtunnel import schema, values


def random_value(name: str, chance: random.Random):
    """Any value that the type can hold, with its limits and 0 more often than not."""
    described = schema.TYPES.get(name)
    if described is None:
        top = (1 << schema.BITS[name]) - 1
        return bool(chance.getrandbits(1)) if name == "bool" else chance.choice((0, top, chance.randint(0, top)))
    kind = values.python_type(name)
    if described.kind == "enumeration":
        return chance.choice(list(kind))
    if kind is values.Fapmask:
        return kind.of(chance.choice((0, 1 << 127, (1 << 128) - 1, chance.getrandbits(128) & chance.getrandbits(128))))
    if described.form == "address":
        return kind(chance.getrandbits(32))
    if described.form:
        bits = schema.BITS[described.form]
        most = described.check["most"] or (1 << bits) - 1
        return kind(chance.choice((0, most, described.check["default"], chance.randint(0, most))))
    given = {}
    for each in described.stored:
        made = random_value(each.type, chance)
        given[each.name] = min(made, each.most) if each.most is not None else made
    return kind(**given)
