# Run by gdb on the program beside it, alive and as a core file: are the printers' texts those of the library?
import os
import sys
import tempfile

import gdb

failures = 0


def check(what, found, expected):
    global failures
    if found != expected:
        failures += 1
        print('%s: found\n    %s\nexpected\n    %s' % (what, found, expected))


def shown(expression):
    return gdb.parse_and_eval(expression).format_string(max_elements=0, symbols=False)


def check_all():
    for pair in ('lif', 'entry', 'index', 'evec', 'noFaps', 'outAc', 'unknown'):
        # The library's own std::string, without its printer, which is another package's.
        data = gdb.parse_and_eval(pair + '.expected._M_dataplus._M_p')
        length = int(gdb.parse_and_eval(pair + '.expected._M_string_length'))
        check(pair, shown(pair + '.value'), data.string(length=length))
    check('text', gdb.parse_and_eval('text').format_string(), '"it\'s \\\\ here"')
    check('empty', shown('empty'), '""')
    check('name', shown('name'), '"root"')
    check('none', shown('none'), 'null')

    found = shown('dir')
    start = 'Hardware::LoamTunnel::LifAppConfigDir 0x'
    check('dir', found[:len(start)], start)
    for part in ('(references: 2)', "LifAppConfigDir 'lifConfig', version 1", 'appConfig = map of 1',
                 "['vtAppMpls'] = Hardware::LoamTunnel::LifAppConfig", 'app = Hardware::Loam::vtAppMpls',
                 'reqCount = map of 100', "{'lifType': 'lifAcMp', 'dword0': 37, 'dword1': 0})] = 37"):
        check('dir has ' + part, part in found, True)
    check('each count once', sorted(int(line.split('] = ')[1]) for line in found.replace('}', '').split(', [')
                                    if '] = ' in line and line.split('] = ')[1].isdigit())[-3:], [97, 98, 99])
    found = shown('status')
    for part in ("{'lifType': 'lifAcMp', 'dword0': 100, 'dword1': 0})] = Value('Hardware::LoamTunnel::AradLifIndex', "
                 "** {'index': 7, 'startingBank': 'lifBankManaged'})",):
        check('status has ' + part, part in found, True)
    check('an empty map', 'entry = map of 0' in shown('evecs'), True)
    found = shown('properties')
    check('a map of references', "['fapTypeJericho'] = Hardware::LoamTunnel::JerichoFapTypeProperties" in found, True)


gdb.execute('set pagination off')
gdb.execute('set print elements 0')
gdb.execute('break stop')
gdb.execute('run')
gdb.execute('up')
check_all()
core = tempfile.mktemp(prefix='loam-core-')
gdb.execute('generate-core-file ' + core)
gdb.execute('kill')
try:
    gdb.execute('core-file ' + core)
    gdb.execute('up')
    check_all()
finally:
    gdb.execute('core-file')
    os.unlink(core)
if failures == 0:
    print('the printers show what the library says')
sys.stdout.flush()
gdb.execute('quit %d' % (1 if failures else 0))
