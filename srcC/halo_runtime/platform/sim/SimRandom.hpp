/// @file
/// The simulator's source of chance: a function of the seed and of nothing else.
///
/// Who may call: the simulator.
#ifndef SIM_RANDOM_HPP
#define SIM_RANDOM_HPP

#include <cstdint>

namespace sim {

/// Splitmix64.
class Random {
public:
    constexpr explicit Random(std::uint64_t seed) : _state(seed) {}

    std::uint64_t next()
    {
        _state += 0x9E3779B97F4A7C15U;
        std::uint64_t z = _state;
        z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
        return z ^ (z >> 31U);
    }

    /// One of 0 .. count - 1.
    std::uint32_t below(std::uint32_t count)
    {
        return static_cast<std::uint32_t>(((next() >> 32U) * static_cast<std::uint64_t>(count)) >> 32U);
    }

    /// True once in `count` times; never for 0.
    bool oneIn(std::uint32_t count) { return count != 0 && below(count) == 0; }

private:
    std::uint64_t _state;
};

}  // namespace sim

#endif
