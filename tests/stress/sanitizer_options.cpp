// What the address sanitizer asks a program for when it starts.

extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();

/// Keeps instrumented variables off the stack. On the stack, the marks around them outlive frames
/// that cancellation unwinds, and the sanitizer stumbles over them in the frames that come after.
const char* __asan_default_options()
{
    return "detect_stack_use_after_return=1";
}
