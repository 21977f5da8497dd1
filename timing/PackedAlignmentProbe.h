// Search for the record boundaries of a packed stream.
#pragma once

#include "PackedDebugLog.h"
#include "PackedFormat.h"

#include <cstdint>
#include <span>

namespace qorn::timing {

// Where a probe found the records to begin.
struct PackedAlignment {
    std::uint64_t drop_bytes = 0; // bytes in front of the first record's byte
    std::uint64_t bit_offset = 0; // 0 to 7, inside that byte
    bool ok = false;
};

// Tries every bit position within the first 16 (one active channel) or 64 bytes, simulating the decoder over
// at most 65536 bytes from there, and takes the one whose syncs serve most channels and most tags.
PackedAlignment find_packed_alignment(std::span<const std::uint8_t> raw, const PackedFormat& format,
                                      PackedDebugLog& debug);

} // namespace qorn::timing
