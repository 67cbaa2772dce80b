"""Fences, requests behind changes, and the place of one that pushes: sessions joined by pipes, and peers on sockets."""

import asyncio
import random

import pytest
from conftest import Pipe, lif
from loamtunnel import ConnectionEnded, FenceFailed, FenceGone, LoamError, Refused, Service, connect, serve
from loamtunnel import session as session_module
from loamtunnel.fences import APPLIED, DONE, FAILED, GONE, Fenced
from loamtunnel.records import RecordReader, number, record, string
from loamtunnel.session import MAGIC, ROOM, Session
from loamtunnel.types import LifAppConfig, LifAppConfigDir, VtAppId

MPLS, VXLAN = VtAppId.vtAppMpls, VtAppId.vtAppVxlan


def shared(count: int = 0, hook=None, run: bool = True) -> tuple[Pipe, LifAppConfigDir, LifAppConfigDir]:
    """A pipe over which `ours` has a writable copy of a tree of `theirs`."""
    service, lifs, copy = Service("driver"), LifAppConfigDir("lif"), LifAppConfigDir("lif")
    service.offer("lif", lifs, writable=True)
    service.answer_fences(hook)
    app = lifs.appConfig.add(MPLS)
    for i in range(count):
        app.reqCount[lif(i)] = 1
    pipe = Pipe(theirs=service)
    pipe.ours.want("lif", copy, lambda error: None)
    return pipe.run() if run else pipe, lifs, copy


def attributes(data: bytes) -> list[int]:
    reader = RecordReader()
    reader.feed(data)
    return [each[2] for each in reader]


@pytest.mark.parametrize("seed", range(20))
def test_a_fence_is_behind_each_change_before_it_and_none_waits_for_ever(seed):
    """Both sides write over a stream that is cut anywhere and often full, and fence: what was set before, or a newer value, is
    there, and both end equal."""
    chance = random.Random(seed)
    pipe, lifs, copy = shared()
    wires = {pipe.ours: (pipe.theirs, bytearray()), pipe.theirs: (pipe.ours, bytearray())}
    # Both make the last child.
    writes = {pipe.ours: [VtAppId(each) for each in (1, 2, 3, 8)], pipe.theirs: [VtAppId(each) for each in (4, 5, 6, 8)]}
    fenced = asked = value = 0

    def fence(session: Session, tree: LifAppConfigDir, there: LifAppConfigDir) -> None:
        nonlocal asked
        asked += 1
        own = [tree.appConfig[each] for each in writes[session] if each in tree.appConfig]
        before = [(app, dict(app.reqCount)) for app in own]

        def heard(result, error) -> None:
            nonlocal fenced
            fenced += 1
            assert error is None and result.outcome == APPLIED
            for app, counts in before:
                for key, least in counts.items():
                    assert tree.appConfig.get(app.app) is not app or there.appConfig[app.app].reqCount.get(key, 0) >= least

        session.fence("applied", False, heard)

    for _ in range(600):
        source = chance.choice((pipe.ours, pipe.theirs))
        target, wire = wires[source]
        source.has_room = chance.random() < 0.3
        tree, there = (copy, lifs) if source is pipe.ours else (lifs, copy)
        act = chance.random()
        if act < 0.05:
            tree.appConfig.pop(chance.choice(writes[source][:3]), None)
        elif act < 0.5:
            value += 1
            key = lif(chance.randint(0, 9) + (100 if tree is copy else 0))  # a writer a key
            tree.appConfig.add(chance.choice(writes[source])).reqCount[key] = value
        elif act < 0.6:
            fence(source, tree, there)
        elif act < 0.8:
            wire += source.take()
        else:
            size = chance.randint(0, len(wire))
            target.feed(bytes(wire[:size]))
            del wire[:size]
    for source, (target, wire) in wires.items():
        target.feed(bytes(wire))
    pipe.run()
    assert fenced == asked > 20 and copy.flat() == lifs.flat()


def test_a_fence_waits_for_passes_for_marks_and_for_what_is_kept_back():
    pipe, lifs, copy = shared(30_000)
    heard, seen = [], []
    assert len(copy.appConfig[MPLS].reqCount) == 30_000
    # A pass that fills the stream several times, and a child that is told of by a mark.
    second = Pipe(theirs=pipe.theirs.service)
    other = LifAppConfigDir("lif")
    second.ours.want("lif", other, lambda error: None)
    second.ours.feed(second.theirs.take())
    second.theirs.feed(second.ours.take())
    lifs.appConfig[MPLS].reqCount[lif(0)] = 2
    second.theirs.fence("applied", False, lambda result, error: seen.append(len(other.appConfig[MPLS].reqCount)))
    first = second.theirs.take()
    assert 168 not in attributes(first) and len(first) < 2 * ROOM
    second.ours.feed(first)
    # The copy's own change is kept back until the state has come, and a fence with it.
    other.appConfig[MPLS].reqCount[lif(40_000)] = 7
    second.ours.fence("applied", False, lambda result, error: heard.append(lifs.appConfig[MPLS].reqCount[lif(40_000)]))
    assert 168 not in attributes(second.ours.take())
    second.run()
    assert seen == [30_001] and heard == [7]


def test_a_fence_goes_when_what_was_kept_back_has_lost_against_the_peer_s_state():
    pipe, lifs, copy = shared(30_000, run=False)
    for _ in range(2):
        pipe.theirs.feed(pipe.ours.take())
        pipe.ours.feed(pipe.theirs.take())
    copy.appConfig[MPLS].reqCount[lif(29_999)] = 7
    woken, heard = [], []
    pipe.ours.fence("applied", False, lambda result, error: heard.append(result))
    pipe.ours.wake = lambda: woken.append(1)
    while data := pipe.theirs.take():
        assert not woken
        pipe.ours.feed(data)
    assert woken and copy.appConfig[MPLS].reqCount[lif(29_999)] == 1
    pipe.run()
    assert heard == [Fenced(APPLIED)]


def test_a_writer_that_never_rests_holds_no_fence_up(monkeypatch):
    """The stream takes a few records at a time, the same keys are written again and again, and more new ones come than go."""
    monkeypatch.setattr(session_module, "ROOM", 200)
    pipe, lifs, copy = shared()
    busy, other = lifs.appConfig[MPLS].reqCount, lifs.appConfig.add(VXLAN).reqCount
    pipe.run()
    pipe.theirs.has_room = False
    for i in range(30):
        busy[lif(i)] = 1
    other[lif(0)] = 1
    heard = []
    there = copy.appConfig
    pipe.theirs.fence(
        "applied", False, lambda result, error: heard.append((len(there[MPLS].reqCount), len(there[VXLAN].reqCount)))
    )
    for turn in range(20):
        pipe.theirs.has_room = False
        for i in range(30):
            busy[lif(i)] = turn + 2
            busy[lif(1000 + 30 * turn + i)] = 1
        pipe.ours.feed(pipe.theirs.take())
        pipe.theirs.feed(pipe.ours.take())
    assert heard and heard[0][0] >= 30 and heard[0][1] == 1 and len(busy) > len(there[MPLS].reqCount)


def test_done_is_said_by_the_process_and_comes_behind_what_it_has_changed():
    waiting, seen = [], []

    def hook(peer, fence):
        waiting.append(fence)

    pipe, lifs, copy = shared(hook=hook)
    for _ in range(4):
        pipe.ours.fence("done", False, lambda result, error: seen.append((result, len(lifs.appConfig[MPLS].reqCount))))
    pipe.ours.fence("applied", False, lambda result, error: seen.append((result, 0)))
    pipe.run()
    assert [each.level for each in waiting] == 4 * ["done"] + ["applied"] and seen == [(Fenced(APPLIED), 0)]
    pipe.theirs.has_room = False
    for i in range(3):
        lifs.appConfig[MPLS].reqCount[lif(i)] = 1
    waiting[2].done()  # in any order, and what is said first holds
    waiting[2].failed("no")
    assert 169 not in attributes(b"".join(pipe.theirs._out))
    pipe.run()
    assert seen[1:] == [(Fenced(DONE), 3)] and len(copy.appConfig[MPLS].reqCount) == 3
    waiting[0].failed("bank 1 is full")
    waiting[1] = waiting[3] = None  # unsaid
    pipe.run()
    assert [each[0].why for each in seen[2:]] == ["bank 1 is full", *2 * ["driver has dropped the fence"]]
    pipe.theirs.service.answer_fences(lambda peer, fence: 1 / 0)
    for level in ("done", "applied"):
        pipe.ours.fence(level, False, lambda result, error: seen.append((result, 0)))
        pipe.run()
    assert [each[0] for each in seen[-2:]] == [Fenced(FAILED, why="division by zero"), Fenced(APPLIED)]
    pipe.ours.fence("done", False, lambda result, error: seen.append((result, 0)))
    pipe.theirs.service.answer_fences(None)
    pipe.run()
    assert seen[-1][0] == Fenced(FAILED, why="driver does not say when it is done")


def test_a_peer_of_protocol_2_hears_of_no_fence():
    heard = []
    session = Session(Service("new"), True)
    session.fence("applied", False, lambda result, error: heard.append(error))  # before the peer is known
    session.request("echo", "", lambda answer, error: None)
    older = Session(Service("old"), False)
    older.token = b""
    greeting = older.take()
    session.feed(MAGIC + b"\0\2\0\2" + greeting[12:])
    words = "old speaks protocol 2, which has no fences"
    assert isinstance(heard[0], FenceFailed) and str(heard[0]) == words
    with pytest.raises(FenceFailed, match=words):
        session.fence("done", True, heard.append)
    assert set(attributes(session.take()[12:])) == {160, 163, 166}


def test_at_most_1024_wait_and_one_that_is_forgotten_leaves_nothing():
    pipe, lifs, copy = shared()
    pipe.ours.has_room = False
    copy.appConfig[MPLS].reqCount[lif(1)] = 1
    asked = [pipe.ours.fence("applied", False, lambda result, error: None) for _ in range(1024)]
    with pytest.raises(LoamError, match="1024 fences are unanswered, which is the most"):
        pipe.ours.fence("applied", False, lambda result, error: None)
    for each in asked:
        pipe.ours.forget_fence(each)
    assert not pipe.ours._behind and not pipe.ours._fences._asked
    assert 168 not in attributes(pipe.ours.take())
    sent = pipe.ours.fence("applied", False, lambda result, error: pytest.fail("it was forgotten"))
    pipe.ours.forget_fence(sent)  # it is on its way
    pipe.run()
    assert not pipe.ours.ended and not pipe.ours._fences._asked
    with pytest.raises(ValueError, match="'sent' is no level"):
        pipe.ours.fence("sent", False, lambda result, error: None)
    waiting = []
    pipe.theirs.service.answer_fences(lambda peer, fence: waiting.append(fence))
    pipe.theirs.feed(b"".join(record(1, 168, number(i) + number(1) + number(1)) for i in range(5, 1030)))
    assert pipe.theirs.ended and "more than 1024 fences" in pipe.theirs.reason


def test_a_relay_counts_as_far_as_a_number_goes():
    """What a peer behind it says must not damage the answer to the one before it."""
    service, end, heard = Service("relay"), Service("end"), []
    service.offer("lif", LifAppConfigDir("lif"))
    asking, behind = Pipe(theirs=service).run(), Pipe(end, service).run()
    behind.ours.want("lif", None, lambda error: None)
    behind.run()
    asking.ours.fence("applied", True, lambda result, error: heard.append(result))
    asking.run()
    behind.theirs.take()
    most = number(2**64 - 1)
    behind.theirs.feed(record(1, 169, number(1) + number(APPLIED) + most + most + string("")))
    asking.run()
    assert heard == [Fenced(APPLIED, 2**64 - 1, 2**64 - 1)] and not asking.ours.ended
    with pytest.raises(FenceGone, match="right has gone: power is off"):
        Fenced(GONE, 3, 1, "right has gone: power is off").reached("applied", "relay")


def test_a_reason_is_cut_between_two_letters_and_is_always_text():
    heard = []
    reasons = ["ä" * 300, "x" + "\U0001f600" * 200, "\ud800?", "\udcff" * 600]
    pipe, _, _ = shared(hook=lambda peer, fence: fence.failed(reasons[len(heard)]))
    for _ in reasons:
        pipe.ours.fence("done", False, lambda result, error: heard.append(result.why))
        pipe.run()
    assert heard == ["ä" * 250, "x" + "\U0001f600" * 124, "??", "\udcff" * 500]


def test_requests_stand_behind_changes_unless_they_overtake():
    pipe, lifs, copy = shared()
    heard = []
    pipe.theirs.service.answer("count", lambda peer, argument: str(len(lifs.appConfig[MPLS].reqCount)))
    pipe.ours.has_room = False
    for i in range(10_000):
        copy.appConfig[MPLS].reqCount[lif(i)] = 1
    pipe.ours.request("count", "", lambda answer, error: heard.append(answer))
    pipe.ours.request("count", "", lambda answer, error: heard.append(answer), overtakes=True)
    pipe.ours.request("stats", "", lambda answer, error: heard.append("stats"))
    pipe.run()
    assert heard == ["0", "stats", "10000"]


def test_one_pushes_into_a_place_at_a_time(monkeypatch):
    service, taken = Service("driver"), LifAppConfigDir("configs")
    service.accept("one", lambda peer, made: taken.appConfig.add(made.app))
    service.accept("many", lambda peer, made: taken.appConfig.add(made.app), many=True)
    told = []

    def pushing(name: str, token: bytes, path: str = "one", takes_over: bool = False) -> tuple[Pipe, LifAppConfig]:
        monkeypatch.setattr(Session, "token", token)
        pipe, app = Pipe(Service(name), service), LifAppConfig(MPLS)
        app.reqCount[lif(ord(name))] = 1

        def tell(error: Exception | None, *what: str) -> None:
            told.append((name, *what, error and str(error)))

        pipe.ours.push(path, app, False, tell, takes_over, lambda error: tell(error, "lost"))
        return pipe.run(), app

    mine, theirs = b"m" * 16, b"t" * 16
    a, app = pushing("a", mine)
    a.theirs.detail = "process 4711"
    pushing("b", theirs)
    assert told[0] == ("a", None)
    since = told[1][1].split("since ")[1][:8]
    assert told[1] == (
        "b",
        f'vtAppMpls is pushed already, by "a" (process 4711, since {since}); --takeover takes its place',
    )
    c, _ = pushing("c", mine)  # the same process, whose first connection is not known to be dead
    a.run()
    assert told[2:] == [("c", None), ("a", "lost", "its process has connected anew")]
    assert not a.ours.mounts and not a.ours.pushes and not a.theirs.mounts and not a.ours.ended
    assert list(taken.appConfig[MPLS].reqCount) == [lif(ord("c"))]
    app.reqCount[lif(1)] = 1  # nobody's any more
    a.run()
    d, _ = pushing("d", theirs, takes_over=True)
    c.run()
    assert told[4:] == [("d", None), ("c", "lost", '"d" has taken its place')]
    pushing("e", mine, "many")
    d.ours.close("done")
    d.run()
    f, _ = pushing("f", bytes(16))
    pushing("g", bytes(16))  # 0 is nobody's token
    assert [each[:2] for each in told[6:8]] == [("e", None), ("f", None)] and "pushed already" in told[8][1]
    f.ours.close("done")
    f.run()
    assert not service.holders


async def test_fences_of_peers(address):
    service, lifs = Service("driver"), LifAppConfigDir("lif")
    service.offer("lif", lifs, writable=True)
    ready = asyncio.Event()

    async def hook(peer, fence):
        if fence.level == "done":
            await ready.wait()
            if not lifs.appConfig:
                raise ValueError("there is nothing")

    service.answer_fences(hook)
    async with serve(address, service), connect(address) as peer, connect(address, reconnect=True) as lasting:
        copy = await peer.want("lif")
        assert await peer.fence() == await lasting.fence() == "applied"
        fence = asyncio.create_task(peer.fence("done"))
        with pytest.raises(TimeoutError):
            await asyncio.wait_for(peer.fence("done"), 0.05)
        ready.set()
        with pytest.raises(FenceFailed, match="there is nothing"):
            await fence
        copy.appConfig.add(MPLS)
        assert await peer.fence("done") == "done"
        with pytest.raises(FenceFailed, match="python does not say when it is done"):
            await lasting.want("lif")
            await peer.fence("done", all=True)  # the other client is asked, too
        ready.clear()
        fence = asyncio.create_task(peer.fence("done"))
        await peer.fence()
        await peer.close()
        with pytest.raises(ConnectionEnded):
            await fence
        with pytest.raises(ConnectionEnded):
            await peer.fence()


async def test_a_lasting_peer_does_not_push_again_what_it_has_lost(address, monkeypatch):
    service, taken = Service("driver"), LifAppConfigDir("configs")
    service.accept("ask", lambda peer, made: taken.appConfig.add(made.app))
    async with serve(address, service) as server:
        lost = asyncio.get_running_loop().create_future()
        async with connect(address, "first", reconnect=True) as first:
            await first.push("ask", LifAppConfig(MPLS), lost=lost.set_result)
            monkeypatch.setattr(Session, "token", b"another process!")
            async with connect(address, "second") as second:
                with pytest.raises(Refused, match=r'by "first" \(process \d+, since'):
                    await second.push("ask", LifAppConfig(MPLS))
                await second.push("ask", LifAppConfig(MPLS), takeover=True)
                assert str(await asyncio.wait_for(lost, 5)) == '"second" has taken its place'
                for each in tuple(server.peers):
                    if each.name == "first":
                        await each.close("maintenance")
                await first.until(lambda: first.connections == 2, timeout=5)
                assert await first.fence() == "applied" and not first._pushed
