/// \file
/// GoogleMock classes of timers and of what they call.
#ifndef GPAL_TESTING_MOCKTIMERS_H
#define GPAL_TESTING_MOCKTIMERS_H

#include <gmock/gmock.h>

#include <gpal/osTimer.h>

namespace gpal::testing
{

class MockTimeAble : public timeAble
{
public:
    MOCK_METHOD(int, timerExpired, (osTimerIfc * timer), (override));
};

class MockTimer : public osTimerIfc
{
public:
    MOCK_METHOD(int, init, (timeAble * callback, int intervalMs), (override));
    MOCK_METHOD(bool, start, (), (override));
    MOCK_METHOD(bool, stop, (), (override));
    MOCK_METHOD(bool, isRunning, (), (override));
    MOCK_METHOD(bool, reset, (), (override));
    MOCK_METHOD(int, id, (), (override));
};

/// What `getTimer` is made to return becomes the caller's, who deletes it.
class MockTimerFactory : public OSTimerFactoryIfc
{
public:
    MOCK_METHOD(osTimerIfc*, getTimer, (), (override));
};

} // namespace gpal::testing

#endif
