/// \file
/// Whether ThreadSanitizer looks on, which changes how signals and cancelled joins go.
#ifndef GPAL_TESTS_SUPPORT_THREAD_SANITIZER_H
#define GPAL_TESTS_SUPPORT_THREAD_SANITIZER_H

namespace support
{

#ifdef __SANITIZE_THREAD__
constexpr bool UNDER_THREAD_SANITIZER = true;
#else
constexpr bool UNDER_THREAD_SANITIZER = false;
#endif

} // namespace support

#endif
