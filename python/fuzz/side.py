"""What a process of this package does in a run of peers.py: it writes by lot, and keeps copies of what another one serves.

    python/fuzz/side.py ROLE ADDRESS NEWER NAME=TYPE...

By itself it is a process that can be killed. ROLE is `connect` or `serve`; with NEWER, 1, its schema is a version newer than the package's:
see `newer_schema`. Each line of its input is a request, the arguments of one of `Apart`'s operations as JSON, and each line of its output the answer.
"""

from __future__ import annotations

import asyncio
import contextlib
import copy
import json
import pathlib
import random
import sys
import zlib

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent), str(HERE.parent / "tests")]

from chance import random_value  # noqa: E402
from shown import ours  # noqa: E402

import loamtunnel  # noqa: E402
from loamtunnel import schema, values, wire  # noqa: E402
from loamtunnel.tree import Entity  # noqa: E402

HOME = schema.HOME

# Who writes a key: this process over the proxy, this process on a connection without faults, or `loamtunnel set`. What is
# everybody's is a child that all may make, and nobody deletes.
NEAR, FAR, COMMAND, EVERYBODY = range(4)
KEYS = 2  # of an attribute, for each of these: few, so that many writes meet

# What the program serves by itself. Each side writes the scalars of some.
SERVED = [
    each
    for each in schema.TYPES.values()
    if each.kind == "entity"
    and not each.argument
    and any(one.travels for one in each.attributes.values())
    and each.name not in (HOME + "OutAcConfig", HOME + "OutAcStatus")
]


def owner(type_: str, key) -> int:
    """Who writes this key."""
    return zlib.crc32(wire.to_wire(key, type_)) % 4


def drawn_keys(attribute: schema.Attribute, side: int, number: int):
    """One of the keys of an attribute that this side writes."""
    found = _keys.get(attribute.key)
    if found is None:
        chance, found = random.Random(attribute.key), ([], [], [], [])
        for _ in range(40 * KEYS):
            key = random_value(attribute.key, chance)
            of = found[owner(attribute.key, key)]
            if key not in of and len(of) < KEYS:
                of.append(key)
        _keys[attribute.key] = found
    return found[side][number % len(found[side])] if found[side] else None


_keys: dict[str, tuple[list, ...]] = {}


def new(described: schema.Type, name: str) -> Entity:
    return values.python_type(described.name)(*[name] if described.is_named else [])


def write(entity: Entity, side: int, child: int, attribute: int, number: int, lot: int) -> None:
    """A write by lot to an entity or, if it has children, to one of those; lot 0 deletes."""
    shared = [each for each in entity._schema.attributes.values() if each.travels and each.role != "references"]
    at = shared[attribute % len(shared)]
    if at.role == "scalar":
        if zlib.crc32(at.name.encode()) & 1 == side:
            setattr(entity, at.name, drawn(at.type, lot, at.most))
        return
    held = getattr(entity, at.name)
    if at.role == "children":
        key = drawn_keys(at, child // KEYS, child)
        if key is None:
            return
        if owner(at.key, key) in (side, EVERYBODY):
            below = held.add(key)
        elif key in held:
            below = held[key]
        else:
            return
        write(below, side, child, attribute, number, lot)
        return
    key = drawn_keys(at, side, number)
    if key is None:
        return
    if not lot:
        held.pop(key, None)
        return
    value = drawn(at.type, lot, at.most)
    if at.inside:
        value = value.replace(**{at.inside: key})
    held[key] = value


def drawn(type_: str, lot: int, most: int | None):
    made = random_value(type_, random.Random(lot))
    return min(made, most) if most is not None else made


def drop(entity: Entity, side: int, child: int) -> None:
    """Deletes a child that this side has made."""
    for at in entity._schema.attributes.values():
        if at.role == "children" and (key := drawn_keys(at, side, child)) is not None:
            getattr(entity, at.name).pop(key, None)


def write_much(lifs: Entity, side: int, count: int, lot: int) -> None:
    """More than the buffers on the way hold."""
    counts = lifs.appConfig.add(drawn_keys(lifs._schema.attributes["appConfig"], side, 0)).reqCount
    lif = values.python_type(HOME + "AradLifEntry")
    for i in range(count):
        counts[lif(4, i, side + 1)] = lot or None


class Side:
    """A connection of this process and its copies of the roots, which survive it."""

    def __init__(self, address: str, roots: dict[str, schema.Type], name: str) -> None:
        self._address, self._roots, self._name = address, roots, name
        self.copies = {path: new(each, path) for path, each in roots.items()}
        self.peer: loamtunnel.Peer | None = None
        self._connecting = asyncio.Lock()  # the copies are on one connection: on two they would be a loop of the network
        self._filling: dict[str, asyncio.Task] = {}
        self._fences: list[asyncio.Task] = []

    async def connect(self) -> None:
        """Tries until somebody answers, and asks for the roots without waiting for them."""
        async with self._connecting:
            await self._connect()

    async def _connect(self) -> None:
        while self.peer is None or self.peer.is_closed:
            with contextlib.suppress(loamtunnel.ConnectionEnded, TimeoutError):
                async with asyncio.timeout(1):
                    self.peer = await loamtunnel.connect(self._address, self._name)
                for path in self._roots:
                    self.fill(path)
                return
            await asyncio.sleep(0.005)

    def fill(self, path: str) -> None:
        assert self.peer is not None
        task = asyncio.get_running_loop().create_task(self.peer.want(path, self.copies[path]))
        task.add_done_callback(lambda done: done.cancelled() or done.exception())
        self._filling[path] = task

    def fence(self) -> None:
        if self.peer is not None and not self.peer.is_closed:
            task = asyncio.get_running_loop().create_task(self.peer.fence())
            task.add_done_callback(lambda done: done.cancelled() or done.exception())
            self._fences.append(task)

    def writable(self, path: str) -> Entity | None:
        """The copy, if it is one just now."""
        if self.peer is None or self.peer.is_closed:
            return None
        return self.copies[path] if self.peer.session.mount_of(self.copies[path]) is not None else None

    def again(self, path: str) -> None:
        if self.writable(path) is not None and path in self.peer.session.wishes:
            self.peer.unwant(path)
            self._filling[path].cancel()
            self.fill(path)

    async def settled(self) -> None:
        """All that this side has written has been applied beyond, and what was asked for is there."""
        await self.connect()
        assert self.peer is not None
        for task in tuple(self._filling.values()):
            await asyncio.shield(task)
        fences, self._fences = self._fences, []
        for fence in fences:
            with contextlib.suppress(loamtunnel.ConnectionEnded):
                await asyncio.shield(fence)  # one that fails is a difference, too
        await self.peer.fence()

    async def waits(self) -> int:
        assert self.peer is not None
        return sum(each["dirtyKeys"] for each in json.loads(await self.peer.call("stats"))["peers"])

    def abandon(self) -> None:
        """As if this process had been killed: nobody hears of it."""
        for task in self._filling.values():
            task.cancel()
        if self.peer is not None and self.peer._link.transport is not None:
            self.peer._link.transport.abort()

    def forget(self) -> None:
        """What a process knows that has just been started."""
        self.abandon()
        self.peer, self.copies = None, {path: new(each, path) for path, each in self._roots.items()}


NEW_APP = next(i for i in range(90, 200) if zlib.crc32(i.to_bytes(4, "big")) % 4 == NEAR)
NEW = ("weight", "vtAppNewer")  # names that only the newer schema has


def newer_schema() -> dict:
    """That of the package, with an application more, and an attribute more for each: a weight for each LIF."""
    told = copy.deepcopy(schema._data("schema.json"))
    types = {each["name"]: each for each in told["types"]}
    types["Hardware::Loam::VtAppId"]["enumerators"].append({"name": NEW[1], "number": NEW_APP, "meaning": ""})
    attributes = types["Hardware::LoamTunnel::LifAppConfig"]["attributes"]
    weight = next(each for each in attributes if each["name"] == "reqCount") | {"name": NEW[0], "counting": "none"}
    attributes.append(weight | {"id": 1 + max(each["id"] for each in attributes)})
    told["checksum"] = f"0x{int(told['checksum'], 16) ^ 1:016x}"
    return told


class Apart:
    """The operations of a process of its own. Each returns what is answered."""

    def __init__(self, role: str, address: str, roots: dict[str, schema.Type]) -> None:
        self._address, self._paths = address, list(roots)
        self._side = Side(address, roots, "near") if role == "connect" else None
        self._copies = self._side.copies if self._side else {path: new(each, path) for path, each in roots.items()}

    async def start(self) -> None:
        if self._side is not None:
            self._keeper = asyncio.get_running_loop().create_task(self._keep(self._side))
            return
        service = loamtunnel.Service("python")
        for path, entity in self._copies.items():
            service.offer(path, entity, writable=True)
        self._server = await loamtunnel.serve(self._address, service).start()

    async def _keep(self, side: Side) -> None:
        while True:
            await side.connect()
            await side.peer.wait_closed()

    def _entity(self, root: int) -> Entity | None:
        path = self._paths[root % len(self._paths)]
        return self._side.writable(path) if self._side is not None else self._copies[path]

    async def writes(self, root: int, child: int, attribute: int, number: int, lot: int) -> None:
        if (entity := self._entity(root)) is not None:
            write(entity, NEAR, child, attribute, number, lot)

    async def deletes(self, root: int, child: int) -> None:
        if (entity := self._entity(root)) is not None:
            drop(entity, NEAR, child)

    async def writes_much(self, count: int, lot: int) -> None:
        if (lifs := self._entity(0)) is not None:
            write_much(lifs, NEAR, count, lot)

    async def weighs(self, child: int, lot: int) -> None:
        """What an older process does not know, of an application that it knows or does not."""
        if (lifs := self._entity(0)) is not None:
            app = NEW_APP if lot & 1 else drawn_keys(lifs._schema.attributes["appConfig"], NEAR, child)
            below = lifs.appConfig.add(app)
            below.weight[values.python_type(HOME + "AradLifEntry")(4, child, 1)] = lot
            below.reqCount[values.python_type(HOME + "AradLifEntry")(4, child, 2)] = lot

    async def tree(self) -> dict[str, str]:
        """All, when nothing is on its way any more."""
        if self._side is not None:
            await self._side.settled()
        found: dict[str, str] = {}
        for path, entity in self._copies.items():
            found |= ours(path, entity)
        return found


async def served(role: str, address: str, is_newer: str, *roots: str) -> None:
    if int(is_newer):
        schema.load(newer_schema())
    apart = Apart(role, address, {name: schema.named(type_) for name, _, type_ in (each.partition("=") for each in roots)})
    await apart.start()
    given = asyncio.StreamReader(limit=1 << 20)
    await asyncio.get_running_loop().connect_read_pipe(lambda: asyncio.StreamReaderProtocol(given), sys.stdin)
    print(json.dumps(None), flush=True)  # it is there
    while line := await given.readline():
        asked = json.loads(line)
        try:
            answer = await getattr(apart, asked.pop("do"))(**asked)
        except loamtunnel.LoamError as fault:
            answer = {"": repr(fault)}
        print(json.dumps(answer), flush=True)


if __name__ == "__main__":
    asyncio.run(served(*sys.argv[1:]))
