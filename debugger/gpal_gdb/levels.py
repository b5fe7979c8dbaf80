"""Priority levels of threads."""

import re

import gdb

from . import memory

NAMES = ("LOW", "NORMAL", "HIGH", "TIMER", "VOICE")
LEVEL_SLOT = 3  # of Threadable::getThreadPriorityForPlatform among its virtual functions
LONGEST = 40  # instructions of a function that does no more than give a constant

# How processors load a constant into the register for results.
LOADS = re.compile(
    r"(?:mov\s+\$(?P<x86>0x[0-9a-f]+),%eax"
    r"|(?P<x86zero>xor\s+%eax,%eax)"
    r"|li\s+v0,(?P<mips>[0-9]+)"
    r"|(?P<mipszero>move\s+v0,zero))$"
)
# Other instructions that leave their result there.
OTHER_LOADS = re.compile(r".*,%([re]?ax|al)$|(?!s[bhw]\s|b)\S+\s+v0,")
# Jumps and calls, but for those of the stack protector: then it is not one constant that is returned.
DECISIONS = re.compile(r"(j(?!r\s+ra)|call|b)(?!(ne|eq)\s+v[01],v[01],|.*__stack_chk_fail)")
LEAVES = re.compile(r"(ret|jr\s+ra$)")


def level_name(level):
    return NAMES[level] if 0 <= level < len(NAMES) else str(level)


def level_of_body(body):
    """The level that a Threadable's function gives, "?" where it does more than give a constant."""
    try:
        level = constant_of(memory.virtual_function(body, LEVEL_SLOT))
    except memory.FAILURES:
        return "?"
    return "?" if level is None else level_name(level)


def constant_of(function):
    """The constant that a function returns, read from its code; None if it does anything else."""
    constant = None
    for instruction in code_of(function):
        match = LOADS.match(instruction)
        if match is not None:
            constant = int(match["x86"] or match["mips"] or "0", 0)
        elif DECISIONS.match(instruction):
            return None
        elif OTHER_LOADS.match(instruction):
            constant = None
    return constant


def code_of(function):
    """A function's instructions, with the one that MIPS has behind the return; none of a long one."""
    architecture = gdb.selected_inferior().architecture()
    texts = [
        instruction["asm"].strip()
        for instruction in architecture.disassemble(function, count=LONGEST)
    ]
    for index, text in enumerate(texts):
        if LEAVES.match(text):
            return texts[: index + (2 if text.startswith("jr") else 1)]
    return []
