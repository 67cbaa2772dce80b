"""Against the program: values in bytes and text, and live trees in both roles."""

import asyncio
import json
import os
import random
import subprocess

import pytest
from chance import random_value
from conftest import lif, ran
from loamtunnel import Refused, RequestFailed, Service, connect, schema, serve, sync
from loamtunnel import text as texts
from loamtunnel import to_wire, values
from loamtunnel.tree import References
from loamtunnel.types import FapTypeProperties_JerichoProperties, LifAppConfigDir, VtAppId
from test_values import VALUES

MPLS = VtAppId.vtAppMpls


async def spoken(program: str, *command: str, given=()) -> str:
    """While this process serves."""
    done = await asyncio.create_subprocess_exec(program, *command, stdin=-1, stdout=-1, stderr=-1)
    out, errors = await asyncio.wait_for(done.communicate("\n".join(given).encode()), 600)
    assert done.returncode == 0, (out + errors).decode()[-2000:]
    return out.decode()


def test_the_schema_is_the_program_s(program):
    assert json.loads(ran(program, "schema", "--json")) == schema._data("schema.json")
    assert int(ran(program, "schema", "--checksum").split()[-1], 16) == schema.CHECKSUM


@pytest.mark.parametrize("name", [each for each in VALUES if each.startswith("Hardware::LoamTunnel::")])
def test_every_value_in_bytes_and_text(program, name):
    chance = random.Random(name)
    values = [random_value(name, chance) for _ in range(VALUES_EACH)]
    data = [to_wire(each).hex(" ") for each in values]
    theirs = ran(program, "value", name, "--from", "wire", "--to", "text", "-f", "-", given="\n".join(data) + "\n")
    theirs = theirs.splitlines()
    assert len(theirs) == len(values)
    again = ran(program, "value", name, "--to", "wire", "-f", "-", given="\n".join(map(texts.text, values)) + "\n")
    assert again.splitlines() == data
    for value, written in zip(values, theirs, strict=True):
        assert texts.text(value) == written and texts.value(name, written) == value


def place(i: int) -> str:
    return f"lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi={i}]"


SERVED = [
    each.name
    for each in schema.TYPES.values()
    if each.kind == "entity" and not each.argument and any(one.travels for one in each.attributes.values())
    # Those the program has inside of others alone.
    and each.short not in ("OutAcConfig", "OutAcStatus")
]
VALUES_EACH = int(os.environ.get("LOAM_VALUES", "200"))


def fill(entity, chance: random.Random, count: int) -> None:
    """Values by lot in all attributes of an entity, of two children if it has any, and of what it refers to: in a map so many."""
    for each in entity._schema.attributes.values():
        held = getattr(entity, each.name) if each.role in ("children", "references", "map") else None
        if each.role == "scalar":
            setattr(entity, each.name, random_value(each.type, chance))
        elif each.role == "children":
            for app in (MPLS, VtAppId.vtAppVxlan):
                fill(held.add(app), chance, count // 2)
        elif each.role == "references":
            for key in values.python_type(each.key):
                held[key] = REFERRED[each.type](key)
                fill(held[key], chance, count)
        elif each.role == "map":
            for _ in range(4 * count):  # keys that come again are drawn anew, as far as there are others
                key, value = random_value(each.key, chance), random_value(each.type, chance)
                held[key] = value.replace(**{each.inside: key}) if each.inside else value
                if len(held) == count:
                    break


REFERRED = {"Hardware::LoamTunnel::FapTypeProperties::Properties": FapTypeProperties_JerichoProperties}


def with_scalars(entity) -> list:
    """The entities that have scalars, of this one and those that it refers to."""
    below = [each for held in entity._maps.values() if isinstance(held, References) for each in held.values()]
    return [each for each in (entity, *below) if each._scalars]


def whole(entity) -> dict[str, object]:
    """All that it holds, without the name of the root, and what those hold that it refers to."""
    found = {path.removeprefix(entity.path): value for path, value in entity.flat().items()}
    for each in with_scalars(entity):
        found |= {f"{type(each).__name__} {each.key} {name}": value for name, value in each._scalars.items()}
    return found


@pytest.mark.parametrize("name", SERVED)
def test_all_types_make_the_round_trip(program, serving, name):
    """From here into the program and from there into another copy; LOAM_VALUES says how many values."""
    address, chance = serving("--writable", f"root={name}"), random.Random(name)
    with sync.connect(address, timeout=60) as writer, sync.connect(address, timeout=60) as reader:
        copy, other = writer.want("root"), reader.want("root")
        fill(copy, chance, VALUES_EACH)
        for _ in range(VALUES_EACH if with_scalars(copy) else 1):  # what has one value at a time has them in turn
            for each in with_scalars(copy):
                for one in each._scalars:
                    setattr(each, one, random_value(each._schema.attributes[one].type, chance))
            writer.call("sync")
            reader.call("sync")
            assert whole(other) == whole(copy)


def lines_to_set(entity, path: str = "root"):
    """What makes `loamtunnel run` write all that an entity holds."""
    for each in entity._schema.attributes.values():
        held = getattr(entity, each.name) if each.role in ("children", "references", "map") else {}
        if each.role == "scalar":
            yield f"set {path}.{each.name} {texts.text(getattr(entity, each.name), each.type)}"
        for key, value in held.items():
            at = f"{path}.{each.name}[{texts.key_text(key)}]"
            if each.role == "map":
                yield f"set {at} {texts.text(value, each.type)}"
            elif each.role == "references":
                yield f"new {schema.python_name(value._schema).replace('_', '::')} {key} {key}"
                yield f"set {at} ${key}"
                yield from lines_to_set(value, str(key))
            else:
                yield f"set {at}"
                yield from lines_to_set(value, at)


@pytest.mark.parametrize("name", SERVED)
async def test_all_types_make_the_round_trip_the_other_way(program, name, address):
    """The program writes, as told in lines, what is served here. A shell delivers each line by itself."""
    argument, chance = (["root"] if schema.named(name).is_named else []), random.Random(name)
    meant, served = (values.python_type(name)(*argument) for _ in range(2))
    fill(meant, chance, VALUES_EACH)
    service = Service("python")
    service.offer("root", served, writable=True)
    told, heard = [], []
    async with serve(address, service):
        await spoken(program, "run", "-s", address, "-", given=lines_to_set(meant))
        assert whole(served) == whole(meant)
        lines = []
        for _ in range(VALUES_EACH):
            for one in meant._scalars:
                value = random_value(meant._schema.attributes[one].type, chance)
                if value != getattr(meant, one):
                    setattr(meant, one, value)
                    told.append((one, value))
                    lines.append(f"set root.{one} {texts.text(value, meant._schema.attributes[one].type)}")
        watch = served.watch(lambda change: heard.append((change.attribute, change.value)))
        if lines:
            await spoken(program, "shell", "-s", address, "--timeout", "60000", given=lines)
        watch.close()
    assert heard == told and whole(served) == whole(meant)


async def test_a_tree_of_the_program_s_is_read_written_and_heard(program, serving):
    address = serving("--writable", "lif=LifAppConfigDir")
    async with connect(address, "reader") as peer:
        assert (await peer.offers())["lif"].writable
        copy = await peer.want("lif")
        app = copy.appConfig.add(MPLS)
        app.reqCount[lif(1)] = 0
        await peer.flush()
        ran(program, "wait", "-s", address, f"{place(1)}=0")
        changes = copy.changes()
        ran(program, "set", "-s", address, place(2), "5")
        change = await asyncio.wait_for(anext(changes), 10)
        assert (change.key, change.value) == (lif(2), 5)
        assert ran(program, "get", "-s", address, change.path) == "5\n"  # it reads the paths that are written here
        del copy.appConfig[MPLS]
        await peer.flush()
        ran(program, "wait", "-s", address, "--gone", "lif.appConfig[vtAppMpls]")
        while len(peers := json.loads(await peer.call("stats"))["peers"]) > 1:
            await asyncio.sleep(0.01)  # the program notices the end of the command that has gone in its own time
        assert [each["peer"] for each in peers] == ["reader"] and await peer.call("sync") == ""
        with pytest.raises(RequestFailed, match='there is no request "nonsense"'):
            await peer.call("nonsense")
        with pytest.raises(Refused):
            await peer.want("lyf")
        peer.unwant("lif")
        assert await peer.call("sync") == "" and not copy._mounts
        assert await peer.want("lif", copy) is copy


async def test_the_program_reads_and_writes_a_tree_of_ours(program, address):
    lifs = LifAppConfigDir("lif")
    lifs.appConfig.add(MPLS).reqCount[lif(1)] = 3
    service = Service("python")
    service.offer("lif", lifs, writable=True)
    async with serve(address, service):
        assert os.stat(address).st_mode & 0o777 == 0o600
        assert "reqCount[AradLifAcMp vsi=1] = 3" in await spoken(program, "tree", "-s", address)
        await spoken(program, "del", "-s", address, place(1))
        assert list(lifs.appConfig) == [MPLS] and not lifs.appConfig[MPLS].reqCount
        await spoken(program, "del", "-s", address, "lif.appConfig[vtAppMpls]")
        assert not lifs.appConfig and "recordsIn" in await spoken(program, "stats", "-s", address, "--format", "json")


def test_scripts_serve_too_where_the_program_looks(program, starting, tmp_path, monkeypatch):
    """A place that nobody has named, in a folder that is made."""
    monkeypatch.delenv("LOAM_SOCKET", raising=False)
    monkeypatch.setenv("XDG_RUNTIME_DIR", str(tmp_path))
    lifs, service = LifAppConfigDir("lif"), Service("script")
    service.offer("lif", lifs, writable=True)
    with sync.serve(None, service, timeout=20) as server:
        writer = subprocess.Popen([program, "run", "-s", str(tmp_path / "loamtunnel" / "socket"), "-"], stdin=-1, text=True)
        writer.stdin.write(f"set lif.appConfig[vtAppMpls]\nset {place(1)} 7\n")
        writer.stdin.flush()
        server.until(lambda: server.peers == ["run"])
        writer.stdin.close()
        assert server.until(lambda: MPLS in lifs.appConfig and dict(lifs.appConfig[MPLS].reqCount)) == {lif(1): 7}
        server.until(lambda: not server.peers)
        assert writer.wait(20) == 0 and not server.is_closed
        with pytest.raises(TimeoutError):
            server.until(lambda: server.peers, timeout=0.01)
    assert server.is_closed and server.reason == "the server ends" and not (tmp_path / "loamtunnel" / "socket").exists()
    (tmp_path / "loamtunnel").chmod(0o777)
    with pytest.raises(PermissionError, match="no folder of this user's own"):
        sync.serve(None, Service())
    with sync.connect(starting("serve", "lif=LifAppConfigDir"), timeout=20) as peer:
        assert peer.is_connected and peer.connections == 1
        starting.started[0].terminate()
        assert peer.wait_closed() == peer.reason and "the server ends" in peer.reason
        assert not peer.is_connected
