#include "RecordReading.h"

#include "RegularFile.h"
#include "TagWords.h"

#include <algorithm>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

namespace qorn::qornts {
namespace {

constexpr std::size_t kBlockRecords = 32768;

} // namespace

RecordReading::RecordReading(const std::filesystem::path& path, std::uint64_t headBytes)
    : file(path), descriptor(openRegularFile(path, O_RDONLY)), block(kBlockRecords * timing::kTagWordBytes) {
    if (::lseek(descriptor.get(), static_cast<off_t>(headBytes), SEEK_SET) < 0) {
        failAt(file);
    }
}

std::span<const std::uint8_t> RecordReading::next(std::uint64_t mostRecords) {
    const std::size_t size = std::min<std::uint64_t>(mostRecords, kBlockRecords) * timing::kTagWordBytes;
    const std::span<std::uint8_t> bytes = std::span(block).first(size);
    const std::ptrdiff_t count = descriptor.read(bytes);
    if (count < 0) {
        failAt(file);
    }
    if (static_cast<std::size_t>(count) < size) {
        throw std::runtime_error(file.string() + ": became shorter while it was read");
    }
    return bytes;
}

} // namespace qorn::qornts
