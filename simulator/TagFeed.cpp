#include "TagFeed.h"

namespace qorn::simulator {

void TagFeed::apply(const InputSettings& settings, const DelayLines& lines) {
    stage.apply(settings, lines);
    prepared.clear();
    replayed = 0;
}

std::span<const Tag> TagFeed::nextSlice() {
    const auto period = static_cast<std::size_t>(generator.repeatSlices());
    tags.clear();
    if (period > 0 && prepared.size() == period) {
        const auto rounds = static_cast<std::int64_t>(replayed / period + 1);
        const std::int64_t shift = rounds * static_cast<std::int64_t>(period) * kSlicePs;
        generator.skipSlice();
        const std::vector<Tag>& slice = prepared[replayed % period];
        ++replayed;
        tags.resize(slice.size());
        for (std::size_t i = 0; i < slice.size(); ++i) {
            tags[i] = {slice[i].timePs + shift, slice[i].input};
        }
        return tags;
    }
    stage.process(generator.nextSlice(), mask, tags);
    if (period > 0) {
        prepared.push_back(tags);
    }
    return tags;
}

} // namespace qorn::simulator
