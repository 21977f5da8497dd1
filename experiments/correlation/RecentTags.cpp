#include "RecentTags.h"

namespace qorn::timetagger::gui {

void RecentTags::clear() {
    batches.clear();
    held = 0;
}

void RecentTags::addBatch(const QList<UiTimeTag>& tags) {
    if (tags.isEmpty()) {
        return;
    }
    batches.push_back(tags);
    held += tags.size();
    while (held - batches.front().size() >= kEnoughTags) {
        held -= batches.front().size();
        batches.pop_front();
    }
}

std::vector<std::int64_t> RecentTags::tagsOf(int channel) const {
    std::vector<std::int64_t> times;
    for (const QList<UiTimeTag>& batch : batches) {
        for (const UiTimeTag& tag : batch) {
            if (tag.channel == channel) {
                times.push_back(tag.timePs);
            }
        }
    }
    return times;
}

} // namespace qorn::timetagger::gui
