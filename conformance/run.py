#!/usr/bin/env python3
"""Runs the vectors against a peer of the attribute log: starts it by a command, and drives it over a Unix socket.

    conformance/run.py [OPTIONS] COMMAND...
    conformance/run.py build/debug/tools/loamtunnel {role} --socket {socket} {roots}

In each argument of COMMAND `{socket}` becomes the path of a socket and `{role}` one of

    serve    the peer listens there, and serves new entities, which it lets others write: an argument `{roots}` becomes
             `--writable NAME=TYPE ...`
    monitor  the peer connects there, and wants all that is offered; `{roots}` becomes nothing

A line a vector, then `N passed, N failed, N skipped`; the exit status is 1 when any has failed. conformance/README.md tells more.
The standard library is all that it needs, and it shares no code with any peer.
"""

from __future__ import annotations

import argparse
import concurrent.futures
import json
import pathlib
import re
import shlex
import socket
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
MAGIC = bytes.fromhex("894c6f616d4c6f67")
PREAMBLE = MAGIC + bytes((0, 2, 0, 3))
SPOKEN = (2, 3)  # the protocols of the kit
LIMITS = (4096, 262144, 65536, 1024)


class Failed(Exception):
    """What a vector has found wrong."""


class Skipped(Exception):
    """Why a vector could not be run."""


def number(value: int) -> bytes:
    out = bytearray()
    while value > 0x7F:
        out.append(value & 0x7F | 0x80)
        value >>= 7
    return bytes((*out, value))


def read_number(data: bytes, at: int) -> tuple[int, int]:
    value = shift = 0
    while True:
        if at >= len(data) or shift > 63:
            raise Failed(f"an unsound number in {data.hex(' ')}")
        value |= (data[at] & 0x7F) << shift
        at, shift = at + 1, shift + 7
        if data[at - 1] < 0x80:
            if shift > 7 and not data[at - 1]:
                raise Failed(f"a number that is longer than it must be in {data.hex(' ')}")
            return value, at


def string(text: str) -> bytes:
    return len(text.encode()).to_bytes(2, "big") + text.encode()


def record(form: int, entity: int, attribute: int, secondary: int | None, payload: bytes) -> bytes:
    signed = 2 * attribute if attribute >= 0 else -2 * attribute - 1
    body = bytes((form,)) + number(entity) + number(signed)
    if form & 2:
        body += number(secondary or 0)
    return (len(body) + len(payload)).to_bytes(2, "big") + body + payload


def hello(name: str = "conformance", limits: tuple[int, ...] = LIMITS, token: bytes | None = None) -> bytes:
    parts = {16: string(name), 17: (1).to_bytes(8, "big"), 18: b"".join(each.to_bytes(4, "big") for each in limits)}
    if token is not None:
        parts[19] = token
    return record(1, 1, 160, None, b"".join(bytes((k,)) + len(v).to_bytes(2, "big") + v for k, v in parts.items()))


def sections(data: bytes) -> dict[int, bytes]:
    found, at = {}, 0
    while at < len(data):
        size = int.from_bytes(data[at + 1 : at + 3], "big")
        found[data[at]] = data[at + 3 : at + 3 + size]
        at += 3 + size
    if at != len(data):
        raise Failed(f"a section is longer than its record: {data.hex(' ')}")
    return found


class Line:
    """A connection to the peer: what has come, as records, and how far the steps have looked."""

    def __init__(self, link: socket.socket, seconds: float) -> None:
        self.link, self.seconds = link, seconds
        self.preamble = b""
        self.data = b""
        self.records: list[tuple] = []
        self.at = 0
        self.is_over = False
        self.requests = 0

    def send(self, data: bytes) -> None:
        try:
            self.link.sendall(data)
        except OSError:
            pass  # what the peer has said before it closed is still to be read

    def pump(self, deadline: float) -> bool:
        """Reads what comes; False when the time is over or the connection is."""
        if self.is_over or time.monotonic() >= deadline:
            return False
        self.link.settimeout(max(0.001, deadline - time.monotonic()))
        try:
            data = self.link.recv(65536)
        except TimeoutError:
            return False
        except OSError:
            data = b""
        if not data:
            self.is_over = True
            return False
        self.data += data
        if len(self.preamble) < 12:
            self.preamble, self.data = self.data[:12], self.data[12:]
            if len(self.preamble) < 12:
                self.data, self.preamble = self.preamble, b""
                return True
            if self.preamble[:8] != MAGIC:
                raise Failed(f"another magic: {self.preamble.hex(' ')}")
        while len(self.data) >= 2 and len(self.data) >= (size := 2 + int.from_bytes(self.data[:2], "big")):
            self.records.append(self.taken_apart(self.data[2:size]))
            self.data = self.data[size:]
        return True

    @staticmethod
    def taken_apart(body: bytes) -> tuple:
        if not body or body[0] > 7:
            raise Failed(f"a record has an unsound form: {body.hex(' ')}")
        entity, at = read_number(body, 1)
        attribute, at = read_number(body, at)
        secondary = None
        if body[0] & 2:
            secondary, at = read_number(body, at)
        return body[0], entity, -(attribute + 1) // 2 if attribute & 1 else attribute // 2, secondary, body[at:]

    def find(self, matches, begin: int) -> int:
        """The place of the first record from `begin` on that matches, waiting for it."""
        deadline = time.monotonic() + self.seconds
        at = begin
        while True:
            while at < len(self.records):
                if matches(self.records[at]):
                    return at
                at += 1
            if not self.pump(deadline):
                if at < len(self.records):
                    continue
                why = "the connection has ended" if self.is_over else f"nothing more came in {self.seconds:g} s"
                raise Failed(why + self.told(begin))

    def told(self, begin: int) -> str:
        """What has come from a place on, for a message."""
        bye = next((each for each in self.records if each[2] == 161), None)
        if bye is not None:
            return f'; goodbye: "{bye[4][2:].decode(errors="replace")}"'
        came = [shown(each) for each in self.records[begin:][:12]]
        return "; came: " + (" | ".join(came) if came else "nothing")


def shown(each: tuple) -> str:
    form, entity, attribute, secondary, payload = each
    return f"{entity} {attribute}{'' if secondary is None else f'/{secondary}'} {form} {payload.hex(' ')}".strip()


class Names(dict):
    """The numbers that stand for <name>."""


def given(text: str, names: Names) -> bytes:
    """A record to send, of `ENTITY ATTRIBUTE[/SECONDARY] FORM PAYLOAD`."""
    entity, attribute, form, payload = (text.split(" ", 3) + [""])[:4]
    id_ = names[entity[1:-1]] if entity.startswith("<") else int(entity)
    attribute, _, secondary = attribute.partition("/")
    data = b"".join(
        number(names[each[1:-1]]) if each.startswith("<") else bytes.fromhex(each) for each in payload.split()
    )
    return record(int(form), id_, int(attribute), int(secondary) if secondary else None, data)


def matching(text: str, names: Names):
    """Whether a record is as told: `*` any entity, `??` any byte, `..` any rest, `<name>` a number that is bound if it is not yet."""
    entity, attribute, form, payload = (text.split(" ", 3) + [""])[:4]
    attribute, _, secondary = attribute.partition("/")

    def matches(each: tuple) -> bool:
        bound = Names(names)
        if each[0] != int(form) or each[2] != int(attribute) or each[3] != (int(secondary) if secondary else None):
            return False
        if entity != "*" and not same(entity, each[1], bound):
            return False
        at, data = 0, each[4]
        for part in payload.split():
            if part == "..":
                at = len(data)
            elif part.startswith("<"):
                try:
                    value, at = read_number(data, at)
                except Failed:
                    return False
                if not same(part, value, bound):
                    return False
            else:
                if at >= len(data) or (part != "??" and data[at] != int(part, 16)):
                    return False
                at += 1
        if at != len(data):
            return False
        names.update(bound)
        return True

    return matches


def same(part: str, value: int, bound: Names) -> bool:
    return bound.setdefault(part[1:-1], value) == value if part.startswith("<") else value == int(part)


class Play:
    """One vector against one process."""

    def __init__(self, vector: dict, command: list[str], seconds: float, folder: pathlib.Path) -> None:
        self.vector, self.command, self.seconds = vector, command, seconds
        self.path = str(folder / "socket")
        self.lines: dict[str, Line] = {}
        self.names = Names()
        self.tokens: dict[str, bytes] = {}
        self.role = vector["role"]
        self.listener: socket.socket | None = None
        self.process: subprocess.Popen | None = None

    def run(self) -> None:
        pathlib.Path(self.path).unlink(missing_ok=True)
        if self.role == "monitor":
            self.listener = socket.socket(socket.AF_UNIX)
            self.listener.bind(self.path)
            self.listener.listen()
            self.listener.settimeout(max(self.seconds, 10))
        roots = [f"{name}={type_}" for name, type_ in self.vector.get("roots", {}).items()]
        if self.vector.get("writable", True) and roots:
            roots.insert(0, "--writable")
        command: list[str] = []
        for each in self.command:
            command += (
                roots if each == "{roots}" else [each.replace("{socket}", self.path).replace("{role}", self.role)]
            )
        try:
            self.process = subprocess.Popen(
                command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE
            )
        except OSError as fault:
            raise Failed(f"the command cannot be started: {fault}") from None
        try:
            for place, step in enumerate(self.vector["steps"], 1):
                try:
                    self.step(step)
                except Failed as fault:
                    raise Failed(f"step {place}, {json.dumps(step)[:200]}: {fault}") from None
        finally:
            for each in self.lines.values():
                each.link.close()
            if self.listener is not None:
                self.listener.close()
            self.process.terminate()
            try:
                self.process.communicate(timeout=5)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.communicate()

    def opened(self) -> socket.socket:
        if self.listener is not None:
            try:
                return self.listener.accept()[0]
            except TimeoutError:
                raise Failed("the peer has not connected") from None
        deadline = time.monotonic() + 10
        while True:
            link = socket.socket(socket.AF_UNIX)
            try:
                link.connect(self.path)
                return link
            except OSError as fault:
                link.close()
                if self.process.poll() is not None:
                    raise Failed(f"the peer has ended: {self.process.stderr.read().decode().strip()}") from None
                if time.monotonic() > deadline:
                    raise Failed(f"the peer does not listen: {fault}") from None
                time.sleep(0.01)

    def step(self, step: dict) -> None:
        if "connect" in step:
            self.connect(step)
            return
        line = self.lines[step["on"]]
        if "bytes" in step:
            data = bytes.fromhex(step["bytes"])
            if step.get("singly"):
                for each in data:
                    line.send(bytes((each,)))
                    time.sleep(0.0005)
            else:
                line.send(data)
        if "send" in step:
            line.send(b"".join(given(each, self.names) for each in step["send"]))
        if "root" in step:
            self.root(line, step)
        if "expect" in step:
            self.expect(line, step)
        if step.get("settled"):
            line.requests += 1
            line.send(record(1, 1, 166, None, number(line.requests + 99) + b"\0" + string("conformance") + string("")))
            line.find(matching(f"1 167 1 {number(line.requests + 99).hex(' ')} ..", self.names), line.at)
        for text in step.get("never", ()):
            found = next((each for each in line.records if matching(text, Names(self.names))(each)), None)
            if found is not None:
                raise Failed(f"came: {shown(found)}")
        if "silent" in step:
            count = len(line.records)
            deadline = time.monotonic() + step["silent"]
            while line.pump(deadline):
                pass
            if len(line.records) > count:
                raise Failed("came: " + " | ".join(map(shown, line.records[count:])))
        if step.get("ends"):
            deadline = time.monotonic() + self.seconds
            while line.pump(deadline):
                pass
            if not line.is_over:
                raise Failed("the connection has not ended" + line.told(line.at))
            if step.get("goodbye") and not any(each[2] == 161 and len(each[4]) > 2 for each in line.records):
                raise Failed("it ended without a goodbye that tells the reason")

    def connect(self, step: dict) -> None:
        line = self.lines[step["connect"]] = Line(self.opened(), self.seconds)
        if not step.get("raw"):
            line.send(bytes.fromhex(step.get("preamble", PREAMBLE.hex())))
            token = bytes.fromhex(step["token"]) if "token" in step else None
            line.send(hello(limits=tuple(step.get("limits", LIMITS)), token=token))
            line.send(b"".join(given(each, self.names) for each in step.get("offers", ["1 163 1"])))
        at = line.find(lambda each: True, 0)
        first = line.records[at]
        lowest, highest = int.from_bytes(line.preamble[8:10], "big"), int.from_bytes(line.preamble[10:], "big")
        least = max(lowest, self.vector.get("protocol", SPOKEN[0]))
        if min(highest, SPOKEN[1]) < least:
            raise Skipped(f"the peer speaks the protocols {lowest} to {highest}; this needs {least} to {SPOKEN[1]}")
        if first[:4] != (1, 1, 160, None):
            raise Failed(f"the first record is no hello: {shown(first)}")
        found = sections(first[4])
        if not {16, 17, 18} <= found.keys() or len(found[17]) != 8 or len(found[18]) != 16:
            raise Failed(f"a hello without sound sections 16, 17 and 18: {shown(first)}")
        limits = [int.from_bytes(found[18][i : i + 4], "big") for i in range(0, 16, 4)]
        if len(found[16]) > 66 or not 1024 <= limits[0] <= 65535 or limits[1] < 2 * limits[0] or not limits[2]:
            raise Failed(f"a hello that is to be refused: {shown(first)}")
        if len(found.get(19, bytes(16))) != 16:
            raise Failed(f"a token that has not 16 bytes: {shown(first)}")
        if step.get("tokens") and found.get(19, bytes(16)) in (bytes(16), *self.tokens.values()):
            raise Failed(f"no token, or that of another process: {shown(first)}")
        if step.get("same_token") and found.get(19) != self.tokens.get(step["same_token"]):
            raise Failed(f"another token than on the connection {step['same_token']}: {shown(first)}")
        self.tokens[step["connect"]] = found.get(19, b"")
        line.at = at + 1
        if not step.get("raw"):
            line.find(matching("1 163 1", self.names), line.at)

    def root(self, line: Line, step: dict) -> None:
        """The announcement of a root: its id is bound, and its sections and the id itself are looked at."""

        def matches(each: tuple) -> bool:
            if each[:3] != (1, 1, 136) or 5 not in (found := sections(each[4])):
                return False
            at = 2 + len(step["path"].encode())
            if found[5][:at] != string(step["path"]):
                return False
            _, at = read_number(found[5], at)
            return read_number(found[5], at)[0] == step["number"]

        at = line.find(matches, line.at)
        id_, _ = read_number(sections(line.records[at][4])[4], 0)
        if not id_ & 1 or id_ == 1 or bool(id_ & 2) != (self.role == "monitor"):
            raise Failed(f"the id {id_} is not one that this side may assign")
        self.names[step["root"]] = id_
        line.at = at + 1

    def expect(self, line: Line, step: dict) -> None:
        reached = line.at
        for text in step["expect"]:
            try:
                found = line.find(matching(text, self.names), line.at)
            except Failed as fault:
                raise Failed(f"{text}: {fault}") from None
            reached = max(reached, found + 1)
            if step.get("order", True):
                line.at = reached
        line.at = reached


def convert(command: str, type_: str, source: str, target: str, lines: list[str]) -> list[str | None]:
    """What a peer's converter makes of lines; None for one that it refuses."""
    asked = [each.format(**{"type": type_, "from": source, "to": target}) for each in shlex.split(command)]
    done = subprocess.run(asked, input="".join(each + "\n" for each in lines), capture_output=True, text=True)
    out = done.stdout.splitlines()
    if done.returncode == 0:
        return (
            out
            if len(out) == len(lines)
            else [f"{len(out)} lines for {len(lines)}: {done.stderr.strip()}"] * len(lines)
        )
    if len(lines) == 1:
        return [None]
    return [one for each in lines for one in convert(command, type_, source, target, [each])]


FORMS = {"wire": "bytes", "text": "text", "json": "value", "short": "short"}


def same_json(made, wanted) -> bool:
    """Equal JSON, where a number of 64 bits may be a string."""
    if isinstance(made, dict) and isinstance(wanted, dict):
        return made.keys() == wanted.keys() and all(same_json(made[each], wanted[each]) for each in wanted)
    if isinstance(made, str) and isinstance(wanted, int) and not isinstance(wanted, bool):
        return made == str(wanted)
    return made == wanted and isinstance(made, bool) == isinstance(wanted, bool)


def alike(form: str, made: str | None, wanted) -> bool:
    if made is None:
        return False
    if form == "json":
        try:
            return same_json(json.loads(made), wanted)
        except ValueError:
            return False
    return re.sub(r"\s", "", made) == re.sub(r"\s", "", wanted) if form == "wire" else made == wanted


def run_values(vectors: list[dict], command: str | None, shorts: bool, tell) -> None:
    """Each form of each value from and into its bytes, in few runs of the converter: all of a type at once."""
    by_type: dict[str, list[dict]] = {}
    for each in vectors:
        by_type.setdefault(each["type"], []).append(each)
    for type_, group in by_type.items():
        if command is None:
            for each in group:
                tell(each, Skipped("no --values COMMAND"))
            continue
        wrong: dict[str, list[str]] = {each["name"]: [] for each in group}
        for form, member in FORMS.items():
            having = [
                each for each in group if member in each and not each.get("refused") and (form != "short" or shorts)
            ]
            # No bytes are no line.
            having = [each for each in having if form != "wire" or each["bytes"]]
            as_text = [json.dumps(each[member]) if form == "json" else each[member] for each in having]
            read = convert(command, type_, form, "wire", as_text) if having else []
            for each, made in zip(having, read, strict=True):
                if not alike("wire", made, each["bytes"]):
                    wrong[each["name"]].append(f"{form} is read as {made}")
            if form in ("text", "json"):
                having = [each for each in having if each["bytes"]]
                shown_ = convert(command, type_, "wire", form, [each["bytes"] for each in having]) if having else []
                for each, made in zip(having, shown_, strict=True):
                    if not alike(form, made, each[member]):
                        wrong[each["name"]].append(f"{form} is written as {made}")
        for each in group:
            if each.get("refused"):
                (made,) = convert(command, type_, "wire", "text", [each["bytes"]])
                if made is not None:
                    wrong[each["name"]].append(f"the bytes are not refused, but taken for {made}")
            faults = wrong[each["name"]]
            tell(each, Failed("; ".join(faults)) if faults else None)


def known_failures(path: pathlib.Path, peer: str) -> dict[str, str]:
    """`PEER VECTOR why` a line."""
    found = {}
    for line in path.read_text().splitlines() if path.exists() else ():
        if line.strip() and not line.startswith("#"):
            who, vector, why = (line.split(None, 2) + [""])[:3]
            if who == peer:
                found[vector] = why
    return found


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument(
        "--values", metavar="COMMAND", help="a converter of lines: {type} {from} {to} become a type, wire, text, json"
    )
    parser.add_argument("--shorts", action="store_true", help="the converter reads the form short, too")
    parser.add_argument("--peer", default="", help="the peer's name in the list of known failures")
    parser.add_argument("--known", type=pathlib.Path, default=HERE / "known-failures.txt", help="that list")
    parser.add_argument("--required", action="store_true", help="leave out what is only Recommended")
    parser.add_argument(
        "--only", default="", metavar="PATTERN", help="run vectors whose name has this regular expression"
    )
    parser.add_argument("--seconds", type=float, default=5.0, help="how long to wait for what must come")
    parser.add_argument("--jobs", type=int, default=1, help="how many vectors to run at a time")
    parser.add_argument("--quiet", action="store_true", help="print no line for what passes")
    parser.add_argument("command", nargs=argparse.REMAINDER)
    options = parser.parse_args()
    if options.jobs < 1:
        parser.error(f"--jobs {options.jobs}: at least one vector runs at a time")
    try:
        re.compile(options.only)
    except re.error as fault:
        parser.error(f"--only {options.only}: {fault}")
    if options.peer and not options.known.exists():
        parser.error(f"--known {options.known}: there is no such file")
    vectors = [each for path in sorted((HERE / "vectors").glob("*.json")) for each in json.loads(path.read_text())]
    vectors = [each for each in vectors if re.search(options.only, each["name"])]
    vectors = [each for each in vectors if each["level"] == "Required" or not options.required]
    known = known_failures(options.known, options.peer)
    counts = {"passed": 0, "failed": 0, "skipped": 0}

    def tell(vector: dict, fault: Exception | None) -> None:
        name, why = vector["name"], known.get(vector["name"])
        if isinstance(fault, Skipped):
            counts["skipped"] += 1
            line = f"skipped  {name}: {fault}"
        elif fault is not None and why is not None:
            counts["skipped"] += 1
            line = f"known    {name}: {why}"
        elif fault is not None:
            counts["failed"] += 1
            line = f"FAILED   {name} ({vector['level']}): {fault}\n         \"{vector['rule']}\""
        elif why is not None:
            counts["failed"] += 1
            line = f"FAILED   {name}: it passes; take it out of {options.known.name}"
        else:
            counts["passed"] += 1
            line = "" if options.quiet else f"passed   {name}"
        if line:
            print(line, flush=True)

    run_values([each for each in vectors if "steps" not in each], options.values, options.shorts, tell)

    def played(vector: dict) -> Exception | None:
        if not options.command:
            return Skipped("no COMMAND")
        try:
            with tempfile.TemporaryDirectory(prefix="conformance") as folder:
                Play(vector, options.command, options.seconds, pathlib.Path(folder)).run()
        except (Failed, Skipped) as fault:
            return fault
        except (KeyError, IndexError, ValueError) as fault:  # what has come is too unsound to be taken apart
            return Failed(f"{type(fault).__name__}: {fault}")
        return None

    acted = [each for each in vectors if "steps" in each]
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        for vector, fault in zip(acted, pool.map(played, acted), strict=True):
            tell(vector, fault)
    for name in known.keys() - {each["name"] for each in vectors} if not options.only and not options.required else ():
        counts["failed"] += 1
        print(f"FAILED   {name}: {options.known.name} has it, and there is no such vector")
    print(", ".join(f"{count} {what}" for what, count in counts.items()))
    if not counts["passed"] and not counts["failed"]:
        print("nothing has been tried: give a COMMAND, or another --only", file=sys.stderr)
        return 1
    return 1 if counts["failed"] else 0


if __name__ == "__main__":
    sys.exit(main())
