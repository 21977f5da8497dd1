#include "TruthFile.h"

#include <cstdint>
#include <stdexcept>

namespace qorn::simulator {

namespace {

void putLittleEndian(std::vector<char>& bytes, std::uint64_t value) {
    for (int i = 0; i < 8; ++i) {
        bytes.push_back(static_cast<char>(value >> (8 * i) & 0xFF));
    }
}

} // namespace

TruthFile::TruthFile(const std::string& path) {
    if (!path.empty()) {
        file.open(path, std::ios::binary | std::ios::trunc);
        if (!file) {
            throw std::runtime_error("cannot write the truth file " + path);
        }
    }
}

void TruthFile::write(std::span<const Tag> tags) {
    bytes.clear();
    for (const Tag& tag : tags) {
        putLittleEndian(bytes, tag.input);
        putLittleEndian(bytes, static_cast<std::uint64_t>(tag.timePs));
    }
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.flush();
}

} // namespace qorn::simulator
