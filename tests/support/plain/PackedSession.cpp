#include "PackedSession.h"

#include <bit>

namespace qorn::testing {

PackedSession::PackedSession(const timing::StreamFileHeader& header)
    : mask((header.channel_mask & 15) == 0 ? 15 : header.channel_mask & 15), decoder(header),
      records(header.delta_bits == 0 ? 16 : header.delta_bits) {}

std::vector<timing::TimeTag> PackedSession::send() {
    const int lowest = std::countr_zero(static_cast<unsigned>(mask));
    while (records.bitCount() % 8 != 0)
        records.overflow(lowest, 0);
    const Bytes bytes = records.bytes();
    records = PackedBuilder(records.deltaBits());
    return decoder.feed(bytes);
}

std::vector<timing::TimeTag> PackedSession::lock(std::uint64_t absolute) {
    for (int channel = 0; channel < timing::kChannels; ++channel) {
        if ((mask >> channel & 1) != 0)
            records.sync(channel, absolute).data(channel, 0);
    }
    return send();
}

} // namespace qorn::testing
