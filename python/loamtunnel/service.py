"""What a process shares on all of its connections: offers, what it takes in, and the verbs that it answers."""

from __future__ import annotations

import json
import weakref
from collections.abc import Callable
from dataclasses import dataclass
from typing import NamedTuple

from . import records
from .tree import Entity


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


class Service:
    """What a process offers, takes in and answers, on all of its connections.

    Two verbs are there from the start: `sync` is answered when all that came before it has been applied, `stats` with counters.

        service = Service("driver")
        service.offer("lifStatus", statuses)
        service.accept("lifConfig", lambda peer, made: configs.appConfig.add(made.key))
        service.answer("echo", lambda peer, argument: argument)
    """

    def __init__(self, name: str = "") -> None:
        self.name = name
        self.offers: dict[str, Offer] = {}
        self.takers: dict[str, tuple[Callable, bool]] = {}
        self.verbs: dict[str, Callable] = {"sync": lambda peer, argument: "", "stats": self._stats}
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

    def accept(self, path: str, taker: Callable[[object, Entity], Entity | None], writable: bool = True) -> None:
        """Takes in what is pushed under a path.

        `taker(peer, made)` gets an entity of the pushed type and key, and gives the one that the pushed state is to fill:
        `made` itself, or another one of its type. None, or a `Refused`, refuses the push.
        """
        check_path(path)
        self.takers[path] = (taker, writable)

    def answer(self, verb: str, handler: Callable) -> None:
        """Answers requests: `handler(peer, argument)` gives the text, now or as an awaitable; an exception is an error."""
        self.verbs[verb] = handler

    def _stats(self, peer: object, argument: str) -> str:
        """What each connection has carried, as the program's `stats` reads it."""
        return json.dumps({"peers": [each.stats() for each in self.sessions], "handlerExceptions": 0})


def check_path(path: str) -> None:
    size = len(records.encoded(path))
    if not 1 <= size <= 255 or has_control(path):
        raise ValueError(f"{path!r} is no path; one has 1 to 255 bytes without control characters")


def has_control(text: str) -> bool:
    return any(ord(each) < 32 or ord(each) == 127 for each in text)
