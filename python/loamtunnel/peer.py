"""Sessions on sockets, for programs on an asyncio event loop.

    async with loamtunnel.connect("/run/loam/driver") as peer:
        lifs = await peer.want("lifStatus")
        app = await peer.push("lifConfig", LifAppConfig(VtAppId.vtAppMpls))
        app.reqCount[AradLifAcMp(vsi=100)] = 1
        await peer.fence("done")
        async for change in lifs.changes():
            print(change.path, change.value)

A task that is cancelled while it waits leaves nothing behind: its wish or push is withdrawn, its answer is for nobody.
"""

from __future__ import annotations

import asyncio
import contextlib
import inspect
import json
import os
import socket
import stat
import struct
from collections.abc import Awaitable, Callable
from typing import TYPE_CHECKING, Any, Literal, TypeVar, overload

from . import schema
from .errors import ConnectionEnded, LoamError
from .fences import Level
from .service import Limits, Offer, Service
from .session import Push, Session
from .tree import Entity

if TYPE_CHECKING:
    from .lasting import LastingPeer

HELLO = 10.0  # seconds that a server has for its hello
PAUSE = 0.02  # seconds between two looks for a server that is not there yet

E = TypeVar("E", bound=Entity)
T = TypeVar("T")


def _own_folder() -> str:
    """Where the socket lies that nobody has to name, as for the program."""
    own = os.environ.get("XDG_RUNTIME_DIR", "")
    return os.path.join(own if own.startswith("/") else "/run", "loamtunnel")


def _make_own_folder() -> None:
    """Makes it, and refuses one in which others could put a socket of theirs."""
    folder = _own_folder()
    with contextlib.suppress(FileExistsError):
        os.mkdir(folder, 0o700)
    found = os.lstat(folder)
    if not stat.S_ISDIR(found.st_mode) or found.st_uid != os.geteuid() or found.st_mode & 0o022:
        raise PermissionError(f"{folder} is no folder of this user's own; give an address")


def socket_address(address: str | None) -> tuple[str, ...]:
    """("unix", path) or ("tcp", host, port), of what the program's --socket takes.

    Without one it is that of the environment's LOAM_SOCKET, or else loamtunnel/socket in XDG_RUNTIME_DIR or /run, as for the program.

    >>> socket_address("tcp:4711")
    ('tcp', '127.0.0.1', '4711')
    """
    address = address or os.environ.get("LOAM_SOCKET")
    if not address:
        return "unix", os.path.join(_own_folder(), "socket")
    if address.startswith("unix:"):
        return "unix", address[5:]
    if address.startswith("tcp:"):
        host, _, port = address[4:].rpartition(":")
        if port.isdecimal() and int(port) < 65536:
            return "tcp", host.strip("[]") or "127.0.0.1", port
    elif "/" in address:
        return "unix", address
    raise ValueError(f"{address!r} is no address; /path, unix:/path, tcp:PORT or tcp:HOST:PORT is")


class _Link(asyncio.Protocol):
    """The bytes of one session on one transport."""

    def __init__(self, peer: Peer) -> None:
        self.peer = peer
        self.transport: asyncio.Transport | None = None
        self.is_paused = False

    def connection_made(self, transport) -> None:
        self.transport = transport
        transport.set_write_buffer_limits(high=256 * 1024)
        link = transport.get_extra_info("socket")
        if link is not None and link.family == socket.AF_UNIX:
            credentials = link.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, struct.calcsize("3i"))
            process = struct.unpack("3i", credentials)[0]
            self.peer.session.detail = f"process {process}" if process else ""  # 0: outside of what the kernel shows here
        self.peer._flush()

    def data_received(self, data: bytes) -> None:
        self.peer.session.feed(data)
        self.peer._flush()
        self.peer._something_came()

    def pause_writing(self) -> None:
        self.is_paused = True

    def resume_writing(self) -> None:
        self.is_paused = False
        self.peer._flush()

    def connection_lost(self, error: Exception | None) -> None:
        self.transport = None
        self.peer.session.close(str(error) if error else "the other side has closed the connection", said=False)
        self.peer._lost()


class _Arrivals:
    """Wakes those who wait until something has come, whatever it is."""

    def __init__(self) -> None:
        self._waiting: set[asyncio.Future] = set()

    def wake(self) -> None:
        for each in self._waiting:
            _settle(each, None)

    async def __call__(self) -> None:
        heard = asyncio.get_running_loop().create_future()
        self._waiting.add(heard)
        try:
            await heard
        finally:
            self._waiting.discard(heard)


class Peer:
    """The process at the other end of a connection."""

    connections = 1  # as many as there have been; `connect(..., reconnect=True)` makes more

    def __init__(self, service: Service, connects: bool, limits: Limits = Limits()) -> None:
        self._loop = asyncio.get_running_loop()
        self._scheduled = False
        self._link = _Link(self)
        self._opened: asyncio.Future[None] = self._loop.create_future()
        self._closed: asyncio.Future[None] = self._loop.create_future()
        self._arrivals = [_Arrivals()]
        self._answering: set[asyncio.Task] = set()
        self._pushes: dict[Entity, Push] = {}
        self.on_down: Callable[[], None] | None = None  # called once, when the session has ended
        self.session = Session(service, connects, self, limits, self._wake)
        self.session.on_open = lambda: _settle(self._opened, None)
        self.session.on_end = self._on_end
        self.session.on_awaitable = self._on_awaitable

    # What is shared

    @property
    def name(self) -> str:
        """What the other side calls itself."""
        return self.session.name

    @property
    def is_closed(self) -> bool:
        return self.session.ended

    @property
    def is_connected(self) -> bool:
        return not self.session.ended

    @property
    def reason(self) -> str:
        """Why the connection has ended."""
        return self.session.reason

    async def offers(self) -> dict[str, Offer]:
        """What the peer offers, by path, once it has told all."""
        while not self.session.all_told:
            if self.is_closed:
                raise ConnectionEnded(self.session.reason)
            await self.something()
        return dict(self.session.offers)

    @overload
    async def want(self, path: str) -> Any:
        ...

    @overload
    async def want(self, path: str, entity: E) -> E:
        ...

    async def want(self, path, entity=None):
        """The entity that the peer offers under `path`, when all of its state has come; from then on it stays equal.

        Given an entity of the offered type, that one becomes the copy, as after an earlier connection. Raises `Refused` with
        the peer's words, or `ConnectionEnded`.
        """
        done = self._loop.create_future()
        wish = self.session.want(path, entity, lambda error: _settle(done, error))
        try:
            await done
        except BaseException:
            if self.session.wishes.get(path) is wish:
                self.session.unwant(path)
            raise
        assert wish.entity is not None
        return wish.entity

    def unwant(self, path: str) -> None:
        """The copy stays as it is, and is no longer kept equal."""
        self.session.unwant(path)

    async def push(
        self,
        path: str,
        entity: E,
        writable: bool = False,
        takeover: bool = False,
        lost: Callable[[Exception], None] | None = None,
    ) -> E:
        """Pushes an entity to the peer, which has taken it in when this returns.

        With `writable` the peer may write to it. Raises `Refused` with the peer's words, as when another process pushes the same
        entity; with `takeover` this one takes its place. `lost(refusal)` is called if the peer lets the entity go later, as when
        its place is another one's then. Raises `ConnectionEnded`, too.
        """
        done = self._loop.create_future()

        def gone(error: Exception) -> None:
            self._pushes.pop(entity, None)
            if lost is not None:
                lost(error)

        push = self.session.push(path, entity, writable, lambda error: _settle(done, error), takeover, gone)
        try:
            await done
        except BaseException:
            self.session.unpush(push)
            raise
        if push.number in self.session.pushes:
            self._pushes[entity] = push
        return entity

    def unpush(self, entity: Entity) -> None:
        """The peer keeps what it has, and hears no more. Nothing happens if it has let the entity go."""
        push = self._pushes.pop(entity, None)
        if push is not None:
            self.session.unpush(push)

    async def call(self, verb: str, argument: str = "", overtakes: bool | None = None) -> str:
        """Asks the peer something, as `stats`. Raises `RequestFailed` with the peer's words, or `ConnectionEnded`.

        The peer hears of it when it has all that was changed before, unless the call `overtakes` what waits for room; `schema`, `stats`,
        `trace` and `traceRecords` do, if not told.
        """
        done = self._loop.create_future()
        request = self.session.request(verb, argument, lambda answer, error: _settle(done, error, answer), overtakes)
        try:
            return await done
        finally:
            request.done = None

    async def schema(self) -> dict:
        """The types of the peer's process, as `loamtunnel schema --json` prints them: `loamtunnel.schema.load` takes them.

        Raises `RequestFailed` if it does not tell, `ValueError` where that is no schema, or `ConnectionEnded`.
        """
        return await _schema_of(self.call)

    async def fence(self, level: Level = "applied", all: bool = False) -> Level:
        """Returns when all that was changed before is there: each value, or a newer one.

        The peer has "applied" it, or is also "done" with it, in its own words; what it has changed until then is here. With `all`,
        the same holds for those to whom it passes on what it gets. Raises `FenceFailed` or `FenceGone` with the peer's words, and
        `ConnectionEnded`. At most 1024 fences wait at a time.
        """
        done = self._loop.create_future()
        asked = self.session.fence(level, all, lambda result, error: _settle(done, error, result))
        try:
            return (await done).reached(level, self.name)
        finally:
            self.session.forget_fence(asked)

    async def flush(self) -> None:
        """Returns when all that was written has been handed to the operating system."""
        self._flush()
        while not self.is_closed and (self.session.has_more or self._buffered()):
            await asyncio.sleep(0.002)
            self._flush()

    async def close(self, reason: str = "done", within: float = 5.0) -> None:
        """Says goodbye, after all that was written, and closes the connection.

        What the peer has not taken after `within` seconds is dropped. No task of this connection is left when this returns.
        """
        try:
            async with asyncio.timeout(within):
                if not self.is_closed:
                    await self.flush()
                self.session.close(reason)
                self._flush()
                await asyncio.shield(self._closed)
        except TimeoutError:
            self.session.close(reason)
        finally:
            if self._link.transport is not None:
                self._link.transport.abort()
            for task in tuple(self._answering):
                task.cancel()
        await asyncio.shield(self._closed)
        await asyncio.gather(*self._answering, return_exceptions=True)

    async def wait_closed(self) -> str:
        """Returns when the connection has ended, with the reason."""
        await asyncio.shield(self._closed)
        return self.session.reason

    # What the session tells

    def _wake(self) -> None:
        if self._scheduled:
            return
        if not self._loop.is_closed():
            self._scheduled = True
            self._loop.call_soon(self._flush)

    def _flush(self) -> None:
        self._scheduled = False
        link = self._link
        while link.transport is not None and not link.is_paused:
            data = self.session.take()
            if not data:
                break
            link.transport.write(data)
        if self.session.ended and link.transport is not None:
            link.transport.close()  # after what is still buffered

    def _buffered(self) -> int:
        return self._link.transport.get_write_buffer_size() if self._link.transport is not None else 0

    def _something_came(self) -> None:
        for each in self._arrivals:
            each.wake()

    async def something(self) -> None:
        """Returns when something has come from the peer, whatever it is, or the connection has ended."""
        if not self.is_closed:
            await self._arrivals[0]()

    async def until(self, holds: Callable[[], T], timeout: float | None = None) -> T:
        """Waits until `holds()` is true, asking again whenever something has come, and gives what it gave.

        Raises `TimeoutError` after so many seconds, and `ConnectionEnded`.
        """
        return await held(self, holds, timeout)

    def _on_end(self, error: Exception) -> None:
        _settle(self._opened, error)
        self._something_came()
        self._wake()
        if self.on_down is not None:
            self.on_down()

    def _on_awaitable(self, answer, reply: Callable[[str, bool], None]) -> None:
        if not inspect.isawaitable(answer):
            reply("the answer is no text", True)
            return

        async def answered() -> None:
            try:
                reply(str(await answer), False)
            except Exception as fault:  # the peer hears of it
                reply(str(fault) or type(fault).__name__, True)

        task = self._loop.create_task(answered())
        self._answering.add(task)
        task.add_done_callback(self._answering.discard)

    def _lost(self) -> None:
        for task in tuple(self._answering):
            task.cancel()
        if not self._opened.done():
            self._opened.set_exception(ConnectionEnded(self.session.reason))
        self._opened.exception() if not self._opened.cancelled() else None
        _settle(self._closed, None)


async def _connect(where: tuple[str, ...], link: _Link, wait: float) -> None:
    """Tries so many seconds. The file of a socket is there a moment before its owner listens, for which is waited anyhow."""
    loop = asyncio.get_running_loop()
    begun = loop.time()
    while True:
        try:
            if where[0] == "unix":
                await loop.create_unix_connection(lambda: link, where[1])
            else:
                await loop.create_connection(lambda: link, where[1], int(where[2]))
            return
        except OSError as fault:
            is_begun = where[0] == "unix" and isinstance(fault, ConnectionRefusedError)
            if loop.time() - begun >= max(wait, 10 * PAUSE if is_begun else 0):
                raise
        await asyncio.sleep(PAUSE)


MOST_TYPES = 4096  # that a peer tells


async def _schema_of(call: Callable[[str, str], Awaitable[str]]) -> dict:
    whole: dict = {}
    types: list[dict] = []
    after = ""
    while True:
        try:
            page = json.loads(await call("schema", after))
        except RecursionError:
            raise ValueError("an answer to schema is no list of types") from None
        if not isinstance(page, dict) or not isinstance(page.get("types"), list):
            raise ValueError("an answer to schema is no list of types")
        if whole and page.get("checksum") != whole.get("checksum"):
            raise ValueError("the peer's types have changed while they were asked for")
        whole = whole or page
        types += page["types"]
        following = page.pop("after", "")
        if not following:
            return whole | {"types": types}
        if not page["types"] or len(types) > MOST_TYPES or not isinstance(following, str):
            raise ValueError("the answers to schema do not end")
        after = following


async def held(peer: Peer | LastingPeer | Server, holds: Callable[[], T], timeout: float | None) -> T:
    try:
        async with asyncio.timeout(timeout):
            while not (found := holds()):
                if peer.is_closed:
                    raise ConnectionEnded(peer.reason)
                await peer.something()
            return found
    except TimeoutError:
        raise TimeoutError(f"it was not so within {timeout:g} s") from None


def _settle(future: asyncio.Future, error: Exception | None, result=None) -> None:
    if future.done():
        return
    if error is not None:
        future.set_exception(error)
    else:
        future.set_result(result)


class Connection:
    """What `connect` gives: to be awaited for a `Peer`, or used in `async with`, which closes it at the end."""

    def __init__(
        self,
        address: str | None,
        service: Service,
        limits: Limits,
        within: float | None,
        takes_types: bool,
        wait: float,
    ) -> None:
        self._address, self._service, self._limits, self._within = address, service, limits, within
        self._takes_types, self._wait = takes_types, wait
        self._peer: Peer | LastingPeer | None = None

    async def _connect(self) -> Peer | LastingPeer:
        if self._within is None:
            return await self._open()
        from .lasting import LastingPeer

        return await LastingPeer(self._open, self._within).start()

    async def _take_types(self, peer: Peer) -> None:
        """The first time: what is there later has been made from them."""
        self._takes_types = False
        try:
            if peer.session.their_checksum != schema.CHECKSUM:
                schema.load(await peer.schema())
        except BaseException as fault:
            await peer.close(str(fault) or type(fault).__name__, within=1)
            raise

    async def _open(self) -> Peer:
        where = socket_address(self._address)
        peer = Peer(self._service, True, self._limits)
        try:
            await _connect(where, peer._link, self._wait)
        except OSError as fault:
            peer.session.close(str(fault), said=False)
            peer._lost()
            raise ConnectionEnded(f"{':'.join(where)}: {fault}") from fault
        try:
            async with asyncio.timeout(HELLO):
                await asyncio.shield(peer._opened)
        except BaseException as fault:
            peer.session.close("there was no hello in time" if isinstance(fault, TimeoutError) else "cancelled")
            peer._flush()
            if peer._link.transport is not None:
                peer._link.transport.abort()
            if isinstance(fault, TimeoutError):
                raise ConnectionEnded(f"{':'.join(where)}: there was no hello within {HELLO:g} s") from None
            raise
        if self._takes_types:
            await self._take_types(peer)
        return peer

    def __await__(self):
        return self._connect().__await__()

    async def __aenter__(self):
        self._peer = await self._connect()
        return self._peer

    async def __aexit__(self, kind, error, trace) -> None:
        assert self._peer is not None
        if kind is None:
            await self._peer.close()
            return
        # What is not written yet is of no use to anybody; the peer hears why.
        self._peer.session.close(f"{kind.__name__}: {error}" if str(error) else kind.__name__)
        await self._peer.close(within=1)


def connect(
    address: str | None = None,
    name: str = "python",
    service: Service | None = None,
    limits: Limits = Limits(),
    reconnect: bool = False,
    within: float = 30.0,
    schema: Literal["package", "peer"] = "package",
    wait: float = 0.0,
) -> Connection:
    """Connects to a process that serves entities; without an address, to the environment's LOAM_SOCKET, or else to the program's place.

    `name` is what the other side calls this one. A `service` tells what this side offers, takes in and answers. With `reconnect`,
    a connection that breaks is made anew and what was shared is taken up again, if that succeeds `within` so many seconds:
    see `loamtunnel.lasting`. A server that is not there yet is waited for as long as `wait` says, in seconds.

    With `schema="peer"` the types are those that the peer tells, for the whole process and from then on: entities, attributes and
    enumerators that a newer one has are there, and `loamtunnel.types` gives its classes. A peer that does not tell them raises
    `RequestFailed`.
    """
    if schema not in ("package", "peer"):
        raise ValueError(f"schema={schema!r} is neither 'package' nor 'peer'")
    return Connection(address, _named(service, name), limits, within if reconnect else None, schema == "peer", wait)


def _named(service: Service | None, name: str) -> Service:
    made = service if service is not None else Service()
    made.name = made.name or name
    return made


class Server:
    """Serves a `Service` on a socket: `async with loamtunnel.serve("/run/loam/driver", service) as server:`."""

    def __init__(self, address: str | None, service: Service, limits: Limits) -> None:
        self._where, self._service, self._limits = socket_address(address), service, limits
        self._is_own_place = not address and not os.environ.get("LOAM_SOCKET")
        self._server: asyncio.Server | None = None
        self._arrivals = _Arrivals()
        self.peers: set[Peer] = set()
        self.reason = "the server has not been started"  # why nobody is served, if so

    @property
    def is_closed(self) -> bool:
        return self._server is None

    @property
    def port(self) -> int:
        """Of a TCP socket, the port that it has; one can ask for port 0."""
        assert self._server is not None
        return self._server.sockets[0].getsockname()[1]

    async def start(self) -> Server:
        loop = asyncio.get_running_loop()
        if self._where[0] == "unix":
            path = self._where[1]
            if self._is_own_place:
                _make_own_folder()
            mask = os.umask(0o177)  # for its owner alone
            try:
                self._server = await loop.create_unix_server(self._accept, path)
            finally:
                os.umask(mask)
        else:
            self._server = await loop.create_server(self._accept, self._where[1], int(self._where[2]))
        return self

    def _accept(self) -> _Link:
        peer = Peer(self._service, False, self._limits)
        self.peers.add(peer)
        peer._arrivals.append(self._arrivals)
        peer._closed.add_done_callback(lambda _: self._left(peer))
        return peer._link

    def _left(self, peer: Peer) -> None:
        self.peers.discard(peer)
        self._arrivals.wake()

    async def something(self) -> None:
        """Returns when something has come from any peer, whatever it is, or one has gone."""
        if not self.is_closed:
            await self._arrivals()

    async def until(self, holds: Callable[[], T], timeout: float | None = None) -> T:
        """Waits until `holds()` is true, asking again whenever something has come, and gives what it gave.

        Raises `TimeoutError` after so many seconds, and `ConnectionEnded` when the server is closed.
        """
        return await held(self, holds, timeout)

    async def close(self, reason: str = "the server ends") -> None:
        """Says goodbye to all peers, and serves nobody any more. No task of theirs is left when this returns."""
        server, self._server, self.reason = self._server, None, reason
        if server is None:
            return
        server.close()
        self._arrivals.wake()
        await asyncio.gather(*(each.close(reason) for each in tuple(self.peers)))
        await server.wait_closed()
        if self._where[0] == "unix" and os.path.exists(self._where[1]):
            os.unlink(self._where[1])

    async def __aenter__(self) -> Server:
        return await self.start()

    async def __aexit__(self, *_) -> None:
        await self.close()


def serve(address: str | None, service: Service, name: str = "python", limits: Limits = Limits()) -> Server:
    """Serves what `service` offers, takes in and answers. A Unix socket is for its owner alone; TCP listens on loopback.

    Without an address it is the place at which `connect` looks without one.
    """
    return Server(address, _named(service, name), limits)


__all__ = ["Connection", "LoamError", "Peer", "Server", "connect", "serve", "socket_address"]
