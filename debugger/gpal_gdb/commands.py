"""The command "gpal" and what it offers."""

import gdb

from . import library, memory, semaphores, threads, timers


def table(titles, rows):
    """Text in columns; the last is as wide as it likes."""
    rows = [titles] + [[str(cell) for cell in row] for row in rows]
    widths = [max(len(row[column]) for row in rows) for column in range(len(titles) - 1)] + [0]
    lines = ["  ".join(cell.ljust(width) for cell, width in zip(row, widths)) for row in rows]
    return "\n".join(line.rstrip() for line in lines)


class Layer:
    """Threads and semaphores at one moment, with who waits for whom."""

    def __init__(self):
        self.semaphores, self.unreadable = semaphores.live_semaphores()
        self.threads, unreadable = threads.all_threads()
        self.unreadable += unreadable
        self.owners = threads.Owners(self.threads)
        for semaphore in self.semaphores:  # finds the ids of threads that are not the layer's
            for posix_id in [semaphore.owner] + semaphore.waiting:
                thread = self.owners.thread(posix_id) if posix_id else None
                if thread is not None:
                    thread.posix_id = posix_id
        semaphores.note_waits(self.threads, self.semaphores, self.owners)

    def cycles(self):
        return semaphores.cycles(self.threads)


def report_threads():
    """The text of "gpal threads"."""
    layer = Layer()
    titles = ["thread", "id", "kernel id", "runs", "type", "level", "nice", "waits for"]
    rows = [thread_row(thread) for thread in layer.threads]
    lines = [table(titles, rows)]
    if not any(thread.is_registered for thread in layer.threads):
        lines.append("No thread of the layer is running.")
    return lines + layer.unreadable + [semaphores.cycle_text(cycle) for cycle in layer.cycles()]


def thread_row(thread):
    if thread.waits is not None:
        waits = thread.waits.text()
        if thread.waits.on is not None:
            waits += ", owned by thread " + thread.waits.on.label()
    else:
        waits = "(%s)" % (thread.stack.where() if thread.stack else "running")
    return [
        "?" if thread.number is None else thread.number,
        "?" if thread.posix_id is None else "%#x" % thread.posix_id,
        thread.kernel_id,
        thread.body(),
        thread.type(),
        thread.level(),
        "?" if thread.nice is None else thread.nice,
        waits,
    ]


def report_semaphores():
    """The text of "gpal semaphores"."""
    layer = Layer()
    if not layer.semaphores and not layer.unreadable:
        return ["There are no semaphores."]
    titles = ["semaphore", "class", "name", "count", "owner", "waiting threads"]
    rows = [semaphore_row(semaphore, layer) for semaphore in layer.semaphores]
    lines = [table(titles, rows)] if rows else []
    return lines + layer.unreadable + [semaphores.cycle_text(cycle) for cycle in layer.cycles()]


def semaphore_row(semaphore, layer):
    # By number of the debugger's: the ids say only where the threads' stacks lie.
    waiters = sorted(semaphore.waiting, key=lambda posix_id: number_of(posix_id, layer))
    waiting = [waiter_label(posix_id, semaphore, layer) for posix_id in waiters]
    return [
        "%#x" % semaphore.address,
        semaphore.kind,
        semaphore.name or "-",
        semaphore.units(),
        layer.owners.label(semaphore.owner) if semaphore.owner else "-",
        ", ".join(waiting) or "-",
    ]


def number_of(posix_id, layer):
    """A thread's number; 0 for one that is gone, or has none."""
    thread = layer.owners.thread(posix_id)
    return 0 if thread is None else thread.number or 0


def waiter_label(posix_id, semaphore, layer):
    """A thread in the list of waiting ones; one that was cancelled stays there for ever."""
    thread = layer.owners.thread(posix_id)
    if thread is None or semaphores.awaited(thread, [semaphore]) is None:
        return "%#x, cancelled" % posix_id
    return thread.label()


def report_timers():
    """The text of "gpal timers"."""
    monitor = timers.monitor()
    if monitor is None:
        return ["There is no timer monitor."]
    armed, unreadable = monitor.timers()
    if not armed and not unreadable:
        return ["No timer is armed."]
    now, legend = timers.reference_time(monitor)
    titles = ["id", "timer", "due in", "interval", "callback"]
    return [table(titles, [timer_row(timer, now) for timer in armed])] + unreadable + [legend]


def timer_row(timer, now):
    due = timers.milliseconds(timer.expiry - now) if timer.is_running else "stopped"
    return [
        timer.identity,
        "%#x" % timer.owner if timer.owner else "-",
        due,
        "%d ms" % timer.interval,
        timer.callback,
    ]


class GpalPrefix(gdb.Command):
    """Shows the state of the platform abstraction layer, of a process or of a core file."""

    def __init__(self):
        super().__init__("gpal", gdb.COMMAND_DATA, gdb.COMPLETE_NONE, prefix=True)


class ReportCommand(gdb.Command):
    """A command that prints what a function gives, or why that can't be done."""

    def __init__(self, name, report, summary):
        self.__doc__ = summary
        self._name = "gpal " + name
        self._report = report
        super().__init__(self._name, gdb.COMMAND_DATA, gdb.COMPLETE_NONE)

    def invoke(self, argument, from_tty):
        if argument:
            raise gdb.GdbError("%s takes no arguments" % self._name)
        self.dont_repeat()
        try:
            library.require()
            lines = with_cpp(self._report)
        except library.Unavailable as error:
            raise gdb.GdbError("%s: %s" % (self._name, error))
        except memory.FAILURES as error:
            raise gdb.GdbError("%s: what is in memory is damaged: %s" % (self._name, error))
        print("\n".join(lines))


def with_cpp(report):
    """Runs a report with the names of types read as C++, wherever the process has been stopped."""
    language = gdb.parameter("language")
    gdb.execute("set language c++", to_string=True)
    try:
        return report()
    finally:
        gdb.execute("set language " + language, to_string=True)


def register():
    GpalPrefix()
    ReportCommand(
        "threads",
        report_threads,
        "Lists all threads: id, kernel id, what they run, type, level, nice value, what they wait for.",
    )
    ReportCommand(
        "semaphores",
        report_semaphores,
        "Lists all live semaphores and events with owner and waiting threads, and names deadlocks.",
    )
    ReportCommand(
        "timers",
        report_timers,
        "Lists the armed timers: when they are due, their interval, and whom they call.",
    )
