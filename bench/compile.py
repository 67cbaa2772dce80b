#!/usr/bin/env python3
"""compile.py [--check]: what the headers of the model cost a compiler, beside a well-known one of generated messages, in turns.

Processor time of g++ -fsyntax-only, the best of some turns. With --check it exits with 1 when a bar is missed."""

import os
import sys

PEER = 'google/protobuf/message.h'
BARS = {'model/LoamTunnelModel.h': 1.5, 'model/LifApps.h': 0.8, 'model/LoamTunnelModule.h': 0.6}
TURNS = 7

compiler = 'g++'
root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def seconds(header):
    read, write = os.pipe()
    os.write(write, ('#include <%s>\n' % header).encode())
    os.close(write)
    child = os.posix_spawnp(compiler, [compiler, '-std=c++20', '-fsyntax-only', '-w', '-I' + root, '-x', 'c++', '-'], os.environ,
                            file_actions=[(os.POSIX_SPAWN_DUP2, read, 0)])
    os.close(read)
    _, status, used = os.wait4(child, 0)
    if status != 0:
        sys.exit('%s cannot compile %s' % (compiler, header))
    return used.ru_utime + used.ru_stime


best = {header: seconds(header) for header in [PEER, *BARS]}
for _ in range(TURNS - 1):
    for header in best:
        best[header] = min(best[header], seconds(header))

print('%-30s %8s %14s %8s' % ('header', 'seconds', "of the peer's", 'at most'))
print('%-30s %8.2f' % (PEER, best[PEER]))
missed = False
for header, bar in BARS.items():
    ratio = best[header] / best[PEER]
    print('%-30s %8.2f %14.2f %8.1f%s' % (header, best[header], ratio, bar, '' if ratio <= bar else '  missed'))
    missed = missed or ratio > bar
sys.exit(1 if missed and '--check' in sys.argv else 0)
