// What travels inside the instrument: electrical pulses before the inputs, tags behind them.
#pragma once

#include <cstdint>

namespace qorn::simulator {

// A pulse on the way to an input, in scene time.
struct Pulse {
    std::int64_t timePs = 0;
    float amplitudeV = 0;
    std::uint8_t input = 0; // 0 to 3
};

// A pulse that an input has accepted and timed, in unwrapped time of the coarse counter.
struct Tag {
    std::int64_t timePs = 0;
    std::uint8_t input = 0; // 0 to 3
};

} // namespace qorn::simulator
