"""What type checkers and help() are told is what there is."""

import ast
import os
import pathlib
import pydoc
import site
import subprocess
import sys

import pytest
from conftest import HERE
from loamtunnel import row, rows, stubs, tables, types

PACKAGE = pathlib.Path(types.__file__).parent


@pytest.mark.parametrize("name", ["types", "tables"])
def test_stubs_are_those_of_the_data(name):
    assert (PACKAGE / f"{name}.pyi").read_text() == getattr(stubs, name)(), "run python3 -m loamtunnel.stubs"


def declared(name: str):
    for node in ast.parse((PACKAGE / f"{name}.pyi").read_text()).body:
        if isinstance(node, ast.ClassDef):
            names = {each.name for each in node.body if isinstance(each, ast.FunctionDef)}
            names |= {each.target.id for each in node.body if isinstance(each, ast.AnnAssign)}
            yield node.name, names | {each.targets[0].id for each in node.body if isinstance(each, ast.Assign)}


def test_what_stubs_declare_is_there():
    found = dict(declared("types"))
    assert len(found) > 70
    for name, attributes in found.items():
        assert all(hasattr(getattr(types, name), each) for each in attributes), name
    for name, fields in declared("tables"):
        assert fields == row.FIELDS[name].keys() and hasattr(rows, name)
    assert dict(declared("tables")).keys() == set(tables.__all__)


def test_mypy_finds_what_is_wrong_and_nothing_else(tmp_path):
    pytest.importorskip("mypy")
    # What is installed is found by itself.
    is_installed = str(PACKAGE.parent) in site.getsitepackages()
    stubs_ = [] if is_installed else [str(PACKAGE / "types.pyi"), str(PACKAGE / "tables.pyi")]
    done = subprocess.run(
        [sys.executable, "-m", "mypy", "--python-version", "3.11", "--warn-unused-ignores", "--follow-imports=silent"]
        + [f"--cache-dir={tmp_path}", str(HERE / "typed.py"), *stubs_],
        capture_output=True,
        text=True,
        env=os.environ | {"MYPYPATH": "" if is_installed else str(PACKAGE.parent)},
    )
    assert done.returncode == 0, done.stdout


def test_help_tells_fields_and_ranges():
    assert "vlanEditVid1: U16, 0 to 4095, dword0[59:48]. The first VLAN id of the VLAN edit" in pydoc.render_doc(
        types.AradLifAcMp
    )
    assert "fapId: FapId, 0 to 2048, 2048 unless given" in pydoc.render_doc(types.TcamSharingRequest)
    assert "reqCount: [AradLifEntry]: U32, 0 to 4294967295" in pydoc.render_doc(types.LifAppConfig)
    assert "The logical interfaces (LIFs) that one application asks for" in pydoc.render_doc(types.LifAppConfig)
    assert "vtAppMpls = 7" in pydoc.render_doc(types.VtAppId)
    assert "lifAcMp = 4: An attachment circuit" in pydoc.render_doc(types.LifType)
    assert pathlib.Path(PACKAGE / "py.typed").exists()
    assert "learnInfo: [31:16] on 3/1 4/1; [32:16] on 5/1" in pydoc.render_doc(rows.LifTable)
