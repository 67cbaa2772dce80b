#!/usr/bin/env python3
"""Do the tests see faults? Puts each fault of tests/mutants/*.toml into a copy of the tree and says which test sees it.

    run.py [FOLDER...]      all folders, or those
    run.py --check          only whether each fault still has its one place

A file of faults has the name of a folder of the library. The tests of that folder must see them, or those that `tests`
names, of the file or of one fault: a folder, or some of its tests, "tools:Value.*:Log.*". A fault is a rule that it breaks, a file, the text there, which must occur once, and what it
becomes:

    [[fault]]
    breaks = "reactors are told after the version has risen"
    file = "reflect/entity/Levels.h"
    statement = '''...'''           or expression, or constant
    becomes = '''...'''

Statements and expressions are all compiled at once, beside what they replace; tests/mutants/switch.h chooses while the
program runs. A constant, which the compiler itself computes with, is compiled by itself and takes the longest.
"""

import argparse
import concurrent.futures
import dataclasses
import os
import pathlib
import re
import signal
import subprocess
import sys
import time
import tomllib
import zlib

ROOT = pathlib.Path(__file__).resolve().parents[2]
FAULTS = ROOT / "tests" / "mutants"
TREE = ROOT / "build" / "mutants" / "tree"
BUILD = ROOT / "build" / "mutants" / "build"
KINDS = ("statement", "expression", "constant")
JOBS = int(os.environ.get("JOBS") or os.cpu_count() or 1)


def fail(message):
    sys.exit(f"mutants: {message}")


@dataclasses.dataclass(frozen=True)
class Fault:
    folder: str
    programs: tuple
    breaks: str
    file: str
    kind: str
    old: str
    new: str

    @property
    def number(self):
        """The same whatever faults come and go, so that nothing is compiled again for others."""
        return zlib.crc32(f"{self.folder}: {self.breaks}".encode())

    def __str__(self):
        return f"{self.folder}: {self.breaks} ({self.file})"


def read_faults():
    faults = []
    for path in sorted(FAULTS.glob("*.toml")):
        listed = tomllib.loads(path.read_text())
        programs = tuple(listed.get("tests", [path.stem]))
        for entry in listed["fault"]:
            kinds = [kind for kind in KINDS if kind in entry]
            if len(kinds) != 1 or set(entry) - {"tests"} != {"breaks", "file", "becomes", kinds[0]}:
                fail(f"{path}: {entry.get('breaks', entry)}: a fault has breaks, file, becomes, and one of {', '.join(KINDS)}; it may have tests")
            faults.append(Fault(path.stem, tuple(entry.get("tests", programs)), entry["breaks"], entry["file"], kinds[0],
                                entry[kinds[0]].strip(), entry["becomes"].strip()))
    if len({fault.number for fault in faults}) != len(faults):
        fail("two faults have the same name")
    return faults


def places(faults):
    """Where each fault is: {file: [(start, end, [faults])]}. A text that is not there once is a failure."""
    found, wrong = {}, []
    for fault in faults:
        path = ROOT / fault.file
        text = path.read_text() if path.exists() else ""
        if text.count(fault.old) != 1:
            wrong.append(f"{fault}: occurs {text.count(fault.old)} times, not once: {fault.old}")
            continue
        start = text.index(fault.old)
        spans = found.setdefault(fault.file, {})
        spans.setdefault((start, start + len(fault.old)), []).append(fault)
    for file, spans in found.items():
        ordered = sorted(spans)
        for (_, end), (start, _) in zip(ordered, ordered[1:]):
            if start < end:
                wrong.append(f"{file}: two faults overlap: {spans[(start, _)][0].breaks}")
    if wrong:
        fail("no place for\n  " + "\n  ".join(wrong))
    return found


def switched(fault, otherwise):
    on = f"loamMutantOn({fault.number}u)"
    if fault.kind == "statement":
        return f"if ({on}) {{\n{fault.new}\n}} else {{\n{otherwise}\n}}"
    return f"({on} ? ({fault.new}) : ({otherwise}))"


def with_faults(text, spans):
    for (start, end), faults in sorted(spans.items(), reverse=True):
        inner = text[start:end]
        for fault in faults:
            inner = switched(fault, inner)
        text = text[:start] + inner + text[end:]
    return text


def write(path, data):
    if not path.exists() or path.read_bytes() != data: # else it is not compiled again
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data)


def copy_tree(changed):
    listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT, check=True, text=True,
                            stdout=subprocess.PIPE).stdout.splitlines()
    kept = set()
    for name in listed:
        source = ROOT / name
        if source.is_file():
            kept.add(name)
            write(TREE / name, changed[name].encode() if name in changed else source.read_bytes())
    for path in TREE.rglob("*"):
        if path.is_file() and str(path.relative_to(TREE)) not in kept:
            path.unlink()


def build(programs, log):
    BUILD.mkdir(parents=True, exist_ok=True)
    with open(log, "w") as out:
        steps = [["cmake", "-G", "Ninja", "-S", TREE, "-B", BUILD, "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-g1",
                  f"-DCMAKE_CXX_FLAGS=-w -include {TREE / 'tests' / 'mutants' / 'switch.h'}", "-DCMAKE_UNITY_BUILD=ON",
                  "-DCMAKE_UNITY_BUILD_BATCH_SIZE=8", "-DLOAM_WERROR=OFF", "-DLOAM_INSTALL=OFF"],
                 ["ninja", "-k", "0", "-C", BUILD, "-j", str(JOBS), *sorted({f"{each.partition(':')[0]}Test" for each in programs})]]
        for step in steps:
            if subprocess.run(step, stdout=out, stderr=subprocess.STDOUT, check=False).returncode != 0:
                fail(f"the build failed; {log} says why")


@dataclasses.dataclass
class Outcome:
    failed: str  # the first test that failed, or empty
    seconds: float


def run_test(program, number, limit):
    """Runs a test program with that fault. One that does not end in time has failed, too."""
    begin = time.monotonic()
    program, _, some = program.partition(":")
    process = subprocess.Popen([BUILD / "tests" / f"{program}Test", "--gtest_fail_fast", "--gtest_color=no", f"--gtest_filter={some or '*'}"],
                               cwd=BUILD / "tests", env={**os.environ, "LOAM_MUTANT": str(number)}, text=True, errors="replace",
                               stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                               start_new_session=True)
    how = ""
    try:
        output, _ = process.communicate(timeout=limit)
    except subprocess.TimeoutExpired:
        how = f", which was still running after {limit:.0f} s"
        os.killpg(process.pid, signal.SIGKILL) # and what it has started
        output, _ = process.communicate()
    seconds = time.monotonic() - begin
    if process.returncode == 0:
        return Outcome("", seconds)
    if not how and process.returncode < 0:
        how = f", which ended by {signal.Signals(-process.returncode).name}"
    failed = re.findall(r"^\[  FAILED  \] ([^ ,]+)", output, re.M)
    begun = re.findall(r"^\[ RUN      \] (\S+)", output, re.M)
    test = failed[0] if failed else begun[-1] if begun else "before its first test"
    return Outcome(f"{program}.{test}{how}", seconds)


def run_fault(fault, usual):
    for program in fault.programs:
        outcome = run_test(program, fault.number, 15 + 6 * usual[program])
        if outcome.failed:
            return outcome.failed
    return ""


def run_constants(faults, usual, say):
    for fault in faults:
        path = TREE / fault.file
        text = path.read_text()
        try:
            path.write_text(text.replace(fault.old, fault.new, 1))
            build(fault.programs, ROOT / "build" / "mutants" / "constant.log")
            say(fault, run_fault(fault, usual))
        finally:
            path.write_text(text)


def main():
    parser = argparse.ArgumentParser(description="Puts faults into a copy of the library, and says which test sees each.")
    parser.add_argument("--check", action="store_true", help="only whether each fault still has its one place")
    parser.add_argument("folders", nargs="*", metavar="FOLDER")
    options = parser.parse_args()
    every = read_faults()
    folders = sorted({fault.folder for fault in every})
    for folder in options.folders:
        if folder not in folders:
            fail(f"no faults for {folder}; there are some for {', '.join(folders)}")
    found = places(every)
    if options.check:
        return
    begin = time.monotonic()
    faults = [fault for fault in every if not options.folders or fault.folder in options.folders]

    # All of them whatever was asked for: so what is compiled stays the same from one call to the next.
    changed = {file: with_faults((ROOT / file).read_text(),
                                 {span: [f for f in there if f.kind != "constant"] for span, there in spans.items()})
               for file, spans in found.items()}
    copy_tree(changed)
    programs = sorted({program for fault in faults for program in fault.programs})
    build(programs, ROOT / "build" / "mutants" / "build.log")
    print(f"built in {time.monotonic() - begin:.0f} s: {len(faults)} faults", flush=True)

    usual = {}
    for program in programs:
        outcome = run_test(program, 0, 600)
        if outcome.failed:
            fail(f"without a fault {outcome.failed} fails")
        usual[program] = outcome.seconds

    survivors = []

    def say(fault, test):
        if not test:
            survivors.append(fault)
        print(f"{fault}\n    {test or 'SURVIVES ' + ' '.join(fault.programs)}", flush=True)

    at_run_time = [fault for fault in faults if fault.kind != "constant"]
    with concurrent.futures.ThreadPoolExecutor(JOBS) as pool:
        for fault, test in zip(at_run_time, pool.map(lambda fault: run_fault(fault, usual), at_run_time)):
            say(fault, test)
    run_constants([fault for fault in faults if fault.kind == "constant"], usual, say)
    print(f"{len(faults) - len(survivors)} of {len(faults)} faults seen, {time.monotonic() - begin:.0f} s")
    if survivors:
        fail("no test sees\n  " + "\n  ".join(str(fault) for fault in survivors))


main()
