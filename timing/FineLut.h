// Table of picoseconds to subtract from the coarse time, by 13-bit fine code.
#pragma once

#include "TimeTag.h"

#include <cstdint>
#include <span>
#include <vector>

namespace qorn::timing {

struct FineLut {
    static constexpr std::size_t kCodes = 8192;
    static constexpr std::uint32_t kMostFileEntries = 1048576; // that a file may give a table

    std::vector<std::int64_t> entries; // kCodes values when well formed

    // The table of an uncalibrated line: entry i is min((37 * i + 1) / 2, period - 1), integer division.
    static FineLut identity(std::int64_t period_ps = kCoarsePeriodPs);

    // The table that a code-density test shows: `codes` of pulses that are spread evenly over the period. The
    // identity table for a period of at least 1 when there are fewer than two different codes below kCodes.
    static FineLut from_code_density(std::span<const std::uint16_t> codes, std::int64_t period_ps);

    bool operator==(const FineLut&) const = default;
};

} // namespace qorn::timing
