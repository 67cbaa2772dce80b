"""A few runs of the fuzzer of peers; `./dev fuzz-peers` does many."""

import subprocess
import sys

import pytest
from conftest import HERE

FUZZER = HERE.parent / "fuzz" / "peers.py"


@pytest.mark.parametrize("seed", [3, 4, 5])  # the program serves, Python does, Python in a process of its own
def test_a_few_runs_end_equal(program, seed):
    pytest.importorskip("hypothesis")
    if not FUZZER.exists():
        pytest.skip("the fuzzer is no part of what is installed")
    done = subprocess.run(
        [sys.executable, str(FUZZER), program, "--runs", "4", "--seed", str(seed)], capture_output=True, text=True
    )
    assert done.returncode == 0 and "4 runs without a difference" in done.stdout, done.stdout + done.stderr
