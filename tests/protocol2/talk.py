#!/usr/bin/env python3
"""Do programs that speak protocol 2 alone and today's talk to each other? Runs both as processes, each in either role.

    talk.py OLDER TODAY [--record FOLDER]

OLDER and TODAY are the two programs. With --record the bytes of some connections are written to FOLDER, in the form of
forms/Recording.h: tests/forms/Protocol2Test.cpp feeds what the older side has sent to today's library. A line for each thing that
holds; the exit status is 1 when one does not.
"""

from __future__ import annotations

import argparse
import contextlib
import pathlib
import select
import socket
import subprocess
import sys
import tempfile
import threading
import time

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples"
COUNT = "lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=%d]"
NO_FENCES = "speaks protocol 2, which has no fences"
SECONDS = 60  # for what takes a moment


class Fault(Exception):
    """What does not hold."""


def expect(holds: bool, what: str, *shown: object) -> None:
    if not holds:
        raise Fault(what + "".join(f"\n    {each}" for each in shown))
    print("holds:", what, flush=True)


class Recorder:
    """Passes one connection on, and writes down what goes over it."""

    def __init__(self, file: pathlib.Path, listen: pathlib.Path, to: pathlib.Path) -> None:
        self.file, self.to = file, to
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(str(listen))
        self.listener.listen()
        self.thread = threading.Thread(target=self.run)
        self.thread.start()

    def run(self) -> None:
        client, _ = self.listener.accept()
        server = socket.socket(socket.AF_UNIX)
        server.connect(str(self.to))
        with self.listener, client, server, open(self.file, "wb") as out:
            out.write(b"LoamRec1" + (4096).to_bytes(4, "big"))
            sides = {client: (1, server), server: (0, client)}
            while sides:
                for each in select.select(list(sides), [], [])[0]:
                    side, other = sides[each]
                    data = each.recv(1 << 15)
                    if not data:
                        del sides[each]
                        with contextlib.suppress(OSError):  # which has closed already
                            other.shutdown(socket.SHUT_WR)
                        continue
                    # The times are left out, so that two recordings of the same are the same.
                    out.write(bytes((side,)) + bytes(8) + len(data).to_bytes(4, "big") + data)
                    with contextlib.suppress(OSError):
                        other.sendall(data)


class Talk:
    def __init__(self, folder: pathlib.Path, record: pathlib.Path | None) -> None:
        self.folder, self.record = folder, record
        self.socket = folder / "socket"
        self.started: list[subprocess.Popen[bytes]] = []

    def start(self, program: str, *words: str, log: str) -> subprocess.Popen[bytes]:
        with open(self.folder / log, "wb") as out:
            process = subprocess.Popen([program, *words], stdout=out, stderr=subprocess.STDOUT)
        self.started.append(process)
        return process

    def wait_for(self, log: str, text: str) -> None:
        end = time.monotonic() + SECONDS
        while text not in self.log(log):
            if time.monotonic() > end:
                raise Fault(f"{log} never says {text!r}\n{self.log(log)}")
            time.sleep(0.02)

    def log(self, name: str) -> str:
        return (self.folder / name).read_text(errors="replace")

    def serve(self, program: str, *words: str, log: str = "server.log") -> subprocess.Popen[bytes]:
        process = self.start(program, *words, "--socket", str(self.socket), log=log)
        self.wait_for(log, "serving at")
        return process

    def run(self, program: str, command: str, *words: str, status: int = 0, record: str = "") -> str:
        """What it prints."""
        at, recorder = self.socket, None
        if record and self.record is not None:
            at = self.folder / f"{record}.socket"
            recorder = Recorder(self.record / f"{record}.loamlog", at, self.socket)
        done = subprocess.run(
            [program, command, "--socket", str(at), "--timeout", "20000", *words], capture_output=True, text=True, timeout=SECONDS
        )
        if recorder is not None:
            recorder.thread.join()
        if done.returncode != status:
            raise Fault(f"{command} ends with {done.returncode}, not {status}: {done.stdout}{done.stderr}")
        return done.stdout + done.stderr

    def end(self, process: subprocess.Popen[bytes]) -> None:
        process.terminate()
        process.wait(SECONDS)
        self.started.remove(process)


def older_clients(talk: Talk, older: str, today: str) -> None:
    server = talk.serve(today, "serve", "lif=LifAppConfigDir", "--writable")
    talk.run(older, "set", "lif.appConfig[vtAppMpls]", record="older-set-child")
    talk.run(older, "set", COUNT % 1, "3", record="older-set")
    expect(talk.run(today, "get", COUNT % 1).strip() == "3", "what an older client sets is there")
    expect(talk.run(older, "get", COUNT % 1, record="older-get").strip() == "3", "an older client reads it back")
    watcher = talk.start(older, "monitor", "--socket", str(talk.socket), log="monitor.log")
    talk.wait_for("monitor.log", "= 3")
    talk.run(today, "set", COUNT % 2, "7")
    talk.wait_for("monitor.log", "= 7")
    expect(True, "an older monitor hears of a change")
    talk.run(today, "sync")
    expect(True, "sync of the server alone succeeds beside an older monitor")
    said = talk.run(today, "sync", "--all", status=1)
    expect(NO_FENCES in said, "sync of all says at once that the older monitor has no fences", said)
    talk.end(watcher)
    talk.run(today, "sync", "--all")
    expect(True, "it succeeds once that has gone")
    talk.run(older, "del", COUNT % 2)
    expect("vsi=2" not in talk.run(today, "tree"), "what an older client deletes is gone")
    expect("= 3" in talk.run(older, "tree"), "an older client prints the tree")
    talk.end(server)

    driver = talk.serve(today, "driver", "--chip", "8", "--image", str(talk.folder / "image"))
    lifs = talk.folder / "lifs.txt"
    lifs.write_text("AradLifAcMp vsi=100\nAradLifAcMp vsi=101\nAradLifAcP2pToAc destination=23 outLif=4111\n")
    said = talk.run(older, "application", "--app", "vtAppMpls", "--file", str(lifs), record="older-application")
    expect("3 of 3 requests made" in said, "an older application gets its LIFs from today's driver", said)
    placed = talk.run(today, "tree", "lifStatus")
    expect(placed.count("lifEntry[") == 3, "and they are answered", placed)
    expect(talk.run(older, "tree", "lifStatus").count("lifEntry[") == 3, "an older client prints the same answers")
    talk.run(today, "audit")
    expect(True, "and the rows are those of the answers")
    many = talk.run(older, "application", "--app", "vtAppEvpn", "--file", str(EXAMPLES / "lifs.txt"), "--withdraw", "10")
    expect("requests made" in many, "an older application asks for all examples and takes some back", many)
    talk.run(today, "audit")
    talk.end(driver)


def older_servers(talk: Talk, older: str, today: str) -> None:
    server = talk.serve(older, "serve", "lif=LifAppConfigDir", "--writable", log="older.log")
    talk.run(today, "set", "lif.appConfig[vtAppMpls]")
    talk.run(today, "set", COUNT % 1, "3", record="older-server-set")
    expect(talk.run(today, "get", COUNT % 1, record="older-server-get").strip() == "3", "today's client sets and gets at an older server")
    watcher = talk.start(today, "monitor", "--socket", str(talk.socket), log="monitor.log")
    talk.wait_for("monitor.log", "= 3")
    talk.run(older, "set", COUNT % 2, "7")
    talk.wait_for("monitor.log", "= 7")
    expect(True, "today's monitor hears of a change there")
    talk.end(watcher)
    for words in (["--wait", "applied"], ["--wait", "done"], ["--all"]):
        said = talk.run(today, "sync", *words, status=1)
        expect(NO_FENCES in said, f"sync {' '.join(words)} towards an older server fails at once", said)
    talk.run(today, "del", COUNT % 2)
    tree = talk.run(today, "tree")
    expect("= 3" in tree and "= 7" not in tree, "today's client deletes there, and prints the tree", tree)
    for command, words in (("explain", ["AradLifAcMp vsi=1"]), ("audit", [])):
        said = talk.run(today, command, *words, status=1)
        expect("it is no driver, or an older one" in said, f"{command} says that it is older", said)
    talk.run(today, "stats")
    talk.end(server)

    driver = talk.serve(older, "driver", "--chip", "8", "--image", str(talk.folder / "older-image"), log="older-driver.log")
    lifs = talk.folder / "lifs.txt"
    lifs.write_text("AradLifAcMp vsi=100\n")
    talk.run(older, "application", "--app", "vtAppMpls", "--file", str(lifs))
    placed = talk.run(today, "tree", "lifStatus", record="older-driver-tree")
    expect("lifEntry[AradLifAcMp vsi=100]" in placed, "today's client reads the answers of an older driver", placed)
    said = talk.run(today, "application", "--app", "vtAppMpls", "--file", str(lifs), status=1)
    expect("nothing is taken in under" in said, "today's application says what an older driver does not take", said)
    talk.end(driver)


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("older")
    parser.add_argument("today")
    parser.add_argument("--record", type=pathlib.Path, metavar="FOLDER")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="loam-protocol2-") as folder:
        talk = Talk(pathlib.Path(folder), options.record)
        try:
            older_clients(talk, options.older, options.today)
            older_servers(talk, options.older, options.today)
        except Fault as fault:
            print("does not hold:", fault, file=sys.stderr)
            return 1
        finally:
            for process in talk.started:
                process.kill()
                process.wait()
    return 0


if __name__ == "__main__":
    sys.exit(main())
