// Reads a whole small file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

namespace qorn::timing {

// The file's bytes, or nothing when it cannot be read or is larger than `limit` bytes.
std::optional<std::vector<std::uint8_t>> read_file_bytes(const std::filesystem::path& path,
                                                         std::size_t limit);

} // namespace qorn::timing
