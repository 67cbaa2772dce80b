"""Read by mypy alone, which must find nothing: each marked line is an error that it must find."""

from ipaddress import IPv4Address

import loamtunnel
from loamtunnel import rows, sync
from loamtunnel.types import (
    AradLifAcMp,
    AradLifEntry,
    EvecEntry,
    EvecKey,
    Fapmask,
    LifAppConfig,
    LifAppConfigDir,
    LifType,
    TcamSharingRequest,
    VtAppId,
)

lif = AradLifAcMp(vsi=100, vlanEditVid1=20)
vsi: int = lif.vsi
kind: LifType = lif.lifType
entry: AradLifEntry = lif
AradLifAcMp(vsy=1)  # type: ignore[call-arg]
AradLifAcMp(vsi="many")  # type: ignore[arg-type]
lif.vsi = 5  # type: ignore[misc]

lifs = LifAppConfigDir("lif")
app: LifAppConfig = lifs.appConfig.add(VtAppId.vtAppMpls)
app.reqCount[lif] = 1
app.reqCount[lif] = None
app.reqCount["lif"] = 1  # type: ignore[index]
app.reqCounts  # type: ignore[attr-defined]
count: int | None = app.reqCount.get(lif)
certain: int = app.reqCount.get(lif)  # type: ignore[assignment]
total: int = app.reqCount.increment(lif)
LifAppConfig(3.5)  # type: ignore[arg-type]

chips: Fapmask = EvecEntry(EvecKey("0-3", 7), 5).key.fapMask
place: int = TcamSharingRequest(0, 1, 2).fapId

row = rows.LifTable(chip=8, variant=1)
row.vsi = 100
words: tuple[int, ...] = row.words
address: rows.Address = row.address(index=5)
rows.encode(lif, chip=8).vsi
row.vsi = "many"  # type: ignore[assignment]


async def main() -> None:
    async with loamtunnel.connect("/run/loam/driver") as peer:
        pushed: LifAppConfig = await peer.push("lifConfig", LifAppConfig(VtAppId.vtAppMpls))
        async for change in pushed.changes():
            print(change.path, change.value)


def script() -> None:
    with sync.connect("/run/loam/driver") as peer:
        known: LifAppConfigDir = peer.want("lif", lifs)
        peer.want("lifStatus").appStatus
        own: LifAppConfigDir = peer.push("lif", lifs)
        print(known, own, IPv4Address("10.0.0.1"))
