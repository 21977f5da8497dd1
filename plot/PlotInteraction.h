// The mouse on a plot: panning, marking a region to zoom into, hovering. Works on the record that
// BarChartWidget owns and knows no widget; GUI thread. Positions are in widget pixels, `plot` is the plot
// area at that moment.
#pragma once

#include "PlotModel.h"

#include <QPointF>
#include <QRectF>

namespace qorn::timetagger::gui {

// The band that a drag in a zoom mode marks, inside the plot area: from one pixel to the other along one
// axis, over the whole of the other axis.
struct RegionBand {
    Qt::Orientation axis;
    double from;
    double to;
};
RegionBand regionBand(const PlotModel& model, const QRectF& plot);

class PlotInteraction {
public:
    explicit PlotInteraction(PlotModel& model);

    // Starts a drag, also in place of one under way. False when the press is none of the plot's business.
    bool press(Qt::MouseButton button, Qt::KeyboardModifiers modifiers, const QPointF& position,
               const QRectF& plot);
    void move(const QPointF& position, const QRectF& plot);
    // Ends a drag; a marked region becomes the view.
    void release(const QPointF& position, const QRectF& plot);
    void leave();

private:
    void applyRegionZoom(const QRectF& plot);
    void pan(const QPointF& position, const QRectF& plot);

    PlotModel& model;
};

} // namespace qorn::timetagger::gui
