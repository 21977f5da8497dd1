// The simulated instrument's time base: one tick of its coarse counter, the counter's wrap, and 300 MHz
// cycles. Instrument time is counted in picoseconds, in which a tick is 3333 ps exactly and a cycle 10000/3
// ps.
#pragma once

#include <cstdint>

namespace qorn::simulator {

inline constexpr int kInputs = 4;
inline constexpr int kDelayLines = 3;

inline constexpr std::int64_t kTickPs = 3333;
inline constexpr std::int64_t kCounterWrapPs = kTickPs << 32; // 32-bit coarse counter, about 14.3 s
inline constexpr std::int64_t kAbsoluteFieldSpan = std::int64_t{1} << 41;

inline constexpr std::int64_t kPsPerMillisecond = 1'000'000'000;
inline constexpr std::int64_t kPsPerSecond = 1'000'000'000'000;

// Pulses are made in slices of time, so that nothing depends on when somebody asks.
inline constexpr std::int64_t kSlicePs = kPsPerMillisecond;

// Whole 300 MHz cycles to picoseconds, rounded down, so that going back with cyclesCovering() is exact.
constexpr std::int64_t cyclesToPs(std::int64_t cycles) {
    return cycles / 3 * 10000 + cycles % 3 * 10000 / 3;
}

// The fewest whole cycles that last at least the given time; the time is not negative.
constexpr std::int64_t cyclesCovering(std::int64_t ps) {
    std::int64_t cycles = ps / 10000 * 3;
    while (cyclesToPs(cycles) < ps) {
        ++cycles;
    }
    return cycles;
}

// The smallest multiple of `span` that covers the counter's wrap, less the wrap: how much too large a
// difference of two counter values comes out when the counter wrapped between them.
constexpr std::int64_t wrapExcessPs(std::int64_t span) {
    return (kCounterWrapPs + span - 1) / span * span - kCounterWrapPs;
}

} // namespace qorn::simulator
