/// \file
/// A root directory of the test's own.
#ifndef GPAL_TESTS_PROCESS_PRIVATE_ROOT_H
#define GPAL_TESTS_PROCESS_PRIVATE_ROOT_H

#include <string>

/// Takes the process into private namespaces and gives it a root directory in memory that shows all
/// that the machine's has. What is made in it, beside that, is seen by this process and its
/// children only, and goes with them. Call it before any other thread is started. Returns the
/// reason where it can't be done, else "".
std::string enterPrivateRoot();

#endif
