// Loads of the wire's big-endian words at any byte, and the fields of a word that decoder and calibration
// share.
#pragma once

#include <cstdint>
#include <cstring>

namespace qorn::timing {

inline std::uint64_t load_be64(const std::uint8_t* at) {
    std::uint64_t word;
    std::memcpy(&word, at, sizeof word);
    return __builtin_bswap64(word);
}

inline std::uint32_t load_be32(const std::uint8_t* at) {
    std::uint32_t word;
    std::memcpy(&word, at, sizeof word);
    return __builtin_bswap32(word);
}

inline void store_be64(std::uint8_t* at, std::uint64_t word) {
    const std::uint64_t swapped = __builtin_bswap64(word);
    std::memcpy(at, &swapped, sizeof swapped);
}

// An uncalibrated word: marker 0xA5C3 in bits 60..45, channel in 62..61, coarse ticks in 44..13, fine code in
// 12..0; bit 63 is 0.
struct CoarseFineWord {
    static constexpr std::uint64_t kFixedBits = 0x9FFFE00000000000;
    static constexpr std::uint64_t kFixedValue = 0x14B8600000000000;

    static constexpr bool matches(std::uint64_t word) { return (word & kFixedBits) == kFixedValue; }
    static constexpr std::uint8_t channel(std::uint64_t word) { return word >> 61 & 3; }
    static constexpr std::uint32_t coarse(std::uint64_t word) { return word >> 13 & 0xFFFFFFFF; }
    static constexpr std::uint16_t fine(std::uint64_t word) { return word & 0x1FFF; }
};

} // namespace qorn::timing
