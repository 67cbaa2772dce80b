#!/usr/bin/python3
"""declared.py PROGRAM FOLDER: what the program prints as the declaration of each type, a file each, for docs/declare.awk."""

import json
import pathlib
import subprocess
import sys


def schema(*arguments):
    return subprocess.run([sys.argv[1], 'schema', *arguments], check=True, stdout=subprocess.PIPE, text=True).stdout


for each in json.loads(schema('--json'))['types']:
    if each['header']:
        (pathlib.Path(sys.argv[2]) / each['name'].replace('::', '-')).write_text(schema('--cpp', each['name']))
