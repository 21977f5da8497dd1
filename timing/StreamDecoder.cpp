#include "StreamDecoder.h"

#include <type_traits>

namespace qorn::timing {

StreamDecoder::StreamDecoder(StreamFileHeader header) {
    switch (header.format) {
    case StreamFormat::Raw64:
        decoder.emplace<Raw64Decoder>(header);
        break;
    case StreamFormat::Delta32:
        decoder.emplace<Delta32Decoder>();
        break;
    case StreamFormat::PackedDelta:
        decoder.emplace<PackedDeltaDecoder>(header);
        break;
    }
}

std::span<const TimeTag> StreamDecoder::feed(std::span<const std::uint8_t> bytes) {
    pending.append(bytes);
    tags.clear();
    std::visit(
        [this](auto& chosen) {
            using Chosen = std::decay_t<decltype(chosen)>;
            if constexpr (std::is_same_v<Chosen, PackedDeltaDecoder>) {
                chosen.feed_packed_delta(pending, tags);
            } else if constexpr (!std::is_same_v<Chosen, std::monostate>) {
                chosen.decode(pending, tags);
            }
        },
        decoder);
    return tags.span();
}

std::uint64_t StreamDecoder::skipped_bytes() const {
    return std::visit(
        [](const auto& chosen) -> std::uint64_t {
            if constexpr (std::is_same_v<std::decay_t<decltype(chosen)>, std::monostate>) {
                return 0;
            } else {
                return chosen.skipped_bytes();
            }
        },
        decoder);
}

} // namespace qorn::timing
