// How often each fine code of a delay line came up: its widths, measured. A plain value; built once from the
// codes of one line of one input.
#pragma once

#include "FineLut.h"

#include <cstdint>
#include <span>
#include <vector>

namespace qorn::timing {

class CodeDensity {
public:
    // Codes without an entry in a table, FineLut::kCodes and above, do not count.
    explicit CodeDensity(std::span<const std::uint16_t> codes);

    std::uint64_t total() const { return sum; }
    std::uint64_t unique_codes() const;

    // Standard deviation of the quantisation over the coarse period, in ps, with the widths that the density
    // shows; 0 without codes.
    double resolution_ps() const;

    // The table that gives each code the middle of its share of the period, and goes on in a straight line
    // between and beyond the codes that came up. FineLut::identity with fewer than two different codes.
    FineLut lut(std::int64_t period_ps) const;

private:
    std::vector<std::uint64_t> hits; // by code
    std::uint64_t sum = 0;
};

} // namespace qorn::timing
