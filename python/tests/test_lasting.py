"""Connections that come back, and ends that leave nothing behind."""

import asyncio
import os
import subprocess

import pytest
from conftest import lif, listening
from loamtunnel import ConnectionEnded, ReadOnly, Refused, Service, connect, serve, sync
from loamtunnel.types import LifAppConfig, LifAppConfigDir, VtAppId

MPLS, VXLAN, EVPN = VtAppId.vtAppMpls, VtAppId.vtAppVxlan, VtAppId.vtAppEvpn


class Driver:
    """A server with a tree, that can go and come back with another tree."""

    def __init__(self, address: str) -> None:
        self.address = address

    async def start(self, *apps: VtAppId) -> None:
        self.service = Service("driver")
        self.lifs, self.asked = LifAppConfigDir("lif"), LifAppConfigDir("asked")
        for each in apps:
            self.lifs.appConfig.add(each).reqCount[lif(1)] = int(each)
        self.service.offer("lif", self.lifs, writable=True)
        self.service.accept("ask", lambda peer, made: self.asked.appConfig.add(made.key))
        self.server = await serve(self.address, self.service).start()

    async def stop(self) -> None:
        await self.server.close("maintenance")


async def holds(what) -> None:
    async with asyncio.timeout(10):
        while not what():
            await asyncio.sleep(0.005)


async def test_what_was_shared_is_taken_up_again(address):
    driver = Driver(address)
    await driver.start(MPLS, EVPN)
    driver.lifs.appConfig[EVPN].reqCount[lif(7)] = 7  # which goes with this driver
    async with connect(driver.address, reconnect=True) as peer:
        copy = await peer.want("lif")
        kept = copy.appConfig[EVPN]
        app = await peer.push("ask", LifAppConfig(MPLS))
        app.reqCount[lif(1)] = 1
        await holds(lambda: driver.asked.appConfig[MPLS].reqCount == {lif(1): 1})
        old, changes = copy.appConfig[MPLS], copy.changes()
        await driver.stop()
        await holds(lambda: not peer.is_connected)
        assert not peer.is_closed and old.reqCount == {lif(1): 7}
        with pytest.raises(ReadOnly, match="the connection is gone .maintenance."):
            old.reqCount[lif(2)] = 1
        app.reqCount[lif(2)] = 2  # that is ours, and goes out later
        waiting = asyncio.create_task(peer.call("sync"))
        late = asyncio.create_task(peer.want("late"))
        await driver.start(VXLAN, EVPN)
        driver.service.offer("late", LifAppConfigDir("late"))
        assert await asyncio.wait_for(waiting, 10) == "" and peer.connections == 2
        assert copy.flat() == driver.lifs.flat() and copy.appConfig[EVPN] is kept and len(kept.reqCount) == 1
        assert driver.asked.appConfig[MPLS].reqCount == {lif(1): 1, lif(2): 2}
        heard = {(each.attribute, each.key): each.value for each in iter(changes.take, None)}
        assert heard["appConfig", MPLS] is None and heard["appConfig", VXLAN] is copy.appConfig[VXLAN]
        copy.appConfig[VXLAN].reqCount[lif(9)] = 9
        await holds(lambda: driver.lifs.appConfig[VXLAN].reqCount.get(lif(9)) == 9)
        assert (await asyncio.wait_for(late, 10)).name == "late"
        # What is no longer shared is not asked for again.
        driver.service.withdraw("lif")
        with pytest.raises(Refused):
            while True:
                await asyncio.wait_for(anext(changes), 10)
        peer.unpush(app)
        await driver.stop()
        await driver.start()
        driver.service.offer("late", LifAppConfigDir("late"))
        await holds(lambda: peer.connections >= 3 and peer.is_connected)
    await driver.stop()


async def test_it_ends_with_both_reasons_when_there_is_no_way_back(address):
    driver = Driver(address)
    with pytest.raises(ConnectionEnded, match="No such file"):
        await connect(driver.address, reconnect=True)
    await driver.start(MPLS)
    async with connect(driver.address, reconnect=True, within=0.3) as peer:
        changes = (await peer.want("lif")).changes()
        await driver.stop()
        begun = asyncio.get_running_loop().time()
        for waiting in (peer.call("sync"), anext(changes), peer.want("other"), peer.flush()):
            with pytest.raises(ConnectionEnded, match="maintenance; not back within 0.3 s: .*No such file"):
                await waiting
        assert peer.is_closed and asyncio.get_running_loop().time() - begun < 3
        assert await peer.wait_closed() == peer.reason
    # There again, but without what was wanted.
    await driver.start(MPLS)
    async with connect(driver.address, reconnect=True, within=0.3) as peer:
        await peer.want("lif")
        await driver.stop()
        bare = Driver(driver.address)
        bare.server = await serve(driver.address, Service("bare")).start()
        assert "nothing is offered under lif" in await asyncio.wait_for(peer.wait_closed(), 5)
        await bare.stop()


@pytest.mark.parametrize("reconnect", [False, True])
async def test_leaving_leaves_no_task(address, reconnect):
    driver = Driver(address)
    await driver.start(MPLS)
    with pytest.raises(KeyError, match="mine"):
        async with connect(driver.address, reconnect=reconnect) as peer:
            await peer.want("lif")
            raise KeyError("mine")
    await asyncio.sleep(0.02)
    assert not driver.server.peers

    async def use():
        async with connect(driver.address, reconnect=reconnect) as peer:
            await peer.want("lif")
            await asyncio.sleep(60)

    task = asyncio.create_task(use())
    await holds(lambda: driver.lifs._mounts)
    task.cancel()
    with pytest.raises(asyncio.CancelledError):
        await task
    await holds(lambda: not driver.lifs._mounts)
    await driver.stop()


async def test_a_peer_that_does_not_read_cannot_hold_the_end_up(address):
    async def mute(reader, writer):
        reader._transport.pause_reading()
        stuck.append(writer)

    stuck: list = []
    server = await asyncio.start_unix_server(mute, address)
    with pytest.raises(TimeoutError):
        async with asyncio.timeout(0.1):
            await connect(address)
    for each in stuck:
        each.close()
    server.close()
    await server.wait_closed()


def test_a_script_comes_back_too(program, address):
    """The program is killed and started again, while the script waits for a value."""

    def started():
        process = subprocess.Popen([program, "serve", "-s", address, "-w", "lif=LifAppConfigDir"], stderr=-3)
        listening(address, process)
        return process

    process = started()
    try:
        with sync.connect(address, timeout=10, reconnect=True) as peer:
            copy = peer.want("lif")
            copy.appConfig.add(MPLS).reqCount[lif(1)] = 1
            peer.call("sync")
            process.kill()
            process.wait()
            os.unlink(address)
            process = started()
            peer.until(lambda: not copy.appConfig)
            copy.appConfig.add(VXLAN)
            assert peer.call("sync") == ""
    finally:
        process.kill()
        process.wait()
