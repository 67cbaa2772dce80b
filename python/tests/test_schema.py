"""Types that a peer tells: an older script and a newer process, and schemas that are none."""

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

    schema.load(json.load(open(sys.argv[2])))
    from loamtunnel.types import AradLifAcMp, AradLifEntry, LifAppConfig, LifAppConfigDir, VtAppId

    async def main():
        service = loamtunnel.Service("driver")
        apps = LifAppConfigDir("lifConfig")
        app = apps.appConfig.add(VtAppId.vtAppLater)
        app.reqCount[AradLifAcMp(vsi=5, later=9)] = 1
        app.laterCount[AradLifEntry()] = 77
        service.offer("lifConfig", apps, writable=True)
        async with loamtunnel.serve(sys.argv[1], service):
            print("serving", flush=True)
            await asyncio.Event().wait()

    asyncio.run(main())
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


def test_a_newer_process_tells_an_older_script_its_types(tmp_path):
    told = tmp_path / "newer.json"
    told.write_text(json.dumps(newer()))
    with ran(SERVING, tmp_path / "socket", told) as server:
        try:
            assert server.stdout.readline() == "serving\n", server.stderr.read()
            with ran(SCRIPT, tmp_path / "socket") as script:
                out, error = script.communicate(timeout=60)
                assert (script.returncode, out) == (0, "done\n"), error
        finally:
            server.kill()


def test_the_program_tells_the_types_that_it_prints(serving):
    server = serving("lifStatus=LifAppStatusDir")
    with sync.connect(server, timeout=20, schema="peer") as peer:
        assert peer.schema() == document()
        assert schema.load(peer.schema()) == set()
    with pytest.raises(ValueError, match="neither 'package' nor 'peer'"):
        sync.connect(server, schema="mine")


def test_what_a_peer_does_not_tell_ends_the_connection(tmp_path):
    serving = """
        import asyncio, sys, loamtunnel
        async def main():
            service = loamtunnel.Service("odd")
            service.answer("schema", lambda peer, argument: eval(sys.argv[2]))
            loamtunnel.Session.checksum = 7
            async with loamtunnel.serve(sys.argv[1], service):
                print("serving", flush=True)
                await asyncio.Event().wait()
        asyncio.run(main())
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
        with ran(serving, tmp_path / str(place), answer) as server:
            try:
                assert server.stdout.readline() == "serving\n", server.stderr.read()
                with pytest.raises(fault, match=words):
                    sync.connect(str(tmp_path / str(place)), schema="peer", timeout=20)
            finally:
                server.kill()


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
        ({"version": 1, "checksum": "0x1", "types": [{}]}, "malformed: KeyError"),
        (spoilt("AradLifAcMp", renamed("x): import os #")), "no name of a type"),
        (spoilt("AradLifAcMp", renamed("class")), "'class', which is no name"),
        (spoilt("AradLifAcMp", renamed("replace")), "::replace has the name of what all have"),
        (spoilt("LifAppConfig", lambda each, told: each.update(name="Hardware::Loam Tunnel")), "no name of a type"),
        (spoilt("AradLifAcMp", lambda each, told: each["attributes"][-1]["view"].update(bits=4096)), "no number of 7 bits"),
        (spoilt("AradLifAcMp", lambda each, told: each["attributes"][-1]["view"].update(word="dword9")), "'dword9', which is not"),
        (spoilt("AradLifEntry", lambda each, told: each.update(base=HOME + "AradLifAcMp")), "is made of itself"),
        (spoilt("EvecKey", lambda each, told: stored(each).update(type=HOME + "EvecKey")), "is made of itself"),
        (spoilt("LifType", lambda each, told: each["enumerators"][0].update(number=-1)), "-1 is no number of 32 bits"),
        (spoilt("LifType", lambda each, told: told.update(checksum="-0x1")), "no checksum"),
        (spoilt("LifType", lambda each, told: told.update(types={})), "are a list"),
        (spoilt("LifType", lambda each, told: each.update(kind=[])), "of the kind []"),
        (spoilt("LifType", lambda each, told: each["enumerators"][0].update(name="mro")), "::mro has the name"),
        (spoilt("LifAppConfig", renamed("self")), "'self', which is no name"),
        (spoilt("AradLifAcMp", lambda each, told: each["attributes"][-1].update(id=-5)), "-5 is no number of 15 bits"),
        (spoilt("AradLifAcMp", lambda each, told: each["attributes"][-1]["view"].update(low=63, bits=64)), "beyond the 64"),
        (spoilt("AradLifEntry", lambda each, told: stored(each, "U64").update(default=str(2**80))), "no number of 64 bits"),
    ],
)
def test_a_schema_that_is_none_changes_nothing(told, words):
    before, checksum = dict(schema.TYPES), schema.CHECKSUM
    with pytest.raises(ValueError, match=re.escape(words)):
        schema.load(told)
    assert before == schema.TYPES and checksum == schema.CHECKSUM


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
