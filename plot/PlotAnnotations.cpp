#include "PlotAnnotations.h"

#include "NearestDataPoint.h"
#include "PlotInteraction.h"
#include "PlotTicks.h"

#include <QCoreApplication>
#include <QPainter>
#include <QPolygonF>

#include <algorithm>
#include <cmath>

namespace qorn::timetagger::gui {

namespace {

constexpr QRgb kRegionFill = 0x5a96dc;
constexpr int kRegionFillAlpha = 60;
constexpr QRgb kRegionFrame = 0x78b4f0;
constexpr int kRegionFrameAlpha = 220;

constexpr int kCrosshairAlpha = 150;
constexpr double kCrosshairRadius = 4.0;
constexpr double kCrosshairRingWidth = 1.4;
constexpr double kOutOfSight = 64.0;
constexpr int kFewestHoverDecimals = 3;

// The legend and the statistics box.
constexpr double kBoxMargin = 10.0;
constexpr double kBoxPadding = 4.0;
constexpr int kRowGap = 4;
constexpr int kBoxAlpha = 220;
constexpr int kBoxFrameAlpha = 90;
constexpr double kSampleWidth = 2.5;
constexpr qsizetype kFewestLegendEntries = 2;

constexpr int kLeft = Qt::AlignLeft | Qt::AlignVCenter;

QColor withAlpha(QColor color, int alpha) {
    color.setAlpha(alpha);
    return color;
}

} // namespace

PlotAnnotations::PlotAnnotations(QPainter& target, const PlotModel& plotModel, const PlotMapping& plotMapping,
                                 const PlotColors& plotColors, const QFontMetrics& fontMetrics)
    : painter(target), model(plotModel), mapping(plotMapping), colors(plotColors), metrics(fontMetrics) {}

int PlotAnnotations::rowHeight() const {
    return metrics.height() + kRowGap;
}

void PlotAnnotations::drawBox(const QRectF& box) {
    painter.fillRect(box, withAlpha(colors.background, kBoxAlpha));
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(withAlpha(colors.foreground, kBoxFrameAlpha), 1.0));
    painter.drawRect(box);
}

void PlotAnnotations::drawRegion() {
    if (model.dragMode == PlotDragMode::None || model.dragMode == PlotDragMode::Pan)
        return;
    const QRectF& plot = mapping.rect;
    const RegionBand band = regionBand(model, plot);
    const double extent = band.to - band.from;
    const QRectF region = band.axis == Qt::Horizontal ? QRectF(band.from, plot.y(), extent, plot.height())
                                                      : QRectF(plot.x(), band.from, plot.width(), extent);
    painter.fillRect(region, withAlpha(QColor(kRegionFill), kRegionFillAlpha));
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(withAlpha(QColor(kRegionFrame), kRegionFrameAlpha), 1.0, Qt::DashLine));
    painter.drawRect(region);
}

void PlotAnnotations::drawHover() {
    const QRectF& plot = mapping.rect;
    const QPointF position = model.hoverPosition;
    if (!model.hovering || model.dragMode != PlotDragMode::None || !plot.contains(position))
        return;

    QPointF cross = position;
    QPointF value(mapping.valueX(position.x()), mapping.valueY(position.y()));
    if (const auto nearest = nearestDataPoint(model, plot, position)) {
        value = *nearest;
        // A point far outside is as good as one just outside, and kinder to the rasterizer.
        const double x =
            std::clamp(mapping.pixelX(value.x()), plot.left() - kOutOfSight, plot.right() + kOutOfSight);
        cross = {x, mapping.clampedPixelY(value.y())};
    }
    int decimals = 0;
    niceTicks(model.view.xMin, model.view.xMax, 6, decimals);
    decimals = std::max(decimals, kFewestHoverDecimals);
    const QString text =
        QCoreApplication::translate("qorn::timetagger::gui::BarChartWidget", "x %1    y %2")
            .arg(QString::number(value.x(), 'f', decimals), QString::number(value.y(), 'g', 6));

    painter.save();
    painter.setClipRect(plot);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(withAlpha(colors.foreground, kCrosshairAlpha), 1.0, Qt::DashLine));
    painter.drawLine(QPointF(plot.left(), cross.y()), QPointF(plot.right(), cross.y()));
    painter.drawLine(QPointF(cross.x(), plot.top()), QPointF(cross.x(), plot.bottom()));
    painter.setPen(QPen(colors.foreground, kCrosshairRingWidth));
    painter.drawEllipse(cross, kCrosshairRadius, kCrosshairRadius);

    const int advance = metrics.horizontalAdvance(text);
    const int height = metrics.height() + 6;
    painter.setPen(QPen(colors.foreground, 1.0));
    painter.drawText(QRectF(plot.right() - advance - 18, plot.bottom() - height - 4, advance + 12, height),
                     kLeft, text);
    painter.restore();
}

QList<PlotAnnotations::LegendEntry> PlotAnnotations::legendEntries() const {
    QList<LegendEntry> entries;
    const qsizetype mainEntries = std::min(model.seriesCount(), model.seriesLabels.size());
    for (qsizetype i = 0; i < mainEntries; ++i)
        entries.append({model.seriesLabels[i], mainSeriesColor(model, i)});
    const qsizetype overlayEntries = std::min(model.overlayCount(), model.overlayLabels.size());
    for (qsizetype i = 0; i < overlayEntries; ++i)
        entries.append({model.overlayLabels[i], seriesColorInForce(model.scheme.palette, mainEntries,
                                                                   model.overlayColors, i, model.barBorder)});
    return entries;
}

void PlotAnnotations::drawLegend() {
    if (!model.legendVisible)
        return;
    const QList<LegendEntry> entries = legendEntries();
    if (entries.size() < kFewestLegendEntries)
        return;

    int widest = 0;
    for (const LegendEntry& entry : entries)
        widest = std::max(widest, metrics.horizontalAdvance(entry.label));
    const int width = widest + 26;
    const int row = rowHeight();
    const double height = static_cast<double>(entries.size()) * row + 2.0 * kBoxPadding;
    const QRectF& plot = mapping.rect;
    const QRectF box(plot.x() + kBoxMargin, plot.bottom() - kBoxMargin - height, width + 10, height);
    drawBox(box);

    for (qsizetype i = 0; i < entries.size(); ++i) {
        const double top = static_cast<double>(i) * row;
        const double middle = box.y() + 6 + top + row / 2.0;
        painter.setPen(QPen(entries[i].color, kSampleWidth));
        painter.drawLine(QPointF(box.x() + 6, middle), QPointF(box.x() + 24, middle));
        painter.setPen(QPen(colors.foreground, 1.0));
        painter.drawText(QRectF(box.x() + 32, box.y() + kBoxPadding + top, width - 26, row), kLeft,
                         entries[i].label);
    }
}

void PlotAnnotations::drawStatLines() {
    if (model.statTexts.isEmpty())
        return;
    int widest = 0;
    for (const QString& text : model.statTexts)
        widest = std::max(widest, metrics.horizontalAdvance(text));
    const int row = rowHeight();
    const QRectF& plot = mapping.rect;
    const QRectF box(plot.x() + kBoxMargin, plot.y() + kBoxMargin, widest + 16,
                     static_cast<double>(model.statTexts.size()) * row + 2.0 * kBoxPadding);
    drawBox(box);
    for (qsizetype i = 0; i < model.statTexts.size(); ++i) {
        const double top = box.y() + kBoxPadding + static_cast<double>(i) * row;
        painter.setPen(QPen(i < model.statColors.size() ? model.statColors[i] : colors.foreground, 1.0));
        painter.drawText(QRectF(box.x() + 8, top, widest + 8, row), kLeft, model.statTexts[i]);
    }
}

void PlotAnnotations::drawYMarkers() {
    if (model.markerValues.isEmpty())
        return;
    const QRectF& plot = mapping.rect;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    for (qsizetype i = 0; i < model.markerValues.size(); ++i) {
        const double value = model.markerValues[i];
        const double y = mapping.pixelY(value);
        if (!(value >= model.view.yMin && value <= model.view.yMax) || !std::isfinite(value) ||
            !std::isfinite(y))
            continue;
        const QColor color = i < model.markerColors.size() ? model.markerColors[i] : colors.foreground;
        const QPolygonF triangle{
            {{plot.x() - 12, y}, {plot.x() - 2, y - 4}, {plot.x() - 2, y + 4}},
        };
        painter.setPen(Qt::NoPen);
        painter.setBrush(color);
        painter.drawPolygon(triangle);
        if (i >= model.markerLabels.size() || model.markerLabels[i].isEmpty())
            continue;
        painter.setPen(QPen(color, 1.0));
        painter.drawText(QRectF(plot.x() + 4, y - metrics.height() / 2.0, std::max(0.25 * plot.width(), 40.0),
                                metrics.height()),
                         kLeft, model.markerLabels[i]);
    }
    painter.restore();
}

} // namespace qorn::timetagger::gui
