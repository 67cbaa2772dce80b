"""Conversations whose records are changed on the way, after a good hello: whatever comes, nothing escapes, hangs or grows."""

import random

import pytest
from conftest import lif
from loamtunnel import Limits, Service
from loamtunnel.fences import FENCE
from loamtunnel.records import RecordReader, number, record, section, signed, string
from loamtunnel.session import Session
from loamtunnel.types import (
    EvecAppConfig,
    EvecEntry,
    EvecFormat,
    EvecKey,
    FapTypeProperties,
    LifAppConfig,
    LifAppConfigDir,
    OutAcConfig,
    OutAcKey,
    TagPopPushStatus,
    VtAppId,
)
from loamtunnel.types import FapTypeProperties_AradProperties as AradProperties

LIMITS = [Limits(record=2048, ring=8192, entities=40, roots=8), Limits(record=1024, ring=2048, entities=9, roots=3)]
ATTRIBUTES = (*range(134, 138), 144, *range(158, 172), 258, 259, 260, 999)


class Process:
    """One that offers, takes in, wants, pushes, asks and writes a bit of everything."""

    def __init__(self, name: str) -> None:
        self.kept: list = []
        self.service = service = Service(name)
        self.lifs, self.outs, self.tags = LifAppConfigDir("lif"), OutAcConfig("out"), TagPopPushStatus("tags")
        self.faps, self.evec = FapTypeProperties(), EvecAppConfig(VtAppId.vtAppMpls)
        self.taken = LifAppConfigDir("taken")
        self.faps.properties["fapTypeArad"] = AradProperties("fapTypeArad")
        self.evec.entry.put(EvecEntry(EvecKey("0-3", 4), EvecFormat(5)))
        self.outs.acRequest.add(OutAcKey("0,127", 6)).reqCount["vtAppMpls"] = 3
        for app in (1, 2):
            self.lifs.appConfig.add(app).reqCount[lif(app)] = app
        for each in ("lifs", "outs", "tags", "faps", "evec"):
            service.offer(each, getattr(self, each), writable=each != "evec")
        service.accept("one", lambda peer, made: self.taken.appConfig.add(made.app))
        service.accept("many", lambda peer, made: made, many=True)
        service.answer("echo", lambda peer, argument: argument)
        service.answer_fences(lambda peer, fence: self.kept.append(fence) if fence.all else fence.done())

    def begin(self, session: Session) -> None:
        self.session = session
        for each in ("lifs", "outs", "tags", "faps", "evec", "none"):
            session.want(each, None, lambda error: None)
        session.push("one", LifAppConfig(7), True, lambda error: None)
        self.mine = LifAppConfigDir("mine")
        session.push("many", self.mine, True, lambda error: None)

    def act(self, chance: random.Random) -> None:
        trees = [self.lifs, self.mine, self.taken, *(each.entity for each in self.session.wishes.values())]
        tree = chance.choice([each for each in trees if isinstance(each, LifAppConfigDir) and not each.read_only])
        key, done = VtAppId(chance.randint(1, 4)), lambda *result: None
        match chance.randint(0, 9):
            case 0:
                tree.appConfig.pop(key, None)
            case 1:
                self.session.fence(chance.choice(("applied", "done")), chance.random() < 0.5, done)
            case 2:
                self.session.request(chance.choice(("echo", "stats", "what")), "x" * chance.choice((1, 5000)), done)
            case 3:
                self.tags.enabled = not self.tags.enabled
            case 4:
                self.faps.properties[chance.choice(("fapTypeArad", "fapTypeJericho"))] = AradProperties("fapTypeArad")
            case 5 if "lifs" in self.session.wishes:
                self.session.unwant("lifs")
            case 5:
                self.session.want("lifs", None, done)
            case 6 if self.kept:
                self.kept.pop(chance.randrange(len(self.kept))).failed("no")
            case 7:
                self.session.has_room = False
            case _:
                tree.appConfig.add(key).reqCount[lif(chance.randint(1, 5))] = chance.choice((None, 0, 1, 2))


WHOLE, ANY = (0, 1, 2, 7, 7, 8), range(10)  # what may become of a record: it stays one that can be read, or not


def changed(data: bytes, chance: random.Random, rate: float, acts) -> bytes:
    """The same records with some of them lost, doubled, moved, made up or damaged."""
    reader, made = RecordReader(), []
    reader.longest = 65535
    reader.feed(data)
    for form, entity, attribute, secondary, bytes_, at, end in reader:
        payload = bytes(bytes_[at:end])
        if chance.random() >= rate:
            made.append(record(entity, attribute, payload, form, secondary))
            continue
        match chance.choice(acts):
            case 0:
                continue
            case 1:
                made.append(record(entity, attribute, payload, form, secondary) * chance.randint(2, 3))
                continue
            case 2:
                entity = chance.choice((1, entity, 5, 7, 9, 11, 13, 15, 19, 23, 2**63 + 1))
            case 3:
                attribute = chance.choice(ATTRIBUTES) * chance.choice((1, 1, 1, -1))
            case 4:
                form = chance.choice((0, 1, 4, 5, 7))
                secondary = chance.choice((1, 151, 2**31)) if form & 2 else 0
            case 5:
                payload = payload[: chance.randint(0, len(payload))]
            case 6:
                payload += chance.randbytes(chance.randint(1, 9))
            case 7 if made:
                made.insert(chance.randrange(len(made)), record(entity, attribute, payload, form, secondary))
                continue
            case 8:
                form = attribute = entity = 1
                attribute, payload = made_up(chance)
            case _:
                damaged = bytearray(payload)
                for _ in range(chance.randint(1, 3) if damaged else 0):
                    damaged[chance.randrange(len(damaged))] = chance.choice((0, 1, 2, 0x7F, 0x80, 0xFF, chance.getrandbits(8)))
                payload = bytes(damaged)
        if form & 2 and not secondary:
            secondary = 151
        made.append(record(entity, attribute, payload, form, secondary))
    data = bytearray(b"".join(made))
    if data and acts is ANY and chance.random() < rate:  # whatever it is then, and wherever it ends
        data[chance.randrange(len(data))] = chance.getrandbits(8)
        del data[chance.randrange(len(data)) :]
    return bytes(data)


def made_up(chance: random.Random) -> tuple[int, bytes]:
    """A record that is sound by itself."""
    path, n = string(chance.choice(("lifs", "outs", "faps", "evec", "one", "many"))), number(chance.choice((0, 1, 2, 3, 2**64 - 1)))
    key = (chance.randint(0, 9)).to_bytes(4, "big")
    types = string(chance.choice(("Hardware::LoamTunnel::LifAppConfig", "Hardware::LoamTunnel::LifAppConfigDir", "?")))
    argument = chance.choice((key, string("x"), b"", string(b"\xff\n")))
    root = section(5, path + number(chance.randint(0, 7)) + n) if chance.random() < 0.7 else b""
    return chance.choice(
        (
            (FENCE, n + number(chance.randint(0, 3)) + n),
            (FENCE + 1, n + number(chance.randint(0, 4)) + n + n + string("x")),
            (164, path + n),
            (-164, path + n),
            (165, path + n + number(chance.randint(0, 3)) + string("why")),
            (162, path + types + n),
            (-162, path),
            (166, n + number(chance.randint(0, 1)) + string(chance.choice(("echo", "", "sync"))) + string(b"\xc3")),
            (167, n + number(chance.randint(0, 3)) + string(b"\xa4")),
            (136, section(1, types) + section(3, argument) + section(4, number(chance.randint(0, 80))) + root),
            (136, chance.randbytes(chance.randint(0, 20))),
            (chance.choice(ATTRIBUTES), signed(chance.randint(-300, 300)) + chance.randbytes(chance.randint(0, 30))),
        )
    )


def run(seed: int) -> bool:
    """One conversation of two processes that live, what goes between them being changed; whether that has ended it."""
    chance = random.Random(seed)
    sides = [Process("left"), Process("right")]
    limits = LIMITS[chance.random() < 0.1]
    sessions = [Session(each.service, not i, limits=limits) for i, each in enumerate(sides)]
    hellos = [each.take() for each in sessions]
    for i in (0, 1):
        sessions[i].feed(hellos[1 - i])
        sides[i].begin(sessions[i])
    rate, acts = chance.choice((0.002, 0.02, 0.2)), chance.choice((WHOLE, WHOLE, ANY))
    for _ in range(60):
        i = chance.randint(0, 1)
        for _ in range(chance.randint(0, 3)):
            if not sessions[i].ended:
                sides[i].act(chance)
        data, at = changed(sessions[i].take(), chance, rate, acts), 0
        while at < len(data):
            size = chance.choice((1, 7, 100, 5000))
            sessions[1 - i].feed(data[at : at + size])
            at += size
        for each in sessions:
            assert len(each._given) <= limits.entities and len(each.offers) <= limits.roots and each._size < 8 << 20
    ended = [each.ended for each in sessions]
    for session, side in zip(sessions, sides):
        for _ in range(20):
            session.take()
        assert session.reason or not session.ended
        session.close("enough")
        assert not session.mounts and not session._behind and not side.service.holders and not session._given
        for each in (side.lifs, side.outs, side.tags, side.faps, side.evec, side.mine, side.taken):
            assert not each._mounts and not any(one._mounts for one in each.children)
    return any(ended)


@pytest.mark.parametrize("seed", range(10))
def test_changed_records_harm_neither_side(seed):
    assert any([run(100 * seed + i) for i in range(12)])  # some of it is no attribute log any more
