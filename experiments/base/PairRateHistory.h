// Coincidence rates of the six pairs over time: what a pair trace shows. A plain value.
#pragma once

#include "CoincidencePairs.h"

#include <QList>

#include <array>
#include <deque>

namespace qorn::timetagger::gui {

class PairRateHistory {
public:
    void clear() { samples.clear(); }
    // Times in s, ascending; rates in Hz.
    void append(double timeSeconds, const std::array<double, kPairs>& rates);
    // Drop the oldest samples: down to `most`, or those older than `seconds` before the newest.
    void trimToCount(std::size_t most);
    void trimToAge(double seconds);

    std::size_t size() const { return samples.size(); }
    QList<double> times() const;                 // s, oldest first
    QList<double> rates(std::size_t pair) const; // Hz, parallel to times

private:
    struct Sample {
        double time = 0.0;
        std::array<double, kPairs> rates{};
    };
    std::deque<Sample> samples;
};

} // namespace qorn::timetagger::gui
