#include <gpal/Threader.h>

#include <cerrno>
#include <cstring>
#include <pthread.h>

#include <gpal/ProcessManager.h>

#include "base/console.h"
#include "threads/thread_start.h"
#include "threads/ThreadRegistry.h"

using gpal::detail::asText;
using gpal::detail::writeToConsole;

ThreaderIfc::~ThreaderIfc() = default;

ThreaderFactoryIfc::~ThreaderFactoryIfc() = default;

bool Threader::spawn(unsigned long* threadId, Threadable* body, std::string /*name*/,
                     GPALThreadPriority /*priority*/, int /*reserved*/)
{
    if (body == nullptr || threadId == nullptr) {
        return false;
    }
    // A failed creation is deliberately not reported: callers take false to mean bad arguments.
    pthread_create(threadId, nullptr, gpal::detail::threadableStart, body);
    body->setThreadId(*threadId);
    return true;
}

bool Threader::spawn(unsigned long* threadId, void* (*function)(void*), void* argument,
                     std::string name, GPALThreadPriority priority, int /*reserved*/)
{
    if (function == nullptr || threadId == nullptr) {
        return false;
    }
    auto* block = gpal::detail::newStartBlock().release();
    pthread_attr_t attributes{};
    if (pthread_attr_init(&attributes) != 0) {
        writeToConsole(asText("pthread_attr_init FAILED: ", std::strerror(errno), '\n'));
    }
    block->function = function;
    block->priority = priority;
    block->argument = argument;
    block->name = std::move(name);
    const int error =
        pthread_create(threadId, &attributes, gpal::detail::functionThreadStart, block);
    if (error != 0) {
        // Callers take false to mean bad arguments, so this line is the only report; the block is
        // left alone, since a thread that the library wrongly disowned might still read it.
        writeToConsole(
            asText("pthread_create FAILED: ", error, ',', errno, ',', std::strerror(error), '\n'));
    }
    pthread_attr_destroy(&attributes);
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
