#include "FineLut.h"

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

} // namespace qorn::timing
