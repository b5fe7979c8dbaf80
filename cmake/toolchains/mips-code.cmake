# How code for the device's processor is compiled and linked, with whatever C library.

# Walks read each function's prologue. Position-independent code has the one that they know, and the
# stack protector gives it to functions that would do without. In the library's smallest code there are
# so few of them that each is marked instead (GPAL_WALKABLE). Nobody reads the assembler's own notes on
# frames.
foreach(language C CXX)
    set(CMAKE_${language}_FLAGS_INIT "-fPIC -fstack-protector-all -Wa,-mno-pdr")
endforeach()
set(GPAL_SMALL_CODE_OPTIONS
    -fstack-protector-explicit
    # All of the library is optimised as one, at the end; that step has to be told of exceptions again.
    -flto=auto -fexceptions
    # The compiler writes the unwind tables itself, without entries for functions that can't throw, and in
    # the oldest and shortest form, which is that of the debugging information where there is any.
    -fno-dwarf2-cfi-asm -gdwarf-2 -g0)

# The linker's own script, save that it leaves _gp, the end of an executable's code, to be found.
set(GPAL_LINKER_SCRIPT ${CMAKE_BINARY_DIR}/mips_gp.ld)
if(NOT EXISTS ${GPAL_LINKER_SCRIPT})
    execute_process(
        COMMAND sh -c "mips-linux-gnu-ld --verbose | sed '1,/^=====/d; /^=====/,$d; s/HIDDEN (_gp = \\(.*\\));/_gp = \\1;/'"
        OUTPUT_FILE ${GPAL_LINKER_SCRIPT})
endif()
set(GPAL_WALKABLE_PROGRAM "-no-pie -Wl,-T,${GPAL_LINKER_SCRIPT}")
# A library's data follow its code in the file without a gap.
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-Wl,-z,common-page-size=65536")
