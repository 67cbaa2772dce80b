"""Types that a peer tells: an older script and a newer process, and schemas that are none."""

import contextlib
import copy
import json
import os
import re
import subprocess
import sys
import textwrap

import pytest
from loamtunnel import RequestFailed, schema, sync

HOME = "Hardware::LoamTunnel::"


def document() -> dict:
    return json.loads(json.dumps({"version": 1, "checksum": f"0x{schema.CHECKSUM:016x}", "types": list(schema.LISTED.values())}))


def entry(told: dict, name: str) -> dict:
    return next(each for each in told["types"] if each["name"] == name)


def newer() -> dict:
    """What a later version of the model may tell: one more of everything."""
    told = document()
    told["checksum"] = "0x1234"
    app = next(each for each in told["types"] if each["name"].endswith("::VtAppId"))
    app["enumerators"].append({"name": "vtAppLater", "number": 13, "meaning": ""})
    view = copy.deepcopy(entry(told, HOME + "AradLifAcMp")["attributes"][-1])
    assert view["role"] == "view"
    view |= {"name": "later", "id": 199, "view": {"word": "dword1", "low": 40, "bits": 4}, "type": "U8"}
    entry(told, HOME + "AradLifAcMp")["attributes"].append(view)
    config = entry(told, HOME + "LifAppConfig")["attributes"]
    config.append(next(each for each in config if each["name"] == "reqCount") | {"name": "laterCount", "id": 299})
    return told


SERVING = """
    import asyncio, json, sys
    import loamtunnel
    from loamtunnel import schema

    service = loamtunnel.Service("driver")

    async def serve():
        async with loamtunnel.serve(sys.argv[1], service):
            print("serving", flush=True)
            await asyncio.Event().wait()
"""

NEWER = """
    schema.load(json.load(open(sys.argv[2])))
    from loamtunnel.types import AradLifAcMp, AradLifEntry, LifAppConfig, LifAppConfigDir, VtAppId

    apps = LifAppConfigDir("lifConfig")
    app = apps.appConfig.add(VtAppId.vtAppLater)
    app.reqCount[AradLifAcMp(vsi=5, later=9)] = 1
    app.laterCount[AradLifEntry()] = 77
    service.offer("lifConfig", apps, writable=True)
    asyncio.run(serve())
"""

SCRIPT = """
    import sys
    from loamtunnel import schema, sync, types
    from loamtunnel.types import AradLifAcMp, AradLifEntry

    before, same, mine = types.AradLifAcMp, types.OutAcKey, AradLifAcMp(vsi=6)
    with sync.connect(sys.argv[1], schema="peer", timeout=20) as peer:
        assert schema.CHECKSUM == 0x1234
        assert types.OutAcKey is same and types.AradLifAcMp is not before and types.AradLifEntry is AradLifEntry
        apps = peer.want("lifConfig")
        (app,) = apps.appConfig.values()
        assert app.key is types.VtAppId.vtAppLater and app.laterCount[AradLifEntry()] == 77
        (lif,) = app.reqCount
        assert types.AradLifAcMp(lif.lifType, lif.dword0, lif.dword1).later == 9
        assert types.AradLifAcMp(vsi=6) in {types.AradLifAcMp(vsi=6)} and "later" in types.AradLifAcMp.__doc__
        app.reqCount[mine] = 3  # made by the class of before
        assert app.reqCount[types.AradLifAcMp(vsi=6)] == 3 and app.reqCount[mine] == 3
        peer.fence()
        assert peer.schema()["checksum"] == "0x0000000000001234"
    print("done")
"""


def ran(text: str, *arguments: str) -> subprocess.Popen:
    """Another process: the types are those of a process."""
    command = [sys.executable, "-c", textwrap.dedent(text), *map(str, arguments)]
    environment = os.environ | {"PYTHONPATH": os.pathsep.join(filter(None, sys.path))}
    return subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, env=environment)


@contextlib.contextmanager
def served(text: str, *arguments: str):
    with ran(text, *arguments) as server:
        try:
            assert server.stdout.readline() == "serving\n", server.stderr.read()
            yield
        finally:
            server.kill()


def expect_done(text: str, *arguments: str) -> None:
    with ran(text, *arguments) as script:
        out, error = script.communicate(timeout=60)
        assert (script.returncode, out) == (0, "done\n"), error


def test_a_newer_process_tells_an_older_script_its_types(tmp_path):
    told = tmp_path / "newer.json"
    told.write_text(json.dumps(newer()))
    with served(SERVING + NEWER, tmp_path / "socket", told):
        expect_done(SCRIPT, tmp_path / "socket")


def test_the_program_tells_the_types_that_it_prints(serving):
    server = serving("lifStatus=LifAppStatusDir")
    with sync.connect(server, timeout=20, schema="peer") as peer:
        assert peer.schema() == document()
        assert schema.load(peer.schema()) == set()
    with pytest.raises(ValueError, match="neither 'package' nor 'peer'"):
        sync.connect(server, schema="mine")


def test_what_a_peer_does_not_tell_ends_the_connection(tmp_path):
    odd = """
    service.answer("schema", lambda peer, argument: eval(sys.argv[2]))
    loamtunnel.Session.checksum = 7
    asyncio.run(serve())
    """
    endless = """'{"version": 1, "checksum": "0x7", "types": [{}], "after": "X"}'"""
    for place, (answer, fault, words) in enumerate(
        [
            ("1 / 0", RequestFailed, "division"),
            ("'[]'", ValueError, "no list of types"),
            ("'nothing'", ValueError, "Expecting value"),
            ("'[' * 60000", ValueError, "no list of types"),
            (endless, ValueError, "do not end"),
            ("""'{"version": 2, "checksum": "0x7", "types": []}'""", ValueError, "version 2"),
        ]
    ):
        with served(SERVING + odd, tmp_path / str(place), answer), pytest.raises(fault, match=words):
            sync.connect(str(tmp_path / str(place)), schema="peer", timeout=20)


def spoilt(name: str, spoil) -> dict:
    told = document()
    spoil(entry(told, HOME + name), told)
    return told


def stored(each: dict, type_: str = "") -> dict:
    return next(one for one in each["attributes"] if one["role"] == "field" and one["type"].endswith(type_))


def renamed(to: str):
    def spoil(each: dict, told: dict) -> None:
        each["attributes"][-1]["name"] = to

    return spoil


@pytest.mark.parametrize(
    ("told", "words"),
    [
        ([], "version None"),
        ({"version": 1, "checksum": "0x1"}, "malformed: KeyError 'types'"),
        (spoilt("AradLifAcMp", renamed("x): import os #")), "no name of a type"),
        (spoilt("AradLifAcMp", renamed("class")), "'class', which is no name"),
        (spoilt("AradLifAcMp", renamed("replace")), "::replace has the name of what all have"),
        (spoilt("LifAppConfig", lambda each, told: each.update(name="Hardware::Loam Tunnel")), "no name of a type"),
        (spoilt("AradLifAcMp", lambda each, told: each["attributes"][-1]["view"].update(bits=4096)), "no number of 7 bits"),
        (spoilt("AradLifAcMp", lambda each, told: each["attributes"][-1]["view"].update(word="dword9")), "'dword9', which is not"),
        (spoilt("AradLifEntry", lambda each, told: each.update(base=HOME + "AradLifAcMp")), "is made of itself"),
        (spoilt("LifType", lambda each, told: told.update(checksum="-0x1")), "no checksum"),
        (spoilt("LifType", lambda each, told: told.update(types={})), "are a list"),
        (spoilt("LifType", lambda each, told: each.update(kind=[])), "of the kind []"),
        (spoilt("LifType", lambda each, told: each["enumerators"][0].update(name="mro")), "::mro has the name"),
        (spoilt("LifAppConfig", renamed("self")), "'self', which is no name"),
        (spoilt("AradLifAcMp", lambda each, told: each["attributes"][-1]["view"].update(low=63, bits=64)), "beyond the 64"),
        (spoilt("AradLifEntry", lambda each, told: stored(each, "U64").update(default=str(2**80))), "no number of 64 bits"),
        (spoilt("AradLifEntry", lambda each, told: stored(each, "U64").update(default=float("inf"))), "malformed: OverflowError"),
        (
            spoilt("LifType", lambda each, told: each["enumerators"][1].update(number=each["enumerators"][0]["number"])),
            "LifType: lifGeneral and lifAcP2pToAc have the same number 0",
        ),
        (
            spoilt("LifType", lambda each, told: each["enumerators"].append(each["enumerators"][0])),
            "LifType: the enumerator 'lifGeneral' is there twice",
        ),
        (
            spoilt("LifAppConfig", lambda each, told: each["attributes"][-2].update(travels="no")),
            "LifAppConfig::reqCount: travels is 'no', which is neither true nor false",
        ),
        (
            spoilt("LifAppConfig", lambda each, told: each["attributes"].append(each["attributes"][-2] | {"name": "again"})),
            "LifAppConfig: the id 259 is there twice",
        ),
        (spoilt("LifAppConfig", lambda each, told: told["types"].append(each)), "the type 'Hardware::LoamTunnel::LifAppConfig' is there twice"),
        (spoilt("EvecKey", lambda each, told: each.update(name=HOME + "values")), "is called values in Python, where that is something else"),
    ],
)
def test_a_schema_that_is_none_changes_nothing(told, words):
    before, checksum = dict(schema.TYPES), schema.CHECKSUM
    with pytest.raises(ValueError, match=re.escape(words)):
        schema.load(told)
    assert before == schema.TYPES and checksum == schema.CHECKSUM


NAMED_LIKE_OURS = """
    import ast, json, sys
    from loamtunnel import Service, schema, stubs, text, tree, values

    schema.load(json.load(open(sys.argv[1])))
    from conftest import Pipe
    from loamtunnel.types import Entity, EvecEntry, Value

    key, lifs, service = Value("0-3", 4), Entity("lif"), Service("driver")
    assert issubclass(Value, values.Value) and issubclass(Entity, tree.Entity) and values.Value is not Value
    assert text.value("Value", str(key)) == text.short_value("Value", str(key)) == key
    assert text.short_value("EvecEntry", "EvecEntry key=(Value fapMask=0-3 index=4)").key == key
    lifs.appConfig.add("vtAppMpls")
    service.offer("lif", lifs)
    pipe = Pipe(theirs=service)
    wish = pipe.ours.want("lif", None, lambda error: None)
    pipe.run()
    assert type(wish.entity) is Entity and len(wish.entity.appConfig) == 1
    classes = {each.name: each for each in ast.parse(stubs.types()).body if isinstance(each, ast.ClassDef)}
    assert [classes[each].bases[0].id for each in ("Value", "Entity", "LifType")] == ["_Value", "_Entity", "Enumeration"]
    print("done")
"""


def test_a_type_may_be_called_like_what_its_class_is_made_from(tmp_path):
    told = tmp_path / "named.json"
    told.write_text(json.dumps(document()).replace(HOME + "EvecKey", HOME + "Value").replace(HOME + "LifAppConfigDir", HOME + "Entity"))
    expect_done(NAMED_LIKE_OURS, told)


MUTATING = """
    import json, random, sys
    from loamtunnel import schema, values

    HOME = schema.HOME
    document = {"version": 1, "checksum": "0x7", "types": list(schema.LISTED.values())}
    unharmed, chance, taken = json.dumps(document), random.Random(int(sys.argv[1])), 0
    odd = (None, True, 0, -1, 70, 1 << 40, float("inf"), float("nan"), "", "no", "U8", "int", "bool", "class", [], {},
           HOME + "EvecKey", HOME + "LifAppConfig")
    for _ in range(150):
        told, before = json.loads(unharmed), dict(schema.TYPES)
        for _ in range(chance.randint(1, 2)):
            held = told["types"]
            while chance.random() < 0.8:
                below = [each for each in (held.values() if isinstance(held, dict) else held) if isinstance(each, (dict, list)) and each]
                if not below:
                    break
                held = chance.choice(below)
            held[chance.choice(list(held) if isinstance(held, dict) else range(len(held)))] = chance.choice(odd)
        try:
            schema.load(told)
        except ValueError as refusal:
            assert str(refusal) and before == schema.TYPES
            continue
        taken += 1
        for name, each in schema.TYPES.items():
            made = values.python_type(name)
            if each.kind == "value" and not each.form:
                made()
            elif each.kind == "entity" and not each.argument:
                made().flat()
    print(taken)
"""


@pytest.mark.parametrize("seed", range(4))
def test_a_schema_with_changed_parts_is_refused_or_its_types_can_be_made(seed):
    with ran(MUTATING, seed) as script:
        out, error = script.communicate(timeout=120)
        assert script.returncode == 0 and 0 < int(out) < 150, error


def test_what_cannot_be_read_here_is_left_out():
    """A value of the platform with a text of its own that this package does not know, and all that it lies in."""
    told = document()
    entry(told, "Lumen::IpAddr")["name"] = "Lumen::Other"
    for each in told["types"]:
        for one in each.get("attributes", ()):
            one["type"] = one["type"].replace("Lumen::IpAddr", "Lumen::Other")
        for one in each["constructorArgs"]:
            one[1] = one[1].replace("Lumen::IpAddr", "Lumen::Other")
    taken = schema.types_of(told)
    assert "Fen::TunnelKey" not in taken and HOME + "AradLifEntry" in taken
    keyed = [
        (each.name, one.name)
        for each in taken.values()
        for one in each.attributes.values()
        if one.travels and "Fen::TunnelKey" in (one.key, one.type)
    ]
    assert not keyed
