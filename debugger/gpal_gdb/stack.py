"""What a thread's stack tells: which body it runs, and what it is blocked in."""

import os
import re

import gdb

from .memory import FAILURES, address_of, text, without_parameters

MOST_FRAMES = 500
START_OF_BODY = (
    "gpal::detail::(anonymous namespace)::runGuarded",
    "gpal::detail::threadableStart",
)
START_OF_FUNCTION = "gpal::detail::functionThreadStart"
SEMAPHORE_WAITS = re.compile(r"Semaphore::(take|takeLater|waitForUnit|waitForSignal)$")
C_LIBRARY = re.compile(r"(libc|libpthread|ld|linux-vdso|ld-linux.*)[.-]")


class FunctionStart:
    """What a thread that runs a function was started with."""

    def __init__(self, block):
        self.function = address_of(block["function"])
        self.priority = int(block["priority"])
        self.name = text(block["name"])


class Stack:
    """The stack of the selected thread, as far as it can be followed."""

    def __init__(self):
        self.body = None  # address of the Threadable
        self.function = None  # FunctionStart
        self.is_main = False
        self.semaphore = None  # address of the one in whose take it is
        self.in_take = False
        self.timeout = None  # of that take, in milliseconds
        self.in_monitor = False  # it sleeps as the timers' monitor
        self.call = None  # the function of the C library that it is in
        self.place = None  # the innermost function outside the C library
        self.is_whole = False
        for frame in frames():
            self.note(frame)

    def note(self, frame):
        name = frame.name()
        if name is None:
            return
        name = without_parameters(name)
        self.note_place(frame, name)
        if SEMAPHORE_WAITS.match(name):
            self.note_take(frame)
        elif name == "osTimerThread::waitForWork":
            self.in_monitor = True
        elif name in START_OF_BODY:
            self.is_whole = True
            self.body = self.body or pointed_to(frame, "body")
        elif name == START_OF_FUNCTION:
            self.is_whole = True
            self.function = function_start(frame)
        elif name == "main":
            self.is_whole = self.is_main = True

    def note_place(self, frame, name):
        if self.place is not None:
            return
        if is_in_c_library(frame):
            self.call = re.sub(r"^_*(GI_)?_*", "", name)
        else:
            self.place = name

    def note_take(self, frame):
        self.in_take = True
        if self.semaphore is None:
            self.semaphore = pointed_to(frame, "this")
        if self.timeout is None:
            limit = readable(frame, "timeoutMs")
            self.timeout = None if limit is None else int(limit)

    def where(self):
        """A few words on where the thread is."""
        if self.place is None:
            return "?" if self.call is None else "in " + self.call
        if self.call is None:
            return "runs in " + self.place
        return "in %s, from %s" % (self.call, self.place)


def frames():
    """The selected thread's frames, innermost first."""
    try:
        # What gdb has to say on frames that are hard to find goes to this text.
        gdb.execute("backtrace %d" % MOST_FRAMES, to_string=True)
        frame = gdb.newest_frame()
        for _ in range(MOST_FRAMES):
            yield frame
            frame = frame.older()
            if frame is None:
                return
    except FAILURES:
        return


def is_in_c_library(frame):
    library = gdb.solib_name(frame.pc())
    return library is not None and C_LIBRARY.match(os.path.basename(library)) is not None


def readable(frame, name):
    """The value of a frame's variable, None where the optimiser has left none."""
    try:
        value = frame.read_var(name)
        if value.is_optimized_out:
            return None
        value.fetch_lazy()
        return value
    except FAILURES:
        return None


def pointed_to(frame, name):
    """The address that a frame's pointer or reference holds; None if it is not known."""
    value = readable(frame, name)
    try:
        if value is None:
            return None
        if value.type.code == gdb.TYPE_CODE_REF:
            return address_of(value.address)  # of what it refers to
        return address_of(value)
    except FAILURES:
        return None


def function_start(frame):
    block = readable(frame, "start")
    try:
        return None if block is None else FunctionStart(block)
    except FAILURES:
        return None


def c_librarys_kernel_id(posix_id):
    """The kernel id that the C library notes for a POSIX thread id; None if that can't be found out.

    Where it notes it, it tells debuggers in a variable: size in bits, number, offset in bytes.
    """
    try:
        place = int(gdb.parse_and_eval("(long)&_thread_db_pthread_tid"))
        entry = gdb.Value(place).cast(gdb.lookup_type("unsigned int").pointer())
        kernel_id = gdb.Value(posix_id + int(entry[2]))
        return int(kernel_id.cast(gdb.lookup_type("int").pointer()).dereference())
    except FAILURES:
        return None
