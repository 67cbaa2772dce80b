"""Recordings of a connection, as the program `loamtunnel log` makes them: read, and played again without the processes.

    for path, entity in recording.replay("driver.rec").items():
        print(path, len(entity.flat()))
"""

from __future__ import annotations

import struct
from collections.abc import Iterator
from pathlib import Path
from typing import NamedTuple

from .errors import RangeError, StreamFault
from .mount import ENTITY
from .service import Limits, Service
from .session import HELLO, Root, Session
from .tree import Entity

MAGIC = b"LoamRec1"
LONGEST_CHUNK = 65536
FULL = 255


class Chunk(NamedTuple):
    """Bytes that one side has sent, as they went by."""

    connected: bool  # whether the side that connected has sent them
    time: int  # microseconds, since whatever the recorder likes
    data: bytes


def chunks(path: str | Path) -> Iterator[Chunk]:
    """What a recording holds, in its order; a `StreamFault` tells what is wrong with the file."""
    data = Path(path).read_bytes()
    if data[:8] != MAGIC or len(data) < 12:
        raise StreamFault(f"{path} is no recording: it does not begin with {MAGIC.decode()}")
    at = 12
    while at < len(data):
        if len(data) - at < 13:
            raise StreamFault(f"{path} is cut at byte {at}")
        kind, time, length = struct.unpack_from(">BQI", data, at)
        at += 13
        if kind == FULL:
            return
        if kind > 1 or not 1 <= length <= LONGEST_CHUNK or length > len(data) - at:
            raise StreamFault(f"{path} has an unsound chunk at byte {at - 13}")
        yield Chunk(bool(kind), time, data[at : at + length])
        at += length


class _Heard(Session):
    """One direction of a connection, heard by somebody who says nothing. Both directions have the mounts in common."""

    def __init__(self, connects: bool, trees: dict[str, Entity], mounts: dict) -> None:
        super().__init__(Service("replay"), connects, limits=Limits(record=65535))
        self.trees, self.mounts = trees, mounts

    def _put(self, data: bytes) -> None:
        pass

    def check_given(self, id_: int) -> None:
        if id_ in self.mounts:
            raise RangeError(f"the id {id_} is in use")  # which the reader has passed over, too

    def _hear(self, form: int, attribute: int, data, at: int, end: int) -> None:
        if attribute == HELLO:
            self._hear_hello(data, at, end)
        elif attribute == ENTITY:
            self._hear_announcement(data, at, end)

    def _hear_unmounted(self, mount) -> None:
        mount.close()

    def _hear_wanted(self, path: str, number_: int, writable: bool, made: Entity, id_: int) -> None:
        made._place, made.read_only = path, "it has been recorded"
        self._hold(Root(self, path, number_, False, False, False, True), made, id_)
        self.trees[path] = made

    def _hear_push(self, path: str, number_: int, writable: bool, made: Entity, id_: int) -> None:
        self._hear_wanted(path, number_, writable, made, id_)


def replay(path: str | Path, seconds: float | None = None) -> dict[str, Entity]:
    """The trees that were shared, by the paths under which they were wanted or pushed, as they were at the end of the
    recording, or `seconds` after its first chunk."""
    trees: dict[str, Entity] = {}
    mounts: dict = {}
    sides = {connected: _Heard(not connected, trees, mounts) for connected in (False, True)}
    begun = None
    for chunk in chunks(path):
        begun = chunk.time if begun is None else begun
        if seconds is not None and chunk.time - begun > seconds * 1e6:
            break
        side = sides[chunk.connected]
        side.feed(chunk.data)
        if side.ended:
            raise StreamFault(f"{path}: {side.reason}")
    return trees
