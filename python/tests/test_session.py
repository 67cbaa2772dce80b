"""Two sessions, or one and bytes that were made up: what is shared, what is refused, and what ends a connection."""

import json
import struct

import pytest
from conftest import Pipe, lif
from loamtunnel import Limits, ReadOnly, Refused, RequestFailed
from loamtunnel.records import number, record, section, string
from loamtunnel.service import Service
from loamtunnel.session import Session
from loamtunnel.tree import Watch
from loamtunnel.types import (
    AradLifEntry,
    FapTypeProperties,
    LifAppConfig,
    LifAppConfigDir,
    LifAppStatusDir,
    OutAcConfig,
    OutAcKey,
    TagPopPushStatus,
    VtAppId,
)
from loamtunnel.types import FapTypeProperties_AradProperties as AradProperties
from loamtunnel.wire import to_wire

MPLS, VXLAN = VtAppId.vtAppMpls, VtAppId.vtAppVxlan


def offering(path, entity, writable=False) -> Service:
    made = Service("driver")
    made.offer(path, entity, writable)
    return made


def state(entity) -> dict:
    """All of an entity and what is below it, to be compared."""
    found = dict(entity._scalars)
    for name, each in entity._maps.items():
        found[name] = {k: state(v) if hasattr(v, "_maps") else v for k, v in each.items()}
    return found


def wanted(pipe: Pipe, path: str, entity=None):
    heard = []
    wish = pipe.ours.want(path, entity, heard.append)
    pipe.run()
    if heard[0] is not None:
        raise heard[0]
    return wish.entity


def test_a_wanted_tree_comes_whole_and_stays_equal():
    lifs = LifAppConfigDir("lif")
    lifs.appConfig.add(MPLS).reqCount[lif(1)] = 0
    pipe = Pipe(theirs=offering("lif", lifs), piece=7)
    copy = wanted(pipe, "lif")
    assert copy.path == "lif" and copy.appConfig[MPLS].reqCount.get(lif(1)) == 0
    heard = []
    watch = copy.watch(lambda change: heard.append((change.path.split(".")[-1].split("[")[0], change.value)))
    lifs.appConfig[MPLS].reqCount[lif(1)] = 0  # no change, nothing is told
    lifs.appConfig[MPLS].reqCount[lif(2)] = 5
    del lifs.appConfig[MPLS].reqCount[lif(1)]
    lifs.appConfig.add(VXLAN).reqCount[lif(3)] = 1
    pipe.run()
    assert state(copy) == state(lifs)
    assert heard[:2] == [("reqCount", 5), ("reqCount", None)] and heard[-1] == ("reqCount", 1)
    gone = copy.appConfig[MPLS]
    del lifs.appConfig[MPLS]
    pipe.run()
    assert state(copy) == state(lifs) and gone.parent is None
    watch.close()
    with pytest.raises(ReadOnly, match="lif may only be read: theirs offers it|driver offers it"):
        copy.appConfig.add(MPLS)
    with pytest.raises(Refused, match="lif is a LifAppConfigDir, not a LifAppStatusDir"):
        wanted(Pipe(theirs=pipe.theirs.service), "lif", LifAppStatusDir("x"))


def test_a_push_fills_what_the_other_side_gives_and_is_refused_in_its_words():
    theirs, taken = Service("driver"), LifAppConfigDir("configs")
    theirs.accept("lifConfig", lambda peer, made: taken.appConfig.add(made.app))
    pipe = Pipe(theirs=theirs)
    app, heard = LifAppConfig(MPLS), []
    taken.appConfig.add(MPLS).reqCount[lif(9)] = 9  # of an earlier connection: the pass sweeps it
    app.reqCount[lif(1)] = 1
    pipe.ours.push("lifConfig", app, False, heard.append)
    pipe.run()
    assert heard == [None] and state(taken.appConfig[MPLS]) == state(app)
    app.reqCount[lif(2)] = 2
    pipe.run()
    assert state(taken.appConfig[MPLS]) == state(app)
    pipe.ours.push("nowhere", LifAppConfig(VXLAN), False, heard.append)
    pipe.ours.push("lifConfig", TagPopPushStatus("x"), False, heard.append)
    pipe.run()
    words = ["nothing is taken in under nowhere", "no attribute app in TagPopPushStatus"]
    assert [(type(each), str(each)) for each in heard[1:]] == [(Refused, each) for each in words]
    assert len(pipe.ours.mounts) == len(pipe.theirs.mounts) == 1


def test_a_relay_passes_on_what_it_is_told():
    lifs, middle = LifAppConfigDir("lif"), Service("relay")
    first = Pipe(ours=middle, theirs=offering("lif", lifs))
    copy = wanted(first, "lif")
    middle.offer("lif", copy)
    second = Pipe(theirs=middle)
    end = wanted(second, "lif")
    lifs.appConfig.add(MPLS).reqCount[lif(1)] = 1
    first.run(), second.run(), first.run()
    assert state(end) == state(lifs)


def test_a_full_stream_merges_changes_of_a_key():
    lifs = LifAppConfigDir("lif")
    app = lifs.appConfig.add(MPLS)
    pipe = Pipe(theirs=offering("lif", lifs))
    copy = wanted(pipe, "lif")
    before = pipe.theirs.counts["records out"]
    pipe.theirs.has_room = False
    for i in range(50):
        app.reqCount[lif(1)] = i
    app.reqCount[lif(2)] = 1
    del app.reqCount[lif(2)]
    pipe.run()
    assert pipe.theirs.counts["records out"] - before == 2 and pipe.theirs.counts["coalesced"] == 50
    assert state(copy) == state(lifs)


@pytest.mark.parametrize("ours", [True, False])
def test_a_child_that_is_replaced_while_the_stream_is_full_is_another_one(ours):
    lifs = LifAppConfigDir("lif")
    lifs.appConfig.add(MPLS).reqCount[lif(1)] = 1
    pipe = Pipe(theirs=offering("lif", lifs, writable=True))
    copy = wanted(pipe, "lif")
    tree, session = (copy, pipe.ours) if ours else (lifs, pipe.theirs)
    session.has_room = False
    del tree.appConfig[MPLS]
    tree.appConfig.add(MPLS).reqCount[lif(2)] = 2
    pipe.run()
    assert state(copy) == state(lifs) and tree.appConfig[MPLS].reqCount == {lif(2): 2}


def test_requests_are_answered_in_their_order_and_whole():
    theirs, late = Service("driver"), []
    theirs.answer("echo", lambda peer, argument: argument)
    theirs.answer("late", lambda peer, argument: late)
    pipe = Pipe(theirs=theirs)
    pipe.theirs.on_awaitable = lambda answer, reply: answer.append(reply)
    heard = []

    def note(answer, error):
        heard.append(answer if error is None else error)

    long = "ü" * 32767
    pipe.ours.request("late", "", note)
    pipe.ours.request("echo", long, note)
    pipe.ours.request("ecko", "", note)
    for i in range(40):
        pipe.ours.request("echo", str(i), note)
    pipe.run()
    assert heard == []
    late[0]("now", False)
    pipe.run()
    assert heard[:2] == ["now", long] and heard[3:] == [str(i) for i in range(40)]
    assert isinstance(heard[2], RequestFailed) and str(heard[2]) == 'there is no request "ecko"; did you mean echo?'
    with pytest.raises(ValueError, match="65536 bytes is too long"):
        pipe.ours.request("echo", "x" * 65536, note)
    pipe.ours.request("late", "", note)
    pipe.run()
    pipe.theirs.close("it ends")
    pipe.run()
    assert str(heard[-1]) == "it ends"


MAGIC = b"\x89LoamLog"


def hello(name=b"x", limits=(4096, 262144, 65536, 1024), kinds=(16, 17, 18), more=b"", checksum=bytes(8)) -> bytes:
    parts = {16: string(name), 17: checksum, 18: struct.pack(">IIII", *limits), 19: b"t" * 16}
    return record(1, 160, b"".join(section(each, parts[each] + more) for each in kinds))


def test_longer_sections_of_a_hello_are_read_as_far_as_they_are_known():
    session = Session(Service("ours"), False)
    session.feed(PREAMBLE + hello(name=b"later", kinds=(16, 17, 18, 19), more=b"!", checksum=b"\0" * 7 + b"\5"))
    assert session.is_open and (session.name, session.their_checksum) == ("later", 5)


IVECS, DIR = "Hardware::LoamTunnel::HwIvecs", "Hardware::LoamTunnel::LifAppConfigDir"


def announced(id_: int, path="p", type_=IVECS, argument=b"\0\1x", bits=1) -> bytes:
    root = section(5, string(path) + number(bits) + number(1))
    return record(1, 136, section(1, string(type_)) + section(3, argument) + section(4, number(id_)) + root)


PREAMBLE = MAGIC + b"\0\2\0\2"
GREETING = PREAMBLE + hello()


def greeted(service: Service | None = None) -> Session:
    """One that has read the other side's hello."""
    session = Session(service or Service("driver"), False)
    session.feed(GREETING)
    return session


@pytest.mark.parametrize(
    ("data", "words"),
    [
        (b"GET / HTTP/1.1\r\n", "another magic"),
        (MAGIC + b"\0\4\0\5", "no protocol is common: this side speaks 2 to 3, the other one 4 to 5"),
        (PREAMBLE + hello(checksum=bytes(7)), "a section of the hello is too short"),
        (GREETING + hello(), "a second hello"),
        (GREETING + b"\0\1\0", "too short for its header"),
        (GREETING + record(1, 162, string("a\nb") + string("T") + b"\0"), "is no path"),
        (GREETING + b"".join(record(1, 162, string(each) + string("T") + b"\0") for each in "abc"), "more than 2 offers"),
        (
            GREETING + announced(7, type_=DIR) + record(7, 144, bytes.fromhex("0008 0040 00000102 00000000 00000007 0b")),
            "an offset in it",
        ),
        (GREETING + announced(7) + record(7, -136, b"\0", form=0), "too long"),
        (GREETING + record(1, 136, section(1, string(IVECS)) + section(3, b"\0\0")), "lacks the id of its entity"),
        (GREETING + announced(7) + announced(11, path="q") + announced(15, path="r"), "more than 2 entities"),
    ],
)
def test_unsound_bytes_end_the_connection_with_a_reason(data, words):
    service = Service("driver")
    for each in "pqr":
        service.accept(each, lambda peer, made: made)
    for piece in (1, len(data)):
        session = Session(service, False, limits=Limits(entities=2, roots=2))
        session.take()
        for at in range(0, len(data), piece):
            session.feed(data[at : at + piece])
        assert session.ended and words in session.reason
        assert session.reason.encode() in session.take()  # as a goodbye


def test_what_is_passed_over_is_counted():
    session = greeted()
    session.service.accept("p", lambda peer, made: made)
    session.feed(announced(7, type_=DIR))
    session.feed(record(99, 258, b"x") + record(7, 999, b"x") + announced(11, type_="Hardware::LoamTunnel::Newer"))
    session.feed(record(7, 258, (99).to_bytes(4, "big") + number(15), form=3, secondary=151))
    session.feed(record(15, 259, (99).to_bytes(4, "big") + bytes(20)))
    told = ("unknown entities", "unknown attributes", "unknown types", "unknown enumerators", "refused")
    assert [session.counts[each] for each in told] == 5 * [1] and not session.ended


def test_a_marker_is_looked_at_also_where_it_may_not_be_written():
    for marker, ended in ((b"\2\0", False), (b"\3\0", True), (b"\2", True)):
        pipe = Pipe(theirs=offering("lif", LifAppConfigDir("lif")))
        wanted(pipe, "lif")
        pipe.ours.put(record(5, 258, marker, form=4))
        pipe.run()
        assert pipe.theirs.ended is ended and pipe.theirs.counts["refused"] == (not ended)


def test_a_marker_is_one_of_an_attribute_that_has_passes_or_is_unknown():
    service, taken = Service("driver"), LifAppConfigDir("lif")
    taken.appConfig.add(MPLS)
    service.accept("p", lambda peer, made: taken)
    session = greeted(service)
    session.feed(announced(7, type_=taken._schema.name))
    markers = b"".join(record(7, each, b"\0\0", form=4) + record(7, each, b"\2\0", form=4) for each in (-258, 135, -136, 136))
    session.feed(markers + record(1, 164, string("p") + b"\1", form=4) + record(1, 136, b"\0\0", form=4))
    assert MPLS in taken.appConfig and 7 in session.mounts and not session.ended
    assert session.counts["unknown attributes"] == 10


def test_an_entity_whose_key_cannot_be_is_refused_by_a_verdict():
    session = greeted()
    session.take()
    session.feed(announced(7, type_="Hardware::LoamTunnel::OutAcRequest", argument=b"\1\0" + bytes(8)))
    verdict = string("p") + number(1) + number(1) + string("a Fapmask names parts that it does not have: 0x0100")
    assert session.take() == record(1, 165, verdict) and session.counts["refused"] == 1 and not session.ended


def test_either_side_can_unmount_and_an_entity_is_on_a_connection_once():
    service = offering("lif", LifAppConfigDir("lif"), True)
    app, taken, heard = LifAppConfig(MPLS), LifAppConfig(MPLS), []
    service.accept("app", lambda peer, made: taken)
    pipe = Pipe(theirs=service)
    copy = wanted(pipe, "lif")
    copy.appConfig.add(MPLS)
    pipe.ours.push("app", app, False, heard.append)
    pipe.ours.push("app", app, False, heard.append)
    pipe.ours.push("app", copy.appConfig[MPLS], False, heard.append)
    pipe.ours.push("app", LifAppConfig(MPLS), False, heard.append)
    pipe.run()
    assert heard.count(None) == 1
    assert [str(each) for each in heard if each] == 3 * ["it is on this connection already"]
    above = LifAppConfigDir("above")
    above.appConfig.add(VXLAN)
    pipe.ours.push("up", above.appConfig[VXLAN], False, heard.append)
    pipe.ours.push("up", above, False, heard.append)
    assert str(heard[-1]) == "a part of it is on this connection already"


def test_a_root_that_is_deleted_on_either_side_is_unmounted_there_too():
    """What was pushed, its place at the peer, the copy of what was wanted, and one that lies deeper."""
    service, taken = Service("driver"), LifAppConfigDir("configs")
    taken.appConfig.add(VXLAN)
    service.accept("app", lambda peer, made: taken.appConfig.add(made.app))
    service.offer("vxlan", taken.appConfig[VXLAN])
    pipe, mine, lost = Pipe(theirs=service), LifAppConfigDir("mine"), []
    pushed, copy = mine.appConfig.add(MPLS), mine.appConfig.add(VXLAN)
    for app in (MPLS, 8):
        pipe.ours.push("app", mine.appConfig.add(app), False, lambda error: None, lost=lambda error: lost.append(str(error)))
    pipe.ours.want("vxlan", copy, lambda error: None)
    pipe.run()
    assert len(pipe.ours.mounts) == len(pipe.theirs.mounts) == 3
    pushed.reqCount[lif(1)] = 1
    del mine.appConfig[MPLS]  # on the side that has pushed it
    del taken.appConfig[VtAppId(8)]  # on the side that holds its copy
    del mine.appConfig[VXLAN]
    pipe.run()
    assert not pipe.ours.mounts and not pipe.theirs.mounts and not pipe.ours.pushes and not pipe.ours.wishes
    assert lost == ["it has been deleted here", "driver has let it go"] and not service.holders
    assert MPLS in taken.appConfig and pipe.ours.counts["unknown entities"] == pipe.theirs.counts["unknown entities"] == 0
    outs = OutAcConfig("out")
    service.offer("deep", outs.acRequest.add(OutAcKey("0", 1)))
    wanted(pipe, "deep")
    taken.appConfig.add(MPLS)
    outs._end()  # as when all of it lay in another tree
    pipe.run()
    assert not pipe.ours.mounts and not pipe.ours.wishes


def test_what_is_pushed_lies_neither_above_nor_below_what_is_on_the_connection():
    service, taken, heard = Service("driver"), LifAppConfigDir("configs"), []
    service.accept("dir", lambda peer, made: taken)
    service.accept("app", lambda peer, made: taken.appConfig.add(made.app))
    pipe, mine = Pipe(theirs=service).run(), LifAppConfigDir("mine")
    pipe.ours.push("dir", mine, False, heard.append)
    pipe.ours.push("app", mine.appConfig.add(MPLS), False, heard.append)  # its parent's pass has not come so far
    pipe.ours.push("app", LifAppConfig(VXLAN), False, heard.append)  # the place of which is below that of mine
    pipe.run()
    assert sorted(str(each) for each in heard) == ["None", *2 * ["it is on this connection already"]]
    other, heard = Pipe(theirs=service), []
    other.ours.push("app", LifAppConfig(VXLAN), False, heard.append)
    other.ours.push("dir", LifAppConfigDir("other"), False, heard.append)
    other.run()
    assert [str(each) for each in heard] == ["None", "a part of it is on this connection already"]


def test_what_is_made_anew_during_a_pass_survives_its_end():
    """Two peers write into one place. The pass of one mentions no key that the other deletes and makes meanwhile."""
    service, taken = Service("driver"), LifAppConfig(MPLS)
    service.accept("p", lambda peer, made: taken, writable=False, many=True)
    taken.reqCount[lif(1)] = taken.reqCount[lif(2)] = taken.reqCount[lif(3)] = 1
    sessions = []
    for id_ in (7, 11):
        sessions.append(greeted(service))
        sessions[-1].feed(announced(id_, type_=taken._schema.name, argument=(7).to_bytes(4, "big")))
    one, other = sessions

    def keyed(id_: int, i: int, value: int | None) -> bytes:
        bytes_ = to_wire(AradLifEntry(*lif(i)._stored()))
        return record(id_, 259 if value is not None else -259, bytes_ + (b"" if value is None else value.to_bytes(4, "big")))

    one.feed(record(7, 135, bytes((0, 0, 0, 2)), form=0) + record(7, 259, b"\0\0", form=4))
    other.feed(keyed(11, 1, None) + keyed(11, 1, 5))
    one.feed(keyed(7, 2, None))
    other.feed(keyed(11, 2, 6))
    one.feed(record(7, 259, b"\2\0", form=4) + record(7, 135, bytes((0, 0, 0, 1)), form=0))
    assert not one.ended and not other.ended
    assert {key.dword0: value for key, value in taken.reqCount.items()} == {1: 5, 2: 6}


def test_what_is_withdrawn_before_the_hello_comes_is_not_sent():
    pipe, heard = Pipe(theirs=offering("lif", LifAppConfigDir("lif"))), []
    pipe.ours.want("lif", None, heard.append)
    pipe.ours.unwant("lif")
    pipe.ours.unpush(pipe.ours.push("app", LifAppConfig(MPLS), False, heard.append))
    pipe.run()
    assert not heard and not pipe.ours.mounts and not pipe.theirs.mounts and pipe.theirs.counts["records in"] == 2


def test_the_whole_state_of_a_root_is_told_of_that_root_alone():
    pipe, heard = Pipe(theirs=offering("lif", LifAppConfigDir("lif"))), []
    pipe.ours.want("lif", None, heard.append)
    for _ in range(2):
        pipe.theirs.feed(pipe.ours.take())
        data = pipe.theirs.take()
        pipe.ours.feed(data.removesuffix(record(5, 135, bytes((0, 0, 0, 3)), form=0)))
    assert pipe.ours.mounts and not heard
    pipe.ours.feed(record(5, 258, (7).to_bytes(4, "big") + number(9)) + record(9, 135, bytes((0, 0, 0, 3)), form=0))
    assert not heard
    pipe.ours.feed(record(5, 135, bytes((0, 0, 0, 3)), form=0))
    assert heard == [None]


@pytest.mark.parametrize("reason", ["x" * 70_000, "ä" * 3000, "\ud800"], ids=["too long", "long", "no text"])
def test_words_of_any_length_fit_a_record(reason):
    service, heard = Service("driver"), []

    def refuse(peer, *_):
        raise ValueError(reason)

    service.accept("p", refuse)
    service.answer("fail", refuse)
    service.answer("text", lambda peer, argument: reason)
    pipe = Pipe(theirs=service)
    pipe.ours = Session(Service("ours"), True, limits=Limits(record=1024))
    pipe.run()
    pipe.ours.push("p", LifAppConfig(MPLS), False, heard.append)
    pipe.ours.request("fail", "", lambda answer, error: heard.append(error))
    pipe.ours.request("text", "", lambda answer, error: heard.append(error or answer))
    pipe.run()
    assert not pipe.ours.ended and len(heard) == 3 and isinstance(heard[0], Refused)
    assert str(heard[0]) == reason.replace("\ud800", "?").encode()[:500].decode()
    assert (str(heard[2]) == reason) == (reason[0] == "ä")


def test_a_peer_that_asks_without_end_and_reads_nothing_is_let_go():
    """Verdicts wait for it, and pieces of a request that has no end."""
    session = greeted()
    wants = b"".join(record(1, 164, string("p" * 255) + number(i)) for i in range(1000))
    for _ in range(20):
        session.feed(wants)
    assert session.ended and "wait for a side that does not read" in session.reason and session._size < 5 << 20
    session = greeted()
    piece = record(1, 166, number(1) + number(1) + string("echo") + string("x"))
    session.feed(40_000 * piece + 40_000 * record(1, 166, number(1) + number(1) + string("echo") + string("")))
    assert not session.ended and session._calls._asking[2] == 40_000 * b"x"
    session.feed(26_000 * piece)
    assert session.ended and "more than 65535 bytes" in session.reason


def test_the_counters_of_many_connections_fit_an_answer(caplog):
    service, heard = Service("driver"), []
    pipes = [Pipe(Service("x" * 60), service).run() for _ in range(300)]
    lifs = LifAppConfigDir("lif")
    watch, before = lifs.watch(lambda change: 1 / 0), Watch.failures
    lifs.appConfig.add(MPLS)
    assert watch and Watch.failures == before + 1 and "division by zero" in caplog.text
    pipes[0].ours.request("stats", "", lambda answer, error: heard.append(json.loads(answer)))
    pipes[0].run()
    assert heard[0]["handlerExceptions"] == before + 1
    assert 0 < heard[0]["peersLeftOut"] < 300 and len(heard[0]["peers"]) + heard[0]["peersLeftOut"] == 300


@pytest.mark.parametrize("late", [False, True])
def test_a_peer_that_takes_fewer_entities_than_there_are_is_told_so(late):
    lifs, heard = LifAppConfigDir("lif"), []
    pipe = Pipe(theirs=offering("lif", lifs))
    pipe.ours = Session(Service("small"), True, limits=Limits(entities=3))
    pipe.ours.want("lif", None, heard.append)
    if late:
        pipe.run()
    for app in range(1, 5):
        lifs.appConfig.add(app).reqCount[lif(1)] = 1
    pipe.run()
    assert pipe.theirs.ended and pipe.ours.reason == pipe.theirs.reason == "small takes no more than 3 entities"
    assert len(lifs.appConfig) == 4 and heard[-1] is None if late else str(heard[0]) == pipe.ours.reason


def test_offers_above_the_limit_of_the_other_side_are_told_when_there_is_room():
    service = Service("driver")
    for each in "abc":
        service.offer(each, LifAppConfigDir(each))
    pipe = Pipe(theirs=service)
    pipe.ours.limits = Limits(roots=2)
    pipe.ours._out.clear()
    pipe.ours._put(PREAMBLE + hello(limits=(4096, 262144, 65536, 2)))
    pipe.run()
    assert sorted(pipe.ours.offers) == ["a", "b"]
    service.withdraw("a")
    pipe.run()
    assert sorted(pipe.ours.offers) == ["b", "c"]


def test_a_reference_to_what_derives_from_its_type_travels():
    faps, arad = FapTypeProperties(), AradProperties("fapTypeArad")
    arad.isemHwSize = 5
    faps.properties["fapTypeArad"] = arad
    pipe = Pipe(theirs=offering("p", faps))
    copy = wanted(pipe, "p")
    assert type(copy.properties["fapTypeArad"]) is AradProperties and copy.properties["fapTypeArad"].isemHwSize == 5
    arad.isemHwSize = 6
    faps.properties["fapTypeJericho"] = arad
    pipe.run()
    assert copy.properties["fapTypeJericho"] is copy.properties["fapTypeArad"] and copy.properties["fapTypeArad"].isemHwSize == 6
    with pytest.raises(TypeError, match="is no Properties"):
        faps.properties["fapTypeArad"] = faps


def test_a_record_refers_only_to_what_is_there():
    pipe = Pipe(theirs=offering("p", FapTypeProperties("p"), True))
    copy = wanted(pipe, "p")
    (attribute,) = [each for each in copy._schema.attributes.values() if each.role == "references"]
    mount = pipe.ours.mount_of(copy)
    for target in (99, mount.id):
        pipe.ours.put(record(mount.id, attribute.id, (3).to_bytes(4, "big") + target.to_bytes(8, "big")))
    pipe.run()
    assert pipe.theirs.counts["refused"] == 2 and not pipe.theirs.ended
