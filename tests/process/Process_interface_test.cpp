// The order of the virtual functions, the exception class and the factory.
#include <gpal/Process.h>

#include <csignal>
#include <gmock/gmock.h>
#include <memory>
#include <type_traits>

#include <gpal/ProcessTypeString.h>

#include "programs.h"
#include "support/slots.h"

using support::callSlot;

namespace
{

/// A process outside of the layer; writes down what is called.
class ProcessOutside : public ProcessIfc
{
public:
    explicit ProcessOutside(std::string& called) : m_called(called) {}
    ~ProcessOutside() override { m_called = "destroyed"; }
    int start(int argc, char** argv, char** envp, char* extra) override
    {
        m_called = "start " + std::to_string(argc) + *argv + *envp + extra;
        return 2;
    }
    int waitForExit() override { return note("waitForExit", 3); }
    int destroy() override { return note("destroy", 4); }
    int sigusr2() override { return note("sigusr2", 5); }
    int sigusr1() override { return note("sigusr1", 6); }
    std::string type() override { return "a type"; }
    int ID() override { return note("ID", 8); }
    bool isRunning() override { return note("isRunning", 9) == 9; }

private:
    int note(const std::string& name, int result)
    {
        m_called = name;
        return result;
    }

    std::string& m_called;
};

class FactoryOutside : public ProcessFactoryIfc
{
public:
    explicit FactoryOutside(std::string& called) : m_called(called) {}
    ~FactoryOutside() override { m_called = "destroyed"; }
    ProcessIfc* getProcess() override { return &m_process; }
    void destroy(ProcessIfc* process) override
    {
        m_called = process == &m_process ? "destroy" : "destroy something else";
    }

private:
    std::string& m_called;
    ProcessOutside m_process{m_called};
};

GPALProcessException thrownCopy()
{
    try {
        throw GPALProcessException("GPAL Process exception");
    } catch (const GPALProcessException& caught) {
        return caught;
    }
}

} // namespace

TEST(ProcessIfc, keepsItsVirtualFunctionsInTheOrderThatClientsWereBuiltWith)
{
    std::string called;
    ProcessOutside outside(called);
    ProcessIfc* const process = &outside;
    char argument[] = "a";
    char variable[] = "b";
    char extra[] = "c";
    char* argv[] = {argument, nullptr};
    char* envp[] = {variable, nullptr};
    EXPECT_EQ(2, (callSlot<int(int, char**, char**, char*)>(process, 2, 1, argv, envp, extra)));
    EXPECT_EQ("start 1abc", called);
    EXPECT_EQ(3, callSlot<int()>(process, 3));
    EXPECT_EQ("waitForExit", called);
    EXPECT_EQ(4, callSlot<int()>(process, 4));
    EXPECT_EQ("destroy", called);
    EXPECT_EQ(5, callSlot<int()>(process, 5));
    EXPECT_EQ("sigusr2", called);
    EXPECT_EQ(6, callSlot<int()>(process, 6));
    EXPECT_EQ("sigusr1", called);
    EXPECT_EQ("a type", callSlot<std::string()>(process, 7));
    EXPECT_EQ(8, callSlot<int()>(process, 8));
    EXPECT_EQ("ID", called);
    EXPECT_TRUE(callSlot<bool()>(process, 9));
    EXPECT_EQ("isRunning", called);
}

TEST(ProcessIfc, isDestroyedThroughItsFirstTwoSlots)
{
    std::string called;
    alignas(ProcessOutside) unsigned char place[sizeof(ProcessOutside)];
    callSlot<void()>(new (place) ProcessOutside(called), 0);
    EXPECT_EQ("destroyed", called);
    called.clear();
    callSlot<void()>(new ProcessOutside(called), 1);
    EXPECT_EQ("destroyed", called);
}

TEST(ProcessIfc, isImplementedByProcessInThatOrder)
{
    Process process;
    TextVector argv{"/bin/sleep", "60"};
    EXPECT_EQ(1, (callSlot<int(int, char**, char**, char*)>(&process, 2, 2, argv.get(), environ,
                                                            nullptr)));
    EXPECT_EQ("/bin/sleep", callSlot<std::string()>(&process, 7));
    EXPECT_EQ(process.ID(), callSlot<int()>(&process, 8));
    EXPECT_TRUE(callSlot<bool()>(&process, 9));
    EXPECT_EQ(-1, callSlot<int()>(&process, 4));
    EXPECT_EQ(-1, callSlot<int()>(&process, 3));
    EXPECT_FALSE(callSlot<bool()>(&process, 9));
}

TEST(ProcessFactoryIfc, keepsItsVirtualFunctionsInTheOrderThatClientsWereBuiltWith)
{
    std::string called;
    FactoryOutside outside(called);
    ProcessFactoryIfc* const factory = &outside;
    ProcessIfc* const process = factory->getProcess();
    EXPECT_EQ(process, callSlot<ProcessIfc*()>(factory, 2));
    callSlot<void(ProcessIfc*)>(factory, 3, process);
    EXPECT_EQ("destroy", called);
}

TEST(ProcessFactoryIfc, isDestroyedThroughItsFirstTwoSlots)
{
    std::string called;
    auto* const place = static_cast<FactoryOutside*>(::operator new(sizeof(FactoryOutside)));
    callSlot<void()>(new (place) FactoryOutside(called), 0);
    EXPECT_EQ("destroyed", called);
    called.clear();
    ::operator delete(place);
    callSlot<void()>(new FactoryOutside(called), 1);
    EXPECT_EQ("destroyed", called);
}

TEST(ProcessFactory, makesAProcessWithNothingStarted)
{
    ProcessFactory factory;
    ProcessIfc* const process = factory.getProcess();
    ASSERT_NE(nullptr, dynamic_cast<Process*>(process));
    EXPECT_EQ(0, process->ID());
    EXPECT_EQ(ProcessTypeString::GENERIC_PROCESS, process->type());
    ProcessIfc* const other = factory.getProcess();
    EXPECT_NE(process, other);
    factory.destroy(process);
    factory.destroy(other);
}

TEST(ProcessFactory, destroysAnyProcessThroughItsVirtualDestructor)
{
    std::string called;
    ProcessFactory factory;
    factory.destroy(new ProcessOutside(called));
    EXPECT_EQ("destroyed", called);
}

TEST(ProcessFactory, ignoresANullProcess)
{
    ProcessFactory().destroy(nullptr);
}

TEST(GPALProcessException, isAnExceptionOfTheLayerAndNoStandardOne)
{
    EXPECT_TRUE((std::is_base_of_v<GPALException, GPALProcessException>));
    EXPECT_FALSE((std::is_base_of_v<std::exception, GPALProcessException>));
    std::string caught;
    try {
        throw GPALProcessException("text");
    } catch (const std::exception&) {
        caught = "as a standard one";
    } catch (const GPALException&) {
        caught = "as one of the layer";
    }
    EXPECT_EQ("as one of the layer", caught);
}

TEST(GPALProcessException, carriesItsTextThroughCopies)
{
    const GPALProcessException copy = thrownCopy();
    EXPECT_EQ("GPAL Process exception", copy.message());
    EXPECT_STREQ("GPAL Process exception", copy.what());
    GPALProcessException assigned("other");
    assigned = copy;
    EXPECT_EQ("GPAL Process exception", assigned.message());
}
