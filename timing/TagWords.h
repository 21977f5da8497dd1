// Encoding of decoded tags as raw64 "ps" words: what recordings and the relay carry.
#pragma once

#include "TimeTag.h"

#include <cstdint>
#include <span>
#include <vector>

namespace qorn::timing {

inline constexpr std::size_t kTagWordBytes = 8;
inline constexpr std::uint64_t kTagWordFixedBits = 0x9FFFF00000000000; // zero in each word

// The time of a word, 0 to kCoarseWrapPs - 1.
inline std::int64_t wrapped_time(std::uint64_t word) {
    const auto time = static_cast<std::int64_t>(word & 0xFFFFFFFFFFF);
    return time >= kCoarseWrapPs ? time - kCoarseWrapPs : time;
}

// Appends one word, most significant byte first: bit 63 zero, the channel's low two bits in 62..61, the time
// modulo kCoarseWrapPs, made non-negative, below.
void appendDecodedQorntsTag(std::vector<unsigned char>& out, int channel, std::int64_t timePs);

// Appends one word per tag.
void appendDecodedQorntsTags(std::vector<unsigned char>& out, std::span<const TimeTag> tags);

} // namespace qorn::timing
