#include "Crc32.h"

#include <libdeflate.h>
#include <zlib.h>

namespace qorn::timing {

std::uint32_t crc32_of(std::span<const std::uint8_t> bytes, std::uint32_t before) {
    if (bytes.empty()) { // a null pointer would ask for the CRC of nothing
        return before;
    }
    return ::libdeflate_crc32(before, bytes.data(), bytes.size()); // many times as fast as zlib's
}

std::uint32_t crc32_joined(std::uint32_t first, std::uint32_t second, std::uint64_t secondBytes) {
    return static_cast<std::uint32_t>(::crc32_combine(first, second, static_cast<z_off_t>(secondBytes)));
}

} // namespace qorn::timing
