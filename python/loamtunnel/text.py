"""The text form of values: `Value('Hardware::LoamTunnel::OutAcKey', ** {'fapMask': '0-3', 'acFormat': 5})`.

`text` writes it and `value` reads it back; blanks may stand around each token, attributes come in any order.
"""

from __future__ import annotations

import ipaddress
import re

from . import schema, values
from .errors import RangeError

_WORDS = re.compile(r"\s*'((?:[^'\\]|\\.)*)'\s*")
_NUMBER = re.compile(r"\s*(0[xX][0-9a-fA-F]+|-?[0-9]+)\s*")
_NAME = re.compile(r"\s*(True|False|true|false)\s*")


def text(value, type_: str | None = None) -> str:
    """The text of a value; of a plain number, that of the type that it is meant to be."""
    if isinstance(value, bool):
        return str(value).lower() if type_ is None else _bool(value)
    if isinstance(value, values.Enumeration):
        return f"'{value}'"
    if isinstance(value, values.Value):
        described = value._schema
        if described.scalar:
            return text(getattr(value, described.scalar), described.attributes[described.scalar].type)
        parts = ", ".join(f"'{each.name}': {text(getattr(value, each.name), each.type)}" for each in described.stored)
        return f"Value('{described.name}', ** {{{parts}}})"
    if isinstance(value, (values.Fapmask, ipaddress.IPv4Address, values.Interface)):
        return f"'{value}'"
    if isinstance(value, int):
        return str(int(value))
    return f"'{value}'"


def _bool(value: bool) -> str:
    return "True" if value else "False"


def key_text(key) -> str:
    """A key as it stands in a path: an enumerator without quotes."""
    return str(key) if isinstance(key, values.Enumeration) else text(key)


class _Reader:
    def __init__(self, given: str) -> None:
        self.given, self.at = given, 0

    def skip(self) -> None:
        while self.at < len(self.given) and self.given[self.at].isspace():
            self.at += 1

    def need(self, *tokens: str) -> None:
        for token in tokens:
            self.skip()
            if not self.given.startswith(token, self.at):
                raise RangeError(f'expected "{token}" at column {self.at}')
            self.at += len(token)

    def quoted(self) -> str:
        found = _WORDS.match(self.given, self.at)
        if not found:
            raise RangeError(f"expected a quoted string at column {self.at}")
        self.at = found.end()
        return re.sub(r"\\(.)", r"\1", found[1])

    def value(self, name: str):
        if name == "bool":
            found = _NAME.match(self.given, self.at)
            if not found:
                raise RangeError(f"expected True or False at column {self.at}")
            self.at = found.end()
            return found[1].lower() == "true"
        if name in schema.BITS:
            return values.fitting(name, self.number(), schema.BITS[name])
        if name == "int":
            return values.coerced(name, name, self.number())
        kind, described = values.python_type(name), schema.TYPES[name]
        if kind is int:
            return values.coerced(described.short, name, self.number())
        if not issubclass(kind, values.Value):
            return kind(self.quoted())
        if described.scalar:
            return kind(self.value(described.attributes[described.scalar].type))
        return self.structured(kind, described)

    def number(self) -> int:
        found = _NUMBER.match(self.given, self.at)
        if not found:
            raise RangeError(f"expected a number at column {self.at}")
        self.at = found.end()
        return _number(found[1])

    def structured(self, kind, described: schema.Type):
        self.need("Value", "(", f"'{described.name}'", ",", "**", "{")
        given: dict[str, object] = {}
        stored = {each.name: each for each in described.stored}
        is_first = True
        while True:
            self.skip()
            if self.at >= len(self.given):
                raise RangeError(f"premature end of value type {described.short}")
            if self.given[self.at] == "}":
                break
            if not is_first:
                self.need(",")
            is_first = False
            name = self.quoted()
            self.need(":")
            if name not in stored:
                raise RangeError(f"{described.short} has no such attribute: {name}")
            try:
                given[name] = self.value(stored[name].type)
            except (RangeError, OverflowError) as fault:
                raise RangeError(f"{name}: {fault}") from None
        self.need("}", ")")
        self.skip()
        return kind(**given)


def _number(given: str) -> int:
    """Decimal, whatever zeros it begins with, or hexadecimal after 0x."""
    try:
        return int(given, 16 if given[:2] in ("0x", "0X") else 10)
    except ValueError:  # which it also is with thousands of digits
        raise RangeError(f"{given[:40]!r} is no number such as 20 or 0x14") from None


def value(type_: str, given: str):
    """The value of which `given` is the text, or a `RangeError` that tells the column."""
    name = type_ if type_ in schema.SCALARS else schema.named(type_).name
    reader = _Reader(given)
    try:
        made = reader.value(name)
    except OverflowError as fault:
        raise RangeError(str(fault)) from None
    if reader.at != len(given):
        raise RangeError(f"junk at column {reader.at} deserializing {given}")
    return made


def short_value(type_: str, given: str):
    """The value of a short form: `AradLifAcMp vsi=100 vlanEditVid1=20`, the name of an enumerator, a number.

    A type of one attribute is also that attribute's word, and a value in a field stands in parentheses:
    `EvecEntry key=(EvecKey index=4)`. What is quoted is read without its quotes.
    """
    given = given.strip()
    if type_ in schema.SCALARS:
        return value(type_, given)
    described = schema.named(type_)
    kind = values.python_type(described.name)
    if kind is int:
        return value(described.name, given)
    if not issubclass(kind, values.Value):
        return kind(_unquoted(given))
    if given.startswith("(") and given.endswith(")"):
        given = given[1:-1]
    if given.startswith("Value("):
        return value(described.name, given)
    word, *parts = _words(given) or [""]
    if described.scalar and (parts or word not in (described.short, described.name)):
        if "=" not in "".join(parts):
            return kind(short_value(described.attributes[described.scalar].type, given))
    found = schema.named(word)
    if schema.TYPES[described.name] is not found and described.name not in found.bases:
        raise RangeError(f"a {word} is no {described.short}")
    fields: dict[str, object] = {}
    for part in parts:
        name, is_field, text_ = part.partition("=")
        attribute = found.attributes.get(name)
        if not is_field or attribute is None:
            raise RangeError(f"{part!r} is not of the form field=value{schema.nearest(name, found.attributes)}")
        fields[name] = short_value(attribute.type, text_)
    return values.python_type(found.name)(**fields)


def _words(given: str) -> list[str]:
    """The text cut at blanks outside of quotes and parentheses."""
    found, depth, quote, start = [], 0, "", 0
    for at, c in enumerate(given + " "):
        if quote:
            quote = "" if c == quote else quote
        elif c in "'\"":
            quote = c
        elif c in "([":
            depth += 1
        elif c in ")]":
            depth -= 1
        elif c == " " and depth == 0:
            if at > start:
                found.append(given[start:at])
            start = at + 1
    return found


def _unquoted(word: str) -> str:
    found = _WORDS.fullmatch(word)
    return re.sub(r"\\(.)", r"\1", found[1]) if found else word
