#include "StreamFileReader.h"

#include "Error.h"
#include "StreamHeaderJson.h"
#include "TagWords.h"
#include "WireWords.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>

namespace qorn::timing {
namespace {

constexpr std::size_t kBlockBytes = 262144;
constexpr std::uint32_t kMostHeaderBytes = 1048576; // of JSON; headers of ours have some hundred
constexpr std::size_t kLengthBytes = 4;
constexpr std::size_t kHeadBytes = kStreamFileMagic.size() + kLengthBytes;

std::string message(const std::filesystem::path& path, const std::string& what) {
    return "StreamFileReader: " + path.string() + ": " + what;
}

// A file that is open at its payload.
struct OpenedFile {
    FileDescriptor file;
    StreamFileHeader header;
    std::uint64_t headBytes = 0;
    std::uint64_t payloadBytes = 0;
};

// Reads exactly what `bytes` takes.
void fill(const FileDescriptor& file, const std::filesystem::path& path, std::span<std::uint8_t> bytes) {
    const std::ptrdiff_t count = file.read(bytes);
    if (count < 0) {
        throw Error(TT_FILE_ERROR, message(path, std::strerror(errno)));
    }
    if (static_cast<std::size_t>(count) < bytes.size()) {
        throw Error(TT_FAILED, message(path, "the header is cut off"));
    }
}

StreamFileHeader readHeader(const FileDescriptor& file, const std::filesystem::path& path,
                            std::uint32_t length) {
    std::string json(length, '\0');
    fill(file, path, {reinterpret_cast<std::uint8_t*>(json.data()), json.size()});
    try {
        return detail::stream_header_from_json(json);
    } catch (const detail::HeaderFault& fault) {
        throw Error(TT_FAILED, message(path, fault.what()));
    }
}

OpenedFile openFile(const std::filesystem::path& path) {
    // A pipe would hold up the opening; it is refused behind it.
    OpenedFile opened{FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)), {}, 0, 0};
    struct stat status {};
    if (!opened.file.is_open() || ::fstat(opened.file.get(), &status) != 0) {
        throw Error(TT_FILE_ERROR, message(path, std::strerror(errno)));
    }
    if (!S_ISREG(status.st_mode)) {
        throw Error(TT_FILE_ERROR, message(path, "not a regular file"));
    }
    const auto size = static_cast<std::uint64_t>(status.st_size);
    std::array<std::uint8_t, kHeadBytes> head{};
    const std::size_t present = static_cast<std::size_t>(std::min<std::uint64_t>(size, head.size()));
    fill(opened.file, path, std::span(head).first(present));
    if (present < kStreamFileMagic.size() ||
        !std::equal(kStreamFileMagic.begin(), kStreamFileMagic.end(), head.begin(),
                    [](char magic, std::uint8_t byte) { return static_cast<std::uint8_t>(magic) == byte; })) {
        throw Error(TT_FAILED, message(path, "not a stream file"));
    }
    const std::uint8_t* const at = head.data() + kStreamFileMagic.size();
    const std::uint32_t length = at[0] | static_cast<std::uint32_t>(at[1]) << 8 |
                                 static_cast<std::uint32_t>(at[2]) << 16 |
                                 static_cast<std::uint32_t>(at[3]) << 24;
    if (present < kHeadBytes || length > size - kHeadBytes) {
        throw Error(TT_FAILED, message(path, "the header is cut off"));
    }
    if (length > kMostHeaderBytes) {
        throw Error(TT_FAILED, message(path, "the header is too large"));
    }
    opened.header = readHeader(opened.file, path, length);
    opened.headBytes = kHeadBytes + length;
    opened.payloadBytes = size - opened.headBytes;
    return opened;
}

bool isPicoseconds(const StreamFileHeader& header) {
    return header.format == StreamFormat::Raw64 && header.raw64_tag_format == "ps";
}

// What keeps `next` from being a part of the recording that `earlier` began; empty when nothing does.
std::string difference(const StreamFileHeader& earlier, const StreamFileHeader& next) {
    if (next.format != earlier.format || next.raw64_tag_format != earlier.raw64_tag_format) {
        return "stream format";
    }
    if (next.mode != earlier.mode) {
        return "mode";
    }
    if (next.delta_bits != earlier.delta_bits || next.quantum_ps != earlier.quantum_ps) {
        return "packed delta configuration";
    }
    return next.device_serial != earlier.device_serial ? "device serial" : "";
}

} // namespace

StreamFileReader::StreamFileReader() : block(kBlockBytes) {}

std::string StreamFileReader::inFile(const std::string& what) const {
    return message(filePath, what);
}

void StreamFileReader::open(const std::filesystem::path& path) {
    OpenedFile opened = openFile(path);
    const bool first = !file.is_open();
    if (!first) {
        if (const std::string other = difference(fileHeader, opened.header); !other.empty()) {
            throw Error(TT_FAILED, message(path, "no part of the same recording: another " + other));
        }
        if (decoder && endsInsideRecord()) {
            decoder->drop_raw();
        }
    } else if (!isPicoseconds(opened.header)) {
        decoder.emplace(opened.header);
    }
    file = std::move(opened.file);
    filePath = path;
    fileHeader = std::move(opened.header);
    headBytes = opened.headBytes;
    payloadBytes = opened.payloadBytes;
    bytesRead = 0;
    endReported = false;
    held = 0;
    fileRecords = 0;
    misfit = false;
    timeline.forget_places();
}

void StreamFileReader::use_times(const RecordingCompanion& companion) {
    if (!decoder) {
        timeline.expect(companion);
    }
}

std::span<const TimeTag> StreamFileReader::read() {
    while (bytesRead < payloadBytes) {
        const std::span<const TimeTag> decoded = decode(readBlock());
        if (!decoded.empty()) {
            return decoded;
        }
    }
    if (!std::exchange(endReported, true) && endsInsideRecord()) {
        throw Error(TT_FAILED, inFile("the last record is cut off"));
    }
    return {};
}

// The next bytes of the payload, behind those that are held from the block before.
std::span<const std::uint8_t> StreamFileReader::readBlock() {
    const auto size =
        static_cast<std::size_t>(std::min<std::uint64_t>(payloadBytes - bytesRead, block.size() - held));
    const std::ptrdiff_t count = file.read(std::span(block).subspan(held, size));
    if (count < 0) {
        throw Error(TT_FILE_ERROR, inFile(std::strerror(errno)));
    }
    if (static_cast<std::size_t>(count) < size) {
        throw Error(TT_FILE_ERROR, inFile("became shorter while it was read"));
    }
    bytesRead += size;
    return std::span(block).first(std::exchange(held, 0) + size);
}

std::span<const TimeTag> StreamFileReader::decode(std::span<const std::uint8_t> bytes) {
    return decoder ? decoder->feed(bytes) : decodePicoseconds(bytes);
}

std::span<const TimeTag> StreamFileReader::decodePicoseconds(std::span<const std::uint8_t> bytes) {
    tags.clear();
    TimeTag* tag = tags.reserve(bytes.size() / kTagWordBytes);
    while (bytes.size() >= kTagWordBytes) {
        const std::size_t done =
            timeline.next_place() == fileRecords ? decodePlace(bytes, tag) : decodeRun(bytes, tag);
        bytes = bytes.subspan(done);
    }
    tags.commit(tag);
    held = bytes.size();
    std::memmove(block.data(), bytes.data(), held);
    return tags.span();
}

// Records whose times follow from those before, up to the next place; gives the bytes that were read.
std::size_t StreamFileReader::decodeRun(std::span<const std::uint8_t> bytes, TimeTag*& tag) {
    const std::uint64_t records =
        std::min<std::uint64_t>(timeline.next_place() - fileRecords, bytes.size() / kTagWordBytes);
    StreamTimeAxis local = timeline.axis(); // in registers
    const std::uint8_t* at = bytes.data();
    const std::uint8_t* const end = at + records * kTagWordBytes;
    TimeTag* next = tag;
    std::uint64_t skipped = 0;
    while (end - at >= static_cast<std::ptrdiff_t>(kTagWordBytes)) {
        const std::uint64_t word = load_be64(at);
        if ((word & kTagWordFixedBits) != 0) [[unlikely]] {
            ++at; // no record starts here: slide by one byte
            ++skipped;
            continue;
        }
        next->channel = static_cast<std::uint8_t>(word >> 61);
        next->timestamp_ps = local.unwrap(wrapped_time(word));
        ++next;
        at += kTagWordBytes;
    }
    timeline.axis() = local;
    fileRecords += static_cast<std::uint64_t>(next - tag);
    tag = next;
    if (skipped > 0) {
        skippedBytes += skipped;
        leaveTimes(); // who knows which record this is
    }
    return static_cast<std::size_t>(at - bytes.data());
}

// The record that stands at a place of its companion.
std::size_t StreamFileReader::decodePlace(std::span<const std::uint8_t> bytes, TimeTag*& tag) {
    const std::uint64_t word = load_be64(bytes.data());
    if ((word & kTagWordFixedBits) != 0) {
        leaveTimes();
        return 0;
    }
    const std::uint64_t misfits = timeline.misfits();
    *tag++ = {static_cast<std::uint8_t>(word >> 61), timeline.at(fileRecords++, wrapped_time(word)).time_ps};
    if (timeline.misfits() > misfits) {
        misfit = true;
        leaveTimes();
    }
    return kTagWordBytes;
}

void StreamFileReader::leaveTimes() {
    misfit = misfit || timeline.has_places();
    timeline.forget_places();
}

bool StreamFileReader::endsInsideRecord() const {
    if (!decoder) {
        return held > 0;
    }
    // Records of the packed format are no whole bytes: what is left may be padding.
    return fileHeader.format != StreamFormat::PackedDelta && !decoder->raw().empty();
}

} // namespace qorn::timing
