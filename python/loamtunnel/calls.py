"""Requests and answers: what one side asks the other one besides its state, in order and in pieces that fit a record."""

from __future__ import annotations

from collections import deque
from collections.abc import Callable, Iterator
from dataclasses import dataclass, field

from . import records, schema
from .errors import RequestFailed, StreamFault
from .records import number, read_number, read_string, record, string, whole_string

REQUEST, ANSWER = 166, 167
MORE, ERROR = 1, 2
MOST_REQUESTS = 16  # under way at a time
OVERTAKE = ("schema", "stats", "trace", "traceRecords")  # what is asked of a process, not of what was changed before
LONGEST_TEXT = 65535


@dataclass(eq=False)
class Request:
    """A request of this side's. Setting `done` to None lets its answer be for nobody."""

    verb: str
    argument: str
    done: Callable[[str | None, Exception | None], None] | None
    id: int = 0  # when it is under way
    answer: bytearray = field(default_factory=bytearray)  # as far as it has come


@dataclass(eq=False)
class _Slot:
    """A request of the peer's, whose answer has its turn."""

    id: int
    answer: bytes | None = None
    is_error: bool = False


class Calls:
    """The requests of a session, in both directions."""

    def __init__(self, session) -> None:
        self._session = session
        self._last = 0
        self._standing: dict[Request, None] = {}  # behind changes that have not left yet
        self._waiting: deque[Request] = deque()
        self._under_way: deque[Request] = deque()
        self._asked: deque[_Slot] = deque()
        self._asking: tuple[int, str, bytearray] | None = None  # what has come of a request of the peer's

    def request(self, verb: str, argument: str, done: Callable[[str | None, Exception | None], None]) -> Request:
        if not 1 <= len(records.encoded(verb)) <= 64:
            raise ValueError(f"{verb!r} is no verb; one has 1 to 64 bytes")
        if (size := len(records.encoded(argument))) > LONGEST_TEXT:
            raise ValueError(f"an argument of {size} bytes is too long; it has at most {LONGEST_TEXT}")
        made = Request(verb, argument, done)
        self._standing[made] = None
        return made

    def begin(self, request: Request, overtakes: bool) -> None:
        """Lets it wait for its turn behind all that was changed before it, or at once."""

        def in_turn() -> None:
            del self._standing[request]
            self._waiting.append(request)
            self._ask()

        if overtakes:
            in_turn()
        else:
            self._session.after_changes(in_turn)

    def _ask(self) -> None:
        """Sends what waits, as far as the peer takes it."""
        while self._waiting and len(self._under_way) < MOST_REQUESTS:
            request = self._waiting.popleft()
            if request.done is None:
                continue  # nobody waits for it any more
            self._last += 1
            request.id = self._last
            self._under_way.append(request)
            for more, piece in self._pieces(records.encoded(request.argument)):
                payload = number(request.id) + number(more) + string(request.verb) + string(piece)
                self._session.put(record(1, REQUEST, payload))

    def hear_answer(self, data, at: int, end: int) -> None:
        id_, at = read_number(data, at, end)
        bits, at = read_number(data, at, end)
        piece = whole_string(data, at, end)
        if not self._under_way or self._under_way[0].id != id_:
            raise StreamFault(f"an answer to the request {id_}, which is not the next one")
        request = self._under_way[0]
        _join(request.answer, piece, "an answer")
        if bits & MORE:
            return
        answer = records.decoded(request.answer)
        self._under_way.popleft()
        if request.done is not None:
            request.done(*((None, RequestFailed(answer)) if bits & ERROR else (answer, None)))
        self._ask()

    def hear_request(self, data, at: int, end: int) -> None:
        id_, at = read_number(data, at, end)
        bits, at = read_number(data, at, end)
        verb, at = read_string(data, at, end)
        piece = whole_string(data, at, end)
        if not 1 <= len(records.encoded(verb)) <= 64:
            raise StreamFault("a verb has 1 to 64 bytes")
        if self._asking is None:
            if len(self._asked) >= MOST_REQUESTS:
                raise StreamFault(f"more than {MOST_REQUESTS} requests are under way")
            self._asking = (id_, verb, bytearray())
        elif self._asking[:2] != (id_, verb):
            raise StreamFault("the pieces of two requests are mixed")
        argument = self._asking[2]
        _join(argument, piece, "the argument of a request")
        if bits & MORE:
            return
        self._asking = None
        slot = _Slot(id_)
        self._asked.append(slot)
        self._ask_service(verb, records.decoded(argument), slot)

    def _ask_service(self, verb: str, argument: str, slot: _Slot) -> None:
        def reply(answer: str, is_error: bool = False) -> None:
            if slot.answer is None:
                slot.answer, slot.is_error = _sendable(answer, is_error)
                self._answer()

        verbs, session = self._session.service.verbs, self._session
        handler = verbs.get(verb)
        if handler is None:
            reply(f'there is no request "{verb}"{schema.nearest(verb, verbs)}', True)
            return
        try:
            answer = handler(session.peer, argument)
        except Exception as fault:  # the peer hears of it
            reply(str(fault) or type(fault).__name__, True)
            return
        if isinstance(answer, str):
            reply(answer)
        else:
            session.on_awaitable(answer, reply)

    def _answer(self) -> None:
        while self._asked and self._asked[0].answer is not None:
            slot = self._asked.popleft()
            error = ERROR if slot.is_error else 0
            for more, piece in self._pieces(slot.answer):
                self._session.put(record(1, ANSWER, number(slot.id) + number(more | error) + string(piece)))

    def _pieces(self, data: bytes) -> Iterator[tuple[int, bytes]]:
        size = self._session.longest_record - 128
        for at in range(0, max(len(data), 1), size):
            yield MORE if at + size < len(data) else 0, data[at : at + size]

    def end(self, error: Exception) -> None:
        for request in (*self._under_way, *self._waiting, *self._standing):
            if request.done is not None:
                request.done(None, error)


def _join(whole: bytearray, piece: str, what: str) -> None:
    """Adds a piece, which may begin and end within a letter."""
    whole += records.encoded(piece)
    if len(whole) > LONGEST_TEXT:
        raise StreamFault(f"{what} has more than {LONGEST_TEXT} bytes")


def _sendable(answer: str, is_error: bool) -> tuple[bytes, bool]:
    """The bytes of an answer, and whether it is an error; what cannot be sent is one."""
    try:
        data = records.encoded(answer)
    except UnicodeEncodeError as fault:
        return f"the answer is no text: {fault.reason}".encode(), True
    if len(data) > LONGEST_TEXT:
        return f"the answer has more than {LONGEST_TEXT} bytes".encode(), True
    return data, is_error
