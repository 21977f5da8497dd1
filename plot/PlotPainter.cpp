#include "PlotPainter.h"

#include "PlotAnnotations.h"
#include "PlotDataPainter.h"
#include "PlotTicks.h"

#include <QPainter>
#include <QPalette>

#include <cmath>

namespace qorn::timetagger::gui {

namespace {

constexpr int kYTickTarget = 5;
constexpr int kXTickTarget = 6;
constexpr double kTickLength = 4.0;
constexpr double kTickTextGap = 6.0;
constexpr double kTickTextHalfWidth = 50.0;
constexpr double kCustomTextHalfWidth = 40.0;
constexpr double kYTitleX = 12.0;

} // namespace

PlotPainter::PlotPainter(QPainter& target, const PlotModel& plotModel, const QPalette& palette,
                         const QFontMetrics& fontMetrics, QSize widgetSize, const QRectF& plot)
    : painter(target), model(plotModel), mapping{plotModel.view, plot},
      colors(plotColors(plotModel.scheme, palette)), metrics(fontMetrics), size(widgetSize) {}

void PlotPainter::paint() {
    painter.setRenderHint(QPainter::Antialiasing);
    // Changes nothing that can be seen, but upright translucent lines on a painter without a clip rectangle
    // are handed to a thread pool in pieces, at a millisecond for some four of them.
    painter.setClipRect(QRect(QPoint(0, 0), size));
    painter.fillRect(QRect(QPoint(0, 0), size), colors.background);
    drawYTicks();
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(colors.foreground, 1.0));
    painter.drawRect(mapping.rect);
    drawData();

    PlotAnnotations annotations(painter, model, mapping, colors, metrics);
    annotations.drawRegion();
    annotations.drawHover();
    drawXTicks();
    drawTitles();
    annotations.drawLegend();
    annotations.drawStatLines();
    annotations.drawYMarkers();
}

void PlotPainter::drawYTicks() {
    const QRectF& plot = mapping.rect;
    int decimals = 0;
    const QList<double> ticks = niceTicks(model.view.yMin, model.view.yMax, kYTickTarget, decimals);
    painter.setPen(QPen(colors.grid, 1.0));
    for (const double tick : ticks) {
        const double y = mapping.pixelY(tick);
        painter.drawLine(QPointF(plot.left(), y), QPointF(plot.right(), y));
    }
    painter.setPen(QPen(colors.tick, 1.0));
    for (const double tick : ticks) {
        const QRectF text(2.0, mapping.pixelY(tick) - metrics.height() / 2.0, plot.x() - 8.0,
                          metrics.height());
        painter.drawText(text, Qt::AlignRight | Qt::AlignVCenter, formatTick(tick, decimals));
    }
}

void PlotPainter::drawData() {
    const QRect inside = mapping.rect.adjusted(1.0, 1.0, -1.0, -1.0).toRect();
    painter.save();
    painter.setClipRect(inside);
    PlotDataPainter data(painter, model, mapping, inside);
    data.drawMain();
    data.drawOverlays();
    painter.restore();
}

void PlotPainter::drawXTicks() {
    const QRectF& plot = mapping.rect;
    if (model.tickPositions.isEmpty()) {
        int decimals = 0;
        for (const double tick : niceTicks(model.view.xMin, model.view.xMax, kXTickTarget, decimals))
            drawXTick(mapping.pixelX(tick), formatTick(tick, decimals), kTickTextHalfWidth);
        return;
    }
    for (qsizetype i = 0; i < model.tickPositions.size(); ++i) {
        const double position = model.tickPositions[i];
        const double x = mapping.pixelX(position);
        // Written so that NaN is out as well.
        if (!(x >= plot.left() - 1.0 && x <= plot.right() + 1.0))
            continue;
        const QString text = i < model.tickLabels.size() ? model.tickLabels[i] : formatTick(position, 0);
        drawXTick(x, text, kCustomTextHalfWidth);
    }
}

void PlotPainter::drawXTick(double x, const QString& text, double halfWidth) {
    const QRectF& plot = mapping.rect;
    painter.setPen(QPen(colors.grid, 1.0));
    painter.drawLine(QPointF(x, plot.top()), QPointF(x, plot.bottom()));
    painter.setPen(QPen(colors.tick, 1.0));
    painter.drawLine(QPointF(x, plot.bottom()), QPointF(x, plot.bottom() + kTickLength));
    const QRectF rect(x - halfWidth, plot.bottom() + kTickTextGap, 2.0 * halfWidth, metrics.height());
    painter.drawText(rect, Qt::AlignHCenter | Qt::AlignTop, text);
}

void PlotPainter::drawTitles() {
    const QRectF& plot = mapping.rect;
    const int height = metrics.height();
    painter.setPen(QPen(colors.foreground, 1.0));
    painter.drawText(QRectF(plot.x(), size.height() - height - 4, plot.width(), height), Qt::AlignCenter,
                     model.xAxisLabel);
    painter.save();
    painter.translate(kYTitleX, plot.y() + plot.height() / 2.0);
    painter.rotate(-90.0);
    painter.drawText(QRectF(-plot.height() / 2.0, 0.0, plot.height(), height), Qt::AlignCenter,
                     model.yAxisLabel);
    painter.restore();
}

} // namespace qorn::timetagger::gui
