/// \file
/// Call stacks and register dumps for the device's maintainers; no unwind tables are needed there.
///
/// The functions can be used from C. None reports an error: a walk that can't go on simply stops,
/// and what it did not reach stays zero. `errno` is left as it is, save where
/// `get_backtrace_symbols` is short of memory.
///
/// **What walkable code needs.** On the device (32-bit MIPS) a walk reads the machine code of every
/// function on its way, back to its first instructions. It gets through code that is
/// - position-independent (`-fPIC`, `-fPIE`): a function then begins with `lui gp`, allocates its
///   frame and saves `ra`. `-fstack-protector-all` gives this prologue to every function, also to
///   those that would do without `gp` or without a frame;
/// - exported: the loader has no name for other functions, and a walk ends there. Hence no `static`
///   functions, unnamed namespaces or hidden symbols, and `-rdynamic` for executables;
/// - in a library, or in an executable that exports `_gp`, where its code ends (the linker's own
///   script hides it);
/// - in frames below 32,752 bytes: larger ones are allocated in two steps, and a walk ends there.
///
/// On the device a walk also ends at a function that calls itself twice in a row from one place.
///
/// On x86-64 and 64-bit ARM, with the GNU C library 2.35 or later, a walk reads the `.eh_frame`
/// tables that compilers write by default: neither frame pointers nor exported functions are
/// needed. Code that registers tables of its own while it runs, as just-in-time compilers do, ends
/// a walk.
///
/// **What other hosts can't do.** Any other processor, or C library, has no walker of its own here;
/// the runtime's unwinder is asked. There
/// - a walk may allocate memory and take locks, at least the first one of a process: in a signal
///   handler it can hang or crash;
/// - `get_context_backtrace` ignores the context that it is given, and shows what the signal
///   interrupted whose handler calls it: nothing when it is not called in a handler;
/// - a call through a null pointer shows no caller;
/// - `get_ret_addr` shows the program counter given, then callers with frames above the stack
///   pointer given;
/// - `get_context_register_info` names no registers: it says that it does not know them.
///
/// **Signal handlers.** All functions but `get_backtrace_symbols` may be called in a signal handler
/// (x86-64, 64-bit ARM: no allocation, no locks, no files; the device: the same but for the
/// loader's `dladdr`; other hosts: see above). They read the calling thread's own stack only, the
/// interrupted part included. Any number of threads may call them at once, except
/// `get_context_register_info`.
///
/// **Destroyed stacks.** Program counters and stack pointers may be anything: what lies elsewhere
/// than on the stack, or is not there to be read, ends a walk. (Other processors: the same for the
/// place where a handler was entered.) A handler for a stack that is used up or lost needs a stack
/// of its own, `sigaltstack(2)`. Libraries whose functions are on the stack stay loaded meanwhile.
#ifndef GPAL_BACKTRACE_H
#define GPAL_BACKTRACE_H

#include <ucontext.h>

#include <gpal/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/// The conventional names of the 32 MIPS registers in their order, "zero" to "ra"; the same table
/// on every processor.
GPAL_API extern const char* const register_names[32];

/// Records the calling thread's stack: the first entry lies inside `get_backtrace` itself, each
/// further one inside the instruction that called the one before, up to `main` or the thread's
/// start routine. \p buffer is the caller's and has room for \p size addresses; it is zeroed first.
/// Returns the number of entries, at most \p size. With a null \p buffer or a \p size below 1: 0,
/// nothing is touched.
GPAL_API int get_backtrace(void** buffer, int size);

/// The same for the thread that the calling signal handler interrupted, from \p context, the third
/// argument of an `SA_SIGINFO` handler for \p signal. The first entry is the interrupted
/// instruction; for a call through a null pointer it is 0xDEAD0000, then comes the caller.
///
/// On the device, for \p signal 10 (SIGBUS), the program counter in \p context itself is first
/// taken back by 4. With a null \p buffer or a \p size below 1: 0, nothing is touched, \p context
/// included. With a null \p context: 0.
GPAL_API int get_context_backtrace(ucontext_t* context, void** buffer, int size, int signal);

/// The registers in \p context (see `get_context_backtrace`) as text, hexadecimal with at least
/// eight digits, six general registers to a line. On the device: pc, mdhi, mdlo, status, cause and
/// badval, then the 32 general registers; for \p signal 10 (SIGBUS) the program counter is shown
/// less 16.
///
/// The text is the library's, in one static buffer that the next call overwrites: one caller at a
/// time. It is empty for a null \p context.
GPAL_API char* get_context_register_info(ucontext_t* context, int signal);

/// One line of text for each of the \p count addresses: file, symbol and offset as `dladdr(3)`
/// knows them, symbols mangled. Lines longer than 511 characters are cut.
///
/// Returns \p count pointers to the texts, in a single block that also holds the texts; the caller
/// frees the block with `free`. A \p count below 1 gives a block without texts. Null when there is
/// no memory, or \p addresses is null. May be called by any thread; not for signal handlers.
GPAL_API char** get_backtrace_symbols(void** addresses, int count);

/// Records the stack from the program counter \p pc and the stack pointer \p sp on, both of a
/// function of the calling thread that has not returned yet. The first entry is \p pc. Returns the
/// number of entries recorded in \p buffer, at most \p size; those beyond are not cleared first.
/// With a null \p buffer or a \p size below 1: 0, nothing is touched.
GPAL_API int get_ret_addr(unsigned long pc, unsigned long sp, int size, void** buffer);

#ifdef __cplusplus
}
#endif

#endif
