/// \file
/// Memory of the heap: what is in use, and one allocation that fails.
#ifndef GPAL_TESTS_FAULTS_ALLOCATIONS_H
#define GPAL_TESTS_FAULTS_ALLOCATIONS_H

namespace faults
{

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
#define GPAL_FAULTS_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define GPAL_FAULTS_SANITIZED 1
#endif
#endif

/// A sanitizer has a `malloc` of its own: only `operator new` is counted and fails then.
#ifdef GPAL_FAULTS_SANITIZED
constexpr bool UNDER_SANITIZER = true;
#else
constexpr bool UNDER_SANITIZER = false;
#endif

/// How many blocks are in use.
long blocksInUse();

} // namespace faults

#endif
