"""docs/python.md: its blocks run one after the other, as in `python3 -m asyncio`, and print what the page shows."""

import ast
import asyncio
import contextlib
import inspect
import io
import os
import re
import subprocess

from conftest import HERE, listening, push_path

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
        lines = [each for each in code.splitlines() if each.strip() and not re.match(r"(from|import) ", each)]
        tasks[heading] = tasks.get(heading, 0) + len(lines)
    del tasks[""], tasks["The end"]
    assert len(tasks) >= 10 and max(tasks.values()) <= MOST_LINES, tasks


def test_the_page_tells_the_truth(program, tmp_path, monkeypatch):
    bin_ = tmp_path / "bin"
    bin_.mkdir()
    (bin_ / "loamtunnel").symlink_to(os.path.abspath(program))
    monkeypatch.setenv("PATH", f"{bin_}:{os.environ['PATH']}")
    address = str(tmp_path / "loam")
    monkeypatch.setenv("LOAM_SOCKET", address)
    started = []

    def start_driver():
        command = [program, "driver", "--chip", "8", "--image", str(tmp_path / "lifs")]
        started.append(subprocess.Popen(command, stderr=subprocess.DEVNULL, stdout=subprocess.DEVNULL))
        return started[-1]

    space = {"start_driver": start_driver, "driver": start_driver()}

    async def main():
        listening(address, space["driver"])
        for heading, code, shown in blocks():
            code = (
                code.replace('"lifConfig", LifAppConfig', f'"{push_path(program)}", LifAppConfig', 1)
                if "/tmp/" not in code
                else code
            )
            code = code.replace("/tmp/", f"{tmp_path}/")
            compiled = compile(code, heading or "the beginning", "exec", flags=ast.PyCF_ALLOW_TOP_LEVEL_AWAIT)
            printed = io.StringIO()
            with contextlib.redirect_stdout(printed):
                made = eval(compiled, space)
                if inspect.isawaitable(made):
                    await asyncio.wait_for(made, 60)
            assert printed.getvalue() == shown, heading

    try:
        asyncio.run(main())
    finally:
        for each in started:
            each.kill()
            each.wait()
