// What the packed delta format derives from a stream header, and how one record is read from the bit string.
#pragma once

#include "StreamFileHeader.h"
#include "WireWords.h"
#include "WrapArithmetic.h"

#include <cstdint>
#include <cstring>
#include <span>

namespace qorn::timing {

struct PackedRecord {
    std::uint32_t channel = 0;
    bool flag = false; // overflow or sync start
    std::uint64_t payload = 0;
};

struct PackedFormat {
    static constexpr int kMaxDeltaBits = 31;

    explicit PackedFormat(const StreamFileHeader& header);

    bool decodable() const { return delta_bits >= 1 && delta_bits <= kMaxDeltaBits; }
    int record_bits() const { return delta_bits + 3; }
    std::uint64_t all_ones() const { return (std::uint64_t{1} << delta_bits) - 1; }
    // Records that carry the 41 bits of absolute time behind a sync start.
    int sync_chunks() const { return (delta_bits + 40) / delta_bits; }
    int active_channels() const { return __builtin_popcount(active_mask); }
    bool is_active(std::uint32_t channel) const { return ((active_mask >> channel) & 1) != 0; }

    // The record of `bits` = delta_bits + 3 bits that stands first in `window`, most significant bit first.
    static PackedRecord split(std::uint64_t window, int delta_bits) {
        const std::uint64_t record = window >> (64 - delta_bits - 3);
        return {static_cast<std::uint32_t>(record >> (delta_bits + 1)), ((record >> delta_bits) & 1) != 0,
                record & ((std::uint64_t{1} << delta_bits) - 1)};
    }

    int delta_bits = 16;
    int quantum_shift = 3; // of the quantum only the power-of-two factor counts
    bool internal = false;
    unsigned active_mask = 15;
    // Period of the absolute time in ps, and what a step over a wrap of the coarse counter is too large by.
    std::uint64_t wrap_ps = 0;
    std::uint64_t excess_ps = 0;
};

// 64 bits of the string from bit `position` on (57 of them valid); zeros stand behind the end.
inline std::uint64_t load_bits(std::span<const std::uint8_t> bytes, std::uint64_t position) {
    const std::size_t at = position / 8;
    if (at + 8 <= bytes.size()) [[likely]] {
        return load_be64(bytes.data() + at) << (position % 8);
    }
    std::uint8_t tail[8] = {};
    if (at < bytes.size()) {
        std::memcpy(tail, bytes.data() + at, bytes.size() - at);
    }
    return load_be64(tail) << (position % 8);
}

} // namespace qorn::timing
