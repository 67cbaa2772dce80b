"""docs/python.md: its blocks run one after the other, as in `python3 -m asyncio`, and print what the page shows."""

import ast
import asyncio
import contextlib
import inspect
import io
import os
import re
import subprocess

from conftest import HERE

GUIDE = HERE.parent.parent / "docs" / "python.md"
MOST_LINES = 10


def blocks() -> list[tuple[str, str, str]]:
    """(heading, code, what it prints) of each block."""
    found, heading = [], ""
    for title, kind, text in re.findall(
        r"^## ([^\n]*)$|^```(\w+)\n(.*?)^```$", GUIDE.read_text(), re.MULTILINE | re.DOTALL
    ):
        heading = title or heading
        if kind == "python":
            found.append((heading, text, ""))
        elif kind == "text":
            found[-1] = (*found[-1][:2], text)
    return found


def test_tasks_take_ten_lines_at_most():
    tasks: dict[str, int] = {}
    for heading, code, _ in blocks():
        lines = [each for each in code.splitlines() if each.strip()]
        tasks[heading] = tasks.get(heading, 0) + len(lines)
    del tasks[""], tasks["The end"]
    assert len(tasks) >= 10 and max(tasks.values()) <= MOST_LINES, tasks


def test_the_page_tells_the_truth(program, tmp_path, monkeypatch):
    bin_ = tmp_path / "bin"
    bin_.mkdir()
    (bin_ / "loamtunnel").symlink_to(os.path.abspath(program))
    monkeypatch.setenv("PATH", f"{bin_}:{os.environ['PATH']}")
    monkeypatch.delenv("LOAM_SOCKET", raising=False)
    monkeypatch.setenv("XDG_RUNTIME_DIR", str(tmp_path))
    space: dict = {"asyncio": asyncio}  # as in `python3 -m asyncio`

    async def main():
        for heading, code, shown in blocks():
            code = code.replace("/tmp/", f"{tmp_path}/")
            compiled = compile(code, heading or "the beginning", "exec", flags=ast.PyCF_ALLOW_TOP_LEVEL_AWAIT)
            printed = io.StringIO()
            with contextlib.redirect_stdout(printed):
                made = eval(compiled, space)
                if inspect.isawaitable(made):
                    await asyncio.wait_for(made, 60)
            # How fast it is differs.
            assert rateless(printed.getvalue()) == rateless(shown), heading

    try:
        asyncio.run(main())
    finally:
        for each in [each for each in space.values() if isinstance(each, subprocess.Popen)]:
            each.kill()
            each.wait()


def rateless(printed: str) -> str:
    return re.sub(r"^[1-9]\d*(?= changes per second$)", "N", printed, flags=re.MULTILINE)
