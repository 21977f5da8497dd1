#include "StreamHeaders.h"

namespace qorn::testing {

timing::StreamFileHeader raw64Header(const std::string& layout) {
    timing::StreamFileHeader header;
    header.format = timing::StreamFormat::Raw64;
    header.raw64_tag_format = layout;
    return header;
}

timing::StreamFileHeader delta32Header() {
    timing::StreamFileHeader header;
    header.format = timing::StreamFormat::Delta32;
    return header;
}

timing::StreamFileHeader packedHeader(timing::StreamMode mode, int mask, int delta_bits, int quantum_ps) {
    timing::StreamFileHeader header;
    header.format = timing::StreamFormat::PackedDelta;
    header.mode = mode;
    header.channel_mask = static_cast<std::uint8_t>(mask);
    header.delta_bits = static_cast<std::uint8_t>(delta_bits);
    header.quantum_ps = static_cast<std::uint16_t>(quantum_ps);
    return header;
}

} // namespace qorn::testing
