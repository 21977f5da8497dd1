// Paints what stands on top of the data: region rectangle, hover readout, legend, statistics box, Y markers.
// Made for one paint; GUI thread.
#pragma once

#include "PlotGeometry.h"
#include "PlotModel.h"
#include "PlotScheme.h"

#include <QFontMetrics>
#include <QRectF>

class QPainter;

namespace qorn::timetagger::gui {

class PlotAnnotations {
public:
    PlotAnnotations(QPainter& painter, const PlotModel& model, const PlotMapping& mapping,
                    const PlotColors& colors, const QFontMetrics& metrics);

    void drawRegion();
    void drawHover();
    void drawLegend();
    void drawStatLines();
    void drawYMarkers();

private:
    struct LegendEntry {
        QString label;
        QColor color;
    };

    QList<LegendEntry> legendEntries() const;
    int rowHeight() const;
    void drawBox(const QRectF& box);

    QPainter& painter;
    const PlotModel& model;
    PlotMapping mapping;
    const PlotColors& colors;
    QFontMetrics metrics;
};

} // namespace qorn::timetagger::gui
