// Thins tags to what can be correlated: measures the rate, chooses the stride of each batch, and picks the
// tags that stay. The picks are spread like chance over each input, so no rhythm of the signal shows in them,
// and are the same on every run. Times are passed in. Owned by MultiCorrelationEngine, one thread.
#pragma once

#include "MultipleTest.h"
#include "RecentTimes.h"
#include "TimeTag.h"

#include <QtGlobal>

#include <array>
#include <optional>

namespace qorn::timetagger::gui {

class TagReduction {
public:
    static constexpr quint64 kMostTagsPerSecond = 250'000;
    static constexpr quint64 kMostTagsPerBatch = 12'000;
    static constexpr qint64 kRatePeriodMs = 250; // of a rate estimate, at least

    // Forgets rate and picks; an estimate begins now. `nowMs` is any clock that only goes forward.
    void reset(qint64 nowMs);

    // One in how many tags of a batch of `tags` may stay, at least 1. `deepestBuffer` is the number of times
    // in the fullest RecentTimes.
    int reductionStrideForBatch(quint64 tags, quint64 deepestBuffer, qint64 nowMs);

    // Whether the next tag of an input stays. Every call is a tag, also with a stride below 2, which keeps
    // every one. Inputs that do not exist have no tags that stay.
    bool keepReducedTag(int channel, int stride) {
        if (channel < 0 || channel >= timing::kChannels) {
            return false;
        }
        const quint64 index = tagCountPerChannel[static_cast<std::size_t>(channel)]++;
        if (stride < 2) {
            return true;
        }
        if (stride != testedStride) {
            testedStride = stride;
            isMultiple = MultipleTest(static_cast<quint64>(stride));
        }
        return isMultiple(selectionHash(channel, index));
    }

    // A tag stays when this is a multiple of the stride; the index counts the input's tags from 0.
    static constexpr quint64 selectionHash(int channel, quint64 index) {
        quint64 z =
            (((static_cast<quint64>(channel) + 1) * 0xd1b54a32d192ed03U) ^ index) + 0x9e3779b97f4a7c15U;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9U;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
        return z ^ (z >> 31);
    }

private:
    void updateRate(quint64 tags, qint64 nowMs);

    int rateStride = 1;
    quint64 incomingTags = 0; // since rateSinceMs
    std::optional<qint64> rateSinceMs;
    std::array<quint64, timing::kChannels> tagCountPerChannel{};
    int testedStride = 1;
    MultipleTest isMultiple{1}; // of testedStride
};

} // namespace qorn::timetagger::gui
