// What a plot shows, read from the bytes of its plot file, which hold all of it but the ranges and the ticks;
// the ranges are read off the widget.
#pragma once

#include "BarChartWidget.h"

#include <QColor>
#include <QList>
#include <QStringList>

#include <ostream>

namespace qorn::testing {

struct ShownPlot {
    QString xLabel;
    QString yLabel;
    int mode = -1; // 0 bars, 1 lines, 2 points
    double barWidth = 0.0;
    QList<double> barXs;
    QList<double> barHeights;
    QList<QList<double>> xs;
    QList<QList<double>> ys;
    QStringList labels;
    QList<QColor> colors;
    int overlayMode = -1;
    QList<QList<double>> overlayXs;
    QList<QList<double>> overlayYs;
    QStringList overlayLabels;
    QList<QColor> overlayColors;
    QStringList statTexts;
    QList<QColor> statColors;
    QList<double> markerValues;
    QStringList markerLabels;
    QList<QColor> markerColors;

    // The number of points of all series; -1 when xs and ys do not fit.
    qsizetype points() const;
};

// Fails the test when the bytes are not those of a plot.
ShownPlot shownBy(const timetagger::gui::BarChartWidget& plot);

struct ShownRange {
    double lo = 0.0;
    double hi = 0.0;
};
ShownRange xRangeOf(const timetagger::gui::BarChartWidget& plot);
ShownRange yRangeOf(const timetagger::gui::BarChartWidget& plot);
// Equal to a millionth of the span.
void expectRange(const ShownRange& range, double lo, double hi, const char* what = "");
void expectValues(const QList<double>& values, const QList<double>& expected, const char* what = "");

} // namespace qorn::testing
