"""Recordings played again, and the JSON of values."""

import random
import struct

import pytest
from conftest import Pipe, lif
from loamtunnel import RangeError, Service, StreamFault, plain, recording
from loamtunnel.types import EvecKey, LifAppConfig, LifAppConfigDir, OutAcKey, VtAppId

MPLS = VtAppId.vtAppMpls


class Taped(Pipe):
    """A pipe that keeps what goes through it as a recording."""

    def __init__(self, *services: Service) -> None:
        super().__init__(*services)
        self.tape, self.time = b"LoamRec1" + struct.pack(">I", 4096), 0

    def _carry(self, source, target) -> bool:
        data = source.take()
        for at in range(0, len(data), 50):
            piece = data[at : at + 50]
            self.tape += struct.pack(">BQI", source is self.ours, self.time, len(piece)) + piece
        target.feed(data)
        return bool(data)


@pytest.fixture
def tape(tmp_path):
    """One side offers a tree, the other one writes to it and pushes one of its own; a second later it deletes."""
    service = Service("driver")
    lifs = LifAppConfigDir("lif")
    lifs.appConfig.add(MPLS).reqCount[lif(1)] = 1
    service.offer("lif", lifs, writable=True)
    service.accept("ask", lambda peer, made: made)
    pipe = Taped(None, service)
    app = LifAppConfig(VtAppId.vtAppVxlan)
    pipe.ours.want("lif", None, lambda error: None)
    pipe.ours.push("ask", app, False, lambda error: None)
    pipe.run()
    copy = pipe.ours.wishes["lif"].entity
    copy.appConfig[MPLS].reqCount[lif(2)] = 2
    app.reqCount[lif(3)] = 3
    pipe.run()
    pipe.time = 1_000_000
    del copy.appConfig[MPLS].reqCount[lif(1)]
    lifs.appConfig.add(VtAppId.vtAppEvpn)
    pipe.run()
    path = tmp_path / "tape"
    path.write_bytes(pipe.tape)
    return path, lifs, app


def test_a_recording_leads_to_the_trees_that_were_shared(tape):
    path, lifs, app = tape
    trees = recording.replay(path)
    assert trees.keys() == {"lif", "ask"}
    assert trees["lif"].flat() == lifs.flat() and trees["ask"].reqCount == app.reqCount == {lif(3): 3}
    half = recording.replay(path, seconds=0.5)
    assert half["lif"].appConfig[MPLS].reqCount == {lif(1): 1, lif(2): 2} and len(half["lif"].appConfig) == 1


def test_what_is_no_recording_is_told(tape, tmp_path):
    data, path = tape[0].read_bytes(), tmp_path / "bad"
    for bad, words in (
        (b"LoamRec2" + data[8:], "is no recording"),
        (data[:30], "unsound chunk at byte 12"),
        (data[:20], "is cut at byte 12"),
        (data[:12] + b"\7" + data[13:], "unsound chunk"),
    ):
        path.write_bytes(bad)
        with pytest.raises(StreamFault, match=words):
            recording.replay(path)
    path.write_bytes(data + b"\xff" + bytes(12) + b"what follows is nothing")
    recording.replay(path)
    chance = random.Random(3)
    for _ in range(400):
        bad = bytearray(data)
        for _ in range(3):
            bad[chance.randrange(12, len(bad))] = chance.getrandbits(8)
        path.write_bytes(bad)
        try:
            recording.replay(path)
        except StreamFault:
            pass


@pytest.mark.parametrize(
    ("type_", "given", "words"),
    [
        ("OutAcKey", {"fapMsk": "0"}, "OutAcKey has no such attribute: fapMsk; did you mean fapMask?"),
        ("EvecKey", {"index": {"number": 4}}, 'EvecIndex: expected {"value": NUMBER}'),
        ("VtAppId", 7, "expected the name of an enumerator, not 7"),
        ("EvecKey", {"fapMask": {}}, "Fapmask: expected a string"),
    ],
)
def test_json_that_is_no_value_is_told(type_, given, words):
    with pytest.raises(RangeError) as caught:
        plain.value(type_, given)
    assert words in str(caught.value)


def test_json_may_leave_out_what_has_a_default():
    assert plain.value("OutAcKey", {"acFormat": 5}) == OutAcKey("", 5)
    assert plain.value("EvecKey", {"index": {"value": 4}}) == EvecKey("", 4)
