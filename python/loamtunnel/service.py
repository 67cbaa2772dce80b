"""What a process shares on all of its connections: offers, what it takes in, and the verbs that it answers."""

from __future__ import annotations

import json
import weakref
from collections.abc import Awaitable, Callable
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, NamedTuple

from . import records, schema
from .calls import LONGEST_TEXT
from .tree import Entity, Watch

if TYPE_CHECKING:
    from .fences import Fence


class Limits(NamedTuple):
    """What a side takes from the other one."""

    record: int = records.LONGEST_RECORD
    ring: int = 262144
    entities: int = 65536
    roots: int = 1024


@dataclass(slots=True)
class Offer:
    """What one side offers under a path."""

    path: str
    type: str
    writable: bool
    entity: Entity | None = None


@dataclass(slots=True)
class Taker:
    """What takes in the pushes under a path."""

    take: Callable[[object, Entity], Entity | None]
    writable: bool
    many: bool


class Holder(NamedTuple):
    """Who pushes into an entity, and since when."""

    root: Any  # of that session
    since: float


class Service:
    """What a process offers, takes in and answers, on all of its connections.

    Three verbs are there from the start: `sync` is answered when all that came before it has been applied, `schema` with the types
    of this process, `stats` with counters.

        service = Service("driver")
        service.offer("lifStatus", statuses)
        service.accept("lifConfig", lambda peer, made: configs.appConfig.add(made.key))
        service.answer("echo", lambda peer, argument: argument)
        service.answer_fences(lambda peer, fence: fence.done())
    """

    def __init__(self, name: str = "") -> None:
        self.name = name
        self.offers: dict[str, Offer] = {}
        self.takers: dict[str, Taker] = {}
        self.holders: dict[Entity, Holder] = {}
        self.fence_hook: Callable[[Any, Fence], Awaitable[object] | None] | None = None
        self.verbs: dict[str, Callable] = {
            "sync": lambda peer, argument: "",
            "schema": lambda peer, argument: schema.page(argument, LONGEST_TEXT),
            "stats": self._stats,
        }
        self.sessions: weakref.WeakSet = weakref.WeakSet()  # the connections that are open

    def offer(self, path: str, entity: Entity, writable: bool = False) -> None:
        """Offers an entity under a path; with `writable`, whoever wants it may write to it."""
        check_path(path)
        if path in self.offers:
            raise ValueError(f"{path} is offered already")
        self.offers[path] = Offer(path, entity._schema.name, writable, entity)
        entity._place = path if entity.parent is None else entity._place
        for each in tuple(self.sessions):
            each.tell_offer(self.offers[path])

    def withdraw(self, path: str) -> None:
        del self.offers[path]
        for each in tuple(self.sessions):
            each.tell_withdrawn(path)

    def accept(
        self,
        path: str,
        taker: Callable[[object, Entity], Entity | None],
        writable: bool = True,
        many: bool = False,
    ) -> None:
        """Takes in what is pushed under a path.

        `taker(peer, made)` gets an entity of the pushed type and key, and gives the one that the pushed state is to fill:
        `made` itself, or another one of its type. None, or a `Refused`, refuses the push.

        One peer at a time pushes into an entity. Another one is refused with who holds it, unless it asks to take the place over;
        a process that has connected anew gets its own back. With `many`, any number may, and of a key the last write counts.
        """
        check_path(path)
        self.takers[path] = Taker(taker, writable, many)

    def answer(self, verb: str, handler: Callable) -> None:
        """Answers requests: `handler(peer, argument)` gives the text, now or as an awaitable; an exception is an error."""
        self.verbs[verb] = handler

    def answer_fences(self, hook: Callable[[Any, Fence], Awaitable[object] | None] | None) -> None:
        """Hears of the fences of peers: `hook(peer, fence)` is called when all that the peer has changed before is applied.

        Of the level "done", the hook says when this process is: `fence.done()` or `fence.failed(why)`, now or later. A hook can be
        a coroutine: `fence` is done when that returns, and failed with the words of what it raises. Without a hook, fences of the
        level "done" fail. Those of the level "applied" are answered as soon as the hook has heard of them.
        """
        self.fence_hook = hook

    def _stats(self, peer: object, argument: str) -> str:
        """What each connection has carried, as the program's `stats` reads it."""
        peers = [each.stats() for each in self.sessions]
        told: dict[str, Any] = {"peers": peers, "handlerExceptions": Watch.failures}
        while len(answer := json.dumps(told)) > LONGEST_TEXT:
            told["peersLeftOut"] = told.get("peersLeftOut", 0) + 1
            peers.pop()
        return answer


def check_path(path: str) -> None:
    size = len(records.encoded(path))
    if not 1 <= size <= 255 or has_control(path):
        raise ValueError(f"{path!r} is no path; one has 1 to 255 bytes without control characters")


def has_control(text: str) -> bool:
    return any(ord(each) < 32 or ord(each) == 127 for each in text)
