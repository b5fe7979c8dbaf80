/// \file
/// Recorded stacks in the words of tests.
#ifndef GPAL_TESTS_DIAGNOSTICS_STACKS_H
#define GPAL_TESTS_DIAGNOSTICS_STACKS_H

#include <functional>
#include <string>
#include <ucontext.h>
#include <vector>

/// The addresses of a stack.
using Stack = std::vector<void*>;
using Names = std::vector<std::string>;

/// What `get_backtrace` records where this is called from.
Stack recordedStack(int size = 64);

/// The names of the functions at \p stack's addresses, "?" for those that are not exported.
Names namesOf(const Stack& stack);

/// The names up to and with \p last; all when it is not there.
Names upTo(const std::string& last, Names names);

/// Has \p handler called for each hardware fault that \p work leads to, in the signal's handler;
/// then \p work is left where it is.
using FaultHandler = std::function<void(ucontext_t* context, int signal)>;
void withFaultHandler(FaultHandler handler, const std::function<void()>& work,
                      bool onAlternateStack = false);

/// The stack of a fault, as `get_context_backtrace` records it in the signal's handler.
Stack stackOfFault(const std::function<void()>& work, bool onAlternateStack = false);

/// An address that can't be written to.
void* forbiddenAddress();

#endif
