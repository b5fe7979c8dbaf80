#include <gpal/Dll.h>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <string>
#include <type_traits>

#include "library_hooks.h"
#include "support/c_library.h"
#include "support/ipc_calls.h"
#include "support/plain_thread.h"
#include "support/private_mounts.h"

namespace
{

namespace calls = support::calls;
using support::PlainThread;
using support::Replacement;
using testing::HasSubstr;
using testing::IsNull;
using testing::NotNull;
using testing::StrEq;

const char* const MISSING = "/nowhere/libmissing.so";

/// Whether the loader has the library in memory.
bool isLoaded(const char* library)
{
    void* const handle = dlopen(library, RTLD_LAZY | RTLD_NOLOAD);
    if (handle != nullptr) {
        dlclose(handle);
    }
    return handle != nullptr;
}

/// What the loader has to say of a library that it can't load. How much of it is told differs
/// between C libraries, some name neither file nor symbol.
std::string textOfLoading(const char* library)
{
    dlopen(library, RTLD_LAZY | RTLD_GLOBAL);
    return dlerror();
}

/// A library's name as it stands in what the loader says: "" where that names none.
std::string asFarAsNamed(const char* library)
{
    return textOfLoading(MISSING).find(MISSING) != std::string::npos ? library : "";
}

/// What it has to say of a symbol that a library does not have.
std::string textOfMissing(const char* symbol, const char* library)
{
    void* const handle = dlopen(library, RTLD_LAZY);
    dlerror();
    dlsym(handle, symbol);
    const char* const text = dlerror();
    const std::string copy = text != nullptr ? text : "";
    dlclose(handle);
    return copy;
}

/// The number that a function of a library gives.
int call(void* function)
{
    return reinterpret_cast<int (*)()>(function)();
}

/// The tests load libraries under a lock of their own, not the machine's.
class DllTest : public testing::Test
{
protected:
    void SetUp() override { GPAL_IN_PRIVATE_NAMESPACES(); }
    void TearDown() override { hooks::reset(); }
};

} // namespace

TEST_F(DllTest, hasOneVirtualFunctionAndItsFieldsInTheOrderThatClientsWereBuiltWith)
{
    struct Fields {
        void* functions;
        std::string lastError;
        void* handle;
        bool failed;
        std::string libraryRequested;
        int semaphoreId;
    };
    EXPECT_TRUE(std::has_virtual_destructor_v<Dll>);
    ASSERT_EQ(sizeof(Dll), sizeof(Fields));

    Dll dll(LIBRARY_BASE);
    dll.symbol("question");
    const void* const object = &dll;
    const auto* fields = static_cast<const Fields*>(object);
    EXPECT_EQ(fields->lastError, dll.error());
    EXPECT_EQ(fields->handle, testAccessOnly_GetHandle(&dll));
    EXPECT_TRUE(fields->failed);
    EXPECT_EQ(fields->libraryRequested, LIBRARY_BASE);
    EXPECT_EQ(fields->semaphoreId, semget(666, 0, 0));
}

TEST_F(DllTest, loadsALibraryForItsLifetime)
{
    {
        Dll dll(LIBRARY_BASE);
        EXPECT_THAT(testAccessOnly_GetHandle(&dll), NotNull());
        EXPECT_THAT(dll.error(), IsNull());
        EXPECT_TRUE(isLoaded(LIBRARY_BASE));
    }
    EXPECT_FALSE(isLoaded(LIBRARY_BASE));
}

TEST_F(DllTest, handsTheLoaderTheNameAndBindsLazilyAndGlobally)
{
    std::string name;
    int flags = 0;
    const Replacement recorded(calls::dlopen, [&](const char* library, int given) {
        name = library;
        flags = given;
        return calls::dlopen.original(library, given);
    });
    const Dll dll(LIBRARY_BASE);
    EXPECT_EQ(name, LIBRARY_BASE);
    EXPECT_EQ(flags, RTLD_LAZY | RTLD_GLOBAL);
}

TEST_F(DllTest, isKnownByTheNameItWasAskedFor)
{
    Dll dll(LIBRARY_BASE);
    EXPECT_THAT(dll.libraryRequested(), StrEq(LIBRARY_BASE));
    Dll missing(MISSING);
    EXPECT_THAT(missing.libraryRequested(), StrEq(MISSING));
    Dll nameless("");
    EXPECT_THAT(nameless.libraryRequested(), StrEq(""));
}

TEST_F(DllTest, givesTheLoadersHandle)
{
    int place = 0;
    const Replacement loaded(calls::dlopen, [&place](const char*, int) -> void* { return &place; });
    const Replacement unloaded(calls::dlclose, [](void*) { return 0; });
    Dll dll("any");
    EXPECT_EQ(testAccessOnly_GetHandle(&dll), &place);
    EXPECT_THAT(testAccessOnly_GetHandle(nullptr), IsNull());
}

TEST_F(DllTest, closesItsHandleOnce)
{
    int closings = 0;
    void* closed = nullptr;
    const Replacement recorded(calls::dlclose, [&](void* handle) {
        ++closings;
        closed = handle;
        return calls::dlclose.original(handle);
    });
    void* handle = nullptr;
    {
        Dll dll(LIBRARY_BASE);
        handle = testAccessOnly_GetHandle(&dll);
        EXPECT_EQ(closings, 0);
    }
    EXPECT_EQ(closings, 1);
    EXPECT_EQ(closed, handle);
}

TEST_F(DllTest, closesNothingWhenItLoadedNothing)
{
    int closings = 0;
    const Replacement recorded(calls::dlclose, [&closings](void*) { return ++closings; });
    {
        const Dll dll(MISSING);
    }
    EXPECT_EQ(closings, 0);
}

TEST_F(DllTest, isUnloadedByDestructionThroughTheBase)
{
    class Derived : public Dll
    {
    public:
        using Dll::Dll;
    };
    Dll* const dll = new Derived(LIBRARY_BASE);
    EXPECT_TRUE(isLoaded(LIBRARY_BASE));
    delete dll;
    EXPECT_FALSE(isLoaded(LIBRARY_BASE));
}

TEST_F(DllTest, findsSymbolsOfTheLibrary)
{
    Dll dll(LIBRARY_BASE);
    void* const answer = dll.symbol("answer");
    ASSERT_THAT(answer, NotNull());
    EXPECT_EQ(call(answer), 42);
    EXPECT_THAT(dll.error(), IsNull());
}

TEST_F(DllTest, bringsTheLibrariesAlongThatTheLibraryNeeds)
{
    Dll dll(LIBRARY_DEPENDENT);
    void* const function = dll.symbol("twiceTheAnswer");
    ASSERT_THAT(function, NotNull());
    EXPECT_EQ(call(function), 84);
    EXPECT_THAT(dll.symbol("answer"), NotNull());
}

TEST_F(DllTest, librarySeesTheSymbolsOfOneLoadedBefore)
{
    const Dll base(LIBRARY_BASE);
    Dll lazy(LIBRARY_LAZY); // loads although one of its functions is nowhere
    EXPECT_THAT(lazy.error(), IsNull());
    void* const function = lazy.symbol("answerOfSomeLibrary");
    ASSERT_THAT(function, NotNull());
    EXPECT_EQ(call(function), 42);
}

TEST_F(DllTest, missingSymbolIsNullWithTheLoadersText)
{
    Dll dll(LIBRARY_BASE);
    EXPECT_THAT(dll.symbol("question"), IsNull());
    EXPECT_THAT(dll.error(), StrEq(textOfMissing("question", LIBRARY_BASE)));
    EXPECT_THAT(dll.error(), StrEq(dll.error()));
}

TEST_F(DllTest, foundSymbolClearsAnEarlierError)
{
    Dll dll(LIBRARY_BASE);
    dll.symbol("question");
    ASSERT_THAT(dll.error(), NotNull());
    dll.symbol("answer");
    EXPECT_THAT(dll.error(), IsNull());
}

TEST_F(DllTest, eachFailureHasItsOwnText)
{
    Dll dll(LIBRARY_BASE);
    dll.symbol("question");
    dll.symbol("riddle");
    EXPECT_THAT(dll.error(), StrEq(textOfMissing("riddle", LIBRARY_BASE)));
}

TEST_F(DllTest, symbolWhoseAddressIsNullIsAFailureWithoutText)
{
    GPAL_SKIP_BECAUSE(textOfMissing("atAddressNull", LIBRARY_BASE).empty()
                          ? ""
                          : "the loader takes a symbol at address null for a missing one");
    Dll dll(LIBRARY_BASE);
    dlerror(); // nothing is left of earlier failures
    EXPECT_THAT(dll.symbol("atAddressNull"), IsNull());
    EXPECT_THAT(dll.error(), StrEq(""));
}

TEST_F(DllTest, missingLibraryIsNullWithTheLoadersText)
{
    Dll dll(MISSING);
    EXPECT_THAT(testAccessOnly_GetHandle(&dll), IsNull());
    EXPECT_THAT(dll.error(), StrEq(textOfLoading(MISSING)));
}

TEST_F(DllTest, libraryThatNeedsAMissingOneIsNotLoaded)
{
    Dll dll(LIBRARY_ORPHAN);
    EXPECT_THAT(testAccessOnly_GetHandle(&dll), IsNull());
    EXPECT_THAT(dll.error(), HasSubstr(asFarAsNamed("libgpalTestBase")));
}

TEST_F(DllTest, symbolOfALibraryThatDidNotLoadFailsWithTheLoadersText)
{
    Dll dll(MISSING);
    EXPECT_THAT(dll.symbol("answer"), IsNull());
    EXPECT_THAT(dll.error(), StrEq(textOfLoading(MISSING)));
}

TEST_F(DllTest, symbolOfALibraryThatDidNotLoadIsNotLookedForInTheProgram)
{
    Dll dll(MISSING);
    EXPECT_THAT(dll.symbol("whileLoading"), IsNull()); // one of the program's
    EXPECT_THAT(dll.symbol("malloc"), IsNull());
    EXPECT_THAT(dll.error(), StrEq(textOfLoading(MISSING)));
}

TEST_F(DllTest, symbolOfALibraryThatDidNotLoadAsksTheLoaderNothing)
{
    Dll dll(MISSING);
    const std::string ofAnother = textOfLoading("/nowhere/libother.so");
    // What the loader has to say about this one is still there afterwards.
    dlopen("/nowhere/libother.so", RTLD_LAZY);
    dll.symbol("answer");
    EXPECT_THAT(dlerror(), StrEq(ofAnother));
}

TEST_F(DllTest, cancelledThreadFinishesLoadingAndUnloading)
{
    if (!support::unwindsWhenCancelled()) {
        GTEST_SKIP() << support::NO_UNWINDING;
    }
    bool loaded = false;
    bool unloaded = false;
    hooks::loading = [] {
        pthread_cancel(pthread_self());
        pthread_testcancel();
    };
    hooks::unloading = [&unloaded] {
        pthread_testcancel();
        unloaded = true;
    };
    PlainThread thread([&loaded] {
        const Dll dll(LIBRARY_REPORTING);
        loaded = true;
        pthread_testcancel(); // unloads on the way out
    });
    thread.join();
    EXPECT_TRUE(loaded);
    EXPECT_TRUE(unloaded);
    EXPECT_TRUE(thread.wasCancelled());
    EXPECT_FALSE(isLoaded(LIBRARY_REPORTING));
}

TEST_F(DllTest, unloadingIsNotCutShortByACancellation)
{
    bool unloaded = false;
    bool wentOn = false;
    hooks::unloading = [&unloaded] {
        pthread_cancel(pthread_self());
        pthread_testcancel();
        unloaded = true;
    };
    PlainThread thread([&wentOn] {
        {
            const Dll dll(LIBRARY_REPORTING);
        }
        wentOn = true;
        pthread_testcancel();
    });
    thread.join();
    EXPECT_TRUE(unloaded);
    EXPECT_TRUE(wentOn);
    EXPECT_TRUE(thread.wasCancelled());
}
