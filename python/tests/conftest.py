"""What the tests share: the package, two sessions joined by a pipe, and the program `loamtunnel`."""

import asyncio
import inspect
import os
import pathlib
import shutil
import socket
import subprocess
import sys
import time

import pytest

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent))  # where the tests lie alone, it is what is installed that is tested

from loamtunnel.service import Service  # noqa: E402
from loamtunnel.session import Session  # noqa: E402
from loamtunnel.types import AradLifAcMp  # noqa: E402


def ran(program: str, *arguments: str, given: str = "", status: int = 0) -> str:
    done = subprocess.run([program, *arguments], input=given, capture_output=True, text=True, timeout=60)
    assert done.returncode == status, done.stderr
    return done.stdout


def listening(address: str, process: subprocess.Popen) -> None:
    """Waits until somebody listens there: the file of a socket is there a moment before."""
    for _ in range(1000):
        with socket.socket(socket.AF_UNIX) as probe:
            if probe.connect_ex(address) == 0:
                return
        assert process.poll() is None, "the program has ended"
        time.sleep(0.01)
    raise RuntimeError("the program does not serve")


@pytest.hookimpl(tryfirst=True)
def pytest_pyfunc_call(pyfuncitem):
    """A test that is a coroutine has an event loop of its own, and leaves no task in it."""
    if not inspect.iscoroutinefunction(pyfuncitem.obj):
        return None

    async def watched():
        await pyfuncitem.obj(**{each: pyfuncitem.funcargs[each] for each in pyfuncitem._fixtureinfo.argnames})
        await asyncio.sleep(0)
        assert asyncio.all_tasks() == {asyncio.current_task()}

    asyncio.run(watched(), debug=True)
    return True


def lif(i: int) -> AradLifAcMp:
    """One of many keys."""
    return AradLifAcMp(vsi=i)


class Pipe:
    """A session that connects and one that is connected to; `run` carries bytes until both are silent."""

    def __init__(self, ours: Service | None = None, theirs: Service | None = None, piece: int = 1 << 20) -> None:
        self.ours = Session(ours or Service("ours"), True)
        self.theirs = Session(theirs or Service("theirs"), False)
        self.piece = piece

    def run(self) -> "Pipe":
        while any([self._carry(self.ours, self.theirs), self._carry(self.theirs, self.ours)]):
            pass
        return self

    def _carry(self, source: Session, target: Session) -> bool:
        data = source.take()
        for at in range(0, len(data), self.piece):
            target.feed(data[at : at + self.piece])
        return bool(data)


@pytest.fixture
def address(tmp_path) -> str:
    return str(tmp_path / "socket")


@pytest.fixture
def program() -> str:
    """The path of the program, from LOAM_PROGRAM or the PATH."""
    found = os.environ.get("LOAM_PROGRAM") or shutil.which("loamtunnel")
    if not found:
        pytest.skip("no program loamtunnel: set LOAM_PROGRAM")
    return found


@pytest.fixture
def starting(program, tmp_path):
    """Starts a command of the program that listens on a socket, and gives the address."""
    started = []

    def start(command: str, *arguments: str) -> str:
        address = str(tmp_path / f"socket{len(started)}")
        process = subprocess.Popen(
            [program, command, "--socket", address, *arguments], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL
        )
        started.append(process)
        listening(address, process)
        return address

    start.started = started
    yield start
    for process in started:
        process.terminate()
        process.wait(10)


@pytest.fixture
def serving(starting):
    """Starts `loamtunnel serve` with the roots given, and gives the address."""
    return lambda *arguments: starting("serve", *arguments)
