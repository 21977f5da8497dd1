#include "PlotTestSupport.h"

#include <QFontMetrics>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

using namespace plottest;

class PlotAnnotations : public PlotTest, public ::testing::WithParamInterface<Scheme> {
protected:
    PlotAnnotations() {
        hideXTicks();
        useScheme(GetParam().name);
    }
    int rowHeight() const { return plot.fontMetrics().height() + 4; }
    int widest(const QStringList& texts) const {
        int advance = 0;
        for (const QString& text : texts) {
            advance = std::max(advance, plot.fontMetrics().horizontalAdvance(text));
        }
        return advance;
    }
};

const QStringList kStats{QStringLiteral("mean 12.5 ns"), QStringLiteral("n 4"),
                         QStringLiteral("dev 3.25 ns")};

TEST_P(PlotAnnotations, StatBoxStandsInTheUpperLeftCornerWithItsFrame) {
    // Grid lines in rows 36, 76, 116 and so on, away from the edges of the box.
    plot.setYRange(-1, 9);
    plot.setStatLines(kStats, {});
    const QImage image = picture();
    const QColor ground = GetParam().background;
    const QColor ink = blend(GetParam().foreground, 90, ground);
    const double right = 74.0 + widest(kStats) + 16.0;
    const double bottom = 26.0 + 3.0 * rowHeight() + 8.0;
    // Row 29 and column 78 are free of text and grid.
    EXPECT_TRUE(isStroke(strokeAcrossColumns(image, 29, 70, 78, ground, ink), 1.0, 74.0));
    EXPECT_TRUE(isStroke(strokeAcrossColumns(image, 29, int(right) - 5, int(right) + 5, ground, ink), 1.0,
                         right, 0.6));
    EXPECT_TRUE(isStroke(strokeAcrossRows(image, 78, 22, 30, ground, ink), 1.0, 26.0));
    const int lower = int(bottom);
    EXPECT_TRUE(isStroke(strokeAcrossRows(image, 78, lower - 4, lower + 4, ground, ink), 1.0, bottom));
}

TEST_P(PlotAnnotations, StatLinesAreWrittenInTheirColourOrTheForeground) {
    const QColor invisible(0, 0, 0, 0);
    plot.setStatLines(kStats, {invisible, invisible, invisible});
    const QImage box = picture();
    plot.setStatLines(kStats, {kRed, kBlue});
    const QImage image = picture();
    for (int i = 0; i < kStats.size(); ++i) {
        const QColor colour = i == 0 ? kRed : i == 1 ? kBlue : GetParam().foreground;
        EXPECT_TRUE(showsText(image, box, plot.font(),
                              QRectF(82, 30 + i * rowHeight(), widest(kStats) + 8, rowHeight()),
                              Qt::AlignLeft | Qt::AlignVCenter, kStats[i], colour));
    }
}

TEST_P(PlotAnnotations, StatBoxLetsALittleOfTheDataThrough) {
    useScheme(GetParam().name, 1.8, Qt::NoPen);
    plot.setColors(kGreen, kBlue);
    plot.setBars({5}, {100}, 100);
    plot.setStatLines(kStats, {});
    const QColor fill = GetParam().palette.value(0, kGreen);
    const QImage image = picture();
    EXPECT_TRUE(samePixel(image, 77, 29, blend(GetParam().background, 220, fill)));
    EXPECT_TRUE(samePixel(image, 70, 29, fill));
}

TEST_P(PlotAnnotations, StatBoxGoesWithAnEmptyList) {
    const QImage empty = picture();
    plot.setStatLines(kStats, {kRed});
    ASSERT_GT(largestDifference(picture(), empty), 30);
    plot.setStatLines({}, {kRed});
    EXPECT_EQ(largestDifference(picture(), empty), 0);
}

TEST_P(PlotAnnotations, MarkersAreTrianglesInTheMarginThatPointAway) {
    plot.setYMarkers({3, 7}, {}, {kRed});
    const QImage image = picture();
    for (const auto& [value, colour] : {std::pair{3.0, kRed}, {7.0, GetParam().foreground}}) {
        // Corners 12 and 2 pixels left of the plot, 4 pixels up and down: 40 square pixels around the
        // centre of gravity a third of the way from the base.
        const InkArea triangle =
            inkIn(image, QRect(48, row(value) - 7, 15, 14), GetParam().background, colour);
        EXPECT_NEAR(triangle.pixels, 40.0, 1.0) << value;
        EXPECT_NEAR(triangle.centre.x(), 62.0 - 10.0 / 3.0, 0.15) << value;
        EXPECT_NEAR(triangle.centre.y(), row(value), 0.1) << value;
        EXPECT_TRUE(samePixel(image, 60, row(value), colour));
        // Thin at the tip, wide at the base.
        const QRect tip(52, row(value) - 5, 2, 10);
        const QRect base(60, row(value) - 5, 2, 10);
        EXPECT_LT(inkIn(image, tip, GetParam().background, colour).pixels, 3.0);
        EXPECT_GT(inkIn(image, base, GetParam().background, colour).pixels, 13.0);
    }
}

TEST_P(PlotAnnotations, MarkerLabelsStandInsideThePlotInTheMarkersColour) {
    const QStringList texts{QStringLiteral("limit"), QString(), QStringLiteral("threshold")};
    plot.setYMarkers({3, 5, 7}, texts, {kRed, kBlue});
    const QImage image = picture();
    const QImage plain = plainImage(image.size(), GetParam().background);
    const int height = plot.fontMetrics().height();
    const QList<double> values{3, 5, 7};
    for (const int i : {0, 2}) {
        EXPECT_TRUE(
            showsText(image, plain, plot.font(), QRectF(68, row(values[i]) - height / 2.0, 100, height),
                      Qt::AlignLeft | Qt::AlignVCenter, texts[i], i == 0 ? kRed : GetParam().foreground));
    }
    EXPECT_EQ(largestDifference(image, plain, QRect(68, row(5) - 8, 200, 16)), 0) << "an empty label";
}

TEST_P(PlotAnnotations, MarkersGoWithAnEmptyList) {
    const QImage empty = picture();
    plot.setYMarkers({5}, {QStringLiteral("x")}, {kRed});
    ASSERT_GT(largestDifference(picture(), empty), 30);
    plot.setYMarkers({}, {QStringLiteral("x")}, {kRed});
    EXPECT_EQ(largestDifference(picture(), empty), 0);
}

INSTANTIATE_TEST_SUITE_P(Schemes, PlotAnnotations, ::testing::ValuesIn(schemes()), schemeTestName);

struct MarkerCase {
    double value;
    bool drawn;
};

TEST_F(PlotTest, MarkersThatAreNotFiniteOrOutsideTheViewAreSkipped) {
    hideXTicks();
    const double infinity = std::numeric_limits<double>::infinity();
    plot.setYRange(0, 10);
    const QImage empty = picture();
    for (const MarkerCase& marker : {MarkerCase{5, true},
                                     {10, true},
                                     {0, true},
                                     {std::nextafter(10.0, 11.0), false},
                                     {10.001, false},
                                     {-0.001, false},
                                     {infinity, false},
                                     {-infinity, false},
                                     {std::numeric_limits<double>::quiet_NaN(), false},
                                     {1e300, false}}) {
        plot.setYMarkers({marker.value}, {QStringLiteral("label")}, {kRed});
        EXPECT_EQ(largestDifference(picture(), empty) > 0, marker.drawn) << marker.value;
    }
}

TEST_F(PlotTest, MarkerAtExactlyTheUpperEndIsDrawnThere) {
    plot.setYRange(0, 9);
    plot.setYMarkers({9}, {}, {kRed});
    const InkArea triangle = inkIn(picture(), QRect(48, 9, 15, 14), kGround, kRed);
    EXPECT_NEAR(triangle.pixels, 40.0, 1.0);
    EXPECT_NEAR(triangle.centre.y(), 16.0, 0.1);
}

TEST_F(PlotTest, SkippedMarkersKeepTheirPlaceInLabelsAndColours) {
    hideXTicks();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    plot.setYMarkers({nan, 50, 5}, {QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("shown")},
                     {kBlue, kGreen, kRed});
    const QImage image = picture();
    EXPECT_TRUE(samePixel(image, 60, row(5), kRed));
    const int height = plot.fontMetrics().height();
    EXPECT_TRUE(showsText(image, plainImage(image.size(), kGround), plot.font(),
                          QRectF(68, row(5) - height / 2.0, 100, height), Qt::AlignLeft | Qt::AlignVCenter,
                          QStringLiteral("shown"), kRed));
}

TEST_F(PlotTest, MarkerLabelsEndAtAQuarterOfThePlot) {
    hideXTicks();
    const QString text = QStringLiteral("a very long label that reaches across much more than a quarter");
    plot.setYMarkers({5}, {text}, {kRed});
    QImage image = picture();
    const int height = plot.fontMetrics().height();
    EXPECT_TRUE(showsText(image, plainImage(image.size(), kGround), plot.font(),
                          QRectF(68, row(5) - height / 2.0, 100, height), Qt::AlignLeft | Qt::AlignVCenter,
                          text, kRed));
    EXPECT_NEAR(inkIn(image, QRect(170, row(5) - 8, 200, 16), kGround, kRed).pixels, 0.0, 0.5);
    // A plot of 120 pixels still gives 40 to the label.
    plot.setMinimumSize(1, 1);
    plot.resize(200, 258);
    image = picture();
    EXPECT_TRUE(showsText(image, plainImage(image.size(), kGround), plot.font(),
                          QRectF(68, row(5) - height / 2.0, 40, height), Qt::AlignLeft | Qt::AlignVCenter,
                          text, kRed));
    EXPECT_GT(inkIn(image, QRect(98, row(5) - 8, 10, 16), kGround, kRed).pixels, 1.0);
    EXPECT_NEAR(inkIn(image, QRect(110, row(5) - 8, 60, 16), kGround, kRed).pixels, 0.0, 0.5);
}

TEST_F(PlotTest, BoxesAndMarkersLieOnTheDataInTheirOrder) {
    hideXTicks();
    useScheme(QStringLiteral("Default"), 8.0);
    plot.setColors(kGreen, kGreen);
    plot.setBars({5}, {100}, 100);
    // The label of a marker in the stat box's rows comes last.
    plot.setStatLines({QStringLiteral("                              ")}, {});
    const double value = 10.0 - (36.0 - 16.0) / 20.0;
    plot.setYMarkers({value}, {QStringLiteral("HHHHHHHHHH")}, {kRed});
    const QImage image = picture();
    int redPixels = 0;
    for (int y = 28; y < 46; ++y) {
        for (int x = 78; x < 130; ++x) {
            redPixels += sameColour(image.pixelColor(x, y), kRed, 20) ? 1 : 0;
        }
    }
    EXPECT_GT(redPixels, 10) << "nothing covers the label";
}

} // namespace
