#include <cstdio>
#include <deque>

#include <gpal/gpal.h>

/// Holds at most three numbers: who puts a fourth waits, and so does who gets from an empty queue.
class BoundedQueue
{
public:
    void put(int number)
    {
        m_free.take(-1); // -1: without a limit
        {
            const CriticalSection section(m_lock);
            m_numbers.push_back(number);
        }
        m_filled.give();
    }

    int get()
    {
        m_filled.take(-1);
        int number = 0;
        {
            const CriticalSection section(m_lock);
            number = m_numbers.front();
            m_numbers.pop_front();
        }
        m_free.give();
        return number;
    }

private:
    static constexpr int ROOM = 3;
    Semaphore m_lock{1, 1, false};
    Semaphore m_free{ROOM, ROOM, false};
    Semaphore m_filled{0, ROOM, false};
    std::deque<int> m_numbers;
};

class Producer : public Threadable
{
public:
    explicit Producer(BoundedQueue& queue) : m_queue(queue) {}

    void run() override
    {
        for (int number = 1; number <= 100; ++number) {
            m_queue.put(number);
        }
    }

private:
    BoundedQueue& m_queue;
};

int main()
{
    BoundedQueue queue;
    Producer producer(queue);
    unsigned long thread = 0;
    Threader().spawn(&thread, &producer, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
    int sum = 0;
    for (int received = 0; received < 100; ++received) {
        sum += queue.get();
    }
    producer.waitForThreadCompletion();
    std::printf("The numbers from 1 to 100 add up to %d.\n", sum);
}
