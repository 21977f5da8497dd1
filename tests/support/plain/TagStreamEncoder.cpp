#include "TagStreamEncoder.h"

#include "TagGenerator.h"

#include <algorithm>
#include <array>

namespace qorn::testing {
namespace {

constexpr std::uint64_t kCounterPeriod = 14315125997568;
constexpr std::uint64_t kFieldMask = 0x1FFFFFFFFFF;

std::uint64_t counterTime(const timing::TimeTag& tag) {
    return static_cast<std::uint64_t>(tag.timestamp_ps) % kCounterPeriod;
}

// What the instrument knows of an input.
struct InputState {
    bool known = false;
    std::uint64_t counter = 0; // at the last tag
    std::int64_t time_ps = 0;  // of the last tag
    std::size_t since_sync = 0;
};

} // namespace

EncodedStream encodeRaw64Picoseconds(std::span<const timing::TimeTag> tags) {
    EncodedStream out;
    for (const timing::TimeTag& tag : tags) {
        appendRaw64(out.bytes, raw64Picoseconds(tag.channel, counterTime(tag)));
        out.ends.push_back(out.bytes.size() * 8);
    }
    return out;
}

EncodedStream encodeRaw64CoarseFine(std::span<timing::TimeTag> tags) {
    EncodedStream out;
    for (timing::TimeTag& tag : tags) {
        const std::int64_t coarse = tag.timestamp_ps / 3333 + 1;
        const std::int64_t behind = coarse * 3333 - tag.timestamp_ps;
        const std::int64_t fine = std::min<std::int64_t>((2 * behind + 36) / 37, 181);
        tag.timestamp_ps = coarse * 3333 - std::min<std::int64_t>((37 * fine + 1) / 2, 3332);
        appendRaw64(out.bytes, raw64CoarseFine(tag.channel, static_cast<std::uint64_t>(coarse) & 0xFFFFFFFF,
                                               static_cast<std::uint64_t>(fine)));
        out.ends.push_back(out.bytes.size() * 8);
    }
    return out;
}

EncodedStream encodeDelta32(std::span<const timing::TimeTag> tags, std::size_t sync_every,
                            std::uint64_t seed) {
    EncodedStream out;
    RandomSource random(seed);
    std::array<InputState, timing::kChannels> inputs;
    for (const timing::TimeTag& tag : tags) {
        InputState& input = inputs[tag.channel];
        const std::uint64_t counter = counterTime(tag);
        std::uint64_t delta = (counter - input.counter) & kFieldMask;
        const bool sync = !input.known || (sync_every != 0 && input.since_sync >= sync_every);
        if (sync) {
            const std::uint64_t room = input.known ? counter - input.counter : counter;
            delta = random.below(std::min<std::uint64_t>(room, 0x1FFFFFF) + 1);
            appendDelta32Sync(out.bytes, (counter - delta) & kFieldMask);
            input.since_sync = 0;
        } else {
            appendDelta32Overflow(out.bytes, delta >> 25);
        }
        appendDelta32(out.bytes, delta32Data(tag.channel, static_cast<std::uint32_t>(delta & 0x1FFFFFF)));
        out.ends.push_back(out.bytes.size() * 8);
        out.synced.push_back(sync);
        input = {true, counter, tag.timestamp_ps, input.since_sync + 1};
    }
    return out;
}

EncodedStream encodePacked(std::span<const timing::TimeTag> tags, const PackedWire& wire) {
    EncodedStream out;
    PackedBuilder builder(wire.delta_bits);
    RandomSource random(wire.seed);
    std::array<InputState, timing::kChannels> inputs;
    for (const timing::TimeTag& tag : tags) {
        InputState& input = inputs[tag.channel];
        const std::uint64_t counter = counterTime(tag) >> wire.quantum_shift;
        std::uint64_t delta = (counter - input.counter) & kFieldMask;
        const bool wrapped = input.known && counter < input.counter;
        const bool too_far = PackedBuilder::deltaRecords(wire.delta_bits, delta) > wire.max_overflows + 1 ||
                             (wire.delta_bits == 1 && delta > 1);
        const bool due = wire.sync_every != 0 && input.since_sync >= wire.sync_every;
        const bool sync = !input.known || too_far || due;
        if (sync) {
            // The base lies between the last tag and this one, on this side of the counter's wrap.
            const std::uint64_t room = input.known && !wrapped ? counter - input.counter : counter;
            const std::uint64_t reach = (std::uint64_t{1} << wire.delta_bits) * (wire.delta_bits > 4 ? 2 : 1);
            delta = random.below(std::min(room, reach - 1) + 1);
            builder.sync(tag.channel, (counter - delta) & kFieldMask);
            input.since_sync = 0;
        }
        builder.delta(tag.channel, delta);
        out.ends.push_back(builder.bitCount());
        out.synced.push_back(sync);
        input = {true, counter, tag.timestamp_ps, input.since_sync + 1};
    }
    // Narrow records fit into the bits that fill the last byte: an empty overflow says nothing there.
    const auto width = static_cast<std::size_t>(builder.recordBits());
    while (builder.bitCount() % 8 != 0 && builder.bitCount() % 8 + width <= 8)
        builder.overflow(tags.front().channel, 0);
    out.bytes = builder.bytes();
    return out;
}

} // namespace qorn::testing
