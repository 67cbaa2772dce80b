"""Fences: whether all that one side has changed before is there, in both directions of a session.

`Session.fence` and `Peer.fence` ask. A process that has a hook says when it is done:

    async def kept(peer, fence):
        if fence.level == "done":
            await written_to_the_chip()

    service.answer_fences(kept)
"""

from __future__ import annotations

import logging
from collections.abc import Callable
from dataclasses import dataclass
from typing import TYPE_CHECKING, Literal, NamedTuple

from . import records
from .errors import FenceFailed, FenceGone, LoamError, StreamFault
from .records import ended_at, number, read_number, record, string, whole_string
from .tree import Watch

if TYPE_CHECKING:
    from .session import Behind, Session

FENCE, FENCED = 168, 169
UNTIL_DONE, ASKS_ALL = 1, 2
GONE, FAILED, APPLIED, DONE = range(4)  # outcomes, the least first
FIRST_PROTOCOL = 3
MOST_FENCES = 1024  # of one side that are unanswered
MOST_HOPS = 16
MOST_PEERS = (1 << 64) - 1  # that a number of the wire can count

Level = Literal["applied", "done"]
LEVELS: dict[str, int] = {"applied": APPLIED, "done": DONE}


class Fenced(NamedTuple):
    """An answer: how far it has come, how many peers were asked and have gone, and why it is less than asked for."""

    outcome: int
    peers: int = 1
    gone: int = 0
    why: str = ""

    def reached(self, level: str, name: str) -> Level:
        """ "applied" or "done"; raises `FenceFailed` or `FenceGone` with the peer's words when it is less than `level`."""
        if self.outcome == GONE:
            raise FenceGone(self.why)
        if self.outcome < LEVELS[level]:
            raise FenceFailed(self.why or f"{name} has applied it, and does not say that it is done")
        return "done" if self.outcome == DONE else "applied"


class Fence:
    """A fence that a peer has sent, and that is reached: all before it is applied.

    `level` is "applied" or "done"; `all` tells whether the peers of this process are asked, too. What is said first holds. One
    that is dropped unsaid has failed.
    """

    __slots__ = ("level", "all", "_name", "_say")

    def __init__(self, level: Level, all: bool, name: str, say: Callable[[Fenced], None]) -> None:
        self.level, self.all, self._name = level, all, name
        self._say: Callable[[Fenced], None] | None = say

    def done(self) -> None:
        """Answers that this process is done with all before the fence."""
        self._answer(Fenced(LEVELS[self.level]))

    def failed(self, why: str) -> None:
        """Answers that it could not do it, and why."""
        self._answer(Fenced(FAILED, why=why))

    def _answer(self, result: Fenced) -> None:
        say, self._say = self._say, None
        if say is not None:
            say(result)

    def __del__(self) -> None:
        self.failed(f"{self._name} has dropped the fence")


@dataclass(eq=False)
class Asked:
    """A fence of this side's. `done(result, error)` is called once; setting it to None lets the answer be for nobody."""

    number: int
    bits: int
    hops: int
    done: Callable[[Fenced | None, Exception | None], None] | None
    behind: Behind | None = None
    is_sent: bool = False


class _Gathering:
    """The least of several answers, told when the last one is there."""

    def __init__(self, whole: Callable[[Fenced], None]) -> None:
        self._whole, self._waits, self._result = whole, 0, Fenced(DONE, 0)

    def part(self) -> Callable[[Fenced], None]:
        self._waits += 1
        return self._add

    def _add(self, one: Fenced) -> None:
        least = min(self._result, one, key=lambda each: each.outcome)
        peers = min(self._result.peers + one.peers, MOST_PEERS)  # whatever a peer has counted
        self._result = Fenced(least.outcome, peers, min(self._result.gone + one.gone, MOST_PEERS), least.why)
        self._waits -= 1
        if not self._waits:
            self._whole(self._result)


class Fences:
    """The fences of a session, in both directions."""

    def __init__(self, session: Session) -> None:
        self._session = session
        self._last = 0
        self._asked: dict[int, Asked] = {}  # those that the peer has not answered
        self._unanswered: set[int] = set()  # numbers of the peer's

    def ask(
        self, level: str, all: bool, done: Callable[[Fenced | None, Exception | None], None], hops: int = MOST_HOPS
    ) -> Asked:
        if level not in LEVELS:
            raise ValueError(f"{level!r} is no level of a fence; 'applied' and 'done' are")
        if self._session.is_open and (fault := self._no_fences()):
            raise fault
        if len(self._asked) >= MOST_FENCES:
            raise LoamError(f"{MOST_FENCES} fences are unanswered, which is the most; wait for one of them first")
        self._last += 1
        bits = (UNTIL_DONE if level == "done" else 0) | (ASKS_ALL if all else 0)
        asked = self._asked[self._last] = Asked(self._last, bits, hops, done)
        self._session._when_open(lambda: self._begin(asked))
        return asked

    def open(self) -> int:
        """How many the peer has not answered."""
        return len(self._asked)

    def _no_fences(self) -> FenceFailed | None:
        session = self._session
        if session.protocol >= FIRST_PROTOCOL:
            return None
        return FenceFailed(f"{session.name} speaks protocol {session.protocol}, which has no fences")

    def _begin(self, asked: Asked) -> None:
        if asked.number not in self._asked:
            return  # nobody waits for it any more
        if fault := self._no_fences():
            del self._asked[asked.number]
            asked.done(None, fault)
            return
        asked.behind = self._session.after_changes(lambda: self._send(asked))

    def _send(self, asked: Asked) -> None:
        asked.is_sent, asked.behind = True, None
        self._session.put(record(1, FENCE, number(asked.number) + number(asked.bits) + number(asked.hops)))

    def forget(self, asked: Asked) -> None:
        """Nobody waits for it any more. One that is on its way is known until its answer comes."""
        asked.done = None
        if not asked.is_sent and self._asked.pop(asked.number, None) is not None and asked.behind is not None:
            self._session.forget_behind(asked.behind)

    def hear_fenced(self, data, at: int, end: int) -> None:
        number_, at = read_number(data, at, end)
        outcome, at = read_number(data, at, end)
        peers, at = read_number(data, at, end)
        gone, at = read_number(data, at, end)
        why = whole_string(data, at, end)
        asked = self._asked.get(number_)
        if asked is None or not asked.is_sent:
            raise StreamFault(f"an answer to the fence {number_}, which was not sent")
        if outcome > DONE:
            raise StreamFault(f"an outcome {outcome} of a fence; there are 0 to {DONE}")
        del self._asked[number_]
        if asked.done is not None:
            asked.done(Fenced(outcome, peers, gone, why), None)

    def hear_fence(self, data, at: int, end: int) -> None:
        number_, at = read_number(data, at, end)
        bits, at = read_number(data, at, end)
        hops, at = read_number(data, at, end)
        ended_at(at, end)
        if number_ in self._unanswered:
            raise StreamFault(f"a fence {number_} is unanswered already")
        if len(self._unanswered) >= MOST_FENCES:
            raise StreamFault(f"more than {MOST_FENCES} fences are unanswered")
        self._unanswered.add(number_)
        level: Level = "done" if bits & UNTIL_DONE else "applied"
        session, service = self._session, self._session.service
        answers = _Gathering(lambda result: self._answer(number_, level, result))
        fence = Fence(level, bool(bits & ASKS_ALL), service.name, answers.part())
        if bits & ASKS_ALL:
            self._pass_on(level, hops, answers)
        hook = service.fence_hook
        if hook is None:
            if level == "done":
                fence.failed(f"{service.name} does not say when it is done")
        else:
            try:
                taking = hook(session.peer, fence)
            except Exception as fault:
                if level == "done":  # the peer hears of it
                    fence.failed(str(fault) or type(fault).__name__)
                else:  # all is applied all the same
                    Watch.failures += 1
                    logging.getLogger(__package__).exception("a hook of fences has failed")
            else:
                if taking is not None:
                    session.on_awaitable(taking, lambda said, bad: fence.failed(said) if bad else fence.done())
        if level == "applied":
            fence.done()

    def _pass_on(self, level: Level, hops: int, answers: _Gathering) -> None:
        if not hops:
            answers.part()(Fenced(FAILED, 0, why="the fence goes in a circle"))
            return
        for each in tuple(self._session.service.sessions):
            if each is not self._session and any(mount.root.sends for mount in each.mounts.values()):
                add = answers.part()

                def heard(result: Fenced | None, error: Exception | None, each=each, add=add) -> None:
                    add(result or Fenced(GONE, 1, 1, f"{each.name} has gone: {error}"))

                try:
                    each.fence(level, True, heard, min(hops, MOST_HOPS) - 1)
                except LoamError as fault:
                    add(Fenced(FAILED, why=str(fault)))

    def _answer(self, number_: int, level: Level, result: Fenced) -> None:
        session = self._session

        def write() -> None:
            self._unanswered.discard(number_)
            why = records.words(result.why) if result.outcome < APPLIED else b""
            payload = number(number_) + number(result.outcome) + number(result.peers) + number(result.gone)
            session.put(record(1, FENCED, payload + string(why)))

        if session.ended:
            return
        if level == "done":
            session.after_changes(write)  # what was changed before it was done is there first
        else:
            write()

    def end(self, error: Exception) -> None:
        asked, self._asked = self._asked, {}
        for each in asked.values():
            if each.done is not None:
                each.done(None, error)
