# Run by gdb on the program loamtunnel: which public operations has a class that `schema --cpp` does not show? Those are
# written by hand, and the texts of the class (runtime/Texts.h) do not tell them. Templates, operators and what only the
# patterns call need no text.
import json
import os
import re
import subprocess

import gdb

called_by_patterns = re.compile(r'kor[A-Z]\w*|_?fwkType\w*|foldInto|appendTextTo|fromText|get|set|storage|attributeString')


def printed(*arguments):
    return subprocess.run([os.environ['LOAM_PROGRAM'], 'schema', *arguments], check=True, stdout=subprocess.PIPE, text=True).stdout


def public_operations(name):
    part = ''
    for line in gdb.execute("ptype '%s'" % name, to_string=True).splitlines():
        if re.match(r'  (public|private|protected):', line):
            part = line.strip()
        is_template = re.search(r'\w<[^()]*>\(', line)
        operation = re.match(r'    [^()]*?([A-Za-z_]\w*)\(', re.sub(r'<[^()]*> ', ' ', line))
        if part == 'public:' and operation and not is_template:
            yield operation.group(1)


gdb.execute('set width 0')
found = 0
for name in [each['name'] for each in json.loads(printed('--json'))['types']] + ['Kor::KorType', 'Kor::Dir', 'Kor::KorAttr']:
    try:
        operations = set(public_operations(name))
    except gdb.error:
        continue  # the library has no code of it
    shown = set(re.findall(r'(\w+)\(', printed('--cpp', name)))
    found += len(operations & shown)
    for each in sorted(operations - shown):
        if not called_by_patterns.fullmatch(each):
            print('%s::%s is told by no text' % (name, each))
            found = -10000
print('all told' if found > 100 else 'seen: %d' % found)
