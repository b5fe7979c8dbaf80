"""The live semaphores, and which thread waits for which."""

import gdb

from . import library, memory


class Semaphore:
    """A live semaphore or event object, as far as it could be read."""

    def __init__(self, value):
        self.part = memory.address_of(value.address)
        self.address = memory.whole_object(self.part)
        self.kind = memory.class_at(self.part) or "?"
        self.name = memory.symbol_at(self.address)
        self.count = int(memory.scalar(value["m_count"]))
        self.bound = int(value["m_maxCount"])
        self.owner = int(memory.scalar(value["m_owner"]))
        self.is_event = int(memory.scalar(value["m_isWaitObject"])) != 0
        self.is_reentrant = bool(value["m_reentrant"])
        self.waiting_count = int(memory.scalar(value["m_waitingCount"]))
        self.taken = outstanding(value)
        self.waiting = [int(thread) for thread in waiting_threads(value)]

    def title(self):
        """How lines refer to it."""
        kind = "event" if self.is_event else "semaphore"
        return "%s %#x%s" % (kind, self.address, " <%s>" % self.name if self.name else "")

    def units(self):
        bound = "" if self.bound == -1 else "/%d" % self.bound
        return "%d%s%s" % (self.count, bound, " reentrant" if self.is_reentrant else "")

    def is_held(self):
        """Whether whoever waits for it waits for its owner: whether it is a lock that is taken.

        The owner of another semaphore, of a counter or a signal, is only who took a unit last. A lock
        has one unit altogether, taken or not, and what was taken has not all been given yet.
        """
        return self.owner != 0 and self.taken > 0 and self.count + self.taken == 1


def outstanding(value):
    """How many units were taken and not given, by the counters, which wrap."""
    takes = int(memory.scalar(value["m_takeCount"]))
    refused = int(memory.scalar(value["m_timeoutCount"])) + int(
        memory.scalar(value["m_waitingCount"])
    )
    gives = int(memory.scalar(value["m_giveCount"]))
    difference = (takes - refused - gives) % 2**32
    return difference if difference < 2**31 else difference - 2**32


def waiting_threads(value):
    element = gdb.lookup_type("unsigned long")
    return memory.tree(value["m_waitingThreads"], element)


class Waiting:
    """What a thread waits for, and the thread that would have to act, if that is a certain one."""

    def __init__(self, what, on=None, timeout=None):
        self.what = what
        self.on = on
        self.timeout = timeout

    def text(self):
        limit = ""
        if self.timeout is not None and self.timeout > 0:
            limit = ", for %d ms at most" % self.timeout
        return self.what + limit


def live_semaphores():
    """The semaphores and event objects that can be read, and a line for each that can't."""
    created = library.variable("Semaphore::m_createdSemaphores")
    if int(created) == 0:
        return [], []
    element = gdb.lookup_type("Semaphore").pointer()
    try:
        pointers = memory.tree(memory.object_at(created), element)
    except memory.FAILURES as error:
        return [], ["The set of semaphores is damaged: %s" % error]
    found, unreadable = [], []
    for pointer in pointers:
        try:
            found.append(Semaphore(memory.object_at(pointer)))
        except memory.FAILURES as error:
            unreadable.append("%#x: damaged (%s)" % (memory.address_of(pointer), error))
    return found, unreadable


def note_waits(threads, semaphores, owners):
    """Notes for each thread what it waits for."""
    for thread in threads:
        semaphore = awaited(thread, semaphores)
        if semaphore is not None:
            on = owners.thread(semaphore.owner) if semaphore.is_held() else None
            thread.waits = Waiting(semaphore.title(), on, thread.stack and thread.stack.timeout)
        elif thread.stack is not None and thread.stack.in_monitor:
            thread.waits = Waiting("timers")


def awaited(thread, semaphores):
    """The semaphore in whose take a thread is blocked.

    A thread that was cancelled there stays listed, and its id goes to another thread: its stack has
    the last word, as far as it can be read.
    """
    listing = [semaphore for semaphore in semaphores if thread.posix_id in semaphore.waiting]
    stack = thread.stack
    if stack is not None and stack.semaphore is not None:
        listing = [semaphore for semaphore in listing if semaphore.part == stack.semaphore]
    elif stack is not None and stack.is_whole and not stack.in_take:
        listing = []
    return listing[0] if listing else None


def cycles(threads):
    """The circles of threads that wait for one another, each once."""
    found = []
    done = set()
    for thread in threads:
        way = []
        while thread is not None and thread.kernel_id not in done:
            done.add(thread.kernel_id)
            way.append(thread)
            thread = thread.waits.on if thread.waits else None
        if thread in way:
            found.append(way[way.index(thread) :])
    return found


def cycle_text(cycle):
    """One line for each thread of a circle."""
    number = len(cycle)
    ends = any(thread.waits.timeout is not None and thread.waits.timeout >= 0 for thread in cycle)
    if number == 1:
        title = "Deadlock of a thread with itself"
    else:
        title = "Deadlock of %d threads" % number
    lines = [title + (", until a time limit ends it:" if ends else ":")]
    for thread in cycle:
        lines.append(
            "  thread %s waits for %s, owned by thread %s"
            % (thread.label(), thread.waits.text(), thread.waits.on.label())
        )
    return "\n".join(lines)
