/// \file
/// What a walk through the stack asks of the code that it passes, where the compiler would do
/// without.
#ifndef GPAL_BASE_WALKABLE_H
#define GPAL_BASE_WALKABLE_H

/// Marks an exported function that reaches no symbol, such as one that calls through pointers only:
/// on the device it would lack the prologue that walks read, which the stack protector's check
/// needs. Only the smallest build for the device looks at the mark, as the others have every
/// function protected; its test names the functions that lack their prologue.
#if __has_attribute(stack_protect)
#define GPAL_WALKABLE __attribute__((stack_protect))
#else
#define GPAL_WALKABLE
#endif

#endif
