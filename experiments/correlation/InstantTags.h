// The latest tags of two inputs, as far back as a time constant, for the histogram of the moment. Owned by
// the correlation tab; a plain object of the GUI thread. Times in ps, inputs 0 to 3.
#pragma once

#include "InputPair.h"
#include "TimestampQueue.h"
#include "UiTimeTag.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace qorn::timetagger::gui {

class InstantTags {
public:
    static constexpr std::size_t kMostTags = 1'000'000; // of an input

    // Forgets all tags. Equal inputs, or one outside 0 to 3, take none; neither does an object before its
    // first reset.
    void reset(int source, int target, qint64 windowPs);

    // Takes the tags of the two inputs, in stream order, and drops those older than the window, seen from the
    // later one of the two last tags. A tag that is late by more than the window begins a new run of time:
    // the latest ones held, as far as they lie ahead of it by more than the window, are forgotten.
    void addBatch(const QList<UiTimeTag>& tags);

    // The held ones in order of arrival.
    std::span<const std::int64_t> sourceTags() const { return sources.times(); }
    std::span<const std::int64_t> targetTags() const { return targets.times(); }

private:
    bool stepsBack(std::span<const std::int64_t> held, std::size_t added) const;
    void appendWithRestarts(std::span<const UiTimeTag> tags);
    bool isRestart(qint64 before, qint64 time) const;
    void dropOld();

    InputPair inputs;
    qint64 window = 1;
    TimestampQueue sources;
    TimestampQueue targets;
};

} // namespace qorn::timetagger::gui
