// A program that exits while its threads go on starting and ending others.
#include <gpal/Threader.h>

#include <unistd.h>

namespace
{

void* nothing(void* argument)
{
    return argument;
}

class Spawner : public Threadable
{
public:
    void run() override
    {
        Threader threader;
        for (;;) {
            unsigned long thread = 0;
            threader.spawn(&thread, nothing, nullptr, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
            threader.waitForThreadCompletion(thread);
        }
    }
};

} // namespace

int main()
{
    constexpr int SPAWNERS = 4;
    // Never destroyed, as their threads never end.
    auto* const spawners = new Spawner[SPAWNERS];
    for (int i = 0; i < SPAWNERS; ++i) {
        unsigned long thread = 0;
        Threader().spawn(&thread, &spawners[i], "", GPAL_THREAD_PRIORITY_NORMAL, 0);
    }
    usleep(50000);
    return 0;
}
