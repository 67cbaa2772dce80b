"""Records: the frame in which everything travels once the preamble has passed.

A record is a U16 length, a form byte, the id of an entity, the id of an attribute, perhaps a secondary attribute, and a
payload. `RecordReader` cuts a stream into records and checks every length before it believes it; `record` builds one.

    >>> record(7, 258, b"", form=0).hex(" ")
    '00 04 00 07 84 04'
"""

from __future__ import annotations

import struct
from collections.abc import Iterator

from .errors import StreamFault

UNSIZED, SECONDARY, MARKER = 1, 2, 4
CHILD = 151  # the secondary attribute of a record that tells of a child
LONGEST_RECORD = 4096
LONGEST_WORDS = 500  # bytes of what is said to people, so that it fits any record

_u16 = struct.Struct(">H")


def number(value: int) -> bytes:
    """7 bits a byte, least significant first, as short as possible.

    >>> number(300).hex(" ")
    'ac 02'
    """
    if value < 0x80:
        return bytes((value,))
    made = bytearray()
    while value > 0x7F:
        made.append(value & 0x7F | 0x80)
        value >>= 7
    made.append(value)
    return bytes(made)


def signed(value: int) -> bytes:
    """`2n` for n >= 0, `-2n - 1` for n < 0, as a number."""
    return number(2 * value if value >= 0 else -2 * value - 1)


def read_number(data, at: int, end: int) -> tuple[int, int]:
    """The number at `at`, and where it ends. One that is cut, too long or not the shortest is a fault."""
    value = shift = 0
    while at < end:
        byte = data[at]
        at += 1
        value |= (byte & 0x7F) << shift
        if byte < 0x80:
            if (byte == 0 and shift) or value >> 64:
                raise StreamFault("a number is not in its shortest form, or has more than 64 bits")
            return value, at
        shift += 7
        if shift > 63:
            break
    raise StreamFault("a number is cut, or has more than 64 bits")


def string(text: str | bytes) -> bytes:
    """A U16 length in bytes, then the bytes."""
    data = text if isinstance(text, bytes) else encoded(text)
    if len(data) > 0xFFFF:
        raise ValueError(f"a string of {len(data)} bytes is too long; it has at most 65535")
    return _u16.pack(len(data)) + data


def read_string(data, at: int, end: int) -> tuple[str, int]:
    if end - at < 2:
        raise StreamFault("a string is cut")
    length = data[at] << 8 | data[at + 1]
    at += 2
    if end - at < length:
        raise StreamFault(f"a string of {length} bytes is cut after {end - at}")
    return decoded(bytes(data[at : at + length])), at + length


def ended_at(at: int, end: int) -> None:
    if at != end:
        raise StreamFault("a payload is too long")


def whole_string(data, at: int, end: int) -> str:
    """A string that is all that there is."""
    text, at = read_string(data, at, end)
    ended_at(at, end)
    return text


def encoded(text: str) -> bytes:
    return text.encode("utf-8", "surrogateescape")


def decoded(data: bytes) -> str:
    """Strings are bytes on the wire. Those that are no UTF-8 survive a way through `str` all the same."""
    return data.decode("utf-8", "surrogateescape")


def words(text: str) -> bytes:
    """What is said to people, wherever it comes from: cut between two letters, without what is no text."""
    try:
        data = encoded(text)
    except UnicodeEncodeError:
        data = text.encode("utf-8", "replace")
    end = min(len(data), LONGEST_WORDS)
    while LONGEST_WORDS - 3 < end < len(data) and data[end] & 0xC0 == 0x80:
        end -= 1
    return data[:end]


def section(kind: int, content: bytes) -> bytes:
    return bytes((kind,)) + _u16.pack(len(content)) + content


def sections(data, at: int, end: int) -> dict[int, tuple[int, int]]:
    """Where the sections of a payload lie: number to (start, end). Of a repeated one, the last."""
    found: dict[int, tuple[int, int]] = {}
    while at < end:
        if end - at < 3:
            raise StreamFault("a section is cut")
        kind, length = data[at], data[at + 1] << 8 | data[at + 2]
        at += 3
        if end - at < length:
            raise StreamFault(f"section {kind} of {length} bytes is cut after {end - at}")
        found[kind] = (at, at + length)
        at += length
    return found


def record(entity: int, attribute: int, payload: bytes, form: int = UNSIZED, secondary: int = 0) -> bytes:
    body = bytes((form,)) + number(entity) + signed(attribute)
    if form & SECONDARY:
        body += number(secondary)
    return _u16.pack(len(body) + len(payload)) + body + payload


class RecordReader:
    """Cuts a stream into records.

    `feed` takes bytes in any pieces; iterating gives (form, entity, attribute, secondary, data, start, end) for each
    record that is whole, `data[start:end]` being its payload. `data` holds only until the next `feed`.
    """

    __slots__ = ("_data", "_at", "longest")

    def __init__(self) -> None:
        self._data = b""
        self._at = 0
        self.longest = LONGEST_RECORD

    def feed(self, data: bytes) -> None:
        self._data = self._data[self._at :] + data if self._at < len(self._data) else bytes(data)
        self._at = 0

    def take(self, count: int) -> bytes | None:
        """The next `count` bytes, which are no record; None while there are fewer."""
        if len(self._data) - self._at < count:
            return None
        self._at += count
        return self._data[self._at - count : self._at]

    def __iter__(self) -> Iterator[tuple[int, int, int, int, bytes, int, int]]:
        data, size = self._data, len(self._data)
        while size - self._at >= 2:
            at = self._at
            length = data[at] << 8 | data[at + 1]
            if length + 2 > self.longest:
                raise StreamFault(f"a record of {length + 2} bytes is too long; at most {self.longest} were agreed on")
            end = at + 2 + length
            if end > size:
                return
            if length < 3:
                raise StreamFault(f"a record of {length} bytes is too short for its header")
            form = data[at + 2]
            if form > 7:
                raise StreamFault(f"a record has the form {form}, which nobody knows")
            # Ids are short as a rule; the long way round is a function.
            entity = data[at + 3]
            at += 4
            if entity > 0x7F:
                entity, at = read_number(data, at - 1, end)
            if at + 1 < end and data[at] > 0x7F and 0 < data[at + 1] < 0x80:
                attribute = data[at] & 0x7F | data[at + 1] << 7
                at += 2
            else:
                attribute, at = read_number(data, at, end)
            if attribute > 0xFFFFFFFE:
                raise StreamFault("a record has an attribute of more than 32 bits")
            attribute = -((attribute + 1) >> 1) if attribute & 1 else attribute >> 1
            secondary = 0
            if form & SECONDARY:
                secondary, at = read_number(data, at, end)
                if not 0 < secondary <= 0xFFFFFFFF:
                    raise StreamFault(f"a record has the secondary attribute {secondary}; one has 32 bits and is not 0")
            self._at = end
            yield form, entity, attribute, secondary, data, at, end
