// One time tag of the client layer, and the time base of the instrument.
#pragma once

#include <cstdint>

namespace qorn::timing {

// Trivial on purpose: large buffers of tags are not touched before they are written.
struct TimeTag {
    std::uint8_t channel;      // input 0 to 3
    std::int64_t timestamp_ps; // absolute, since the epoch of the stream
    bool operator==(const TimeTag&) const = default;
};

inline constexpr int kChannels = 4;
inline constexpr double kClockHz = 3e8;                              // the instrument's clock
inline constexpr std::int64_t kCoarsePeriodPs = 3333;                // one tick of the coarse counter
inline constexpr std::int64_t kCoarseWrapPs = kCoarsePeriodPs << 32; // period of its 32 bits, about 14.3 s
inline constexpr std::int64_t kHalfCoarseWrapPs = kCoarseWrapPs / 2;
static_assert(kCoarseWrapPs == 14315125997568);
static_assert(kHalfCoarseWrapPs == 7157562998784);

} // namespace qorn::timing
