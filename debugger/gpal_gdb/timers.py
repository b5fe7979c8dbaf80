"""The armed timers of the process's monitor."""

import time

import gdb

from . import library, memory

EXPIRED_SLOT = 2  # of timeAble::timerExpired among its virtual functions
NANOSECONDS = 1000000000


class Timer:
    """An armed timer."""

    def __init__(self, value):
        self.identity = int(memory.scalar(value["m_id"]))
        self.owner = memory.address_of(memory.scalar(value["m_owner"]))
        self.interval = int(memory.scalar(value["m_intervalMs"]))
        self.is_running = bool(memory.scalar(value["m_running"]))
        self.expiry = nanoseconds(value["m_expiry"])
        self.callback = callback_name(memory.scalar(value["m_callback"]))


class Monitor:
    """The monitor that serves the process's timers; Damaged where the pointer to it leads astray."""

    def __init__(self, value):
        # A monitor that was destroyed stays where the timers look for it.
        if memory.class_at(memory.address_of(value.address)) is None:
            raise memory.Damaged("there is no monitor (any more) at %s" % value.address)
        self.woke = nanoseconds(value["m_now"])
        self.posix_id = int(value["m_thread"])
        self.locked_by = memory.mutex_owner(value["m_mutex"])
        timers = memory.owned(value["m_timers"])
        if timers is None:
            raise memory.Damaged("the monitor at %s has no list" % value.address)
        self.pointers = [entry["timer"] for entry in memory.vector(timers["m_timers"])]

    def timers(self):
        """The timers that can be read, in the order of their expiries, and a line for each other."""
        found, unreadable = [], []
        for pointer in self.pointers:
            try:
                found.append(Timer(memory.object_at(pointer)))
            except memory.FAILURES as error:
                unreadable.append("%#x: damaged (%s)" % (memory.address_of(pointer), error))
        return sorted(found, key=lambda timer: timer.expiry), unreadable


def monitor():
    """The process's monitor; None before there is one."""
    pointer = library.variable("osThreadBasedTimer::m_timerManager")
    return None if int(pointer) == 0 else Monitor(memory.object_at(pointer))


def nanoseconds(value):
    return int(value["tv_sec"]) * NANOSECONDS + int(value["tv_nsec"])


def callback_name(callback):
    """The function that an expiry calls; "-" for a timer that calls nobody."""
    address = memory.address_of(callback)
    if address == 0:
        return "-"
    try:
        name = memory.function_at(memory.virtual_function(address, EXPIRED_SLOT))
    except memory.FAILURES:
        return "%#x, damaged" % address
    if name.startswith("0x"):
        kind = memory.class_at(address)
        name = kind + "::timerExpired" if kind else name
    return name


def reference_time(monitor):
    """The time that "due in" counts from, and a line that says which it is.

    Only for a process of this machine is the present known. For others it is the last time at
    which the monitor looked at the clock.
    """
    if library.is_live():
        return time.clock_gettime_ns(time.CLOCK_MONOTONIC), "due in: from now"
    return monitor.woke, "due in: from when the monitor last woke up"


def milliseconds(duration):
    """How long it is until then, or since then."""
    return "%.1f ms%s" % (abs(duration) / 1e6, " ago" if duration < 0 else "")
