// Values to plot over time, and the range of an axis. Plain values.
#pragma once

#include <QList>

namespace qorn::timetagger::gui {

struct CounterTraces {
    QList<double> xs;        // of all traces
    QList<QList<double>> ys; // one list per trace, parallel to xs
    // Of all values; both 0 without any.
    double lowest = 0.0;
    double highest = 0.0;
};

struct AxisRange {
    double lo = 0.0;
    double hi = 1.0;
    bool operator==(const AxisRange&) const = default;
};

} // namespace qorn::timetagger::gui
