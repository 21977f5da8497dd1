#include "PlotInteraction.h"

#include "PlotGeometry.h"

#include <algorithm>
#include <cmath>

namespace qorn::timetagger::gui {

namespace {

// A shorter drag is a click with an unsteady hand.
constexpr double kShortestZoomDrag = 6.0;

QPointF clampedInto(const QRectF& plot, const QPointF& point) {
    return {std::clamp(point.x(), plot.left(), plot.right()),
            std::clamp(point.y(), plot.top(), plot.bottom())};
}

PlotDragMode dragModeFor(Qt::MouseButton button, Qt::KeyboardModifiers modifiers, bool boxZoomMode) {
    if (button == Qt::RightButton || button == Qt::MiddleButton)
        return PlotDragMode::Pan;
    if (button != Qt::LeftButton)
        return PlotDragMode::None;
    if (modifiers.testFlag(Qt::ShiftModifier))
        return PlotDragMode::ZoomX;
    if (modifiers.testFlag(Qt::ControlModifier))
        return PlotDragMode::ZoomY;
    return boxZoomMode ? PlotDragMode::ZoomDominant : PlotDragMode::Pan;
}

} // namespace

RegionBand regionBand(const PlotModel& model, const QRectF& plot) {
    const QPointF start = clampedInto(plot, model.dragStart);
    const QPointF end = clampedInto(plot, model.dragCurrent);
    const bool alongX = model.dragMode == PlotDragMode::ZoomX ||
                        (model.dragMode == PlotDragMode::ZoomDominant &&
                         std::abs(end.x() - start.x()) >= std::abs(end.y() - start.y()));
    if (alongX)
        return {Qt::Horizontal, std::min(start.x(), end.x()), std::max(start.x(), end.x())};
    return {Qt::Vertical, std::min(start.y(), end.y()), std::max(start.y(), end.y())};
}

PlotInteraction::PlotInteraction(PlotModel& plotModel) : model(plotModel) {}

bool PlotInteraction::press(Qt::MouseButton button, Qt::KeyboardModifiers modifiers, const QPointF& position,
                            const QRectF& plot) {
    if (!plot.contains(position))
        return false;
    const PlotDragMode mode = dragModeFor(button, modifiers, model.boxZoomMode);
    if (mode == PlotDragMode::None)
        return false;
    model.dragMode = mode;
    model.dragStart = position;
    model.dragCurrent = position;
    if (mode == PlotDragMode::Pan)
        model.dragStartView = model.view;
    return true;
}

void PlotInteraction::move(const QPointF& position, const QRectF& plot) {
    model.hovering = true;
    model.hoverPosition = position.toPoint();
    if (model.dragMode == PlotDragMode::Pan)
        pan(position, plot);
    else if (model.dragMode != PlotDragMode::None)
        model.dragCurrent = position;
}

void PlotInteraction::release(const QPointF& position, const QRectF& plot) {
    if (model.dragMode != PlotDragMode::None && model.dragMode != PlotDragMode::Pan) {
        model.dragCurrent = position;
        applyRegionZoom(plot);
    }
    model.dragMode = PlotDragMode::None;
}

void PlotInteraction::leave() {
    model.hovering = false;
}

void PlotInteraction::pan(const QPointF& position, const QRectF& plot) {
    const PlotView& start = model.dragStartView;
    const QPointF moved = position - model.dragStart;
    const double dx = -moved.x() / plot.width() * (start.xMax - start.xMin);
    const double dy = moved.y() / plot.height() * (start.yMax - start.yMin);
    model.view = {start.xMin + dx, start.xMax + dx, start.yMin + dy, start.yMax + dy};
    model.manualRange = true;
}

void PlotInteraction::applyRegionZoom(const QRectF& plot) {
    const RegionBand band = regionBand(model, plot);
    if (band.to - band.from < kShortestZoomDrag)
        return;
    const PlotMapping mapping{model.view, plot};
    PlotView zoomed = model.view;
    if (band.axis == Qt::Horizontal) {
        zoomed.xMin = mapping.valueX(band.from);
        zoomed.xMax = mapping.valueX(band.to);
    } else {
        zoomed.yMin = mapping.valueY(band.to);
        zoomed.yMax = mapping.valueY(band.from);
    }
    // Zoomed in beyond what a double resolves, there is nothing left to show.
    if (!(zoomed.xMin < zoomed.xMax) || !(zoomed.yMin < zoomed.yMax))
        return;
    model.view = zoomed;
    model.manualRange = true;
}

} // namespace qorn::timetagger::gui
