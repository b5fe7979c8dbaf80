// A process exits while the registry knows a thread: the entry is given back, and the output says
// so.
#include <cstdlib>
#include <new>
#include <unistd.h>

#include <gpal/Threader.h>

namespace
{

bool isMade = false;
void* entry = nullptr;

} // namespace

/// The only block that is made meanwhile is the entry.
void* operator new(std::size_t size)
{
    void* const block = std::malloc(size);
    if (isMade) {
        entry = block;
    }
    return block;
}

void operator delete(void* block) noexcept
{
    if (block != nullptr && block == entry) {
        constexpr char TEXT[] = "given back\n";
        if (write(STDOUT_FILENO, TEXT, sizeof TEXT - 1) < 0) {
            _exit(1);
        }
    }
    std::free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept
{
    operator delete(block);
}

int main()
{
    static int unknown;
    isMade = true;
    Threader::setThreadPriority(GPAL_THREAD_PRIORITY_NORMAL,
                                reinterpret_cast<unsigned long>(&unknown));
    isMade = false;
}
