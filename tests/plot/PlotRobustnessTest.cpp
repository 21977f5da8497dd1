#include "PlotTestSupport.h"

#include <QElapsedTimer>

#include <cmath>
#include <functional>
#include <limits>
#include <random>

namespace {

using namespace plottest;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
const QList<double> kNasty{0.0,
                           -0.0,
                           1e300,
                           -1e300,
                           kInf,
                           -kInf,
                           kNan,
                           5.0,
                           1e-300,
                           1e9,
                           -1e9,
                           kNan,
                           kInf,
                           2.0,
                           std::numeric_limits<double>::denorm_min(),
                           std::numeric_limits<double>::max()};

// Paints with and without a hovering mouse; far more time than any picture needs.
void paintQuickly(BarChartWidget& plot, const char* what) {
    QElapsedTimer timer;
    timer.start();
    Mouse mouse(plot);
    mouse.move(plot.plotRect().center());
    EXPECT_FALSE(pictureOf(plot).isNull()) << what;
    mouse.leave();
    EXPECT_FALSE(pictureOf(plot).isNull()) << what;
    EXPECT_LT(timer.elapsed(), 15000) << what;
}

class PlotRobustness : public PlotTest, public ::testing::WithParamInterface<Qt::PenStyle> {
protected:
    PlotRobustness() {
        plot.setMinimumSize(1, 1);
        useScheme(QStringLiteral("Dark"), 1.8, GetParam());
    }
    void paintInEverySize(const char* what) {
        for (const QSize& size : {QSize(480, 258), QSize(1, 1), QSize(64, 16), QSize(85, 60)}) {
            plot.resize(size);
            paintQuickly(plot, what);
        }
    }
};

TEST_P(PlotRobustness, SeriesOfNumbersThatAreNone) {
    const QList<QList<double>> nasty{kNasty, {1, 2, 3}, QList<double>(kNasty.rbegin(), kNasty.rend())};
    const QList<QList<double>> plain{{1, 2, 3, 4, 5, 6, 7, 8, 9, 9, 8, 7, 6, 5, 4, 3}, {1, 5, 9}, kNasty};
    for (const auto mode : {BarChartWidget::Lines, BarChartWidget::Points, BarChartWidget::Bars}) {
        plot.setOverlaySeries(nasty, plain, {}, {}, mode);
        plot.setSeries(nasty, plain, {QStringLiteral("a"), QStringLiteral("b")}, {}, mode);
        paintInEverySize("nasty x");
        plot.setSeries(plain, nasty, {}, {}, mode);
        paintInEverySize("nasty y");
        plot.setSeries(nasty, nasty, {}, {}, mode);
        paintInEverySize("both");
    }
}

TEST_P(PlotRobustness, BarsOfNumbersThatAreNone) {
    for (const double width : {1.0, 0.0, -1.0, kNan, kInf, -kInf, 1e300, 1e-300}) {
        plot.setBars(kNasty, kNasty, width);
        paintInEverySize("nasty bars");
        plot.setBars({1, 2, 3}, {1, 5, 9}, width);
        paintInEverySize("plain bars");
    }
}

TEST_P(PlotRobustness, RangesOfNumbersThatAreNone) {
    plot.setBars({1, 2, 3}, {1, 5, 9}, 1.0);
    plot.setOverlaySeries({{1, 5, 9}}, {{2, 5, 8}}, {}, {}, BarChartWidget::Lines);
    plot.setYMarkers({5, kNan}, {QStringLiteral("a"), QStringLiteral("b")}, {});
    for (const auto& [lo, hi] : {std::pair{kNan, kNan},
                                 {kNan, 1.0},
                                 {0.0, kNan},
                                 {-kInf, kInf},
                                 {0.0, kInf},
                                 {-kInf, 0.0},
                                 {kInf, kInf},
                                 {1e300, 1e300},
                                 {-1e308, 1e308},
                                 {0.0, std::numeric_limits<double>::denorm_min()},
                                 {1e17, 1e17 + 16},
                                 {0.0, 1e300},
                                 {5.0, 5.0},
                                 {-1e-300, 1e-300},
                                 {1e15, 1e15 + 1}}) {
        SCOPED_TRACE(::testing::Message() << lo << " to " << hi);
        plot.resetView();
        plot.setXRange(lo, hi);
        plot.setYRange(0, 10);
        paintInEverySize("x range");
        plot.setXRange(0, 10);
        plot.setYRange(lo, hi);
        paintInEverySize("y range");
        plot.setManualRange(lo, hi, lo, hi);
        paintInEverySize("both");
        plot.resize(480, 258);
        Mouse mouse(plot);
        mouse.drag({100, 60}, {200, 90});
        mouse.drag({100, 60}, {110, 160}, Qt::RightButton);
        paintInEverySize("after zoom and pan");
    }
}

TEST_P(PlotRobustness, TicksMarkersAndTextsOfEverySort) {
    const QStringList texts{QString(), QStringLiteral("\n\n"), QString(5000, QLatin1Char('W')),
                            QStringLiteral("%1 %2 &x <b>")};
    plot.setXTickLabels(kNasty, texts);
    plot.setYMarkers(kNasty, texts, {kRed});
    plot.setStatLines(texts, {QColor()});
    plot.setAxisLabels(texts[2], texts[2]);
    plot.setSeries({{1, 2}, {1, 2}, {1, 2}, {1, 2}}, {{1, 2}, {1, 2}, {1, 2}, {1, 2}}, texts,
                   {QColor(), kRed}, BarChartWidget::Lines);
    paintInEverySize("texts");
}

TEST_P(PlotRobustness, EmptyAndUnequalLists) {
    for (const auto mode : {BarChartWidget::Lines, BarChartWidget::Points, BarChartWidget::Bars}) {
        plot.setSeries({}, {}, {}, {}, mode);
        plot.setOverlaySeries({}, {}, {}, {}, mode);
        paintInEverySize("nothing");
        plot.setSeries({{}, {1}, {1, 2}}, {{1}, {}, {3}}, {QStringLiteral("a")}, {kRed}, mode);
        plot.setOverlaySeries({{1, 2, 3}}, {{}, {1}}, {QStringLiteral("a"), QStringLiteral("b")}, {}, mode);
        paintInEverySize("unequal");
    }
    plot.setBars({}, {}, 1.0);
    paintInEverySize("no bars");
    plot.setBars({1, 2}, {}, 1.0);
    paintInEverySize("no heights");
    plot.setYMarkers({1, 2, 3}, {QStringLiteral("a")}, {});
    plot.setXTickLabels({1}, {QStringLiteral("a"), QStringLiteral("b")});
    plot.setStatLines({QStringLiteral("a")}, {kRed, kBlue});
    paintInEverySize("lists of annotations");
}

INSTANTIATE_TEST_SUITE_P(Styles, PlotRobustness,
                         ::testing::Values(Qt::SolidLine, Qt::DashLine, Qt::DotLine, Qt::NoPen),
                         [](const auto& entry) { return "Style" + std::to_string(int(entry.param)); });

TEST_F(PlotTest, ValuesThatAreNoNumbersDoNotHideTheOtherPoints) {
    hideXTicks();
    plot.setSeries({{2, 4, 6, 8}}, {{3, kNan, kInf, 3}}, {}, {kRed}, BarChartWidget::Points);
    useScheme(QStringLiteral("Default"), 4.0);
    const QImage image = picture();
    EXPECT_TRUE(samePixel(image, column(2), row(3), kRed));
    EXPECT_TRUE(samePixel(image, column(8), row(3), kRed));
    EXPECT_TRUE(samePixel(image, column(6), 18, kRed)) << "infinity is clamped to the upper end";
}

TEST_F(PlotTest, HundredThousandPointsOfNoisePaintInReasonableTime) {
    std::mt19937 generator(7);
    std::uniform_real_distribution<double> level(0.0, 10.0);
    QList<double> xs;
    QList<double> ys;
    for (int i = 0; i < 100000; ++i) {
        xs.append(i * 1e-4);
        ys.append(level(generator));
    }
    for (const auto mode : {BarChartWidget::Lines, BarChartWidget::Points}) {
        plot.setSeries({xs}, {ys}, {}, {kRed}, mode);
        paintQuickly(plot, "noise");
    }
    plot.setBars(xs, ys, 1e-4);
    paintQuickly(plot, "bars");
}

TEST_F(PlotTest, DashesTowardsFarPointsPaintInReasonableTime) {
    for (const Qt::PenStyle style : {Qt::DashLine, Qt::DotLine, Qt::SolidLine}) {
        useScheme(QStringLiteral("Default"), 0.5, style);
        for (const double far : {1e6, 1e9, 1e12, 1e20, 1e300}) {
            plot.setSeries({{-far, far, 5, far}}, {{1, 9, 2, 8}}, {}, {kRed}, BarChartWidget::Lines);
            paintQuickly(plot, "far points");
        }
    }
}

} // namespace
