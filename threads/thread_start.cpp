#include "threads/thread_start.h"

#include <cxxabi.h>
#include <exception>
#include <memory>
#include <new>
#include <pthread.h>
#include <typeinfo>

#include <gpal/GPALException.h>
#include <gpal/ProcessManager.h>
#include <gpal/ProcessTypeString.h>
#include <gpal/Semaphore.h>
#include <gpal/symbolInfo.h>
#include <gpal/Threadable.h>
#include <gpal/Threader.h>

#include "base/cancellation.h"
#include "base/kernel_id.h"
#include "cancelled.h"
#include "threads/ThreadRegistry.h"

namespace gpal::detail
{
namespace
{

void reportEscapedException(const char* body, const char* what)
{
    std::string name;
    try {
        name = body;
        symbolInfo::demangleSymbol(name);
    } catch (const std::bad_alloc&) {
        // What has escaped may well be the want of memory; the report must not fail with it.
        handleException(body, what);
        return;
    }
    handleException(name.c_str(), what);
}

/// The name of the body's class; "" where the client is built without run-time type information.
const char* mangledNameOf(Threadable& body)
{
    const std::type_info* const type = &typeid(body);
    return type != nullptr ? type->name() : "";
}

// Cancellation comes as an exception without an object, which the sanitizer would take the first
// handler's reference to miss. Inlined, the function would be looked at as part of its caller.
__attribute__((noinline, no_sanitize("null"))) void runGuarded(Threadable& body)
{
    const char* const name = mangledNameOf(body); // an escaping exception may outlive the body
    try {
        body.run();
    } catch (const abi::__forced_unwind&) {
        throw; // cancellation and pthread_exit unwind the stack; swallowing that would abort
    } catch (const std::exception& escaped) {
        reportEscapedException(name, escaped.what());
    } catch (...) {
        reportEscapedException(name, "");
    }
}

/// The type text of a priority level; "" for a value that is no level.
std::string typeOfLevel(GPALThreadPriority priority)
{
    switch (priority) {
    case GPAL_THREAD_PRIORITY_LOW:
        return ProcessTypeString::C_THREAD_LOW;
    case GPAL_THREAD_PRIORITY_NORMAL:
        return ProcessTypeString::C_THREAD_NORMAL;
    case GPAL_THREAD_PRIORITY_HIGH:
        return ProcessTypeString::C_THREAD_HIGH;
    case GPAL_THREAD_PRIORITY_TIMER:
        return ProcessTypeString::C_THREAD_TIMER;
    case GPAL_THREAD_PRIORITY_VOICE:
        return ProcessTypeString::C_THREAD_VOICE;
    }
    return "";
}

/// The name for the manager: a copy, as debuggers look for the thread's own in its block. Without
/// memory for one it gets the name itself.
std::string announcedName(std::string& name)
{
    try {
        return name;
    } catch (const std::bad_alloc&) {
        return std::move(name);
    }
}

} // namespace

void* threadableStart(void* body)
{
    Threadable& threadable = *static_cast<Threadable*>(body);
    unsigned long thread = pthread_self();
    const int kernelId = ownKernelId();
    pthread_cleanup_push(threadExitCleanUp, &thread);
    threadRegistry::add(thread, kernelId);
    ProcessManagement::manager()->addThread(threadable, kernelId);
    runGuarded(threadable);
    pthread_cleanup_pop(1);
    return nullptr;
}

void* functionThreadStart(void* block)
{
    unsigned long thread = pthread_self();
    ThreadStartBlock start = std::move(*static_cast<ThreadStartBlock*>(block));
    delete static_cast<ThreadStartBlock*>(block);
    const int kernelId = ownKernelId();
    pthread_cleanup_push(threadExitCleanUp, &thread);
    {
        const DestroyedIfCancelled whenCancelled(start);
        threadRegistry::add(thread, kernelId);
        if (start.name.empty()) {
            start.name = typeOfLevel(start.priority);
        }
        ProcessManagement::manager()->addThread(kernelId, announcedName(start.name));
        Threader::setThreadPriority(start.priority, thread);
        start.function(start.argument);
    }
    pthread_cleanup_pop(1);
    return nullptr;
}

} // namespace gpal::detail

void threadExitCleanUp(void* threadIdPointer)
{
    if (threadIdPointer == nullptr) {
        return;
    }
    // A handler that is popped runs inside a destructor: unwinding must not start in here.
    const gpal::detail::CancellationHeldOff untilDone;
    const unsigned long thread = *static_cast<const unsigned long*>(threadIdPointer);
    // Managers expect the thread id here, not the kernel id of addThread.
    ProcessManagement::manager()->removeThread(static_cast<int>(thread));
    gpal::detail::threadRegistry::remove(thread);
    Semaphore::threadExitSemaphoreCleanup(thread);
}
