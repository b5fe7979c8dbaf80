/// \file
/// A library that calls, without being linked to it, what another one may bring, and what nobody
/// brings.

extern "C" int answer();
extern "C" int nobodyBringsThis();

extern "C" int answerOfSomeLibrary()
{
    return answer();
}

extern "C" int neverCalled()
{
    return nobodyBringsThis();
}
