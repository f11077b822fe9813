"""Shows the objects of a store in gdb: handles, references, identifiers, arrays, texts and collections.

gdb loads this file with the library. Elsewhere: (gdb) source pscollections.py

What is in memory is read there, so that core dumps show it too. The class of what is not in memory, and the content of
collections, are asked of the library, in a process that can be called. $ps_object(x) is the object of a handle,
reference or identifier.
"""

import contextlib
import re

import gdb
import gdb.printing

FIRST_ELEMENTS = 10
LONGEST_TEXT = 200
NAMED_FLAG = 0x80000000
# Known without debug information of the library. Classes of applications that derive from them have it.
COLLECTIONS = ('psTreeSet', 'psTreeMap', 'psTreeList', 'psHashSet', 'psHashMap')


class Unreadable(Exception):
    """Says in a few words why something cannot be shown."""


def read(address, size):
    return bytes(gdb.selected_inferior().read_memory(address, size))


def number_at(address, size):
    return int.from_bytes(read(address, size), 'little')


def variable(name, type_name):
    """A variable of the library, also where the library has no debug information."""
    return gdb.parse_and_eval("*(%s*)&'ps::detail::%s'" % (type_name, name))


class Id:
    """An identifier."""

    def __init__(self, bits):
        self.bits = bits
        self.database, self.container, self.page, self.slot = (bits >> shift & 0xFFFF for shift in (0, 16, 32, 48))

    def __str__(self):
        return '%d-%d-%d-%d' % (self.database, self.container, self.page, self.slot)


class Memory:
    """The images of objects in the process, as store/cache/Frame.h describes them."""

    def __init__(self):
        self.begin = int(variable('arenaBegin', 'unsigned long'))
        self.size = int(variable('arenaSize', 'unsigned long'))

    def has(self, address):
        return self.begin <= address < self.begin + self.size

    def header(self, address):
        """Class number, size, frame and slot of the object at an address."""
        words = read(address - 16, 16)
        return (int.from_bytes(words[0:4], 'little') & ~NAMED_FLAG, int.from_bytes(words[4:8], 'little'),
                int.from_bytes(words[8:12], 'little'), int.from_bytes(words[12:14], 'little'))

    def frame(self, index):
        return variable('frameTable', 'ps::detail::Frame*')[index]

    def id_at(self, address):
        _, _, frame, slot = self.header(address)
        return Id(bits_of(self.frame(frame)['pageId']) & 0xFFFFFFFFFFFF | slot << 48)

    def find(self, wanted):
        """The address of an object that is in memory and current; 0 for all others."""
        session = variable('currentSession', 'ps::detail::SessionHead*').dereference()
        if wanted.database >= int(session['databaseLimit']):
            return 0
        link = self.link(session['databases'][wanted.database].dereference(), wanted)
        if link is None or int(link['frame']) == 0:
            return 0
        frame = self.frame(int(link['frame']))
        if int(frame['readStamp']) != int(session['readStamp']):
            return 0
        if 0 < wanted.slot <= int(frame['regularSlots']):
            return int(link['first']) + (wanted.slot - 1) * int(link['stride'])
        if wanted.slot == 0 or wanted.slot > int(frame['slotLimit']):
            return 0
        distance = number_at(int(frame['image']) + 2 * wanted.slot, 2)
        return int(frame['image']) + distance * 16 if distance else 0

    @staticmethod
    def link(database, wanted):
        if wanted.page == 1:
            return database['firstPages'][wanted.container]
        pages = database['pages'][wanted.container]
        if int(pages) == 0 or not 0 < wanted.page < int(pages[0]['frame']):
            return None
        return pages[wanted.page]


@contextlib.contextmanager
def undisturbed():
    """A call in the process then neither stops at a breakpoint nor where it crashes, but comes back."""
    unwinds = gdb.parameter('unwindonsignal')
    enabled = [breakpoint for breakpoint in gdb.breakpoints() if breakpoint.enabled]
    try:
        gdb.execute('set unwindonsignal on', to_string=True)
        for breakpoint in enabled:
            breakpoint.enabled = False
        yield
    finally:
        for breakpoint in enabled:
            breakpoint.enabled = True
        gdb.execute('set unwindonsignal %s' % ('on' if unwinds else 'off'), to_string=True)


class Library:
    """Asks the library in a process that is stopped outside of it, also in a function that the library has called."""

    INSIDE = re.compile(r'(ps::|ps[A-Z]\w*::|pst[A-Z]\w*[<:]|pst[A-Z]\w*$|mdb_)')
    OF_STANDARD = re.compile(r'(std::|__gnu_cxx::|operator (new|delete))')
    LIBRARIES = re.compile(r'(libpscollections|liblmdb|libc|libstdc\+\+|ld-linux-[\w-]*|libpthread)[-.]')

    def require(self):
        """Raises Unreadable with the reason when the process cannot be called now."""
        inferior = gdb.selected_inferior()
        connection = getattr(inferior, 'connection', None)
        if connection is None or connection.type not in ('native', 'remote', 'extended-remote'):
            raise Unreadable('no process that could be asked')
        locking = str(gdb.parameter('scheduler-locking'))
        if locking in ('on', 'step') and len(inferior.threads()) > 1:
            raise Unreadable('not asked, since the other threads would stand still')
        frame = gdb.newest_frame()
        while frame.older() is not None and self.OF_STANDARD.match(frame.name() or ''):
            frame = frame.older()
        library = (gdb.solib_name(frame.pc()) or '').rpartition('/')[2]
        if self.LIBRARIES.match(library) or self.INSIDE.match(frame.name() or ''):
            raise Unreadable('not asked inside the library')
        while frame is not None:
            if frame.type() == gdb.SIGTRAMP_FRAME:
                raise Unreadable('not asked in a signal handler')
            frame = frame.older()

    def lines(self, wanted, elements):
        self.require()
        call = '((const char* (*)(unsigned long, int))&psDebuggerText)(%dUL, %d)' % (wanted.bits, elements)
        with undisturbed():
            return gdb.parse_and_eval(call).string(errors='replace').splitlines()


def bits_of(value):
    """The bits of a psId."""
    parts = (int(value[name]) for name in ('db_', 'oc_', 'page_', 'slot_'))
    return sum(part << 16 * i for i, part in enumerate(parts))


def class_at(address):
    """The name of the class of an object, by its virtual table, which the library has without debug information too."""
    symbol = gdb.execute('info symbol %#x' % number_at(address, 8), to_string=True)
    match = re.match(r'vtable for (.*?)( \+ \d+)? in section', symbol)
    if not match:
        raise Unreadable('of a class that is not known')
    return match.group(1)


def object_at(address):
    type_ = gdb.lookup_type(class_at(address))
    return gdb.Value(address).cast(type_.pointer()).dereference()


def bases_of(type_):
    return [field.type.strip_typedefs() for field in type_.fields() if field.is_base_class]


def derives_from(type_, name):
    type_ = type_.strip_typedefs().unqualified()
    if type_.code != gdb.TYPE_CODE_STRUCT:
        return False
    return type_.name == name or any(derives_from(base, name) for base in bases_of(type_))


def fields_of(value, type_):
    """The members of an object, those of its bases first, without what psObj has."""
    for field in type_.fields():
        if field.is_base_class:
            if field.type.name != 'psObj':
                yield from fields_of(value.cast(field.type), field.type)
        elif hasattr(field, 'bitpos') and field.name and not field.artificial and not field.name.startswith('_vptr'):
            yield field.name, value[field]


def safely(show, otherwise):
    """What show returns, or, where something cannot be read, what otherwise makes of the reason."""
    try:
        return show()
    except Unreadable as reason:
        return otherwise(str(reason))
    except (gdb.error, RuntimeError, ValueError, OverflowError, TypeError, KeyError):
        return otherwise('cannot be read')


class Target:
    """What an identifier names, with the address of the object when that is known."""

    def __init__(self, wanted, address=0):
        self.id = wanted
        self.address = address

    def find(self):
        if self.address == 0 and self.id.bits != 0:
            self.address = safely(lambda: Memory().find(self.id), lambda _: 0)
        return self.address

    def text(self):
        if self.id.bits == 0:
            return 'null'
        if self.find():
            return safely(lambda: '%s %s' % (self.id, class_at(self.address)),
                          lambda why: '%s, %s' % (self.id, why))
        return safely(self.text_of_absent, lambda why: '%s, not in memory, %s' % (self.id, why))

    def text_of_absent(self):
        """Asking may bring the object into memory, where its fields are then read."""
        lines = Library().lines(self.id, 0)
        if not lines:
            raise Unreadable('cannot be opened')
        return '%s %s%s' % (self.id, lines[0], '' if self.find() else ', not in memory')

    def is_collection(self):
        if not self.find():
            return False
        return (safely(lambda: class_at(self.address) in COLLECTIONS, lambda _: False) or
                safely(lambda: derives_from(object_at(self.address).type, 'psCollection'), lambda _: False))

    def children(self):
        if not self.find():
            return []
        if self.is_collection():
            return safely(self.elements, lambda why: [('elements', why)])
        value = safely(lambda: object_at(self.address), lambda _: None)
        return [] if value is None else safely(lambda: list(fields_of(value, value.type)), lambda why: [('fields', why)])

    def elements(self):
        lines = Library().lines(self.id, FIRST_ELEMENTS)
        if len(lines) < 2:
            raise Unreadable('cannot be opened')
        size = int(lines[1])
        children = [('size', str(size))]
        for i, line in enumerate(lines[2:]):
            pair = [Target(Id(int(bits))) for bits in line.split()]
            children.append(('[%d]' % i, ' -> '.join(one.text() for one in pair) if len(pair) > 1 else pair[0].shown()))
        if size > len(lines) - 2:
            children.append(('more', str(size - len(lines) + 2)))
        return children

    def shown(self):
        """As an element: the object, which its own printer shows, or a text."""
        if not self.find() or self.is_collection():
            return self.text()
        return safely(lambda: object_at(self.address), lambda _: self.text())


class TargetPrinter:
    """Of what has an identifier. Within a stored object it shows no fields: they could lead back to the object."""

    def __init__(self, value, wanted, address=0):
        self.target = Target(wanted, address)
        place = int(value.address) if value.address is not None else 0
        self.is_stored = safely(lambda: Memory().has(place), lambda _: False)

    def to_string(self):
        return self.target.text()

    def children(self):
        return iter([] if self.is_stored else self.target.children())


def handle_printer(value):
    base = value.cast(gdb.lookup_type('psHandleBase'))
    return TargetPrinter(value, Id(bits_of(base['id_'])), int(base['object_']))


def reference_printer(value):
    return TargetPrinter(value, Id(bits_of(value.cast(gdb.lookup_type('psRefBase'))['id_'])))


def pinned_printer(value):
    address = int(value.cast(gdb.lookup_type('psDerefBase'))['object_'])
    return TargetPrinter(value, Memory().id_at(address) if address else Id(0), address)


def holder_printer(value):
    """Of ps::Ref, ps::Edit and the typed collections, which hold a handle."""
    return handle_printer(holder_of(value)['handle_'])


def holder_of(value):
    while not any(field.name == 'handle_' for field in value.type.strip_typedefs().fields()):
        bases = bases_of(value.type.strip_typedefs())
        value = value.cast(next(base for base in bases if base.fields()))
    return value


class IdPrinter:
    def __init__(self, value):
        self.id = Id(bits_of(value))

    def to_string(self):
        return str(self.id) if self.id.bits else 'null'


class ObjectPrinter:
    def __init__(self, value):
        self.address = int(value.address) if value.address is not None else 0
        self.value = safely(lambda: object_at(self.address), lambda _: value)

    def target(self):
        return Target(Memory().id_at(self.address), self.address)

    def is_stored(self):
        return safely(lambda: Memory().has(self.address), lambda _: False)

    def to_string(self):
        if self.is_stored():
            return safely(lambda: self.target().text(), lambda why: '%s, %s' % (self.value.type, why))
        return 'transient %s' % self.value.type

    def children(self):
        if self.is_stored():
            return iter(safely(lambda: self.target().children(), lambda why: [('fields', why)]))
        return iter(safely(lambda: list(fields_of(self.value, self.value.type)), lambda why: [('fields', why)]))


class Array:
    """The elements of a pstVArray."""

    def __init__(self, value):
        self.element = value.type.strip_typedefs().template_argument(0)
        self.word = int(value['word_'])
        self.place = int(value.address) if value.address is not None else 0

    def extent(self):
        """The address of the first element, and how many there are."""
        if self.word == 0:
            return 0, 0
        memory = Memory()
        if not memory.has(self.place):
            return self.word + 16, number_at(self.word, 4)
        first = memory.find(Id(self.word))
        if first == 0:
            raise Unreadable('not in memory')
        return first, memory.header(first)[1] // self.element.sizeof

    def text(self):
        first, count = self.extent()
        shown = min(count, LONGEST_TEXT)
        letters = read(first, shown).decode('utf-8', 'replace') if shown else ''
        return '"%s"%s' % (letters, '...' if shown < count else '')


class ArrayPrinter:
    def __init__(self, value):
        self.array = Array(value)

    def is_text(self):
        return self.array.element.strip_typedefs().name == 'char'

    def to_string(self):
        if self.is_text():
            return safely(self.array.text, lambda why: 'text, %s' % why)
        return safely(lambda: 'array of %d' % self.array.extent()[1], lambda why: 'array, %s' % why)

    def elements(self):
        first, count = self.array.extent()
        pointer = gdb.Value(first).cast(self.array.element.pointer())
        return [('[%d]' % i, (pointer + i).dereference()) for i in range(min(count, LONGEST_TEXT))]

    def children(self):
        return iter([] if self.is_text() else safely(self.elements, lambda _: []))

    def display_hint(self):
        return None if self.is_text() else 'array'


class StringPrinter:
    def __init__(self, value):
        self.array = Array(value['characters_'])

    def to_string(self):
        return safely(self.array.text, lambda why: 'text, %s' % why)


PRINTERS = [(re.compile('^(%s)$' % pattern), printer) for pattern, printer in (
    (r'psId', IdPrinter),
    (r'psHandleBase|pstHandle<.*>', handle_printer),
    (r'psRefBase|pstRef<.*>', reference_printer),
    (r'psDerefBase|pstDeref<.*>', pinned_printer),
    (r'ps::(Ref|Edit|SortedSet|SortedMap|HashSet|HashMap|List)<.*>', holder_printer),
    (r'pstVArray<.*>', ArrayPrinter),
    (r'ps::String', StringPrinter),
)]


class Printers(gdb.printing.PrettyPrinter):
    def __init__(self):
        super().__init__('pscollections')

    def __call__(self, value):
        return safely(lambda: self.printer_of(value), lambda _: None)

    @staticmethod
    def printer_of(value):
        type_ = value.type.strip_typedefs().unqualified()
        if type_.code in (gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF):
            value = value.referenced_value()
            type_ = value.type.strip_typedefs().unqualified()
        if type_.code != gdb.TYPE_CODE_STRUCT or not type_.name:
            return None
        for pattern, printer in PRINTERS:
            if pattern.match(type_.name):
                return printer(value)
        return ObjectPrinter(value) if derives_from(type_, 'psObj') else None


class ObjectFunction(gdb.Function):
    """$ps_object(x): the object of a handle, reference or identifier that is in memory."""

    def __init__(self):
        super().__init__('ps_object')

    def invoke(self, value):
        printer = Printers()(value)
        target = Target(printer.id) if isinstance(printer, IdPrinter) else getattr(printer, 'target', None)
        if not isinstance(target, Target) or not target.find():
            raise gdb.GdbError('$ps_object: not a handle, reference or identifier of an object in memory')
        return object_at(target.address)


ObjectFunction()
gdb.printing.register_pretty_printer(gdb.current_objfile(), Printers(), replace=True)
