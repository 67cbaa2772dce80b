"""Values as bytes. For each list of types a reader and a writer are composed once, as Python source around `struct`.

    >>> read, write = codec("Hardware::LoamTunnel::AradLifEntry", "U32")

`write(key, count)` gives the bytes; `read(data, at, end)` gives the tuple `(key, count)` and ends the stream with a
`StreamFault` when the bytes are fewer or more than that; a number that its type does not have is a `RangeError`.
"""

from __future__ import annotations

import functools
import ipaddress
import struct
from collections.abc import Callable

from . import schema
from .errors import RangeError, StreamFault


class _Composer:
    """Collects the leaves of some types in wire order, and the expressions that join them."""

    def __init__(self) -> None:
        self.names: dict[str, object] = {"ipaddress": ipaddress, "StreamFault": StreamFault}
        self.steps: list[tuple[str, list[str]]] = []  # ("IQQ", its variables) or ("*Fapmask", one variable)
        self.packs: list[tuple[str, list[str]]] = []
        self.variables = 0

    def leaf(self, code: str, pack: str) -> str:
        variable = f"v{self.variables}"
        self.variables += 1
        if self.steps and not code.startswith("*") and not self.steps[-1][0].startswith("*"):
            last, into = self.steps[-1]
            self.steps[-1] = (last + code, into + [variable])
            self.packs[-1] = (last + code, self.packs[-1][1] + [pack])
        else:
            self.steps.append((code, [variable]))
            self.packs.append((code, [pack]))
        return variable

    def bound(self, stem: str, what: object) -> str:
        name = f"{stem}{len(self.names)}"
        self.names[name] = what
        return name

    def value(self, name: str, given: str, checked: bool = False, tolerant: bool = False) -> str:
        """The expression that makes a value of the type from its leaves; `given` is where a writer finds it."""
        from . import values

        code = schema.SCALARS.get(name)
        if name == "U8":  # it travels as 16 bits
            return f"{self.bound('c', functools.partial(values.at_most, schema.U8_WORDS, 255))}({self.leaf(code, given)})"
        if code:
            return self.leaf(code, given)
        kind = values.python_type(name)
        type_ = schema.TYPES[name]
        if type_.kind == "enumeration":
            known = values.numbers(kind, tolerant)
            return f"{self.bound('e', known)}[{self.leaf('I', given)}]"
        if type_.form in ("U16", "U32", "U64"):
            made = self.leaf(schema.SCALARS[type_.form], given)
            most = type_.check.get("most")
            if most is not None:
                made = f"{self.bound('c', functools.partial(values.at_most, type_.check['words'], most))}({made})"
            return made if kind is int else f"{self.bound('k', kind)}({made})"
        if type_.form == "address":
            return f"{self.bound('k', kind)}({self.leaf('I', f'int({given})')})"
        if type_.form == "chips":
            return self.leaf("*" + self.bound("k", kind), given)
        parts = [
            self.value(each.type, f"{given}.{each.name}", each.name in type_.check.get("checks", ()))
            for each in type_.stored
        ]
        make = kind.checked if checked else kind.made
        return f"{self.bound('m', make)}({', '.join(parts)})"

    def functions(
        self, arguments: list[str], results: list[str], open_end: bool
    ) -> tuple[Callable, Callable, int | None]:
        read, write, size = [], [], 0
        for code, _ in self.steps:
            size = None if size is None or code.startswith("*") else size + struct.calcsize(">" + code)
        for (code, into), (_, packs) in zip(self.steps, self.packs, strict=True):
            if code.startswith("*"):
                read.append(f"{into[0]}, at = {code[1:]}.read(data, at, end)")
                write.append(f"{packs[0]}.written()")
            else:
                packed, width = self.bound("s", struct.Struct(">" + code)), struct.calcsize(">" + code)
                if size is None:
                    read += [f"if end - at < {width}:", f"    raise odd(end - at, {width})"]
                read.append(f"{', '.join(into)}{',' if len(into) == 1 else ''} = {packed}.unpack_from(data, at)")
                if size is None:
                    read.append(f"at += {width}")
                write.append(f"{packed}.pack({', '.join(packs)})")
        lines = ["def read(data, at, end):"]
        if size is not None:
            lines += [f"    if end - at {'<' if open_end else '!='} {size}:", f"        raise odd(end - at, {size})"]
        lines += ["    " + each for each in read]
        if size is None and not open_end:
            lines += ["    if at != end:", "        raise odd(end, at)"]
        if open_end:
            results = [*results, "at" if size is None else f"at + {size}"]
        lines.append(f"    return {', '.join(results)}{',' if len(results) == 1 else ''}")
        lines += [f"def write({', '.join(arguments)}):", f"    return {' + '.join(write) or repr(b'')}"]
        self.names["odd"] = _odd
        exec("\n".join(lines), self.names)  # composed here from the schema alone
        return self.names["read"], self.names["write"], size


def _odd(has: int, wants: int) -> StreamFault:
    return StreamFault(f"a payload is {abs(has - wants)} bytes too {'long' if has > wants else 'short'}")


@functools.cache
def codec(*types: str, tolerant: bool = False, open_end: bool = False) -> tuple[Callable, Callable, int | None]:
    """Reader, writer and, where there is one, the fixed size of values of these types one after the other.

    With `tolerant`, an unknown enumerator is kept as its number, though not within a value. With `open_end`, more may follow,
    and the reader gives in addition where that begins.
    """
    composer = _Composer()
    arguments = [f"a{i}" for i in range(len(types))]
    results = [composer.value(*each, tolerant=tolerant) for each in zip(types, arguments, strict=True)]
    return composer.functions(arguments, results, open_end)


@schema.forgets
def _forget(changed: set[str]) -> None:
    codec.cache_clear()


def to_wire(value, type_: str | None = None) -> bytes:
    """The bytes of one value; of a number, `type_` says which type it is meant to be.

    >>> to_wire(5, "U16").hex()
    '0005'
    """
    return codec(type_ or type(value)._schema.name)[1](value)


def from_wire(type_: str, data: bytes):
    """The value of which `data` are the bytes."""
    return codec(schema.named(type_).name if type_ not in schema.SCALARS else type_)[0](data, 0, len(data))[0]


__all__ = ["RangeError", "codec", "from_wire", "to_wire"]
