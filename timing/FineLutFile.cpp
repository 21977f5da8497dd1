#include "FineLutFile.h"

#include "ByteReader.h"
#include "FileBytes.h"

namespace qorn::timing {
namespace {

constexpr std::string_view kMagic = "TLUT";
constexpr std::uint32_t kVersion = 1;
constexpr std::size_t kLargestFile = 8 + kChannels * (4 + std::size_t{FineLut::kMostFileEntries} * 8);

} // namespace

std::optional<std::array<FineLut, kChannels>> load_fine_lut_file(const std::filesystem::path& path) {
    const auto bytes = read_file_bytes(path, kLargestFile);
    if (!bytes) {
        return std::nullopt;
    }
    ByteReader reader(*bytes);
    if (reader.text(kMagic.size()) != kMagic || reader.u32() != kVersion) {
        return std::nullopt;
    }
    std::array<FineLut, kChannels> luts;
    for (FineLut& lut : luts) {
        const std::uint32_t count = reader.u32();
        if (count < 1 || count > FineLut::kMostFileEntries) {
            return std::nullopt;
        }
        lut.entries = reader.i64s(count);
    }
    if (!reader.ok()) {
        return std::nullopt;
    }
    return luts;
}

} // namespace qorn::timing
