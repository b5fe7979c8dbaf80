// A client as it stands outside the tree: a thread, a semaphore and a platform constant.
#include <gpal/gpal.h>

namespace
{

class Giver : public Threadable
{
public:
    explicit Giver(Semaphore& semaphore) : m_semaphore(semaphore) {}
    void run() override { m_semaphore.give(); }

private:
    Semaphore& m_semaphore;
};

} // namespace

int main()
{
    Semaphore done(0, 1, false);
    Giver giver(done);
    ThreaderFactory factory;
    ThreaderIfc* threader = factory.createNewThreader();
    unsigned long thread = 0;
    const bool worked = threader->spawn(&thread, &giver, "", GPAL_THREAD_PRIORITY_NORMAL, 0) &&
                        done.take(-1) == Semaphore::AVAILABLE &&
                        threader->waitForThreadCompletion(thread) == 0 &&
                        giver.type() == ProcessTypeString::GENERIC_THREAD;
    delete threader;
    return worked ? 0 : 1;
}
