#include "FileBytes.h"

#include <fstream>

namespace qorn::timing {

std::optional<std::vector<std::uint8_t>> read_file_bytes(const std::filesystem::path& path,
                                                         std::size_t limit) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    std::vector<std::uint8_t> bytes;
    constexpr std::size_t kPiece = 65536;
    while (file) {
        const std::size_t before = bytes.size();
        bytes.resize(before + kPiece);
        file.read(reinterpret_cast<char*>(bytes.data() + before), static_cast<std::streamsize>(kPiece));
        bytes.resize(before + static_cast<std::size_t>(file.gcount()));
        if (bytes.size() > limit) {
            return std::nullopt;
        }
    }
    if (file.bad()) {
        return std::nullopt;
    }
    return bytes;
}

} // namespace qorn::timing
