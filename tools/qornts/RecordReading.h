// Reads the records of a stream file as they stand, in blocks.
#pragma once

#include "FileDescriptor.h"

#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

namespace qorn::qornts {

// Failures are std::runtime_error with a text that names the file.
class RecordReading {
public:
    // `headBytes` lie ahead of the records.
    RecordReading(const std::filesystem::path& path, std::uint64_t headBytes);

    // The next records, at most so many, valid until the next call; fewer, but one at least, than are asked
    // for where they do not fit a block.
    std::span<const std::uint8_t> next(std::uint64_t mostRecords);

private:
    std::filesystem::path file;
    timing::FileDescriptor descriptor;
    std::vector<std::uint8_t> block;
};

} // namespace qorn::qornts
