"""The application of PeerBench in Python: peer.py SOCKET CHANGES prints seconds, MB, and two times in microseconds."""

import asyncio
import pathlib
import resource
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "python"))

import loamtunnel  # noqa: E402
from loamtunnel.types import AradLifEntry, LifType, VtAppId  # noqa: E402


async def main(address: str, changes: int) -> None:
    begun = time.perf_counter()
    async with loamtunnel.connect(address) as peer:
        copy = await peer.want("lifConfig")
        whole = time.perf_counter() - begun
        memory = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024
        counts = copy.appConfig[VtAppId.vtAppMpls].reqCount
        entry, times = AradLifEntry(LifType.lifAcMp, 0, 0), []
        for i in range(changes):
            written = time.perf_counter()
            counts[entry] = 2_000_000 + i
            await peer.fence()
            times.append(time.perf_counter() - written)
    times.sort()
    print(whole, memory, times[len(times) // 2] * 1e6, times[len(times) * 99 // 100] * 1e6)


asyncio.run(main(sys.argv[1], int(sys.argv[2])))
