// A second, plain painting of the plot for whole pictures: everything that an owner can set, and the picture
// that it should give, drawn straight by the numbers without any care for speed.
#pragma once

#include "PlotTestSupport.h"

namespace plottest {

struct SeriesSet {
    QList<QList<double>> xs;
    QList<QList<double>> ys;
    QStringList labels;
    QList<QColor> colors;
    BarChartWidget::SeriesMode mode = BarChartWidget::Bars;
};

struct PlotState {
    std::string name;
    QSize size{480, 258};
    View view{0.0, 10.0, 0.0, 10.0};
    int fontPointSize = 10;
    double lineWidth = 1.8;
    Qt::PenStyle penStyle = Qt::SolidLine;
    QColor fill = kDefaultFill;
    QColor border = kDefaultBorder;
    // Bars when there are any, else the series.
    QList<double> barXs;
    QList<double> barHeights;
    double barWidth = 1.0;
    SeriesSet series;
    SeriesSet overlays;
    QList<double> ticks;
    QStringList tickLabels;
    QString xLabel;
    QString yLabel;
    bool legend = true;
    QStringList statTexts;
    QList<QColor> statColors;
    QList<double> markers;
    QStringList markerLabels;
    QList<QColor> markerColors;
};

void apply(const PlotState& state, const Scheme& scheme, BarChartWidget& plot);
// `plot` gives the font and the mapping of values to pixels.
QImage referencePicture(const PlotState& state, const Scheme& scheme, const BarChartWidget& plot);

} // namespace plottest
