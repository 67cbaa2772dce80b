"""A connection that comes back: what `connect(..., reconnect=True)` gives.

    async with loamtunnel.connect("/run/loam/driver", reconnect=True, within=30) as peer:
        lifs = await peer.want("lifStatus")

When the connection breaks, it is made anew: what was wanted fills the same copies, what was pushed is pushed again, and the
iterators of changes go on with what is different. Meanwhile copies may only be read, what was pushed may be written, and calls
that begin wait. After `within` seconds without success it ends for good, with the reasons of both: why the connection was lost,
and why it did not come back.
"""

from __future__ import annotations

import asyncio
from collections.abc import Awaitable, Callable
from typing import Any, overload

from .errors import ConnectionEnded, LoamError
from .fences import Level
from .peer import E, Peer, T, held
from .service import Offer
from .session import end_watches
from .tree import Entity

FIRST_PAUSE, LONGEST_PAUSE = 0.02, 1.0


class LastingPeer:
    """A `Peer` over as many connections as it takes."""

    def __init__(self, opened: Callable[[], Awaitable[Peer]], within: float) -> None:
        self._open, self._within = opened, within
        self._peer: Peer | None = None
        self._up = asyncio.Event()
        self._wanted: dict[str, Entity] = {}
        self._pushed: dict[Entity, tuple[str, bool, Callable[[Exception], None]]] = {}
        self._keeper: asyncio.Task | None = None
        self._over = asyncio.Event()
        self._reason = ""
        self.connections = 0  # made so far

    @property
    def name(self) -> str:
        """What the other side calls itself."""
        return self._peer.name if self._peer is not None else ""

    @property
    def is_connected(self) -> bool:
        return self._up.is_set()

    @property
    def is_closed(self) -> bool:
        return self._over.is_set()

    @property
    def reason(self) -> str:
        """Why it has ended, or why the last connection has."""
        return self._reason

    @property
    def session(self):
        """That of the connection that there is, or of the last one."""
        assert self._peer is not None
        return self._peer.session

    async def start(self) -> LastingPeer:
        """The first connection, which is tried once."""
        await self._take(await self._open())
        self._keeper = asyncio.get_running_loop().create_task(self._keep())
        return self

    async def _take(self, peer: Peer) -> None:
        """Fills the copies and pushes anew; the peer is this one's when all of it has succeeded."""
        peer.session.ends_watches = False
        peer.session.on_unshared = self._unshared
        try:
            for path, entity in tuple(self._wanted.items()):
                await peer.want(path, entity)
            for entity, (path, writable, lost) in tuple(self._pushed.items()):
                await peer.push(path, entity, writable, lost=lost)
        except BaseException:
            await peer.close("what was shared before is not to be had", within=1)
            raise
        if peer.is_closed:
            raise ConnectionEnded(peer.session.reason)
        peer.on_down = lambda: self._down(peer)
        self._peer = peer
        self.connections += 1
        self._up.set()

    def _down(self, peer: Peer) -> None:
        if peer is self._peer:
            self._up.clear()
            self._reason = peer.session.reason
            for entity in self._wanted.values():
                entity.read_only = f"the connection is gone ({self._reason})"

    def _unshared(self, path: str, entity: Entity, error: Exception) -> None:
        if self._wanted.pop(path, None) is not None:
            end_watches(entity, error)

    async def _keep(self) -> None:
        while True:
            assert self._peer is not None
            await self._peer.wait_closed()
            self._down(self._peer)
            lost = self._reason
            try:
                await self._return(lost)
            except ConnectionEnded as fault:
                self._end(str(fault))
                return

    async def _return(self, lost: str) -> None:
        loop = asyncio.get_running_loop()
        deadline, pause, last = loop.time() + self._within, FIRST_PAUSE, "no answer"
        while True:
            try:
                async with asyncio.timeout_at(deadline):
                    await self._take(await self._open())
                return
            except LoamError as fault:
                last = str(fault)
            except TimeoutError:
                pass
            if loop.time() + pause >= deadline:
                raise ConnectionEnded(f"{lost}; not back within {self._within:g} s: {last}")
            await asyncio.sleep(pause)
            pause = min(2 * pause, LONGEST_PAUSE)

    def _end(self, reason: str) -> None:
        self._reason = reason
        self._over.set()
        self._up.set()  # whoever waits is to hear of it
        for entity in self._wanted.values():
            end_watches(entity, ConnectionEnded(reason))

    async def connected(self) -> Peer:
        """Returns when there is a connection, at once as a rule; raises `ConnectionEnded` when there will be none."""
        while True:
            await self._up.wait()
            if self._over.is_set():
                raise ConnectionEnded(self._reason)
            assert self._peer is not None
            if not self._peer.is_closed:
                return self._peer
            self._up.clear()

    async def _lasting(self, do: Callable[[Peer], Awaitable]):
        """Does it on a connection that is still there afterwards, so that it is known to whoever restores the next one."""
        while True:
            peer = await self.connected()
            try:
                made = await do(peer)
            except ConnectionEnded:
                continue  # the next one, or the reason why there is none
            if peer is self._peer and not peer.is_closed:
                return made

    async def offers(self) -> dict[str, Offer]:
        return await self._lasting(lambda peer: peer.offers())

    @overload
    async def want(self, path: str) -> Any:
        ...

    @overload
    async def want(self, path: str, entity: E) -> E:
        ...

    async def want(self, path, entity=None):
        """As `Peer.want`; the copy is filled anew after each break."""
        if path in self._wanted:
            raise ValueError(f"{path} is wanted already")
        copy = entity

        async def wanting(peer: Peer):
            nonlocal copy
            copy = await peer.want(path, copy)
            return copy

        made = await self._lasting(wanting)
        self._wanted[path] = made
        return made

    def unwant(self, path: str) -> None:
        self._wanted.pop(path, None)
        if self._peer is not None:
            self._peer.unwant(path)

    async def push(
        self,
        path: str,
        entity: E,
        writable: bool = False,
        takeover: bool = False,
        lost: Callable[[Exception], None] | None = None,
    ) -> E:
        """As `Peer.push`; it is pushed again, with all that it has then, after each break, until it is lost."""
        is_lost = False

        def gone(error: Exception) -> None:
            nonlocal is_lost
            is_lost = True
            self._pushed.pop(entity, None)
            if lost is not None:
                lost(error)

        await self._lasting(lambda peer: peer.push(path, entity, writable, takeover, gone))
        if not is_lost:
            self._pushed[entity] = (path, writable, gone)
        return entity

    def unpush(self, entity: Entity) -> None:
        self._pushed.pop(entity, None)
        if self._peer is not None and not self._peer.is_closed:
            self._peer.unpush(entity)

    async def call(self, verb: str, argument: str = "", overtakes: bool | None = None) -> str:
        """As `Peer.call`. One that was under way when the connection broke raises `ConnectionEnded`: it may have been done."""
        return await (await self.connected()).call(verb, argument, overtakes)

    async def schema(self) -> dict:
        return await self._lasting(lambda peer: peer.schema())

    async def fence(self, level: Level = "applied", all: bool = False) -> Level:
        """As `Peer.fence`. One that was under way when the connection broke raises `ConnectionEnded`: ask again."""
        return await (await self.connected()).fence(level, all)

    async def flush(self) -> None:
        await (await self.connected()).flush()

    async def something(self) -> None:
        """Returns when something has come, or the connection has: a new one has brought all of the state."""
        if not self.is_connected:
            await self.connected()
        else:
            await self._peer.something()

    async def until(self, holds: Callable[[], T], timeout: float | None = None) -> T:
        """As `Peer.until`, across breaks."""
        return await held(self, holds, timeout)

    async def close(self, reason: str = "done", within: float = 5.0) -> None:
        if self._keeper is not None:
            self._keeper.cancel()
            await asyncio.gather(self._keeper, return_exceptions=True)
        if self._peer is not None:
            self._peer.on_down = None
            await self._peer.close(reason, within)
        if not self._over.is_set():
            self._end(reason)

    async def wait_closed(self) -> str:
        """Returns when it has ended for good, with the reasons."""
        await self._over.wait()
        return self._reason
