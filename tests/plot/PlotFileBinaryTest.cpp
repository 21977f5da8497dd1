#include "PlotFileStage.h"

#include <cmath>
#include <limits>

namespace {

using namespace plottest;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

class PlotBinary : public PlotFileTest {
protected:
    // A line through points, loaded over the view x 0 to 10, y 0 to 10.
    ::testing::AssertionResult loadsLine(const QList<double>& xs, const QList<double>& ys) {
        PlotFileFields file;
        file.seriesXs = {xs};
        file.seriesYs = {ys};
        return loads(file.bytes());
    }
    void showBarsPlot() {
        plot.setAxisLabels(QString::fromUtf8("\u00b5s t"), QStringLiteral("Rates"));
        plot.setBars({-1, 0.5, 3}, {10, -2.5, 1e6}, 0.8);
        plot.setOverlaySeries({{0, 2}, {4.5}}, {{5, 6}, {-7}},
                              {QStringLiteral("fit, a"), QString::fromUtf8("\U0001f74c")},
                              {QColor(200, 30, 40, 128)}, BarChartWidget::Points);
        plot.setStatLines({QStringLiteral("n = 3"), QStringLiteral("")}, {QColor(0, 255, 0), QColor()});
        plot.setYMarkers({7}, {QStringLiteral("Up")}, {QColor::fromHsv(300, 128, 64)});
    }
    void showSeriesPlot() {
        plot.setAxisLabels(QStringLiteral("x"), QStringLiteral("y"));
        plot.setSeries({{1, 2, 4}, {}}, {{-0.0, 1.0 / 3.0, 100}, {}},
                       {QStringLiteral("A"), QStringLiteral("B")}, {kRed, kBlue}, BarChartWidget::Lines);
    }
};

TEST_F(PlotBinary, HoldsBarsOverlaysAndMarksAsLaidDown) {
    showBarsPlot();
    EXPECT_EQ(plot.toBinary().toHex(' '), goldenPlot("bars_plot.hex").toHex(' '));
}

TEST_F(PlotBinary, HoldsSeriesAsLaidDown) {
    showSeriesPlot();
    EXPECT_EQ(plot.toBinary().toHex(' '), goldenPlot("series_plot.hex").toHex(' '));
}

TEST_F(PlotBinary, ReadsBarsOverlaysAndMarksFromALaidDownFile) {
    showBarsPlot();
    plot.setXRange(-1, 4.5);
    plot.setYRange(-7, 1e6);
    const QImage expected = picture();
    plot.setBars({}, {}, 1.0);
    showOldPlot();
    ASSERT_TRUE(loads(goldenPlot("bars_plot.hex")));
    EXPECT_TRUE(hasView(plot, {-1, 4.5, -7, 1e6}));
    EXPECT_EQ(largestDifference(picture(), expected), 0);
    EXPECT_EQ(plot.toBinary().toHex(' '), goldenPlot("bars_plot.hex").toHex(' '));
}

TEST_F(PlotBinary, ReadsSeriesFromALaidDownFile) {
    showSeriesPlot();
    plot.setXRange(1, 4);
    plot.setYRange(0, 100);
    const QImage expected = picture();
    showOldPlot();
    ASSERT_TRUE(loads(goldenPlot("series_plot.hex")));
    EXPECT_TRUE(hasView(plot, {1, 4, 0, 100}));
    EXPECT_EQ(largestDifference(picture(), expected), 0);
    EXPECT_EQ(plot.toBinary().toHex(' '), goldenPlot("series_plot.hex").toHex(' '));
}

TEST_F(PlotBinary, GivesEveryFieldBack) {
    const QByteArray bytes = fullPlotFile().bytes();
    ASSERT_TRUE(loads(bytes));
    EXPECT_EQ(plot.toBinary().toHex(' '), bytes.toHex(' '));
    BarChartWidget other;
    ASSERT_TRUE(other.loadBinary(plot.toBinary(), nullptr));
    EXPECT_EQ(other.toBinary(), bytes);
}

TEST_F(PlotBinary, GivesEveryModeBack) {
    for (const int main : {0, 1, 2}) {
        for (const int overlay : {0, 1, 2}) {
            PlotFileFields file = fullPlotFile();
            file.seriesMode = main;
            file.overlayMode = overlay;
            ASSERT_TRUE(loads(file.bytes())) << main << overlay;
            EXPECT_EQ(plot.toBinary(), file.bytes()) << main << overlay;
        }
    }
}

TEST_F(PlotBinary, GivesEveryNumberBackBitByBit) {
    PlotFileFields file;
    file.barWidth = 1.0 / 3.0;
    file.seriesXs = {{0.0, -0.0, 0.1, 1e-308, std::numeric_limits<double>::denorm_min(),
                      std::numeric_limits<double>::max(), kInf, -kInf, kNan, 12345678901234567.0}};
    file.seriesYs = file.seriesXs;
    file.markerValues = {kNan, kInf, -1e-300};
    ASSERT_TRUE(loads(file.bytes()));
    EXPECT_EQ(plot.toBinary().toHex(' '), file.bytes().toHex(' '));
    EXPECT_FALSE(picture().isNull());
}

TEST_F(PlotBinary, AnEmptyPlotComesBack) {
    BarChartWidget empty;
    empty.setAxisLabels(QStringLiteral("x"), QStringLiteral("y"));
    showOldPlot();
    ASSERT_TRUE(loads(empty.toBinary()));
    EXPECT_EQ(plot.toBinary(), empty.toBinary());
    EXPECT_TRUE(
        refusesText(plot.toCsv(), QStringLiteral("The selected CSV file does not contain plot data.")));
}

TEST_F(PlotBinary, NullTextsReadAsEmptyOnes) {
    PlotFileFields null;
    null.xLabel = QString();
    null.yLabel = QString();
    null.seriesXs = {{1, 2}, {1, 2}};
    null.seriesYs = {{1, 2}, {2, 1}};
    null.seriesLabels = {QString(), QStringLiteral("b")};
    PlotFileFields empty = null;
    empty.xLabel = empty.yLabel = empty.seriesLabels[0] = QStringLiteral("");
    ASSERT_TRUE(loads(null.bytes()));
    const QImage first = picture();
    ASSERT_TRUE(loads(empty.bytes()));
    EXPECT_EQ(largestDifference(picture(), first), 0);
}

TEST_F(PlotBinary, ALoadIsOneRepaint) {
    plot.show();
    PaintCounter counter(plot);
    counter.takePaints();
    ASSERT_TRUE(loads(goldenPlot("bars_plot.hex")));
    EXPECT_EQ(counter.takePaints(), 1);
    EXPECT_TRUE(refuses({}, kNoPlotData));
    EXPECT_EQ(counter.takePaints(), 0);
    plot.hide();
}

TEST_F(PlotBinary, ANullErrorIsFine) {
    EXPECT_FALSE(plot.loadBinary({}, nullptr));
    EXPECT_FALSE(plot.loadBinary(QByteArrayLiteral("QORNPLT"), nullptr));
    PlotFileFields mismatched;
    mismatched.seriesXs = {{1}};
    mismatched.seriesYs = {{}};
    EXPECT_FALSE(plot.loadBinary(mismatched.bytes(), nullptr));
    EXPECT_TRUE(plot.loadBinary(fullPlotFile().bytes(), nullptr));
}

// --- the view after a load ---------------------------------------------------------------------------------

TEST_F(PlotBinary, TheViewIsTheLimitsOfBarsSeriesAndOverlaysTogether) {
    PlotFileFields file;
    file.barXs = {-3, 2};
    file.barHeights = {1, 2};
    file.seriesXs = {{0}, {20, 5}};
    file.seriesYs = {{-40}, {1, 2}};
    file.overlayXs = {{1}};
    file.overlayYs = {{300}};
    ASSERT_TRUE(loads(file.bytes()));
    EXPECT_TRUE(hasView(plot, {-3, 20, -40, 300}));
}

TEST_F(PlotBinary, BarsAloneAreShownFromCentreToCentre) {
    PlotFileFields file;
    file.seriesMode = 0;
    file.barXs = {5, 1, 3};
    file.barHeights = {8, 2, 4};
    ASSERT_TRUE(loads(file.bytes()));
    EXPECT_TRUE(hasView(plot, {1, 5, 2, 8}));
}

TEST_F(PlotBinary, OverlaysAloneGiveTheView) {
    PlotFileFields file;
    file.overlayXs = {{-1, 1}};
    file.overlayYs = {{-2, 2}};
    ASSERT_TRUE(loads(file.bytes()));
    EXPECT_TRUE(hasView(plot, {-1, 1, -2, 2}));
}

TEST_F(PlotBinary, TheViewReplacesTheOperatorsAndIsTheAutomaticRange) {
    plot.setManualRange(100, 200, 300, 400);
    ASSERT_TRUE(loadsLine({1, 2}, {3, 5}));
    EXPECT_TRUE(hasView(plot, {1, 2, 3, 5}));
    plot.setManualRange(0, 1, 0, 1);
    plot.resetView();
    EXPECT_TRUE(hasView(plot, {1, 2, 3, 5}));
}

TEST_F(PlotBinary, TheOwnersRangesReachTheViewAgainAfterALoad) {
    plot.setManualRange(100, 200, 300, 400);
    ASSERT_TRUE(loadsLine({1, 2}, {3, 5}));
    plot.setXRange(0, 50);
    EXPECT_TRUE(hasView(plot, {0, 50, 3, 5}));
}

TEST_F(PlotBinary, AnEmptyRangeIsRepairedToTheLengthOfOne) {
    ASSERT_TRUE(loadsLine({7}, {-3}));
    EXPECT_TRUE(hasView(plot, {7, 8, -3, -2}));
    ASSERT_TRUE(loadsLine({1, 5}, {4, 4}));
    EXPECT_TRUE(hasView(plot, {1, 5, 4, 5}));
    ASSERT_TRUE(loadsLine({2, 2}, {1, 9}));
    EXPECT_TRUE(hasView(plot, {2, 3, 1, 9}));
    plot.setManualRange(0, 1, 0, 1);
    plot.resetView();
    EXPECT_TRUE(hasView(plot, {2, 3, 1, 9}));
}

TEST_F(PlotBinary, EqualValuesAreShownHoweverLargeTheyAre) {
    for (const double value : {1e15, 9.1e15, 1e17, -1e17, 1e300}) {
        ASSERT_TRUE(loadsLine({value, value}, {0, 1}));
        EXPECT_GT(viewOf(plot).xMax, viewOf(plot).xMin) << value;
        const double middle = plot.pixelFromValueX(value, plot.plotRect());
        EXPECT_NEAR(middle, plot.plotRect().left(), 1e-6) << value;
        ASSERT_TRUE(loadsLine({0, 1}, {value, value}));
        EXPECT_GT(viewOf(plot).yMax, viewOf(plot).yMin) << value;
        EXPECT_FALSE(picture().isNull());
    }
}

TEST_F(PlotBinary, WithoutPointsTheRangesStay) {
    plot.setXRange(2, 6);
    ASSERT_TRUE(loads(PlotFileFields().bytes()));
    EXPECT_TRUE(hasView(plot, {2, 6, 0, 10}));
    plot.setXRange(3, 7);
    EXPECT_TRUE(hasView(plot, {3, 7, 0, 10}));
}

TEST_F(PlotBinary, AnInfinitePointLeavesTheRanges) {
    for (const double infinite : {kInf, -kInf}) {
        ASSERT_TRUE(loadsLine({1, infinite}, {3, 5}));
        EXPECT_TRUE(hasView(plot, {0, 10, 0, 10}));
        ASSERT_TRUE(loadsLine({1, 2}, {3, infinite}));
        EXPECT_TRUE(hasView(plot, {0, 10, 0, 10}));
    }
}

TEST_F(PlotBinary, PointsThatAreNoNumbersAreShownWithoutFault) {
    for (const QList<double>& values : QList<QList<double>>{{kNan, kNan}, {kNan, 1, 2}, {1, kNan}}) {
        PlotFileFields file;
        file.seriesXs = file.overlayXs = {values};
        file.seriesYs = file.overlayYs = {values};
        file.barXs = file.barHeights = values;
        ASSERT_TRUE(loads(file.bytes()));
        const View view = viewOf(plot);
        EXPECT_TRUE(std::isfinite(view.xMin) && std::isfinite(view.xMax) && view.xMin < view.xMax);
        EXPECT_TRUE(std::isfinite(view.yMin) && std::isfinite(view.yMax) && view.yMin < view.yMax);
        EXPECT_FALSE(picture().isNull());
    }
}

TEST_F(PlotBinary, TheWidestRangeOfNumbersIsShownWithoutFault) {
    const double most = std::numeric_limits<double>::max();
    ASSERT_TRUE(loadsLine({-most, most}, {-most, most}));
    EXPECT_FALSE(picture().isNull());
    ASSERT_TRUE(loadsLine({most, most}, {-most, -most}));
    EXPECT_FALSE(picture().isNull());
}

TEST_F(PlotBinary, TheTicksOfThePlotBeforeAreGone) {
    ASSERT_TRUE(loads(goldenPlot("series_plot.hex")));
    const QImage expected = picture();
    plot.setXTickLabels({2, 3}, {QStringLiteral("left"), QStringLiteral("right")});
    ASSERT_GT(largestDifference(picture(), expected), 50);
    ASSERT_TRUE(loads(goldenPlot("series_plot.hex")));
    EXPECT_EQ(largestDifference(picture(), expected), 0);
}

TEST_F(PlotBinary, OptionsAndZoomModeStayWithTheWidget) {
    useScheme(QStringLiteral("Dark"), 3.0, Qt::DashLine);
    plot.setBoxZoomMode(false);
    const auto options = plot.plotOptions();
    ASSERT_TRUE(loads(fullPlotFile().bytes()));
    EXPECT_EQ(plot.plotOptions(), options);
    EXPECT_FALSE(plot.boxZoomMode());
}

} // namespace
