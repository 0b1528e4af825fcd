#pragma once

/// The simulation's own random numbers (splitmix64): the same seed gives the same numbers on every
/// machine and with every library.

#include <cstdint>

namespace sim {

class Random {
  public:
    explicit Random(uint64_t seed) : m_state(seed) {}

    uint64_t next() {
        m_state += 0x9E3779B97F4A7C15U;
        uint64_t mixed = m_state;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9U;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
        return mixed ^ (mixed >> 31);
    }

    /// A number from 0 to @p bound - 1; 0 for a bound of 0.
    uint64_t below(uint64_t bound) { return bound == 0 ? 0 : next() % bound; }

    /// True with @p probability (0 to 1). Draws a number only where the answer is open.
    bool chance(double probability) {
        if (probability <= 0) {
            return false;
        }
        return probability >= 1 || static_cast<double>(next() >> 11) * 0x1.0p-53 < probability;
    }

  private:
    uint64_t m_state;
};

} // namespace sim
