#include "PlotDataPainter.h"

#include "BarRaster.h"
#include "PlotScheme.h"
#include "SeriesStroker.h"

#include <QPainter>
#include <QPen>

#include <algorithm>
#include <cmath>

namespace qorn::timetagger::gui {

namespace {

// Mapped values are kept within this many pixels of the plot: no picture changes, and nothing overflows.
constexpr double kFarthestBarPixel = 4096.0;
constexpr double kFarthestPointPixel = 1e9;

constexpr double kBorderPerLineWidth = 0.65;
constexpr double kThinnestBorder = 1.0;
constexpr double kNarrowestBar = 1.0;
constexpr double kSmallestRadius = 1.5;

} // namespace

PlotDataPainter::PlotDataPainter(QPainter& target, const PlotModel& plotModel, const PlotMapping& plotMapping,
                                 const QRect& visibleArea)
    : painter(target), model(plotModel), mapping(plotMapping), visible(visibleArea) {}

void PlotDataPainter::drawMain() {
    if (model.seriesMode == PlotSeriesMode::Bars)
        drawBars();
    else
        drawSeries({model.seriesXs, model.seriesYs, model.seriesColors, model.seriesMode, 0});
}

void PlotDataPainter::drawOverlays() {
    const qsizetype offset = std::max<qsizetype>(model.seriesCount(), 1);
    drawSeries({model.overlayXs, model.overlayYs, model.overlayColors, model.overlayMode, offset});
}

void PlotDataPainter::drawBars() {
    const QRectF& plot = mapping.rect;
    const double base = std::clamp(mapping.pixelY(model.view.yMin < 0.0 ? 0.0 : model.view.yMin),
                                   plot.top() - kFarthestBarPixel, plot.bottom() + kFarthestBarPixel);
    const auto pixelX = [&](double value) {
        return std::clamp(mapping.pixelX(value), plot.left() - kFarthestBarPixel,
                          plot.right() + kFarthestBarPixel);
    };
    std::vector<QRectF> bars;
    bars.reserve(static_cast<size_t>(model.barCount()));
    for (qsizetype i = 0; i < model.barCount(); ++i) {
        const double left = pixelX(model.barXs[i] - model.barWidth / 2.0);
        const double right = pixelX(model.barXs[i] + model.barWidth / 2.0);
        const double top = mapping.clampedPixelY(model.barHeights[i]);
        const QRectF bar(std::min(left, right), std::min(base, top),
                         std::max(kNarrowestBar, std::abs(right - left)), std::abs(base - top));
        if (std::isfinite(bar.x() + bar.y() + bar.width() + bar.height()))
            bars.push_back(bar);
    }

    const QColor fill = seriesColorInForce(model.scheme.palette, 0, {}, 0, model.barFill);
    const double border = std::max(kBorderPerLineWidth * model.options.lineWidth, kThinnestBorder);
    if (model.options.penStyle == Qt::SolidLine &&
        paintManyBars(painter, visible, bars, {fill, model.barBorder, border}))
        return;
    painter.setBrush(fill);
    painter.setPen(QPen(model.barBorder, border, model.options.penStyle));
    for (const QRectF& bar : bars)
        painter.drawRect(bar);
}

void PlotDataPainter::drawSeries(const SeriesSet& set) {
    const qsizetype count = std::min(set.xs.size(), set.ys.size());
    for (qsizetype i = 0; i < count; ++i) {
        mapPoints(set.xs[i], set.ys[i]);
        const QColor color =
            seriesColorInForce(model.scheme.palette, set.colorOffset, set.colors, i, model.barFill);
        if (set.mode == PlotSeriesMode::Points)
            drawPoints(color);
        else
            drawLine(color);
    }
}

void PlotDataPainter::mapPoints(const QList<double>& xs, const QList<double>& ys) {
    const qsizetype count = std::min(xs.size(), ys.size());
    pixels.clear();
    pixels.reserve(static_cast<size_t>(count));
    for (qsizetype i = 0; i < count; ++i) {
        if (!std::isfinite(xs[i]))
            continue;
        const double x = std::clamp(mapping.pixelX(xs[i]), -kFarthestPointPixel, kFarthestPointPixel);
        const double y = mapping.clampedPixelY(ys[i]);
        if (std::isfinite(x) && std::isfinite(y))
            pixels.emplace_back(x, y);
    }
}

void PlotDataPainter::drawPoints(const QColor& color) {
    const double radius = std::max(0.5 + model.options.lineWidth, kSmallestRadius);
    const double left = visible.x() - radius - 1.0;
    const double right = visible.x() + visible.width() + radius + 1.0;
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    for (const QPointF& pixel : pixels) {
        if (pixel.x() > left && pixel.x() < right)
            painter.drawEllipse(pixel, radius, radius);
    }
}

void PlotDataPainter::drawLine(const QColor& color) {
    const QPen pen(color, model.options.lineWidth, model.options.penStyle);
    SeriesStroker(painter, visible, pen).stroke(pixels);
}

} // namespace qorn::timetagger::gui
