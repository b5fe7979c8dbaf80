"""Shows objects of the layer's classes in one line each; print/r shows their fields."""

import socket

import gdb
import gdb.printing

from . import levels, memory, semaphores, stack, timers


def semaphore_text(value):
    semaphore = semaphores.Semaphore(value)
    text = "count %s" % semaphore.units()
    if semaphore.owner:
        text += ", owner " + thread_text(semaphore.owner)
    if semaphore.waiting_count:
        text += ", %d waiting" % semaphore.waiting_count
    return text


def wait_text(value):
    semaphore = semaphores.Semaphore(value.cast(gdb.lookup_type("Semaphore")))
    state = "signalled" if semaphore.count > 0 else "not signalled"
    return "%s, %d waiting" % (state, semaphore.waiting_count)


def thread_text(posix_id):
    """A thread by its ids, and gdb's number for it where there is one."""
    kernel_id = stack.c_librarys_kernel_id(posix_id)
    for thread in gdb.selected_inferior().threads():
        if kernel_id is not None and kernel_id in thread.ptid[1:]:
            return "thread %d (%#x, LWP %d)" % (thread.num, posix_id, kernel_id)
    return "%#x" % posix_id


def mutex_text(value):
    kernel_id = memory.mutex_owner(value["m_mutex"])
    return "locked by LWP %d" % kernel_id if kernel_id else "not locked"


def critical_section_text(value):
    return "holds %#x" % memory.address_of(value["m_semaphore"])


def timer_text(value):
    if int(memory.scalar(value["m_id"])) == -1:
        return "not initialised"
    timer = timers.Timer(value)
    state = "armed" if timer.is_running else "idle"
    return "id %d, %s, %d ms, calls %s" % (
        timer.identity,
        state,
        timer.interval,
        timer.callback,
    )


def os_timer_text(value):
    return timer_text(memory.object_at(value["m_timer"]))


def posix_timer_text(value):
    if int(value["m_timerId"]) == 0:
        return "could not be made"
    setting = memory.owned(value["m_setting"])
    interval = timers.nanoseconds(setting["it_value"]) // 1000000 if setting is not None else 0
    callback = timers.callback_name(value["m_callback"])
    return "%d ms, calls %s" % (interval, callback)


def monitor_text(value):
    monitor = timers.Monitor(value)
    thread = thread_text(monitor.posix_id) if monitor.posix_id else "not started"
    return "%d timers armed, %s" % (len(monitor.pointers), thread)


def threadable_text(value):
    body = memory.address_of(value.address)
    posix_id = int(value["m_threadId"])
    thread = thread_text(posix_id) if posix_id else "no thread yet"
    return "%s, level %s, %s" % (
        memory.class_at(body) or "?",
        levels.level_of_body(body),
        thread,
    )


def timed_thread_text(value):
    posix_id = int(value["m_thread"])
    runner = memory.address_of(value["m_runner"])
    work = (memory.class_at(runner) or "%#x" % runner) if runner else "nothing"
    return "runs %s, %s" % (work, thread_text(posix_id) if posix_id else "not started")


def timed_thread_factory_text(value):
    return "%d timed threads" % len(memory.vector(value["m_timedThreads"]))


def socket_text(value):
    if bool(value["m_closed"]) or int(value["m_socketHandle"]) < 0:
        return "closed"
    port = in_network_order(int(value["m_localPort"]))
    family = {2: "IPv4", 10: "IPv6"}.get(int(value["m_family"]), "of another family")
    return "%s, port %d, descriptor %d" % (family, port, int(value["m_socketHandle"]))


def in_network_order(number):
    """A 16-bit number that the process has stored in network order."""
    order = "big" if memory.is_big_endian() else "little"
    return int.from_bytes((number & 0xFFFF).to_bytes(2, order), "big")


def process_text(value):
    pid = int(value["m_pid"])
    kind = memory.text(value["m_type"])
    state = "process %d" % pid if pid > 0 else "not running"
    return '%s, type "%s"' % (state, kind) if kind else state


def exception_text(value):
    return '"%s"' % memory.text(value["m_message"])


def ipv4_text(value):
    address = memory.bytes_at(memory.address_of(value["sin_addr"].address), 4)
    port = in_network_order(int(value["sin_port"]))
    return "%s:%d" % (socket.inet_ntop(socket.AF_INET, address), port)


def ipv6_text(value):
    address = memory.bytes_at(memory.address_of(value["sin6_addr"].address), 16)
    port = in_network_order(int(value["sin6_port"]))
    return "[%s]:%d" % (socket.inet_ntop(socket.AF_INET6, address), port)


def address_text(value):
    """Any socket address, by what its family says that it is."""
    texts = {2: ("sockaddr_in", ipv4_text), 10: ("sockaddr_in6", ipv6_text)}
    family = int(value[value.type.strip_typedefs().fields()[0]])
    if family not in texts:
        return "family %d" % family
    kind, text = texts[family]
    return text(memory.object_at(value.address.cast(gdb.lookup_type(kind).pointer())))


TEXTS = {
    "Semaphore": semaphore_text,
    "Wait": wait_text,
    "GPALMutex": mutex_text,
    "CriticalSection": critical_section_text,
    "osTimer": os_timer_text,
    "osThreadBasedTimer": timer_text,
    "osPOSIXTimer": posix_timer_text,
    "osTimerThread": monitor_text,
    "Threadable": threadable_text,
    "TimedThread": timed_thread_text,
    "TimedThreadFactory": timed_thread_factory_text,
    "UDPSocket": socket_text,
    "Process": process_text,
    "GPALProcessException": exception_text,
    "sockaddr": address_text,
    "sockaddr_storage": address_text,
    "sockaddr_in": ipv4_text,
    "sockaddr_in6": ipv6_text,
}


class Printer:
    """Shows an object as its class and a text in brackets."""

    def __init__(self, name, text, value):
        self._name = name
        self._text = text
        self._value = value

    def to_string(self):
        try:
            return "%s (%s)" % (self._name, self._text(self._value))
        except memory.FAILURES as error:
            return "%s (can't be read: %s)" % (self._name, error)


def printer_for(value):
    """The printer of a value's class. Classes that a client derives keep their fields in sight."""
    name = value.type.strip_typedefs().unqualified().name
    text = TEXTS.get(name)
    if text is None or value.is_optimized_out or value.address is None:
        return None
    return Printer(name, text, value)


class Collection(gdb.printing.PrettyPrinter):
    """All printers of the layer, under one name for "disable pretty-printer"."""

    def __call__(self, value):
        return printer_for(value)


def register(file):
    gdb.printing.register_pretty_printer(file, Collection("gpal"), replace=True)
