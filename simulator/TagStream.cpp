#include "TagStream.h"

#include <algorithm>

namespace qorn::simulator {

namespace {

constexpr std::chrono::milliseconds kMostWork{20};
constexpr std::size_t kTagsAtATime = 256; // between two looks at the buffer

} // namespace

TagStream::TagStream(Parts made, const UnitSpec& unit, std::uint64_t seed)
    : parts(std::move(made)), buffer(unit.bufferBytes), faults(unit.faults, seed), truth(unit.truthFile) {
    if (unit.faults.startMidRecord) {
        parts.encoder->startMidRecord(encoded);
    }
}

void TagStream::advance(Pacer::Time now, std::size_t wantedBytes) {
    const std::int64_t reached = parts.pacer.reachedPs(now);
    const Pacer::Time stop = now + kMostWork;
    while (positionPs + kSlicePs <= reached) {
        if (unpaced() && buffer.size() >= wantedBytes) {
            return;
        }
        makeSlice();
        if (std::chrono::steady_clock::now() >= stop) {
            break;
        }
    }
    parts.pacer.slip(now, positionPs);
}

void TagStream::makeSlice() {
    std::span<const Tag> tags = parts.feed.nextSlice();
    positionPs += kSlicePs;
    while (!tags.empty()) {
        const std::span<const Tag> some = tags.first(std::min(tags.size(), kTagsAtATime));
        tags = tags.subspan(some.size());
        if (buffer.full() && !unpaced()) {
            lost += some.size();
            continue;
        }
        encode(some);
    }
    if (truth.wanted() && !sent.empty()) {
        truth.write(sent);
        sent.clear();
    }
}

void TagStream::encode(std::span<const Tag> tags) {
    parts.encoder->encode(tags, encoded, truth.wanted() ? &sent : nullptr);
    if (faults.active()) {
        damaged.clear();
        faults.pass(encoded.bytes(), damaged);
        buffer.append(damaged.bytes());
    } else {
        buffer.append(encoded.bytes());
    }
    encoded.clear();
}

} // namespace qorn::simulator
