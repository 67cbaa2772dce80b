"""Values as what JSON has, in the form in which the program prints them.

    >>> from loamtunnel.types import OutAcKey
    >>> plain(OutAcKey("0-3", 5))
    {'fapMask': '0-3', 'acFormat': {'value': '5'}}
    >>> value("OutAcKey", {"fapMask": "0-3", "acFormat": {"value": 5}})
    OutAcKey(fapMask=Fapmask('0-3'), acFormat=OutAcFormat(value=5))

A number of the platform, such as a chip's, is `{"value": 5}`; one of 64 bits is a string; what an object leaves out has its default.
"""

from __future__ import annotations

import ipaddress

from . import schema, values
from .errors import RangeError


def plain(given, type_: str | None = None):
    """A value, or an entity with all below it, as objects, strings, numbers and bools."""
    if isinstance(given, (bool, str)) or given is None:
        return given
    if isinstance(given, values.Enumeration):
        return str(given)
    if isinstance(given, values.Value):
        return {each.name: plain(getattr(given, each.name), each.type) for each in given._schema.stored}
    if isinstance(given, (values.Fapmask, values.Interface, ipaddress.IPv4Address)):
        return str(given)
    number = int(given)
    if type_ in ("U64", "S64"):  # which a number of JSON does not hold
        return str(number)
    return number if type_ is None or type_ in schema.SCALARS else {"value": number}


def value(type_: str, given):
    """The value that `plain` has turned into this, or a `RangeError` that says what is wrong."""
    name = type_ if type_ in schema.SCALARS else schema.named(type_).name
    if name in schema.SCALARS:
        is_text = isinstance(given, str) and name != "bool" and given.lstrip("-").isdigit()
        return values.coerced(name, name, int(given) if is_text else given)
    kind, described = values.python_type(name), schema.TYPES[name]
    if not isinstance(given, dict):
        if described.kind == "enumeration" and not isinstance(given, str):
            raise RangeError(f"{described.short}: expected the name of an enumerator, not {given!r}")
        return values.coerced(described.short, name, given)
    if kind is int:
        if given.keys() != {"value"}:
            raise RangeError(f'{described.short}: expected {{"value": NUMBER}}, not {given!r}')
        return values.coerced(described.short, name, given["value"])
    if not issubclass(kind, values.Value):
        raise RangeError(f"{described.short}: expected a string, not {given!r}")
    stored = {each.name: each.type for each in described.stored}
    for each in given:
        if each not in stored:
            raise RangeError(f"{described.short} has no such attribute: {each}{schema.nearest(each, stored)}")
    return kind(**{each: value(stored[each], what) for each, what in given.items()})
