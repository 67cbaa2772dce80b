"""What can go wrong, as exceptions.

A value that does not fit its field is an `OverflowError`, anything else that is no value of its type a `ValueError`
(`RangeError`) or a `TypeError`; both are raised where the value is given, before anything is stored or sent. What a
peer or a connection does wrong derives from `LoamError`; the words of a peer are kept as they came.
"""


class LoamError(Exception):
    """The base of what a peer or a connection can cause."""


class RangeError(ValueError):
    """A number or a name that its type does not have."""


class StreamFault(LoamError):
    """Bytes that are no attribute log. The connection ends with these words as its goodbye."""


class ConnectionEnded(LoamError, ConnectionError):
    """The connection is gone. `str()` gives the reason: the peer's goodbye, or what was wrong with its bytes."""


class Refused(LoamError):
    """The peer refused a wish or a push; `str()` gives its words."""


class RequestFailed(LoamError):
    """The peer answered a request with an error; `str()` gives its words."""


class FenceFailed(LoamError):
    """A peer says that it could not do what a fence asks for, or that it cannot know; `str()` gives its words."""


class FenceGone(LoamError):
    """A peer behind this one left before it could answer a fence; `str()` says who. It may have applied all, or nothing."""


class ReadOnly(LoamError, AttributeError):
    """A write to an entity that this side may only read."""
