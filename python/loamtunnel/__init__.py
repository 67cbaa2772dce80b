"""Entities of a switch's driver stack, shared with other processes.

    import loamtunnel
    from loamtunnel.types import AradLifAcMp, LifAppConfig, VtAppId

    async with loamtunnel.connect("/run/loam/driver") as peer:
        lifs = await peer.want("lifStatus")
        app = await peer.push("lifConfig", LifAppConfig(VtAppId.vtAppMpls))
        app.reqCount[AradLifAcMp(vsi=100, vlanEditVid1=20)] = 1
        await peer.fence("done")
        async for change in lifs.changes():
            print(change.path, change.value)

`loamtunnel.types` has the types of the model, `loamtunnel.tree` says what an entity can do, `loamtunnel.sync` is the same without
await. `loamtunnel.session` has no socket, for programs with a loop of their own. The standard library is all that it needs.
"""

from .errors import (
    ConnectionEnded,
    FenceFailed,
    FenceGone,
    LoamError,
    RangeError,
    ReadOnly,
    Refused,
    RequestFailed,
    StreamFault,
)
from .fences import Fence
from .peer import Peer, Server, connect, serve
from .service import Limits, Service
from .session import Session
from .tree import Change, Entity
from .wire import from_wire, to_wire

__all__ = [
    "Change",
    "ConnectionEnded",
    "Entity",
    "Fence",
    "FenceFailed",
    "FenceGone",
    "Limits",
    "LoamError",
    "Peer",
    "RangeError",
    "ReadOnly",
    "Refused",
    "RequestFailed",
    "Server",
    "Service",
    "Session",
    "StreamFault",
    "connect",
    "from_wire",
    "serve",
    "to_wire",
]
