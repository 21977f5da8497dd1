// Thins long traces for painting: the plot paints every point that it is given, so whoever holds long traces
// hands in fewer. Pure function.
#pragma once

#include <QList>

namespace qorn::timetagger::gui {

struct Trace {
    QList<double> xs;
    QList<double> ys;
};

// The trace itself when it has at most `mostPoints`; else the lowest and the highest point of each of
// mostPoints / 2 stretches of it, in their order, so that no peak is lost. `xs` and `ys` are parallel.
Trace thinnedTrace(const QList<double>& xs, const QList<double>& ys, qsizetype mostPoints);

} // namespace qorn::timetagger::gui
