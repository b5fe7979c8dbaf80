"""What gdb knows of the platform abstraction layer: commands and printers.

Everything is read from memory, with the library's debugging information. Nothing is called in the
process, so core files are as good as live processes.
"""

from . import commands, library, printers


def register(file=None):
    """Adds commands, and printers for a file that gdb has loaded, or for good."""
    commands.register()
    library.watch()
    printers.register(file)
