#include "PlotTestSupport.h"

#include <QFontMetrics>
#include <QMetaMethod>
#include <QStringList>

#include <algorithm>

namespace {

using namespace plottest;

TEST(PlotSetUp, SizePolicyFocusAndTrackingAreTheDocumentedOnes) {
    const BarChartWidget plot;
    EXPECT_EQ(plot.minimumSize(), QSize(240, 180));
    EXPECT_EQ(plot.sizePolicy().horizontalPolicy(), QSizePolicy::Expanding);
    EXPECT_EQ(plot.sizePolicy().verticalPolicy(), QSizePolicy::Expanding);
    EXPECT_FALSE(plot.autoFillBackground());
    EXPECT_TRUE(plot.hasMouseTracking());
    EXPECT_EQ(plot.focusPolicy(), Qt::StrongFocus);
}

TEST(PlotSetUp, OptionsAndViewStartWithTheirDefaults) {
    const BarChartWidget plot;
    EXPECT_EQ(plot.plotOptions().colorScheme, QStringLiteral("Default"));
    EXPECT_EQ(plot.plotOptions().fontPointSize, 10);
    EXPECT_DOUBLE_EQ(plot.plotOptions().lineWidth, 1.8);
    EXPECT_EQ(plot.plotOptions().penStyle, Qt::SolidLine);
    EXPECT_TRUE(plot.boxZoomMode());
    EXPECT_TRUE(hasView(plot, {0.0, 1.0, 0.0, 1.0}));
}

TEST(PlotSetUp, HasThreeSlotsInOrderAndNoSignals) {
    const QMetaObject& meta = BarChartWidget::staticMetaObject;
    QStringList slotNames;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        EXPECT_EQ(meta.method(i).methodType(), QMetaMethod::Slot);
        slotNames.append(QString::fromLatin1(meta.method(i).methodSignature()));
    }
    EXPECT_EQ(slotNames, (QStringList{QStringLiteral("resetView()"), QStringLiteral("promptAxisLimits()"),
                                      QStringLiteral("setBoxZoomMode(bool)")}));
}

TEST(PlotSetUp, SeriesModesKeepTheNumbersOfPlotFiles) {
    EXPECT_EQ(int(BarChartWidget::SeriesMode::Bars), 0);
    EXPECT_EQ(int(BarChartWidget::SeriesMode::Lines), 1);
    EXPECT_EQ(int(BarChartWidget::SeriesMode::Points), 2);
    EXPECT_EQ(BarChartWidget::Points, BarChartWidget::SeriesMode::Points);
}

TEST(PlotArea, LeavesTheDocumentedMargins) {
    BarChartWidget plot;
    for (const QSize& size : {QSize(240, 180), QSize(480, 258), QSize(1200, 700)}) {
        plot.resize(size);
        EXPECT_EQ(plot.plotRect(), QRectF(64, 16, size.width() - 80, size.height() - 58));
    }
}

TEST(PlotArea, GivesTheXLabelTheHeightOfTheFont) {
    BarChartWidget plot;
    plot.resize(480, 358);
    for (const int points : {7, 10, 28}) {
        plot.setPlotOptions(QStringLiteral("Default"), points, 1.8, Qt::SolidLine);
        const int fontHeight = plot.fontMetrics().height();
        plot.setAxisLabels(QStringLiteral("Time (s)"), QString());
        EXPECT_EQ(plot.plotRect(), QRectF(64, 16, 400, 300 - fontHeight));
        plot.setAxisLabels(QString(), QStringLiteral("Counts"));
        EXPECT_EQ(plot.plotRect(), QRectF(64, 16, 400, 300)) << "the Y label takes no room";
    }
}

TEST(PlotArea, NeverShrinksBelowTenByTenPixels) {
    BarChartWidget plot;
    plot.setMinimumSize(1, 1);
    for (const QSize& size : {QSize(1, 1), QSize(80, 58), QSize(90, 68), QSize(89, 67)}) {
        plot.resize(size);
        EXPECT_EQ(plot.plotRect(), QRectF(64, 16, 10, 10)) << size.width() << " by " << size.height();
    }
    plot.resize(91, 69);
    EXPECT_EQ(plot.plotRect(), QRectF(64, 16, 11, 11));
}

struct MappingCase {
    QRectF area;
    View view;
    double x;
    double y;
    double pixelX;
    double pixelY;
};

TEST(PlotMapping, TurnsValuesIntoPixelsAndBack) {
    const QRectF plain(64, 16, 400, 200);
    const QList<MappingCase> cases{
        {plain, {0, 10, 0, 10}, 0, 0, 64, 216},
        {plain, {0, 10, 0, 10}, 10, 10, 464, 16},
        {plain, {0, 10, 0, 10}, 2.5, 7.5, 164, 66},
        {plain, {0, 10, 0, 10}, -1, 11, 24, -4},
        {plain, {-5, 5, -100, 100}, 0, 0, 264, 116},
        {plain, {1e12, 1e12 + 400, -1e-6, 1e-6}, 1e12 + 100, 5e-7, 164, 66},
        {QRectF(0, 0, 10, 10), {0, 1, 0, 1}, 0.25, 0.25, 2.5, 7.5},
        {QRectF(10.5, 20.25, 100, 50), {0, 4, 0, 2}, 1, 1, 35.5, 45.25},
    };
    BarChartWidget plot;
    for (const MappingCase& mapping : cases) {
        plot.setManualRange(mapping.view.xMin, mapping.view.xMax, mapping.view.yMin, mapping.view.yMax);
        const double spanX = mapping.view.xMax - mapping.view.xMin;
        const double spanY = mapping.view.yMax - mapping.view.yMin;
        EXPECT_NEAR(plot.pixelFromValueX(mapping.x, mapping.area), mapping.pixelX, 1e-6);
        EXPECT_NEAR(plot.pixelFromValueY(mapping.y, mapping.area), mapping.pixelY, 1e-6);
        EXPECT_NEAR(plot.valueFromPixelX(mapping.pixelX, mapping.area), mapping.x, 1e-9 * spanX);
        EXPECT_NEAR(plot.valueFromPixelY(mapping.pixelY, mapping.area), mapping.y, 1e-9 * spanY);
    }
}

TEST(PlotMapping, TakesAreasBelowOnePixelAsOnePixelOnTheWayBack) {
    BarChartWidget plot;
    plot.setManualRange(0, 10, 0, 10);
    const QRectF tiny(5, 5, 0.5, 0.0);
    EXPECT_DOUBLE_EQ(plot.valueFromPixelX(5.5, tiny), 5.0);
    EXPECT_DOUBLE_EQ(plot.valueFromPixelY(5.5, tiny), 5.0);
}

struct RangeCase {
    double lo;
    double hi;
    double storedHi;
};

TEST(PlotRange, RepairsAnUpperEndThatIsNotAboveTheLowerOne) {
    for (const RangeCase& range : {RangeCase{5, 5, 6}, {7, 3, 8}, {0, 0, 1}, {-2, -2, -1}, {5, 5.5, 5.5}}) {
        BarChartWidget plot;
        plot.setXRange(range.lo, range.hi);
        EXPECT_TRUE(hasView(plot, {range.lo, range.storedHi, 0, 1}));
        plot.setYRange(range.lo, range.hi);
        EXPECT_TRUE(hasView(plot, {range.lo, range.storedHi, range.lo, range.storedHi}));
        plot.resetView();
        EXPECT_TRUE(hasView(plot, {range.lo, range.storedHi, range.lo, range.storedHi}));
    }
}

TEST(PlotRange, RepairsEachPairOfAManualRange) {
    BarChartWidget plot;
    plot.setManualRange(5, 5, 1, 2);
    EXPECT_TRUE(hasView(plot, {5, 6, 1, 2}));
    plot.setManualRange(1, 2, 5, 5);
    EXPECT_TRUE(hasView(plot, {1, 2, 5, 6}));
    plot.setManualRange(9, 3, 8, 2);
    EXPECT_TRUE(hasView(plot, {9, 10, 8, 9}));
}

TEST(PlotRange, OwnersRangeReachesTheViewUntilAManualRangeIsSet) {
    BarChartWidget plot;
    plot.setXRange(1, 4);
    plot.setYRange(2, 8);
    EXPECT_TRUE(hasView(plot, {1, 4, 2, 8}));
    plot.setManualRange(2, 3, 4, 5);
    EXPECT_TRUE(hasView(plot, {2, 3, 4, 5}));
    plot.setXRange(10, 20);
    plot.setYRange(30, 40);
    EXPECT_TRUE(hasView(plot, {2, 3, 4, 5}));
}

TEST(PlotRange, ResetGoesToTheLastRangeThatTheOwnerAskedFor) {
    BarChartWidget plot;
    plot.setManualRange(2, 3, 4, 5);
    plot.setXRange(10, 20);
    plot.setXRange(11, 21);
    plot.setYRange(30, 30);
    plot.resetView();
    EXPECT_TRUE(hasView(plot, {11, 21, 30, 31}));
    plot.setXRange(5, 6);
    EXPECT_TRUE(hasView(plot, {5, 6, 30, 31})) << "the manual range is over";
}

TEST(PlotRange, ManualRangeLeavesTheAutomaticRangeAlone) {
    BarChartWidget plot;
    plot.setXRange(1, 4);
    plot.setYRange(2, 8);
    plot.setManualRange(2, 3, 4, 5);
    plot.setManualRange(6, 7, 8, 9);
    plot.resetView();
    EXPECT_TRUE(hasView(plot, {1, 4, 2, 8}));
}

class PlotSeriesColour : public PlotTest, public ::testing::WithParamInterface<Scheme> {};

TEST_P(PlotSeriesColour, FollowsPaletteThenOwnColoursThenBarFill) {
    const Scheme& scheme = GetParam();
    plot.setColors(kGreen, kBlue);
    plot.setSeries({{1}, {1}, {1}}, {{1}, {1}, {1}}, {}, {kRed, kBlue}, BarChartWidget::Lines);
    useScheme(scheme.name);
    for (int i = 0; i < 10; ++i) {
        const QColor own = i == 0 ? kRed : i == 1 ? kBlue : kGreen;
        const QColor expected = scheme.palette.isEmpty() ? own : scheme.palette[i % 4];
        EXPECT_EQ(plot.seriesColor(i).name(), expected.name()) << "series " << i;
    }
    useScheme(QStringLiteral("Default"));
    EXPECT_EQ(plot.seriesColor(0).name(), kRed.name()) << "the palette is gone again";
}

INSTANTIATE_TEST_SUITE_P(Schemes, PlotSeriesColour, ::testing::ValuesIn(schemes()), schemeTestName);

TEST_F(PlotTest, SeriesColourIsTheDefaultFillAtFirst) {
    EXPECT_EQ(plot.seriesColor(0).name(), kDefaultFill.name());
    EXPECT_EQ(plot.seriesColor(5).name(), kDefaultFill.name());
}

TEST_F(PlotTest, UnknownSchemeNamesAreTheDefault) {
    useScheme(QStringLiteral("Dark"));
    ASSERT_TRUE(samePixel(picture(), 1, 1, QColor(0x12, 0x16, 0x1a), 0));
    for (const char* name : {"dark", "DARK", "Dark ", "High Contrast", "", "qorn", "Default"}) {
        useScheme(QString::fromLatin1(name));
        EXPECT_TRUE(samePixel(picture(), 1, 1, kGround, 0)) << "\"" << name << "\"";
        EXPECT_EQ(plot.seriesColor(0).name(), kDefaultFill.name()) << "\"" << name << "\"";
        EXPECT_EQ(plot.plotOptions().colorScheme, QString::fromLatin1(name));
    }
}

} // namespace
