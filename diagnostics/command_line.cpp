#include "diagnostics/command_line.h"

#include <cstdio>
#include <memory>

namespace gpal::detail
{

std::string programIn(const std::string& file)
{
    struct Close {
        void operator()(FILE* stream) const { std::fclose(stream); }
    };
    const std::unique_ptr<FILE, Close> stream(std::fopen(file.c_str(), "r"));
    char program[1024] = "";
    if (stream != nullptr) {
        static_cast<void>(std::fscanf(stream.get(), "%1023s", program));
    }
    return program;
}

} // namespace gpal::detail
