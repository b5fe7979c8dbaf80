"""Reads what is in the memory of the debugged process. Nothing is ever called in it."""

import re

import gdb

# A count beyond this is no count but overwritten memory.
MOST_ELEMENTS = 100000


# What reading can raise: gdb's own errors are RuntimeErrors, and odd bytes make odd numbers.
FAILURES = (RuntimeError, ValueError, OverflowError)


class Damaged(RuntimeError):
    """What was read makes no sense; the text says why."""


def pointer_size():
    return gdb.lookup_type("char").pointer().sizeof


def is_big_endian():
    return "big endian" in gdb.execute("show endian", to_string=True)


def bytes_at(address, length):
    return bytes(gdb.selected_inferior().read_memory(address, length))


def number_at(address, length):
    order = "big" if is_big_endian() else "little"
    return int.from_bytes(bytes_at(address, length), order)


def word_at(address):
    """The number of a pointer's size at an address."""
    return number_at(address, pointer_size())


def address_of(pointer):
    """The number that a pointer value holds."""
    return int(pointer) & ((1 << (8 * pointer.type.sizeof)) - 1)


def object_at(pointer):
    """The object that a pointer points to, as the pointer's type has it.

    Where the class has virtual functions, gdb's own way looks for the object's class first, and
    complains if there is no debugging information for it.
    """
    target = pointer.type.strip_typedefs().target()
    return pointer.cast(target.array(0).pointer()).dereference()[0]


def scalar(value):
    """What a class around a single number or pointer holds: an atomic, for instance."""
    while value.type.strip_typedefs().code == gdb.TYPE_CODE_STRUCT:
        fields = value.type.strip_typedefs().fields()
        value = value[next(field for field in fields if hasattr(field, "bitpos"))]
    return value


def owned(unique_pointer):
    """The object that a unique_ptr owns; None for an empty one."""
    target = unique_pointer.type.strip_typedefs().template_argument(0).pointer()
    pointer = unique_pointer.address.cast(target.pointer()).dereference()
    return object_at(pointer) if int(pointer) != 0 else None


def text(string):
    """The characters of a std::string."""
    length = int(string["_M_string_length"])
    if length > MOST_ELEMENTS:
        raise Damaged("a string of %d characters" % length)
    characters = address_of(string["_M_dataplus"]["_M_p"])
    return bytes_at(characters, length).decode("utf-8", "replace") if length else ""


def vector(value):
    """The elements of a std::vector."""
    begin = value["_M_impl"]["_M_start"]
    count = int(value["_M_impl"]["_M_finish"] - begin)
    if not 0 <= count <= MOST_ELEMENTS:
        raise Damaged("a list of %d elements" % count)
    return [object_at(begin + index) for index in range(count)]


def tree(value, element):
    """The elements, each of the type `element`, of a std::set, multiset or map, in order."""
    header = value["_M_t"]["_M_impl"]["_M_header"]
    count = int(value["_M_t"]["_M_impl"]["_M_node_count"])
    if count > MOST_ELEMENTS:
        raise Damaged("a set of %d elements" % count)
    # A node is its links and, behind them, its element.
    elements = [
        object_at((node + 1).cast(element.pointer())) for node in _nodes(header["_M_parent"], count)
    ]
    if len(elements) != count:
        raise Damaged("a set with %d of its %d elements" % (len(elements), count))
    return elements


def _nodes(root, count):
    """The nodes of a tree from left to right; it stops where there are more than there may be."""
    found = []
    above = []
    node = root
    while (int(node) != 0 or above) and len(found) + len(above) <= count:
        if int(node) != 0:
            above.append(node)
            node = node["_M_left"]
        else:
            found.append(above.pop())
            node = found[-1]["_M_right"]
    return found


def mutex_owner(mutex):
    """The kernel id of the thread that has locked a POSIX mutex; 0 when none has, or none is known."""
    try:
        return int(mutex["__data"]["__owner"])
    except FAILURES:
        return 0


def symbol_at(address):
    """The name of the function or object that begins at an address, None if there is none."""
    line = gdb.execute("info symbol %#x" % address, to_string=True)
    match = re.match(r"(.+) in section ", line)
    return match.group(1) if match and " + " not in match.group(1) else None


def function_at(address):
    """The name of the function at an address, without its parameters; else the address."""
    name = symbol_at(address)
    if name is None:
        return "%#x" % address
    return without_parameters(name.replace("non-virtual thunk to ", ""))


def without_parameters(name):
    """A function's name without the brackets at its end."""
    if name.endswith(" const"):
        name = name[: -len(" const")]
    if not name.endswith(")"):
        return name
    depth = 0
    for index in range(len(name) - 1, 0, -1):
        depth += {")": 1, "(": -1}.get(name[index], 0)
        if depth == 0:
            return name[:index]
    return name


def virtual_function(address, slot):
    """The address of a virtual function of the object at an address."""
    return word_at(word_at(address) + slot * pointer_size())


def class_at(address):
    """The class of the object at an address, as its own type information has it; None without."""
    try:
        information = word_at(word_at(address) - pointer_size())
        characters = gdb.Value(word_at(information + pointer_size()))
        characters = characters.cast(gdb.lookup_type("char").pointer())
        name = characters.string(errors="replace")
    except FAILURES:
        return None
    name = name.lstrip("*")
    if not re.fullmatch(r"[0-9NS][A-Za-z0-9_]+", name):
        return None
    return (
        gdb.execute("demangle -- _ZTS" + name, to_string=True)
        .strip()
        .replace("typeinfo name for ", "")
    )


def whole_object(address):
    """The address of the whole object that has a polymorphic part at an address."""
    size = pointer_size()
    offset = word_at(word_at(address) - 2 * size)
    return (address + offset) & ((1 << (8 * size)) - 1)
