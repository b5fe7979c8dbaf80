/// \file
/// A process manager that gets in the way of those who start processes.
#ifndef GPAL_TESTS_SUPPORT_THROWING_MANAGER_H
#define GPAL_TESTS_SUPPORT_THROWING_MANAGER_H

#include <gpal/Process.h>
#include <gpal/ProcessManager.h>

namespace support
{

/// Refuses every process that was started with an exception, and notes its id.
template <typename Thrown>
class ThrowingManager : public ProcessManager
{
public:
    explicit ThrowingManager(const Thrown& thrown, int* child = nullptr)
        : ProcessManager(nullptr), m_thrown(thrown), m_child(child)
    {
    }
    int addProcess(Process& process) override
    {
        if (m_child != nullptr) {
            *m_child = process.ID();
        }
        throw m_thrown;
    }

private:
    Thrown m_thrown;
    int* m_child;
};

} // namespace support

#endif
