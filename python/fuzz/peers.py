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

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent), str(HERE.parent / "tests")]

from hypothesis import HealthCheck, Phase, Verbosity, seed, settings  # noqa: E402
from hypothesis import strategies as given  # noqa: E402
from hypothesis import stateful  # noqa: E402
from proxy import TO_CLIENT, TO_SERVER, Proxy  # noqa: E402
from shown import canonical, different, ours, printed, printed_line  # noqa: E402
from side import COMMAND, EVERYBODY, FAR, HOME, KEYS, NEAR, NEW, NEW_APP, SERVED, Side, drop, new, write, write_much  # noqa: E402

import loamtunnel  # noqa: E402
from loamtunnel import plain, records, schema, text  # noqa: E402
from loamtunnel.tree import Entity  # noqa: E402

PROGRAM = ""
PATIENCE = 20.0  # seconds within which something must change on the way to equality, also on a machine that is busy
NOT_THERE, NOT_DELIVERED = 4, 6  # statuses of the program
LONGEST = 120.0  # seconds within which all must be equal
KINDS = given.lists(given.integers(0, len(SERVED) - 1), max_size=2, unique=True)  # beside that one
WRITE = {  # what a write is drawn from
    "root": given.integers(0, 2),
    "child": given.integers(0, 4 * KEYS - 1),
    "attribute": given.integers(0, 2),
    "number": given.integers(0, KEYS - 1),
    "lot": given.integers(0, 3),
}
LIFS = next(i for i, each in enumerate(SERVED) if each.short == "LifAppConfigDir")


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

    async def told(self, told: list[str], address: str, *others: int) -> None:
        """A command must have done what it was told, but for others of its statuses that may be, and say what it has not done."""
        done = await asyncio.create_subprocess_exec(
            *(PROGRAM, *told, "--socket", address), stdout=subprocess.DEVNULL, stderr=subprocess.PIPE
        )
        _, error = await done.communicate()
        status = done.returncode
        if status not in (0, *others, *([NOT_THERE] if told[0] == "del" else [])) or bool(status) != bool(error):
            self.failed(f"loamtunnel {' '.join(told)}: status {status}: {error.decode()}")
        fired[f"{told[0]} with status {status}"] += 1

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
        PROGRAM, "tree", "--json", "--socket", address, stdout=subprocess.PIPE, stderr=subprocess.PIPE
    )
    told, error = await done.communicate()
    if done.returncode != 0:
        return {"loamtunnel tree": error.decode()}
    found = {}
    for each in json.loads(told):
        type_, value = each["type"], each["value"]
        found[each["path"]] = f"a {type_}" if value is None else text.text(plain.value(type_, value), type_)
    return canonical(found)


async def connected(address: str) -> list[str]:
    """The connections of the near side."""
    command = [PROGRAM, "stats", "--json", "--socket", address]
    done = await asyncio.create_subprocess_exec(*command, stdout=subprocess.PIPE)
    told, _ = await done.communicate()
    return [each["peer"] for each in json.loads(told) if each.get("peer") == "near"]


def commands(path: str, described: schema.Type, child: int, attribute: int, number: int, lot: int) -> list[list[str]]:
    """What `loamtunnel` is told to write: the child that it lies in, if it does, and then a value; or to delete."""
    probe = new(described, path)
    write(probe, COMMAND, child, attribute, number, lot or 1)
    members = {place: value for place, value in ours(path, probe).items() if place.endswith("]")}
    values = [["set", place, value] if lot else ["del", place] for place, value in members.items() if value[:2] != "a "]
    return [*(["set", place] for place, value in members.items() if value[:2] == "a " and (lot or not values)), *values]


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
        **WRITE,
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
        if lifs is not None:
            write_much(lifs, side, count, lot)
        self.pass_time()

    @rule(**WRITE)
    def is_told_by_a_command(self, root: int, child: int, attribute: int, number: int, lot: int) -> None:
        """`loamtunnel set` and `del`."""
        path = self.paths[root % len(self.paths)]
        for told in commands(path, self.roots[path], child, attribute, number, lot):
            self.do(self.told(told, self.direct))

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

    def differs(self, mine: dict[str, str], roots: dict[str, schema.Type], unsure: set[str] = frozenset()) -> str:
        """It does not tell what an entity has been made from, and tells of a child that it is there."""
        fixed = made_from(mine) | unsure
        changing = {path: value for path, value in mine.items() if path not in fixed}
        told = {path: value for path, value in canonical(self.state, roots).items() if path not in fixed}
        told |= {path: changing[path] for path in told if changing.get(path, "").startswith("a ")}
        wrong = different(changing, told)
        return wrong and f"python | loamtunnel monitor\n{wrong}"

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

    @rule(**WRITE)
    def writes(self, root: int, child: int, attribute: int, number: int, lot: int) -> None:
        write(self.entities[self.paths[root % len(self.paths)]], NEAR, child, attribute, number, lot)
        self.pass_time()

    @rule(root=given.integers(0, 2), child=given.integers(0, KEYS - 1))
    def deletes_a_child(self, root: int, child: int) -> None:
        drop(self.entities[self.paths[root % len(self.paths)]], NEAR, child)
        self.pass_time()

    @rule(count=given.integers(1, 4000), lot=given.integers(0, 3))
    def writes_much(self, count: int, lot: int) -> None:
        write_much(self.entities[self.paths[0]], NEAR, count, lot)
        self.pass_time()

    @rule(
        **WRITE,
        count=given.integers(0, 700),
        pause=given.integers(0, 30),
    )
    def meets_a_command(self, root, child, attribute, number, lot, count, pause) -> None:
        """`loamtunnel set` or `del`, while bytes to it are held up and the same entity is written here."""
        path = self.paths[root % len(self.paths)]
        told_all = commands(path, self.roots[path], child, attribute, number, lot)
        if not told_all:
            return
        for told in told_all[:-1]:  # the child, which is there when the value comes
            self.do(self.told(told, self.direct))
        told = told_all[-1]

        async def both() -> None:
            self.proxy.heal()
            self.proxy.stall_after(TO_CLIENT, count)
            done = asyncio.ensure_future(self.told(told, self.proxied, NOT_DELIVERED))
            await asyncio.sleep(pause / 1000)
            write(self.entities[path], NEAR, child, attribute, number, lot or 1)
            await asyncio.sleep(0.002)
            self.proxy.heal()
            await done

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
        if wrong := self.monitor.differs(mine, self.roots):
            return wrong
        wrong = different(mine, await program_tree(self.direct))
        return wrong and f"python | loamtunnel tree\n{wrong}"

    async def heard(self) -> bool:
        return not self.asked or not (await asyncio.wait(self.asked, timeout=PATIENCE))[1]

    async def end(self) -> None:
        await self.monitor.kill()
        await self.stop()
        await asyncio.gather(*self.asked, return_exceptions=True)


def made_from(tree: dict[str, str]) -> set[str]:
    """The paths of what entities are made from."""
    types = {path: schema.named(value[2:]) for path, value in tree.items() if value.startswith("a ")}
    return {f"{path}.{each.argument}" for path, each in types.items() if each.argument} & tree.keys()


class Child:
    """A process of this package, which is asked by lines: see side.py."""

    def __init__(self, *arguments: str) -> None:
        self._arguments = [sys.executable, str(HERE / "side.py"), *arguments]

    async def start(self) -> None:
        self._process = await asyncio.create_subprocess_exec(*self._arguments, stdin=-1, stdout=-1, limit=1 << 24)
        await self._answer()

    async def asked(self, do: str, **given_):
        self._process.stdin.write(json.dumps({"do": do, **given_}).encode() + b"\n")
        return await self._answer()

    async def _answer(self):
        line = await asyncio.wait_for(self._process.stdout.readline(), PATIENCE)
        if not line:
            raise AssertionError(f"the process of side.py has ended with {await self._process.wait()}")
        return json.loads(line)

    async def kill(self) -> None:
        with contextlib.suppress(ProcessLookupError):
            self._process.kill()
        await self._process.communicate()


def as_older(tree: dict[str, str]) -> tuple[dict[str, str], set[str]]:
    """What a process without the newer schema has of a tree, but for the paths where it may still have what was there before.

    An application that it does not know is a number where a child has it for a key; any other place of it is passed over.
    """
    weight, app = NEW
    found, unsure = {}, set()
    for path, value in tree.items():
        key, _, rest = path.partition(app)
        if f".{weight}[" in path:
            continue
        is_child = value.startswith("a ") or rest.startswith("].")
        if key != path and not is_child:
            unsure.add(path)
            continue
        path = path.replace(app, f"VtAppId({NEW_APP})")
        if app not in value:
            found[path] = value
        elif path.endswith(".app"):
            found[path] = value.replace(app, f"VtAppId({NEW_APP})")
        else:
            unsure.add(path)
    return found, unsure


class PythonApart(Run):
    """This package is a process of its own, which is killed; its schema may be a newer one. It serves, or the program does."""

    @stateful.initialize(kinds=KINDS, serves=given.booleans(), is_newer=given.booleans())
    def begin(self, kinds: list[int], serves: bool, is_newer: bool) -> None:
        self.choose(kinds)
        self.steps.append(f"begin(kinds={kinds}, serves={serves}, is_newer={is_newer})")
        self.serves, self.is_newer = serves, is_newer
        named = [f"{path}={each.name}" for path, each in self.roots.items()]
        address = self.direct if serves else self.proxied
        self.child = Child("serve" if serves else "connect", address, str(int(is_newer)), *named)
        self.monitor = Monitor()
        self.process = None if serves else Process(self.direct, ["serve", "--writable", *named])
        self.has_begun = True

        async def start() -> None:
            self.proxy.start()
            await self.child.start()
            if serves:
                await self.monitor.start(self.proxied)

        self.do(start())

    @rule(**WRITE)
    def writes(self, **given_: int) -> None:
        self.do(self.child.asked("writes", **given_))

    @rule(root=given.integers(0, 2), child=given.integers(0, KEYS - 1))
    def deletes_a_child(self, **given_: int) -> None:
        self.do(self.child.asked("deletes", **given_))

    @rule(count=given.integers(1, 4000), lot=given.integers(0, 3))
    def writes_much(self, **given_: int) -> None:
        self.do(self.child.asked("writes_much", **given_))

    @rule(child=given.integers(0, KEYS - 1), lot=given.integers(0, 3))
    def weighs(self, **given_: int) -> None:
        if self.is_newer:
            self.do(self.child.asked("weighs", **given_))

    @rule(**WRITE)
    def is_told_by_a_command(self, root: int, child: int, attribute: int, number: int, lot: int) -> None:
        path = self.paths[root % len(self.paths)]
        for told in commands(path, self.roots[path], child, attribute, number, lot):
            self.do(self.told(told, self.direct))

    @rule()
    def is_killed(self) -> None:
        async def anew() -> None:
            await self.child.kill()
            if not self.serves:  # it is the writer of its keys: nothing of its may come behind what the next one writes
                await self.proxy.drop()
                while await connected(self.direct):
                    await asyncio.sleep(0.01)
            await self.child.start()

        self.do(anew())

    @rule()
    def kills_the_program(self) -> None:
        async def anew() -> None:
            await self.monitor.kill()
            await self.monitor.start(self.proxied)

        if self.process is None:
            self.do(anew())
        else:
            self.process.kill()
            self.process.start()

    async def differs(self) -> str:
        if self.process is not None and not self.process.is_alive:
            self.failed(self.process.fault())
        mine = await self.child.asked("tree")
        if "" in mine:
            return f"there is no connection: {mine['']}"
        mine, unsure = as_older(mine)
        if self.serves and (wrong := self.monitor.differs(mine, self.roots, unsure)):
            return wrong
        theirs = await program_tree(self.direct)
        wrong = different(mine, {path: value for path, value in theirs.items() if path not in unsure})
        return wrong and f"python | loamtunnel tree\n{wrong}"

    async def end(self) -> None:
        await self.child.kill()
        await self.monitor.kill()
        if self.process is not None:
            self.process.kill()


KINDS_OF_RUNS = (ProgramServes, PythonServes, PythonApart)


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
        kind = KINDS_OF_RUNS[of % len(KINDS_OF_RUNS)]
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
