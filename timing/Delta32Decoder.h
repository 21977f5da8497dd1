// Decoder of the delta32 format: 32-bit words that carry time deltas, overflows of these, and sync sequences
// with an absolute time. Aligned by a sync; a word out of place loses the alignment until the next one.
#pragma once

#include "StreamBuffer.h"
#include "TimeTag.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>

namespace qorn::timing {

class Delta32Decoder {
public:
    // One pass: consumes whole words, appends tags in stream order.
    void decode(StreamBuffer& raw, TagBuffer& out);

    // Bytes behind the first tag that were passed over for want of alignment, and the words that lost it.
    std::uint64_t skipped_bytes() const { return skipped; }

private:
    enum class Phase { Normal, AbsoluteLow, AbsoluteHigh };

    // Searches the sync from `index` on; the index behind it, aligned there, or nothing.
    std::optional<std::size_t> align(std::span<const std::uint8_t> bytes, std::size_t index);
    // Each decides on one word; false means that it does not belong there.
    bool acceptWord(std::uint32_t word, TimeTag*& tag);
    bool acceptAbsoluteLow(std::uint32_t word);
    bool acceptAbsoluteHigh(std::uint32_t word);
    bool acceptData(std::uint32_t word, TimeTag*& tag);
    void beginSync();
    void loseAlignment();
    void passOver(std::size_t from, std::size_t to);
    void emitTag(std::size_t channel, TimeTag*& tag);

    bool aligned = false;
    Phase phase = Phase::Normal;
    std::uint32_t abs_low = 0;
    std::uint64_t abs_base = 0; // ps modulo 2^41, for the next data word of any channel
    bool abs_valid = false;
    std::uint64_t overflow_count = 0; // in units of 2^25 ps
    // These survive a loss, so that time goes on.
    std::array<std::int64_t, kChannels> last_ps{};
    std::array<bool, kChannels> seen{};
    std::uint64_t skipped = 0;
    std::size_t settled = 0; // bytes in front that are kept for a sync, though read or counted before
};

} // namespace qorn::timing
