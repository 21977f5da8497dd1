#include "TagReduction.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qorn::timetagger::gui {
namespace {

constexpr int kMostStride = std::numeric_limits<int>::max();
constexpr double kMsPerSecond = 1000.0;

// The stride that leaves at most `most` of the tags.
int strideFor(quint64 tags, quint64 most) {
    return static_cast<int>(std::min<quint64>((tags + most - 1) / most, kMostStride));
}

} // namespace

void TagReduction::reset(qint64 nowMs) {
    rateStride = 1;
    incomingTags = 0;
    rateSinceMs = nowMs;
    tagCountPerChannel = {};
}

int TagReduction::reductionStrideForBatch(quint64 tags, quint64 deepestBuffer, qint64 nowMs) {
    updateRate(tags, nowMs);
    return std::max(
        {rateStride, strideFor(tags, kMostTagsPerBatch), strideFor(deepestBuffer, RecentTimes::kMostTimes)});
}

void TagReduction::updateRate(quint64 tags, qint64 nowMs) {
    incomingTags += tags;
    if (!rateSinceMs) {
        rateSinceMs = nowMs;
        return;
    }
    const qint64 elapsed = nowMs - *rateSinceMs;
    if (elapsed < kRatePeriodMs) {
        return;
    }
    const double rate = static_cast<double>(incomingTags) * kMsPerSecond / static_cast<double>(elapsed);
    const double stride = std::ceil(rate / static_cast<double>(kMostTagsPerSecond));
    rateStride = static_cast<int>(std::clamp(stride, 1.0, static_cast<double>(kMostStride)));
    incomingTags = 0;
    rateSinceMs = nowMs;
}

} // namespace qorn::timetagger::gui
