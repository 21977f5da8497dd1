// CRC-32 as gzip, PNG and most archive formats have it.
#pragma once

#include <cstdint>
#include <span>

namespace qorn::timing {

// The CRC of `bytes` behind bytes whose CRC is `before`; that of nothing is 0.
std::uint32_t crc32_of(std::span<const std::uint8_t> bytes, std::uint32_t before = 0);

// The CRC of two runs of bytes one after the other, from theirs and the length of the second.
std::uint32_t crc32_joined(std::uint32_t first, std::uint32_t second, std::uint64_t secondBytes);

} // namespace qorn::timing
