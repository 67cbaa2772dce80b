"""One entity on one connection: what it sends of its changes, and what it makes of the peer's records.

The side that announces an entity sends its whole state by a pass, which stops when the stream has no room and goes on later;
from then on each change is a record, or a mark while there is no room. The side that holds the copy keeps its own changes back
until the state has come.
"""

from __future__ import annotations

import functools
from collections.abc import Iterator

from . import records, schema, values, wire
from .errors import LoamError, RangeError, StreamFault
from .records import CHILD, MARKER, SECONDARY, UNSIZED
from .tree import Children, Entity, Map

SYNC_MODE, ENTITY = 135, 136
COMING, COME, ALL_COME = 2, 1, 3  # sync modes
START, ABORT, END = 0, 1, 2  # markers
WAITING, PASSING, SENT = range(3)


class Form:
    """How the records of one attribute look."""

    __slots__ = ("attribute", "role", "read", "write", "size", "read_key", "write_key", "read_open", "inside")

    def __init__(self, attribute: schema.Attribute) -> None:
        self.attribute, self.role = attribute, attribute.role
        self.inside = attribute.inside
        if attribute.role == "scalar":
            self.read, self.write, self.size = wire.codec(attribute.type)
            return
        tolerant = attribute.role == "children"
        self.read_key, self.write_key, key_size = wire.codec(attribute.key, tolerant=tolerant)
        self.read_open = wire.codec(attribute.key, tolerant=tolerant, open_end=True)[0]
        if attribute.role == "map" and attribute.inside:
            self.read, self.write, self.size = wire.codec(attribute.type)
        elif attribute.role == "map":
            self.read, self.write, self.size = wire.codec(attribute.key, attribute.type)
        elif attribute.role == "references":
            self.read, self.write, self.size = wire.codec(attribute.key, "U64")
        else:
            self.size = key_size  # the id behind the key has a form of its own


@functools.cache
def forms(type_: schema.Type) -> dict[int, Form]:
    """The attributes of an entity that travel, by id."""
    return {each.id: Form(each) for each in type_.attributes.values() if each.travels}


@schema.forgets
def _forget(changed: set[str]) -> None:
    forms.cache_clear()


class Mount:
    """An entity on a connection, under an id. Made by `Session`, or for a child by its parent's mount."""

    __slots__ = (
        "session", "entity", "id", "root", "parent", "place", "below", "sends", "applies", "stage", "reached", "held",
        "told", "replaced", "dirty", "sweeps", "forms", "_prefixes",
    )  # fmt: skip

    def __init__(self, session, entity: Entity, id_: int, root, parent: Mount | None = None, place=None) -> None:
        self.session, self.entity, self.id, self.root = session, entity, id_, root
        self.parent, self.place = parent, place  # the place is (attribute id, key)
        self.below: dict = {}  # the children's mounts by their place
        self.sends, self.applies = root.sends, root.applies
        self.stage, self.reached = SENT, 1 << 31
        self.held = self.told = False
        self.replaced: set = set()  # places of children that are gone, which the peer has not been told
        self.dirty: dict[tuple[int, object], int] = {}  # keys that wait, and at which moment they began to
        self.sweeps: dict[int, set] = {}
        self.forms = forms(entity._schema)
        self._prefixes: dict[int, bytes] = {}
        session.mounts[id_] = self
        entity._mounts.append(self)
        if parent is not None:
            parent.below[place] = self

    def close(self) -> None:
        """Nothing is sent of it or read for it any more."""
        for each in tuple(self.below.values()):
            each.close()
        if self.session.mounts.get(self.id) is self:
            del self.session.mounts[self.id]
            self.session.gone(self)
        if self in self.entity._mounts:
            self.entity._mounts.remove(self)
        if self.parent is not None:
            self.parent.below.pop(self.place, None)
            self.parent = None
        self.dirty.clear()
        self.sends = False
        self.stage = WAITING

    def ended(self) -> None:
        """The entity has been deleted. Of a child, its parent's map tells."""
        if self.parent is None:
            self.session.root_ended(self)
        self.close()

    # Sending

    def changed(self, attribute: schema.Attribute, key) -> None:
        if self.sweeps and (sweep := self.sweeps.get(attribute.id)) and key not in self.entity._maps[attribute.name]:
            sweep.discard(key)  # what is made under this key from now on is new
        if not attribute.travels or not self.sends or self.stage == WAITING or attribute.id > self.reached:
            return  # the pass will carry it, or nobody wants it
        mark = (attribute.id, key)
        if mark in self.below:
            self.replaced.add(mark)
        if self.held or self.dirty or not self.session.has_room:
            if mark in self.dirty:
                self.session.counts["coalesced"] += 1
            self.dirty.setdefault(mark, self.session.moment)  # one that is changed again keeps its place
            counts = self.session.counts
            counts["most dirty"] = max(counts["most dirty"], len(self.dirty))
            self.session.mark(self)
        else:
            self.send(attribute.id, key)

    def flush(self) -> bool:
        """Sends what was marked; False when the stream is full before all of it has gone."""
        if self.held:
            return True
        while self.dirty:
            if not self.session.has_room:
                return False
            id_, key = mark = next(iter(self.dirty))
            self.session.turn = self.dirty.pop(mark)
            self.send(id_, key)
        return True

    def send(self, id_: int, key) -> None:
        """The state of one key, as a record."""
        form, entity = self.forms[id_], self.entity
        if form.role == "scalar":
            sized = 0 if form.size is not None else UNSIZED
            self._put(id_, form.write(entity._scalars[form.attribute.name]), sized)
            return
        value = entity._maps[form.attribute.name]._items.get(key)
        if self.replaced and (id_, key) in self.replaced:
            # Said even if there is another child by now, which the peer could not tell from one made at the same time.
            self.replaced.discard((id_, key))
            self._put(-id_, form.write_key(key))
            if value is None:
                return
        if value is None:
            self._put(-id_, form.write_key(key))
        elif form.role == "children":
            self._send_child(form, key, value)
        elif form.role == "references":
            mount = self.session.mount_of(value)
            try:
                mount = mount or self.session.announce_referred(value, self.root)
            except LoamError as fault:
                self.session.close(str(fault))
                return
            self._put(id_, form.write(key, mount.id))
        elif form.inside:
            self._put(id_, form.write(value))
        else:
            self._put(id_, form.write(key, value))

    def _put(self, id_: int, payload: bytes, form: int = UNSIZED, secondary: int = 0) -> None:
        kind = (id_ * 8 + form) if id_ >= 0 else id_ * 8 - form
        prefix = self._prefixes.get(kind)
        if prefix is None:
            prefix = bytes((form,)) + records.number(self.id) + records.signed(id_)
            if secondary:
                prefix += records.number(secondary)
            self._prefixes[kind] = prefix
        size = len(prefix) + len(payload)
        self.session.put(b"%c%c%b%b" % (size >> 8, size & 0xFF, prefix, payload))

    def _send_child(self, form: Form, key, child: Entity) -> None:
        place = (form.attribute.id, key)
        mount = self.below.get(place)
        if mount is not None and mount.entity is not child:
            mount.close()
            mount = None
        if mount is None:
            try:
                id_ = self.session.new_id()
            except LoamError as fault:  # the peer takes no more: what it has cannot stay equal
                self.session.close(str(fault))
                return
            mount = Mount(self.session, child, id_, self.root, self, place)
            self._put(place[0], form.write_key(key) + records.number(mount.id), UNSIZED | SECONDARY, CHILD)
            if self.stage == SENT and _is_empty(child):
                mount.sync_mode(COME)
            else:
                mount.start()

    def sync_mode(self, mode: int) -> None:
        self._put(SYNC_MODE, mode.to_bytes(4, "big"), 0)

    def marker(self, id_: int, kind: int) -> None:
        self._put(id_, records.number(kind) + b"\0", MARKER)

    def start(self) -> None:
        """Has the whole state sent, when its turn comes."""
        self.stage = WAITING
        self.root.passes += 1
        self.session.begin(self._pass())

    def _pass(self) -> Iterator[None]:
        if self.session.mounts.get(self.id) is self:
            self.stage, self.reached = PASSING, 0
            self.sync_mode(COMING)
            for id_, form in self.forms.items():
                self.reached = id_
                if form.role == "scalar":
                    self.send(id_, None)
                    continue
                self.marker(id_, START)
                yield from self._pass_of(id_, form)
                if self.stage != PASSING:
                    break
                self.marker(id_, END)
                yield
        if self.stage == PASSING:
            self.stage, self.reached = SENT, 1 << 31
            self.sync_mode(COME)
        self.root.passes -= 1
        self.root.passed()

    def _pass_of(self, id_: int, form: Form) -> Iterator[None]:
        items, dirty, session = self.entity._maps[form.attribute.name]._items, self.dirty, self.session
        for key in tuple(items):
            if self.stage != PASSING:
                return
            if key in items:
                dirty.pop((id_, key), None)
                self.send(id_, key)
                if not session.has_room:
                    yield

    # Applying

    def hold(self) -> None:
        """From now on the peer's state is on its way."""
        self.held = True

    def apply(self, form_byte: int, id_: int, data, at: int, end: int) -> None:
        """One record of the peer's."""
        kind = _marker(data, at, end) if form_byte & MARKER else None
        if not self.applies:
            self.session.counts["refused"] += 1
            return
        if kind is not None:
            self._hear_marker(self.forms.get(id_), kind)
            return
        form = self.forms.get(id_ if id_ >= 0 else -id_)
        if id_ == SYNC_MODE:
            self._hear_sync_mode(data, at, end)
            return
        if form is None:
            if id_ in (144, -144) and self._old_child(data, at, end):
                return
            self.session.counts["unknown attributes"] += 1
            return
        if form.role == "scalar":
            if id_ < 0:
                self.session.counts["unknown attributes"] += 1
                return
            (value,) = form.read(data, at, end)
            self.dirty.pop((id_, None), None)
            self.entity._set_scalar(form.attribute, value, self)
            return
        held = self.entity._maps[form.attribute.name]
        if id_ < 0:
            (key,) = form.read_key(data, at, end)
            self._hear_deleted(held, -id_, key)
            return
        if form.role == "children":
            key, at = form.read_open(data, at, end)
            child, at = records.read_number(data, at, end)
            records.ended_at(at, end)
            self._hear_child(held, form, key, child)
            return
        if form.role == "references":
            key, target = form.read(data, at, end)
            if not target:
                held._delete(key, self)
            else:
                held._set(key, self._referred(form, target), self)
        elif form.inside:
            (value,) = form.read(data, at, end)
            key = getattr(value, form.inside)
            held._set(key, value, self)
        else:
            key, value = form.read(data, at, end)
            held._set(key, value, self)
        if self.sweeps and (sweep := self.sweeps.get(id_)):
            sweep.discard(key)
        if self.dirty:
            self.dirty.pop((id_, key), None)

    def _hear_deleted(self, held: Map, id_: int, key) -> None:
        self.dirty.pop((id_, key), None)
        if self.sweeps and (sweep := self.sweeps.get(id_)):
            sweep.discard(key)
        held._delete(key, self)

    def _referred(self, form: Form, id_: int) -> Entity:
        mount = self.session.mounts.get(id_)
        if mount is None:
            raise RangeError(f"{form.attribute.name} refers to the entity {id_}, which is not there")
        described = mount.entity._schema
        if form.attribute.type not in (described.name, *described.bases):
            raise RangeError(f"{form.attribute.name} refers to {mount.entity!r}, which is of another type")
        return mount.entity

    def _hear_sync_mode(self, data, at: int, end: int) -> None:
        if end - at != 4:
            raise StreamFault(f"a sync mode of {end - at} bytes; it has 4")
        mode = int.from_bytes(data[at:end], "big")
        if mode == COMING:
            self.held = self.told = True
        elif mode == COME:
            if not self.told:
                self._sweep_all()
            self.held = self.told = False
            self.sweeps.clear()
            self.session.released(self)
        elif mode == ALL_COME and self.root.mount is self and not self.root.mine:
            self.root.come()

    def _sweep_all(self) -> None:
        """A child that is new and empty has come: what is left of an older one of its key goes."""
        for id_, form in self.forms.items():
            if form.role != "scalar":
                held = self.entity._maps[form.attribute.name]
                for key in [key for key in held._items if (id_, key) not in self.dirty]:
                    held._delete(key, self)

    def _hear_marker(self, form: Form | None, kind: int) -> None:
        if form is None:
            self.session.counts["unknown attributes"] += 1
            return
        if form.role == "scalar":
            return
        id_, held = form.attribute.id, self.entity._maps[form.attribute.name]
        if kind == START:
            self.session.counts["passes in"] += 1
            self.sweeps[id_] = {key for key in held._items if (id_, key) not in self.dirty}
        else:
            left = self.sweeps.pop(id_, ())
            if kind == END:
                for key in left:
                    if (id_, key) not in self.dirty:
                        held._delete(key, self)

    def _old_child(self, data, at: int, end: int) -> bool:
        """The older record of a child, read but never sent. False when the entity has no children."""
        form = next((each for each in self.forms.values() if each.role == "children"), None)
        if form is None:
            return False
        start = at

        def taken(size: int) -> int:
            nonlocal at
            if end - at < size:
                raise StreamFault("a payload is too short")
            at += size
            return int.from_bytes(data[at - size : at], "big", signed=size == 4)

        behind, where = taken(2), taken(2)
        found = 0
        while at < start + behind:
            found = taken(4)
            if abs(found) == form.attribute.id:
                break
        else:
            return True
        at = start + behind
        if found > 0:
            taken(4)
        if at > end or start + where > end:
            raise StreamFault("a payload is shorter than an offset in it")
        key, at = form.read_open(data, at, end)
        if where:
            at = start + where
        held = self.entity._maps[form.attribute.name]
        if found > 0:
            child, at = records.read_number(data, at, end)
        records.ended_at(at, end)
        if found < 0:
            self._hear_deleted(held, form.attribute.id, key)
        else:
            self._hear_child(held, form, key, child)
        return True

    def _hear_child(self, held: Children, form: Form, key, id_: int) -> None:
        session, place = self.session, (form.attribute.id, key)
        own = self.below.get(place)
        if own is not None and own.id == id_:
            if place[0] in self.sweeps:
                self.sweeps[place[0]].discard(key)
            return
        session.check_given(id_)
        if isinstance(key, values.Enumeration) and not key.is_known:
            session.counts["unknown enumerators"] += 1
        if own is not None and session.is_mine(own.id) and not session.connects:
            if place[0] in self.sweeps:
                self.sweeps[place[0]].discard(key)
            return  # both announced it at once, and this side's stays
        child = held._items.get(key)
        if own is not None:
            # The peer's child is another one than that which stood here.
            self.dirty.pop(place, None)
            self.replaced.discard(place)
            own.close()
            held._delete(key, self)
            child = None
        elif child is not None and place not in self.dirty:
            pass  # left from an earlier connection; the state that comes settles what stays
        if child is None:
            child = held._make(key, self)
        mount = Mount(session, child, id_, self.root, self, place)
        session.taken_in(mount)
        mount.hold()
        if (moment := self.dirty.pop(place, None)) is not None:
            # Made here, too, while the state was on its way: what it has is to be sent when the peer's has come.
            for each_id, each in mount.forms.items():
                if each.role != "scalar":
                    for each_key in child._maps[each.attribute.name]._items:
                        mount.dirty[each_id, each_key] = moment
            session.mark(mount)
        if place[0] in self.sweeps:
            self.sweeps[place[0]].discard(key)


def _marker(data, at: int, end: int) -> int:
    kind, at = records.read_number(data, at, end)
    _, at = records.read_number(data, at, end)
    if at != end:
        raise StreamFault("a marker is too long")
    if kind > END:
        raise StreamFault(f"a marker of the type {kind}; there are 0 to {END}")
    return kind


def _is_empty(entity: Entity) -> bool:
    return not entity._scalars and not any(each._items for each in entity._maps.values())
