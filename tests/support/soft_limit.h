/// \file
/// Limits of the process that hold for a while.
#ifndef GPAL_TESTS_SUPPORT_SOFT_LIMIT_H
#define GPAL_TESTS_SUPPORT_SOFT_LIMIT_H

#include <algorithm>
#include <gtest/gtest.h>
#include <sys/resource.h>

namespace support
{

/// Sets a soft limit of the process while it lives, if need be to the hard one.
class SoftLimit
{
public:
    SoftLimit(int resource, rlim_t value) : m_resource(static_cast<__rlimit_resource_t>(resource))
    {
        getrlimit(m_resource, &m_before);
        rlimit limit{std::min(value, m_before.rlim_max), m_before.rlim_max};
        EXPECT_EQ(setrlimit(m_resource, &limit), 0);
        m_isSet = getrlimit(m_resource, &limit) == 0 && limit.rlim_cur == value;
    }
    SoftLimit(const SoftLimit&) = delete;
    SoftLimit& operator=(const SoftLimit&) = delete;
    ~SoftLimit() { setrlimit(m_resource, &m_before); }

    /// Whether it is in force as asked for: emulators say yes to limits of memory and keep them
    /// from their program.
    bool isSet() const { return m_isSet; }

private:
    __rlimit_resource_t m_resource;
    rlimit m_before{};
    bool m_isSet = false;
};

} // namespace support

#endif
