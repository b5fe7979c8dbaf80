// The search itself: what it finds in locking that is known to be wrong.
#include <pthread.h>

#include "schedule_expectations.h"

using namespace schedules;

namespace
{

/// A binary event, with one fault at a time.
struct Event {
    enum Fault { NONE, SIGNAL_BEFORE_STATE, UNLOCKED_CHECK, NO_LOOP, NO_SIGNAL };

    explicit Event(Fault planted) : fault(planted)
    {
        pthread_mutex_init(&mutex, nullptr);
        pthread_cond_init(&changed, nullptr);
    }
    ~Event()
    {
        pthread_cond_destroy(&changed);
        pthread_mutex_destroy(&mutex);
    }
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    void set()
    {
        if (fault == SIGNAL_BEFORE_STATE) {
            pthread_cond_signal(&changed);
        }
        pthread_mutex_lock(&mutex);
        isSet = true;
        pthread_mutex_unlock(&mutex);
        if (fault != NO_SIGNAL && fault != SIGNAL_BEFORE_STATE) {
            pthread_cond_signal(&changed);
        }
    }

    void wait()
    {
        if (fault == UNLOCKED_CHECK && isSet) {
            return;
        }
        bool mustWait = !isSet;
        step();
        pthread_mutex_lock(&mutex);
        mustWait = fault == UNLOCKED_CHECK ? mustWait : !isSet;
        while (mustWait) {
            pthread_cond_wait(&changed, &mutex);
            mustWait = fault != NO_LOOP && !isSet;
        }
        require(isSet, "a wait is over before the event");
        pthread_mutex_unlock(&mutex);
    }

    Fault fault;
    bool isSet = false;
    pthread_mutex_t mutex{};
    pthread_cond_t changed{};
};

Found searchEvent(Event::Fault fault, const Bounds& bounds = {})
{
    return search(
        [fault] {
            Event event(fault);
            const Thread waiting = start([&] { event.wait(); });
            start([&] { event.set(); });
            rest();
            require(!isStuck(waiting), "the event has come, and somebody waits for it");
        },
        bounds);
}

} // namespace

TEST(Search, findsNothingWrongWithWhatIsRight)
{
    const Found found = searchEvent(Event::NONE);
    EXPECT_EQ(found.failure, "");
    EXPECT_GT(found.schedules, 20);
}

TEST(Search, findsEachFaultOfAnEvent)
{
    EXPECT_NE(searchEvent(Event::SIGNAL_BEFORE_STATE).failure, "");
    EXPECT_NE(searchEvent(Event::UNLOCKED_CHECK).failure, "");
    EXPECT_NE(searchEvent(Event::NO_SIGNAL).failure, "");
    EXPECT_NE(searchEvent(Event::NO_LOOP).failure, "");
    EXPECT_EQ(searchEvent(Event::NO_LOOP, {2, 0}).failure, "") << "it is a spurious wake-up's";
}

TEST(Search, findsLocksInTwoOrders)
{
    const Found found = search(
        [] {
            pthread_mutex_t one = PTHREAD_MUTEX_INITIALIZER;
            pthread_mutex_t other = PTHREAD_MUTEX_INITIALIZER;
            const auto lockBoth = [](pthread_mutex_t& first, pthread_mutex_t& second) {
                pthread_mutex_lock(&first);
                pthread_mutex_lock(&second);
                pthread_mutex_unlock(&second);
                pthread_mutex_unlock(&first);
            };
            const Thread together = start([&] { lockBoth(one, other); });
            start([&] { lockBoth(other, one); });
            rest();
            require(!isStuck(together), "deadlock");
        },
        {1, 0});
    EXPECT_NE(found.failure.find("deadlock"), std::string::npos) << found.failure;
}

TEST(Search, countsEveryOrderOnce)
{
    const auto countFor = [](int threads, int steps) {
        return search(
                   [=] {
                       for (int thread = 0; thread < threads; ++thread) {
                           start([=] {
                               for (int count = 0; count < steps; ++count) {
                                   step();
                               }
                           });
                       }
                       rest();
                   },
                   {WITHOUT_LIMIT, 0})
            .schedules;
    };
    // Each thread is there to be begun, too: one place more than it has steps.
    EXPECT_EQ(countFor(2, 1), 6);  // 4! / (2! 2!)
    EXPECT_EQ(countFor(2, 3), 70); // 8! / (4! 4!)
    EXPECT_EQ(countFor(3, 1), 90); // 6! / (2! 2! 2!)
}

TEST(Search, showsTheScheduleOfAFailure)
{
    const Found found = searchEvent(Event::NO_SIGNAL);
    EXPECT_NE(found.failure.find("the event has come, and somebody waits for it\n"),
              std::string::npos);
    EXPECT_NE(found.failure.find("thread 1 waits for #"), std::string::npos) << found.failure;
}
