"""Pretty printers of libLoamTunnel: counted pointers, strings, values, maps and entities, read from memory alone, so
that they work on a core file, too. gdb loads this file by itself with the installed library; otherwise
`source gdb/libLoamTunnel-gdb.py`."""

import re

import gdb
import gdb.printing


def _libLoamTunnel():
    # A function, since all scripts of gdb share one namespace.

    def bases(value):
        """The base objects of a value, each once, the value itself first; a base before what it derives from."""
        yield value
        for field in value.type.strip_typedefs().fields():
            if field.is_base_class:
                yield from bases(value[field])

    def name_of(value_type):
        """The full name of a class, without const and typedefs."""
        return value_type.strip_typedefs().unqualified().name or ''

    def base_named(value, pattern):
        for each in bases(value):
            if re.match(pattern, name_of(each.type)):
                return each
        return None

    def is_class(value):
        return value.type.strip_typedefs().code == gdb.TYPE_CODE_STRUCT

    # ---- strings

    def bytes_of_string(value):
        data = base_named(value, r'Kor::StringN<')['data_']['ptr_']
        size = int(data['length_'])
        if size == 0:
            return b''
        start = int(data) + data.dereference().type.sizeof
        return bytes(gdb.selected_inferior().read_memory(start, size))

    def quoted(text):
        return "'" + text.replace('\\', '\\\\').replace("'", "\\'") + "'"

    # ---- values, in the library's text form

    def stored(value):
        """The stored attributes of a value, in order: (name, value). None if it is no value."""
        if not is_class(value):
            return None
        storage = base_named(value, r'Kor::detail::Stock<')
        if storage is None:
            return None
        slots = []
        for each in bases(storage['storage_']):
            found = re.match(r'Kor::detail::Slot<Kor::\w+<Kor::name::(\w+)', name_of(each.type))
            if found:
                slots.append((found.group(1), each['value']))
        return slots

    def fapmask(value):
        """'0-3,7'"""
        chips = []
        bits = value['word_']
        low, high = bits.type.range()
        for word in range(low, high + 1):
            width = bits[word].type.sizeof * 8
            chips += [word * width + bit for bit in range(width) if int(bits[word]) >> bit & 1]
        runs = []
        for chip in chips:
            if runs and runs[-1][1] == chip - 1:
                runs[-1][1] = chip
            else:
                runs.append([chip, chip])
        return quoted(','.join(str(a) if a == b else '%d-%d' % (a, b) for a, b in runs))

    def text(value):
        """The value as Kor::valueToStrep writes it; what the library has a text of its own for is left to gdb."""
        kind = value.type.strip_typedefs().code
        if kind == gdb.TYPE_CODE_REF:
            return text(value.referenced_value())
        if kind == gdb.TYPE_CODE_BOOL:
            return 'True' if value else 'False'
        if kind == gdb.TYPE_CODE_ENUM:
            number = int(value)
            for field in value.type.strip_typedefs().fields():
                if field.enumval == number:
                    return quoted(field.name.rsplit('::', 1)[-1])
            return quoted('%s(%d)' % (name_of(value.type).rsplit('::', 1)[-1], number))
        if kind == gdb.TYPE_CODE_INT:
            return str(int(value))
        if is_class(value):
            if base_named(value, r'Kor::StringN<unsigned char>$') is not None:
                return quoted(bytes_of_string(value).decode('utf-8', 'replace'))
            if name_of(value.type) == 'Sideband::Fapmask':
                return fapmask(value)
            slots = stored(value)
            if slots is not None:
                if len(slots) == 1:
                    return text(slots[0][1])
                attributes = ', '.join("'%s': %s" % (name, text(slot)) for name, slot in slots)
                return "Value('%s', ** {%s})" % (name_of(value.type), attributes)
        return value.format_string(raw=True)

    # ---- objects

    COUNT = 0x1fffffff

    def references(value):
        return int(base_named(value, r'Kor::VFPtrInterface$')['word_']) & COUNT

    def is_entity(value):
        return is_class(value) and base_named(value, r'Kor::Entity$') is not None

    def entity_name(value):
        return bytes_of_string(base_named(value, r'Kor::Entity$')['name_']).decode('utf-8', 'replace')

    def attributes(value):
        """The attributes of an entity with their storage, in the order of the class."""
        found = []

        def walk(part, name):
            form = re.match(r'Kor::name::(\w+)::', name_of(part.type))
            if form:
                name = form.group(1)
            for field in part.type.strip_typedefs().fields():
                if field.is_base_class:
                    if name_of(field.type) != 'Kor::Entity':
                        walk(part[field], name)
                elif name and hasattr(field, 'bitpos') and re.match(r'(key|value|map|queue)_$', field.name or ''):
                    found.append((name, part[field]))

        walk(value, None)
        return found

    def map_in(value):
        """The hash map that a level of an entity stores, or None."""
        if is_class(value) and base_named(value, r'Kor::HashMapGeneric$') is not None:
            return value
        return None

    def map_type(value):
        """The hash map's class itself, without what derives from it."""
        for each in bases(value):
            if name_of(each.type).startswith('Kor::HashMap<'):
                return each
        return None

    def members(value):
        """The members of a hash map, in the order of its walk."""
        generic = base_named(value, r'Kor::HashMapGeneric$')
        of = map_type(value)
        member = of.type.strip_typedefs().template_argument(0)
        buckets = generic['buckets_']
        offset = int(generic['linkOffset_'])
        pointer = buckets.type.target().pointer()
        byte = gdb.lookup_type('char').pointer()
        left = int(generic['count_'])
        for bucket in range(1 << int(generic['log2Buckets_'])):
            link = buckets[bucket]
            while left > 0 and int(link['ptr_']) != 0:
                left -= 1
                at = link['ptr_']
                yield at.cast(member.pointer()).dereference()
                link = (at.cast(byte) + offset).cast(pointer).dereference()

    def member_pair(member):
        """Key and value of a member, as they are shown."""
        if is_entity(member):
            keys = [storage for name, storage in attributes(member) if not map_in(storage)]
            return (text(keys[0]) if keys else quoted(entity_name(member))), member
        try:
            return text(member['key']), member['value']
        except gdb.error:
            return text(member['value']), member['value']

    def shown(value):
        """A value as a child of a printer: text where it has one."""
        if is_class(value) and (stored(value) is not None or name_of(value.type) == 'Sideband::Fapmask'):
            return text(value)
        return value

    class PtrPrinter:
        """What it points to and by how many it is held."""

        def __init__(self, value):
            self.pointer = base_named(value, r'Kor::Ptr<')['ptr_']

        def to_string(self):
            if int(self.pointer) == 0:
                return 'null'
            target = self.pointer.dereference()
            real = target.cast(target.dynamic_type) if is_class(target) else target
            head = '%s %#x' % (name_of(real.type), int(self.pointer))
            if base_named(real, r'Kor::VFPtrInterface$') is not None:
                head += ' (references: %d)' % references(real)
            return head

        def children(self):
            if int(self.pointer) != 0:
                target = self.pointer.dereference()
                if is_class(target):
                    real = target.cast(target.dynamic_type)
                    if is_entity(real) or stored(real) is not None:
                        yield 'object', shown(real)

    class StringPrinter:
        def __init__(self, value):
            self.value = value

        def to_string(self):
            return bytes_of_string(self.value).decode('utf-8', 'replace')

        def display_hint(self):
            return 'string'

    class ValuePrinter:
        def __init__(self, value):
            self.value = value

        def to_string(self):
            return text(self.value)

    class MapPrinter:
        def __init__(self, value):
            self.value = value

        def to_string(self):
            return 'map of %d' % int(base_named(self.value, r'Kor::HashMapGeneric$')['count_'])

        def children(self):
            for number, member in enumerate(members(self.value)):
                key, value = member_pair(member)
                yield 'key %d' % number, key
                yield 'value %d' % number, shown(value)

        def display_hint(self):
            return 'map'

    class EntityPrinter:
        def __init__(self, value):
            self.value = value.cast(value.dynamic_type)

        def to_string(self):
            name = entity_name(self.value)
            return '%s%s, version %d' % (name_of(self.value.type), ' ' + quoted(name) if name else '',
                                         int(base_named(self.value, r'Kor::Entity$')['version_']))

        def children(self):
            for name, storage in attributes(self.value):
                yield name, shown(storage)

    class Printers(gdb.printing.PrettyPrinter):
        """Chooses by what a class derives from, so that a new entity or value needs nothing here."""

        def __init__(self):
            super().__init__('libLoamTunnel')

        def __call__(self, value):
            try:
                return self.printer_of(value)
            except gdb.error:
                return None  # an object that is not there: gdb shows what there is

        @staticmethod
        def printer_of(value):
            if value.type.strip_typedefs().code == gdb.TYPE_CODE_ENUM or not is_class(value):
                return None
            name = name_of(value.type)
            if not re.match(r'(Kor|Hardware|Sideband|Fen|Lumen|Bridging|LoamLib|SiliconKit)::', name):
                return None
            if re.match(r'Kor::(Ptr|ValidPtr)<', name):
                return PtrPrinter(value)
            if base_named(value, r'Kor::StringN<unsigned char>$') is not None:
                return StringPrinter(value)
            if map_in(value) is not None and map_type(value) is not None:
                return MapPrinter(value)
            if is_entity(value):
                return EntityPrinter(value)
            if name == 'Sideband::Fapmask' or (stored(value) is not None and not name.startswith('Kor::detail::')):
                return ValuePrinter(value)
            return None

    gdb.printing.register_pretty_printer(gdb.current_objfile(), Printers(), replace=True)


_libLoamTunnel()
del _libLoamTunnel
