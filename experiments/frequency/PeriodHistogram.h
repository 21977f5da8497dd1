// How often period errors occur, in bins around zero. Pure function.
#pragma once

#include <QList>
#include <QtGlobal>

#include <span>

namespace qorn::timetagger::gui {

struct PeriodHistogram {
    QList<double> centresNs; // of the bins, ascending, zero in the middle
    QList<double> counts;    // parallel to centresNs
    double highest = 0.0;    // of the counts
};

// Counts the errors (ps) within the range around zero, its ends included, in bins of the width centred on
// multiples of it; an error between two centres belongs to the one farther from zero. There are 3 to 10001
// bins, and what lies beyond the last is not counted. Range and width in ps, 1 to 1e12.
PeriodHistogram periodHistogram(std::span<const qint64> errorsPs, qint64 rangePs, qint64 binPs);

} // namespace qorn::timetagger::gui
