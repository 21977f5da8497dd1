#include "PlotTestSupport.h"

#include <QFontMetrics>

#include <algorithm>
#include <cmath>

namespace {

using namespace plottest;

class PlotLegend : public PlotTest, public ::testing::WithParamInterface<Scheme> {
protected:
    PlotLegend() {
        hideXTicks();
        plot.setColors(kGreen, kBlue);
    }

    // Short lines in the upper right corner, away from the legend.
    void setMain(int count, const QStringList& labels, const QList<QColor>& colors = {}) {
        plot.setSeries(QList<QList<double>>(count, {9, 9.5}), QList<QList<double>>(count, {9, 9}), labels,
                       colors, BarChartWidget::Lines);
    }
    void setOverlays(int count, const QStringList& labels, const QList<QColor>& colors = {}) {
        plot.setOverlaySeries(QList<QList<double>>(count, {9, 9.5}), QList<QList<double>>(count, {8, 8}),
                              labels, colors, BarChartWidget::Lines);
    }
    int rowHeight() const { return plot.fontMetrics().height() + 4; }
    // The box for the labels, all of its corners in pixels.
    QRectF box(const QStringList& labels) const {
        int advance = 0;
        for (const QString& label : labels) {
            advance = std::max(advance, plot.fontMetrics().horizontalAdvance(label));
        }
        const double height = double(labels.size()) * rowHeight() + 8.0;
        return {74.0, 216.0 - 10.0 - height, advance + 36.0, height};
    }
    double sampleY(const QRectF& frame, int index) const {
        return frame.top() + 6.0 + index * rowHeight() + rowHeight() / 2.0;
    }
    // The sample line of one row in its colour, on the plain ground.
    ::testing::AssertionResult hasSample(const QImage& image, const QRectF& frame, int index,
                                         const QColor& colour, const QColor& ground) {
        const int middle = int(sampleY(frame, index));
        const Stroke stroke = strokeAcrossRows(image, 89, middle - 5, middle + 5, ground, colour);
        if (std::abs(stroke.width - 2.5) > 0.2 || std::abs(stroke.centre - sampleY(frame, index)) > 0.6) {
            return isStroke(stroke, 2.5, sampleY(frame, index), 0.0) << ", sample " << index;
        }
        return samePixel(image, 89, middle, colour, 3) << ", sample " << index;
    }
    bool hasLegend() {
        const QImage with = picture();
        plot.setLegendVisible(false);
        const QImage without = picture();
        plot.setLegendVisible(true);
        return largestDifference(with, without) > 0;
    }
};

const QString kFirst = QStringLiteral("Input A");
const QString kSecond = QStringLiteral("Second input");
const QString kThird = QStringLiteral("Fit");

TEST_P(PlotLegend, StandsInTheLowerLeftCornerWithItsFrame) {
    useScheme(GetParam().name);
    const QColor ground = GetParam().background;
    setMain(2, {kFirst, kSecond});
    const QImage image = picture();
    const QRectF frame = box({kFirst, kSecond});
    const QColor ink = blend(GetParam().foreground, 90, ground);
    // Off the samples, the texts and the grid lines.
    const int free = int(frame.top()) + 3;
    EXPECT_TRUE(isStroke(strokeAcrossColumns(image, free, 70, 78, ground, ink), 1.0, 74.0));
    const int right = int(frame.right());
    EXPECT_TRUE(
        isStroke(strokeAcrossColumns(image, free, right - 5, right + 5, ground, ink), 1.0, right, 0.6));
    const int top = int(frame.top());
    EXPECT_TRUE(isStroke(strokeAcrossRows(image, 89, top - 3, top + 3, ground, ink), 1.0, frame.top()));
    EXPECT_TRUE(isStroke(strokeAcrossRows(image, 89, 203, 209, ground, ink), 1.0, 206.0));
}

TEST_P(PlotLegend, SampleLinesAreEighteenPixelsLong) {
    useScheme(GetParam().name);
    setMain(2, {kFirst, kSecond}, {kRed, kBlue});
    const QRectF frame = box({kFirst, kSecond});
    const QColor colour = GetParam().palette.value(0, kRed);
    const Stroke stroke =
        strokeAcrossColumns(picture(), int(sampleY(frame, 0)), 76, 104, GetParam().background, colour);
    // From 6 to 24 pixels right of the box; a square cap may add half a line width at each end.
    EXPECT_NEAR(stroke.centre, 89.0, 0.3);
    EXPECT_GE(stroke.width, 17.8);
    EXPECT_LE(stroke.width, 20.8);
}

TEST_P(PlotLegend, RowsShowSampleAndTextOfEachEntry) {
    useScheme(GetParam().name);
    const Scheme& scheme = GetParam();
    const QStringList texts{kFirst, kSecond, kThird};
    setMain(3, texts, {kRed, kBlue});
    const QImage image = picture();
    const QRectF frame = box(texts);
    const QImage plain = plainImage(image.size(), scheme.background);
    for (int i = 0; i < texts.size(); ++i) {
        const QColor own = i == 0 ? kRed : i == 1 ? kBlue : kGreen;
        EXPECT_TRUE(hasSample(image, frame, i, scheme.palette.value(i, own), scheme.background));
        EXPECT_TRUE(showsText(
            image, plain, plot.font(),
            QRectF(frame.left() + 32, frame.top() + 4 + i * rowHeight(), frame.width() - 36, rowHeight()),
            Qt::AlignLeft | Qt::AlignVCenter, texts[i], scheme.foreground));
    }
}

TEST_P(PlotLegend, OverlayEntriesContinueThePaletteOrFallBackToTheBorderColour) {
    useScheme(GetParam().name);
    const Scheme& scheme = GetParam();
    setMain(1, {kFirst}, {kRed});
    setOverlays(2, {kSecond, kThird}, {kInk});
    const QImage image = picture();
    const QRectF frame = box({kFirst, kSecond, kThird});
    EXPECT_TRUE(hasSample(image, frame, 0, scheme.palette.value(0, kRed), scheme.background));
    EXPECT_TRUE(hasSample(image, frame, 1, scheme.palette.value(1, kInk), scheme.background));
    EXPECT_TRUE(hasSample(image, frame, 2, scheme.palette.value(2, kBlue), scheme.background));
}

TEST_P(PlotLegend, OverlayEntriesCountTheLabelledMainSeriesOnly) {
    useScheme(GetParam().name);
    const Scheme& scheme = GetParam();
    // Three main series, one of them labelled: the overlay is painted with the fourth colour, listed with the
    // second.
    setMain(3, {kFirst}, {kRed});
    setOverlays(1, {kSecond}, {kInk});
    const QImage image = picture();
    const QRectF frame = box({kFirst, kSecond});
    EXPECT_TRUE(hasSample(image, frame, 0, scheme.palette.value(0, kRed), scheme.background));
    EXPECT_TRUE(hasSample(image, frame, 1, scheme.palette.value(1, kInk), scheme.background));
    const Stroke painted = strokeAcrossRows(image, column(9.25), row(8) - 4, row(8) + 4, scheme.background,
                                            scheme.palette.value(3, kInk));
    // The grid line at 8 lies under it.
    EXPECT_TRUE(isStroke(painted, 1.8, row(8), 0.3));
}

TEST_P(PlotLegend, OverlaysOnBarsAreListedFromTheFirstOfThePalette) {
    useScheme(GetParam().name);
    const Scheme& scheme = GetParam();
    plot.setBars({9}, {0.1}, 0.1);
    setOverlays(2, {kFirst, kSecond});
    const QImage image = picture();
    const QRectF frame = box({kFirst, kSecond});
    EXPECT_TRUE(hasSample(image, frame, 0, scheme.palette.value(0, kBlue), scheme.background));
    EXPECT_TRUE(hasSample(image, frame, 1, scheme.palette.value(1, kBlue), scheme.background));
}

TEST_P(PlotLegend, GroundLetsALittleOfTheDataThrough) {
    useScheme(GetParam().name, 1.8, Qt::NoPen);
    const Scheme& scheme = GetParam();
    plot.setBars({5}, {100}, 100);
    setOverlays(2, {kFirst, kSecond});
    const QRectF frame = box({kFirst, kSecond});
    const QColor fill = scheme.palette.value(0, kGreen);
    const QImage image = picture();
    EXPECT_TRUE(samePixel(image, 78, int(frame.top()) + 3, blend(scheme.background, 220, fill)));
    EXPECT_TRUE(samePixel(image, 70, int(frame.top()) + 3, fill));
}

INSTANTIATE_TEST_SUITE_P(Schemes, PlotLegend, ::testing::ValuesIn(schemes()), schemeTestName);

class PlotLegendEntries : public PlotLegend {};

TEST_P(PlotLegendEntries, TwoAreNeededForALegend) {
    struct Case {
        int mainCount;
        QStringList mainLabels;
        int overlayCount;
        QStringList overlayLabels;
        bool legend;
    };
    const QList<Case> cases{
        {0, {}, 0, {}, false},
        {1, {kFirst}, 0, {}, false},
        {1, {kFirst, kSecond}, 0, {}, false},
        {2, {kFirst}, 0, {}, false},
        {2, {kFirst, kSecond}, 0, {}, true},
        {1, {kFirst}, 1, {kSecond}, true},
        {1, {kFirst}, 1, {}, false},
        {1, {}, 1, {kSecond}, false},
        {0, {}, 1, {kSecond}, false},
        {0, {}, 2, {kSecond, kThird}, true},
        {0, {}, 1, {kSecond, kThird}, false},
        {2, {}, 2, {}, false},
    };
    for (const Case& entry : cases) {
        setMain(entry.mainCount, entry.mainLabels);
        setOverlays(entry.overlayCount, entry.overlayLabels);
        EXPECT_EQ(hasLegend(), entry.legend)
            << entry.mainCount << " series with " << entry.mainLabels.size() << " labels, "
            << entry.overlayCount << " overlays with " << entry.overlayLabels.size();
    }
}

INSTANTIATE_TEST_SUITE_P(Schemes, PlotLegendEntries, ::testing::Values(schemes().front(), schemes().back()),
                         schemeTestName);

TEST_F(PlotTest, HiddenLegendIsNotDrawn) {
    plot.setSeries({{1, 9}, {1, 9}}, {{8, 8}, {9, 9}}, {}, {kRed, kRed}, BarChartWidget::Lines);
    const QImage unlabelled = picture();
    plot.setSeries({{1, 9}, {1, 9}}, {{8, 8}, {9, 9}}, {kFirst, kSecond}, {kRed, kRed},
                   BarChartWidget::Lines);
    EXPECT_GT(largestDifference(picture(), unlabelled), 50);
    plot.setLegendVisible(false);
    EXPECT_EQ(largestDifference(picture(), unlabelled), 0);
}

TEST_F(PlotTest, OneSeriesAloneShowsNoLegend) {
    plot.setSeries({{1, 9}}, {{8, 8}}, {}, {kRed}, BarChartWidget::Lines);
    const QImage unlabelled = picture();
    plot.setSeries({{1, 9}}, {{8, 8}}, {kFirst}, {kRed}, BarChartWidget::Lines);
    EXPECT_EQ(largestDifference(picture(), unlabelled), 0);
}

} // namespace
