# Run by gdb on a program that is linked with the library: writes what binaries rely on, a line each. The functions and
# row classes that the libraries export, the virtual functions of each exported class in the order of their table, and the
# sizes and data members of these classes and of all types of the model.
#
# LOAM_LIBRARIES: the library files. LOAM_TYPES: a file with a type's full name on each line. LOAM_RECORD: the result.
import os
import re
import subprocess

import gdb


def symbols(library):
    text = subprocess.run(['nm', '-DC', '--defined-only', library], check=True, stdout=subprocess.PIPE, text=True).stdout
    for line in text.splitlines():
        kind, name = line.split(' ', 2)[1:]
        yield kind, name


def members(of, offset, found):
    """Data members with their offsets, those of bases among them."""
    for field in of.strip_typedefs().fields():
        if not hasattr(field, 'bitpos') or field.bitpos is None:
            continue
        at = offset + field.bitpos // 8
        if field.is_base_class:
            members(field.type, at, found)
        elif not field.artificial:
            found.append((at, field.name or 'union', field.type.strip_typedefs().sizeof))
    return found


def layout(name):
    try:
        of = gdb.lookup_type(name)
    except gdb.error:
        return None
    if of.strip_typedefs().code != gdb.TYPE_CODE_STRUCT:
        return None
    parts = ' '.join('%s@%d:%d' % (member, at, size) for at, member, size in sorted(members(of, 0, [])))
    return 'layout %s %d %s' % (name, of.sizeof, parts)


def virtual_functions(name):
    """Of the class's first table: what stands behind its offset and its type."""
    start = int(gdb.parse_and_eval("(unsigned long)&'vtable for %s'" % name))
    word = gdb.lookup_type('unsigned long')
    functions = []
    slot = 2
    while True:
        target = int(gdb.Value(start + 8 * slot).cast(word.pointer()).dereference())
        where = gdb.execute('info symbol %#x' % target, to_string=True) if target else ''
        if not re.match(r'.* in section \.(text|plt)', where):
            break
        functions.append(re.sub(r' in section .*| \+ \d+', '', where.strip()))
        slot += 1
    return functions


gdb.execute('set pagination off')
gdb.execute('set width 0')
gdb.execute('break stop')
gdb.execute('run', to_string=True)
lines = set()
classes = set()
for library in os.environ['LOAM_LIBRARIES'].split(':'):
    for kind, name in symbols(library):
        if name.startswith('vtable for ') and '<' not in name:
            classes.add(name[len('vtable for '):])
        elif kind in 'TDBR' or (name.startswith('Hardware::RowOf<') and 'typeinfo' not in name):
            lines.add('symbol ' + name)
with open(os.environ['LOAM_TYPES']) as file:
    types = {line.strip() for line in file}
for name in sorted(classes):
    try:
        for slot, function in enumerate(virtual_functions(name)):
            lines.add('virtual %s %02d %s' % (name, slot, function))
    except gdb.error:
        pass  # of the other library, which this program does not load
for name in sorted(classes | types):
    line = layout(name)
    if line:
        lines.add(line)
with open(os.environ['LOAM_RECORD'], 'w') as file:
    file.write('\n'.join(sorted(lines)) + '\n')
gdb.execute('kill')
