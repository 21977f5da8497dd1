// Decoder of raw64 records: one complete tag in 8 bytes, with coarse and fine code ("raw_cf") or calibrated
// picoseconds ("ps"). Finds its way back byte by byte after a loss.
#pragma once

#include "FineLut.h"
#include "StreamBuffer.h"
#include "StreamFileHeader.h"
#include "TimeTag.h"

#include <array>
#include <cstdint>

namespace qorn::timing {

class Raw64Decoder {
public:
    explicit Raw64Decoder(const StreamFileHeader& header);

    // One pass: consumes whole records, appends their tags in stream order.
    void decode(StreamBuffer& raw, TagBuffer& out);

    // Bytes behind the first tag that were no record.
    std::uint64_t skipped_bytes() const { return skipped; }

private:
    template <typename Layout>
    void decodeRecords(StreamBuffer& raw, TagBuffer& out, const Layout& layout);

    bool coarseFine = false;
    FineLut lut;
    // Per channel: last raw value (ticks or ps; 0 before the first, which no value can fall below) and what
    // its wraps have added so far.
    std::array<std::uint64_t, kChannels> last_raw{};
    std::array<std::uint64_t, kChannels> wrap_epoch{};
    bool begun = false; // there was a tag
    std::uint64_t skipped = 0;
};

} // namespace qorn::timing
