// The interface, the exception class and the factory.
#include <gpal/Process.h>

#include <csignal>
#include <gmock/gmock.h>
#include <memory>
#include <type_traits>

#include <gpal/ProcessTypeString.h>

#include "programs.h"

namespace
{

/// A process outside of the layer, which only notes its end.
class ProcessOutside : public ProcessIfc
{
public:
    explicit ProcessOutside(std::string& called) : m_called(called) {}
    ~ProcessOutside() override { m_called = "destroyed"; }
    int start(int, char**, char**, char*) override { return 1; }
    int waitForExit() override { return 1; }
    int destroy() override { return 1; }
    int sigusr2() override { return 1; }
    int sigusr1() override { return 1; }
    std::string type() override { return "a type"; }
    int ID() override { return 1; }
    bool isRunning() override { return true; }

private:
    std::string& m_called;
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

TEST(ProcessIfc, isImplementedByProcess)
{
    const std::unique_ptr<ProcessIfc> process = std::make_unique<Process>();
    TextVector argv{"/bin/sleep", "60"};
    EXPECT_EQ(1, process->start(2, argv.get(), environ, nullptr));
    EXPECT_EQ("/bin/sleep", process->type());
    EXPECT_GT(process->ID(), 0);
    EXPECT_TRUE(process->isRunning());
    EXPECT_EQ(-1, process->destroy());
    EXPECT_EQ(-1, process->waitForExit());
    EXPECT_FALSE(process->isRunning());
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
