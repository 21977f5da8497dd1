#include "TagFeed.h"

namespace qorn::simulator {

void TagFeed::apply(const InputSettings& settings, const DelayLines& lines) {
    stage.apply(settings, lines);
    deadTimesPs = settings.deadTimesPs;
    prepared.clear();
    replayed = 0;
}

std::span<const Tag> TagFeed::nextSlice() {
    const auto period = static_cast<std::size_t>(generator.repeatSlices());
    tags.clear();
    if (period > 0 && prepared.size() == period) {
        generator.skipSlice();
        replaySlice();
        return tags;
    }
    stage.process(generator.nextSlice(), mask, tags);
    if (period > 0) {
        prepared.push_back(tags);
        if (prepared.size() == period) {
            joinEnds();
        }
    }
    return tags;
}

void TagFeed::replaySlice() {
    const std::size_t period = prepared.size();
    const auto rounds = static_cast<std::int64_t>(replayed / period + 1);
    const std::int64_t shift = rounds * static_cast<std::int64_t>(period) * kSlicePs;
    const std::vector<Tag>& slice = prepared[replayed % period];
    ++replayed;
    tags.resize(slice.size());
    for (std::size_t i = 0; i < slice.size(); ++i) {
        tags[i] = {slice[i].timePs + shift, slice[i].input};
    }
}

// Takes out what would come too early behind the end of the round before.
void TagFeed::joinEnds() {
    const std::int64_t roundPs = static_cast<std::int64_t>(prepared.size()) * kSlicePs;
    std::array<std::int64_t, kInputs> freeAgainPs{};
    for (const std::vector<Tag>& slice : prepared) {
        for (const Tag& tag : slice) {
            freeAgainPs[tag.input] = tag.timePs - roundPs + deadTimesPs[tag.input];
        }
    }
    for (std::vector<Tag>& slice : prepared) {
        std::erase_if(slice, [&](const Tag& tag) { return tag.timePs < freeAgainPs[tag.input]; });
    }
}

} // namespace qorn::simulator
