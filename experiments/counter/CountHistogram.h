// How often values occur: several traces counted in bins that they share. Pure function.
#pragma once

#include "CounterTraces.h"

#include <QList>

namespace qorn::timetagger::gui {

struct CountHistogram {
    QList<double> centres;        // of the bins, ascending
    QList<QList<double>> heights; // one list per trace, parallel to centres
    double binWidth = 1.0;
    double highest = 0.0; // of all heights
    AxisRange xRange;     // all bins, and half a bin on either side
};

// Counts the values of each trace. The number of bins follows the number of values of one trace, 10 to 100;
// bins beyond the highest value are left out. Whole numbers get bins of a whole width around whole numbers.
// A single value gets one bin of width 1; no values give no bins and the range 0 to 1.
CountHistogram countHistogram(const CounterTraces& traces, bool wholeNumbers);

} // namespace qorn::timetagger::gui
