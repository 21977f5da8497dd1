#include "PlotTestSupport.h"

#include <algorithm>
#include <cmath>

namespace {

using namespace plottest;

class PlotLines : public PlotTest {
protected:
    PlotLines() { hideXTicks(); }

    void setLine(const QList<double>& xs, const QList<double>& ys) {
        plot.setSeries({xs}, {ys}, {}, {kRed}, BarChartWidget::Lines);
    }
    // Whether the line passes the point of the plot area that belongs to a value.
    bool passes(double x, double y) {
        return inkIn(picture(), QRect(column(x) - 1, row(y) - 1, 2, 2), kGround, kRed).pixels > 2.5;
    }
};

TEST_F(PlotLines, ConnectPointsAtTheirPixelsWithTheLineWidth) {
    useScheme(QStringLiteral("Default"), 3.0);
    setLine({1, 4, 4, 9}, {3, 3, 7, 7});
    const QImage image = picture();
    EXPECT_TRUE(isStroke(strokeAcrossRows(image, column(2.2), 148, 164, kGround, kRed), 3.0, 156.0));
    EXPECT_TRUE(isStroke(strokeAcrossRows(image, column(8.2), 68, 84, kGround, kRed), 3.0, 76.0));
    EXPECT_TRUE(isStroke(strokeAcrossColumns(image, row(5), 216, 232, kGround, kRed), 3.0, 224.0));
    EXPECT_TRUE(samePixel(image, column(6), row(3), kGround)) << "right of the first stretch";
    EXPECT_TRUE(samePixel(image, column(2), row(7), kGround)) << "left of the last stretch";
}

TEST_F(PlotLines, FollowFractionsOfAPixel) {
    for (const double y : {3.01, 3.025, 3.0375}) {
        setLine({1, 9}, {y, y});
        EXPECT_TRUE(isStroke(strokeAcrossRows(picture(), column(5.2), 148, 164, kGround, kRed), 1.8,
                             216.0 - 20.0 * y));
    }
}

TEST_F(PlotLines, KeepTheOrderOfTheirPoints) {
    useScheme(QStringLiteral("Default"), 4.0);
    setLine({9, 1, 5}, {1, 1, 9});
    EXPECT_TRUE(passes(5, 1)) << "from the first to the second point";
    EXPECT_TRUE(passes(3, 5)) << "from the second to the third point";
    EXPECT_FALSE(passes(7, 5)) << "sorted by x the line would go from the third to the first point";
}

TEST_F(PlotLines, ClampYButNotX) {
    setLine({1, 9}, {1e6, 1e6});
    // Half of the stroke lies above the plot and another pixel row is the frame's.
    useScheme(QStringLiteral("Default"), 8.0);
    QImage image = picture();
    EXPECT_TRUE(isStroke(strokeAcrossRows(image, column(5), 17, 30, kGround, kRed), 3.0, 18.5));
    setLine({1, 9}, {-1e6, -1e6});
    image = picture();
    EXPECT_TRUE(isStroke(strokeAcrossRows(image, column(5), 200, 214, kGround, kRed), 3.0, 213.5));
    // The start lies far left: clamping its x would steepen the line.
    useScheme(QStringLiteral("Default"), 4.0);
    setLine({-10, 10}, {0, 10});
    EXPECT_TRUE(passes(5, 7.5)) << "the point at -10 stays there";
    EXPECT_FALSE(passes(5, 5.0));
}

TEST_F(PlotLines, AreClampedPointByPointBeforeTheyAreConnected) {
    useScheme(QStringLiteral("Default"), 4.0);
    // From (2, 0) to (8, 20), which becomes (8, 10).
    setLine({2, 8}, {0, 20});
    EXPECT_TRUE(passes(5, 5));
    EXPECT_FALSE(passes(3.5, 5));
}

TEST_F(PlotLines, StayInsideThePlotShrunkByOnePixel) {
    useScheme(QStringLiteral("Default"), 8.0);
    const QImage empty = picture();
    setLine({-5, 15, 15, -5}, {5, 5, 10, 0});
    const QImage image = picture();
    for (const QRect& outside :
         {QRect(0, 0, 65, 258), QRect(463, 0, 17, 258), QRect(0, 0, 480, 17), QRect(0, 215, 480, 43)}) {
        EXPECT_EQ(largestDifference(image, empty, outside), 0);
    }
    EXPECT_TRUE(samePixel(image, 65, row(5), kRed));
    EXPECT_TRUE(samePixel(image, 462, row(5), kRed));
}

TEST_F(PlotLines, AreAsManyAsTheShorterListsSay) {
    useScheme(QStringLiteral("Default"), 4.0);
    setLine({1, 5, 9}, {3, 3});
    EXPECT_TRUE(passes(3, 3));
    EXPECT_FALSE(passes(7, 3));
    setLine({1, 5}, {3, 3, 9});
    EXPECT_TRUE(passes(3, 3));
    plot.setSeries({{1, 9}, {1, 9}}, {{3, 3}}, {}, {kRed, kRed}, BarChartWidget::Lines);
    EXPECT_TRUE(passes(5, 3));
    plot.setSeries({{1, 9}}, {{3, 3}, {7, 7}}, {}, {kRed, kRed}, BarChartWidget::Lines);
    EXPECT_TRUE(passes(5, 3));
    EXPECT_FALSE(passes(5, 7));
}

TEST_F(PlotLines, EmptySeriesKeepTheirPlaceInTheColours) {
    plot.setSeries({{}, {1, 9}}, {{}, {3, 3}}, {}, {kBlue, kRed}, BarChartWidget::Lines);
    EXPECT_TRUE(isStroke(strokeAcrossRows(picture(), column(5.2), 148, 164, kGround, kRed), 1.8, 156.0));
    plot.setSeries({{1, 9}, {1, 9}}, {{}, {3, 3}}, {}, {kBlue, kRed}, BarChartWidget::Lines);
    EXPECT_TRUE(isStroke(strokeAcrossRows(picture(), column(5.2), 148, 164, kGround, kRed), 1.8, 156.0));
}

TEST_F(PlotLines, LaterSeriesLieOnEarlierOnes) {
    useScheme(QStringLiteral("Default"), 6.0);
    plot.setSeries({{1, 9}, {1, 9}}, {{3, 3}, {3, 3}}, {}, {kBlue, kRed}, BarChartWidget::Lines);
    EXPECT_TRUE(samePixel(picture(), column(5.2), row(3), kRed));
}

TEST_F(PlotLines, TakeThePenStyle) {
    setLine({0.5, 9.5}, {3, 3});
    const QRect strip(100, 150, 320, 12);
    const QImage solid = picture();
    EXPECT_NEAR(inkIn(solid, strip, kGround, kRed).pixels, 320 * 1.8, 12.0);
    double previous = 1.0;
    for (const Qt::PenStyle style : {Qt::DashLine, Qt::DotLine}) {
        useScheme(QStringLiteral("Default"), 1.8, style);
        const double share = inkIn(picture(), strip, kGround, kRed).pixels / (320 * 1.8);
        EXPECT_GT(share, 0.2);
        EXPECT_LT(share, previous);
        previous = share;
    }
    useScheme(QStringLiteral("Default"), 1.8, Qt::NoPen);
    EXPECT_NEAR(inkIn(picture(), strip, kGround, kRed).pixels, 0.0, 2.0);
}

TEST_F(PlotLines, AreNeverFilled) {
    setLine({2, 8, 8, 2, 2}, {2.5, 2.5, 7.5, 7.5, 2.5});
    EXPECT_TRUE(samePixel(picture(), column(5), row(5), kGround));
}

TEST_F(PlotLines, OfOnePointLeaveTheRestOfThePlotAlone) {
    const QImage empty = picture();
    setLine({5}, {5});
    const QImage image = picture();
    EXPECT_EQ(largestDifference(image, empty, QRect(0, 0, 480, row(5) - 3)), 0);
    EXPECT_EQ(largestDifference(image, empty, QRect(0, row(5) + 3, 480, 258 - row(5) - 3)), 0);
    EXPECT_EQ(largestDifference(image, empty, QRect(0, 0, column(5) - 3, 258)), 0);
    EXPECT_EQ(largestDifference(image, empty, QRect(column(5) + 3, 0, 480 - column(5) - 3, 258)), 0);
}

TEST_F(PlotLines, OfEveryPointShowEvenAmongManyThousands) {
    constexpr int kCount = 40000;
    QList<double> xs;
    QList<double> flat;
    for (int i = 0; i < kCount; ++i) {
        xs.append(10.0 * i / (kCount - 1));
        flat.append(2.5);
    }
    // Neighbouring spikes at odd places, so that each position within any run of segments comes up.
    for (int spike = 20000; spike < 20040; ++spike) {
        QList<double> ys = flat;
        ys[spike] = 8.5;
        setLine(xs, ys);
        const Stroke stroke = strokeAcrossColumns(picture(), row(5), 240, 290, kGround, kRed);
        EXPECT_GT(stroke.width, 0.9) << "spike at point " << spike;
        EXPECT_NEAR(stroke.centre, 64.0 + 400.0 * spike / (kCount - 1), 0.6);
    }
}

class PlotPoints : public PlotTest {
protected:
    PlotPoints() { hideXTicks(); }
};

TEST_F(PlotPoints, AreDiscsOfARadiusThatFollowsTheLineWidth) {
    plot.setSeries({{3, 7}}, {{5, 5}}, {}, {kRed}, BarChartWidget::Points);
    for (const auto& [lineWidth, radius] :
         {std::pair{0.5, 1.5}, {1.0, 1.5}, {1.8, 2.3}, {4.0, 4.5}, {8.0, 8.5}}) {
        useScheme(QStringLiteral("Default"), lineWidth);
        const QImage image = picture();
        for (const double x : {3.0, 7.0}) {
            const InkArea disc = inkIn(image, QRect(column(x) - 12, row(5) - 12, 24, 24), kGround, kRed);
            EXPECT_NEAR(disc.pixels, M_PI * radius * radius, 0.04 * M_PI * radius * radius + 0.5)
                << lineWidth;
            EXPECT_NEAR(disc.centre.x(), column(x), 0.1);
            EXPECT_NEAR(disc.centre.y(), row(5), 0.1);
        }
        EXPECT_TRUE(samePixel(image, column(5), row(5), kGround)) << "no line between the points";
    }
}

TEST_F(PlotPoints, HaveNoOutlineAndNoPenStyle) {
    plot.setSeries({{5}}, {{5}}, {}, {kRed}, BarChartWidget::Points);
    useScheme(QStringLiteral("Default"), 8.0, Qt::SolidLine);
    const QImage solid = picture();
    useScheme(QStringLiteral("Default"), 8.0, Qt::NoPen);
    EXPECT_EQ(largestDifference(picture(), solid), 0);
    EXPECT_NEAR(strokeAcrossColumns(solid, row(5), 250, 278, kGround, kRed).width, 17.0, 0.4);
}

TEST_F(PlotPoints, ClampYButNotX) {
    useScheme(QStringLiteral("Default"), 8.0);
    plot.setSeries({{5, -0.125}}, {{1e6, 5}}, {}, {kRed}, BarChartWidget::Points);
    const QImage image = picture();
    // Centre on the upper edge: rows 17 to 24.5 of the disc show.
    EXPECT_TRUE(isStroke(strokeAcrossRows(image, column(5), 17, 30, kGround, kRed), 7.5, 20.75, 0.3));
    // Centre 5 pixels left of the plot: columns 65 to 67.5 show.
    EXPECT_TRUE(isStroke(strokeAcrossColumns(image, row(5), 65, 75, kGround, kRed), 2.5, 66.25, 0.4));
}

TEST_F(PlotPoints, AreAllDrawn) {
    QList<double> xs;
    QList<double> ys;
    for (int i = 0; i < 9; ++i) {
        xs.append(9 - i);
        ys.append(i % 2 == 0 ? 3 : 7);
    }
    plot.setSeries({xs}, {ys}, {}, {kRed}, BarChartWidget::Points);
    const QImage image = picture();
    for (int i = 0; i < xs.size(); ++i) {
        EXPECT_TRUE(samePixel(image, column(xs[i]), row(ys[i]), kRed)) << "point " << i;
    }
}

class PlotSeriesColours : public PlotTest, public ::testing::WithParamInterface<Scheme> {};

TEST_P(PlotSeriesColours, AreThePaletteThenTheOwnThenTheBarFill) {
    const Scheme& scheme = GetParam();
    hideXTicks();
    plot.setLegendVisible(false);
    plot.setColors(kGreen, kInk);
    const QList<double> levels{1, 3, 5, 7, 9};
    QList<QList<double>> xs;
    QList<QList<double>> ys;
    for (const double level : levels) {
        xs.append({1, 9});
        ys.append({level, level});
    }
    for (const auto mode : {BarChartWidget::Lines, BarChartWidget::Points}) {
        plot.setSeries(xs, ys, {}, {kRed, kBlue}, mode);
        useScheme(scheme.name, 8.0);
        const QImage image = picture();
        for (int i = 0; i < levels.size(); ++i) {
            const QColor own = i == 0 ? kRed : i == 1 ? kBlue : kGreen;
            const QColor expected = scheme.palette.isEmpty() ? own : scheme.palette[i % 4];
            EXPECT_TRUE(samePixel(image, column(1) + 1, row(levels[i]), expected)) << "series " << i;
        }
    }
}

TEST_P(PlotSeriesColours, OwnColoursHaveNoEffectUnderAPalette) {
    const Scheme& scheme = GetParam();
    useScheme(scheme.name);
    plot.setSeries({{1, 9}}, {{3, 7}}, {}, {kRed}, BarChartWidget::Lines);
    const QImage red = picture();
    plot.setSeries({{1, 9}}, {{3, 7}}, {}, {kBlue}, BarChartWidget::Lines);
    EXPECT_EQ(largestDifference(picture(), red) == 0, !scheme.palette.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Schemes, PlotSeriesColours, ::testing::ValuesIn(schemes()), schemeTestName);

} // namespace
