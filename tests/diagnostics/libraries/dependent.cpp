/// \file
/// A library that needs another.

extern "C" int answer();

extern "C" int twiceTheAnswer()
{
    return 2 * answer();
}
