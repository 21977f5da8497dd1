#include "StreamFileWriter.h"

#include "Error.h"

#include <array>
#include <limits>

namespace qorn::timing {
namespace {

constexpr std::size_t kBufferBytes = 1048576;

std::array<char, 4> little_endian(std::uint32_t value) {
    return {static_cast<char>(value), static_cast<char>(value >> 8), static_cast<char>(value >> 16),
            static_cast<char>(value >> 24)};
}

} // namespace

StreamFileWriter::~StreamFileWriter() = default;

void StreamFileWriter::open(const std::string& path, const StreamFileHeader& header) {
    if (stream.is_open()) {
        stream.close();
    }
    stream.clear();
    buffer.assign(kBufferBytes, '\0');
    stream.rdbuf()->pubsetbuf(buffer.data(), static_cast<std::streamsize>(buffer.size()));
    stream.open(path, std::ios::binary | std::ios::trunc);
    if (!stream) {
        throw Error(TT_FILE_ERROR, "StreamFileWriter: cannot open " + path);
    }
    const std::string json = detail::stream_header_to_json(header);
    if (json.size() > std::numeric_limits<std::uint32_t>::max()) {
        throw Error(TT_FAILED, "StreamFileWriter: header is too large");
    }
    const auto length = little_endian(static_cast<std::uint32_t>(json.size()));
    stream.write(kStreamFileMagic.data(), static_cast<std::streamsize>(kStreamFileMagic.size()));
    stream.write(length.data(), static_cast<std::streamsize>(length.size()));
    stream.write(json.data(), static_cast<std::streamsize>(json.size()));
    if (!stream) {
        throw Error(TT_FILE_ERROR, "StreamFileWriter: failed to write header");
    }
    recordsWritten = 0;
    bytesWritten = kStreamFileMagic.size() + length.size() + json.size();
}

void StreamFileWriter::append(std::span<const std::uint8_t> payload, std::uint64_t records) {
    if (!stream.is_open() || !stream) {
        throw Error(TT_NOT_OPEN, "StreamFileWriter: not open");
    }
    if (payload.data() == nullptr && !payload.empty()) {
        throw Error(TT_FAILED, "StreamFileWriter: null data");
    }
    stream.write(reinterpret_cast<const char*>(payload.data()), static_cast<std::streamsize>(payload.size()));
    if (!stream) {
        throw Error(TT_FILE_ERROR, "StreamFileWriter: payload write failed");
    }
    recordsWritten += records;
    bytesWritten += payload.size();
}

void StreamFileWriter::close() {
    if (!stream.is_open()) {
        return;
    }
    stream.close();
    if (!stream) {
        throw Error(TT_FILE_ERROR, "StreamFileWriter: payload write failed");
    }
}

} // namespace qorn::timing
