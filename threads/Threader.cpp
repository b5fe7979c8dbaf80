#include <gpal/Threader.h>

#include <cerrno>
#include <cstring>
#include <pthread.h>

#include <gpal/ProcessManager.h>

#include "base/console.h"
#include "threads/thread_start.h"
#include "threads/ThreadRegistry.h"

using gpal::detail::printToConsole;

namespace
{

/// `pthread_create` that leaves `*threadId` alone when it fails: the C library stores an id there
/// before the kernel refuses, and the next thread may get the same one.
int create(unsigned long* threadId, const pthread_attr_t* attributes, void* (*start)(void*),
           void* argument)
{
    const unsigned long before = *threadId;
    const int error = pthread_create(threadId, attributes, start, argument);
    if (error != 0) {
        *threadId = before;
    }
    return error;
}

} // namespace

ThreaderIfc::~ThreaderIfc() = default;

ThreaderFactoryIfc::~ThreaderFactoryIfc() = default;

bool Threader::spawn(unsigned long* threadId, Threadable* body, std::string /*name*/,
                     GPALThreadPriority /*priority*/, int /*reserved*/)
{
    if (body == nullptr || threadId == nullptr) {
        return false;
    }
    // A failed creation is deliberately not reported: callers take false to mean bad arguments.
    create(threadId, nullptr, gpal::detail::threadableStart, body);
    body->setThreadId(*threadId);
    return true;
}

bool Threader::spawn(unsigned long* threadId, void* (*function)(void*), void* argument,
                     std::string name, GPALThreadPriority priority, int /*reserved*/)
{
    if (function == nullptr || threadId == nullptr) {
        return false;
    }
    auto* block = new gpal::detail::ThreadStartBlock{};
    pthread_attr_t attributes{};
    const bool initialised = pthread_attr_init(&attributes) == 0;
    if (!initialised) {
        printToConsole("pthread_attr_init FAILED: %s\n", std::strerror(errno));
    }
    block->function = function;
    block->priority = priority;
    block->argument = argument;
    block->name = std::move(name);
    const int error = create(threadId, &attributes, gpal::detail::functionThreadStart, block);
    if (error != 0) {
        // Callers take false to mean bad arguments, so this line is the only report; the block is
        // left alone, since a thread that the library wrongly disowned might still read it.
        printToConsole("pthread_create FAILED: %d,%d,%s\n", error, errno, std::strerror(error));
    }
    if (initialised) {
        pthread_attr_destroy(&attributes);
    }
    return true;
}

bool Threader::destroy(unsigned long threadId)
{
    return threadId != 0 && pthread_cancel(threadId) == 0;
}

int Threader::waitForThreadCompletion(unsigned long threadId)
{
    return threadId == 0 ? ESRCH : pthread_join(threadId, nullptr);
}

int Threader::detach(unsigned long threadId)
{
    return threadId == 0 ? ESRCH : pthread_detach(threadId);
}

int Threader::protectFromDestroy()
{
    return pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
}

void Threader::unProtectFromDestroy()
{
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    pthread_testcancel();
}

bool Threader::setThreadPriority(GPALThreadPriority priority, unsigned long threadId)
{
    const unsigned long thread = threadId == 0 ? pthread_self() : threadId;
    const int kernelId = gpal::detail::threadRegistry::kernelIdOf(thread);
    if (kernelId == 0) {
        return false;
    }
    return ProcessManagement::manager()->requestNewPriority(kernelId, priority) == priority;
}

ThreaderIfc* ThreaderFactory::createNewThreader()
{
    return new Threader;
}
