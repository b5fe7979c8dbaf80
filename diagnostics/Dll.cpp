#include <gpal/Dll.h>

#include <dlfcn.h>

#include "base/cancellation.h"
#include "diagnostics/LoadLock.h"

namespace
{

std::string loaderText()
{
    const char* text = dlerror();
    return text != nullptr ? text : "";
}

} // namespace

Dll::Dll(const std::string& library) : m_libraryRequested(library)
{
    const gpal::detail::CancellationHeldOff untilLoaded;
    m_semaphoreId = gpal::detail::openLoadLock();
    const gpal::detail::LoadLock oneAtATime(m_semaphoreId);
    m_handle = dlopen(library.c_str(), RTLD_LAZY | RTLD_GLOBAL);
    if (m_handle == nullptr) {
        m_lastError = loaderText();
        m_failed = true;
    }
}

Dll::~Dll()
{
    if (m_handle != nullptr) {
        const gpal::detail::CancellationHeldOff untilUnloaded;
        dlclose(m_handle);
    }
}

void* Dll::symbol(const std::string& name)
{
    if (m_handle == nullptr) {
        // The loader would take null for the whole program and might find another's symbol; what it
        // said about the library still stands.
        return nullptr;
    }
    void* const address = dlsym(m_handle, name.c_str());
    m_lastError = address == nullptr ? loaderText() : "";
    m_failed = address == nullptr;
    return address;
}

const char* Dll::error()
{
    return m_failed ? m_lastError.c_str() : nullptr;
}

const char* Dll::libraryRequested()
{
    return m_libraryRequested.c_str();
}

void* testAccessOnly_GetHandle(Dll* dll)
{
    return dll != nullptr ? dll->m_handle : nullptr;
}
