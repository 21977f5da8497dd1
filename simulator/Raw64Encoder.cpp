#include "Raw64Encoder.h"

#include <array>

namespace qorn::simulator {

namespace {

constexpr std::uint64_t kMarker = 0xA5C3;
constexpr unsigned kChannelShift = 61;
constexpr unsigned kMarkerShift = 45;
constexpr unsigned kCoarseShift = 13;

} // namespace

std::uint64_t Raw64Encoder::word(const Tag& tag) const {
    const std::uint64_t channel = std::uint64_t{tag.input} << kChannelShift;
    if (lines == nullptr) {
        return channel | static_cast<std::uint64_t>(tag.timePs % kCounterWrapPs);
    }
    // the tick behind the pulse stamps it
    const std::int64_t coarse = (tag.timePs + kTickPs - 1) / kTickPs;
    const std::uint64_t fine = lines->fineCode(tag.input, rawLine, coarse * kTickPs - tag.timePs);
    const auto counter = static_cast<std::uint32_t>(coarse);
    return channel | kMarker << kMarkerShift | std::uint64_t{counter} << kCoarseShift | fine;
}

void Raw64Encoder::encode(std::span<const Tag> tags, ByteBuffer& out, std::vector<Tag>* sent) {
    out.reserveMore(tags.size() * 8);
    for (const Tag& tag : tags) {
        out.putUnchecked(word(tag), 8);
    }
    if (sent != nullptr) {
        sent->insert(sent->end(), tags.begin(), tags.end());
    }
}

void Raw64Encoder::startMidRecord(ByteBuffer& out) {
    constexpr std::array<std::uint8_t, 5> kEndOfWord{0x35, 0x9A, 0x4C, 0x27, 0xE1};
    out.append(kEndOfWord);
}

} // namespace qorn::simulator
