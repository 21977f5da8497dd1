#include "PlotTestSupport.h"

namespace {

using namespace plottest;

class PlotOverlays : public PlotTest, public ::testing::WithParamInterface<Scheme> {
protected:
    PlotOverlays() {
        hideXTicks();
        plot.setLegendVisible(false);
        plot.setColors(kGreen, kInk);
    }

    // `count` horizontal lines at the levels from `first` on, one apart.
    static QList<QList<double>> levels(double first, int count) {
        QList<QList<double>> ys;
        for (int i = 0; i < count; ++i) {
            ys.append({first + i, first + i});
        }
        return ys;
    }
    static QList<QList<double>> spans(int count) { return QList<QList<double>>(count, {1, 9}); }
};

TEST_P(PlotOverlays, ContinueThePaletteAfterTheMainSeries) {
    const Scheme& scheme = GetParam();
    for (int mainCount = 0; mainCount <= 5; ++mainCount) {
        plot.setSeries(spans(mainCount), levels(0.25, mainCount), {}, {}, BarChartWidget::Lines);
        plot.setOverlaySeries(spans(3), levels(6.5, 3), {}, {kRed, kBlue}, BarChartWidget::Lines);
        useScheme(scheme.name, 4.0);
        const QImage image = picture();
        const int offset = mainCount == 0 ? 1 : mainCount;
        for (int i = 0; i < 3; ++i) {
            const QColor own = i == 0 ? kRed : i == 1 ? kBlue : kGreen;
            const QColor expected = scheme.palette.isEmpty() ? own : scheme.palette[(offset + i) % 4];
            EXPECT_TRUE(samePixel(image, column(5.2), row(6.5 + i), expected))
                << "overlay " << i << " on " << mainCount << " series";
        }
    }
}

TEST_P(PlotOverlays, OnBarsStartWithTheSecondOfThePalette) {
    const Scheme& scheme = GetParam();
    useScheme(scheme.name, 4.0);
    plot.setBars({5}, {4}, 2.0);
    plot.setOverlaySeries(spans(2), levels(6.5, 2), {}, {}, BarChartWidget::Lines);
    const QImage image = picture();
    EXPECT_TRUE(samePixel(image, column(5.2), row(3), scheme.palette.value(0, kGreen)));
    EXPECT_TRUE(samePixel(image, column(5.2), row(6.5), scheme.palette.value(1, kGreen)));
    EXPECT_TRUE(samePixel(image, column(5.2), row(7.5), scheme.palette.value(2, kGreen)));
}

INSTANTIATE_TEST_SUITE_P(Schemes, PlotOverlays, ::testing::ValuesIn(schemes()), schemeTestName);

TEST_F(PlotTest, OverlaysLieOnTheMainData) {
    hideXTicks();
    useScheme(QStringLiteral("Default"), 6.0);
    plot.setOverlaySeries({{1, 9}}, {{3, 3}}, {}, {kRed}, BarChartWidget::Lines);
    plot.setBars({5}, {8}, 4.0);
    EXPECT_TRUE(samePixel(picture(), column(5.2), row(3), kRed));
    plot.setSeries({{1, 9}}, {{3, 3}}, {}, {kBlue}, BarChartWidget::Lines);
    EXPECT_TRUE(samePixel(picture(), column(5.2), row(3), kRed));
}

TEST_F(PlotTest, OverlaysInBarModeAreDrawnAsLines) {
    hideXTicks();
    plot.setOverlaySeries({{1, 9}}, {{3, 3}}, {}, {kRed}, BarChartWidget::Lines);
    const QImage lines = picture();
    ASSERT_TRUE(isStroke(strokeAcrossRows(lines, column(5.2), 148, 164, kGround, kRed), 1.8, 156.0));
    plot.setOverlaySeries({{1, 9}}, {{3, 3}}, {}, {kRed}, BarChartWidget::Bars);
    EXPECT_EQ(largestDifference(picture(), lines), 0);
}

TEST_F(PlotTest, OverlayPointsAreDiscs) {
    hideXTicks();
    plot.setSeries({{1, 9}}, {{7, 7}}, {}, {kBlue}, BarChartWidget::Lines);
    plot.setOverlaySeries({{3, 7}}, {{3, 20}}, {}, {kRed}, BarChartWidget::Points);
    useScheme(QStringLiteral("Default"), 4.0);
    const QImage image = picture();
    const InkArea disc = inkIn(image, QRect(column(3) - 8, row(3) - 8, 16, 16), kGround, kRed);
    EXPECT_NEAR(disc.pixels, 3.14159265 * 4.5 * 4.5, 2.5);
    EXPECT_NEAR(disc.centre.x(), 184.0, 0.1);
    EXPECT_TRUE(samePixel(image, column(5), row(3), kGround));
    EXPECT_TRUE(samePixel(image, column(7), 19, kRed)) << "y is clamped";
    EXPECT_TRUE(isStroke(strokeAcrossRows(image, column(5.2), 66, 86, kGround, kBlue), 4.0, 76.0))
        << "the main series stay lines";
}

TEST_F(PlotTest, OverlaysStayInsideThePlotShrunkByOnePixel) {
    useScheme(QStringLiteral("Default"), 8.0);
    const QImage empty = picture();
    plot.setOverlaySeries({{-5, 15, 15, -5}}, {{5, 5, 10, 0}}, {}, {kRed}, BarChartWidget::Lines);
    const QImage image = picture();
    EXPECT_TRUE(samePixel(image, 65, row(5), kRed));
    for (const QRect& outside :
         {QRect(0, 0, 65, 258), QRect(463, 0, 17, 258), QRect(0, 0, 480, 17), QRect(0, 215, 480, 43)}) {
        EXPECT_EQ(largestDifference(image, empty, outside), 0);
    }
}

TEST_F(PlotTest, OverlaysOfUnequalListsUseTheShorterOnes) {
    hideXTicks();
    useScheme(QStringLiteral("Default"), 4.0);
    plot.setOverlaySeries({{1, 5, 9}, {1, 9}}, {{3, 3}}, {}, {kRed}, BarChartWidget::Lines);
    const QImage image = picture();
    EXPECT_TRUE(samePixel(image, column(3), row(3), kRed));
    EXPECT_TRUE(samePixel(image, column(7), row(3), kGround));
}

} // namespace
