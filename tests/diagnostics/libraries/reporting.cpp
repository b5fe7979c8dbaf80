/// \file
/// A library that lets the program do something while it is loaded and while it is unloaded.

extern "C" void whileLoading();
extern "C" void whileUnloading();

namespace
{

struct Reporter {
    Reporter() { whileLoading(); }
    Reporter(const Reporter&) = delete;
    Reporter& operator=(const Reporter&) = delete;
    ~Reporter() { whileUnloading(); }
} reporter;

} // namespace
