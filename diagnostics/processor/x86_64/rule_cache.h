/// \file
/// Remembers the rules of places that walks came past: most walks come past the same ones.
#ifndef GPAL_DIAGNOSTICS_X86_64_RULE_CACHE_H
#define GPAL_DIAGNOSTICS_X86_64_RULE_CACHE_H

#include <atomic>
#include <cstddef>
#include <optional>

#include "diagnostics/processor/x86_64/simple_rule.h"

namespace gpal::detail
{

/// Shared by all threads and their signal handlers, without locks. A key is an address, mixed with
/// the identity of the object that it is in.
class RuleCache
{
public:
    std::optional<SimpleRule> find(std::uint64_t key) const
    {
        const Entry& entry = m_entries[placeOf(key)];
        const std::uint64_t rule = entry.rule.load(std::memory_order_relaxed);
        const std::uint64_t check = entry.keyAndRule.load(std::memory_order_relaxed);
        if (rule == 0 || (check ^ rule) != key) {
            return std::nullopt;
        }
        return SimpleRule(rule);
    }

    void store(std::uint64_t key, SimpleRule rule)
    {
        Entry& entry = m_entries[placeOf(key)];
        entry.rule.store(rule.word(), std::memory_order_relaxed);
        entry.keyAndRule.store(key ^ rule.word(), std::memory_order_relaxed);
    }

private:
    /// The key is kept combined with the rule, so that halves of two different entries, written by
    /// two threads at once, do not pass for one.
    struct Entry {
        std::atomic<std::uint64_t> keyAndRule;
        std::atomic<std::uint64_t> rule;
    };

    static constexpr int BITS = 9;
    static constexpr std::size_t SIZE = 1U << BITS;

    static std::size_t placeOf(std::uint64_t key)
    {
        constexpr std::uint64_t SPREAD = 0x9E3779B97F4A7C15;
        return key * SPREAD >> (64 - BITS);
    }

    Entry m_entries[SIZE];
};

} // namespace gpal::detail

#endif
