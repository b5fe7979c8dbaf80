#include "cancelled.h"

#include <csignal>
#include <cstdlib>

namespace gpal::detail
{
namespace
{

/// What the process does when it is interrupted. `system` has it ignore that, and does not see to
/// it any more when its thread is cancelled.
class Interrupts
{
public:
    Interrupts()
    {
        sigaction(SIGINT, nullptr, &m_interrupt);
        sigaction(SIGQUIT, nullptr, &m_quit);
    }
    Interrupts(const Interrupts&) = delete;
    Interrupts& operator=(const Interrupts&) = delete;
    ~Interrupts()
    {
        sigaction(SIGINT, &m_interrupt, nullptr);
        sigaction(SIGQUIT, &m_quit, nullptr);
    }

private:
    struct sigaction m_interrupt {
    };
    struct sigaction m_quit {
    };
};

} // namespace

// The C library takes a handler that lies above the last one in the stack for the first of all, and
// forgets the others, as it does when a jump has left their scopes. But which of two objects in one
// frame lies above the other is the compiler's choice. So a handler in a frame below all of them is
// put in first, and ours into its place.
__attribute__((noinline)) CleanUpHandler::CleanUpHandler(void (*function)(void*), void* argument)
{
    _pthread_cleanup_buffer lowest;
    _pthread_cleanup_push(&lowest, function, argument);
    m_buffer = lowest;
    lowest.__prev = &m_buffer;
    _pthread_cleanup_pop(&lowest, 0);
}

int runCommand(const char* command)
{
    const Interrupts interrupts;
    const DestroyedIfCancelled whenCancelled(interrupts);
    return cancellably([command] { return std::system(command); });
}

} // namespace gpal::detail
