// What a fine calibration of one delay line was made from, by input.
#pragma once

#include "TimeTag.h"

#include <array>
#include <cstdint>
#include <vector>

namespace qorn::timing {

struct FineCalibrationStats {
    std::array<std::uint64_t, kChannels> samples{};      // codes that came
    std::array<std::uint64_t, kChannels> unique_codes{}; // different ones among them
    std::array<double, kChannels> resolution_ps{};       // 0 without codes
    std::array<bool, kChannels> lut_applied{};           // the table is not the one of an uncalibrated line
};

// The codes themselves; coarse and fine of a tag have the same index.
struct FineCalibrationCapture {
    std::array<std::vector<std::uint32_t>, kChannels> coarse;
    std::array<std::vector<std::uint16_t>, kChannels> fine;
};

} // namespace qorn::timing
