#include "ReferencePicture.h"

#include <QFontMetrics>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace plottest {
namespace {

class Reference {
public:
    Reference(const PlotState& state, const Scheme& scheme, const BarChartWidget& plot, QImage& image)
        : s(state), c(scheme), w(plot), painter(&image), r(plot.plotRect()), metrics(plot.font()),
          fontHeight(metrics.height()) {
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setFont(plot.font());
    }

    void paint() {
        painter.fillRect(QRect(QPoint(0, 0), s.size), c.background);
        paintYAxis();
        paintFrameAndData();
        paintXAxis();
        paintTitles();
        paintLegend();
        paintStatLines();
        paintMarkers();
    }

private:
    void text(const QRectF& room, Qt::Alignment alignment, const QString& words, const QColor& colour) {
        painter.setPen(colour);
        painter.drawText(room, int(alignment), words);
    }
    double px(double x) const { return w.pixelFromValueX(x, r); }
    double py(double y) const { return w.pixelFromValueY(y, r); }
    double clamped(double y) const { return std::clamp(y, s.view.yMin, s.view.yMax); }
    QColor pick(int paletteIndex, const QList<QColor>& own, int index, const QColor& last) const {
        if (!c.palette.isEmpty()) {
            return c.palette[paletteIndex % c.palette.size()];
        }
        return own.value(index, last);
    }

    void paintYAxis() {
        int decimals = 0;
        const QList<double> ticks = BarChartWidget::niceTicks(s.view.yMin, s.view.yMax, 5, decimals);
        for (const double tick : ticks) {
            painter.setPen(QPen(c.grid, 1.0));
            painter.drawLine(QPointF(r.left(), py(tick)), QPointF(r.right(), py(tick)));
            text(QRectF(2, py(tick) - fontHeight / 2.0, r.left() - 8, fontHeight),
                 Qt::AlignRight | Qt::AlignVCenter, BarChartWidget::formatTick(tick, decimals), c.tick);
        }
    }

    void paintFrameAndData() {
        painter.setPen(QPen(c.foreground, 1.0));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(r);
        painter.save();
        painter.setClipRect(r.adjusted(1, 1, -1, -1));
        const int mains = int(std::min(s.series.xs.size(), s.series.ys.size()));
        if (!s.barXs.isEmpty()) {
            paintBars();
        } else if (s.series.mode != BarChartWidget::Bars) {
            paintSeries(s.series, 0);
        }
        paintSeries(s.overlays, s.barXs.isEmpty() && mains > 0 ? mains : 1);
        painter.restore();
    }

    void paintBars() {
        QPen pen(s.border, std::max(0.65 * s.lineWidth, 1.0));
        pen.setStyle(s.penStyle);
        painter.setPen(pen);
        painter.setBrush(c.palette.value(0, s.fill));
        const double base = py(s.view.yMin < 0.0 ? 0.0 : s.view.yMin);
        for (int i = 0; i < std::min(s.barXs.size(), s.barHeights.size()); ++i) {
            const double left = px(s.barXs[i] - s.barWidth / 2);
            const double right = px(s.barXs[i] + s.barWidth / 2);
            const double top = py(clamped(s.barHeights[i]));
            painter.drawRect(QRectF(std::min(left, right), std::min(base, top),
                                    std::max(1.0, std::abs(right - left)), std::abs(base - top)));
        }
    }

    void paintSeries(const SeriesSet& set, int offset) {
        for (int i = 0; i < std::min(set.xs.size(), set.ys.size()); ++i) {
            const QColor colour = pick(offset + i, set.colors, i, s.fill);
            QPen pen(colour, s.lineWidth);
            pen.setStyle(s.penStyle);
            const auto count = std::min(set.xs[i].size(), set.ys[i].size());
            QPainterPath path;
            for (int k = 0; k < count; ++k) {
                const QPointF at(px(set.xs[i][k]), py(clamped(set.ys[i][k])));
                if (set.mode == BarChartWidget::Points) {
                    const double radius = std::max(0.5 + s.lineWidth, 1.5);
                    painter.setPen(Qt::NoPen);
                    painter.setBrush(colour);
                    painter.drawEllipse(at, radius, radius);
                } else {
                    k == 0 ? path.moveTo(at) : path.lineTo(at);
                }
            }
            painter.setPen(pen);
            painter.setBrush(Qt::NoBrush);
            painter.drawPath(path);
        }
    }

    void paintXTick(double position, double halfRoom, const QString& label) {
        const double x = px(position);
        painter.setPen(QPen(c.grid, 1.0));
        painter.drawLine(QPointF(x, r.top()), QPointF(x, r.bottom()));
        painter.setPen(QPen(c.tick, 1.0));
        painter.drawLine(QPointF(x, r.bottom()), QPointF(x, r.bottom() + 4));
        text(QRectF(x - halfRoom, r.bottom() + 6, 2 * halfRoom, fontHeight), Qt::AlignHCenter | Qt::AlignTop,
             label, c.tick);
    }

    void paintXAxis() {
        if (s.ticks.isEmpty()) {
            int decimals = 0;
            for (const double tick : BarChartWidget::niceTicks(s.view.xMin, s.view.xMax, 6, decimals)) {
                paintXTick(tick, 50.0, BarChartWidget::formatTick(tick, decimals));
            }
            return;
        }
        for (int i = 0; i < s.ticks.size(); ++i) {
            if (px(s.ticks[i]) >= r.left() - 1.0 && px(s.ticks[i]) <= r.right() + 1.0) {
                paintXTick(s.ticks[i], 40.0,
                           s.tickLabels.value(i, BarChartWidget::formatTick(s.ticks[i], 0)));
            }
        }
    }

    void paintTitles() {
        text(QRectF(r.left(), s.size.height() - fontHeight - 4, r.width(), fontHeight), Qt::AlignCenter,
             s.xLabel, c.foreground);
        painter.save();
        painter.translate(12.0, r.top() + r.height() / 2);
        painter.rotate(-90.0);
        text(QRectF(-r.height() / 2, 0, r.height(), fontHeight), Qt::AlignCenter, s.yLabel, c.foreground);
        painter.restore();
    }

    void paintBox(const QRectF& box) {
        QColor ground = c.background;
        ground.setAlpha(220);
        QColor frame = c.foreground;
        frame.setAlpha(90);
        painter.setBrush(ground);
        painter.setPen(QPen(frame, 1.0));
        painter.drawRect(box);
    }

    int widest(const QStringList& texts) const {
        int advance = 0;
        for (const QString& words : texts) {
            advance = std::max(advance, metrics.horizontalAdvance(words));
        }
        return advance;
    }

    void paintLegend() {
        QStringList labels;
        QList<QColor> colours;
        const auto mains = s.barXs.isEmpty() ? std::min(s.series.xs.size(), s.series.labels.size()) : 0;
        for (int i = 0; i < mains; ++i) {
            labels.append(s.series.labels[i]);
            colours.append(pick(i, s.series.colors, i, s.fill));
        }
        for (int i = 0; i < std::min(s.overlays.xs.size(), s.overlays.labels.size()); ++i) {
            labels.append(s.overlays.labels[i]);
            colours.append(pick(int(mains) + i, s.overlays.colors, i, s.border));
        }
        if (!s.legend || labels.size() < 2) {
            return;
        }
        const int rowHeight = fontHeight + 4;
        const double width = widest(labels) + 26;
        const double height = double(labels.size()) * rowHeight + 8;
        const QRectF box(r.left() + 10, r.bottom() - 10 - height, width + 10, height);
        paintBox(box);
        for (int i = 0; i < labels.size(); ++i) {
            const double y = box.top() + 6 + i * rowHeight + rowHeight / 2.0;
            painter.setPen(QPen(colours[i], 2.5));
            painter.drawLine(QPointF(box.left() + 6, y), QPointF(box.left() + 24, y));
            text(QRectF(box.left() + 32, box.top() + 4 + i * rowHeight, width - 26, rowHeight),
                 Qt::AlignLeft | Qt::AlignVCenter, labels[i], c.foreground);
        }
    }

    void paintStatLines() {
        if (s.statTexts.isEmpty()) {
            return;
        }
        const int rowHeight = fontHeight + 4;
        const int advance = widest(s.statTexts);
        const QRectF box(r.left() + 10, r.top() + 10, advance + 16,
                         double(s.statTexts.size()) * rowHeight + 8);
        paintBox(box);
        for (int i = 0; i < s.statTexts.size(); ++i) {
            text(QRectF(box.left() + 8, box.top() + 4 + i * rowHeight, advance + 8, rowHeight),
                 Qt::AlignLeft | Qt::AlignVCenter, s.statTexts[i], s.statColors.value(i, c.foreground));
        }
    }

    void paintMarkers() {
        for (int i = 0; i < s.markers.size(); ++i) {
            if (!std::isfinite(s.markers[i]) || s.markers[i] < s.view.yMin || s.markers[i] > s.view.yMax) {
                continue;
            }
            const QColor colour = s.markerColors.value(i, c.foreground);
            const double y = py(s.markers[i]);
            painter.setPen(Qt::NoPen);
            painter.setBrush(colour);
            painter.drawPolygon(QPolygonF{QPointF(r.left() - 12, y), QPointF(r.left() - 2, y - 4),
                                          QPointF(r.left() - 2, y + 4)});
            text(QRectF(r.left() + 4, y - fontHeight / 2.0, std::max(0.25 * r.width(), 40.0), fontHeight),
                 Qt::AlignLeft | Qt::AlignVCenter, s.markerLabels.value(i), colour);
        }
    }

    const PlotState& s;
    const Scheme& c;
    const BarChartWidget& w;
    QPainter painter;
    const QRectF r;
    const QFontMetrics metrics;
    const int fontHeight;
};

} // namespace

void apply(const PlotState& state, const Scheme& scheme, BarChartWidget& plot) {
    plot.resize(state.size);
    plot.setPlotOptions(scheme.name, state.fontPointSize, state.lineWidth, state.penStyle);
    plot.setXRange(state.view.xMin, state.view.xMax);
    plot.setYRange(state.view.yMin, state.view.yMax);
    plot.setColors(state.fill, state.border);
    if (state.barXs.isEmpty()) {
        plot.setSeries(state.series.xs, state.series.ys, state.series.labels, state.series.colors,
                       state.series.mode);
    } else {
        plot.setBars(state.barXs, state.barHeights, state.barWidth);
    }
    plot.setOverlaySeries(state.overlays.xs, state.overlays.ys, state.overlays.labels, state.overlays.colors,
                          state.overlays.mode);
    plot.setXTickLabels(state.ticks, state.tickLabels);
    plot.setAxisLabels(state.xLabel, state.yLabel);
    plot.setLegendVisible(state.legend);
    plot.setStatLines(state.statTexts, state.statColors);
    plot.setYMarkers(state.markers, state.markerLabels, state.markerColors);
}

QImage referencePicture(const PlotState& state, const Scheme& scheme, const BarChartWidget& plot) {
    QImage image = plainImage(state.size, Qt::magenta);
    Reference(state, scheme, plot, image).paint();
    return image;
}

} // namespace plottest
