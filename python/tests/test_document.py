"""The bytes that docs/attribute-log.md shows, sent and read."""

import re
import struct

import pytest
from conftest import DOCUMENT, Pipe
from loamtunnel import records, wire
from loamtunnel.errors import RangeError
from loamtunnel.fences import APPLIED
from loamtunnel.service import Service
from loamtunnel.session import Root, Session
from loamtunnel.types import AradLifEntry, HwIvecs, LifAppConfig, LifAppConfigDir, VtAppId


def shown(heading: str, side: str) -> bytes:
    """The bytes in the block under a heading: of all lines, or of those that begin with `side`."""
    part = DOCUMENT.read_text().split(f"\n## {heading}\n")[1].split("\n## ")[0]
    pattern = rf"^    {side}((?:[0-9a-f]{{2}} ?)+)(?:  .*)?$"
    return bytes.fromhex("".join(re.findall(pattern, part, re.MULTILINE)))


def cut(data: bytes) -> list[tuple]:
    reader = records.RecordReader()
    reader.feed(data)
    return [(*each[:4], bytes(each[4][each[5] : each[6]])) for each in reader]


def test_exchange_is_read_and_written_again():
    data = shown("An exchange", "")
    found = cut(data)
    assert [each[2] for each in found] == [136, 135, 258, 258, 258, 135, 135, 259, 259, 259, 135, 259, -258, -136]
    assert found[3][3] == 151
    written = [records.record(entity, id_, load, form, second) for form, entity, id_, second, load in found]
    assert b"".join(written) == data

    session = opened()
    lifs = LifAppConfigDir("lif")
    session._hold(Root(session, "lif", 1, False, False, False, True), lifs, 7)
    heard = []
    watch = lifs.watch(lambda change: heard.append((change.path, change.value)))
    for each in written[1:]:
        session.feed(each)
    count = "lif.appConfig[vtAppMpls].reqCount[" + str(AradLifEntry("lifGeneral", 1, 2)) + "]"
    assert [each for each in heard if not isinstance(each[1], LifAppConfig)] == [
        (count, 1),
        (count, 2),
        ("lif.appConfig[vtAppMpls]", None),
    ]
    assert not session.mounts and not session.ended
    watch.close()


def opened(connects: bool = False) -> Session:
    """A session that has read the hello of the document's other side."""
    session = Session(Service("driver"), connects)
    hello = shown("Sessions", "< " if connects else "> ")
    length = 12 + 2 + int.from_bytes(hello[12:14], "big")
    session.feed(hello[:length])
    assert session.is_open
    return session


def test_session_sends_the_bytes_that_are_shown():
    ours, theirs = Service("mpls"), Service("driver")
    lifs = LifAppConfigDir("lif")
    lifs.appConfig.add(VtAppId.vtAppMpls)
    theirs.offer("lif", lifs)
    theirs.answer("echo", lambda peer, argument: argument)
    pipe = Pipe(ours, theirs)
    pipe.ours.checksum, pipe.theirs.checksum = 1, 2
    pipe.ours.token, pipe.theirs.token = struct.pack(">QQ", 1, 1), struct.pack(">QQ", 2, 2)
    sent = {pipe.ours: b"", pipe.theirs: b""}
    for session in sent:
        session._out.clear()
        session._put(b"\x89LoamLog\0\2\0\3")
        session._put(session._hello())
    answers, verdicts, fenced = [], [], []

    def carry(source, target):
        data = source.take()
        sent[source] += data
        target.feed(data)
        return bool(data)

    pipe.ours.push("request", HwIvecs("mine"), True, verdicts.append)
    pipe.ours.want("lif", None, verdicts.append)
    carry(pipe.theirs, pipe.ours)
    pipe.ours.request("echo", "hi", lambda answer, error: answers.append(answer))
    pipe.ours.fence("applied", False, lambda result, error: fenced.append(result))
    while any([carry(pipe.ours, pipe.theirs), carry(pipe.theirs, pipe.ours)]):
        pass
    assert answers == ["hi"] and fenced == [(APPLIED, 1, 0, "")]
    assert str(verdicts[0]) == "nothing is taken in under request" and verdicts[1:] == [None]
    wish = pipe.ours.wishes["lif"]
    assert list(wish.entity.appConfig) == [VtAppId.vtAppMpls]
    pipe.ours.close("done")
    carry(pipe.ours, pipe.theirs)
    assert pipe.theirs.reason == "done"
    for session, side in ((pipe.ours, "> "), (pipe.theirs, "< ")):
        expected = shown("Sessions", side)
        assert sent[session][:12] == expected[:12]
        # Which of two independent records goes first is the sender's affair.
        assert sorted(cut(sent[session][12:])) == sorted(cut(expected[12:]))


@pytest.mark.parametrize(
    ("number", "data"),
    [(0, "00"), (127, "7f"), (128, "80 01"), (300, "ac 02"), (2**64 - 1, "ff ff ff ff ff ff ff ff ff 01")],
)
def test_number(number, data):
    assert records.number(number) == bytes.fromhex(data)
    assert records.read_number(bytes.fromhex(data), 0, 10) == (number, len(bytes.fromhex(data)))


@pytest.mark.parametrize("data", ["", "80", "80 00", "ff ff ff ff ff ff ff ff ff 02", "80 " * 10 + "01"])
def test_unsound_number_is_a_fault(data):
    with pytest.raises(records.StreamFault):
        records.read_number(bytes.fromhex(data), 0, len(bytes.fromhex(data)))


def test_platform_forms():
    assert wire.to_wire(wire.from_wire("Fapmask", bytes.fromhex("0005 8001 0002"))).hex(" ", 2) == "0005 8001 0002"
    assert wire.from_wire("Fapmask", bytes.fromhex("0005 8001 0002")).chips == (0, 15, 33)
    with pytest.raises(RangeError, match="parts that it does not have: 0x0105"):
        wire.from_wire("Fapmask", bytes.fromhex("0105 8001 0002"))
    assert str(wire.from_wire("IpAddr", bytes([10, 0, 0, 1]))) == "10.0.0.1"
