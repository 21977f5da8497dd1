// What a plot shows and how the operator looks at it: the plain record behind BarChartWidget, which owns it
// and alone changes it, on the GUI thread. Positions, heights and ranges are in axis units, drag and hover
// positions in widget pixels.
#pragma once

#include <QColor>
#include <QList>
#include <QPoint>
#include <QPointF>
#include <QString>
#include <QStringList>

namespace qorn::timetagger::gui {

// What a set of data is; the numbers stand in plot files.
enum class PlotSeriesMode : int { Bars = 0, Lines = 1, Points = 2 };

// What the mouse is doing: nothing, moving the view, or marking a region to zoom into (on the axis along
// which the drag is longer, on X, on Y).
enum class PlotDragMode : int { None = 0, Pan = 1, ZoomDominant = 2, ZoomX = 3, ZoomY = 4 };

// The look that the operator chooses. The line width is in pixels.
struct PlotOptions {
    QString colorScheme = QStringLiteral("Default");
    int fontPointSize = 10;
    double lineWidth = 1.8;
    Qt::PenStyle penStyle = Qt::SolidLine;

    bool operator==(const PlotOptions&) const = default;
};

// A part of the plane in axis units.
struct PlotView {
    double xMin = 0.0;
    double xMax = 1.0;
    double yMin = 0.0;
    double yMax = 1.0;

    bool operator==(const PlotView&) const = default;
};

// Colours of a scheme. An invalid colour leaves the choice to the widget's palette or a fixed default; a
// palette that is not empty overrides all colours given with the data.
struct PlotScheme {
    QColor background;
    QColor foreground;
    QColor grid;
    QList<QColor> palette;
};

struct PlotModel {
    QList<double> barXs;
    QList<double> barHeights;
    QList<double> tickPositions;
    QStringList tickLabels;
    QString xAxisLabel;
    QString yAxisLabel;
    QColor barFill{0x40, 0x96, 0x78};
    QColor barBorder{0x22, 0x69, 0x52};
    QList<QList<double>> seriesXs;
    QList<QList<double>> seriesYs;
    QStringList seriesLabels;
    QList<QList<double>> overlayXs;
    QList<QList<double>> overlayYs;
    QStringList overlayLabels;
    QStringList statTexts;
    QList<QColor> statColors;
    QList<double> markerValues;
    QStringList markerLabels;
    QList<QColor> markerColors;
    QList<QColor> seriesColors;
    QList<QColor> overlayColors;
    PlotSeriesMode seriesMode = PlotSeriesMode::Bars;
    PlotSeriesMode overlayMode = PlotSeriesMode::Lines;
    double barWidth = 1.0;
    PlotView view;
    PlotView automaticRange;
    bool manualRange = false;
    PlotDragMode dragMode = PlotDragMode::None;
    QPointF dragStart;
    QPointF dragCurrent;
    PlotView dragStartView;
    bool hovering = false;
    QPoint hoverPosition;
    bool boxZoomMode = true;
    bool legendVisible = true;
    PlotOptions options;
    PlotScheme scheme;

    // Series have as many members as there are both xs and ys.
    qsizetype barCount() const { return qMin(barXs.size(), barHeights.size()); }
    qsizetype seriesCount() const { return qMin(seriesXs.size(), seriesYs.size()); }
    qsizetype overlayCount() const { return qMin(overlayXs.size(), overlayYs.size()); }

    // Main data: bars of one full width (axis units, negative or NaN counts as 0), or series. Each replaces
    // the other; overlays stay.
    void showBars(const QList<double>& xs, const QList<double>& heights, double width);
    void showSeries(const QList<QList<double>>& xs, const QList<QList<double>>& ys, const QStringList& labels,
                    const QList<QColor>& colors, PlotSeriesMode mode);
    void clearOverlays();
    // Empties bars, series and overlays; modes, ticks, stat lines, markers and ranges stay.
    void clearData();
};

} // namespace qorn::timetagger::gui
