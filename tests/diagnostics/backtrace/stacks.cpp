#include "stacks.h"

#include <algorithm>
#include <csetjmp>
#include <csignal>
#include <cstring>
#include <dlfcn.h>
#include <memory>
#include <sys/mman.h>

#include <gpal/backtrace.h>
#include <gpal/symbolInfo.h>

namespace
{

struct Fault {
    FaultHandler handler;
    sigjmp_buf leave;
};
Fault* currentFault = nullptr;

void handleFault(int signal, siginfo_t*, void* context)
{
    currentFault->handler(static_cast<ucontext_t*>(context), signal);
    siglongjmp(currentFault->leave, 1);
}

/// Signals are handled on a stack of their own while this lives.
class AlternateStack
{
public:
    AlternateStack() : m_memory(std::make_unique<char[]>(SIZE))
    {
        stack_t alternate{};
        alternate.ss_sp = m_memory.get();
        alternate.ss_size = SIZE;
        sigaltstack(&alternate, &m_before);
    }
    AlternateStack(const AlternateStack&) = delete;
    AlternateStack& operator=(const AlternateStack&) = delete;
    ~AlternateStack() { sigaltstack(&m_before, nullptr); }

private:
    static constexpr std::size_t SIZE = 0x40000;
    std::unique_ptr<char[]> m_memory;
    stack_t m_before{};
};

} // namespace

Stack recordedStack(int size)
{
    Stack stack(static_cast<std::size_t>(size));
    const int count = get_backtrace(stack.data(), size);
    stack.resize(static_cast<std::size_t>(count));
    return stack;
}

Names namesOf(const Stack& stack)
{
    Names names;
    for (const void* address : stack) {
        const std::string name = symbolInfo::getSymbol(address);
        names.push_back(name.empty() ? "?" : name);
    }
    return names;
}

Names upTo(const std::string& last, Names names)
{
    const auto found = std::find(names.begin(), names.end(), last);
    if (found != names.end()) {
        names.erase(found + 1, names.end());
    }
    return names;
}

void withFaultHandler(FaultHandler handler, const std::function<void()>& work,
                      bool onAlternateStack)
{
    const auto alternate = onAlternateStack ? std::make_unique<AlternateStack>() : nullptr;
    Fault fault{std::move(handler), {}};
    currentFault = &fault;
    struct sigaction action {
    };
    action.sa_sigaction = handleFault;
    action.sa_flags = SA_SIGINFO | (onAlternateStack ? SA_ONSTACK : 0);
    struct sigaction segvBefore {
    };
    struct sigaction busBefore {
    };
    sigaction(SIGSEGV, &action, &segvBefore);
    sigaction(SIGBUS, &action, &busBefore);
    if (sigsetjmp(fault.leave, 1) == 0) {
        work();
    }
    sigaction(SIGBUS, &busBefore, nullptr);
    sigaction(SIGSEGV, &segvBefore, nullptr);
}

Stack stackOfFault(const std::function<void()>& work, bool onAlternateStack)
{
    static void* buffer[64];
    static int count;
    count = -1;
    withFaultHandler([](ucontext_t* context,
                        int signal) { count = get_context_backtrace(context, buffer, 64, signal); },
                     work, onAlternateStack);
    return count < 0 ? Stack{} : Stack(buffer, buffer + count);
}

void* forbiddenAddress()
{
    static void* page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return page;
}
