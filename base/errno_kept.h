/// \file
/// Reporting a failure without losing its reason.
#ifndef GPAL_BASE_ERRNO_KEPT_H
#define GPAL_BASE_ERRNO_KEPT_H

#include <cerrno>

namespace gpal::detail
{

/// Gives `errno` back the value it had, so that a caller who is returned a failure still finds its
/// reason there after it has been printed and logged.
class ErrnoKept
{
public:
    ErrnoKept() = default;
    ErrnoKept(const ErrnoKept&) = delete;
    ErrnoKept& operator=(const ErrnoKept&) = delete;
    ~ErrnoKept() { errno = m_value; }

private:
    int m_value = errno;
};

} // namespace gpal::detail

#endif
