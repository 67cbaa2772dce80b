"""The same for scripts, without await.

    from loamtunnel import sync

    with sync.connect("/run/loam/driver") as peer:
        lifs = peer.want("lifStatus")
        app = peer.push("lifConfig", LifAppConfig(VtAppId.vtAppMpls))
        app.reqCount[AradLifAcMp(vsi=100)] = 1
        peer.fence("done")
        for change in peer.changes(lifs, timeout=5):
            print(change.path, change.value)

There is no thread behind it: what has come is applied, and what was written goes out, while a call of the peer's runs; `poll()` and
`flush()` do nothing else. Closing the peer sends what is left.
"""

from __future__ import annotations

import asyncio
from collections.abc import Callable, Iterator
from typing import Any, Literal, overload

from . import peer as _peer
from .fences import Level
from .lasting import LastingPeer
from .peer import E
from .service import Limits, Offer, Service
from .tree import Change, Changes, Entity


class Peer:
    """A `loamtunnel.Peer` whose operations wait. Each raises `TimeoutError` when `timeout` seconds are not enough."""

    def __init__(self, loop: asyncio.AbstractEventLoop, peer: _peer.Peer | LastingPeer, timeout: float | None) -> None:
        self._loop, self._peer, self.timeout = loop, peer, timeout

    def _run(self, what, timeout: float | None = None):
        timeout = self.timeout if timeout is None else timeout

        async def waiting():
            async with asyncio.timeout(timeout):
                return await what

        return self._loop.run_until_complete(waiting())

    @property
    def name(self) -> str:
        return self._peer.name

    @property
    def is_closed(self) -> bool:
        return self._peer.is_closed

    def offers(self) -> dict[str, Offer]:
        return self._run(self._peer.offers())

    @overload
    def want(self, path: str) -> Any:
        ...

    @overload
    def want(self, path: str, entity: E) -> E:
        ...

    def want(self, path, entity=None):
        return self._run(self._peer.want(path, entity))

    def unwant(self, path: str) -> None:
        self._peer.unwant(path)

    def push(
        self,
        path: str,
        entity: E,
        writable: bool = False,
        takeover: bool = False,
        lost: Callable[[Exception], None] | None = None,
    ) -> E:
        return self._run(self._peer.push(path, entity, writable, takeover, lost))

    def unpush(self, entity: Entity) -> None:
        self._peer.unpush(entity)

    def call(self, verb: str, argument: str = "", overtakes: bool | None = None) -> str:
        return self._run(self._peer.call(verb, argument, overtakes))

    def schema(self) -> dict:
        return self._run(self._peer.schema())

    def fence(self, level: Level = "applied", all: bool = False, timeout: float | None = None) -> Level:
        """Returns when all that was changed before is there, "applied" or also "done"."""
        return self._run(self._peer.fence(level, all), timeout)

    def flush(self) -> None:
        self._run(self._peer.flush())

    def poll(self, seconds: float = 0.0) -> None:
        """Applies what has come, and what comes in so many seconds."""
        self._loop.run_until_complete(asyncio.sleep(seconds))

    def until(self, holds: Callable[[], object], timeout: float | None = None):
        """Waits until `holds()` is true, asking again whenever something has come, and gives what it gave."""

        timeout = self.timeout if timeout is None else timeout
        return self._loop.run_until_complete(self._peer.until(holds, timeout))

    def changes(self, entity: Entity, timeout: float | None = None) -> Iterator[Change]:
        """The changes of an entity and all below it from this call on, until none comes for `timeout` seconds."""
        heard = entity.changes()
        return self._each(heard, timeout)

    def _each(self, heard: Changes, timeout: float | None) -> Iterator[Change]:
        try:
            while True:
                try:
                    yield self._run(heard.__anext__(), timeout)
                except (TimeoutError, StopAsyncIteration):
                    return
        finally:
            heard.close()

    def close(self, reason: str = "done") -> None:
        if not self._loop.is_closed():
            try:
                self._run(self._peer.close(reason))
            finally:
                self._loop.close()

    def __enter__(self) -> Peer:
        return self

    def __exit__(self, *_) -> None:
        self.close()


def connect(
    address: str | None = None,
    name: str = "python",
    service: Service | None = None,
    limits: Limits = Limits(),
    timeout: float | None = None,
    reconnect: bool = False,
    within: float = 30.0,
    schema: Literal["package", "peer"] = "package",
) -> Peer:
    """Connects as `loamtunnel.connect` does; `timeout` holds for each call that waits, this one included.

    With `reconnect`, the connection is made anew while a call of the peer's runs.
    """
    loop = asyncio.new_event_loop()

    async def connecting():
        async with asyncio.timeout(timeout):
            return await _peer.connect(address, name, service, limits, reconnect, within, schema)

    try:
        return Peer(loop, loop.run_until_complete(connecting()), timeout)
    except BaseException:
        loop.close()
        raise
