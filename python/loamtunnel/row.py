"""A row of a chip's table as an object: what all tables have in common. `loamtunnel.rows` is the face.

A row is words of 32 bits, and its bits are numbered from the least significant one of word 0 upward. Which fields it has, and where
they lie, depends on the chip and, in some tables, on the variant. Fields may share bits: the last write prevails.
"""

from __future__ import annotations

import functools
from collections.abc import Iterable, Iterator
from typing import NamedTuple

from . import schema
from .errors import RangeError
from .values import fitting

_DATA = schema._data("tables.json")
ALL = {name: {int(chip): found for chip, found in chips.items()} for name, chips in _DATA["tables"].items()}


class Field(NamedTuple):
    """Where a field lies in a row: `bits` bits from bit `low` on. `id` is the program's number of the name."""

    name: str
    id: int
    type: str
    low: int
    bits: int

    @property
    def most(self) -> int:
        """The greatest number that fits."""
        return (1 << self.bits) - 1


class Address(NamedTuple):
    """Where a row lies on the chip: a register block, the SCHAN address in it, and the auxiliary byte."""

    block: int
    address: int
    auxiliary: int


class Format:
    """The rows of one table on one chip in one variant: size, place and fields."""

    def __init__(self, told: dict, fields: Iterable[list]) -> None:
        self.words: int = told["words"]  # of 32 bits, in a row
        self.entries: int = told["entries"]  # rows in an array element
        self.elements: int = told["array"]  # array elements, 1 where the table is no array
        self.blocks: int = told["blocks"]  # blocks in which the table stands
        self._base: int = told["base"]
        self._block: int = told["block"]
        self.fields: dict[str, Field] = {each[0]: Field(*each) for each in fields}
        self.owned = 0  # the bits that belong to any field
        for each in self.fields.values():
            self.owned |= each.most << each.low

    def address(self, index: int, element: int = 0, identifier: int = 0) -> Address:
        index = _below("index", index, self.entries)
        element = _below("element", element, self.elements)
        identifier = _below("identifier", identifier, self.blocks)
        return Address(self._block + identifier, self._base + element * self.entries + index, 0)


def _below(name: str, value: int, count: int) -> int:
    if not 0 <= value < count:
        raise RangeError(
            f"{name}: {value} is not there; there {'is 0 alone' if count == 1 else f'are 0 to {count - 1}'}"
        )
    return value


@functools.cache
def format_of(table: str, chip: int, variant: int) -> Format:
    """The format of a table's rows, or a `RangeError` that says which chips and variants there are."""
    chips = ALL[table]
    if chip not in chips:
        raise RangeError(f"{table} is on the chips {', '.join(map(str, chips))}; there is none on chip {chip}")
    found = chips[chip].get("any") or chips[chip].get(str(variant))
    if found is None:
        known = list(chips[chip])
        which = f"{known[0]} is its only one" if len(known) == 1 else f"{known[0]} to {known[-1]} are there"
        raise RangeError(f"{table} on chip {chip} has no variant {variant}; {which}")
    return Format(found, _DATA["formats"][found["format"]])


class Row:
    """A row, all 0 unless `words` are given; each field is an attribute.

    >>> from loamtunnel import rows
    >>> row = rows.LifTable(chip=8, variant=1)
    >>> row.vsi = 100
    >>> row.words
    (100, 0, 0, 0)
    >>> row.address(index=5)
    Address(block=58, address=6815749, auxiliary=0)

    A field that the chip or the variant does not have raises an `AttributeError` that says so, `get` gives None instead, and
    `in` tells. A number that is too large for its field on this chip is an `OverflowError`. Bits that no field owns stay as
    they were given; `unowned` tells which of them are set.
    """

    __slots__ = ("chip", "variant", "_format", "_bits", "dropped")
    table: str = ""
    chip: int
    variant: int
    _format: Format
    _bits: int
    dropped: tuple[str, ...]  # what an encoder could not place in this row, in words

    def __init__(self, chip: int, variant: int = 0, words: Iterable[int] = ()) -> None:
        put = object.__setattr__
        put(self, "_format", format_of(self.table, chip, variant))
        put(self, "chip", chip)
        put(self, "variant", variant)
        put(self, "dropped", ())
        self.words = words  # type: ignore[assignment]

    @property
    def words(self) -> tuple[int, ...]:
        """The row's 32-bit words, word 0 first. Words that are left out when they are set are 0."""
        return tuple(self._bits >> 32 * i & 0xFFFFFFFF for i in range(self._format.words))

    @words.setter
    def words(self, given: Iterable[int]) -> None:
        given, bits = tuple(given), 0
        if len(given) > self._format.words:
            raise RangeError(
                f"{self.table} on chip {self.chip} has rows of {self._format.words} words; {len(given)} were given"
            )
        for place, each in enumerate(given):
            bits |= fitting(f"word {place}", each, 32) << 32 * place
        object.__setattr__(self, "_bits", bits)

    @property
    def fields(self) -> dict[str, int]:
        """All fields of this chip and variant with what they hold, in the order in which the program lists them."""
        return {name: self._bits >> each.low & each.most for name, each in self._format.fields.items()}

    def layout(self) -> dict[str, Field]:
        """Where each field lies."""
        return dict(self._format.fields)

    @property
    def unowned(self) -> tuple[tuple[int, int], ...]:
        """The set bits that no field owns, as runs (highest, lowest), the lowest run first."""
        runs: list[tuple[int, int]] = []
        rest, at = self._bits & ~self._format.owned, 0
        while rest:
            if rest & 1:
                runs[-1:] = [(at, runs[-1][1])] if runs and runs[-1][0] == at - 1 else [*runs[-1:], (at, at)]
            rest, at = rest >> 1, at + 1
        return tuple(runs)

    def address(self, index: int, element: int = 0, identifier: int = 0) -> Address:
        """Where row `index` of an array element lies; a `RangeError` says how many there are."""
        return self._format.address(index, element, identifier)

    @classmethod
    def chips(cls) -> tuple[int, ...]:
        return tuple(ALL[cls.table])

    @classmethod
    def variants(cls, chip: int) -> tuple[int, ...] | None:
        """The variants on a chip; None where all variants are alike."""
        format_of(cls.table, chip, 0)
        known = ALL[cls.table][chip]
        return None if "any" in known else tuple(map(int, known))

    def get(self, name: str, default: int | None = None) -> int | None:
        """What a field holds, or `default` where the row does not have it."""
        each = self._format.fields.get(name)
        return default if each is None else self._bits >> each.low & each.most

    def __contains__(self, name: object) -> bool:
        return name in self._format.fields

    def __iter__(self) -> Iterator[str]:
        return iter(self._format.fields)

    def _field(self, name: str) -> Field:
        found = self._format.fields.get(name)
        if found is not None:
            return found
        where = f"{self.table} variant {self.variant} on chip {self.chip}"
        if name in FIELDS[self.table]:
            raise AttributeError(f"{where} has no field {name}; others of the table have it")
        raise AttributeError(f"{where} has no field {name}{schema.nearest(name, self._format.fields)}")

    def __getattr__(self, name: str) -> int:
        if name.startswith("_"):
            raise AttributeError(name)
        each = self._field(name)
        return self._bits >> each.low & each.most

    def __setattr__(self, name: str, value) -> None:
        if name in ("words", "dropped"):
            object.__setattr__(self, name, value)
            return
        each = self._field(name)
        value = fitting(name, value, each.bits)
        object.__setattr__(self, "_bits", self._bits & ~(each.most << each.low) | value << each.low)

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Row):
            return NotImplemented
        return (self.table, self.chip, self.variant, self._bits) == (
            other.table,
            other.chip,
            other.variant,
            other._bits,
        )

    __hash__ = None  # type: ignore[assignment]

    def __dir__(self) -> list[str]:
        return [*super().__dir__(), *self._format.fields]

    def __str__(self) -> str:
        """As `loamtunnel decode --file` reads it."""
        words = " ".join(f"0x{each:08x}" for each in self.words)
        return f"chip={self.chip} table={self.table} variant={self.variant} {words}"

    def __repr__(self) -> str:
        held = "".join(f", {name}={value}" for name, value in self.fields.items() if value)
        return f"<{self.table} chip {self.chip} variant {self.variant}{held}>"


def _names() -> dict[str, dict[str, dict[str, list[str]]]]:
    """For each field of each table, its places and where they hold: {"LifTable": {"vsi": {"[15:0]": ["8/1", ...]}}}."""
    found: dict[str, dict[str, dict[str, list[str]]]] = {}
    for table, chips in ALL.items():
        names = found[table] = {}
        for chip, kinds in chips.items():
            for variant, told in kinds.items():
                for name, _, _, low, bits in _DATA["formats"][told["format"]]:
                    where = f"{chip}" if variant == "any" else f"{chip}/{variant}"
                    names.setdefault(name, {}).setdefault(f"[{low + bits - 1}:{low}]", []).append(where)
    return found


FIELDS = _names()


def table_class(name: str) -> type[Row]:
    made = type(name, (Row,), {"__slots__": (), "table": name, "__module__": "loamtunnel.tables"})
    lines = [f"A row of {name}.", "", "Fields, with their bits on chips or chips/variants:", ""]
    for field, places in FIELDS[name].items():
        lines.append(f"  {field}: " + "; ".join(f"{bits} on {' '.join(where)}" for bits, where in places.items()))
    made.__doc__ = "\n".join(lines)
    return made
