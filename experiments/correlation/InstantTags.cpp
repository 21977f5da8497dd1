#include "InstantTags.h"

#include "SaturatedTime.h"

#include <algorithm>
#include <limits>

namespace qorn::timetagger::gui {
namespace {

void dropBelow(TimestampQueue& queue, qint64 cutoff) {
    const auto held = queue.times();
    const auto first = std::find_if(held.begin(), held.end(), [&](qint64 time) { return time >= cutoff; });
    queue.dropFront(static_cast<std::size_t>(first - held.begin()));
}

void dropLatestAbove(TimestampQueue& queue, qint64 limit) {
    while (!queue.empty() && queue.back() > limit) {
        queue.dropBack(1);
    }
}

} // namespace

void InstantTags::reset(int source, int target, qint64 windowPs) {
    inputs = {source, target};
    window = windowPs;
    sources.clear();
    targets.clear();
}

void InstantTags::addBatch(const QList<UiTimeTag>& tags) {
    if (!inputs.usable()) {
        return;
    }
    const InputPair::Tags added = inputs.append(tags, sources, targets);
    if (stepsBack(sources.times(), added.sources.size()) ||
        stepsBack(targets.times(), added.targets.size())) {
        sources.dropBack(added.sources.size());
        targets.dropBack(added.targets.size());
        appendWithRestarts(tags);
    }
    dropOld();
}

// Whether a time of the last `added` is late by more than the window.
bool InstantTags::stepsBack(std::span<const std::int64_t> held, std::size_t added) const {
    const auto from = held.end() - static_cast<std::ptrdiff_t>(std::min(added + 1, held.size()));
    return std::adjacent_find(from, held.end(), [this](qint64 before, qint64 time) {
               return isRestart(before, time);
           }) != held.end();
}

void InstantTags::appendWithRestarts(std::span<const UiTimeTag> tags) {
    for (const UiTimeTag& tag : tags) {
        if (tag.channel != inputs.source && tag.channel != inputs.target) {
            continue;
        }
        TimestampQueue& queue = tag.channel == inputs.source ? sources : targets;
        if (!queue.empty() && isRestart(queue.back(), tag.timePs)) {
            dropLatestAbove(sources, saturatedSum(tag.timePs, window));
            dropLatestAbove(targets, saturatedSum(tag.timePs, window));
        }
        queue.append(tag.timePs);
    }
}

bool InstantTags::isRestart(qint64 before, qint64 time) const {
    return time < before && time < saturatedDifference(before, window);
}

void InstantTags::dropOld() {
    if (sources.empty() && targets.empty()) {
        return;
    }
    qint64 latest = std::numeric_limits<qint64>::min();
    for (TimestampQueue* queue : {&sources, &targets}) {
        latest = queue->empty() ? latest : std::max<qint64>(latest, queue->back());
    }
    for (TimestampQueue* queue : {&sources, &targets}) {
        dropBelow(*queue, saturatedDifference(latest, window));
        queue->keepLatest(kMostTags);
    }
}

} // namespace qorn::timetagger::gui
