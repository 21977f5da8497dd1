// Table of picoseconds to subtract from the coarse time, by 13-bit fine code.
#pragma once

#include "TimeTag.h"

#include <cstdint>
#include <vector>

namespace qorn::timing {

struct FineLut {
    static constexpr std::size_t kCodes = 8192;
    static constexpr std::uint32_t kMostFileEntries = 1048576; // that a file may give a table

    std::vector<std::int64_t> entries; // kCodes values when well formed

    // The table of an uncalibrated line: entry i is min((37 * i + 1) / 2, period - 1), integer division.
    static FineLut identity(std::int64_t period_ps = kCoarsePeriodPs);

    bool operator==(const FineLut&) const = default;
};

} // namespace qorn::timing
