// Finds the offsets of inputs that bring the peaks of their pairs' lag histograms to zero: a weighted least
// squares problem over the pairs. Pure functions.
#pragma once

#include "MultiCorrelationSettings.h"

#include <array>
#include <optional>
#include <span>
#include <vector>

namespace qorn::timetagger::gui {

// What a peak asks for: the second input's offset minus the first's.
struct OffsetEquation {
    PairChannels channels;
    double differencePs = 0.0;
    double weight = 1.0; // less than 1 counts as 1
};

// The equation of a pair by the highest bin of its histogram, the first of several; absent when nothing has
// been counted.
std::optional<OffsetEquation> peakEquation(PairChannels channels, std::span<const quint64> histogram,
                                           const LagBins& bins);

// The correction of each input in ns. The lowest input of all equations is the reference and stays at 0, as
// do inputs without an equation. Absent when there is no equation or the equations do not settle the offsets.
std::optional<std::array<double, timing::kChannels>>
estimateOffsetCorrections(std::span<const OffsetEquation> equations);

} // namespace qorn::timetagger::gui
