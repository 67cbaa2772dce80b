"""Entities: the objects whose state two processes keep equal.

    >>> from loamtunnel.types import AradLifAcMp, LifAppConfigDir, VtAppId
    >>> lifs = LifAppConfigDir("lif")
    >>> app = lifs.appConfig.add(VtAppId.vtAppMpls)
    >>> app.reqCount[AradLifAcMp(vsi=100)] = 3
    >>> app.reqCount.get(AradLifAcMp(vsi=100)), app.reqCount.get(AradLifAcMp(vsi=101))
    (3, None)

A scalar is an attribute, a map behaves like a dict, a child is found under its key. What is absent is None, and setting None
deletes; 0 is a value like any other. A write is checked, stored, then told: to the connections that carry the entity, then to
its watchers. A write that changes nothing tells nobody.

An entity belongs to one thread, that of the event loop on which its connections run.
"""

from __future__ import annotations

import asyncio
import logging
import weakref
from collections.abc import Callable, Iterator, MutableMapping
from dataclasses import dataclass
from typing import TYPE_CHECKING, TypeVar, overload

from . import described, schema, values
from .errors import ReadOnly


@dataclass(frozen=True, slots=True)
class Change:
    """What has changed: `entity.attribute[key]` is `value` now, or gone when `value` is None."""

    entity: Entity
    attribute: str
    key: object
    value: object

    @property
    def path(self) -> str:
        """Where, as the program `loamtunnel` writes and reads it."""
        return place(self.entity, self.attribute, self.key)


def place(entity: Entity, attribute: str, key: object = None) -> str:
    from . import text

    at = f"{entity.path}.{attribute}"
    return at if key is None else f"{at}[{text.key_text(key)}]"


class Entity:
    """The base of all entities. Made from its key, or from a name: `LifAppConfig(VtAppId.vtAppMpls)`."""

    __slots__ = (
        "name", "key", "parent", "version", "read_only", "_place", "_scalars", "_maps", "_mounts", "_watchers",
        "__weakref__",
    )  # fmt: skip
    _schema: schema.Type

    def __init__(self, argument=None) -> None:
        self.parent: Entity | None = None
        self.version = 0
        self.read_only: str | None = None  # why this side may not write to it and all below, if so
        self._place: str | None = None
        self._mounts: list = []
        self._watchers: weakref.WeakSet | None = None
        self._scalars: dict[str, object] = {}
        self._maps: dict[str, Map] = {}
        self.name, self.key = "", None
        if self._schema.argument:
            key = self._schema.attributes[self._schema.argument]
            if argument is None:
                raise TypeError(f"{self._schema.short} is made from its {key.name}, which is missing")
            self.key = values.coerced(key.name, key.type, argument)
        elif argument is not None:
            self.name = str(argument)
        for each in self._schema.attributes.values():
            if each.role == "scalar":
                self._scalars[each.name] = values.coerced(each.name, each.type, each.default, each.most)
            elif each.role in MAPS:
                self._maps[each.name] = MAPS[each.role](self, each)

    @property
    def path(self) -> str:
        """The path under which its root is offered, wanted or pushed, then attributes and keys."""
        if self.parent is not None and self._place is not None:
            return place(self.parent, self._place, self.key)
        return self._place if self._place is not None else self.name or self._schema.short

    @property
    def children(self) -> Iterator[Entity]:
        for each in self._maps.values():
            if isinstance(each, Children):
                yield from each.values()

    def flat(self) -> dict[str, object]:
        """All that it and all below it hold, by paths; a child has its key. Two such dicts tell what differs:
        `left.flat().items() ^ right.flat().items()`.
        """
        found: dict[str, object] = {place(self, name): value for name, value in self._scalars.items()}
        for name, held in self._maps.items():
            for key, value in held.items():
                found[place(self, name, key)] = key if isinstance(value, Entity) else value
                if isinstance(held, Children):
                    found |= value.flat()
        return found

    def changes(self) -> Changes:
        """Each change of this entity and all below it, from now on, as an asynchronous iterator.

        A reader that is slower than the changes gets the last state of each key, once.
        """
        return Changes(self)

    def watch(self, heard: Callable[[Change], None]) -> Watch:
        """Calls `heard` at each change of this entity and all below it, until the watch is closed or dropped."""
        return Watch(self, heard)

    def _writable(self) -> None:
        node: Entity | None = self
        while node is not None:
            if node.read_only:
                raise ReadOnly(f"{self.path} may only be read: {node.read_only}")
            node = node.parent

    def _changed(self, attribute: schema.Attribute, key, origin) -> None:
        self.version += 1
        mounts = self._mounts
        if mounts and (mounts[0] is not origin or len(mounts) > 1):
            for mount in tuple(mounts):
                if mount is not origin:
                    mount.changed(attribute, key)
        node: Entity | None = self
        while node is not None:
            if node._watchers:
                for watch in tuple(node._watchers):
                    watch.changed(self, attribute, key)
            node = node.parent

    def _end(self) -> None:
        """It has been deleted, and all below it with it."""
        for mount in tuple(self._mounts):
            mount.ended()
        for each in self.children:
            each._end()

    def _value(self, attribute: schema.Attribute, key):
        held = self._maps.get(attribute.name)
        return self._scalars[attribute.name] if held is None else held._items.get(key)

    def _set_scalar(self, attribute: schema.Attribute, value, origin) -> None:
        if self._scalars[attribute.name] != value:
            self._scalars[attribute.name] = value
            self._changed(attribute, None, origin)

    def __setattr__(self, name: str, value) -> None:
        if name not in _SLOTS and not isinstance(getattr(type(self), name, None), property):
            raise AttributeError(
                f"no attribute {name} in {self._schema.short}{schema.nearest(name, self._schema.attributes)}"
            )
        object.__setattr__(self, name, value)

    if not TYPE_CHECKING:  # which knows the attributes from the stubs

        def __getattr__(self, name: str):
            raise AttributeError(
                f"no attribute {name} in {self._schema.short}{schema.nearest(name, self._schema.attributes)}"
            )

    def __repr__(self) -> str:
        return f"<{self._schema.short} {self.path}>"


_SLOTS = frozenset(each for each in Entity.__slots__)


K = TypeVar("K")
V = TypeVar("V")


class Map(MutableMapping[K, V]):
    """A map attribute. Keys and values are checked; equal ones of a view of the same entry are the same key."""

    __slots__ = ("_entity", "_attribute", "_items", "_key_kind")

    def __init__(self, entity: Entity, attribute: schema.Attribute) -> None:
        self._entity, self._attribute = entity, attribute
        self._items: dict = {}
        self._key_kind = values.python_type(attribute.key)

    def _as_key(self, key):
        return key if type(key) is self._key_kind else values.coerced(self._attribute.name, self._attribute.key, key)

    def __getitem__(self, key: K) -> V:
        try:
            return self._items[self._as_key(key)]
        except KeyError:
            raise KeyError(f"{place(self._entity, self._attribute.name, key)}: not there") from None

    @overload
    def get(self, key: K) -> V | None:
        ...

    @overload
    def get(self, key: K, default: V) -> V:
        ...

    def get(self, key, default=None):
        return self._items.get(self._as_key(key), default)

    def __contains__(self, key) -> bool:
        return self._as_key(key) in self._items

    def __setitem__(self, key: K, value: V | None) -> None:
        if value is None:
            self.pop(key, None)
            return
        self._entity._writable()
        key = self._as_key(key)
        if key not in self._items and getattr(key, "_family", None) is not None:
            key = values.coerced("key", self._attribute.key, key)
        self._set(key, self._as_value(key, value), None)

    def _as_value(self, key, value):
        at = self._attribute
        value = values.coerced(at.name, at.type, value, at.most)
        if at.inside and getattr(value, at.inside) != key:
            raise ValueError(f"{at.name}: the value's {at.inside} is {getattr(value, at.inside)!r}, not {key!r}")
        return value

    def __ior__(self, others):
        self.update(others)
        return self

    def increment(self: Map[K, int], key: K, by: int = 1) -> int:
        """Adds to a count, which is 0 when it is not there yet, and gives the sum."""
        self[key] = total = (self.get(key) or 0) + by
        return total

    def put(self, value: V) -> None:
        """Sets a value that holds its own key."""
        at = self._attribute
        if not at.inside:
            raise TypeError(f"{at.name}: its values do not hold their keys; give the key")
        value = values.coerced(at.name, at.type, value)
        self[getattr(value, at.inside)] = value

    def __delitem__(self, key: K) -> None:
        self._entity._writable()
        key = self._as_key(key)
        if key not in self._items:
            raise KeyError(f"{place(self._entity, self._attribute.name, key)}: not there")
        self._delete(key, None)

    def __iter__(self) -> Iterator[K]:
        return iter(self._items)

    def __len__(self) -> int:
        return len(self._items)

    def keys(self):
        return self._items.keys()

    def values(self):
        return self._items.values()

    def items(self):
        return self._items.items()

    def __repr__(self) -> str:
        return repr(self._items)

    # What a connection calls: nothing is checked again, and `origin` is not told of it.

    def _set(self, key, value, origin) -> None:
        items = self._items
        count = len(items)
        old = items.setdefault(key, value)  # one look-up for a new key
        if len(items) == count:
            if old == value:
                return
            items[key] = value
        self._entity._changed(self._attribute, key, origin)

    def _delete(self, key, origin) -> bool:
        if self._items.pop(key, None) is None:
            return False
        self._entity._changed(self._attribute, key, origin)
        return True


class Children(Map[K, V]):
    """A map of child entities, each made from its key: `lifs.appConfig.add(VtAppId.vtAppMpls)`."""

    __slots__ = ()

    def add(self, key: K | str | int) -> V:
        """The child under the key, which is made if there is none."""
        key = self._as_key(key)
        found = self._items.get(key)
        if found is None:
            self._entity._writable()
            found = self._make(key, None)
        return found

    def __setitem__(self, key, value) -> None:
        if value is not None:
            raise TypeError(f"{self._attribute.name}: a child is made by add(key); None deletes it")
        self.pop(key, None)

    def _make(self, key, origin) -> Entity:
        child = values.python_type(self._attribute.type)(key)
        child.parent, child._place = self._entity, self._attribute.name
        self._items[key] = child
        self._entity._changed(self._attribute, key, origin)
        return child

    def _delete(self, key, origin) -> bool:
        child = self._items.get(key)
        if not super()._delete(key, origin):
            return False
        child._end()
        child.parent = None
        return True


class References(Map[K, V]):
    """A map of entities that live elsewhere; None stands for none."""

    __slots__ = ()

    def _as_value(self, key, value):
        told = value._schema if isinstance(value, Entity) else None
        if told is None or self._attribute.type not in (told.name, *told.bases):
            kind = values.python_type(self._attribute.type)
            raise TypeError(f"{self._attribute.name}: {value!r} is no {kind.__name__}")
        return value


MAPS = {"map": Map, "children": Children, "references": References}


class Watch:
    """Hears of changes until it is closed. The entity does not keep it alive."""

    failures = 0  # of all that were called, in this process

    def __init__(self, entity: Entity, heard: Callable[[Change], None]) -> None:
        self._entity, self._heard = entity, heard
        if entity._watchers is None:
            entity._watchers = weakref.WeakSet()
        entity._watchers.add(self)

    def changed(self, entity: Entity, attribute: schema.Attribute, key) -> None:
        try:
            self._heard(Change(entity, attribute.name, key, entity._value(attribute, key)))
        except Exception:  # contained: the other watchers and the connection go on
            Watch.failures += 1
            logging.getLogger(__package__).exception("a watch of %s has failed", self._entity.path)

    def ended(self, why: Exception | None) -> None:
        """The connection that fed the entity has ended."""

    def close(self) -> None:
        if self._entity._watchers is not None:
            self._entity._watchers.discard(self)


class Changes(Watch):
    """The changes of an entity as an asynchronous iterator. It ends with the connection, by the error that ended it."""

    def __init__(self, entity: Entity) -> None:
        self._pending: dict[tuple[Entity, str, object], schema.Attribute] = {}
        self._waiter: asyncio.Future | None = None
        self._why: Exception | None = None
        self._over = False
        super().__init__(entity, self._deliver)

    def _deliver(self, change: Change) -> None:
        raise NotImplementedError

    def changed(self, entity: Entity, attribute: schema.Attribute, key) -> None:
        self._pending[entity, attribute.name, key] = attribute
        self._wake()

    def ended(self, why: Exception | None) -> None:
        self._why, self._over = why, True
        self._wake()

    def close(self) -> None:
        super().close()
        self.ended(None)

    def _wake(self) -> None:
        if self._waiter is not None and not self._waiter.done():
            self._waiter.set_result(None)

    def take(self) -> Change | None:
        """The next change that is waiting, or None."""
        if not self._pending:
            return None
        (entity, name, key), attribute = next(iter(self._pending.items()))
        del self._pending[entity, name, key]
        return Change(entity, name, key, entity._value(attribute, key))

    def __aiter__(self) -> Changes:
        return self

    async def __anext__(self) -> Change:
        while not self._pending:
            if self._over:
                if self._why is not None:
                    raise self._why
                raise StopAsyncIteration
            self._waiter = asyncio.get_running_loop().create_future()
            try:
                await self._waiter
            finally:
                self._waiter = None
        change = self.take()
        assert change is not None
        return change


def _scalar(attribute: schema.Attribute) -> property:
    def read(self):
        return self._scalars[attribute.name]

    def write(self, value) -> None:
        self._writable()
        self._set_scalar(attribute, values.coerced(attribute.name, attribute.type, value, attribute.most), None)

    return property(read, write, doc=described.field(attribute))


def _map(attribute: schema.Attribute) -> property:
    def keep(self, value) -> None:  # behind |=, which has filled it
        if value is not self._maps[attribute.name]:
            raise AttributeError(f"{attribute.name} is filled by keys, as by update(); it cannot be another one")

    return property(lambda self: self._maps[attribute.name], keep, doc=described.field(attribute))


def entity_class(type_: schema.Type) -> type:
    space: dict[str, object] = {"__slots__": (), "_schema": type_}
    for each in type_.attributes.values():
        if each.role == "scalar":
            space[each.name] = _scalar(each)
        elif each.role in MAPS:
            space[each.name] = _map(each)
        elif each.role == "key":
            space[each.name] = property(lambda self: self.key, doc=described.field(each))
    made = type(type_.short, (Entity,), space)
    made.__module__, made.__doc__ = "loamtunnel.types", described.doc(type_)
    return made
