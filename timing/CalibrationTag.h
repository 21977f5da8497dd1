// One tag of the calibration stream: the uncalibrated codes of a pulse.
#pragma once

#include <cstdint>

namespace qorn::timing {

struct CalibrationTag {
    std::uint8_t channel = 0; // input 0 to 3
    std::uint32_t coarse = 0; // ticks of the coarse counter
    std::uint16_t fine = 0;   // 13-bit code of the delay line
    std::uint64_t raw = 0;    // the whole word

    bool operator==(const CalibrationTag&) const = default;
};

} // namespace qorn::timing
