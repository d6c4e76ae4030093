#pragma once

#include "tests/support/Bytes.h"

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace talvek::test {

/// A small generator whose stream depends on its seed alone, the same on every system (the standard
/// distributions are not). Put `SCOPED_TRACE(random.seedText())` in every test that uses one, so
/// that a failure says how to repeat it.
class Random
{
public:
    explicit Random(std::uint64_t seed) : m_seed(seed), m_state(seed) {}

    [[nodiscard]] std::uint64_t seed() const { return m_seed; }
    [[nodiscard]] std::string seedText() const { return "seed " + std::to_string(m_seed); }

    /// SplitMix64.
    std::uint64_t next()
    {
        m_state += 0x9E3779B97F4A7C15U;
        std::uint64_t mixed = m_state;
        mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
        mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
        return mixed ^ (mixed >> 31U);
    }

    /// From 0 to `end` - 1. Requires: end > 0.
    std::uint64_t below(std::uint64_t end) { return next() % end; }

    /// From `first` to `last`, both included. Requires: first <= last.
    std::int64_t between(std::int64_t first, std::int64_t last)
    {
        return first +
               static_cast<std::int64_t>(below(static_cast<std::uint64_t>(last - first) + 1));
    }

    /// True `percent` times out of 100.
    bool chance(std::uint64_t percent) { return below(100) < percent; }

    std::uint8_t byte() { return static_cast<std::uint8_t>(next()); }

    Bytes bytes(std::size_t count)
    {
        Bytes made(count);
        for (std::uint8_t& each : made) {
            each = byte();
        }
        return made;
    }

    template <typename Value>
    Value pick(std::initializer_list<Value> values)
    {
        return values.begin()[below(values.size())];
    }

    template <typename Value>
    const Value& pick(const std::vector<Value>& values)
    {
        return values[below(values.size())];
    }

private:
    std::uint64_t m_seed;
    std::uint64_t m_state;
};

} // namespace talvek::test
