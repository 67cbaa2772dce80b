#!/usr/bin/python3
"""Live differential fuzzing: the program `loamtunnel` and this package share trees over sockets, and must end equal.

    python/fuzz/peers.py PROGRAM [--runs N] [--seed S] [--steps N]

In each run one process of the program and this one write the same trees, over a proxy that holds bytes up, passes them on one by
one, and cuts the connection after any byte; both are killed. At each rest the copies must be equal to each other and to what
`loamtunnel tree` shows. Each key has one writer, as docs/attribute-log.md asks for. A run that fails is made shorter, and printed as a
program; the seed brings it back.
"""

from __future__ import annotations

import argparse
import asyncio
import collections
import contextlib
import functools
import json
import os
import pathlib
import random
import re
import subprocess
import sys
import tempfile
import time
import zlib

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent), str(HERE.parent / "tests")]

from chance import random_value  # noqa: E402
from hypothesis import HealthCheck, Phase, Verbosity, seed, settings  # noqa: E402
from hypothesis import strategies as given  # noqa: E402
from hypothesis import stateful  # noqa: E402
from proxy import TO_CLIENT, TO_SERVER, Proxy  # noqa: E402
from shown import canonical, different, ours, printed, printed_line  # noqa: E402

import loamtunnel  # noqa: E402
from loamtunnel import records, schema, values, wire  # noqa: E402
from loamtunnel.tree import Entity  # noqa: E402

PROGRAM = ""
PATIENCE = 20.0  # seconds within which something must change on the way to equality, also on a machine that is busy
LONGEST = 120.0  # seconds within which all must be equal
# Who writes a key: this process over the proxy, this process on a connection without faults, or `loamtunnel set`. What is
# everybody's is a child that all may make, and nobody deletes.
NEAR, FAR, COMMAND, EVERYBODY = range(4)
KEYS = 2  # of an attribute, for each of these: few, so that many writes meet
HOME = schema.HOME

# What the program serves by itself. Each side writes the scalars of some.
SERVED = [
    each
    for each in schema.TYPES.values()
    if each.kind == "entity"
    and not each.argument
    and any(one.travels for one in each.attributes.values())
    and each.name not in (HOME + "OutAcConfig", HOME + "OutAcStatus")
]
KINDS = given.lists(given.integers(0, len(SERVED) - 1), max_size=2, unique=True)  # beside that one
LIF = values.python_type(HOME + "AradLifEntry")
LIFS = next(i for i, each in enumerate(SERVED) if each.short == "LifAppConfigDir")


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


class Process:
    """The program, which serves the roots."""

    def __init__(self, address: str, arguments: list[str]) -> None:
        self.address, self._arguments = address, arguments
        self._process: subprocess.Popen | None = None
        self.start()

    def start(self) -> None:
        self._process = subprocess.Popen(
            [PROGRAM, *self._arguments, "--socket", self.address],
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.PIPE,
        )

    @property
    def is_alive(self) -> bool:
        return self._process is not None and self._process.poll() is None

    def kill(self) -> None:
        assert self._process is not None
        self._process.kill()
        self._process.wait()
        assert self._process.stderr is not None
        self._process.stderr.close()

    def fault(self) -> str:
        """What it said when it ended by itself."""
        assert self._process is not None and self._process.stderr is not None
        return f"the program has ended with {self._process.returncode}: {self._process.stderr.read().decode()[-2000:]}"


class Side:
    """A connection of this process and its copies of the roots, which survive it."""

    def __init__(self, address: str, roots: dict[str, schema.Type], name: str) -> None:
        self._address, self._roots, self._name = address, roots, name
        self.copies = {path: new(each, path) for path, each in roots.items()}
        self.peer: loamtunnel.Peer | None = None
        self._filling: dict[str, asyncio.Task] = {}
        self._fences: list[asyncio.Task] = []

    async def connect(self) -> None:
        """Tries until somebody answers, and asks for the roots without waiting for them."""
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


fired: collections.Counter[str] = collections.Counter()


def rule(**lots):
    """A step of a run, which is counted."""

    def declared(step):
        @functools.wraps(step)
        def counted(self, *given_, **drawn) -> None:
            fired[step.__name__] += 1
            self.steps.append(f"{step.__name__}({', '.join([*map(str, given_), *(f'{name}={value}' for name, value in drawn.items())])})")
            step(self, *given_, **drawn)

        return stateful.rule(**lots)(counted)

    return declared


def newer_record(session: loamtunnel.Session, entity: Entity, lot: int) -> bytes | None:
    """What only a later schema knows; nothing may come of it."""
    mount = session.mount_of(entity)
    if mount is None:
        return None
    newer = records.string(HOME + "Newer")
    return (
        records.record(mount.id, 1000 + lot, b"whatever"),
        records.record(mount.id, -1000 - lot, b"whatever"),
        records.record(mount.id, 1000 + lot, b"\0\0", form=records.MARKER),
        records.record(1, 200 + lot, b"whatever"),
        records.record(1, 136, records.section(1, newer) + records.section(4, records.number(session.new_id()))),
        records.record(session.new_id(), 258, b"whatever"),
    )[lot]


class Run(stateful.RuleBasedStateMachine):
    """What all runs have: a loop, two sockets, and between them a proxy with faults."""

    has_failed = False

    def __init__(self) -> None:
        super().__init__()
        self.loop = asyncio.new_event_loop()
        self.folder = tempfile.TemporaryDirectory(prefix="peers")
        self.direct, self.proxied = (os.path.join(self.folder.name, each) for each in ("direct", "proxied"))
        self.proxy = Proxy(self.proxied, self.direct)
        self.has_begun = False
        self.steps: list[str] = []

    def choose(self, kinds: list[int]) -> None:
        self.roots = {f"root{i}": SERVED[i] for i in (LIFS, *(each for each in kinds if each != LIFS))}
        self.paths = list(self.roots)

    async def differs(self) -> str:
        """What is not equal yet, or nothing."""
        raise NotImplementedError

    async def end(self) -> None:
        raise NotImplementedError

    def do(self, work) -> None:
        self.loop.run_until_complete(asyncio.wait_for(work, 2 * LONGEST))

    def pass_time(self, turns: int = 3) -> None:
        async def turn() -> None:
            for _ in range(turns):
                await asyncio.sleep(0)

        self.do(turn())

    @rule(way=given.sampled_from((TO_SERVER, TO_CLIENT)), count=given.integers(0, 2000))
    def stalls(self, way: int, count: int) -> None:
        self.proxy.stall_after(way, count)

    @rule(way=given.sampled_from((TO_SERVER, TO_CLIENT)), count=given.integers(1, 600))
    def passes_bytes_one_by_one(self, way: int, count: int) -> None:
        self.proxy.crumble(way, count)

    @rule(way=given.sampled_from((TO_SERVER, TO_CLIENT)), count=given.integers(0, 3000))
    def cuts(self, way: int, count: int) -> None:
        self.proxy.cut_after(way, count)

    @rule(count=given.integers(1, 30))
    def time_passes(self, count: int) -> None:
        self.do(asyncio.sleep(count / 1000))

    @rule()
    def rests(self) -> None:
        self.proxy.heal()
        self.do(self.rest())

    def failed(self, why: str) -> None:
        """The first one is told at once: making it shorter takes minutes."""
        if not Run.has_failed:
            Run.has_failed = True
            print(f"fuzz-peers: a run has failed, and is made shorter now:\n{why}", flush=True)
            print("its steps were", *self.steps, sep="\n  ", flush=True)
        raise AssertionError(why)

    async def rest(self) -> None:
        """Waits until nothing differs, as long as what differs becomes another."""
        patience, before = (PATIENCE / 4 if Run.has_failed else PATIENCE), None
        begun = changed = time.monotonic()
        while time.monotonic() < min(changed + patience, begun + LONGEST):
            wrong = await self.differs()
            if not wrong:
                return
            if wrong != before:
                before, changed = wrong, time.monotonic()
            await asyncio.sleep(0.02)
        self.failed(before or "nothing has been compared")

    def teardown(self) -> None:
        if not self.has_begun:
            return
        try:
            if sys.exc_info()[0] is None:
                self.rests()
        finally:
            self.do(self.end())
            self.do(self.proxy.close())
            self.loop.close()
            self.folder.cleanup()


async def program_tree(address: str) -> dict[str, str]:
    done = await asyncio.create_subprocess_exec(
        PROGRAM, "tree", "--form", "text", "--socket", address, stdout=subprocess.PIPE, stderr=subprocess.PIPE
    )
    told, error = await done.communicate()
    return canonical(printed(told.decode())) if done.returncode == 0 else {"loamtunnel tree": error.decode()}


def command(path: str, described: schema.Type, child: int, attribute: int, number: int, lot: int) -> list[str]:
    """What `loamtunnel` is told to write."""
    probe = new(described, path)
    write(probe, COMMAND, child, attribute, number, lot or 1)
    for place, value in ours(path, probe).items():
        if place.endswith("]") and not value.startswith("a "):
            return ["set", place, value] if lot else ["del", place]
    return next((["set", place] for place in ours(path, probe) if place.endswith("]")), [])


class ProgramServes(Run):
    """`near` is this package beyond the proxy; `far` writes in the program's process, on a connection without faults."""

    def __init__(self) -> None:
        super().__init__()
        self.process: Process | None = None

    @stateful.initialize(kinds=KINDS)
    def begin(self, kinds: list[int]) -> None:
        self.choose(kinds)
        # Of two types of one short name the program means the model's own.
        made = [f"{path}={each.name}" for path, each in self.roots.items()]
        self.process = Process(self.direct, ["serve", "--writable", *made])
        self.near, self.far = Side(self.proxied, self.roots, "near"), Side(self.direct, self.roots, "far")
        self.has_begun = True

        async def start() -> None:
            self.proxy.start()
            await self.far.connect()
            await self.near.connect()

        self.do(start())

    @rule(
        side=given.sampled_from((NEAR, FAR)),
        root=given.integers(0, 2),
        child=given.integers(0, 4 * KEYS - 1),
        attribute=given.integers(0, 2),
        number=given.integers(0, KEYS - 1),
        lot=given.integers(0, 3),
    )
    def writes(self, side: int, root: int, child: int, attribute: int, number: int, lot: int) -> None:
        entity = (self.near, self.far)[side].writable(self.paths[root % len(self.paths)])
        if entity is not None:
            write(entity, side, child, attribute, number, lot)
            self.pass_time()

    @rule(side=given.sampled_from((NEAR, FAR)), root=given.integers(0, 2), child=given.integers(0, KEYS - 1))
    def deletes_a_child(self, side: int, root: int, child: int) -> None:
        entity = (self.near, self.far)[side].writable(self.paths[root % len(self.paths)])
        if entity is not None:
            drop(entity, side, child)
            self.pass_time()

    @rule(side=given.sampled_from((NEAR, FAR)), count=given.integers(1, 4000), lot=given.integers(0, 3))
    def writes_much(self, side: int, count: int, lot: int) -> None:
        """More than the buffers on the way hold."""
        lifs = (self.near, self.far)[side].writable(self.paths[0])
        if lifs is None:
            return
        key = drawn_keys(lifs._schema.attributes["appConfig"], side, 0)
        counts = lifs.appConfig.add(key).reqCount
        for i in range(count):
            counts[LIF(4, i, side + 1)] = lot or None
        self.pass_time()

    @rule(
        root=given.integers(0, 2),
        child=given.integers(0, 4 * KEYS - 1),
        attribute=given.integers(0, 2),
        number=given.integers(0, KEYS - 1),
        lot=given.integers(0, 3),
    )
    def is_told_by_a_command(self, root: int, child: int, attribute: int, number: int, lot: int) -> None:
        """`loamtunnel set` and `del`."""
        path = self.paths[root % len(self.paths)]
        if told := command(path, self.roots[path], child, attribute, number, lot):
            done = subprocess.run([PROGRAM, *told, "--socket", self.direct], capture_output=True, text=True)
            if done.returncode == 2:
                self.failed(f"loamtunnel {' '.join(told)}: {done.stderr}")

    @rule(root=given.integers(0, 2), child=given.integers(0, KEYS - 1), lot=given.integers(1, 3))
    def both_make_a_child(self, root: int, child: int, lot: int) -> None:
        """Before either side has heard of the other one's."""
        path = self.paths[root % len(self.paths)]
        near, far = self.near.writable(path), self.far.writable(path)
        if near is None or far is None or not any(each.role == "children" for each in near._schema.attributes.values()):
            return
        self.proxy.stall_after(TO_SERVER, 0)
        self.proxy.stall_after(TO_CLIENT, 0)
        for side, entity in ((NEAR, near), (FAR, far)):
            write(entity, side, EVERYBODY * KEYS + child, 0, 0, lot)
        self.do(asyncio.sleep(0.003))
        self.proxy.heal()
        self.pass_time()

    @rule(side=given.sampled_from((NEAR, FAR)), count=given.integers(1, 3))
    def fences(self, side: int, count: int) -> None:
        """They are answered, or their connection ends."""

        async def ask() -> None:
            for _ in range(count):
                (self.near, self.far)[side].fence()
            await asyncio.sleep(0)

        self.do(ask())

    @rule()
    def kills_the_program(self) -> None:
        assert self.process is not None
        self.process.kill()
        self.process.start()
        self.do(self.far.connect())

    @rule()
    def kills_the_near_side(self) -> None:
        self.near.forget()

    @rule()
    def connects_again(self) -> None:
        async def again() -> None:
            with contextlib.suppress(TimeoutError):
                async with asyncio.timeout(0.2):
                    await self.near.connect()

        self.do(again())

    @rule(root=given.integers(0, 2))
    def wants_again(self, root: int) -> None:
        async def again() -> None:
            self.near.again(self.paths[root % len(self.paths)])
            await asyncio.sleep(0.003)

        self.do(again())

    @rule(root=given.integers(0, 2), count=given.integers(60, 700), lot=given.integers(0, 3))
    def writes_while_the_state_comes(self, root: int, count: int, lot: int) -> None:
        """The announcement has come, of the state a part has, and all that the near side has written is written anew."""
        self.proxy.heal()
        self.connects_again()
        self.proxy.stall_after(TO_CLIENT, count)
        self.wants_again(root)
        entity = self.near.writable(self.paths[root % len(self.paths)])
        if entity is not None:
            for child in range(4 * KEYS if any(entity.children) else 1):
                for number in range(KEYS):
                    write(entity, NEAR, child, 0, number, lot)
            self.pass_time()

    @rule(lot=given.integers(0, 5))
    def is_of_a_newer_schema(self, lot: int) -> None:
        lifs = self.near.writable(self.paths[0])
        if lifs is not None and (said := newer_record(self.near.peer.session, lifs, lot)):
            self.near.peer.session.put(said)
            self.pass_time()

    async def differs(self) -> str:
        assert self.process is not None
        if not self.process.is_alive:
            self.failed(self.process.fault())
        try:
            async with asyncio.timeout(PATIENCE):
                await self.far.settled()
                await self.near.settled()
                if waits := await self.far.waits():
                    return f"{waits} changes wait"
        except (loamtunnel.ConnectionEnded, TimeoutError) as fault:
            return f"there is no connection: {fault!r}"
        theirs = await program_tree(self.direct)
        for side in (self.near, self.far):
            mine: dict[str, str] = {}
            for path, copy in side.copies.items():
                mine |= ours(path, copy)
            if differs := different(mine, theirs):
                return f"{side._name} | loamtunnel tree\n{differs}"
        return ""

    async def end(self) -> None:
        for side in (self.near, self.far):
            side.abandon()
        await asyncio.sleep(0)
        assert self.process is not None
        self.process.kill()


class Monitor:
    """`loamtunnel monitor`, and the state that its lines make."""

    def __init__(self) -> None:
        self.state: dict[str, str] = {}
        self._process: asyncio.subprocess.Process | None = None
        self._reading: asyncio.Task | None = None

    async def start(self, address: str) -> None:
        self.state = {}
        self._process = await asyncio.create_subprocess_exec(
            *(PROGRAM, "monitor", "--form", "text", "--buffer", "10000000", "--socket", address),
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
            limit=1 << 24,
        )
        self._reading = asyncio.get_running_loop().create_task(self._read())

    async def _read(self) -> None:
        above: list[str] = []
        assert self._process is not None and self._process.stdout is not None
        while line := (await self._process.stdout.readline()).decode().rstrip("\n"):
            if line.startswith("-- "):
                continue
            stamp, _, rest = line.partition(" ")
            if not re.fullmatch(r"\d{4}-\d\d-\d\dT[\d:.]+", stamp):
                path, value = printed_line(line, above)
                self.state[path] = value
                continue
            if rest.endswith(" deleted"):
                path = rest.removesuffix(" deleted")
                gone = self.state.pop(path, "")
                if gone.startswith(("a ", f"'{path.partition('.')[0]}/")):  # a child
                    self.state = {each: value for each, value in self.state.items() if not each.startswith(path + ".")}
                continue
            path, mark, value = rest.rpartition("] = ") if "] = " in rest else rest.partition(" = ")
            self.state[path + mark.rstrip(" =")] = value

    @property
    def is_alive(self) -> bool:
        return self._process is not None and self._process.returncode is None

    async def kill(self) -> None:
        if self._process is not None:
            with contextlib.suppress(ProcessLookupError):
                self._process.kill()
            await self._process.wait()
        if self._reading is not None:
            self._reading.cancel()
            await asyncio.gather(self._reading, return_exceptions=True)


class PythonServes(Run):
    """This package serves; `loamtunnel monitor` has a copy beyond the proxy, and `set` and `del` write."""

    def __init__(self) -> None:
        super().__init__()
        self.monitor = Monitor()
        self.server: loamtunnel.Server | None = None
        self.asked: list[asyncio.Future] = []

    @stateful.initialize(kinds=KINDS)
    def begin(self, kinds: list[int]) -> None:
        self.choose(kinds)
        self.entities = {path: new(each, path) for path, each in self.roots.items()}
        self.has_begun = True

        async def start() -> None:
            await self.serve()
            self.proxy.start()
            await self.monitor.start(self.proxied)

        self.do(start())

    async def serve(self) -> None:
        service = loamtunnel.Service("python")
        for path, entity in self.entities.items():
            service.offer(path, entity, writable=True)
        with contextlib.suppress(FileNotFoundError):
            os.unlink(self.direct)
        self.server = await loamtunnel.serve(self.direct, service).start()

    @rule(
        root=given.integers(0, 2),
        child=given.integers(0, 4 * KEYS - 1),
        attribute=given.integers(0, 2),
        number=given.integers(0, KEYS - 1),
        lot=given.integers(0, 3),
    )
    def writes(self, root: int, child: int, attribute: int, number: int, lot: int) -> None:
        write(self.entities[self.paths[root % len(self.paths)]], NEAR, child, attribute, number, lot)
        self.pass_time()

    @rule(root=given.integers(0, 2), child=given.integers(0, KEYS - 1))
    def deletes_a_child(self, root: int, child: int) -> None:
        drop(self.entities[self.paths[root % len(self.paths)]], NEAR, child)
        self.pass_time()

    @rule(count=given.integers(1, 4000), lot=given.integers(0, 3))
    def writes_much(self, count: int, lot: int) -> None:
        lifs = self.entities[self.paths[0]]
        counts = lifs.appConfig.add(drawn_keys(lifs._schema.attributes["appConfig"], NEAR, 0)).reqCount
        for i in range(count):
            counts[LIF(4, i, 1)] = lot or None
        self.pass_time()

    @rule(
        root=given.integers(0, 2),
        child=given.integers(0, 4 * KEYS - 1),
        attribute=given.integers(0, 2),
        number=given.integers(0, KEYS - 1),
        lot=given.integers(0, 3),
        count=given.integers(0, 700),
        pause=given.integers(0, 30),
    )
    def meets_a_command(self, root, child, attribute, number, lot, count, pause) -> None:
        """`loamtunnel set` or `del`, while bytes to it are held up and the same entity is written here."""
        path = self.paths[root % len(self.paths)]
        told = command(path, self.roots[path], child, attribute, number, lot)
        if not told:
            return

        async def both() -> None:
            self.proxy.heal()
            self.proxy.stall_after(TO_CLIENT, count)
            done = await asyncio.create_subprocess_exec(
                *(PROGRAM, *told, "--socket", self.proxied), stdout=subprocess.DEVNULL, stderr=subprocess.PIPE
            )
            await asyncio.sleep(pause / 1000)
            write(self.entities[path], NEAR, child, attribute, number, lot or 1)
            await asyncio.sleep(0.002)
            self.proxy.heal()
            _, error = await done.communicate()
            if done.returncode == 2:
                self.failed(f"loamtunnel {' '.join(told)}: {error.decode()}")

        self.do(both())

    @rule(count=given.integers(1, 3))
    def fences(self, count: int) -> None:
        """Of the monitor: they are answered, or its connection ends."""

        async def ask() -> None:
            for peer in tuple(self.server.peers):
                if peer.session.is_open and not peer.is_closed:
                    self.asked += [asyncio.ensure_future(peer.fence()) for _ in range(count)]
            await asyncio.sleep(0)

        self.do(ask())

    @rule(lot=given.integers(0, 5))
    def is_of_a_newer_schema(self, lot: int) -> None:
        for peer in tuple(self.server.peers):
            if said := newer_record(peer.session, self.entities[self.paths[0]], lot):
                peer.session.put(said)
        self.pass_time()

    @rule()
    def kills_the_monitor(self) -> None:
        async def anew() -> None:
            await self.monitor.kill()
            await self.monitor.start(self.proxied)

        self.do(anew())

    @rule(forgets=given.booleans())
    def kills_this_side(self, forgets: bool) -> None:
        """All connections are gone without a word; what is served then is the same, or new."""

        async def anew() -> None:
            await self.stop()
            if forgets:
                self.entities = {path: new(each, path) for path, each in self.roots.items()}
            await self.serve()

        self.do(anew())

    async def stop(self) -> None:
        assert self.server is not None and self.server._server is not None
        self.server._server.close()
        for peer in tuple(self.server.peers):
            if peer._link.transport is not None:
                peer._link.transport.abort()
        await asyncio.sleep(0)

    async def differs(self) -> str:
        if not self.monitor.is_alive:
            self.failed("loamtunnel monitor has ended")
        for each in await asyncio.gather(*self.asked, return_exceptions=True) if await self.heard() else ["no answer"]:
            if each != "applied" and not isinstance(each, loamtunnel.ConnectionEnded):
                return f"a fence of the monitor: {each!r}"
        self.asked.clear()
        mine: dict[str, str] = {}
        for path, entity in self.entities.items():
            mine |= ours(path, entity)
        # The monitor does not tell what an entity has been made from, and tells of a child that it is there.
        fixed = made_from(mine, self.entities)
        changing = {path: value for path, value in mine.items() if path not in fixed}
        told = canonical(self.monitor.state, {path: each._schema for path, each in self.entities.items()})
        told = {path: value for path, value in told.items() if path not in fixed}
        told |= {path: changing[path] for path in told if changing.get(path, "").startswith("a ")}
        if wrong := different(changing, told):
            return f"python | loamtunnel monitor\n{wrong}"
        wrong = different(mine, await program_tree(self.direct))
        return wrong and f"python | loamtunnel tree\n{wrong}"

    async def heard(self) -> bool:
        return not self.asked or not (await asyncio.wait(self.asked, timeout=PATIENCE))[1]

    async def end(self) -> None:
        await self.monitor.kill()
        await self.stop()
        await asyncio.gather(*self.asked, return_exceptions=True)


def made_from(paths: dict[str, str], roots: dict[str, Entity]) -> set[str]:
    """The paths of what entities are made from."""
    below = [*roots.values()]
    for each in below:
        below += each.children
    return {f"{each.path}.{each._schema.argument}" for each in below if each._schema.argument} & paths.keys()


def main() -> int:
    global PROGRAM
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program")
    parser.add_argument("--runs", type=int, default=100)
    parser.add_argument("--seed", type=int, default=None)
    parser.add_argument("--steps", type=int, default=40, help="at most, of a run")
    options = parser.parse_args()
    PROGRAM = options.program
    first = options.seed if options.seed is not None else random.SystemRandom().randrange(1 << 32)
    share, begun = 200, time.monotonic()  # so that a seed brings back a failure soon
    for place in range(0, options.runs, share):
        of = first + place // share
        kind = (ProgramServes, PythonServes)[of % 2]
        print(
            f"fuzz-peers: seed {of}, {kind.__name__}: runs {place + 1} to {min(place + share, options.runs)}",
            flush=True,
        )
        try:
            stateful.run_state_machine_as_test(
                seed(of)(kind),
                settings=settings(
                    max_examples=min(share, options.runs - place),
                    stateful_step_count=options.steps,
                    deadline=None,
                    database=None,
                    phases=(Phase.generate, Phase.shrink),
                    suppress_health_check=list(HealthCheck),
                    verbosity=Verbosity.normal,
                ),
            )
        except Exception:
            print(f"fuzz-peers: a difference; again: --runs {share} --seed {of}", flush=True)
            raise
    print("fuzz-peers: steps:", ", ".join(f"{name} {count}" for name, count in fired.most_common()))
    print(f"fuzz-peers: {options.runs} runs without a difference in {time.monotonic() - begun:.0f} s")
    return 0


if __name__ == "__main__":
    sys.exit(main())
