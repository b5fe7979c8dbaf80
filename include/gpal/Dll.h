/// \file
/// Dynamic libraries.
#ifndef GPAL_DLL_H
#define GPAL_DLL_H

#include <string>

#include <gpal/export.h>

/// One shared library, loaded for the object's life.
///
/// Loading is serialised across all processes of the device by a System V semaphore with key 666,
/// which the first of them makes; the kernel gives it back for a process that dies while loading.
/// `symbol` and `error` of one object are not for two threads at once.
class GPAL_API Dll
{
public:
    /// Loads \p library, found as `dlopen` finds it, its symbols bound lazily and visible to other
    /// libraries. Waits while another process or thread loads, so for ever in what a library runs
    /// while it is loaded itself; cancellation is held off meanwhile, as it is by the destructor.
    /// `error` tells whether it succeeded.
    explicit Dll(const std::string& library);
    Dll(const Dll&) = delete;
    Dll& operator=(const Dll&) = delete;
    /// Unloads the library, if it was loaded.
    virtual ~Dll();

    /// The address of \p name in the library or those it depends on; null when it is not there, or
    /// its address is null, or the library was not loaded.
    void* symbol(const std::string& name);

    /// What the last function failed with, the loader's text; null when it succeeded. Valid until
    /// the next call of `symbol`.
    const char* error();

    /// The name given to the constructor. Valid while the object lives.
    const char* libraryRequested();

private:
    friend GPAL_API void* testAccessOnly_GetHandle(Dll* dll);

    std::string m_lastError;
    void* m_handle = nullptr;
    bool m_failed = false;
    std::string m_libraryRequested;
    int m_semaphoreId = -1;
};

/// The loader's handle of \p dll, null when it was not loaded. For tests only.
GPAL_API void* testAccessOnly_GetHandle(Dll* dll);

#endif
