#include "FineLut.h"

#include "CodeDensity.h"

#include <algorithm>

namespace qorn::timing {

FineLut FineLut::identity(std::int64_t period_ps) {
    FineLut lut;
    lut.entries.resize(kCodes);
    for (std::size_t code = 0; code < kCodes; ++code) {
        lut.entries[code] = std::min((37 * static_cast<std::int64_t>(code) + 1) / 2, period_ps - 1);
    }
    return lut;
}

FineLut FineLut::from_code_density(std::span<const std::uint16_t> codes, std::int64_t period_ps) {
    return CodeDensity(codes).lut(period_ps);
}

} // namespace qorn::timing
