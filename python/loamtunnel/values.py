"""Values and enumerations as Python classes, made from the schema.

    >>> from loamtunnel.types import AradLifAcMp, VtAppId
    >>> lif = AradLifAcMp(vsi=100, vlanEditVid1=20)
    >>> lif.dword0 & 0xFFFF, lif.replace(vsi=5).vsi
    (100, 5)
    >>> AradLifAcMp(vsi=70000)
    Traceback (most recent call last):
    OverflowError: vsi: 70000 is too large; the field has 16 bits, at most 65535
    >>> VtAppId(99)
    <VtAppId.VtAppId(99): 99>

A value does not change; `replace` gives another one. Two values are equal when their stored attributes are, so a view of an
entry equals that entry. What a platform type such as a chip's number is, is a plain `int` here.
"""

from __future__ import annotations

import contextlib
import enum
import functools
import ipaddress
import operator
import re

from . import described, schema
from .errors import RangeError, StreamFault


_NUMBERED = re.compile(r"(\w+)\(([0-9]{1,10})\)")


class Enumeration(enum.IntEnum):
    """An enumeration of the model. A number that has no name here is kept: a newer peer may know it, and `VtAppId(99)` is its text."""

    @classmethod
    def _missing_(cls, value):
        if isinstance(value, str):
            found = cls.__members__.get(value)
            number = _NUMBERED.fullmatch(value) if found is None else None
            if number and number[1] == cls.__name__ and int(number[2]) <= 0xFFFFFFFF:
                return cls(int(number[2]))
            if found is None:
                raise RangeError(f"{cls.__name__} has no enumerator {value}{schema.nearest(value, cls.__members__)}")
            return found
        if not isinstance(value, int):
            raise TypeError(f"{cls.__name__}: {value!r} is neither a number nor a name")
        if not 0 <= value <= 0xFFFFFFFF:
            raise OverflowError(f"{cls.__name__}: {value} does not fit; an enumerator has 32 bits, at most 4294967295")
        made = int.__new__(cls, value)
        made._name_, made._value_ = f"{cls.__name__}({value})", value
        return made

    def __reduce_ex__(self, protocol):
        return type(self), (self._value_,)  # by number: one that is not known has no name to be found by

    @property
    def is_known(self) -> bool:
        return self._name_ in type(self).__members__

    def __str__(self) -> str:
        return self._name_


class _Numbers(dict):
    """Numbers to enumerators, and what becomes of one that nobody has declared."""

    def __init__(self, kind: type[Enumeration], tolerant: bool) -> None:
        super().__init__({int(each): each for each in kind})
        self._kind, self._tolerant = kind, tolerant

    def __missing__(self, value: int):
        if self._tolerant:
            return self._kind(value)
        raise RangeError(f"{self._kind.__name__} has no enumerator with the number {value}")


@functools.cache
def numbers(kind: type[Enumeration], tolerant: bool) -> _Numbers:
    return _Numbers(kind, tolerant)


def at_most(words: str, most: int, value: int) -> int:
    if value > most:
        raise RangeError(words)
    return value


def fitting(name: str, value, bits: int, most: int | None = None) -> int:
    """`value` as a number of so many bits, or an `OverflowError` that names the field and its limits."""
    try:
        value = operator.index(value)
    except TypeError:
        raise TypeError(f"{name}: {value!r} is no number; the field has {_width(bits)}") from None
    if value < 0:
        raise OverflowError(f"{name}: {value} is too small; the least is 0")
    limit = (1 << bits) - 1 if most is None else most
    if value > limit:
        raise OverflowError(f"{name}: {value} is too large; the field has {_width(bits)}, at most {limit}")
    return value


def _signed(name: str, value) -> int:
    try:
        value = operator.index(value)
    except TypeError:
        raise TypeError(f"{name}: {value!r} is no number; the field has 32 bits, one of them for the sign") from None
    if not -(1 << 31) <= value < 1 << 31:
        size = "small" if value < 0 else "large"
        raise OverflowError(f"{name}: {value} is too {size}; the field holds -2147483648 to 2147483647")
    return value


def _width(bits: int) -> str:
    return "1 bit" if bits == 1 else f"{bits} bits"


class Interface(int):
    """An interface, as the number that its name becomes. One that is no name's has 0x and 16 digits for a text; 0 is none.

    >>> int(Interface("Ethernet3/1.100")), str(Interface(0x1000100020000064))
    (1152939114744807524, 'Ethernet3/1.100')
    """

    _schema: schema.Type

    def __new__(cls, given=0):
        if isinstance(given, str):
            number = _interface(given)
            if number is None:
                raise RangeError(f"{given!r} is no interface; Ethernet3/1.100 is one, or 0x and 16 hexadecimal digits")
            given = number
        return super().__new__(cls, fitting("IntfId", given, 64))

    def __str__(self) -> str:
        number = int(self)
        kind, parts = number >> 60, [number >> low & (1 << bits) - 1 for low, bits in _PARTS]
        name = _KINDS[kind] if kind < len(_KINDS) else ""
        name += "/".join(str(each - 1) for each in parts if each) + (f".{number & 0xFFFF}" if number & 0xFFFF else "")
        return name if number and _interface(name) == number else f"0x{number:016x}" if number else ""

    __repr__ = int.__repr__


_KINDS = ("", "Ethernet", "Port-Channel", "Vlan", "Vxlan", "Loopback", "Management", "Tunnel")
_PARTS = ((42, 18), (28, 14), (16, 12))  # where the numbers with slashes between lie, plus 1, and how wide they are
_NUMBER = "(0|[1-9][0-9]*)"
_INTERFACE = re.compile(rf"({'|'.join(_KINDS[1:])}){_NUMBER}(?:/{_NUMBER})?(?:/{_NUMBER})?(?:\.([1-9][0-9]*))?")


def _interface(name: str) -> int | None:
    """The number that a name becomes; None if it is none."""
    if re.fullmatch("0x[0-9a-fA-F]{16}", name):
        return int(name, 16)
    match = _INTERFACE.fullmatch(name)
    if match is None:
        return None if name else 0
    kind, *numbers, below = match.groups()
    number = _KINDS.index(kind) << 60 | int(below or 0)
    for (low, bits), each in zip(_PARTS, numbers, strict=True):
        if each is not None:
            if int(each) > (1 << bits) - 2:
                return None
            number |= int(each) + 1 << low
    return number if int(below or 0) <= 0xFFFF else None


class Fapmask:
    """A set of chips 0 to 127, as one number, bit n of which is chip n.

    >>> Fapmask("0-3,9"), Fapmask([1, 2]).chips
    (Fapmask('0-3,9'), (1, 2))
    """

    __slots__ = ("_bits",)
    _schema: schema.Type
    chips_most = 128

    def __init__(self, chips=()) -> None:
        bits = 0
        if isinstance(chips, Fapmask):
            bits = chips._bits
        elif isinstance(chips, str):
            for first, last in _ranges(chips):
                bits |= (2 << last) - (1 << first)
        else:
            for chip in chips:
                bits |= 1 << fitting("chip", chip, 7)
        self._bits = bits

    @classmethod
    def of(cls, bits: int) -> Fapmask:
        made = cls.__new__(cls)
        made._bits = fitting("fapMask", bits, cls.chips_most)
        return made

    @property
    def chips(self) -> tuple[int, ...]:
        return tuple(i for i in range(self.chips_most) if self._bits >> i & 1)

    def __contains__(self, chip: int) -> bool:
        return bool(self._bits >> chip & 1)

    def __bool__(self) -> bool:
        return self._bits != 0

    def __int__(self) -> int:
        return self._bits

    def __eq__(self, other) -> bool:
        return self._bits == other._bits if isinstance(other, Fapmask) else NotImplemented

    def __hash__(self) -> int:
        return hash(self._bits)

    def __str__(self) -> str:
        runs, chips = [], self.chips
        for chip in chips:
            if runs and runs[-1][1] == chip - 1:
                runs[-1][1] = chip
            else:
                runs.append([chip, chip])
        return ",".join(str(a) if a == b else f"{a}-{b}" for a, b in runs)

    def __repr__(self) -> str:
        return f"Fapmask({str(self)!r})"

    def written(self) -> bytes:
        words = [self._bits >> 16 * i & 0xFFFF for i in range(8)]
        present = sum(1 << i for i, word in enumerate(words) if word)
        return b"".join(each.to_bytes(2, "big") for each in [present, *filter(None, words)])

    @classmethod
    def read(cls, data, at: int, end: int) -> tuple[Fapmask, int]:
        if end - at < 2:
            raise StreamFault("a Fapmask is cut")
        present = data[at] << 8 | data[at + 1]
        at += 2
        bits = 0
        if present > 0xFF:
            raise RangeError(f"a Fapmask names parts that it does not have: 0x{present:04x}")
        for i in range(8):
            if present >> i & 1:
                if end - at < 2:
                    raise StreamFault("a Fapmask is cut")
                bits |= (data[at] << 8 | data[at + 1]) << 16 * i
                at += 2
        made = cls.__new__(cls)
        made._bits = bits
        return made, at


def _ranges(text: str):
    for part in filter(None, (each.strip() for each in text.split(","))):
        first, _, last = part.partition("-")
        try:
            numbers_ = int(first), int(last or first)
        except ValueError:
            raise RangeError(f"{text!r} is no set of chips; write one as 0-3,9") from None
        if not 0 <= numbers_[0] <= numbers_[1] < Fapmask.chips_most:
            raise RangeError(f"{part}: a chip is a number from 0 to {Fapmask.chips_most - 1}, the smaller one first")
        yield numbers_


class Value:
    """The base of all values. Attributes are given by name, or the stored ones in their order."""

    __slots__ = ()
    _schema: schema.Type

    def __init_subclass__(cls, **options) -> None:
        super().__init_subclass__(**options)

    def __reduce__(self):
        return _restored, (self._schema.name, self._stored())

    def __lt__(self, other):
        return self._stored() < other._stored() if self._like(other) else NotImplemented

    def __le__(self, other):
        return self._stored() <= other._stored() if self._like(other) else NotImplemented

    def __gt__(self, other):
        return self._stored() > other._stored() if self._like(other) else NotImplemented

    def __ge__(self, other):
        return self._stored() >= other._stored() if self._like(other) else NotImplemented

    def _like(self, other) -> bool:
        return getattr(other, "_family", None) is self._family

    def replace(self, **attributes):
        """Another value, equal to this one but for the attributes given."""
        return type(self)(**{each.name: getattr(self, each.name) for each in self._schema.stored} | attributes)

    def __str__(self) -> str:
        from . import text

        return text.text(self)

    def __repr__(self) -> str:
        views = [each for each in self._schema.attributes.values() if each.role == "view"]
        given = {each.name: getattr(self, each.name) for each in views}
        given = {name: value for name, value in given.items() if value}
        made = None
        if given and self._schema.bases:
            made = type(self)(**given)
        if made is None or made._stored() != self._stored():
            given = {each.name: getattr(self, each.name) for each in self._schema.stored}
        return f"{type(self).__name__}({', '.join(f'{k}={_plain(v)}' for k, v in given.items())})"


def _restored(name: str, stored: tuple):
    return python_type(name).made(*stored)


def _plain(value) -> str:
    return f"{type(value).__name__}.{value}" if isinstance(value, Enumeration) and value.is_known else repr(value)


def coerced(name: str, type_: str, value, most: int | None = None):
    """`value` as one of the type, or the error that says why it is none."""
    bits = schema.BITS.get(type_)
    if type_ == "bool":
        if value is True or value is False or (isinstance(value, int) and value in (0, 1)):
            return bool(value)
        raise TypeError(f"{name}: {value!r} is no bool; True or False is")
    if bits:
        return fitting(name, value, bits, most)
    if type_ == "int":
        return _signed(name, value)
    kind = python_type(type_)
    if type(value) is kind and kind is not int:
        return value
    described = schema.TYPES[type_]
    if kind is int:
        return fitting(name, value, schema.BITS[described.form], described.check.get("most", most))
    if isinstance(value, Value) and issubclass(kind, Value):
        if value._family is kind._family:
            return kind.made(*value._stored())
        if value._schema is not schema.TYPES.get(value._schema.name):
            return _renewed(value, name, type_)
    if issubclass(kind, Value):
        if isinstance(value, tuple):
            return kind(*value)
        if described.scalar and not isinstance(value, Value):
            return kind(value)
        if isinstance(value, dict):
            return kind(**value)
        raise TypeError(f"{name}: {value!r} is no {kind.__name__}")
    try:
        return kind(value)
    except (ValueError, OverflowError, TypeError) as fault:
        raise type(fault)(f"{name}: {fault}") from None


def _renewed(value: Value, name: str, type_: str):
    """A value of before another schema was loaded, as one of its type as that is now."""
    kind = python_type(value._schema.name)
    left = {each.name for each in kind._schema.stored}
    given = {each.name: getattr(value, each.name) for each in value._schema.stored if each.name in left}
    return coerced(name, type_, kind(**given))


def _value_class(type_: schema.Type) -> type:
    stored = type_.stored
    names = [each.name for each in stored]
    inherited = python_type(type_.base) if type_.base in schema.TYPES else None
    space: dict[str, object] = {"__slots__": () if inherited else tuple("_" + n for n in names), "_schema": type_}
    if not inherited:
        space |= {
            each.name: property(operator.attrgetter("_" + each.name), doc=described.field(each)) for each in stored
        }
    for each in type_.attributes.values():
        if each.role == "view":
            space[each.name] = _view(each)
        elif each.role == "constant":
            space[each.name] = each.value
    kind = type(type_.short, (inherited or Value,), space)
    kind.__module__, kind.__qualname__ = "loamtunnel.types", type_.short
    kind.__doc__ = described.doc(type_)
    kind._family = inherited._family if inherited else kind
    fields = "".join(f"self._{n}, " for n in names)
    source = [
        f"def made({', '.join(names)}):",
        "    self = new(cls)",
        *(f"    self._{n} = {n}" for n in names),
        "    return self",
        f"def _stored(self): return ({fields})",
        f"def __hash__(self): return hash(({fields}))",
        "def __eq__(self, other):",
        "    if other.__class__ is not self.__class__ and getattr(other, '_family', None) is not family:",
        "        return NotImplemented",
        f"    return {' and '.join(f'self._{n} == other._{n}' for n in names) or 'True'}",
    ]
    made: dict[str, object] = {"new": object.__new__, "cls": kind, "family": kind._family}
    exec("\n".join(source), made)  # composed here from the schema alone
    kind.made = staticmethod(made["made"])
    for name in ("_stored", "__hash__", "__eq__"):
        setattr(kind, name, made[name])
    kind.__init__ = _constructor(type_)
    kind.checked = staticmethod(_checked(kind, type_))
    return kind


def _always(type_: schema.Type) -> tuple[str, int] | None:
    """The word of a value that has bits set whatever it is made from, and those bits."""
    found = type_.check.get("always")
    return ("_" + found[0], found[1]) if found else None


def _checked(kind: type, type_: schema.Type):
    """Makes a value from what a peer has sent where the peer is not simply believed."""
    limits = [(i, each.words, each.most) for i, each in enumerate(type_.stored) if each.most is not None]
    always = _always(type_)

    def checked(*stored):
        for place, words, most in limits:
            at_most(words, most, stored[place])
        made = kind.made(*stored)
        if always:
            setattr(made, always[0], getattr(made, always[0]) | always[1])
        return made

    return checked


def _constructor(type_: schema.Type):
    stored = type_.stored
    by_name = type_.attributes
    settable = [each.name for each in by_name.values() if each.role in ("stored", "view")]
    always = _always(type_)

    def __init__(self, *given, **named) -> None:
        if len(given) > len(stored):
            raise TypeError(f"{type_.short} has {len(stored)} stored attributes; {len(given)} were given")
        for each, value in zip(stored, given):
            if each.name in named:
                raise TypeError(f"{each.name} is given twice")
            setattr(self, "_" + each.name, coerced(each.name, each.type, value, each.most))
        for each in stored[len(given) :]:
            value = named.pop(each.name, each.default)
            setattr(self, "_" + each.name, coerced(each.name, each.type, value, each.most))
        if always:
            setattr(self, always[0], getattr(self, always[0]) | always[1])
        for name, value in named.items():
            attribute = by_name.get(name)
            if attribute is None or attribute.role != "view":
                raise TypeError(f"no attribute {name} in {type_.short}{schema.nearest(name, settable)}")
            word = "_" + attribute.word
            mask = (1 << attribute.bits) - 1
            bits = fitting(name, value, attribute.bits)
            setattr(self, word, getattr(self, word) & ~(mask << attribute.low) | bits << attribute.low)

    return __init__


def _view(attribute: schema.Attribute) -> property:
    word, low, mask = "_" + attribute.word, attribute.low, (1 << attribute.bits) - 1
    if attribute.type == "bool":
        return property(lambda self: bool(getattr(self, word) >> low & mask), doc=described.field(attribute))
    if attribute.type not in schema.SCALARS:  # its class may be another one by then
        return property(
            lambda self: python_type(attribute.type)(getattr(self, word) >> low & mask), doc=described.field(attribute)
        )
    return property(lambda self: getattr(self, word) >> low & mask, doc=described.field(attribute))


_CLASSES: dict[str, type] = {"bool": bool} | {name: int for name in schema.SCALARS if name != "bool"}


def python_type(name: str) -> type:
    """The class that stands for a type of the model; `int` for the platform's plain numbers."""
    made = _CLASSES.get(name)
    if made is None:
        made = _CLASSES[name] = _class_of(name)
    return made


@contextlib.contextmanager
def set_aside(changed: set[str]):
    """Makes the classes of these types anew within, and has those of before afterwards."""
    before, schemas = dict(_CLASSES), [(kind, getattr(kind, "_schema", None)) for kind in (Fapmask, Interface)]
    _forget(changed)
    try:
        yield
    finally:
        _CLASSES.clear()
        _CLASSES.update(before)
        for kind, described_ in schemas:
            kind._schema = described_


@schema.forgets
def _forget(changed: set[str]) -> None:
    for name in changed:
        _CLASSES.pop(name, None)


def _class_of(name: str) -> type:
    type_ = schema.TYPES[name]
    if type_.kind == "enumeration":
        made = Enumeration(type_.short, type_.enumerators, module="loamtunnel.types", qualname=type_.short)
        made._schema, made.__doc__ = type_, described.doc(type_)
        return made
    if type_.form == "address":
        return ipaddress.IPv4Address
    if type_.form == "chips":
        Fapmask._schema = type_
        return Fapmask
    if type_.form == "U64":
        Interface._schema = type_
        return Interface
    if type_.form in schema.BITS:
        return int
    if type_.kind == "value":
        return _value_class(type_)
    from . import tree

    return tree.entity_class(type_)
