// What the plot strokes by its own means against the same points stroked as one path, or the same bars drawn
// one by one, on the same ground.
#include "PlotTestSupport.h"

#include <QElapsedTimer>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>

namespace {

using namespace plottest;

struct Trace {
    QList<double> xs;
    QList<double> ys;
};

Trace traceOf(int count, const std::function<double(double)>& shape) {
    Trace trace;
    for (int i = 0; i < count; ++i) {
        const double x = 10.0 * i / (count - 1);
        trace.xs.append(x);
        trace.ys.append(shape(x));
    }
    return trace;
}

Trace smoothTrace(int count) {
    return traceOf(count, [](double x) { return 5.0 + 4.0 * std::sin(x * 1.7) * std::cos(x * 0.4); });
}

Trace steepTrace(int count) {
    return traceOf(count, [](double x) { return 5.0 + 4.5 * std::sin(x * 20.0); });
}

Trace noiseTrace(int count, double least = 0.2, double most = 9.8) {
    std::mt19937 generator(20240611);
    std::uniform_real_distribution<double> level(least, most);
    return traceOf(count, [&](double) { return level(generator); });
}

class PlotFidelity : public PlotTest {
protected:
    PlotFidelity() {
        plot.resize(880, 458);
        hideXTicks();
    }

    QPainterPath pathOf(const Trace& trace) const {
        const QRectF area = plot.plotRect();
        QPainterPath path;
        for (int i = 0; i < trace.xs.size(); ++i) {
            const QPointF at(plot.pixelFromValueX(trace.xs[i], area),
                             plot.pixelFromValueY(std::clamp(trace.ys[i], 0.0, 10.0), area));
            i == 0 ? path.moveTo(at) : path.lineTo(at);
        }
        return path;
    }
    // The ground with the trace stroked in one piece.
    QImage onePiece(const QImage& ground, const Trace& trace, const QPen& pen) const {
        QImage image = ground;
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setClipRect(plot.plotRect().adjusted(1, 1, -1, -1));
        painter.setBrush(Qt::NoBrush);
        painter.setPen(pen);
        painter.drawPath(pathOf(trace));
        return image;
    }
    void compare(const Trace& trace, const QColor& colour, double lineWidth, double limit) {
        useScheme(QStringLiteral("Default"), lineWidth);
        plot.clearSeries();
        const QImage ground = picture();
        plot.setSeries({trace.xs}, {trace.ys}, {}, {colour}, BarChartWidget::Lines);
        const QImage painted = picture();
        const QImage expected = onePiece(ground, trace, QPen(colour, lineWidth));
        const QRect area = plot.plotRect().toRect();
        const double ink = meanDifference(expected, ground, area);
        const double off = meanDifference(painted, expected, area);
        EXPECT_GT(ink, 0.0005);
        EXPECT_LT(off, limit) << "of the whole plot";
        // A thin trace covers so little that leaving it out would pass the limit above.
        EXPECT_LT(off, 0.25 * ink) << "of the trace itself";
        EXPECT_EQ(largestDifference(painted, expected, QRect(0, 0, 64, 458)), 0);
    }

    static constexpr double kSmoothLimit = 0.01;
    static constexpr double kNoiseLimit = 0.04;
};

TEST_F(PlotFidelity, SolidSmoothTracesLookLikeOnePath) {
    for (const int count : {2, 10, 400, 4000, 40000}) {
        for (const double lineWidth : {0.5, 1.0, 1.8, 4.0, 8.0}) {
            SCOPED_TRACE(::testing::Message() << count << " points, width " << lineWidth);
            compare(smoothTrace(count), kRed, lineWidth, kSmoothLimit);
        }
    }
}

TEST_F(PlotFidelity, SolidSteepTracesLookLikeOnePath) {
    for (const int count : {100, 780, 1000, 1200, 10000}) {
        for (const double lineWidth : {0.5, 1.8, 4.0}) {
            SCOPED_TRACE(::testing::Message() << count << " points, width " << lineWidth);
            compare(steepTrace(count), kBlue, lineWidth, kSmoothLimit);
        }
    }
}

TEST_F(PlotFidelity, SolidWhiteNoiseLooksLikeOnePath) {
    for (const int count : {50, 400, 1000, 1500, 4000}) {
        for (const double lineWidth : {0.5, 1.0, 1.8, 4.0}) {
            SCOPED_TRACE(::testing::Message() << count << " points, width " << lineWidth);
            compare(noiseTrace(count), kRed, lineWidth, kNoiseLimit);
        }
    }
}

// About one point per pixel, with steps of a few line widths: corners that are left out show by a third more
// than what is off with them (0.0005 of the plot).
TEST_F(PlotFidelity, SolidZigzagsHaveTheirCorners) {
    for (const int count : {780, 1000, 1200}) {
        SCOPED_TRACE(::testing::Message() << count << " points");
        compare(noiseTrace(count, 4.0, 6.2), kRed, 8.0, 0.0006);
    }
}

TEST_F(PlotFidelity, TranslucentTracesLookLikeOnePath) {
    QColor glass = kRed;
    glass.setAlpha(90);
    for (const int count : {400, 4000}) {
        SCOPED_TRACE(::testing::Message() << count << " points");
        compare(smoothTrace(count), glass, 1.8, kSmoothLimit);
        compare(smoothTrace(count), glass, 6.0, kSmoothLimit);
        compare(noiseTrace(count), glass, 1.8, kNoiseLimit);
    }
}

TEST_F(PlotFidelity, StaircasesAndUnsortedTracesLookLikeOnePath) {
    Trace stairs;
    for (int i = 0; i < 200; ++i) {
        stairs.xs.append({i * 0.05, (i + 1) * 0.05});
        const double level = 2.0 + (i * 37 % 60) * 0.1;
        stairs.ys.append({level, level});
    }
    compare(stairs, kRed, 1.8, kSmoothLimit);
    const Trace circle = [] {
        Trace trace;
        for (int i = 0; i <= 720; ++i) {
            trace.xs.append(5.0 + 4.0 * std::cos(i * M_PI / 360.0));
            trace.ys.append(5.0 + 4.0 * std::sin(i * M_PI / 360.0));
        }
        return trace;
    }();
    compare(circle, kRed, 1.8, kSmoothLimit);
}

TEST_F(PlotFidelity, TracesBeyondTheViewLookLikeOnePath) {
    plot.setManualRange(4, 6, 0, 10);
    Trace tall = smoothTrace(4000);
    for (double& y : tall.ys) {
        y = (y - 5.0) * 4.0 + 5.0;
    }
    compare(tall, kRed, 1.8, kSmoothLimit);
    compare(smoothTrace(60), kRed, 4.0, kSmoothLimit);
}

TEST_F(PlotFidelity, DashedStylesAreExactlyOnePath) {
    for (const Qt::PenStyle style : {Qt::DashLine, Qt::DotLine, Qt::DashDotLine, Qt::DashDotDotLine}) {
        for (const Trace& trace : {smoothTrace(4000), noiseTrace(300), smoothTrace(7)}) {
            useScheme(QStringLiteral("Default"), 1.8, style);
            plot.clearSeries();
            const QImage ground = picture();
            plot.setSeries({trace.xs}, {trace.ys}, {}, {kRed}, BarChartWidget::Lines);
            const QImage expected = onePiece(ground, trace, QPen(kRed, 1.8, style));
            ASSERT_GT(largestDifference(expected, ground), 50);
            EXPECT_EQ(largestDifference(picture(), expected), 0) << "style " << int(style);
        }
    }
}

TEST_F(PlotFidelity, SolidWhiteNoiseTakesAFractionOfTheTimeOfOnePath) {
    const Trace noise = noiseTrace(3000);
    useScheme(QStringLiteral("Default"), 1.8);
    const QImage ground = picture();
    plot.setSeries({noise.xs}, {noise.ys}, {}, {kRed}, BarChartWidget::Lines);
    const auto timeOf = [](const std::function<void()>& job) {
        QElapsedTimer timer;
        timer.start();
        job();
        return timer.nsecsElapsed();
    };
    qint64 widget = std::numeric_limits<qint64>::max();
    for (int i = 0; i < 3; ++i) {
        widget = std::min(widget, timeOf([this] { picture(); }));
    }
    const qint64 path = timeOf([&] { onePiece(ground, noise, QPen(kRed, 1.8)); });
    EXPECT_LT(widget, path / 5) << "of " << path / 1000 << " microseconds";
    RecordProperty("widget_ns", std::to_string(widget));
    RecordProperty("path_ns", std::to_string(path));
}

// The bars by the numbers, one rectangle each.
QImage barByBar(const QImage& ground, const BarChartWidget& plot, const Trace& bars, double width,
                double yMin, const QPen& pen, const QColor& fill) {
    const QRectF area = plot.plotRect();
    QImage image = ground;
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setClipRect(area.adjusted(1, 1, -1, -1));
    painter.setPen(pen);
    painter.setBrush(fill);
    const double base = plot.pixelFromValueY(yMin < 0.0 ? 0.0 : yMin, area);
    for (int i = 0; i < bars.xs.size(); ++i) {
        const double left = plot.pixelFromValueX(bars.xs[i] - width / 2, area);
        const double right = plot.pixelFromValueX(bars.xs[i] + width / 2, area);
        const double top = plot.pixelFromValueY(std::clamp(bars.ys[i], yMin, yMin + 10.0), area);
        painter.drawRect(QRectF(std::min(left, right), std::min(base, top),
                                std::max(1.0, std::abs(right - left)), std::abs(base - top)));
    }
    return image;
}

TEST_F(PlotFidelity, BarsLookLikeOneRectangleEach) {
    for (const int count : {3, 40, 300, 3000, 20000}) {
        for (const double lineWidth : {0.5, 1.8, 8.0}) {
            for (const double yMin : {0.0, -4.0}) {
                SCOPED_TRACE(::testing::Message()
                             << count << " bars, width " << lineWidth << " from " << yMin);
                Trace bars = noiseTrace(count);
                for (double& y : bars.ys) {
                    y += yMin;
                }
                useScheme(QStringLiteral("Default"), lineWidth);
                plot.setYRange(yMin, yMin + 10.0);
                plot.clearSeries();
                const QImage ground = picture();
                plot.setBars(bars.xs, bars.ys, 8.0 / count);
                const QImage expected =
                    barByBar(ground, plot, bars, 8.0 / count, yMin,
                             QPen(kDefaultBorder, std::max(0.65 * lineWidth, 1.0)), kDefaultFill);
                const QImage painted = picture();
                const QRect area = plot.plotRect().toRect();
                EXPECT_GT(meanDifference(expected, ground, area), 0.02);
                EXPECT_LT(meanDifference(painted, expected, area), count <= 40 ? 0.001 : kSmoothLimit);
                EXPECT_LE(largestDifference(painted, expected), count <= 40 ? 16 : 64);
            }
        }
    }
}

TEST_F(PlotFidelity, BarsInDashedAndTranslucentColoursLookLikeOneRectangleEach) {
    QColor fill = kGreen;
    fill.setAlpha(120);
    QColor border = kBlue;
    border.setAlpha(150);
    plot.setColors(fill, border);
    for (const Qt::PenStyle style : {Qt::SolidLine, Qt::DashLine, Qt::DotLine, Qt::NoPen}) {
        for (const int count : {10, 500}) {
            SCOPED_TRACE(::testing::Message() << count << " bars, style " << int(style));
            const Trace bars = noiseTrace(count);
            useScheme(QStringLiteral("Default"), 2.4, style);
            plot.clearSeries();
            const QImage ground = picture();
            plot.setBars(bars.xs, bars.ys, 8.0 / count);
            QPen pen(border, 0.65 * 2.4);
            pen.setStyle(style);
            const QImage expected = barByBar(ground, plot, bars, 8.0 / count, 0.0, pen, fill);
            ASSERT_GT(largestDifference(expected, ground), 30);
            EXPECT_LE(largestDifference(picture(), expected), count <= 40 ? 16 : 64);
        }
    }
}

} // namespace
