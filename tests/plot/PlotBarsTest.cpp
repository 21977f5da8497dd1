#include "PlotTestSupport.h"

#include <limits>

namespace {

using namespace plottest;

// Bars in one colour and with an invisible border, so that their areas can be measured.
class PlotBars : public PlotTest {
protected:
    PlotBars() {
        hideXTicks();
        plot.setColors(kRed, kRed);
        useScheme(QStringLiteral("Default"), 1.8, Qt::NoPen);
    }

    // Left, right, top and bottom edge of the bar that covers the column and row of a value.
    ::testing::AssertionResult isBar(double left, double right, double top, double bottom) {
        const QImage image = picture();
        const int middleColumn = int((left + right) / 2);
        const int middleRow = int((top + bottom) / 2);
        const Stroke across =
            strokeAcrossColumns(image, middleRow, int(left) - 6, int(right) + 6, kGround, kRed);
        const Stroke upright = strokeAcrossRows(image, middleColumn, std::max(17, int(top) - 6),
                                                std::min(214, int(bottom) + 6), kGround, kRed);
        if (::testing::AssertionResult result = isStroke(across, right - left, (left + right) / 2); !result) {
            return result << " across";
        }
        return isStroke(upright, bottom - top, (top + bottom) / 2, 0.4) << " upright";
    }
};

TEST_F(PlotBars, StandCentredOnTheirPositionWithTheirWidthAndHeight) {
    // x 4 to 5 is 224 to 264; heights 1 to 5 lie below the clip edge, so the bar hangs from the zero line.
    plot.setYRange(-2, 8);
    plot.setBars({4.5}, {5}, 1.0);
    EXPECT_TRUE(isBar(224, 264, 76, 176));
    plot.setBars({2.25}, {3.25}, 0.5);
    EXPECT_TRUE(isBar(144, 164, 111, 176));
    plot.setBars({2.25}, {3.25}, 0.3);
    EXPECT_TRUE(isBar(148, 160, 111, 176));
}

TEST_F(PlotBars, HangDownFromZeroWhenNegative) {
    plot.setYRange(-5, 5);
    plot.setBars({4.5}, {-3}, 1.0);
    EXPECT_TRUE(isBar(224, 264, 116, 176));
}

TEST_F(PlotBars, StandOnTheLowerEndWhenItIsNotNegative) {
    for (const double yMin : {0.0, 3.0}) {
        plot.setYRange(yMin, yMin + 10);
        plot.setBars({4.5}, {yMin + 4.25}, 1.0);
        const QImage image = picture();
        EXPECT_TRUE(samePixel(image, 244, 214, kRed)) << "reaches the foot of the plot";
        EXPECT_TRUE(samePixel(image, 244, 132, kRed));
        EXPECT_TRUE(samePixel(image, 244, 129, kGround));
    }
}

TEST_F(PlotBars, HangFromAboveWhenZeroLiesAboveTheView) {
    plot.setYRange(-10, -5);
    plot.setBars({4.5}, {-8}, 1.0);
    const QImage image = picture();
    EXPECT_TRUE(samePixel(image, 244, 18, kRed));
    EXPECT_TRUE(samePixel(image, 244, 134, kRed));
    EXPECT_TRUE(samePixel(image, 244, 138, kGround));
    EXPECT_TRUE(samePixel(image, 244, 14, kGround)) << "nothing outside the plot area";
}

TEST_F(PlotBars, HeightsAreClampedToTheView) {
    plot.setYRange(-5, 5);
    plot.setBars({2, 8}, {1e9, -1e9}, 1.0);
    const QImage image = picture();
    EXPECT_TRUE(samePixel(image, column(2), 18, kRed));
    EXPECT_TRUE(samePixel(image, column(2), 114, kRed));
    EXPECT_TRUE(samePixel(image, column(2), 118, kGround));
    EXPECT_TRUE(samePixel(image, column(8), 213, kRed));
    EXPECT_TRUE(samePixel(image, column(8), 113, kGround));
    for (int y : {4, 10, 14, 219, 225}) {
        EXPECT_TRUE(samePixel(image, column(2), y, kGround));
        EXPECT_TRUE(samePixel(image, column(8), y, kGround));
    }
}

TEST_F(PlotBars, AreNeverNarrowerThanOnePixel) {
    for (const double width : {0.0, 0.001, 0.024}) {
        plot.setBars({4.5}, {7}, width);
        const double left = 244.0 - 20.0 * width;
        EXPECT_TRUE(
            isStroke(strokeAcrossColumns(picture(), row(3), 236, 252, kGround, kRed), 1.0, left + 0.5))
            << width;
    }
    plot.setBars({4.5}, {7}, 0.05);
    EXPECT_TRUE(isStroke(strokeAcrossColumns(picture(), row(3), 236, 252, kGround, kRed), 2.0, 244.0));
}

TEST_F(PlotBars, NegativeWidthCountsAsZeroAndGivesBarsOfOnePixel) {
    plot.setBars({4.5}, {7}, -3.0);
    EXPECT_TRUE(isStroke(strokeAcrossColumns(picture(), row(3), 200, 290, kGround, kRed), 1.0, 244.5));
}

TEST_F(PlotBars, OfHeightZeroShowTheirBorderOnly) {
    plot.setYRange(-5, 5);
    const QImage empty = picture();
    plot.setBars({4.5}, {0}, 1.0);
    EXPECT_EQ(largestDifference(picture(), empty), 0);
    // A border of 4 pixels, so that both of its edges lie between pixels, on the zero line.
    useScheme(QStringLiteral("Default"), 4.0 / 0.65);
    plot.setXRange(0.5, 10.5);
    EXPECT_TRUE(isStroke(strokeAcrossRows(picture(), 224, 110, 122, kGround, kRed), 4.0, 116.0));
}

TEST_F(PlotBars, AreAsManyAsTheShorterList) {
    plot.setBars({2, 5, 8}, {5, 5}, 1.0);
    QImage image = picture();
    EXPECT_TRUE(samePixel(image, column(2), row(3), kRed));
    EXPECT_TRUE(samePixel(image, column(5), row(3), kRed));
    EXPECT_TRUE(samePixel(image, column(8), row(3), kGround));
    plot.setBars({2}, {5, 5, 5}, 1.0);
    image = picture();
    EXPECT_TRUE(samePixel(image, column(2), row(3), kRed));
    EXPECT_TRUE(samePixel(image, column(5), row(3), kGround));
}

TEST_F(PlotBars, StayInsideThePlotShrunkByOnePixel) {
    plot.setBars({0, 10}, {20, 20}, 2.0);
    const QImage image = picture();
    EXPECT_TRUE(samePixel(image, 65, row(3), kRed));
    EXPECT_TRUE(samePixel(image, 462, row(3), kRed));
    // The frame and the ground next to it are as they are without bars.
    plot.clearSeries();
    const QImage empty = picture();
    for (const QRect& outside :
         {QRect(0, 0, 65, 258), QRect(463, 0, 17, 258), QRect(0, 0, 480, 17), QRect(0, 215, 480, 43)}) {
        EXPECT_EQ(largestDifference(image, empty, outside), 0);
    }
}

TEST_F(PlotBars, LaterBarsLieOnEarlierOnes) {
    plot.setColors(kRed, kBlue);
    useScheme(QStringLiteral("Default"), 8.0);
    plot.setBars({4, 5}, {8, 6}, 2.0);
    // The right edge of the first bar, at x = 5, lies under the second one.
    EXPECT_TRUE(samePixel(picture(), column(5), row(3), kRed));
    EXPECT_TRUE(samePixel(picture(), column(5), row(7), kBlue));
}

TEST_F(PlotTest, BarBorderFollowsLineWidthWithAMinimumOfOnePixel) {
    hideXTicks();
    plot.setColors(kGround, kBlue);
    plot.setBars({5}, {7}, 2.0);
    for (const auto& [lineWidth, border] :
         {std::pair{0.5, 1.0}, {1.0, 1.0}, {1.8, 1.17}, {4.0, 2.6}, {8.0, 5.2}}) {
        useScheme(QStringLiteral("Default"), lineWidth);
        const QImage image = picture();
        EXPECT_TRUE(isStroke(strokeAcrossColumns(image, row(3), 215, 233, kGround, kBlue), border, 224.0));
        EXPECT_TRUE(isStroke(strokeAcrossColumns(image, row(3), 295, 313, kGround, kBlue), border, 304.0));
        EXPECT_TRUE(isStroke(strokeAcrossRows(image, 264, 66, 86, kGround, kBlue), border, 76.0));
    }
}

TEST_F(PlotTest, BarBorderTakesThePenStyle) {
    hideXTicks();
    plot.setColors(kGround, kBlue);
    plot.setBars({5}, {8}, 2.0);
    useScheme(QStringLiteral("Default"), 1.8, Qt::NoPen);
    // A stretch of the left edge between two grid lines.
    const QRect edge(218, 99, 12, 35);
    EXPECT_NEAR(inkIn(picture(), edge, kGround, kBlue).pixels, 0.0, 1.0);
    useScheme(QStringLiteral("Default"), 1.8, Qt::SolidLine);
    const double solid = inkIn(picture(), edge, kGround, kBlue).pixels;
    EXPECT_NEAR(solid, 35 * 1.17, 2.0);
    useScheme(QStringLiteral("Default"), 1.8, Qt::DotLine);
    const double dotted = inkIn(picture(), edge, kGround, kBlue).pixels;
    EXPECT_GT(dotted, 0.2 * solid);
    EXPECT_LT(dotted, 0.85 * solid);
}

TEST_F(PlotTest, BarsStartWithTheDefaultFillAndBorder) {
    hideXTicks();
    plot.setBars({5}, {8}, 2.0);
    useScheme(QStringLiteral("Default"), 8.0);
    const QImage image = picture();
    EXPECT_TRUE(samePixel(image, column(5), row(3), kDefaultFill));
    EXPECT_TRUE(samePixel(image, column(4), row(3), kDefaultBorder));
}

class PlotBarColours : public PlotTest, public ::testing::WithParamInterface<Scheme> {};

TEST_P(PlotBarColours, FillIsTheFirstOfThePaletteAndBorderIsTheSetOne) {
    const Scheme& scheme = GetParam();
    hideXTicks();
    plot.setColors(kRed, kBlue);
    useScheme(scheme.name, 8.0);
    plot.setBars({3, 6}, {8, 5}, 2.0);
    const QImage image = picture();
    const QColor fill = scheme.palette.value(0, kRed);
    EXPECT_TRUE(samePixel(image, column(3), row(3), fill));
    EXPECT_TRUE(samePixel(image, column(6), row(3), fill));
    EXPECT_TRUE(samePixel(image, column(2), row(3), kBlue));
    EXPECT_TRUE(samePixel(image, column(7), row(3), kBlue));
    EXPECT_TRUE(samePixel(image, column(9), row(3), scheme.background));
}

INSTANTIATE_TEST_SUITE_P(Schemes, PlotBarColours, ::testing::ValuesIn(schemes()), schemeTestName);

} // namespace
