#!/usr/bin/env python3
"""The Python side as a peer for run.py, and as a converter of values.

    python3 conformance/run.py --shorts --values 'python3 conformance/python_peer.py value {type} --from {from} --to {to}' \\
        python3 conformance/python_peer.py {role} --socket {socket} {roots}
"""

import argparse
import asyncio
import json
import pathlib
import signal
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "python"))

import loamtunnel  # noqa: E402
from loamtunnel import plain, schema, text, values  # noqa: E402


def made(type_: str):
    return values.python_type(schema.named(type_).name)


async def serve(address: str, roots: list[str], writable: bool) -> None:
    service = loamtunnel.Service("python")
    for each in roots:
        name, _, type_ = each.partition("=")
        # Only those that have a name are given one: their constructors differ in that.
        service.offer(name, made(type_)(name), writable)
    async with loamtunnel.serve(address, service):
        await ended()


async def monitor(address: str) -> None:
    async with loamtunnel.connect(address) as peer:
        for path in await peer.offers():
            await peer.want(path)
        await peer.wait_closed()


async def ended() -> None:
    over = asyncio.Event()
    asyncio.get_running_loop().add_signal_handler(signal.SIGTERM, over.set)
    await over.wait()


READ = {
    "wire": lambda type_, line: loamtunnel.from_wire(type_, bytes.fromhex(line)),
    "text": text.value,
    "json": lambda type_, line: plain.value(type_, json.loads(line)),
    "short": text.short_value,
}
WRITE = {
    "wire": lambda type_, value: loamtunnel.to_wire(value, schema.named(type_).name).hex(" "),
    "text": lambda type_, value: text.text(value),
    "json": lambda type_, value: json.dumps(plain.plain(value, type_)),
}


def convert(type_: str, source: str, target: str) -> int:
    status = 0
    for line in sys.stdin:
        try:
            print(WRITE[target](type_, READ[source](type_, line.rstrip("\n"))))
        except (loamtunnel.LoamError, ValueError, OverflowError, TypeError) as fault:
            print(f"{type_}: {fault}", file=sys.stderr)
            status = 1
    return status


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    roles = parser.add_subparsers(dest="role", required=True)
    for role in ("serve", "monitor"):
        of = roles.add_parser(role)
        of.add_argument("--socket", required=True)
        if role == "serve":
            of.add_argument("--writable", action="store_true")
            of.add_argument("roots", nargs="*")
    of = roles.add_parser("value")
    of.add_argument("type")
    of.add_argument("--from", dest="source", choices=READ, default="text")
    of.add_argument("--to", dest="target", choices=WRITE, default="text")
    options = parser.parse_args()
    if options.role == "value":
        return convert(options.type, options.source, options.target)
    try:
        if options.role == "serve":
            asyncio.run(serve(options.socket, options.roots, options.writable))
        else:
            asyncio.run(monitor(options.socket))
    except loamtunnel.LoamError as fault:
        print(fault, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
