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
`flush()` do nothing else. Closing the peer sends what is left. So it is with what is served:

    with sync.serve("/run/loam/driver", service) as server:
        server.until(lambda: asked.appConfig, timeout=10)
"""

from __future__ import annotations

import asyncio
from collections.abc import Awaitable, Callable, Iterator
from typing import Any, Literal, Self, TypeVar, overload

from . import peer as _peer
from .fences import Level
from .lasting import LastingPeer
from .peer import E
from .service import Limits, Offer, Service
from .tree import Change, Changes, Entity


def _run(loop: asyncio.AbstractEventLoop, what: Awaitable, timeout: float | None):
    async def waiting():
        async with asyncio.timeout(timeout):
            return await what

    return loop.run_until_complete(waiting())


class _Waiting:
    """What peers and servers share: a loop that runs while somebody waits, for `timeout` seconds at most if that is not None."""

    _end: str  # the reason that is given when nobody gives another

    def __init__(self, loop: asyncio.AbstractEventLoop, of: _peer.Peer | LastingPeer | _peer.Server, timeout: float | None) -> None:
        self._loop, self._of, self.timeout = loop, of, timeout

    def _run(self, what, timeout: float | None = None):
        return _run(self._loop, what, self.timeout if timeout is None else timeout)

    @property
    def is_closed(self) -> bool:
        return self._of.is_closed

    @property
    def reason(self) -> str:
        """Why the connection has ended, or nobody is served."""
        return self._of.reason

    def poll(self, seconds: float = 0.0) -> None:
        """Applies what has come, and what comes in so many seconds."""
        self._loop.run_until_complete(asyncio.sleep(seconds))

    def until(self, holds: Callable[[], object], timeout: float | None = None):
        """Waits until `holds()` is true, asking again whenever something has come, and gives what it gave."""

        timeout = self.timeout if timeout is None else timeout
        return self._loop.run_until_complete(self._of.until(holds, timeout))

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

    def close(self, reason: str | None = None) -> None:
        if not self._loop.is_closed():
            try:
                self._run(self._of.close(reason or self._end))
            finally:
                self._loop.close()

    def __enter__(self) -> Self:
        return self

    def __exit__(self, *_) -> None:
        self.close()


class Peer(_Waiting):
    """A `loamtunnel.Peer` whose operations wait. Each raises `TimeoutError` when `timeout` seconds are not enough."""

    _end = "done"
    _of: _peer.Peer | LastingPeer

    @property
    def name(self) -> str:
        """What the other side calls itself."""
        return self._of.name

    @property
    def is_connected(self) -> bool:
        return self._of.is_connected

    @property
    def connections(self) -> int:
        """How many there have been: more than one with `reconnect`."""
        return self._of.connections

    def offers(self) -> dict[str, Offer]:
        return self._run(self._of.offers())

    @overload
    def want(self, path: str) -> Any:
        ...

    @overload
    def want(self, path: str, entity: E) -> E:
        ...

    def want(self, path, entity=None):
        return self._run(self._of.want(path, entity))

    def unwant(self, path: str) -> None:
        self._of.unwant(path)

    def push(
        self,
        path: str,
        entity: E,
        writable: bool = False,
        takeover: bool = False,
        lost: Callable[[Exception], None] | None = None,
    ) -> E:
        return self._run(self._of.push(path, entity, writable, takeover, lost))

    def unpush(self, entity: Entity) -> None:
        self._of.unpush(entity)

    def call(self, verb: str, argument: str = "", overtakes: bool | None = None) -> str:
        return self._run(self._of.call(verb, argument, overtakes))

    def schema(self) -> dict:
        return self._run(self._of.schema())

    def fence(self, level: Level = "applied", all: bool = False, timeout: float | None = None) -> Level:
        """Returns when all that was changed before is there, "applied" or also "done"."""
        return self._run(self._of.fence(level, all), timeout)

    def flush(self) -> None:
        self._run(self._of.flush())

    def wait_closed(self, timeout: float | None = None) -> str:
        """Returns when the connection has ended, with the reason."""
        return self._run(self._of.wait_closed(), timeout)


class Server(_Waiting):
    """A `loamtunnel.Server` whose operations wait. Its peers are served while one of them runs."""

    _end = "the server ends"
    _of: _peer.Server

    @property
    def port(self) -> int:
        """Of a TCP socket, the port that it has; one can ask for port 0."""
        return self._of.port

    @property
    def peers(self) -> list[str]:
        """The names of those that are connected."""
        return [each.name for each in self._of.peers if each.session.is_open]


W = TypeVar("W", bound=_Waiting)


def connect(
    address: str | None = None,
    name: str = "python",
    service: Service | None = None,
    limits: Limits = Limits(),
    timeout: float | None = None,
    reconnect: bool = False,
    within: float = 30.0,
    schema: Literal["package", "peer"] = "package",
    wait: float = 0.0,
) -> Peer:
    """Connects as `loamtunnel.connect` does; `timeout` holds for each call that waits, this one included.

    With `reconnect`, the connection is made anew while a call of the peer's runs.
    """
    return _made(Peer, lambda: _peer.connect(address, name, service, limits, reconnect, within, schema, wait), timeout)


def serve(
    address: str | None, service: Service, name: str = "python", limits: Limits = Limits(), timeout: float | None = None
) -> Server:
    """Serves as `loamtunnel.serve` does, while a call of the server's runs; `timeout` holds for each that waits."""
    return _made(Server, lambda: _peer.serve(address, service, name, limits).start(), timeout)


def _made(kind: Callable[..., W], begin: Callable[[], Awaitable], timeout: float | None) -> W:
    loop = asyncio.new_event_loop()
    try:
        return kind(loop, _run(loop, begin(), timeout), timeout)
    except BaseException:
        loop.close()
        raise
