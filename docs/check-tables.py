"""check-tables.py PROGRAM PAGE [PICTURES]: is the page of chip tables what it should be? In a browser, at the width of a
phone and of a desk: every table, chip and variant is drawn as the program lists it, rows are decoded as the program
decodes them, fields are edited, and all of it goes by keyboard. With a folder PICTURES it also takes some."""
import csv
import io
import json
import os
import random
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from browser import Browser  # noqa: E402

program, page = sys.argv[1], 'file://' + os.path.abspath(sys.argv[2])
pictures = sys.argv[3] if len(sys.argv) > 3 else None
seed = int(os.environ.get('LOAM_SEED') or random.randrange(1 << 31))
print('LOAM_SEED=%d' % seed)
chance = random.Random(seed)


def output(*arguments, text=None):
    return subprocess.run([program, *arguments], input=text, check=True, capture_output=True, text=True).stdout


def rows(*arguments):
    return list(csv.reader(io.StringIO(output(*arguments, '--format', 'csv', '--no-headings'))))


def expect(what, got, wanted):
    if got != wanted:
        raise SystemExit('%s\n  is        %s\n  should be %s' % (what, json.dumps(got)[:2000], json.dumps(wanted)[:2000]))


# All forms: what the program lists, and a random row of each, some of its bits in no field.
forms = {}
for chip, table, variants, *_ in rows('tables'):
    first, last = (0, 0) if variants == 'any' else (int(variants.split('-')[0]), int(variants.split('-')[-1]))
    for variant in range(first, last + 1):
        listed = rows('layout', '--chip', chip, '--table', table, '--variant', str(variant))
        forms[chip, table, variant] = [[name, number, kind, hi + ':' + lo, int(width)] for name, number, kind, hi, lo, width in listed]
expect('the program lists tables', len(forms) > 50, True)
wordsOf = {table: int(width) for _, table, _, width, *_ in rows('tables')}
given = {form: [chance.getrandbits(32) if chance.random() < 0.9 else 0 for _ in range(wordsOf[form[1]])] for form in forms}
lines = ''.join('chip=%s table=%s variant=%d %s\n' % (*form, ' '.join('0x%x' % word for word in words)) for form, words in given.items())
decoded = dict(zip(forms, json.loads(output('decode', '--file', '-', '--format', 'json', text=lines))))


def runs(ranges):
    return ', '.join(str(r['lo']) if r['lo'] == r['hi'] else '%d:%d' % (r['hi'], r['lo']) for r in ranges)


# In the page: goes to each form, and writes down what is drawn. An element is visible when it has a size.
walk = '''(forms => forms.map(([chip, table, variant, row]) => {
  history.replaceState(null, "", "#" + new URLSearchParams({ table, chip, variant, row }));
  draw();
  const bits = {}, named = new Set(), numbers = {};
  for (const e of at("diagram").querySelectorAll(".field")) {
    const name = tables.find(t => t.name === table).fields[e.dataset.field][0];
    const text = e.firstChild.textContent;
    bits[name] = (bits[name] || 0) + Number(/span (\\d+)/.exec(e.style.gridColumn)[1]);
    if (text === name) { if (e.firstElementChild === null || e.scrollWidth <= e.clientWidth + 1) named.add(name); } else numbers[name] = text;
  }
  for (const e of at("diagram").querySelectorAll(".names span")) {
    const [number, name] = e.textContent.split(" ");
    if (numbers[name] === number && e.getBoundingClientRect().height > 0) named.add(name);
  }
  const fields = [...at("fields").querySelectorAll("tbody tr")].map(r => [...r.cells].map(c => c.firstElementChild ? c.firstElementChild.value : c.textContent));
  const root = document.documentElement;
  return { title: at("title").textContent, fields, bits, named: [...named], numbers, unowned: at("unowned").textContent,
    error: at("wordsError").textContent, words: at("words").value, wide: Math.max(root.scrollWidth, document.body.scrollWidth) - innerWidth };
}))(%s)'''


def checkForms(browser, width):
    asked = [[*form, ','.join('0x%x' % word for word in words)] for form, words in given.items()]
    drawn = []
    for at in range(0, len(asked), 20):
        drawn += browser.run(walk % json.dumps(asked[at:at + 20]))
    for form, view in zip(forms, drawn):
        what = '%s at %d px: ' % (form, width)
        listed, row = forms[form], decoded[form]
        expect(what + 'fields', sorted([name, number, kind, bits, view['bits'].get(name)] for _, name, bits, _, number, kind in view['fields']),
               sorted(listed))
        expect(what + 'each name can be read', sorted(view['named']), sorted(name for name, *_ in listed))
        numbered = {name: number for number, name, *_ in view['fields']}
        expect(what + 'numbers', view['numbers'], {name: numbered[name] for name in view['numbers']})
        expect(what + 'values', {f[1]: f[3] for f in view['fields']},
               {f['name']: str(f['value']) for f in row['fields']})
        expect(what + 'bits of no field', view['unowned'],
               'set bits that no field owns: ' + runs(row['unowned']) if row['unowned'] else '')
        expect(what + 'words', view['words'].split(), ['0x%08x' % word for word in given[form]])
        expect(what + 'nothing is wider than the page', [view['wide'] <= 0, view['error']], [True, ''])


def checkChanges(browser, width):
    """The comparison of two chips is that of the program."""
    for table, before, after in (('LifTable', 7, 8), ('OutAcBank', 3, 10), ('EsemMgmtReq', 3, 5)):
        wanted = sorted([variant, name, change.replace(' ', ''), old, new] for _, variant, name, change, old, new in
                        rows('layout', '--table', table, '--diff', str(before), str(after)))
        got = []
        for variant in {int(v) for v, *_ in wanted}:
            browser.run('history.replaceState(null, "", "#table=%s&chip=%d&against=%d&variant=%d"); draw()' % (table, after, before, variant))
            for row in browser.run('[...at("fields").querySelectorAll("tbody tr")].map(r => [...r.cells].map(c => c.textContent))'):
                if row[7]:
                    got.append([str(variant), row[1], row[7].replace(' ', ''), row[6].replace('\u2013', ''), row[2].replace('\u2013', '')])
        expect('%s, chips %d and %d' % (table, before, after), sorted(got), wanted)
        expect('a comparison is no wider than the page', browser.run('document.documentElement.scrollWidth <= innerWidth'), True)


focus = 'document.activeElement.dataset.key || document.activeElement.id'
ring = '''(e => getComputedStyle(e.type === "radio" ? e.nextSibling : e))(document.activeElement)'''


def checkKeys(browser, width):
    browser.open(page + '#table=LifTable&chip=8&variant=1')
    title = 'LifTable AradLifAcMp on chip '
    browser.key('ArrowRight')
    expect('right changes the chip', browser.run('document.title'), title + '9')
    browser.key('ArrowLeft')
    browser.key('ArrowLeft')
    expect('left changes the chip', browser.run('document.title'), title + '7')
    browser.run('history.back()')
    browser.settle()
    expect('back goes back', browser.run('new Promise(done => setTimeout(() => done(document.title), 200))'), title + '8')

    # All that can be done is reached by Tab, and shows that it has the focus.
    reached = []
    for _ in range(80):
        browser.key('Tab')
        where = browser.run(focus)
        if where in reached:
            break
        reached.append(where)
        expect('the focus on %s is seen' % where, browser.run(ring + '.outlineStyle') not in ('none', ''), True)
    for wanted in ('find', 'chips 8', 'variants 1', 'againsts ', 'words', 'value vsi', 'all'):
        expect('Tab reaches ' + wanted, wanted in reached, True)

    for group, key, where, then in (('chips', 'ArrowRight', 'chips 9', title + '9'), ('chips', 'ArrowLeft', 'chips 8', title + '8'),
                                    ('variants', 'ArrowDown', 'variants 2', 'LifTable AradLifAcP2pToPwe on chip 8'),
                                    ('againsts', 'ArrowRight', 'againsts 3', 'LifTable AradLifAcP2pToPwe on chip 8')):
        browser.run('document.querySelector("#%s input:checked").focus()' % group)
        browser.key(key)
        expect('an arrow in ' + group, [browser.run(focus), browser.run('document.title')], [where, then])
    expect('a comparison has a key', browser.run('at("key").hidden'), False)
    browser.run('document.querySelector("#tables a").focus()')
    if browser.run('at("menu").open'):
        browser.key('ArrowRight')
        expect('the focus stays on a link', browser.run(focus), 'table LifTable')
    # By pointer, too.
    browser.run('document.querySelector("#chips input[value=\'10\']").click()')
    expect('a click changes the chip', browser.run('document.title'), 'LifTable AradLifAcP2pToPwe on chip 10')
    expect('variants have names', browser.run('[...document.querySelectorAll("#variants span")].map(e => e.textContent)'),
           ['AradLifAcP2pToAc', 'AradLifAcMp', 'AradLifAcP2pToPwe', 'AradLifPweToP2p', 'AradLifLabelProtocolOrLsp'])


def checkSearch(browser, width):
    browser.open(page + '#table=LifTable&chip=8&variant=1')
    browser.key('/')
    expect('/ goes to the search', browser.run(focus), 'find')
    text = 'vid1'
    browser.type(text)
    here = [(form, name) for form, listed in forms.items() if form[0] == '8' for name, *_ in listed if text in name.lower()]
    seen = {(form[1], name) for form, name in here}
    elsewhere = {(form[1], name) for form, listed in forms.items() for name, *_ in listed if text in name.lower()} - seen
    expect('there is something to find', len(here) > 3, True)
    found = browser.run('at("found").textContent')
    count = int(found.split()[0])
    # What the chip lacks is found once, on another.
    expect('as many are found as the program lists', found, '%d found' % (len(here) + len(elsewhere)))
    views = set()
    for step in range(count):
        browser.key('Enter')
        views.add(browser.run('[state.table.name, state.chip, state.variant, state.field].join()'))
        expect('Enter keeps the focus', browser.run(focus), 'find')
        expect('what was jumped to is seen', browser.run('''(e => { const r = e.getBoundingClientRect();
            return r.bottom > 0 && r.top < innerHeight && e.classList.contains("marked"); })(document.querySelector("#diagram .field.current"))'''), True)
    expect('each one is jumped to', len(views), count)
    at = int(browser.run('at("found").textContent').split()[0])
    browser.key('Enter', shift=True)
    expect('Shift and Enter go back', browser.run('at("found").textContent'), '%d of %d' % ((at - 2) % count + 1, count))
    browser.run('at("next").click()')
    expect('next goes on', browser.run('at("found").textContent'), '%d of %d' % (at, count))
    browser.run('at("find").focus()')
    browser.type('nosuchfield')
    expect('nothing is found', [browser.run('at("found").textContent'), browser.run('at("next").disabled')], ['none', True])
    browser.type('')
    expect('no search', browser.run('at("found").textContent + document.querySelectorAll(".marked").length'), '0')


def checkRows(browser, width):
    browser.open(page + '#table=LifTable&chip=8&variant=1')
    state = '[at("words").value, at("wordsError").textContent, document.querySelector("#fields [aria-label=vsi]")?.value]'
    browser.run('at("words").focus()')
    browser.type('0x64, 140000 0 0x3')
    expect('words are decoded', browser.run(state), ['0x64, 140000 0 0x3', '', '100'])
    for text, error in (('0x64 0 0', 'a row of LifTable has 4 words of 32 bits, word 0 first, not 3'),
                        ('0x64 0 0 zz', "'zz' is no 32-bit word in hexadecimal, such as 0x1f or 0000001f"),
                        ('0x64 0 0 100000000', "'100000000' is no 32-bit word in hexadecimal, such as 0x1f or 0000001f"),
                        ('chip=6 0 0 0 0', "no LifTable on a chip '6'; there are chips 3, 4, 5, 7, 8, 9, 10")):
        browser.type(text)
        expect('wrong words', browser.run(state), [text, error, ''])
        expect('wrong words are marked', browser.run('at("words").getAttribute("aria-invalid")'), 'true')
        refused = subprocess.run([program, 'decode', '--chip', '8', '--variant', '1', *text.split()], capture_output=True, text=True)
        if 'chip=' not in text:
            expect('the program says the same', error in refused.stderr, True)
    browser.key('Tab')
    expect('wrong words stay', browser.run('at("words").value'), 'chip=6 0 0 0 0')
    browser.run('at("words").focus()')
    browser.type('chip=5 table=OutAcBank variant=1 0x1 0x2 0x3')
    expect('a line of the program is taken whole', browser.run('[document.title, ' + focus + ']'), ['OutAcBank out-AC pair on chip 5', 'words'])
    browser.type('')
    expect('no row', browser.run('[...at("fields").querySelectorAll("input")].every(i => i.value === "")'), True)

    # A field is edited: the words follow, and the focus stays.
    for form in chance.sample(list(forms), 12):
        browser.run('history.replaceState(null, "", "#" + new URLSearchParams({chip: %s, table: "%s", variant: %d, row: "%s"})); draw()' %
                    (*form, ','.join('%x' % word for word in given[form])))
        name, _, _, bits, size = chance.choice(forms[form])
        lo = int(bits.split(':')[1])
        value = chance.getrandbits(size)
        whole = sum(word << 32 * i for i, word in enumerate(given[form])) & ~((1 << size) - 1 << lo) | value << lo
        wanted = ' '.join('0x%08x' % (whole >> 32 * i & 0xffffffff) for i in range(wordsOf[form[1]]))
        browser.run('document.querySelector("#fields [aria-label=%s]").focus()' % name)
        browser.type(chance.choice([str, hex])(value))
        expect('%s: %s = %d' % (form, name, value), [browser.run('at("words").value'), browser.run(focus)], [wanted, 'value ' + name])
        most = (1 << size) - 1
        browser.type(str(most + 1))
        error = browser.run('at("fieldError").textContent')
        expect('too large', [error.startswith('%s: %d is too large; the field has %d bit' % (name, most + 1, size)), browser.run('at("words").value'),
                             browser.run('document.activeElement.getAttribute("aria-invalid")')], [True, wanted, 'true'])
        browser.type('x')
        expect('no number', browser.run('at("fieldError").textContent'), "%s: 'x' is no number; one is decimal, or hexadecimal with 0x" % name)
        browser.run('document.activeElement.blur()')
        expect('the value that holds is shown again', browser.run('[at("fieldError").textContent, BigInt(document.querySelector("#fields [aria-label=%s]").value).toString()]' % name),
               ['', str(value)])

    # A click in the drawing leads to the value, and down goes to the next one.
    browser.open(page + '#table=LifTable&chip=8&variant=1&row=64,0,0,3')
    browser.run('document.querySelector("#diagram .field").click()')
    name = browser.run('state.table.fields[state.field][0]')
    expect('a click chooses a field', browser.run(focus), 'value ' + name)
    browser.run('document.querySelector("#fields [aria-label=vsi]").focus()')
    browser.key('ArrowDown')
    expect('down goes to the next value', browser.run(focus), 'value learnInfo')
    browser.type('5')
    browser.run('document.querySelector("#chips input[value=\'3\']").click()')
    expect('the row stays when the chip changes', browser.run('[at("words").value, document.title]'),
           ['0x00050064 0x00000000 0x00000000 0x00000003', 'LifTable AradLifAcMp on chip 3'])
    # The link leads to the same view.
    browser.run('at("find").focus()')
    browser.type('vsi')
    browser.key('Enter')
    view = '[document.title, at("words").value, at("find").value, at("found").textContent, state.field, [...at("fields").querySelectorAll("input")].map(i => i.value).join()]'
    before, link = browser.run(view), browser.run('location.href')
    browser.open(link)
    expect('a link leads to the view', browser.run(view), before)


with Browser() as browser:
    for width, height in ((360, 740), (1200, 900)):
        browser.size(width, height)
        browser.open(page)
        expect('the page is as wide as the window', browser.run('innerWidth'), width)
        for check in (checkForms, checkChanges, checkKeys, checkSearch, checkRows):
            check(browser, width)
        if pictures:
            for name, view in (('lif', 'table=LifTable&chip=8&variant=1&row=64,140000,0,3'), ('compare', 'table=LifTable&chip=8&variant=4&against=3'),
                               ('search', 'table=OutAcBank&chip=5&variant=1&find=vid1&field=ac0ActionVid1'), ('wrong', 'table=TcamBankTable&chip=8&row=1,2,zz')):
                browser.open(page + '#' + view)
                browser.picture('%s/%s-%d.png' % (pictures, name, width))
                browser.picture('%s/%s-%d-whole.png' % (pictures, name, width), whole=True)
print('the page draws and decodes %d rows as the program does, at 360 px and at 1200 px' % len(forms))
