/* Functions that no compiler writes: leaves without a frame, and registers full of known values. */
#include "situations.h"

#include <asm/unistd.h>

.macro function name
    .balign 4
    .globl \name
    .type \name, @function
    .ent \name
\name:
.endm

.macro endOf name
    .end \name
    .size \name, . - \name
.endm

    .text
    .set noreorder
    .set noat

function HERE(leaf)
    sw $0, 0($0)
    jr $31
    nop
endOf HERE(leaf)

function HERE(delaySlot)
    nop
    jr $31
    sw $0, 0($0)
endOf HERE(delaySlot)

    .balign 4
    .type unnamedLeaf, @function
    .ent unnamedLeaf
unnamedLeaf:
    nop
    sw $0, 0($0)
    jr $31
    nop
endOf unnamedLeaf

/* With the prologue and the room that a compiler's functions have. */
function HERE(callsUnnamedLeaf)
    .cpload $25
    addiu $29, $29, -32
    sw $31, 28($29)
    .cprestore 16
    la $25, unnamedLeaf
    jalr $25
    nop
    lw $31, 28($29)
    jr $31
    addiu $29, $29, 32
endOf HERE(callsUnnamedLeaf)

/* Arguments of system calls beyond the fourth are on the stack; room for them is given back right
   behind the call. */
function HERE(receive)
    lw $8, 16($29)
    lw $9, 20($29)
    addiu $29, $29, -32
    sw $8, 16($29)
    sw $9, 20($29)
    li $2, __NR_recvfrom
    syscall
    addiu $29, $29, 32
    jr $31
    nop
endOf HERE(receive)

/* Register number times 0x10101, with the sign bit set. The kernel has registers 26 and 27. */
function HERE(planted)
    li $8, 0x9ABCDEF0
    mthi $8
    li $8, 0x87654321
    mtlo $8
    .irp number, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 28, 29, 30, 31
    li $\number, 0x80000000 + \number * 0x10101
    .endr
    sw $0, 0($0)
    jr $31
    nop
endOf HERE(planted)

    .section .note.GNU-stack, "", @progbits
