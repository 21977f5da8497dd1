#include "Delta32Encoder.h"

#include <algorithm>

namespace qorn::simulator {

namespace {

constexpr std::uint32_t kData = 10u << 25;
constexpr std::uint32_t kControl = 1u << 31 | 5u << 25;
constexpr std::uint32_t kAbsoluteLow = kControl | 1u << 29;
constexpr std::uint32_t kAbsoluteHigh = kControl | 2u << 29;
constexpr std::uint32_t kSync = kControl | 3u << 29 | 0x15A55AA;
constexpr unsigned kDeltaBits = 25;
constexpr std::uint64_t kLowMask = (1u << kDeltaBits) - 1;
constexpr std::uint64_t kMostOverflow = 65535;

void put(ByteBuffer& out, std::uint64_t word) {
    out.reserveMore(8);
    out.putUnchecked(word << 32, 4);
}

} // namespace

bool Delta32Encoder::syncDue(const Input& input, std::int64_t timePs) const {
    if (!input.started) {
        return true;
    }
    return settings.fineSyncPs > 0 && timePs > input.lastPs &&
           timePs - input.lastSyncPs >= settings.fineSyncPs;
}

void Delta32Encoder::sync(const Tag& tag, ByteBuffer& out) {
    const auto field = static_cast<std::uint64_t>(tag.timePs % kCounterWrapPs % kAbsoluteFieldSpan);
    put(out, kSync);
    put(out, kAbsoluteLow | (field & kLowMask));
    put(out, kAbsoluteHigh | field >> kDeltaBits);
}

void Delta32Encoder::delta(const Tag& tag, std::uint64_t deltaPs, ByteBuffer& out) {
    for (std::uint64_t overflow = deltaPs >> kDeltaBits; overflow > 0;) {
        const std::uint64_t part = std::min(overflow, kMostOverflow);
        put(out, kControl | part);
        overflow -= part;
    }
    put(out, kData | std::uint32_t{tag.input} << 29 | (deltaPs & kLowMask));
}

void Delta32Encoder::encode(std::span<const Tag> tags, ByteBuffer& out, std::vector<Tag>* sent) {
    // a difference that spans a counter wrap is taken against the next multiple of the absolute field's span
    constexpr std::int64_t kExcess = wrapExcessPs(kAbsoluteFieldSpan);
    for (const Tag& tag : tags) {
        Input& input = inputs[tag.input];
        std::int64_t difference = tag.timePs - input.lastPs;
        const bool wrapped = tag.timePs >= input.wrapAtPs;
        if (syncDue(input, tag.timePs)) {
            sync(tag, out);
            input.lastSyncPs = tag.timePs;
            input.started = true;
            difference = 0;
        } else if (wrapped) {
            difference += kExcess;
        }
        if (wrapped) {
            input.wrapAtPs = (tag.timePs / kCounterWrapPs + 1) * kCounterWrapPs;
        }
        delta(tag, static_cast<std::uint64_t>(difference), out);
        input.lastPs = tag.timePs;
        if (sent != nullptr) {
            sent->push_back(tag);
        }
    }
}

void Delta32Encoder::startMidRecord(ByteBuffer& out) {
    constexpr std::array<std::uint8_t, 3> kEndOfWord{0x03, 0x9A, 0x4C};
    out.append(kEndOfWord);
}

} // namespace qorn::simulator
