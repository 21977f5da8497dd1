#include "PackedFormat.h"

#include <algorithm>
#include <bit>

namespace qorn::timing {

PackedFormat::PackedFormat(const StreamFileHeader& header)
    : delta_bits(header.delta_bits == 0 ? 16 : header.delta_bits),
      quantum_shift(std::countr_zero(header.quantum_ps == 0 ? 8U : unsigned{header.quantum_ps})),
      internal(header.mode == StreamMode::Internal),
      active_mask((header.channel_mask & 15U) == 0 ? 15U : header.channel_mask & 15U) {
    wrap_ps = kAbsTimeModulus << quantum_shift;
    const auto coarse = static_cast<std::uint64_t>(kCoarseWrapPs);
    excess_ps = (coarse + wrap_ps - 1) / wrap_ps * wrap_ps - coarse;
}

} // namespace qorn::timing
