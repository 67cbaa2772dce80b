"""One connection: bytes in, bytes out, no socket and no clock.

A session sends a preamble and a hello, then what this side offers, wants, pushes and asks. `feed` takes what has come,
`take` gives what is to go. What the other side does wrong ends the session with a goodbye that says what it was.
"""

from __future__ import annotations

import os
import secrets
import struct
import time
from collections import Counter, deque
from collections.abc import Callable, Iterator
from dataclasses import dataclass

from . import records, schema, values
from .calls import ANSWER, OVERTAKE, REQUEST, Calls, Request
from .errors import ConnectionEnded, LoamError, RangeError, Refused, StreamFault
from .fences import FENCE, FENCED, FIRST_PROTOCOL, MOST_HOPS, Asked, Fenced, Fences
from .mount import ENTITY, Mount
from .records import MARKER, RecordReader, ended_at, number, record, section, string, whole_string
from .service import Holder, Limits, Offer, Service, check_path, has_control
from .text import key_text
from .tree import Entity
from .wire import codec, to_wire

MAGIC = bytes.fromhex("894c6f616d4c6f67")
PROTOCOLS = (2, 3)  # the lowest and the highest that are spoken here
HELLO, GOODBYE, OFFER, ALL_TOLD, WANT, VERDICT = range(160, 166)
PUSHED, WRITABLE, TAKES_OVER = 1, 2, 4
TAKEN = 2  # of a verdict
NO_TOKEN = bytes(16)
ROOM = 256 * 1024  # what waits to go before the stream counts as full
MOST_ANSWERS = 4 << 20  # bytes of answers to a peer that does not read them


class Root:
    """The top of what is shared under a path: who announced it, and how far its state has come."""

    __slots__ = ("session", "path", "number", "pushed", "sends", "applies", "passes", "mount", "whole", "heard", "mine")

    def __init__(self, session, path: str, number_: int, pushed: bool, mine: bool, sends: bool, applies: bool) -> None:
        self.session, self.path, self.number, self.pushed, self.mine = session, path, number_, pushed, mine
        self.sends, self.applies = sends, applies
        self.passes = 0
        self.mount: Mount | None = None
        self.whole = False
        self.heard: Wish | Push | None = None

    def passed(self) -> None:
        if not self.passes and not self.whole and self.mount is not None and self.mount.id in self.session.mounts:
            self.whole = True
            self.mount.sync_mode(3)

    def come(self) -> None:
        self.whole = True
        if isinstance(self.heard, Wish):
            self.heard.settle(None)


@dataclass(eq=False)
class Wish:
    """A want on its way. `done(error)` is called once: None when all of the state has come."""

    path: str
    number: int
    entity: Entity | None = None
    done: Callable[[Exception | None], None] | None = None
    root: Root | None = None
    writable: bool = False

    def settle(self, error: Exception | None) -> None:
        done, self.done = self.done, None
        if done is not None:
            done(error)


@dataclass(eq=False)
class Push(Wish):
    """A push. `done(error)` is called once: None when the peer has taken it in. `lost(error)` is called if it lets it go later."""

    takes_over: bool = False
    lost: Callable[[Exception], None] | None = None

    def refuse(self, error: Exception) -> None:
        if self.done is not None:
            self.settle(error)
        elif self.lost is not None:
            lost, self.lost = self.lost, None
            lost(error)


@dataclass(eq=False)
class Behind:
    """What is done when all has left that was changed up to a moment."""

    moment: int
    do: Callable[[], None]


def _must_be_entity(given) -> None:
    if not isinstance(given, Entity):
        hint = f"; make one, as {given.__name__}(...)" if isinstance(given, type) else ""
        raise TypeError(f"{given!r} is no entity{hint}")


class Session:
    """One side of a connection. `connects` tells which: ids and ties depend on it."""

    checksum: int | None = None  # of the types that this side knows; None for that of `loamtunnel.schema`
    their_checksum = 0
    token = secrets.token_bytes(16)  # of this process: the same on all its connections
    detail = ""  # what is known of the peer's process, for people
    last_refused = ""  # what was wrong with the last record that was passed over

    def __init__(
        self,
        service: Service,
        connects: bool,
        peer: object = None,
        limits: Limits = Limits(),
        wake: Callable[[], None] = lambda: None,
    ) -> None:
        self.service, self.connects, self.limits, self.wake = service, connects, limits, wake
        self.peer = peer if peer is not None else self
        self.name = ""  # the peer's, once its hello has come
        self.theirs = limits
        self.protocol = 0
        self.their_token = NO_TOKEN
        self.moment = 0  # rises when something is to stand behind changes
        self.turn: int | None = None  # the moment of the change whose turn it is to leave
        self.is_open = self.all_told = self.ended = False
        self.reason = ""
        self.mounts: dict[int, Mount] = {}
        self.offers: dict[str, Offer] = {}
        self.roots: dict[str, Root] = {}  # that the peer has wanted
        self.wishes: dict[str, Wish] = {}
        self.pushes: dict[int, Push] = {}
        self.counts: Counter[str] = Counter()
        self.has_room = True
        self.on_open: Callable[[], None] = lambda: None
        self.on_end: Callable[[Exception], None] = lambda error: None
        self.ends_watches = True  # whether watches of the copies end with the connection
        self.on_unshared: Callable[[str, Entity, Exception], None] = lambda path, entity, error: end_watches(
            entity, error
        )
        self._out: list[bytes] = []
        self._size = 0
        self._answered = 0  # bytes of answers among those that wait to go
        self._early: list[Callable[[], None]] = []  # what waits for the other side's hello
        self._reader = RecordReader()
        self._preamble = False
        self._next_id = 7 if connects else 5
        self._numbers = 0
        self._given: set[int] = set()  # ids under which the peer's entities stand
        self._told: set[str] = set()  # the paths of this side's offers that the peer knows
        self._untold: dict[str, Offer] = {}  # those that it has no room for
        self._flows: deque[tuple[int, Iterator[None]]] = deque()
        self._marked: dict[Mount, None] = {}
        self._kept: dict[Mount, None] = {}  # those whose marks wait for the peer's state
        self._behind: deque[Behind] = deque()
        self._fences = Fences(self)
        self._calls = Calls(self)
        self._put(MAGIC + struct.pack(">HH", *PROTOCOLS))
        self._put(self._hello())
        service.sessions.add(self)

    # Bytes

    def put(self, data: bytes) -> None:
        """One whole record, to go in its turn."""
        self.counts["records out"] += 1
        self._put(data)

    def _put(self, data: bytes) -> None:
        if self.ended:
            return
        if not self._out:
            self.wake()
        self._out.append(data)
        self._size += len(data)
        if self._size > ROOM and self.has_room:
            self.has_room = False
            self.counts["full"] += 1

    def take(self) -> bytes:
        """What is to go now. Call it again when that has gone; b"" when nothing is left."""
        self.has_room = self._size <= ROOM
        self._pump()
        data = b"".join(self._out)
        self._out.clear()
        self._size, self._answered, self.has_room = 0, 0, True
        self.counts["bytes out"] += len(data)
        if self._marked or self._flows:
            self.wake()
        return data

    @property
    def has_more(self) -> bool:
        """Whether something waits to be sent, be it as records or still as marks."""
        return not self.ended and bool(self._out or self._marked or self._flows or self._early)

    def _pump(self) -> None:
        while self.has_room and self._marked:
            mount = next(iter(self._marked))
            del self._marked[mount]
            if mount.held:
                self.mark(mount)
            elif not mount.flush():
                self._marked[mount] = None  # the others have their turn before it goes on
        while self.has_room and self._flows:
            self.turn, flow = self._flows[0]
            if next(flow, self) is self and not self.ended:
                self._flows.popleft()
        self.turn = None
        while self._behind and self._has_left(self._behind[0].moment):
            self._behind.popleft().do()

    def begin(self, flow: Iterator[None]) -> None:
        """A pass of an entity. That of a child belongs to the change that tells of the child."""
        self._flows.append((self.moment if self.turn is None else self.turn, flow))
        self.wake()

    def mark(self, mount: Mount) -> None:
        if mount.held:
            self._kept[mount] = None
        else:
            self._marked[mount] = None
            self.wake()

    def released(self, mount: Mount) -> None:
        """The peer's state has come: what waited for that may leave."""
        self._kept.pop(mount, None)
        if mount.dirty:
            self.mark(mount)
        elif self._behind:
            self.wake()

    def after_changes(self, do: Callable[[], None]) -> Behind | None:
        """Does it when all has left that is changed by now: at once, or later, in the order of the calls."""
        if not self._behind and self._has_left(self.moment):
            do()
            return None
        behind = Behind(self.moment, do)
        self.moment += 1
        self._behind.append(behind)
        return behind

    def forget_behind(self, behind: Behind) -> None:
        if behind in self._behind:
            self._behind.remove(behind)

    def _has_left(self, moment: int) -> bool:
        """Whether no key and no pass waits that did at that moment. The first key of a mount is the one that waits longest."""
        for mounts in (self._marked, self._kept):
            for mount in mounts:
                if mount.dirty and next(iter(mount.dirty.values())) <= moment:
                    return False
        return all(begun > moment for begun, _ in self._flows)

    def feed(self, data: bytes) -> None:
        """Bytes that have come, in any pieces."""
        if self.ended:
            return
        self.counts["bytes in"] += len(data)
        reader = self._reader
        reader.feed(data)
        try:
            if not self._preamble and not self._hear_preamble():
                return
            mounts, counts = self.mounts, self.counts
            for form, entity, attribute, secondary, bytes_, at, end in reader:
                counts["records in"] += 1
                try:
                    if entity == 1:
                        before = self._size
                        self._hear(form, attribute, bytes_, at, end)
                        self._answered += max(self._size - before, 0)
                        if self._answered > MOST_ANSWERS:
                            raise StreamFault(f"more than {MOST_ANSWERS} bytes of answers wait for a side that does not read")
                    elif not self.is_open:
                        raise StreamFault("a record came before the hello")
                    elif (mount := mounts.get(entity)) is None:
                        counts["unknown entities"] += 1
                    elif attribute == -ENTITY and not form & MARKER:
                        ended_at(at, end)
                        self._hear_unmounted(mount)
                    else:
                        mount.apply(form, attribute, bytes_, at, end)
                except RangeError as fault:
                    counts["refused"] += 1
                    self.last_refused = str(fault)
                if self.ended:
                    return
        except StreamFault as fault:
            self.close(str(fault))
        except IndexError:
            self.close("a record is cut")

    def close(self, reason: str, said: bool = True) -> None:
        """Ends the session: with `said`, a goodbye with the reason is the last record."""
        if self.ended:
            return
        if said:
            self._put(record(1, GOODBYE, string(records.words(reason))))
        self.ended, self.reason = True, reason
        error = ConnectionEnded(reason)
        self.service.sessions.discard(self)
        self._flows.clear()
        self._marked.clear()
        self._kept.clear()
        self._behind.clear()
        for each in (*self.wishes.values(), *self.pushes.values()):
            each.settle(error)
        tops = {each.root.mount for each in self.mounts.values()}
        for mount in tuple(self.mounts.values()):
            mount.close()
        self._calls.end(error)
        self._fences.end(error)
        for mount in tops:
            if mount is not None and not mount.root.mine and self.ends_watches:
                end_watches(mount.entity, error)
        self.on_end(error)

    def stats(self) -> dict[str, object]:
        """What this connection has carried, under the names that the program has for it."""
        counts = self.counts
        return {
            "peer": self.name,
            **({"detail": self.detail} if self.detail else {}),
            "entities": len(self.mounts),
            "openFences": self._fences.open(),
            "recordsIn": counts["records in"],
            "bytesIn": counts["bytes in"],
            "recordsOut": counts["records out"],
            "bytesOut": counts["bytes out"],
            "coalescedChanges": counts["coalesced"],
            "dirtyKeys": sum(len(each.dirty) for each in self.mounts.values()),
            "dirtyKeysHighWater": counts["most dirty"],
            "streamFull": counts["full"],
            "passesIn": counts["passes in"],
            "unknownEnums": counts["unknown enumerators"],
            "unknownAttributes": counts["unknown attributes"],
            "unknownEntities": counts["unknown entities"] + counts["unknown types"],
            "refusedRecords": counts["refused"],
        }

    @property
    def longest_record(self) -> int:
        """What both sides have agreed on."""
        return self._reader.longest

    # The beginning

    def _hello(self) -> bytes:
        return record(
            1,
            HELLO,
            section(16, string(self.service.name))
            + section(17, (schema.CHECKSUM if self.checksum is None else self.checksum).to_bytes(8, "big"))
            + section(18, struct.pack(">IIII", *self.limits))
            + section(19, self.token),
        )

    def _hear_preamble(self) -> bool:
        preamble = self._reader.take(12)
        if preamble is None:
            return False
        lowest, highest = struct.unpack(">HH", preamble[8:])
        if preamble[:8] != MAGIC:
            raise StreamFault("these bytes are no attribute log: they begin with another magic")
        self.protocol = min(highest, PROTOCOLS[1])
        if self.protocol < max(lowest, PROTOCOLS[0]):
            raise StreamFault(
                f"no protocol is common: this side speaks {PROTOCOLS[0]} to {PROTOCOLS[1]}, the other one {lowest} to {highest}"
            )
        self._preamble = True
        return True

    def _hear_hello(self, data, at: int, end: int) -> None:
        if self.is_open:
            raise StreamFault("a second hello")
        found = records.sections(data, at, end)
        if not {16, 17, 18} <= found.keys():
            raise StreamFault("a hello lacks a section; 16, 17 and 18 must be there")
        # One that is longer than this protocol knows is read as far as it is known.
        name, _ = records.read_string(data, *found[16])
        (a, b), (c, d) = found[17], found[18]
        token = bytes(data[slice(*found[19])])[:16] if 19 in found else NO_TOKEN
        if b - a < 8 or d - c < 16 or len(token) != 16:
            raise StreamFault("a section of the hello is too short")
        limits = Limits(*struct.unpack_from(">IIII", data, c))
        if len(records.encoded(name)) > 64 or has_control(name):
            raise StreamFault("the name in the hello has more than 64 bytes, or control characters")
        if not 1024 <= limits.record <= 65535:
            raise StreamFault(f"a longest record of {limits.record} bytes; it is 1024 to 65535")
        if limits.ring < 2 * limits.record:
            raise StreamFault(f"a ring of {limits.ring} bytes is shorter than two records of {limits.record}")
        if not limits.entities:
            raise StreamFault("the other side takes no entities")
        self.name, self.theirs, self.their_token = name, limits, token
        self.their_checksum = int.from_bytes(data[a : a + 8], "big")
        self._reader.longest = min(limits.record, self.limits.record)
        self.is_open = True
        for each in self._early:
            each()
        self._early.clear()
        for offer in self.service.offers.values():
            self.tell_offer(offer)
        self.put(record(1, ALL_TOLD, b""))
        self.on_open()

    def _check_open(self) -> None:
        if self.ended:
            raise ConnectionEnded(self.reason)

    def _when_open(self, what: Callable[[], None]) -> None:
        self._check_open()
        if self.is_open:
            what()
        else:
            self._early.append(what)

    def _hear(self, form: int, attribute: int, data, at: int, end: int) -> None:
        """A record of entity 1."""
        if attribute == HELLO:
            self._hear_hello(data, at, end)
        elif attribute == GOODBYE:
            self.close(whole_string(data, at, end), said=False)
        elif not self.is_open:
            raise StreamFault("a record came before the hello")
        elif form & MARKER:
            self.counts["unknown attributes"] += 1  # nothing of entity 1 has passes
        elif attribute == ENTITY:
            self._hear_announcement(data, at, end)
        else:
            hear = _HEARERS.get(attribute)
            if hear is None or (attribute in (FENCE, FENCED) and self.protocol < FIRST_PROTOCOL):
                self.counts["unknown attributes"] += 1
            else:
                hear(self, data, at, end)

    # Ids

    def new_id(self) -> int:
        self._next_id += 4
        if len(self.mounts) - len(self._given) >= self.theirs.entities:
            raise LoamError(f"{self.name} takes no more than {self.theirs.entities} entities")
        return self._next_id - 4

    def is_mine(self, id_: int) -> bool:
        return bool(id_ & 2) == self.connects

    def check_given(self, id_: int) -> None:
        """An id that the peer assigns."""
        if not id_ & 1 or id_ == 1 or self.is_mine(id_):
            raise StreamFault(f"the id {id_} is not one that the other side may give")
        if id_ in self.mounts:
            raise RangeError(f"the id {id_} is in use")
        if len(self._given) >= self.limits.entities:
            raise StreamFault(f"more than {self.limits.entities} entities")

    def taken_in(self, mount: Mount) -> None:
        self._given.add(mount.id)

    def gone(self, mount: Mount) -> None:
        self._given.discard(mount.id)
        self._marked.pop(mount, None)
        self._kept.pop(mount, None)
        holder = self.service.holders.get(mount.entity)
        if holder is not None and holder.root is mount.root and mount.root.mount is mount:
            del self.service.holders[mount.entity]
        if self._behind:
            self.wake()

    def mount_of(self, entity: Entity) -> Mount | None:
        return next((each for each in entity._mounts if each.session is self), None)

    # Offers, wishes and pushes

    def tell_offer(self, offer: Offer) -> None:
        if not self.is_open:
            return  # all are told after the hello
        if len(self._told) >= self.theirs.roots:
            self._untold[offer.path] = offer  # until there is room for it
            return
        self._told.add(offer.path)
        self.put(record(1, OFFER, string(offer.path) + string(offer.type) + bytes((offer.writable,))))

    def tell_withdrawn(self, path: str) -> None:
        if not self.is_open:
            return
        self._unmount(path)
        self._untold.pop(path, None)
        if path in self._told:
            self._told.discard(path)
            self.put(record(1, -OFFER, string(path)))
            if self._untold:
                self.tell_offer(self._untold.pop(next(iter(self._untold))))

    def _unmount(self, path: str) -> None:
        root = self.roots.pop(path, None)
        if root is not None and root.mount is not None and root.mount.id in self.mounts:
            self.put(record(root.mount.id, -ENTITY, b"", form=0))
            root.mount.close()

    def want(self, path: str, entity: Entity | None, done: Callable[[Exception | None], None]) -> Wish:
        """Asks for what is offered under a path. Given an entity of its type, that one becomes the copy."""
        check_path(path)
        if entity is not None:
            _must_be_entity(entity)
        self._check_open()
        if path in self.wishes:
            raise ValueError(f"{path} is wanted already")
        self._numbers += 1
        wish = self.wishes[path] = Wish(path, self._numbers, entity, done)
        self._when_open(lambda: self._want(wish))
        return wish

    def _want(self, wish: Wish) -> None:
        if self.wishes.get(wish.path) is wish:  # which may have been withdrawn before the hello came
            self.put(record(1, WANT, string(wish.path) + number(wish.number)))

    def unwant(self, path: str) -> None:
        wish = self.wishes.pop(path, None)
        if wish is None or self.ended:
            return
        if self.is_open:
            self.put(record(1, -WANT, string(path) + number(wish.number)))
        if wish.root is not None and wish.root.mount is not None:
            wish.root.mount.close()

    def push(
        self,
        path: str,
        entity: Entity,
        writable: bool,
        done: Callable[[Exception | None], None],
        takes_over: bool = False,
        lost: Callable[[Exception], None] | None = None,
    ) -> Push:
        """Pushes an entity; with `writable`, the peer may write to it. `takes_over` asks for the place of another pusher.

        `lost(error)` is called if the peer lets it go after it has taken it in, as when another one has got its place.
        """
        check_path(path)
        _must_be_entity(entity)
        self._check_open()
        self._numbers += 1
        push = Push(path, self._numbers, entity, done, takes_over=takes_over, lost=lost)
        self.pushes[push.number] = push
        self._when_open(lambda: self._push(push, writable))
        return push

    def _push(self, push: Push, writable: bool) -> None:
        if push.number not in self.pushes:
            return
        assert push.entity is not None
        try:
            bits = PUSHED | (TAKES_OVER if push.takes_over else 0)
            self._announce(push.entity, push.path, push.number, bits, writable, push)
        except LoamError as fault:
            del self.pushes[push.number]
            push.settle(fault)

    def unpush(self, push: Push) -> None:
        self.pushes.pop(push.number, None)
        mount = push.root.mount if push.root is not None else None
        if mount is not None and self.mounts.get(mount.id) is mount:
            self.put(record(mount.id, -ENTITY, b"", form=0))
            mount.close()

    def _must_be_free(self, entity: Entity) -> None:
        """An entity stands on a connection once, be it as a root or below one."""
        if self.mount_of(entity) is not None:
            raise Refused("it is on this connection already")
        for each in self.mounts.values():
            above = each.entity.parent if each.parent is None else None
            while above is not None and above is not entity:
                above = above.parent
            if above is not None:
                raise Refused("a part of it is on this connection already")
        above = entity.parent
        while above is not None:
            if self.mount_of(above) is not None:  # which carries this one, too, be it now or soon
                raise Refused("it is on this connection already")
            above = above.parent

    def _announce(self, entity: Entity, path: str, number_: int, bits: int, writable: bool, push: Push | None) -> Root:
        self._must_be_free(entity)
        root = Root(self, path, number_, bool(bits & PUSHED), True, True, writable)
        root.heard = push
        id_ = self.new_id()
        self.put(
            record(
                1,
                ENTITY,
                self._described(entity)
                + section(4, number(id_))
                + section(5, string(path) + number(bits | (WRITABLE if writable else 0)) + number(number_)),
            )
        )
        root.mount = Mount(self, entity, id_, root)
        if push is not None:
            push.root = root
        root.mount.start()
        return root

    def _hear_announcement(self, data, at: int, end: int) -> None:
        found = records.sections(data, at, end)
        names = []
        at, stop = found.get(1, (end, end))
        while at < stop:
            name, at = records.read_string(data, at, stop)
            names.append(name)
        path, bits, number_ = "", 0, 0
        if 5 in found:
            at, stop = found[5]
            path, at = _read_path(data, at, stop)
            bits, at = records.read_number(data, at, stop)
            number_, at = records.read_number(data, at, stop)
            if at != stop:
                raise StreamFault("the root of an announcement is too long")
        types = (schema.TYPES.get(each) for each in names)
        known = next((each for each in types if each is not None and each.kind == "entity"), None)
        if known is None:
            self.counts["unknown types"] += 1
            self._cannot_make(path, number_, bits, f"the type {names[0] if names else ''} is not known here")
            return
        if 3 not in found:
            raise StreamFault("an announcement lacks the argument of its constructor")
        if 4 not in found:
            raise StreamFault("an announcement lacks the id of its entity")
        id_, at = records.read_number(data, *found[4])
        if at != found[4][1]:
            raise StreamFault("the id of an announcement is too long")
        try:
            made = self._made(known, data, *found[3])
        except RangeError as fault:
            self._cannot_make(path, number_, bits, str(fault))
            raise
        if id_ in self._given:
            return  # announced again
        self.check_given(id_)
        if not path:
            self._hear_referred(made, id_)
        elif bits & PUSHED:
            self._hear_push(path, number_, bits, made, id_)
        else:
            self._hear_wanted(path, number_, bool(bits & WRITABLE), made, id_)

    def _cannot_make(self, path: str, number_: int, bits: int, why: str) -> None:
        """Whoever waits for the announced entity hears of it, on either side."""
        if bits & PUSHED:
            self._put_verdict(path, number_, PUSHED, why)
        elif (wish := self.wishes.get(path)) is not None and wish.number == number_:
            wish.settle(Refused(why))

    def _hear_referred(self, made: Entity, id_: int) -> None:
        """An entity without a path: the records that follow refer to it."""
        root = Root(self, "", 0, False, False, False, True)
        root.mount = Mount(self, made, id_, root)
        self.taken_in(root.mount)
        root.mount.hold()

    def announce_referred(self, entity: Entity, root: Root) -> Mount:
        """Announces what a record is about to refer to, and has its state sent."""
        mount = Mount(self, entity, self.new_id(), root)
        self.put(record(1, ENTITY, self._described(entity) + section(4, number(mount.id))))
        mount.start()
        return mount

    def _described(self, entity: Entity) -> bytes:
        """The sections of an announcement that say what it is."""
        types = b"".join(string(each) for each in (entity._schema.name, *entity._schema.bases))
        argument = string(entity.name if entity._schema.is_named else "")
        if entity._schema.argument:
            argument = to_wire(entity.key, entity._schema.attributes[entity._schema.argument].type)
        return section(1, types) + section(3, argument)

    def _made(self, type_: schema.Type, data, at: int, end: int) -> Entity:
        kind = values.python_type(type_.name)
        if not type_.argument:
            return kind(whole_string(data, at, end))
        return kind(codec(type_.attributes[type_.argument].type, tolerant=True)[0](data, at, end)[0])

    def _hold(self, root: Root, entity: Entity, id_: int) -> Mount:
        """The copy of what the peer has announced."""
        root.mount = Mount(self, entity, id_, root)
        self.taken_in(root.mount)
        root.mount.hold()
        return root.mount

    def _hear_push(self, path: str, number_: int, bits: int, made: Entity, id_: int) -> None:
        taker, writable = self.service.takers.get(path), bool(bits & WRITABLE)
        try:
            if taker is None:
                raise Refused(f"nothing is taken in under {path}")
            entity = taker.take(self.peer, made)
            if entity is None:
                raise Refused(f"{path} is not taken in")
            if entity._schema.name != made._schema.name:
                raise Refused(f"{path} takes in no {made._schema.short}")
            self._must_be_free(entity)
            if not taker.many:
                self._free_place(entity, bool(bits & TAKES_OVER))
        except Exception as refusal:  # the taker's own faults, too, are for the side that pushed
            self._put_verdict(path, number_, PUSHED, str(refusal) or type(refusal).__name__)
            return
        if entity is made:
            entity._place = path
        if not writable:
            entity.read_only = entity.read_only or (f"{self.name} has pushed it to be read" if entity is made else None)
        root = Root(self, path, number_, True, False, writable and taker.writable, True)
        self._hold(root, entity, id_)
        if not taker.many:
            self.service.holders[entity] = Holder(root, time.time())
        self._put_verdict(path, number_, PUSHED | TAKEN, "")

    def _free_place(self, entity: Entity, takes_over: bool) -> None:
        """Who pushes into the entity gives way to the same process, which has connected anew, and to one that asks aloud."""
        holder = self.service.holders.get(entity)
        if holder is None:
            return
        other: Session = holder.root.session
        is_same = other.their_token == self.their_token != NO_TOKEN
        if not is_same and not takes_over:
            name = entity.path if entity.key is None else key_text(entity.key)
            detail = other.detail and f"{other.detail}, "
            since = time.strftime("%H:%M:%S", time.localtime(holder.since))
            raise Refused(
                f'{name} is pushed already, by "{other.name}" ({detail}since {since}); --takeover takes its place'
            )
        why = "its process has connected anew" if is_same else f'"{self.name}" has taken its place'
        other._put_verdict(holder.root.path, holder.root.number, PUSHED, why)
        holder.root.mount.close()

    def _hear_wanted(self, path: str, number_: int, writable: bool, made: Entity, id_: int) -> None:
        wish = self.wishes.get(path)
        if wish is None or wish.number != number_:
            return  # for nobody any more
        if wish.root is not None and wish.root.mount is not None:
            wish.root.mount.close()
        if wish.entity is None:
            wish.entity = made
        elif wish.entity._schema.name != made._schema.name:
            wish.settle(Refused(f"{path} is a {made._schema.short}, not a {wish.entity._schema.short}"))
            return
        else:
            try:
                self._must_be_free(wish.entity)
            except Refused as refusal:
                wish.settle(refusal)
                return
        wish.entity._place, wish.writable = path, writable
        wish.entity.read_only = None if writable else f"{self.name} offers it to be read"
        root = wish.root = Root(self, path, number_, False, False, writable, True)
        root.heard = wish
        self._hold(root, wish.entity, id_)

    def _hear_unmounted(self, mount: Mount) -> None:
        mount.close()
        self._forget_root(mount, f"{self.name} has let it go", f"{mount.root.path} is no longer shared by {self.name}")

    def root_ended(self, mount: Mount) -> None:
        """This side's program has deleted what stands on the connection by itself."""
        if self.mounts.get(mount.id) is mount:
            self.put(record(mount.id, -ENTITY, b"", form=0))
            mount.close()
            self._forget_root(mount, "it has been deleted here", f"the copy of {mount.root.path} has been deleted here")

    def _forget_root(self, mount: Mount, of_push: str, of_copy: str) -> None:
        wish, root = self.wishes.get(mount.root.path), mount.root
        if root.mount is not mount:
            return
        if self.is_mine(mount.id):
            if self.roots.get(root.path) is root:
                del self.roots[root.path]
            elif isinstance(root.heard, Push):
                self.pushes.pop(root.number, None)
                root.heard.refuse(Refused(of_push))
        elif wish is not None and wish.root is root and wish.number == root.number:
            del self.wishes[wish.path]
            over = Refused(of_copy)
            wish.settle(over)
            self.on_unshared(wish.path, mount.entity, over)

    def _put_verdict(self, path: str, number_: int, bits: int, reason: str) -> None:
        self.put(record(1, VERDICT, string(path) + number(number_) + number(bits) + string(records.words(reason))))

    def _hear_offer(self, data, at: int, end: int) -> None:
        path, at = _read_path(data, at, end)
        type_, at = records.read_string(data, at, end)
        writable, at = records.read_number(data, at, end)
        ended_at(at, end)
        if path not in self.offers and len(self.offers) >= self.limits.roots:
            raise StreamFault(f"more than {self.limits.roots} offers")
        self.offers[path] = Offer(path, type_, bool(writable & 1))

    def _hear_withdrawn(self, data, at: int, end: int) -> None:
        path, at = _read_path(data, at, end)
        ended_at(at, end)
        self.offers.pop(path, None)

    def _hear_all_told(self, data, at: int, end: int) -> None:
        ended_at(at, end)
        self.all_told = True

    def _hear_want(self, data, at: int, end: int) -> None:
        path, at = _read_path(data, at, end)
        number_, at = records.read_number(data, at, end)
        ended_at(at, end)
        self._unmount(path)
        offer = self.service.offers.get(path)
        if offer is None or offer.entity is None:
            self._put_verdict(path, number_, 0, f"nothing is offered under {path}")
        else:
            try:
                self.roots[path] = self._announce(offer.entity, path, number_, 0, offer.writable, None)
            except LoamError as fault:
                self._put_verdict(path, number_, 0, str(fault))

    def _hear_unwant(self, data, at: int, end: int) -> None:
        path, at = _read_path(data, at, end)
        number_, at = records.read_number(data, at, end)
        ended_at(at, end)
        root = self.roots.get(path)
        if root is not None and root.number == number_:
            self._unmount(path)

    def _hear_verdict(self, data, at: int, end: int) -> None:
        path, at = _read_path(data, at, end)
        number_, at = records.read_number(data, at, end)
        bits, at = records.read_number(data, at, end)
        reason = whole_string(data, at, end)
        if not bits & PUSHED:
            wish = self.wishes.get(path)
            if wish is not None and wish.number == number_ and not bits & TAKEN:
                del self.wishes[path]
                wish.settle(Refused(reason))
            return
        push = self.pushes.get(number_)
        if push is None:
            return
        if bits & TAKEN:
            push.settle(None)
            return
        self.unpush(push)
        push.refuse(Refused(reason))

    # Requests and fences

    def request(
        self,
        verb: str,
        argument: str,
        done: Callable[[str | None, Exception | None], None],
        overtakes: bool | None = None,
    ) -> Request:
        """Asks the peer. `done(answer, error)` is called once; more than 16 at a time wait their turn.

        It stands behind all that was changed before it, unless it `overtakes`: `stats`, `trace` and `traceRecords` do, if not told.
        """
        self._check_open()
        made = self._calls.request(verb, argument, done)
        self._when_open(lambda: self._calls.begin(made, verb in OVERTAKE if overtakes is None else overtakes))
        return made

    def fence(
        self,
        level: str,
        all: bool,
        done: Callable[[Fenced | None, Exception | None], None],
        hops: int = MOST_HOPS,
    ) -> Asked:
        """Asks whether all that was changed before is there: "applied", or also "done"; with `all`, at the peer's peers, too.

        `done(result, error)` is called once, with an error when the connection ends or has no fences.
        """
        self._check_open()
        return self._fences.ask(level, all, done, hops)

    def forget_fence(self, asked: Asked) -> None:
        """Nobody waits for it any more."""
        self._fences.forget(asked)

    def on_awaitable(self, answer, reply: Callable[[str, bool], None]) -> None:
        """An answer that takes time. Whoever has an event loop replaces this."""
        reply("the answer is no text", True)


def _read_path(data, at: int, end: int) -> tuple[str, int]:
    path, at = records.read_string(data, at, end)
    try:
        check_path(path)
    except ValueError as fault:
        raise StreamFault(str(fault)) from None
    return path, at


def end_watches(entity: Entity, error: Exception) -> None:
    """Whoever iterates over the changes of a copy hears why there are no more."""
    for watch in tuple(entity._watchers or ()):
        watch.ended(error)


_HEARERS = {
    OFFER: Session._hear_offer,
    -OFFER: Session._hear_withdrawn,
    ALL_TOLD: Session._hear_all_told,
    WANT: Session._hear_want,
    -WANT: Session._hear_unwant,
    VERDICT: Session._hear_verdict,
    REQUEST: lambda session, *payload: session._calls.hear_request(*payload),
    ANSWER: lambda session, *payload: session._calls.hear_answer(*payload),
    FENCE: lambda session, *payload: session._fences.hear_fence(*payload),
    FENCED: lambda session, *payload: session._fences.hear_fenced(*payload),
}


def _another_process() -> None:
    Session.token = secrets.token_bytes(16)


os.register_at_fork(after_in_child=_another_process)
