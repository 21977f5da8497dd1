#include "SeriesStroker.h"

#include <QImage>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace qorn::timetagger::gui {

namespace {

// Points further out than this are cut off before they reach the rasterizer: beyond what ends and joins of
// the widest pen can bring into view.
constexpr double kMargin = 64.0;

// Coordinates up to here go through Qt's own clipping unharmed.
constexpr double kFarthestPathPixel = 16000.0;

// Points closer together (pixels) have no direction worth the name.
constexpr double kShortestSegment = 1e-6;

constexpr size_t kSegmentsPerRun = 20;

// A run of more pixels of line than this in each pixel of its width is a solid patch: single lines look the
// same there, and are several times faster than the outline.
constexpr double kDensestOutline = 60.0;

// A longer run (pixels of line) that is no such patch is faster as single lines with their joins patched in,
// unless it has more than so many segments in each pixel of its width.
constexpr double kLongestOutline = 400.0;
constexpr double kDensestPatches = 1.5;

// A join that lacks less than this (square pixels) needs no patch.
constexpr double kSmallestGap = 0.05;

// Pixels by which a line reaches back into the one before.
constexpr double kOverlap = 0.5;

// Qt strokes pens of up to this width (device pixels) as hairlines, fast and in a look of their own.
constexpr double kHairline = 1.0;

QPointF normalOf(const QPointF& from, const QPointF& to, double length) {
    const QPointF d = to - from;
    return QPointF(-d.y(), d.x()) * (length / std::hypot(d.x(), d.y()));
}

// The point where the segment crosses the vertical line at x.
QPointF crossing(const QPointF& a, const QPointF& b, double x) {
    return {x, a.y() + (b.y() - a.y()) * ((x - a.x()) / (b.x() - a.x()))};
}

QPointF cutAt(const QPointF& end, const QPointF& other, double left, double right) {
    if (end.x() < left)
        return crossing(end, other, left);
    if (end.x() > right)
        return crossing(end, other, right);
    return end;
}

} // namespace

SeriesStroker::SeriesStroker(QPainter& target, const QRectF& visibleArea, const QPen& seriesPen)
    : painter(target), visible(visibleArea), pen(seriesPen), halfWidth(seriesPen.widthF() / 2.0) {}

void SeriesStroker::stroke(std::span<const QPointF> points) {
    if (pen.style() == Qt::NoPen || points.size() < 2)
        return;
    if (pen.style() != Qt::SolidLine || pen.widthF() * painter.deviceTransform().m11() <= kHairline)
        strokeOnePath(points);
    else if (pen.color().alpha() < 255)
        strokeThroughLayer(points);
    else
        forEachVisiblePiece(points, [this] { strokePiece(painter); });
}

void SeriesStroker::strokeOnePath(std::span<const QPointF> points) {
    QPainterPath path;
    const bool near = std::all_of(points.begin(), points.end(),
                                  [](const QPointF& p) { return std::abs(p.x()) <= kFarthestPathPixel; });
    if (near) {
        path.moveTo(points.front());
        for (const QPointF& point : points.subspan(1))
            path.lineTo(point);
    } else {
        forEachVisiblePiece(points, [&] {
            path.moveTo(piece.front());
            for (const QPointF& point : std::span(piece).subspan(1))
                path.lineTo(point);
        });
    }
    painter.setBrush(Qt::NoBrush);
    painter.setPen(pen);
    painter.drawPath(path);
}

// Overlapping runs would show in a translucent colour, so they are painted opaque and blended as a whole.
void SeriesStroker::strokeThroughLayer(std::span<const QPointF> points) {
    const double scale = painter.device()->devicePixelRatioF();
    const QRect area = visible.toAlignedRect();
    QImage layer((QSizeF(area.size()) * scale).toSize(), QImage::Format_ARGB32_Premultiplied);
    if (layer.isNull())
        return;
    layer.setDevicePixelRatio(scale);
    layer.fill(Qt::transparent);
    const double alpha = pen.color().alphaF();
    {
        QPainter layerPainter(&layer);
        layerPainter.setRenderHints(painter.renderHints());
        layerPainter.translate(-area.topLeft());
        QColor solid = pen.color();
        solid.setAlpha(255);
        SeriesStroker stroker(layerPainter, visible, QPen(solid, pen.widthF()));
        stroker.stroke(points);
    }
    const double opacity = painter.opacity();
    painter.setOpacity(opacity * alpha);
    painter.drawImage(area.topLeft(), layer);
    painter.setOpacity(opacity);
}

// Calls back with `piece` holding each stretch of the trace that can be seen, without repeated points.
template <typename Consumer>
void SeriesStroker::forEachVisiblePiece(std::span<const QPointF> points, Consumer&& consume) {
    const double left = visible.left() - kMargin;
    const double right = visible.right() + kMargin;
    const auto finish = [&] {
        if (piece.size() > 1)
            consume();
        piece.clear();
    };

    piece.clear();
    for (size_t i = 1; i < points.size(); ++i) {
        const QPointF& a = points[i - 1];
        const QPointF& b = points[i];
        if (std::max(a.x(), b.x()) < left || std::min(a.x(), b.x()) > right) {
            finish();
            continue;
        }
        const QPointF from = cutAt(a, b, left, right);
        const QPointF to = cutAt(b, a, left, right);
        if (piece.empty())
            piece.push_back(from);
        if ((to - piece.back()).manhattanLength() > kShortestSegment)
            piece.push_back(to);
        if (b.x() < left || b.x() > right)
            finish();
    }
    finish();
}

void SeriesStroker::strokePiece(QPainter& target) {
    // A path of its own has square caps; runs meet without any.
    const QPointF head = normalOf(piece[0], piece[1], halfWidth);
    const QPointF tail = normalOf(piece[piece.size() - 2], piece.back(), halfWidth);
    piece.front() += QPointF(-head.y(), head.x());
    piece.back() += QPointF(tail.y(), -tail.x());

    for (size_t first = 0; first + 1 < piece.size();) {
        const size_t last = std::min(first + kSegmentsPerRun, piece.size() - 1);
        double length = 0.0;
        double leftmost = piece[first].x();
        double rightmost = leftmost;
        for (size_t i = first + 1; i <= last; ++i) {
            const QPointF step = piece[i] - piece[i - 1];
            length += std::abs(step.x()) + std::abs(step.y());
            leftmost = std::min(leftmost, piece[i].x());
            rightmost = std::max(rightmost, piece[i].x());
        }
        const double width = rightmost - leftmost;
        const auto segments = static_cast<double>(last - first);
        if (segments > width && length > kDensestOutline * width) {
            drawRunLines(target, first, last);
        } else if (segments <= kDensestPatches * width && length > kLongestOutline) {
            drawRunLines(target, first, last);
            fillRunJoins(target, first, last);
        } else {
            fillRunOutline(target, first, last);
        }
        first = last;
    }
}

// The outline of the segments' rectangles with their bevelled joins, the one to the run before among them.
// Qt's stroker makes the same shape at several times the cost.
void SeriesStroker::fillRunOutline(QPainter& target, size_t first, size_t last) {
    outline.clear();
    otherSide.clear();
    const auto addPair = [this](const QPointF& at, const QPointF& normal) {
        outline.push_back(at + normal);
        otherSide.push_back(at - normal);
    };
    if (first > 0)
        addPair(piece[first], normalOf(piece[first - 1], piece[first], halfWidth));
    for (size_t i = first; i < last; ++i) {
        const QPointF normal = normalOf(piece[i], piece[i + 1], halfWidth);
        addPair(piece[i], normal);
        addPair(piece[i + 1], normal);
    }
    outline.insert(outline.end(), otherSide.rbegin(), otherSide.rend());
    target.setPen(Qt::NoPen);
    target.setBrush(pen.color());
    target.drawPolygon(outline.data(), static_cast<int>(outline.size()), Qt::WindingFill);
}

void SeriesStroker::drawRunLines(QPainter& target, size_t first, size_t last) {
    lines.clear();
    for (size_t i = first; i < last; ++i) {
        QPointF from = piece[i];
        // Where the trace goes on forward, the lines overlap a little: antialiased ends that meet leave a
        // seam.
        if (i > 0) {
            const QPointF step = piece[i + 1] - from;
            if (QPointF::dotProduct(from - piece[i - 1], step) > 0.0)
                from -= step * (kOverlap / std::hypot(step.x(), step.y()));
        }
        lines.emplace_back(from, piece[i + 1]);
    }
    QPen flat = pen;
    flat.setCapStyle(Qt::FlatCap);
    target.setPen(flat);
    target.setBrush(Qt::NoBrush);
    target.drawLines(lines.data(), static_cast<int>(lines.size()));
}

// What the bevelled joins add to the bare lines, the join to the run before among them. Each patch reaches a
// little into both lines, so that no seam shows.
void SeriesStroker::fillRunJoins(QPainter& target, size_t first, size_t last) {
    target.setPen(Qt::NoPen);
    target.setBrush(pen.color());
    for (size_t i = std::max<size_t>(first, 1); i < last; ++i) {
        const QPointF& joint = piece[i];
        const QPointF before = normalOf(piece[i - 1], joint, 1.0);
        const QPointF after = normalOf(joint, piece[i + 1], 1.0);
        const double turn = before.x() * after.y() - before.y() * after.x();
        if (halfWidth * halfWidth * std::abs(turn) / 2.0 < kSmallestGap)
            continue;
        // The gap is on the far side of the turn.
        const double side = turn > 0.0 ? -halfWidth : halfWidth;
        const QPointF back(-before.y(), before.x());
        const QPointF ahead(after.y(), -after.x());
        const QPointF patch[] = {joint, joint + before * side + back, joint + before * side,
                                 joint + after * side, joint + after * side + ahead};
        target.drawPolygon(patch, 5, Qt::WindingFill);
    }
}

} // namespace qorn::timetagger::gui
