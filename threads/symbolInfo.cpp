#include <gpal/symbolInfo.h>

#include <cstdlib>
#include <cxxabi.h>
#include <dlfcn.h>
#include <memory>

std::string symbolInfo::getSymbol(const void* address)
{
    Dl_info found{};
    if (dladdr(address, &found) == 0 || found.dli_sname == nullptr) {
        return "";
    }
    return found.dli_sname;
}

std::string& symbolInfo::demangleSymbol(std::string& name)
{
    struct Free {
        void operator()(char* text) const { std::free(text); }
    };
    int status = 0;
    const std::unique_ptr<char, Free> demangled(
        abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status));
    if (status == 0) {
        name = demangled.get();
    }
    return name;
}
