#!/usr/bin/env python3
"""report.py RESULTS DOCS: makes of the benchmarks' results the tables of DOCS/performance.md, between its marks
`<!-- NAME -->` and `<!-- end -->`, and its plots, DOCS/performance/*.svg.

RESULTS has NAME.json of Google Benchmark, switch-*.json of SwitchBench, log-*.txt of LogBench and compile.txt of compile.py; ./dev bench --report fills it."""

import glob
import json
import math
import os
import platform
import re
import statistics
import subprocess
import sys

results, docs = sys.argv[1:3]
COLOURS = ['#1f5fa8', '#d9822b', '#3a9d5d', '#a03a8c', '#7a7a7a']


def benchmarks(name):
    """Median nanoseconds by benchmark."""
    path = os.path.join(results, name + '.json')
    times = {}
    if not os.path.exists(path):
        return times
    with open(path) as file:
        for run in json.load(file)['benchmarks']:
            if run.get('run_type') == 'aggregate' and run.get('aggregate_name') != 'median':
                continue
            scale = {'ns': 1, 'us': 1e3, 'ms': 1e6, 's': 1e9}[run['time_unit']]
            key = re.sub(r'/(min_time:[\d.]+|repeats:\d+|iterations:\d+|real_time|manual_time|process_time)', '', run['name'])
            key = re.sub(r'_(median)$', '', key)
            if 'error_occurred' not in run:
                each = run['real_time'] * scale
                if 'items_per_second' in run: # many in an iteration
                    each = 1e9 / run['items_per_second']
                times.setdefault(key, []).append(each)
    return {key: statistics.median(all) for key, all in times.items()}


def number(value):
    if value >= 1000:
        return '{:,.0f}'.format(value)
    return '%.3g' % value


def table(headings, rows):
    text = '| ' + ' | '.join(headings) + ' |\n|---|' + '---:|' * (len(headings) - 1) + '\n'
    for row in rows:
        text += '| ' + ' | '.join(str(cell) for cell in row) + ' |\n'
    return text


def plot(name, title, x_name, y_name, lines, y_log=True):
    """lines: name -> [(x, y)]. Both axes in powers of ten, unless y_log is off."""
    width, height, left, top, right, bottom = 560, 330, 70, 40, 120, 50
    points = [point for line in lines.values() for point in line]
    if not points:
        return

    def scale(values, low, high, log):
        if log:
            first, last = math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)))
            last = max(last, first + 1)
            return (lambda v: low + (math.log10(v) - first) / (last - first) * (high - low),
                    [10.0 ** i for i in range(first, last + 1)])
        most = max(values)
        step = 10 ** math.floor(math.log10(most))
        step = next(s for s in (step / 5, step / 2, step, 2 * step) if most / s <= 6)
        ticks = [i * step for i in range(int(most / step) + 2)]
        return (lambda v: low + v / ticks[-1] * (high - low)), ticks

    x_of, x_ticks = scale([x for x, _ in points], left, width - right, True)
    y_of, y_ticks = scale([y for _, y in points], height - bottom, top, y_log)
    svg = ['<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 %d %d" font-family="sans-serif" font-size="12">' % (width, height),
           '<rect width="100%" height="100%" fill="#fff"/>',
           '<text x="%d" y="20" font-size="14" font-weight="bold">%s</text>' % (left, title)]
    for tick in x_ticks:
        x = x_of(tick)
        svg.append('<line x1="%.1f" y1="%d" x2="%.1f" y2="%d" stroke="#ddd"/>' % (x, top, x, height - bottom))
        svg.append('<text x="%.1f" y="%d" text-anchor="middle">%s</text>' % (x, height - bottom + 16, '{:,.0f}'.format(tick)))
    for tick in y_ticks:
        y = y_of(tick)
        svg.append('<line x1="%d" y1="%.1f" x2="%d" y2="%.1f" stroke="#ddd"/>' % (left, y, width - right, y))
        svg.append('<text x="%d" y="%.1f" text-anchor="end">%s</text>' % (left - 6, y + 4, '{:,g}'.format(tick)))
    svg.append('<text x="%d" y="%d" text-anchor="middle">%s</text>' % ((left + width - right) / 2, height - 12, x_name))
    svg.append('<text transform="translate(16 %d) rotate(-90)" text-anchor="middle">%s</text>' % ((top + height - bottom) / 2, y_name))
    for i, (line, values) in enumerate(lines.items()):
        colour = COLOURS[i % len(COLOURS)]
        path = ' '.join('%.1f,%.1f' % (x_of(x), y_of(y)) for x, y in sorted(values))
        svg.append('<polyline points="%s" fill="none" stroke="%s" stroke-width="2"/>' % (path, colour))
        for x, y in values:
            svg.append('<circle cx="%.1f" cy="%.1f" r="3" fill="%s"/>' % (x_of(x), y_of(y), colour))
        svg.append('<text x="%d" y="%d" fill="%s">%s</text>' % (width - right + 10, top + 14 + 18 * i, colour, line))
    svg.append('</svg>')
    os.makedirs(os.path.join(docs, 'performance'), exist_ok=True)
    with open(os.path.join(docs, 'performance', name + '.svg'), 'w') as file:
        file.write('\n'.join(svg) + '\n')


tables = {}


def machine():
    with open('/proc/cpuinfo') as file:
        cpu = re.search(r'model name\s*: (.*)', file.read())
    with open('/proc/meminfo') as file:
        memory = int(re.search(r'MemTotal:\s*(\d+)', file.read()).group(1)) // (1024 * 1024)
    compiler = subprocess.run(['c++', '--version'], stdout=subprocess.PIPE, text=True).stdout.splitlines()[0]
    return '%s, %d processors, %d GiB, Linux %s, %s, -O3\n' % (
        cpu.group(1) if cpu else platform.machine(), os.cpu_count(), memory, platform.release(), compiler)


tables['machine'] = machine()

# Collections: operation/peer/size.
collections = benchmarks('CollectionBench')
sizes = [100, 10000, 1000000]
rows = []
for operation in ('find', 'findMiss', 'increment', 'insert', 'erase', 'walk', 'forEach'):
    lines = {}
    for peer in ('Kor', 'std', 'absl'):
        values = [(size, collections['%s/%s/%d' % (operation, peer, size)]) for size in sizes
                  if '%s/%s/%d' % (operation, peer, size) in collections]
        if values:
            lines[{'Kor': 'Kor::HashMap', 'std': 'std::unordered_map', 'absl': 'absl::flat_hash_map'}[peer]] = values
            what = operation + ', all' if operation in ('walk', 'forEach') else operation
            rows.append([what, peer] + [number(value) for _, value in values])
    if operation in ('find', 'insert', 'erase'):
        plot('collection-' + operation, operation, 'members', 'ns each', lines)
tables['collections'] = table(['operation, ns', 'map'] + ['{:,}'.format(size) for size in sizes], rows)

for name in ('RowBench', 'EntityBench', 'NotifyBench', 'TextBench', 'GenericBench'):
    times = benchmarks(name)
    if times:
        tables[name] = table([name, 'ns'], [[key, number(value)] for key, value in times.items()])

for name, file in (('LoadBench', 'load.txt'), ('PeerBench', 'peers.txt'), ('compile', 'compile.txt')):
    path = os.path.join(results, file)
    if os.path.exists(path):
        with open(path) as text:
            tables[name] = '```\n' + text.read().strip() + '\n```\n'

# The attribute log: log-COUNTS.txt.
lines, rows = {}, []
for path in sorted(glob.glob(os.path.join(results, 'log-*.txt')), key=lambda p: int(re.search(r'-(\d+)', p).group(1))):
    scenario = ''
    for line in open(path):
        if re.match(r'\S', line):
            scenario = line.strip()
        found = re.match(r'  (.{14})\s+([\d.]+) million a second, +([\d.]+) of.*processor +([\d.]+) ns each.*; +([\d.]+) bytes', line)
        trip = re.match(r'  (.{14})\s+([\d.]+) us, +([\d.]+) times', line)
        if found:
            way, rate, ratio, processor, size = found.groups()
            rows.append([scenario, way.strip(), rate + ' M/s', ratio, processor, size])
            if scenario.startswith('full pass'):
                lines.setdefault(way.strip(), []).append((int(re.search(r'of (\d+)', scenario).group(1)), float(rate)))
        elif trip:
            rows.append([scenario, trip.group(1).strip(), trip.group(2) + ' us', trip.group(3), '', ''])
if rows:
    tables['log'] = table(['what', 'by', 'rate or time', 'of the structs\'', 'processor, ns each', 'bytes each'], rows)
    plot('log-full-pass', 'full pass', 'keys', 'million a second', lines, y_log=False)

# Whole switches: switch-NAME.json.
rows, cold, memory = [], {'applications': [], 'chips': []}, {}
for path in sorted(glob.glob(os.path.join(results, 'switch-*.json'))):
    with open(path) as file:
        switch = json.load(file)
    name = '%s LIFs, %d chips%s' % ('{:,}'.format(switch['lifs']), switch['chips'],
                                    ', %d relays' % switch['cards'] if switch['cards'] else '')
    if 'size' in os.path.basename(path):
        cold['applications'].append((switch['lifs'], switch['steps'][0]['applications']))
        cold['chips'].append((switch['lifs'], switch['steps'][0]['chips']))
        for kind, size in switch['memory'].items():
            memory.setdefault(kind, []).append((switch['lifs'], size / 1048576))
    if 'whole' in os.path.basename(path):
        for step in switch['steps']:
            rows.append([name, step['name'], '%.3f' % step['applications'], '%.3f' % step['chips'], '{:,}'.format(step['rows']),
                         '%.1f' % (step['bytes'] / 1e6), '%.2f' % step['processor'], '%.2f' % step['owner']])
if rows:
    tables['switch'] = table(['switch', 'step', 'applications, s', 'chips, s', 'rows', 'MB sent', 'processor, s', "the owner's, s"], rows)
    plot('switch-cold-start', 'cold start, 10 applications, 8 chips', 'LIFs', 'seconds', cold)
    plot('switch-memory', 'memory of a process', 'LIFs', 'MiB', memory)

page = os.path.join(docs, 'performance.md')
with open(page) as file:
    text = file.read()
for name, content in tables.items():
    text, count = re.subn(r'(<!-- %s -->\n).*?(<!-- end -->)' % name, lambda m: m.group(1) + content + m.group(2), text, flags=re.S)
    if count != 1:
        sys.exit('%s has no place for the table %s' % (page, name))
with open(page, 'w') as file:
    file.write(text)
