// The integrated histogram by its definition: the whole run is kept and every pair of it is looked at. What
// is held of it is modelled tag by tag. The measure for the accumulator, for times in order on each input.
#pragma once

#include "CorrelationAccumulator.h"
#include "LagEstimatorsReference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <deque>
#include <optional>
#include <vector>

namespace qorn::testing {

using timetagger::gui::CorrelationAccumulator;
using timetagger::gui::UiTimeTag;

class ReferenceAccumulator {
public:
    using Setup = CorrelationAccumulator::Setup;

    explicit ReferenceAccumulator(const Setup& newSetup)
        : setup(newSetup), bin(std::max<qint64>(setup.binPs, 1)), half(setup.windowPs / bin),
          counted(static_cast<std::size_t>(2 * half + 1)), offset(setup.offsetPs) {}

    void addBatch(const QList<UiTimeTag>& tags) {
        for (const UiTimeTag& tag : tags) {
            if (tag.channel == setup.source) {
                addTag(tag.timePs, sources, heldSources);
            } else if (tag.channel == setup.target) {
                addTag(tag.timePs, targets, heldTargets);
            }
        }
        if (offset) {
            countNewPairs();
            trim();
        } else {
            keepLatest(heldSources);
            keepLatest(heldTargets);
        }
    }

    bool settleOffset(qint64 searchPs) {
        if (offset || heldSources.size() < 128 || heldTargets.size() < 128) {
            return false;
        }
        const Times a(heldSources.begin(), heldSources.end());
        const Times b(heldTargets.begin(), heldTargets.end());
        offset = referenceOffset(a, b, searchPs, 4000);
        if (!offset) {
            return false;
        }
        // What has left before is never paired.
        sources = a;
        targets = b;
        countNewPairs();
        return true;
    }

    bool isLive() const { return offset.has_value(); }
    qint64 offsetPs() const { return offset.value_or(0); }
    const std::vector<std::uint64_t>& counts() const { return counted; }
    quint64 total() const {
        quint64 sum = 0;
        for (const std::uint64_t count : counted) {
            sum += count;
        }
        return sum;
    }
    Times sourceTags() const { return Times(heldSources.begin(), heldSources.end()); }
    Times targetTags() const { return Times(heldTargets.begin(), heldTargets.end()); }

private:
    static void addTag(qint64 time, Times& all, std::deque<std::int64_t>& held) {
        all.push_back(time);
        held.push_back(time);
    }

    static void keepLatest(std::deque<std::int64_t>& held) {
        while (held.size() > 1'000'000) {
            held.pop_front();
        }
    }

    // Each pair with at least one tag that was not there the last time.
    void countNewPairs() {
        for (std::size_t s = 0; s < sources.size(); ++s) {
            for (std::size_t t = s < oldSources ? oldTargets : 0; t < targets.size(); ++t) {
                countPair(sources[s], targets[t]);
            }
        }
        oldSources = sources.size();
        oldTargets = targets.size();
    }

    void countPair(qint64 source, qint64 target) {
        const WideTime d = WideTime{target} - source - *offset;
        if (wideMagnitude(d) > setup.windowPs) {
            return;
        }
        const WideTime index =
            std::llround(static_cast<double>(d) / static_cast<double>(bin)) + WideTime{half};
        if (index >= 0 && index <= 2 * WideTime{half}) {
            ++counted[static_cast<std::size_t>(index)];
        }
    }

    // By the last source first, then by the last target that is left.
    void trim() {
        if (heldSources.empty() || heldTargets.empty()) {
            return;
        }
        const WideTime lastSource = heldSources.back();
        const WideTime lastTarget = heldTargets.back();
        while (!heldTargets.empty() && heldTargets.front() < lastSource + *offset - setup.windowPs) {
            heldTargets.pop_front();
        }
        while (!heldSources.empty() && heldSources.front() < lastTarget - *offset - setup.windowPs) {
            heldSources.pop_front();
        }
    }

    Setup setup;
    qint64 bin;
    qint64 half;
    std::vector<std::uint64_t> counted;
    std::optional<qint64> offset;
    Times sources; // of the whole run
    Times targets;
    std::size_t oldSources = 0;
    std::size_t oldTargets = 0;
    std::deque<std::int64_t> heldSources;
    std::deque<std::int64_t> heldTargets;
};

inline std::vector<std::uint64_t> countsOf(const CorrelationAccumulator& accumulator) {
    return {accumulator.counts().begin(), accumulator.counts().end()};
}

inline quint64 totalOf(const CorrelationAccumulator& accumulator) {
    quint64 sum = 0;
    for (const std::uint64_t count : accumulator.counts()) {
        sum += count;
    }
    return sum;
}

inline Times timesOf(std::span<const std::int64_t> tags) {
    return {tags.begin(), tags.end()};
}

inline ::testing::AssertionResult sameCounts(const CorrelationAccumulator& accumulator,
                                             const std::vector<std::uint64_t>& expected) {
    const auto actual = accumulator.counts();
    if (actual.size() != expected.size()) {
        return ::testing::AssertionFailure() << actual.size() << " bins instead of " << expected.size();
    }
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (actual[i] != expected[i]) {
            return ::testing::AssertionFailure() << actual[i] << " instead of " << expected[i] << " in bin "
                                                 << i << " of " << expected.size();
        }
    }
    return ::testing::AssertionSuccess();
}

// The tags of both inputs, and of others, in some order between them.
struct StreamPlan {
    enum class Mixing { ByTime, Random, SourceAhead, TargetAhead };
    Mixing mixing = Mixing::ByTime;
    int source = 0;
    int target = 1;
    qsizetype strayEvery = 0; // a tag of an input that is not asked for after so many
};

inline QList<UiTimeTag> mixedStream(const Times& sources, const Times& targets, const StreamPlan& plan,
                                    RandomSource& random) {
    QList<UiTimeTag> stream;
    std::size_t s = 0;
    std::size_t t = 0;
    while (s < sources.size() || t < targets.size()) {
        bool takeSource = t == targets.size();
        if (s < sources.size() && t < targets.size()) {
            switch (plan.mixing) {
            case StreamPlan::Mixing::ByTime:
                takeSource = sources[s] == targets[t] ? random.chance(0.5) : sources[s] < targets[t];
                break;
            case StreamPlan::Mixing::Random:
                takeSource = random.chance(0.5);
                break;
            case StreamPlan::Mixing::SourceAhead:
                takeSource = s < t + sources.size() / 4;
                break;
            case StreamPlan::Mixing::TargetAhead:
                takeSource = s + targets.size() / 4 < t;
                break;
            }
        }
        const qint64 time = takeSource ? sources[s++] : targets[t++];
        stream.append({static_cast<quint8>(takeSource ? plan.source : plan.target), time});
        if (plan.strayEvery > 0 && stream.size() % plan.strayEvery == 0) {
            const int strays[] = {0, 1, 2, 3, 4, 5, 128, 255};
            const int stray = strays[random.below(8)];
            if (stray != plan.source && stray != plan.target) {
                stream.append({static_cast<quint8>(stray), time});
            }
        }
    }
    return stream;
}

// Pieces of 0 to `most` tags, or all of them for 0.
inline std::vector<QList<UiTimeTag>> cutAnywhere(const QList<UiTimeTag>& stream, qsizetype most,
                                                 RandomSource& random) {
    std::vector<QList<UiTimeTag>> batches;
    for (qsizetype at = 0; at < stream.size();) {
        const qsizetype size =
            most == 0 ? stream.size() : random.between(most == 1 ? 1 : 0, static_cast<int>(most));
        batches.push_back(stream.mid(at, size));
        at += size;
    }
    return batches;
}

} // namespace qorn::testing
