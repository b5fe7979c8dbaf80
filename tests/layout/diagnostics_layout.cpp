// Classes of the diagnostics folder: virtual functions, fields and results.
#include "layout/layout.h"
#include <gpal/backtrace.h>
#include <gpal/Dll.h>
#include <gpal/MemoryInformation.h>
#include <gpal/Watchdog.h>

namespace layout
{

#pragma GCC diagnostic ignored "-Winvalid-offsetof"
template struct InOrder<Dll, offsetof(Dll, m_lastError), offsetof(Dll, m_handle),
                        offsetof(Dll, m_failed), offsetof(Dll, m_libraryRequested),
                        offsetof(Dll, m_semaphoreId)>;

static_assert(sizeof(MemoryInformation) == sizeof(void*));
static_assert(std::is_empty_v<Watchdog> && !std::is_polymorphic_v<Watchdog>);

using Memory = MemoryInformation;
static_assert(
    std::is_same_v<decltype(&Memory::getTotalMemory), int (Memory::*)()> &&
    std::is_same_v<decltype(&Memory::getFreeMemory), int (Memory::*)()> &&
    std::is_same_v<decltype(&Memory::getGenericMemoryInfo), bool (Memory::*)(std::string&)> &&
    std::is_same_v<decltype(&Memory::getAllMemoryInfo), bool (Memory::*)(const std::string&)>);
static_assert(std::is_same_v<decltype(&Watchdog::getPIdByName), int (Watchdog::*)(std::string)>);
static_assert(std::is_same_v<decltype(&Dll::symbol), void* (Dll::*)(const std::string&)> &&
              std::is_same_v<decltype(&Dll::error), const char* (Dll::*)()> &&
              std::is_same_v<decltype(&Dll::libraryRequested), const char* (Dll::*)()> &&
              std::is_same_v<decltype(testAccessOnly_GetHandle), void*(Dll*)>);
static_assert(
    std::is_same_v<decltype(register_names), const char* const[32]> &&
    std::is_same_v<decltype(get_backtrace), int(void**, int)> &&
    std::is_same_v<decltype(get_ret_addr), int(unsigned long, unsigned long, int, void**)> &&
    std::is_same_v<decltype(get_context_backtrace), int(ucontext_t*, void**, int, int)> &&
    std::is_same_v<decltype(get_context_register_info), char*(ucontext_t*, int)> &&
    std::is_same_v<decltype(get_backtrace_symbols), char**(void**, int)>);

void diagnosticsSlots()
{
    hasOnlyItsDestructor<Dll>();
    hasOnlyItsDestructor<MemoryInformation>();
}

} // namespace layout
