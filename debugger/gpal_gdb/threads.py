"""The threads of the process, with what the layer knows of them."""

import re

import gdb

from . import library, memory
from .levels import level_of_body, level_name
from .stack import Stack, c_librarys_kernel_id

TYPE_SLOT = 4  # of Threadable::type among its virtual functions


class Thread:
    """One thread: gdb's, the layer's, or both."""

    def __init__(self, kernel_id):
        self.kernel_id = kernel_id
        self.number = None  # gdb's
        self.posix_id = None
        self.nice = None
        self.stack = None
        self.is_registered = False
        self.waits = None  # semaphores.Waiting

    def label(self):
        """How other lines refer to it."""
        number = "?" if self.number is None else self.number
        return "%s (%s)" % (number, self.body())

    def body(self):
        """What it runs: the class of its body, its function, or "main"."""
        stack = self.stack
        if stack is None:
            return "LWP %d" % self.kernel_id
        if stack.function is not None:
            return memory.function_at(stack.function.function)
        if stack.body is not None:
            return memory.class_at(stack.body) or "%#x" % stack.body
        return "main" if stack.is_main else "LWP %d" % self.kernel_id

    def type(self):
        """The type text that it was announced with, or the client's function that gives it."""
        stack = self.stack
        if stack is None or (stack.function is None and stack.body is None):
            return "?" if self.is_registered else "-"
        if stack.function is not None:
            return stack.function.name or "?"
        try:
            return type_text(memory.virtual_function(stack.body, TYPE_SLOT))
        except memory.FAILURES:
            return "?"

    def level(self):
        stack = self.stack
        if stack is None:
            return "?"
        if stack.function is not None:
            return level_name(stack.function.priority)
        if stack.body is not None:
            return level_of_body(stack.body)
        return "?" if self.is_registered else "-"


def type_text(function):
    """The text that the library's own type functions give; a client's function by its name."""
    name = memory.function_at(function)
    constants = {
        "Threadable::type": "GENERIC_THREAD",
        "osTimerThread::type": "OS_TIMER_THREAD",
    }
    plain = name.replace("[abi:cxx11]", "")
    if plain not in constants:
        return plain + "()"
    return constants[plain].lower()


def registered():
    """POSIX thread ids with their kernel ids, as the layer's registry has them."""
    found = {}
    entry = library.variable(library.REGISTRY)
    for _ in range(memory.MOST_ELEMENTS):
        if int(entry) == 0:
            return found
        found[int(entry["thread"])] = int(entry["kernelId"])
        entry = entry["next"]
    raise memory.Damaged("a list without an end")


def all_threads():
    """Every thread of the process, in the order of gdb's numbers; then those that gdb has not.

    With them come lines on what could not be read.
    """
    found = {}
    for gdbs in sorted(gdb.selected_inferior().threads(), key=lambda thread: thread.num):
        thread = Thread(kernel_id_of(gdbs))
        thread.number = gdbs.num
        found[thread.kernel_id] = thread
    look_at_stacks(found)
    unreadable = []
    try:
        add_registered(found)
    except memory.FAILURES as error:
        unreadable.append("The registry of threads is damaged: %s" % error)
    return list(found.values()), unreadable


def add_registered(threads):
    """Adds what the layer's registry knows to the threads by their kernel ids."""
    for posix_id, kernel_id in registered().items():
        if kernel_id != 0:
            thread = threads.setdefault(kernel_id, Thread(kernel_id))
            thread.posix_id = posix_id
            thread.is_registered = True


def kernel_id_of(gdbs):
    process, kernel_id, other = gdbs.ptid
    return kernel_id or other or process


def look_at_stacks(threads):
    """Follows the stack of every thread, and asks the kernel for its nice value."""
    selected = gdb.selected_thread()
    try:
        for gdbs in gdb.selected_inferior().threads():
            thread = threads[kernel_id_of(gdbs)]
            thread.nice = nice_value(thread.kernel_id)
            if gdbs.is_stopped():
                gdbs.switch()
                thread.posix_id = posix_id_of(gdbs)
                thread.stack = Stack()
    finally:
        if selected is not None and selected.is_valid():
            selected.switch()


def posix_id_of(gdbs):
    """The POSIX thread id of a thread that gdb knows by it; None without the C library's help."""
    try:
        return int.from_bytes(gdbs.handle(), "big" if memory.is_big_endian() else "little")
    except memory.FAILURES:
        return None


def nice_value(kernel_id):
    """The nice value as the kernel has it now; None where gdb can't ask it."""
    if not library.is_live():
        return None
    try:
        text = gdb.execute("info proc stat %d" % kernel_id, to_string=True)
    except memory.FAILURES:
        return None
    match = re.search(r"^'nice' value: ([0-9]+)$", text, re.MULTILINE)
    if match is None:
        return None
    value = int(match.group(1))
    return value if value < 2**63 else value - 2**64  # it is printed without its sign


class Owners:
    """Finds threads by the POSIX ids under which semaphores know them."""

    def __init__(self, threads):
        self._by_kernel_id = {thread.kernel_id: thread for thread in threads}
        self._by_posix_id = {thread.posix_id: thread for thread in threads if thread.posix_id}

    def thread(self, posix_id):
        """The thread with a POSIX id; None if it has ended, or is not known."""
        if posix_id not in self._by_posix_id:
            self._by_posix_id[posix_id] = self._by_kernel_id.get(c_librarys_kernel_id(posix_id))
        return self._by_posix_id[posix_id]

    def label(self, posix_id):
        thread = self.thread(posix_id)
        return "%#x, no thread (any more)" % posix_id if thread is None else thread.label()
