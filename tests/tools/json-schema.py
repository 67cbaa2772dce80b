"""Holds `schema --json-schema` against a validator of others: `json-schema.py PROGRAM`.

The schema is sound, each default that `schema --json` tells is a value of its type, and what is none is refused.
"""

import json
import subprocess
import sys

from jsonschema import Draft202012Validator as Validator


def printed(*words: str):
    return json.loads(subprocess.run([sys.argv[1], *words], capture_output=True, text=True, check=True).stdout)


SCHEMA = printed("schema", "--json-schema")
Validator.check_schema(SCHEMA)


def of(name: str) -> Validator:
    return Validator({"$ref": f"#/$defs/{name}", "$defs": SCHEMA["$defs"]})


held = 0
for each in printed("schema", "--json")["types"]:
    if "default" in each and each["name"] in SCHEMA["$defs"]:
        of(each["name"]).validate(each["default"])
        held += 1
assert held > 70, held
entry = of("Hardware::LoamTunnel::AradLifEntry")
entry.validate({"lifType": "LifType(99)", "dword0": "0x10", "dword1": 7})
for wrong in ({"lifType": "lifNone"}, {"dword2": 1}, {"dword0": True}, 5):
    assert not entry.is_valid(wrong), wrong
