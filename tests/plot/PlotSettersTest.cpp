#include "PlotTestSupport.h"

#include <QTest>

#include <functional>
#include <limits>

namespace {

using namespace plottest;

const QList<QList<double>> kTwoXs{{0.5, 9.5}, {0.5, 9.5}};
const QList<QList<double>> kTwoYs{{3, 3}, {7, 7}};

QStringList labels(int count) {
    QStringList list;
    for (int i = 0; i < count; ++i) {
        list.append(QStringLiteral("trace %1").arg(i));
    }
    return list;
}

TEST_F(PlotTest, BarsReplaceTheSeriesWithTheirLabelsAndColours) {
    plot.setBars({5}, {5}, 1.0);
    const QImage bars = picture();
    plot.setSeries(kTwoXs, kTwoYs, labels(2), {kRed, kBlue}, BarChartWidget::Lines);
    ASSERT_GT(largestDifference(picture(), bars), 50);
    plot.setBars({5}, {5}, 1.0);
    EXPECT_EQ(largestDifference(picture(), bars), 0);
    EXPECT_EQ(plot.seriesColor(0).name(), kDefaultFill.name());
}

TEST_F(PlotTest, SeriesReplaceTheBars) {
    const QImage empty = picture();
    plot.setBars({5}, {5}, 1.0);
    ASSERT_GT(largestDifference(picture(), empty), 50);
    // In bar mode the bars would still show if they were there.
    plot.setSeries({}, {}, {}, {}, BarChartWidget::Bars);
    EXPECT_EQ(largestDifference(picture(), empty), 0);
}

TEST_F(PlotTest, SeriesInBarModeAreNotDrawn) {
    const QImage empty = picture();
    plot.setSeries({{1, 9}}, {{3, 3}}, {}, {kRed}, BarChartWidget::Bars);
    EXPECT_EQ(largestDifference(picture(), empty), 0);
}

TEST_F(PlotTest, OverlaysStayWhenTheMainDataChange) {
    plot.setOverlaySeries({{0.5, 9.5}}, {{5, 5}}, {}, {kRed}, BarChartWidget::Lines);
    const auto overlayShows = [this] {
        return isStroke(strokeAcrossRows(picture(), column(9.3), row(5) - 4, row(5) + 4, kGround, kRed), 1.8,
                        row(5));
    };
    EXPECT_TRUE(overlayShows());
    plot.setBars({2}, {3}, 1.0);
    EXPECT_TRUE(overlayShows());
    plot.setSeries({{0.5, 9.5}}, {{3, 3}}, {}, {kBlue}, BarChartWidget::Lines);
    EXPECT_TRUE(overlayShows());
}

TEST_F(PlotTest, ClearingTheOverlaysEmptiesListsLabelsAndColours) {
    plot.setSeries({{0.5, 9.5}}, {{3, 3}}, labels(1), {kBlue}, BarChartWidget::Lines);
    const QImage alone = picture();
    plot.setOverlaySeries(kTwoXs, kTwoYs, labels(2), {kRed, kGreen}, BarChartWidget::Lines);
    ASSERT_GT(largestDifference(picture(), alone), 50);
    plot.clearOverlaySeries();
    EXPECT_EQ(largestDifference(picture(), alone), 0);
}

TEST_F(PlotTest, ClearingTheSeriesLeavesTicksBoxMarkersAndRanges) {
    plot.setXTickLabels({2, 8}, {QStringLiteral("left"), QStringLiteral("right")});
    plot.setStatLines({QStringLiteral("mean 5"), QStringLiteral("deviation 1")}, {kRed});
    plot.setYMarkers({5}, {QStringLiteral("level")}, {kBlue});
    plot.setAxisLabels(QStringLiteral("x"), QStringLiteral("y"));
    plot.setManualRange(1, 9, 2, 7);
    const QImage bare = picture();
    const auto clears = [&](const char* what) {
        ASSERT_GT(largestDifference(picture(), bare), 50) << what;
        plot.clearSeries();
        EXPECT_EQ(largestDifference(picture(), bare), 0) << what;
        EXPECT_TRUE(hasView(plot, {1, 9, 2, 7}));
        plot.setXRange(0, 100);
        EXPECT_TRUE(hasView(plot, {1, 9, 2, 7})) << "the manual range is still set";
    };
    plot.setBars({5}, {5}, 1.0);
    plot.setOverlaySeries(kTwoXs, kTwoYs, labels(2), {kRed, kGreen}, BarChartWidget::Points);
    clears("bars and overlays");
    plot.setSeries(kTwoXs, kTwoYs, labels(2), {kRed, kGreen}, BarChartWidget::Lines);
    clears("series");
    EXPECT_EQ(plot.seriesColor(0).name(), kDefaultFill.name());
}

TEST_F(PlotTest, StoredListsAreTheWidgetsOwn) {
    QList<QList<double>> xs{{0.5, 9.5}};
    QList<QList<double>> ys{{5, 5}};
    QList<double> barXs{5};
    QList<double> heights{6};
    plot.setOverlaySeries(xs, ys, {}, {kRed}, BarChartWidget::Lines);
    plot.setBars(barXs, heights, 1.0);
    const QImage before = picture();
    ys[0][1] = 9;
    xs.clear();
    barXs[0] = 1;
    heights.clear();
    EXPECT_EQ(largestDifference(picture(), before), 0);
}

TEST_F(PlotTest, FontSizeIsClampedToSevenToTwentyEightPoints) {
    for (const auto& [asked, stored] : {std::pair{7, 7},
                                        {28, 28},
                                        {6, 7},
                                        {29, 28},
                                        {-5, 7},
                                        {0, 7},
                                        {14, 14},
                                        {std::numeric_limits<int>::max(), 28}}) {
        plot.setPlotOptions(QStringLiteral("Default"), asked, 1.8, Qt::SolidLine);
        EXPECT_EQ(plot.plotOptions().fontPointSize, stored);
        EXPECT_EQ(plot.font().pointSize(), stored);
    }
}

TEST_F(PlotTest, FontKeepsEverythingButItsSize) {
    QFont font = plot.font();
    font.setItalic(true);
    font.setBold(true);
    plot.setFont(font);
    plot.setPlotOptions(QStringLiteral("Default"), 13, 1.8, Qt::SolidLine);
    EXPECT_TRUE(plot.font().italic());
    EXPECT_TRUE(plot.font().bold());
    EXPECT_EQ(plot.font().family(), font.family());
    EXPECT_EQ(plot.font().pointSize(), 13);
}

TEST_F(PlotTest, LineWidthIsClampedToOneHalfToEightPixels) {
    hideXTicks();
    plot.setSeries({{0.5, 9.5}}, {{5, 5}}, {}, {kRed}, BarChartWidget::Lines);
    for (const auto& [asked, stored] : {std::pair{0.5, 0.5},
                                        {8.0, 8.0},
                                        {0.1, 0.5},
                                        {0.0, 0.5},
                                        {-3.0, 0.5},
                                        {9.0, 8.0},
                                        {3.25, 3.25},
                                        {std::numeric_limits<double>::infinity(), 8.0}}) {
        useScheme(QStringLiteral("Default"), asked);
        EXPECT_DOUBLE_EQ(plot.plotOptions().lineWidth, stored);
        EXPECT_TRUE(isStroke(strokeAcrossRows(picture(), column(5.3), row(5) - 8, row(5) + 8, kGround, kRed),
                             stored, row(5)))
            << asked;
    }
}

struct Setter {
    const char* name;
    std::function<void(BarChartWidget&)> call;
};

QList<Setter> setters() {
    const QList<QList<double>> one{{1, 2}};
    const QStringList text{QStringLiteral("text")};
    return {
        {"setBars",
         [](BarChartWidget& plot) {
             plot.setBars({1, 2}, {3, 4}, 1.0);
         }},
        {"setSeries",
         [=](BarChartWidget& plot) { plot.setSeries(one, one, text, {kRed}, BarChartWidget::Lines); }},
        {"setOverlaySeries",
         [=](BarChartWidget& plot) {
             plot.setOverlaySeries(one, one, text, {kRed}, BarChartWidget::Points);
         }},
        {"clearOverlaySeries", [](BarChartWidget& plot) { plot.clearOverlaySeries(); }},
        {"clearSeries", [](BarChartWidget& plot) { plot.clearSeries(); }},
        {"setXTickLabels", [=](BarChartWidget& plot) { plot.setXTickLabels({1}, text); }},
        {"setAxisLabels", [=](BarChartWidget& plot) { plot.setAxisLabels(text[0], text[0]); }},
        {"setColors", [](BarChartWidget& plot) { plot.setColors(kRed, kBlue); }},
        {"setLegendVisible", [](BarChartWidget& plot) { plot.setLegendVisible(false); }},
        {"setStatLines", [=](BarChartWidget& plot) { plot.setStatLines(text, {kRed}); }},
        {"setYMarkers", [=](BarChartWidget& plot) { plot.setYMarkers({5}, text, {kRed}); }},
        {"setPlotOptions",
         [](BarChartWidget& plot) { plot.setPlotOptions(QStringLiteral("Dark"), 9, 2.0, Qt::DotLine); }},
    };
}

void showAndSettle(BarChartWidget& plot) {
    plot.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&plot));
    QCoreApplication::processEvents();
}

TEST_F(PlotTest, EverySetterAsksForARepaintAndKeepsTheView) {
    showAndSettle(plot);
    PaintCounter counter(plot);
    QList<Setter> all = setters();
    all.append({"setXRange", [](BarChartWidget& widget) { widget.setXRange(0, 10); }});
    all.append({"setYRange", [](BarChartWidget& widget) { widget.setYRange(0, 10); }});
    all.append({"setManualRange", [](BarChartWidget& widget) { widget.setManualRange(0, 10, 0, 10); }});
    all.append({"resetView", [](BarChartWidget& widget) { widget.resetView(); }});
    for (const Setter& setter : all) {
        counter.takePaints();
        setter.call(plot);
        EXPECT_EQ(counter.takePaints(), 1) << setter.name;
        EXPECT_TRUE(hasView(plot, {0, 10, 0, 10})) << setter.name;
    }
}

TEST_F(PlotTest, BoxZoomModeIsStoredWithoutARepaint) {
    showAndSettle(plot);
    PaintCounter counter(plot);
    counter.takePaints();
    plot.setBoxZoomMode(false);
    EXPECT_FALSE(plot.boxZoomMode());
    EXPECT_EQ(counter.takePaints(), 0);
    plot.setBoxZoomMode(true);
    EXPECT_TRUE(plot.boxZoomMode());
    EXPECT_EQ(counter.takePaints(), 0);
}

TEST_F(PlotTest, SeveralSettersInARowLeadToOnePaint) {
    showAndSettle(plot);
    PaintCounter counter(plot);
    counter.takePaints();
    for (const Setter& setter : setters()) {
        setter.call(plot);
    }
    plot.setXRange(0, 5);
    EXPECT_EQ(counter.takePaints(), 1);
}

TEST_F(PlotTest, WidgetPaintsItsWholeGroundItself) {
    const QImage image = picture();
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            ASSERT_FALSE(image.pixelColor(x, y) == QColor(Qt::magenta)) << x << ", " << y;
        }
    }
    for (const QPoint& corner : {QPoint(0, 0), QPoint(479, 0), QPoint(0, 257), QPoint(479, 257)}) {
        EXPECT_TRUE(samePixel(image, corner.x(), corner.y(), kGround, 0));
    }
}

TEST_F(PlotTest, DefaultGroundAndInkFollowThePaletteOfTheCurrentGroup) {
    QPalette palette = plot.palette();
    palette.setColor(QPalette::Disabled, QPalette::Base, QColor(90, 100, 20));
    palette.setColor(QPalette::Disabled, QPalette::Text, QColor(220, 210, 250));
    plot.setPalette(palette);
    EXPECT_TRUE(samePixel(picture(), 2, 2, kGround, 0));
    plot.setEnabled(false);
    const QImage image = picture();
    EXPECT_TRUE(samePixel(image, 2, 2, QColor(90, 100, 20), 0));
    EXPECT_TRUE(
        isStroke(strokeAcrossColumns(image, row(3), 460, 468, QColor(90, 100, 20), QColor(220, 210, 250)),
                 1.0, 464.0));
}

} // namespace
