// Any bytes as the instrument's stream, in pieces: the decoder of each format gives the tags of the slow
// reference, piece by piece, and keeps the same bytes.
#include "FuzzTarget.h"
#include "ReferenceDecoder.h"
#include "StreamDecoder.h"

#include <algorithm>
#include <vector>

namespace {

using namespace qorn::timing;
using qorn::testing::ReferenceDecoder;
using qorn::testing::require;

constexpr std::size_t kHeadBytes = 4;
// The slow reference bounds what is tried: as long as it has not found the record boundary of a packed
// stream, it tries all places again for each piece.
constexpr std::size_t kMostBytes = 768;
constexpr std::size_t kMostPieces = 6;

// The first byte chooses format and mode, the next two the packed format, the fourth the length of the
// pieces.
StreamFileHeader headerOf(std::span<const std::uint8_t> head) {
    StreamFileHeader header;
    header.format = static_cast<StreamFormat>(std::min(head[0] & 3, 2));
    header.mode = (head[0] & 0x40) != 0 ? StreamMode::External : StreamMode::Internal;
    header.raw64_tag_format = (head[0] & 0x80) != 0 ? "ps" : "raw_cf";
    header.channel_mask = head[0] >> 2 & 15;
    header.delta_bits = head[1] & 31;
    constexpr std::uint16_t kQuanta[] = {0, 1, 2, 4, 8, 16, 100, 32768};
    header.quantum_ps = kQuanta[head[2] % std::size(kQuanta)];
    return header;
}

std::vector<TimeTag> decodedWhole(const StreamFileHeader& header, std::span<const std::uint8_t> stream) {
    StreamDecoder decoder(header);
    const auto tags = decoder.feed(stream);
    return {tags.begin(), tags.end()};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size < kHeadBytes) {
        return 0;
    }
    const StreamFileHeader header = headerOf({bytes, kHeadBytes});
    const std::span<const std::uint8_t> stream(bytes + kHeadBytes, std::min(size - kHeadBytes, kMostBytes));
    const std::size_t length = std::max(std::size_t{1} + bytes[3], stream.size() / kMostPieces + 1);
    StreamDecoder decoder(header);
    ReferenceDecoder reference(header);
    std::vector<TimeTag> all;
    for (std::size_t at = 0; at < stream.size(); at += length) {
        const auto piece = stream.subspan(at, std::min(length, stream.size() - at));
        const std::vector<TimeTag> expected = reference.feed(piece);
        const std::span<const TimeTag> tags = decoder.feed(piece);
        require(std::ranges::equal(tags, expected), "the tags are those of the reference");
        require(std::ranges::equal(decoder.raw(), reference.raw()), "the bytes kept are the reference's");
        require((decoder.packed() != nullptr && decoder.packed()->is_locked()) == reference.isLocked(),
                "the lock is the reference's");
        all.insert(all.end(), tags.begin(), tags.end());
    }
    for (const TimeTag& tag : all) {
        require(tag.channel < kChannels, "a tag is of one of four inputs");
    }
    // The other formats may find another record boundary when more bytes are there at once.
    if (header.format == StreamFormat::Raw64) {
        require(all == decodedWhole(header, stream), "the pieces make no difference");
    }
    return 0;
}
