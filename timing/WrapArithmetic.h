// Arithmetic of the control records' absolute time and of counter wraps, shared by the delta formats.
#pragma once

#include "TimeTag.h"

#include <algorithm>
#include <cstdint>

namespace qorn::timing {

inline constexpr std::uint64_t kAbsTimeModulus = std::uint64_t{1} << 41; // of the absolute-time field
// How much too large a delta comes out when the hardware's subtraction spans a wrap of the coarse counter:
// the wrap is counted against the next multiple of the modulus of the absolute time.
inline constexpr std::uint64_t kWrapExcessPs =
    7 * kAbsTimeModulus - static_cast<std::uint64_t>(kCoarseWrapPs);
inline constexpr std::uint64_t kPlausibleWrapPs = 10'000'000'000; // 10 ms: accepted without further test
static_assert(kWrapExcessPs == 0xFB00000000);

// True when a step of `ahead` ps from the absolute time `from` crosses a wrap of the coarse counter.
inline bool crosses_coarse_wrap(std::int64_t from, std::uint64_t ahead) {
    const std::int64_t phase = std::max<std::int64_t>(from, 0) % kCoarseWrapPs;
    return ahead >= static_cast<std::uint64_t>(kCoarseWrapPs - phase);
}

// Sums of times from the wire wrap instead of overflowing.
inline std::int64_t add_wrapping(std::int64_t time, std::uint64_t delta) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(time) + delta);
}

} // namespace qorn::timing
