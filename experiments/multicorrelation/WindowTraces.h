// What the windows of all pairs counted in each of the latest gates: the record behind the trace plot, as old
// as its window allows. When they are more gates than can be told apart in a plot, some share a block of
// which the extremes are kept, so memory and points stay bounded. A plain value, used on the GUI thread.
#pragma once

#include "PairCorrelator.h"
#include "TraceThinning.h"

#include <QtGlobal>

#include <array>
#include <deque>

namespace qorn::timetagger::gui {

class WindowTraces {
public:
    // So many gates have a block each. Of more, two share one, and so on.
    static constexpr std::size_t kMostBlocks = 2000;

    // One value per window, in the order of PairCorrelator::WindowCounts.
    using Values = std::array<double, PairCorrelator::kWindows>;

    void clear();
    // Takes a gate of `gatePs`. Drops the oldest gates while all together are longer than `windowPs`; two
    // stay, for a line to draw.
    void append(const Values& values, qint64 gatePs, qint64 windowPs);
    // Takes `gates` gates without events in the same way, but at once.
    void appendSilence(quint64 gates, qint64 gatePs, qint64 windowPs);

    std::size_t blocksHeld() const { return blocks.size(); }
    double seconds() const; // of all gates that are held
    // Values over time in s, the oldest gate that is held from 0 on, each value at its gate's end: one per
    // gate, or the lowest and the highest of a block.
    Trace trace(std::size_t window) const;

private:
    struct Extreme {
        double value = 0.0;
        qint64 atPs = 0; // the end of its gate, from the block's begin
    };
    struct Extremes {
        Extreme lowest;
        Extreme highest;
    };
    struct Block {
        qint64 gates = 0;
        qint64 lengthPs = 0;
        std::array<Extremes, PairCorrelator::kWindows> windows{};
        void append(const Block& next);
    };

    qint64 roomInNewestBlock() const;
    void appendAlike(const Values& values, qint64 gates, qint64 gatePs);
    void shareBlocks();
    void trim(qint64 windowPs);

    std::deque<Block> blocks; // oldest first
    qint64 gatesPerBlock = 1; // of new blocks
    qint64 heldGates = 0;
    qint64 heldPs = 0;
};

} // namespace qorn::timetagger::gui
