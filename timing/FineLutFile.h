// The file "fine_lut.bin": one table per input.
#pragma once

#include "FineLut.h"

#include <array>
#include <filesystem>
#include <optional>

namespace qorn::timing {

// The four tables, or nothing when the file cannot be opened, is not of this kind or is not complete.
std::optional<std::array<FineLut, kChannels>> load_fine_lut_file(const std::filesystem::path& path);

} // namespace qorn::timing
