// Paints bars and series into the plot area. Made for one paint, on a painter that is clipped to `visible`;
// GUI thread. Each point is mapped and painted, in its order; a point without a place (NaN, infinite x) is
// left out.
#pragma once

#include "PlotGeometry.h"
#include "PlotModel.h"

#include <QPointF>
#include <QRect>

#include <vector>

class QPainter;

namespace qorn::timetagger::gui {

class PlotDataPainter {
public:
    PlotDataPainter(QPainter& painter, const PlotModel& model, const PlotMapping& mapping,
                    const QRect& visible);

    void drawMain();
    void drawOverlays();

private:
    struct SeriesSet {
        const QList<QList<double>>& xs;
        const QList<QList<double>>& ys;
        const QList<QColor>& colors;
        PlotSeriesMode mode;
        qsizetype colorOffset;
    };

    void drawBars();
    void drawSeries(const SeriesSet& set);
    void drawPoints(const QColor& color);
    void drawLine(const QColor& color);
    void mapPoints(const QList<double>& xs, const QList<double>& ys);

    QPainter& painter;
    const PlotModel& model;
    PlotMapping mapping;
    QRect visible;
    // The series being painted, in pixels; kept from series to series.
    std::vector<QPointF> pixels;
};

} // namespace qorn::timetagger::gui
