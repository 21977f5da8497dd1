// What reaches the tabs of a stream whose content repeats: how many tags, how late, and how many did not
// come. Used on the GUI thread.
#pragma once

#include "UiTimeTag.h"

#include <chrono>
#include <deque>
#include <optional>
#include <vector>

namespace qorn::bench {

class StreamMeter {
public:
    using Clock = std::chrono::steady_clock;

    // Every so many ps of instrument time the stream holds the same tags.
    explicit StreamMeter(qint64 repeatPs) : blockPs(repeatPs) {}

    // A batch that all tabs have just worked off, of a stream whose time 0 was at `streamBegin`.
    void take(const timetagger::gui::UiTimeTagBatch& batch, Clock::time_point streamBegin);

    std::optional<Clock::time_point> firstArrival() const { return first; }
    quint64 received() const { return tags; }
    // Tags that whole blocks lack which others have: lost, or withheld from the window by its budget.
    quint64 missing() const;
    // From a batch's newest tag, as it came to the input, until all tabs have worked it off; the longest.
    double delayMs(std::chrono::milliseconds latest) const; // of the batches that came so lately
    double longestDelayMs() const { return longestMs; }

private:
    struct Delay {
        Clock::time_point when;
        double ms;
    };

    quint64& block(qint64 timePs);

    qint64 blockPs;
    std::optional<Clock::time_point> first;
    quint64 tags = 0;
    std::vector<quint64> blocks;
    std::deque<Delay> delays;
    double longestMs = 0.0;
};

} // namespace qorn::bench
