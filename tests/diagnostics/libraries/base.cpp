/// \file
/// A library with two symbols: a function, and one that the linker gives the address null.

extern "C" int answer()
{
    return 42;
}
