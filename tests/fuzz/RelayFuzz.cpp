// Any bytes as a relay's stream, in pieces: refused at the first invalid record, and otherwise tags that are
// written as the records were.
#include "FuzzTarget.h"
#include "RelayDecoder.h"
#include "TagWords.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace {

using namespace qorn;
using qorn::testing::require;

constexpr std::size_t kRecordBytes = 8;
constexpr std::uint64_t kZeroBits = 0x9FFFF00000000000;
constexpr std::uint64_t kTimeBits = 0x00000FFFFFFFFFFF;

std::uint64_t wordAt(std::span<const std::uint8_t> bytes) {
    std::uint64_t word = 0;
    for (const std::uint8_t byte : bytes.first(kRecordBytes)) {
        word = word << 8 | byte;
    }
    return word;
}

// The records as they must be written: the time in its range. Ends at the first invalid one.
std::vector<std::uint8_t> validRecords(std::span<const std::uint8_t> stream) {
    std::vector<std::uint8_t> records;
    for (; stream.size() >= kRecordBytes; stream = stream.subspan(kRecordBytes)) {
        const std::uint64_t word = wordAt(stream);
        if ((word & kZeroBits) != 0) {
            break;
        }
        timing::appendDecodedQorntsTag(records, static_cast<int>(word >> 61),
                                       static_cast<std::int64_t>(word & kTimeBits));
    }
    return records;
}

} // namespace

// The first byte is the length of the pieces.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::span<const std::uint8_t> stream(bytes + 1, size - 1);
    const std::size_t length = std::size_t{1} + bytes[0];
    const std::vector<std::uint8_t> expected = validRecords(stream);
    const bool valid = expected.size() == stream.size() / kRecordBytes * kRecordBytes;
    relay::RelayDecoder decoder;
    std::vector<timing::TimeTag> tags;
    std::size_t at = 0;
    try {
        for (; at < stream.size(); at += length) {
            const auto piece = stream.subspan(at, std::min(length, stream.size() - at));
            std::copy(piece.begin(), piece.end(), decoder.room().begin());
            const auto more = decoder.take(piece.size());
            tags.insert(tags.end(), more.begin(), more.end());
        }
        require(valid, "an invalid record is refused");
    } catch (const std::runtime_error&) {
        require(!valid, "a valid record is taken");
        require(expected.size() + kRecordBytes <= std::min(at + length, stream.size()),
                "a record is refused in the piece that makes it whole");
    }
    std::vector<std::uint8_t> written;
    timing::appendDecodedQorntsTags(written, tags);
    require(written.size() <= expected.size() && std::equal(written.begin(), written.end(), expected.begin()),
            "a tag is written as its record was");
    require(!valid || written == expected, "every record is a tag");
    return 0;
}
