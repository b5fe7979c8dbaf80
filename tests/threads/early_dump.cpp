// A client that prints a dump before its main function begins, and has nothing to do with the
// streams itself.
#include <gpal/Semaphore.h>

namespace
{

struct Early {
    Early() { semaphore.displayInfo(); }

    Semaphore semaphore{1, 1, false};
};

const Early early;

} // namespace

int main() {}
