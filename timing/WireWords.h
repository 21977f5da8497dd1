// Loads of the wire's big-endian words at any byte.
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

} // namespace qorn::timing
