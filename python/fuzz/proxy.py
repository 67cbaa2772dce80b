"""A proxy between a process and who connects to it, which treats the bytes badly: holds them up, passes them on one by one,
and cuts the connection after any byte."""

from __future__ import annotations

import asyncio
import contextlib
import socket

TO_SERVER, TO_CLIENT = 0, 1
BUFFER = 4096  # of the system, so that the processes hear soon that nobody reads


class Proxy:
    """Listens at `path`, and connects each client to `target`. Its faults hold for all connections alike."""

    def __init__(self, path: str, target: str) -> None:
        self._path, self._target = path, target
        self._flows = (asyncio.Event(), asyncio.Event())
        self._crumbs = [0, 0]  # how many bytes are still to be passed on one by one
        self._cut: list[int | None] = [None, None]  # how many bytes pass before the connection is cut
        self._stall: list[int | None] = [None, None]  # how many bytes pass before no more do
        self._tasks: set[asyncio.Task] = set()
        self._joined: set[asyncio.Task] = set()
        self._listener = socket.socket(socket.AF_UNIX)
        self.heal()

    def start(self) -> None:
        self._listener.bind(self._path)
        self._listener.listen()
        self._listener.setblocking(False)
        self._spawn(self._accept())

    def heal(self) -> None:
        """From now on bytes pass as they should."""
        for way in (TO_SERVER, TO_CLIENT):
            self._flows[way].set()
            self._crumbs[way], self._cut[way], self._stall[way] = 0, None, None

    def stall_after(self, way: int, count: int) -> None:
        self._stall[way] = count

    def crumble(self, way: int, count: int) -> None:
        self._crumbs[way] = count

    def cut_after(self, way: int, count: int) -> None:
        self._cut[way] = count

    async def drop(self) -> None:
        """Ends all connections, and what is on its way is lost."""
        joined = tuple(self._joined)
        for task in joined:
            task.cancel()
        await asyncio.gather(*joined, return_exceptions=True)

    async def close(self) -> None:
        for task in tuple(self._tasks):
            task.cancel()
        await asyncio.gather(*self._tasks, return_exceptions=True)
        self._listener.close()

    def _spawn(self, work) -> asyncio.Task:
        task = asyncio.get_running_loop().create_task(work)
        self._tasks.add(task)
        task.add_done_callback(self._tasks.discard)
        return task

    async def _accept(self) -> None:
        while True:
            client, _ = await asyncio.get_running_loop().sock_accept(self._listener)
            task = self._spawn(self._join(client))
            self._joined.add(task)
            task.add_done_callback(self._joined.discard)

    async def _join(self, client: socket.socket) -> None:
        loop = asyncio.get_running_loop()
        with client, socket.socket(socket.AF_UNIX) as server, contextlib.suppress(OSError):
            for each in (client, server):
                each.setblocking(False)
                each.setsockopt(socket.SOL_SOCKET, socket.SO_SNDBUF, BUFFER)
            await loop.sock_connect(server, self._target)
            pumps = [
                loop.create_task(self._pump(TO_SERVER, client, server)),
                loop.create_task(self._pump(TO_CLIENT, server, client)),
            ]
            try:
                await asyncio.wait(pumps, return_when=asyncio.FIRST_COMPLETED)
            finally:  # before the sockets are closed, on which they wait
                for each in pumps:
                    each.cancel()
                await asyncio.gather(*pumps, return_exceptions=True)

    async def _pump(self, way: int, source: socket.socket, to: socket.socket) -> None:
        loop = asyncio.get_running_loop()
        while data := await loop.sock_recv(source, 1 if self._crumbs[way] else 65536):
            if (passes := self._stall[way]) is not None:
                self._stall[way] = max(0, passes - len(data))
                await loop.sock_sendall(to, data[:passes])
                if passes < len(data) and self._stall[way] is not None:  # and has not been healed meanwhile
                    self._flows[way].clear()
                    await self._flows[way].wait()
                data = data[passes:]
            limit = self._cut[way]
            await loop.sock_sendall(to, data[:limit])
            self._crumbs[way] = max(0, self._crumbs[way] - len(data))
            if limit is None:
                continue
            if self._cut[way] is None:  # it has been healed meanwhile
                await loop.sock_sendall(to, data[limit:])
                continue
            self._cut[way] = limit - len(data) if limit > len(data) else None
            if limit <= len(data):
                return
