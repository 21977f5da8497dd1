// What a plot shows as bytes and back: a binary form with the whole display state, and comma separated text
// with the data alone. Pure functions over the plot's record, which BarChartWidget owns; any thread.
//
// Bytes and texts that are read are anybody's: nothing is reserved for an element count that the rest of the
// bytes cannot hold. On failure the plot is as it was, and `error`, if not null, holds a text for the
// operator.
#pragma once

#include "PlotModel.h"

#include <QByteArray>
#include <QString>
#include <QStringView>

namespace qorn::timetagger::gui {

// Most bars, points of all series, and points of all overlays of a file that is read, each.
inline constexpr qsizetype kMaxPlotFilePoints = 5'000'000;

QByteArray encodePlot(const PlotModel& plot);
// Replaces data, labels and annotations, removes custom ticks, and lets the view go over all points.
bool decodePlot(const QByteArray& bytes, PlotModel& plot, QString* error);

// One line per point, numbers with 16 digits; overlays look like series.
QString encodePlotCsv(const PlotModel& plot);
// Replaces the data with lines, or with bars if there is one series with the name "bars"; removes overlays,
// custom ticks and annotations, and lets the view go over all points.
bool decodePlotCsv(QStringView text, PlotModel& plot, QString* error);

} // namespace qorn::timetagger::gui
