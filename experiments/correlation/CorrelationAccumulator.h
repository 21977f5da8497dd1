// The integrated histogram of the lags target - source of two inputs: counts each pair of tags in the window
// once as the tags come, and holds only those that can still pair. Owned by the correlation tab; a plain
// object of the GUI thread. Times, lags and bins in ps, inputs 0 to 3.
#pragma once

#include "InputPair.h"
#include "LagCounter.h"
#include "TimestampQueue.h"
#include "UiTimeTag.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <vector>

namespace qorn::timetagger::gui {

class CorrelationAccumulator {
public:
    // Tags held of an input before the offset is known.
    static constexpr std::size_t kMostWaitingTags = 1'000'000;
    // Tags held of an input afterwards, for when the other one is silent; what can pair is far less.
    static constexpr std::size_t kMostHeldTags = std::size_t{1} << 23;
    // Tags of each input from which on an offset is looked for.
    static constexpr std::size_t kLeastOffsetTags = 128;

    struct Setup {
        int source = 0;
        int target = 1;
        qint64 windowPs = 1000;             // half-range, inclusive; at least 1
        qint64 binPs = 8;                   // at least 1
        std::optional<qint64> offsetPs = 0; // absent: found from the tags by settleOffset()
    };

    struct Span {
        qint64 firstPs = 0;
        qint64 lastPs = 0;
        bool operator==(const Span&) const = default;
    };

    CorrelationAccumulator() { reset({}); }

    // Forgets tags, counts and statistics. Live at once unless the offset is absent. Equal inputs, or one
    // outside 0 to 3, take no tags.
    void reset(const Setup& newSetup);

    // The tags that follow do not go on where the last ones ended: the time in between was not measured.
    void breakOff();

    // Takes the tags of the two inputs. The times of an input are in order; the two inputs may interleave in
    // any way. A tag that is late by no more than the window is put in its place. With one that is later than
    // that, a new run of time begins: held tags are forgotten, except those that the other input has had
    // since and that are not ahead of it.
    void addBatch(const QList<UiTimeTag>& tags);

    // Where the offset was left to be found: with enough tags of both inputs, takes the typical lag, of those
    // up to +-searchPs, as the offset and counts all held tags. True when it has just become live.
    bool settleOffset(qint64 searchPs);

    bool isLive() const { return live; }
    qint64 offsetPs() const { return offset; } // 0 until it is live

    std::span<const std::uint64_t> counts() const { return counter.counts(); } // 2 * half() + 1 bins
    qint64 half() const { return setup.windowPs / setup.binPs; }
    qint64 binPs() const { return setup.binPs; }
    qint64 windowPs() const { return setup.windowPs; }

    // Of all tags since the reset. The measured time is that of the ends of the batches, less what lies
    // between the runs; the span is that of the latest run. None before the first tag.
    qint64 sourceTagCount() const { return source.taken; }
    qint64 targetTagCount() const { return target.taken; }
    qint64 measuredPs() const;
    std::optional<Span> tagSpan() const { return span; }

    // The held ones, ascending.
    std::span<const std::int64_t> sourceTags() const { return source.held.times(); }
    std::span<const std::int64_t> targetTags() const { return target.held.times(); }

private:
    static constexpr std::int64_t kNoTime = std::numeric_limits<std::int64_t>::min();

    struct Input {
        TimestampQueue held;
        std::int64_t newest = kNoTime; // of all taken ones, held or not, that are not forgotten
        std::size_t sinceOther = 0;    // tags taken since the other input's last one
        qint64 taken = 0;
        std::vector<std::int64_t> pending; // of a piece out of order

        bool takesInOrder(std::span<const std::int64_t> added) const;
        void noteInOrder(std::span<const std::int64_t> added, bool otherIsSilent, std::size_t behindOther);
        void forgetAll();
        void forgetRun(std::int64_t limit);
        void holdPending();
    };

    void note(Input& input, std::span<const std::int64_t> added);
    void takeOutOfOrder(std::span<const UiTimeTag> tags);
    void takePending();
    void countNew(std::size_t oldSources, std::size_t oldTargets);
    void dropUseless();

    Setup setup;
    InputPair inputs;
    qint64 offset = 0;
    bool live = true;
    timing::LagCounter counter;
    Input source;
    Input target;
    std::optional<Span> span; // of the latest run with tags
    qint64 earlierRunsPs = 0; // measured in those before
    bool runHasEnded = false; // the next tag begins another one
};

} // namespace qorn::timetagger::gui
