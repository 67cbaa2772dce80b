"""Connections on sockets, both ends in one event loop."""

import asyncio
import gc
import socket

import pytest
from loamtunnel import ConnectionEnded, Refused, RequestFailed, Service, connect, serve, sync
from loamtunnel.peer import Peer, socket_address
from loamtunnel.types import AradLifAcMp, EvecAppConfig, EvecEntry, EvecFormat, EvecKey, LifAppConfig, LifAppConfigDir, VtAppId

MPLS = VtAppId.vtAppMpls


@pytest.fixture
def service() -> Service:
    made = Service("driver")
    made.lifs, made.taken = LifAppConfigDir("lif"), LifAppConfigDir("configs")
    made.offer("lif", made.lifs, writable=True)
    made.accept("lifConfig", lambda peer, pushed: made.taken.appConfig.add(pushed.app))
    made.answer("who", lambda peer, argument: f"{peer.name} {argument}")

    async def slow(peer, argument):
        await asyncio.sleep(float(argument))
        raise ValueError("too slow")

    made.answer("slow", slow)
    return made


@pytest.mark.parametrize("kind", ["unix", "tcp"])
async def test_all_of_it_over_a_socket(service, address, kind):
    address = address if kind == "unix" else "tcp:0"
    async with serve(address, service) as server:
        address = address if kind == "unix" else f"tcp:{server.port}"
        async with connect(address, "mpls") as peer:
            assert peer.name == "driver" and list(await peer.offers()) == ["lif"]
            assert await peer.call("who", "is it") == "mpls is it"
            with pytest.raises(RequestFailed, match="too slow"):
                await peer.call("slow", "0.01")
            for given in (LifAppConfigDir, 5):  # the class, where an object was meant
                with pytest.raises(TypeError, match="is no entity"):
                    await peer.want("lif", given)
                with pytest.raises(TypeError, match="is no entity"):
                    await peer.push("lifConfig", given)
            assert not peer.session.pushes and not peer.session.wishes
            copy = await peer.want("lif")
            app = await peer.push("lifConfig", LifAppConfig(MPLS))
            changes, heard = copy.changes(), []
            app.reqCount[AradLifAcMp(vsi=100, vlanEditVid1=20)] = 1
            service.lifs.appConfig.add(MPLS).reqCount[AradLifAcMp(vsi=1)] = 2
            async for change in changes:
                heard.append(change.path)
                if change.value == 2:
                    break
            assert heard == ["lif.appConfig[vtAppMpls]", f"lif.appConfig[vtAppMpls].reqCount[{change.key}]"]
            while not service.taken.appConfig[MPLS].reqCount:
                await asyncio.sleep(0)
            assert service.taken.appConfig[MPLS].reqCount == app.reqCount
        assert peer.is_closed and not copy._mounts and not app._mounts
    assert not server.peers and not service.lifs._mounts


async def test_who_connects_before_the_owner_of_a_socket_listens_tries_again(service, address):
    with socket.socket(socket.AF_UNIX) as bound:
        bound.bind(address)
        with pytest.raises(ConnectionEnded, match="refused"):
            await connect(address)
        early = asyncio.create_task(connect(address)._connect())
        await asyncio.sleep(0.05)
        assert not early.done()
        server = await asyncio.get_running_loop().create_unix_server(lambda: Peer(service, False)._link, sock=bound)
        await (await early).close()
        server.close()


async def test_a_cancelled_task_leaves_nothing_behind(service, address):
    async with serve(address, service), connect(address) as peer:
        app = LifAppConfig(MPLS)
        for waiting in (peer.want("lif"), peer.push("lifConfig", app), peer.call("slow", "9")):
            task = asyncio.create_task(waiting)
            await asyncio.sleep(0)
            task.cancel()
            with pytest.raises(asyncio.CancelledError):
                await task
        session = peer.session
        assert not session.wishes and not session.pushes and not app._mounts
        copy = await peer.want("lif")
        assert len(session.mounts) == 1 and await peer.offers()
        changes = copy.changes()
        with pytest.raises(TimeoutError):
            await asyncio.wait_for(anext(changes), 0.01)
        service.lifs.appConfig.add(MPLS)
        assert (await anext(changes)).key == MPLS  # the wait that was given up has eaten nothing
        del changes
        gc.collect()
        assert not copy._watchers


async def test_changes_end_with_the_error_that_ended_the_connection(service, address):
    async with serve(address, service) as server:
        peer = await connect(address)
        copy = await peer.want("lif")
        changes = copy.changes()
        service.lifs.appConfig.add(MPLS)
        await server.close("maintenance")
        assert (await anext(changes)).path == "lif.appConfig[vtAppMpls]"
        with pytest.raises(ConnectionEnded, match="maintenance"):
            await anext(changes)
        assert await peer.wait_closed() == "maintenance"
        for waiting in (peer.want("lif"), peer.call("who")):
            with pytest.raises(ConnectionEnded, match="maintenance"):
                await waiting


async def test_withdrawn_and_offered_again(service, address):
    async with serve(address, service), connect(address) as peer:
        copy = await peer.want("lif")
        service.withdraw("lif")
        with pytest.raises(Refused, match="lif is no longer shared by driver"):
            await anext(copy.changes())
        with pytest.raises(Refused, match="nothing is offered under lif"):
            await peer.want("lif")
        service.lifs.appConfig.add(MPLS)
        service.offer("lif", service.lifs)
        assert await peer.want("lif", copy) is copy and MPLS in copy.appConfig


def test_nobody_there(tmp_path):
    with pytest.raises(ConnectionEnded, match="nowhere"):
        sync.connect(str(tmp_path / "nowhere"))


@pytest.mark.parametrize(
    ("address", "where"),
    [
        ("/run/loam", ("unix", "/run/loam")),
        ("unix:loam", ("unix", "loam")),
        ("tcp:4711", ("tcp", "127.0.0.1", "4711")),
        ("tcp:[::1]:4711", ("tcp", "::1", "4711")),
        ("loam", None),
        ("tcp:x", None),
        ("tcp:65536", None),
    ],
)
def test_addresses(address, where):
    if where is None:
        with pytest.raises(ValueError, match="is no address"):
            socket_address(address)
    else:
        assert socket_address(address) == where


async def test_a_server_that_says_nothing_is_not_waited_for_forever(address, monkeypatch):
    monkeypatch.setattr("loamtunnel.peer.HELLO", 0.1)
    held = []
    path = address
    async with await asyncio.start_unix_server(lambda *streams: held.append(streams), path):
        with pytest.raises(ConnectionEnded, match="there was no hello within 0.1 s"):
            await connect(path)


def test_a_map_takes_many_at_once():
    app = LifAppConfig(MPLS)
    app.reqCount |= {AradLifAcMp(vsi=1): 1, AradLifAcMp(vsi=2): 2}
    assert dict(app.reqCount) == {AradLifAcMp(vsi=1): 1, AradLifAcMp(vsi=2): 2}
    with pytest.raises(AttributeError, match="reqCount is filled by keys"):
        app.reqCount = {}
    with pytest.raises(ValueError, match="the value's key is"):
        EvecAppConfig(MPLS).entry[EvecKey("0", 1)] = EvecEntry(EvecKey("0", 2), EvecFormat(0))
