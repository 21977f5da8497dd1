// The fifteen counts of a gate in the order in which table and log have them: singles, pairs, triples and the
// quadruple. Pure functions.
#pragma once

#include "CoincidenceCounter.h"

#include <QStringList>

#include <array>

namespace qorn::timetagger::gui {

inline constexpr std::size_t kCoincidenceCounts = 15;

std::array<quint64, kCoincidenceCounts> countsInOrder(const CoincidenceCounter::Counts& counts);

// The inputs that make each count, "1" to "1-2-3-4"; and of the six pairs alone, "1-2" to "3-4".
QStringList countLabels();
QStringList pairLabels();

} // namespace qorn::timetagger::gui
