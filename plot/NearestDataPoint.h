// The data point that the hover readout follows. Pure function, any thread.
#pragma once

#include "PlotModel.h"

#include <QPointF>
#include <QRectF>

#include <optional>

namespace qorn::timetagger::gui {

// The point of the main data (bar centre and height, or series point) nearest to a position in pixels, in
// axis units; distances along x count for far more than those along y. The first one on a tie, nothing
// without data.
std::optional<QPointF> nearestDataPoint(const PlotModel& model, const QRectF& plot, const QPointF& position);

} // namespace qorn::timetagger::gui
