#!/usr/bin/env python3
"""Do programs that speak protocol 2 alone and today's talk to each other? Runs both as processes, each in either role.

    talk.py OLDER TODAY

OLDER and TODAY are the two programs. A line for each thing that holds; the first one that does not ends it.
"""

from __future__ import annotations

import contextlib
import pathlib
import subprocess
import sys
import tempfile
import time
from collections.abc import Iterator

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples"
COUNT = "lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=%d]"
NO_FENCES = "speaks protocol 2, which has no fences"
SECONDS = 60  # for what takes a moment


def expect(holds: bool, what: str, *shown: object) -> None:
    if not holds:
        sys.exit("does not hold: " + what + "".join(f"\n    {each}" for each in shown))
    print("holds:", what, flush=True)


class Talk:
    def __init__(self, folder: pathlib.Path) -> None:
        self.folder, self.socket = folder, str(folder / "socket")

    @contextlib.contextmanager
    def runs(self, says: str, *words: str) -> Iterator[pathlib.Path]:
        """Such a process, once it has said that it is at work; its output."""
        log = self.folder / words[1]
        with open(log, "wb") as out, subprocess.Popen([*words, "--socket", self.socket], stdout=out, stderr=out) as process:
            self.wait_for(log, says)
            try:
                yield log
            finally:
                process.terminate()

    def wait_for(self, log: pathlib.Path, text: str) -> None:
        end = time.monotonic() + SECONDS
        while text not in log.read_text(errors="replace"):
            if time.monotonic() > end:
                sys.exit(f"{text!r} is never said: {log.read_text(errors='replace')}")
            time.sleep(0.02)

    def run(self, program: str, command: str, *words: str, status: int = 0) -> str:
        """What it prints."""
        at = ("--socket", self.socket, "--timeout", "20000")
        done = subprocess.run([program, command, *at, *words], capture_output=True, text=True, timeout=SECONDS)
        if done.returncode != status:
            sys.exit(f"{command} ends with {done.returncode}, not {status}: {done.stdout}{done.stderr}")
        return done.stdout + done.stderr


def share(talk: Talk, server: str, client: str, today: str) -> None:
    """A tree that one of the two serves and the other one writes, reads and watches."""
    whose = "today's" if client == today else "an older"
    talk.run(client, "set", "lif.appConfig[vtAppMpls]")
    talk.run(client, "set", COUNT % 1, "3")
    expect(talk.run(server, "get", COUNT % 1).strip() == "3", f"what {whose} client sets is there")
    expect(talk.run(client, "get", COUNT % 1).strip() == "3", f"{whose} client reads it back")
    with talk.runs("= 3", client, "monitor") as log:
        talk.run(server, "set", COUNT % 2, "7")
        talk.wait_for(log, "= 7")
        expect(True, f"{whose} monitor hears of a change")
        if client != today:
            talk.run(today, "sync")
            expect(True, "sync of the server alone succeeds beside an older monitor")
            said = talk.run(today, "sync", "--all", status=1)
            expect(NO_FENCES in said, "sync of all says at once that the older monitor has no fences", said)
    talk.run(client, "del", COUNT % 2)
    tree = talk.run(client, "tree")
    expect("= 3" in tree and tree.count("reqCount[") == 1, f"{whose} client deletes, and prints the tree", tree)
    expect(talk.run(server, "tree").count("reqCount[") == 1, "which is gone for one of the server's kind, too")


def older_clients(talk: Talk, older: str, today: str) -> None:
    with talk.runs("serving at", today, "serve", "lif=LifAppConfigDir", "--writable"):
        share(talk, today, older, today)
        talk.run(today, "sync", "--all")
        expect(True, "sync of all succeeds once the older monitor has gone")
    lifs = talk.folder / "lifs.txt"
    lifs.write_text("AradLifAcMp vsi=100\nAradLifAcMp vsi=101\nAradLifAcP2pToAc destination=23 outLif=4111\n")
    with talk.runs("serving at", today, "driver", "--chip", "8", "--image", str(talk.folder / "image")):
        said = talk.run(older, "application", "--app", "vtAppMpls", "--file", str(lifs))
        expect("3 of 3 requests made" in said, "an older application gets its LIFs from today's driver", said)
        for program in (older, today):
            expect(talk.run(program, "tree", "lifStatus").count("lifEntry[") == 3, "and they are answered")
        many = talk.run(older, "application", "--app", "vtAppEvpn", "--file", str(EXAMPLES / "lifs.txt"), "--withdraw", "10")
        expect("requests made" in many, "an older application asks for all examples and takes some back", many)
        talk.run(today, "audit")
        expect(True, "and the rows are those of the answers")


def older_servers(talk: Talk, older: str, today: str) -> None:
    with talk.runs("serving at", older, "serve", "lif=LifAppConfigDir", "--writable"):
        share(talk, older, today, today)
        for words in (["--wait", "applied"], ["--wait", "done"], ["--all"]):
            said = talk.run(today, "sync", *words, status=1)
            expect(NO_FENCES in said, f"sync {' '.join(words)} towards an older server fails at once", said)
        for command, words in (("explain", ["AradLifAcMp vsi=1"]), ("audit", [])):
            said = talk.run(today, command, *words, status=1)
            expect("it is no driver, or an older one" in said, f"{command} says that it is older", said)
        talk.run(today, "stats")
    lifs = talk.folder / "lifs.txt"
    lifs.write_text("AradLifAcMp vsi=100\n")
    with talk.runs("serving at", older, "driver", "--chip", "8", "--image", str(talk.folder / "older-image")):
        talk.run(older, "application", "--app", "vtAppMpls", "--file", str(lifs))
        placed = talk.run(today, "tree", "lifStatus")
        expect("lifEntry[AradLifAcMp vsi=100]" in placed, "today's client reads the answers of an older driver", placed)
        said = talk.run(today, "application", "--app", "vtAppMpls", "--file", str(lifs), status=1)
        expect("nothing is taken in under" in said, "today's application says what an older driver does not take", said)


if __name__ == "__main__":
    with tempfile.TemporaryDirectory(prefix="loam-protocol2-") as place:
        older_clients(Talk(pathlib.Path(place)), *sys.argv[1:])
        older_servers(Talk(pathlib.Path(place)), *sys.argv[1:])
