/// \file
/// GoogleMock classes of threads, of what runs on them and of what they wait for.
#ifndef GPAL_TESTING_MOCKTHREADS_H
#define GPAL_TESTING_MOCKTHREADS_H

#include <string>

#include <gmock/gmock.h>

#include <gpal/GPALSleep.h>
#include <gpal/Threadable.h>
#include <gpal/Threader.h>
#include <gpal/TimedThread.h>
#include <gpal/Wait.h>

namespace gpal::testing
{

class MockThreadable : public Threadable
{
public:
    MOCK_METHOD(void, run, (), (override));
    MOCK_METHOD(int, getThreadPriorityForPlatform, (), (override));
    MOCK_METHOD(std::string, type, (), (override));
};

class MockThreader : public ThreaderIfc
{
public:
    MOCK_METHOD(bool, spawn,
                (unsigned long* threadId, Threadable* body, std::string name,
                 GPALThreadPriority priority, int reserved),
                (override));
    MOCK_METHOD(bool, destroy, (unsigned long threadId), (override));
    MOCK_METHOD(int, waitForThreadCompletion, (unsigned long threadId), (override));
};

/// What `createNewThreader` is made to return becomes the caller's, who deletes it.
class MockThreaderFactory : public ThreaderFactoryIfc
{
public:
    MOCK_METHOD(ThreaderIfc*, createNewThreader, (), (override));
};

class MockRunner : public RunnerIfc
{
public:
    MOCK_METHOD(void, run, (), (override));
};

class MockTimedThread : public TimedThreadIfc
{
public:
    MOCK_METHOD(int, runForAMaximumOf, (int timeoutMs), (override));
    MOCK_METHOD(void, forceTimeoutToExpire, (), (override));
    MOCK_METHOD(int, waitForCompletion, (int timeoutMs), (override));
};

class MockTimedThreadFactory : public TimedThreadFactoryIfc
{
public:
    MOCK_METHOD(TimedThreadIfc*, getNewTimedThread, (RunnerIfc * runner), (override));
    MOCK_METHOD(bool, deleteTimedThread, (TimedThreadIfc * timedThread), (override));
    MOCK_METHOD(bool, killAllTimedThread, (), (override));
};

class MockWait : public WaitIfc
{
public:
    MOCK_METHOD(int, wait, (), (override));
    MOCK_METHOD(int, wait, (int timeoutMs), (override));
    MOCK_METHOD(int, signal, (), (override));
};

/// What `getNewWait` is made to return becomes the caller's, who deletes it.
class MockWaitFactory : public WaitFactoryIfc
{
public:
    MOCK_METHOD(WaitIfc*, getNewWait, (), (override));
};

/// Takes effect once it is installed with `GPALSleep::setImplementation`.
class MockSleep : public GPALSleep_Imple
{
public:
    MOCK_METHOD(void, milliSleep, (int ms), (override));
    MOCK_METHOD(void, secSleep, (int seconds), (override));
};

} // namespace gpal::testing

#endif
