// Every mock, and how one is used.
#include <memory>
#include <string>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <gpal/testing/MockFiles.h>
#include <gpal/testing/MockNetwork.h>
#include <gpal/testing/MockProcesses.h>
#include <gpal/testing/MockThreads.h>
#include <gpal/testing/MockTimers.h>

namespace
{

using namespace gpal::testing;
using testing::Return;
using testing::StrictMock;

// Code of an application that asks the file manager.
bool isConfigured(FileManagerIfc& files)
{
    return files.doesExist("/etc/phone.conf") && files.size("/etc/phone.conf") > 0;
}

TEST(Mocks, answerAsTheTestSays)
{
    StrictMock<MockFileManager> files;
    EXPECT_CALL(files, doesExist("/etc/phone.conf")).WillOnce(Return(true));
    EXPECT_CALL(files, size("/etc/phone.conf")).WillOnce(Return(120));
    EXPECT_TRUE(isConfigured(files));
}

// A factory's mock hands out an object that the application then owns.
TEST(Mocks, ofFactoriesHandOutWhatTheTestMakes)
{
    auto made = std::make_unique<MockTimer>();
    EXPECT_CALL(*made, init(nullptr, 200)).WillOnce(Return(7));
    MockTimerFactory factory;
    EXPECT_CALL(factory, getTimer()).WillOnce(Return(made.release()));

    const std::unique_ptr<osTimerIfc> timer(factory.getTimer());
    EXPECT_EQ(timer->init(nullptr, 200), 7);
}

template <typename Mock>
class EveryMock : public testing::Test
{
};

using AllMocks =
    testing::Types<MockThreadable, MockThreader, MockThreaderFactory, MockRunner, MockTimedThread,
                   MockTimedThreadFactory, MockWait, MockWaitFactory, MockSleep, MockTimeAble,
                   MockTimer, MockTimerFactory, MockProcess, MockProcessFactory, MockPrioritySetter,
                   MockProcessManager, MockPasswdMgr, MockFileManager, MockPortMgmt>;
TYPED_TEST_SUITE(EveryMock, AllMocks);

// An interface with a function that its mock lacks would not compile here.
TYPED_TEST(EveryMock, canBeMade)
{
    EXPECT_FALSE(std::is_abstract_v<TypeParam>);
    testing::NiceMock<TypeParam> mock;
    testing::Mock::VerifyAndClearExpectations(&mock);
}

} // namespace
