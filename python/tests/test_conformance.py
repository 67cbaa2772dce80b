"""The kit of conformance/ against the program and against this side."""

import io
import json
import subprocess
import sys

import pytest
from conftest import HERE

from loamtunnel import schema

KIT = HERE.parent.parent / "conformance"
sys.path.insert(0, str(KIT))

import python_peer  # noqa: E402
import run  # noqa: E402

OURS = [sys.executable, str(KIT / "python_peer.py"), "{role}", "--socket", "{socket}", "{roots}"]


def ran(*arguments: str) -> tuple[int, str]:
    done = subprocess.run([sys.executable, str(KIT / "run.py"), *arguments], capture_output=True, text=True)
    return done.returncode, done.stdout + done.stderr


def test_the_program_passes(program):
    values = f"{program} value {{type}} --from {{from}} --to {{to}} -f -"
    theirs = [program, "{role}", "--socket", "{socket}", "{roots}"]
    status, told = ran("--quiet", "--jobs", "2", "--peer", "program", "--values", values, *theirs)
    assert status == 0 and told.endswith("passed, 0 failed, 0 skipped\n"), told


def test_this_side_passes():
    status, told = ran("--quiet", "--jobs", "2", "--peer", "python", "--only", "^(?!value/)", *OURS)
    assert status == 0 and told.endswith("passed, 0 failed, 0 skipped\n"), told


def test_no_failure_of_ours_is_known():
    """The list is for peers of others: what passes already stays so."""
    assert not any(run.known_failures(KIT / "known-failures.txt", each) for each in ("program", "python"))


def test_this_side_s_values(monkeypatch, capsys):
    """As run.py does it, without a process for each type."""
    def convert(command, type_, source, target, lines):
        monkeypatch.setattr(sys, "stdin", io.StringIO("".join(each + "\n" for each in lines)))
        status = python_peer.convert(type_, source, target)
        out = capsys.readouterr().out.splitlines()
        return (
            out
            if not status
            else [None]
            if len(lines) == 1
            else [convert("", type_, source, target, [x])[0] for x in lines]
        )

    monkeypatch.setattr(run, "convert", convert)
    faults, count = [], []
    vectors = json.loads((KIT / "vectors" / "values.json").read_text())
    run.run_values(
        vectors, "ours", True, lambda vector, fault: (faults if fault else count).append((vector["name"], fault))
    )
    assert not faults and len(count) == len(vectors) > 160


def test_vectors_are_sound():
    """Each has a name of its own, and a rule that the documents have word for word where it is a sentence of the page."""
    vectors = [each for path in (KIT / "vectors").glob("*.json") for each in json.loads(path.read_text())]
    names = [each["name"] for each in vectors]
    assert len(set(names)) == len(names) > 400
    assert {each["level"] for each in vectors} == {"Required", "Recommended"} and all(each["rule"] for each in vectors)
    types = {each["type"] for each in vectors if "type" in each}
    listed = [each for each in schema._data("schema.json")["types"] if not each["platform"]]
    expected = {each["name"] for each in listed if each["kind"] in ("value", "enumeration")}
    assert types - {"Lumen::IntfId"} == expected, "conformance/make.py adds the vectors of new types"
    entities = {each["name"] for each in listed if each["kind"] == "entity" and each["travels"]}
    tried = {each["name"].split("/")[1] for each in vectors if each["name"].startswith("entity/")}
    assert len(tried) == len(entities), "conformance/make.py adds the vectors of new entities"


@pytest.mark.parametrize(
    ("listed", "status", "words"),
    [
        ("python hello/serve/at-once because\n", 1, "it passes; take it out of"),
        ("other hello/serve/at-once because\n", 0, "1 passed, 0 failed"),
    ],
)
def test_known_failures_can_only_become_fewer(tmp_path, listed, status, words):
    known = tmp_path / "known"
    known.write_text(listed)
    found, told = ran("--peer", "python", "--known", str(known), "--only", "^hello/serve/at-once$", *OURS)
    assert found == status and words in told


@pytest.mark.parametrize(
    ("peer", "words"),
    [
        ("raise SystemExit('no')", "the peer has ended: no"),
        (
            "import socket, sys, time; s = socket.socket(socket.AF_UNIX); s.bind(sys.argv[1]); s.listen();"
            " c = s.accept()[0]; c.send(bytes(64)); time.sleep(5)",
            "another magic",
        ),
    ],
)
def test_what_is_no_peer_fails(peer, words):
    only = ["--seconds", "0.5", "--only", "^hello/serve/(at-once|magic)$"]
    status, told = ran(*only, sys.executable, "-c", peer, "{socket}")
    assert status == 1 and "0 passed, 2 failed" in told and words in told


@pytest.mark.parametrize(
    ("arguments", "words"),
    [
        (["--only", "nomatch", "x"], "nothing has been tried"),
        (["--only", "("], "error: --only (: missing"),
        (["--jobs", "0"], "at least one vector"),
        (["--peer", "x", "--known", "/none"], "there is no such file"),
        (["--only", "^hello/serve/at-once$", "/none"], "the command cannot be started"),
    ],
)
def test_what_tries_nothing_is_no_success(arguments, words):
    status, told = ran(*arguments)
    assert status != 0 and words in told and "Traceback" not in told
