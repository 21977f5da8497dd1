// Strokes one trace of mapped points. Made for one paint by its painter, GUI thread.
//
// A solid pen gives the picture of one stroked path at a small part of its cost: the trace is cut into short
// runs, because the rasterizer slows down with the square of what crosses a scan line. Other pen styles are
// stroked as the one path, so that the dashes follow the trace.
#pragma once

#include <QLineF>
#include <QPen>
#include <QPointF>
#include <QRectF>

#include <span>
#include <vector>

class QPainter;

namespace qorn::timetagger::gui {

class SeriesStroker {
public:
    // The painter's clip lies within `visible` (logical pixels) and outlives the stroker.
    SeriesStroker(QPainter& painter, const QRectF& visible, const QPen& pen);

    // Finite points in logical pixels, in their order; y is expected near the visible part, x can be
    // anywhere.
    void stroke(std::span<const QPointF> points);

private:
    void strokeOnePath(std::span<const QPointF> points);
    void strokeThroughLayer(std::span<const QPointF> points);
    template <typename Consumer>
    void forEachVisiblePiece(std::span<const QPointF> points, Consumer&& consume);
    void strokePiece(QPainter& target);
    void fillRunOutline(QPainter& target, size_t first, size_t last);
    void drawRunLines(QPainter& target, size_t first, size_t last);
    void fillRunJoins(QPainter& target, size_t first, size_t last);

    QPainter& painter;
    QRectF visible;
    QPen pen;
    double halfWidth;
    // Scratch space, kept from run to run.
    std::vector<QPointF> piece;
    std::vector<QPointF> outline;
    std::vector<QPointF> otherSide;
    std::vector<QLineF> lines;
};

} // namespace qorn::timetagger::gui
