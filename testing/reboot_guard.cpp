// Compiled into every program that links gpal::testing_guard.
#include <gpal/testing/RebootGuard.h>
