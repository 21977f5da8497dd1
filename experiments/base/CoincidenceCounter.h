// Counts singles, pairs, triples and quadruples of events that come sorted by time. Each event is compared
// with the latest event of each other input, so the memory is four times. A plain value; knows no gate.
#pragma once

#include "CoincidencePairs.h"
#include "TimeTag.h"

#include <QtGlobal>

#include <array>

namespace qorn::timetagger::gui {

class CoincidenceCounter {
public:
    struct Counts {
        std::array<quint64, timing::kChannels> singles{};
        std::array<quint64, kPairs> pairs{};
        std::array<quint64, 4> triples{}; // 123, 124, 134, 234
        quint64 quadruple = 0;
        quint64 pairSum = 0; // of all pairs

        Counts& operator+=(const Counts& other);
        Counts& operator-=(const Counts& other); // modulo 2^64
        bool operator==(const Counts&) const = default;
    };

    // The limit of |t_i - t_j| of each pair in ps, inclusive.
    void setPairWindows(const std::array<quint64, kPairs>& windowsPs) { pairWindow = windowsPs; }

    // Forgets the counts and the events; the windows stay.
    void reset();

    // Counts an event of input `channel` (0 to 3) at `timePs`, offsets applied. An event may be older than
    // the one before: the distance counts either way.
    void add(qint64 timePs, std::size_t channel);

    const Counts& counts() const { return running; }

private:
    bool latestAreClose(std::size_t a, std::size_t b) const;
    void addHigher(std::size_t channel, unsigned matched);

    Counts running;
    std::array<qint64, timing::kChannels> lastTime{};
    std::array<bool, timing::kChannels> seen{};
    std::array<quint64, kPairs> pairWindow{};
};

} // namespace qorn::timetagger::gui
