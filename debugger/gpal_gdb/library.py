"""Finds the library in what is debugged, its debugging information, and its variables."""

import os
import re

import gdb

REGISTRY = "gpal::detail::threadRegistry::(anonymous namespace)::entries"

# The libraries that have been given what the build left beside them: giving it loads a file, which is
# an event in its turn.
_seen = set()


class Unavailable(Exception):
    """Why a command can't be carried out, as a line for its user."""


def loaded_library():
    """The library's file as gdb has it loaded; None if it is not."""
    for file in gdb.objfiles():
        if file.is_valid() and re.match(
            r"libgpal\.so(\.[0-9]+)*$", os.path.basename(file.filename)
        ):
            return file
    return None


def require():
    """Raises Unavailable unless there is a process with the library, and the library is known."""
    if gdb.selected_inferior().pid == 0:
        raise Unavailable("there is no process and no core file")
    file = loaded_library()
    if file is None:
        raise Unavailable("libgpal.so is not loaded (yet)")
    if not is_known():
        raise Unavailable(without_information(file))


def is_known():
    """Whether gdb has the library's debugging information."""
    return located(REGISTRY) is not None


def add_debug_file():
    """Has gdb read the information that the build leaves beside the library, if it has none yet."""
    file = loaded_library()
    if file is None or file.build_id in _seen or file.lookup_static_symbol(REGISTRY) is not None:
        return
    _seen.add(file.build_id)
    path = debug_file_of(file)
    if os.path.exists(path) and is_for(path, file.build_id):
        file.add_separate_debug_file(path)


def watch():
    """Sees to the debugging information now, and whenever a library is loaded."""
    add_debug_file()
    gdb.events.new_objfile.connect(lambda event: add_debug_file())


def debug_file_of(file):
    """Where the build leaves the information: beside the library, under its whole name."""
    return os.path.realpath(file.filename) + ".debug"


def is_for(path, build_id):
    """Whether a file of debugging information was made with the library of that build id."""
    if build_id is None:
        return False
    with open(path, "rb") as information:
        return bytes.fromhex(build_id) in information.read(4096)


def without_information(file):
    return (
        "no debugging information for %s: this needs %s, made with the library (build id %s), "
        "or a library that was built with -g"
    ) % (file.filename, debug_file_of(file), file.build_id or "none")


def located(name):
    """The value of a variable that has a place in memory; None if there is none.

    A library that was optimised as one has a second symbol for each, without the place.
    """
    for symbol in list(gdb.lookup_static_symbols(name)) + [gdb.lookup_global_symbol(name)]:
        try:
            value = None if symbol is None else symbol.value()
            if value is not None and value.address is not None:
                return value
        except gdb.error:  # only declared in what gdb knows
            pass
    return None


def variable(name):
    """The value of one of the library's variables."""
    value = located(name)
    if value is None:
        raise Unavailable("the debugging information has no " + name)
    return value


def is_live():
    """Whether a process of this machine is debugged: no core file and no other machine's."""
    connection = gdb.selected_inferior().connection
    return connection is not None and connection.type == "native"
