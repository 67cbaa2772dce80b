#!/usr/bin/env python3
"""How much room do the names of types take in a library?

    tests/typeNames.py LIBRARY LIMIT

dynamic_cast and exceptions need the names, which grow with the chain of templates below each class. Prints how many
bytes they are, and fails above the limit with the templates that take most of them.
"""

import collections
import re
import subprocess
import sys

library, limit = sys.argv[1], int(sys.argv[2])
listed = subprocess.run(["nm", library], check=True, stdout=subprocess.PIPE, text=True).stdout
names = re.findall(r" _ZTS(\S+)$", listed, re.M)
total = sum(len(name) + 1 for name in names)
print(f"{len(names)} names of types take {total} bytes; the limit is {limit}")
if not names or total > limit:
    plain = subprocess.run(["c++filt", "-t"], input="\n".join(names), check=True, stdout=subprocess.PIPE, text=True).stdout
    families = collections.Counter()
    for name, text in zip(names, plain.splitlines()):
        families[re.sub(r"name::\w+::", "name::*::", text.split("<")[0])] += len(name) + 1
    for family, size in families.most_common(12):
        print(f"{size:8} {family}")
    sys.exit(1)
