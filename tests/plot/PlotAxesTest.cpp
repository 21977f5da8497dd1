#include "PlotTestSupport.h"

#include <QFontMetrics>
#include <QPainter>

namespace {

using namespace plottest;

class PlotAxes : public PlotTest, public ::testing::WithParamInterface<Scheme> {
protected:
    PlotAxes() { useScheme(GetParam().name); }
    QColor ground() const { return GetParam().background; }
    QColor gridInk() const { return blend(GetParam().grid, ground()); }
    QColor tickInk() const { return blend(GetParam().tick, ground()); }
};

TEST_P(PlotAxes, GroundFillsTheWholeWidget) {
    const QImage image = picture();
    for (const QPoint& point : {QPoint(0, 0), QPoint(479, 0), QPoint(0, 257), QPoint(479, 257),
                                QPoint(184, 150), QPoint(470, 100), QPoint(300, 8)}) {
        EXPECT_TRUE(samePixel(image, point.x(), point.y(), ground(), 0));
    }
}

TEST_P(PlotAxes, FrameIsOnePixelOfTheForegroundAroundThePlotArea) {
    // Ticks at 2, 4, 6 and 8 only, none of them on the frame.
    plot.setXRange(0.5, 9.5);
    plot.setYRange(0.5, 9.5);
    const QImage image = picture();
    const QColor ink = GetParam().foreground;
    EXPECT_TRUE(isStroke(strokeAcrossColumns(image, row(3), 60, 68, ground(), ink), 1.0, 64.0));
    EXPECT_TRUE(isStroke(strokeAcrossColumns(image, row(3), 460, 468, ground(), ink), 1.0, 464.0));
    EXPECT_TRUE(isStroke(strokeAcrossRows(image, column(3), 12, 20, ground(), ink), 1.0, 16.0));
    EXPECT_TRUE(isStroke(strokeAcrossRows(image, column(3), 212, 220, ground(), ink), 1.0, 216.0));
}

TEST_P(PlotAxes, GridLinesCrossThePlotAtEveryTick) {
    plot.setXRange(0.5, 9.5);
    plot.setYRange(0.5, 9.5);
    const QImage image = picture();
    for (const double tick : {2.0, 4.0, 6.0, 8.0}) {
        const QPointF at = pixel(tick, tick);
        for (const double across : {0.7, 3.0, 9.3}) {
            EXPECT_TRUE(isStroke(
                strokeAcrossRows(image, column(across), row(tick) - 4, row(tick) + 4, ground(), gridInk()),
                1.0, at.y(), 0.2))
                << "y " << tick;
            EXPECT_TRUE(isStroke(strokeAcrossColumns(image, row(across), column(tick) - 4, column(tick) + 4,
                                                     ground(), gridInk()),
                                 1.0, at.x(), 0.2))
                << "x " << tick;
        }
        EXPECT_TRUE(
            sameColour(inkAcross(image, QRect(column(3), row(tick) - 4, 1, 9), ground()), gridInk(), 3));
        EXPECT_TRUE(
            sameColour(inkAcross(image, QRect(column(tick) - 4, row(3), 9, 1), ground()), gridInk(), 3));
        EXPECT_TRUE(isStroke(strokeAcrossRows(image, 470, row(tick) - 4, row(tick) + 4, ground(), gridInk()),
                             0.0, 0.0))
            << "nothing right of the plot";
    }
    EXPECT_TRUE(samePixel(image, column(3), row(5), ground(), 0));
}

TEST_P(PlotAxes, XTicksHaveAMarkOfFourPixelsBelowThePlot) {
    const QImage image = picture();
    for (const double tick : {2.0, 4.0, 6.0, 8.0}) {
        for (const int below : {217, 218, 219}) {
            EXPECT_TRUE(isStroke(
                strokeAcrossColumns(image, below, column(tick) - 4, column(tick) + 4, ground(), tickInk()),
                1.0, column(tick)))
                << tick << " in row " << below;
            EXPECT_TRUE(
                sameColour(inkAcross(image, QRect(column(tick) - 4, below, 9, 1), ground()), tickInk(), 3));
        }
        EXPECT_TRUE(
            isStroke(strokeAcrossColumns(image, 221, column(tick) - 4, column(tick) + 4, ground(), tickInk()),
                     0.0, 0.0));
    }
}

TEST_P(PlotAxes, TickLabelsStandInTheTickColour) {
    plot.setXRange(0.0, 10.0);
    plot.setYRange(0.0, 5000.0);
    const QImage image = picture();
    const QImage plain = plainImage(image.size(), ground());
    const int height = plot.fontMetrics().height();
    const QStringList xTexts{QStringLiteral("0"), QStringLiteral("2"), QStringLiteral("4"),
                             QStringLiteral("6"), QStringLiteral("8"), QStringLiteral("10")};
    for (int i = 0; i < xTexts.size(); ++i) {
        EXPECT_TRUE(showsText(image, plain, plot.font(), QRectF(column(2 * i) - 50, 222, 100, height),
                              Qt::AlignHCenter | Qt::AlignTop, xTexts[i], GetParam().tick))
            << "x";
    }
    const QStringList yTexts{QStringLiteral("0"),  QStringLiteral("1k"), QStringLiteral("2k"),
                             QStringLiteral("3k"), QStringLiteral("4k"), QStringLiteral("5k")};
    for (int i = 0; i < yTexts.size(); ++i) {
        EXPECT_TRUE(showsText(image, plain, plot.font(),
                              QRectF(2, row(1000 * i) - height / 2.0, 64 - 8, height),
                              Qt::AlignRight | Qt::AlignVCenter, yTexts[i], GetParam().tick))
            << "y";
    }
}

TEST_P(PlotAxes, TitlesStandInTheForeground) {
    const QString xTitle = QStringLiteral("Delay (ns)");
    const QString yTitle = QStringLiteral("Coincidences");
    plot.setAxisLabels(xTitle, yTitle);
    const QImage image = picture();
    const int height = plot.fontMetrics().height();
    const QImage plain = plainImage(image.size(), ground());
    EXPECT_TRUE(showsText(image, plain, plot.font(), QRectF(64, 258 - height - 4, 400, height),
                          Qt::AlignCenter, xTitle, GetParam().foreground));
    const QRectF area = plot.plotRect();
    QImage expected = plain;
    QPainter painter(&expected);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setFont(plot.font());
    painter.setPen(GetParam().foreground);
    painter.translate(12.0, area.center().y());
    painter.rotate(-90.0);
    painter.drawText(QRectF(-area.height() / 2, 0, area.height(), height), Qt::AlignCenter, yTitle);
    painter.end();
    const QRect strip(12, int(area.top()), height, int(area.height()));
    EXPECT_TRUE(showsSame(image, expected, plain, strip)) << "the Y title";
}

INSTANTIATE_TEST_SUITE_P(Schemes, PlotAxes, ::testing::ValuesIn(schemes()), schemeTestName);

class PlotTicks : public PlotTest {
protected:
    bool hasMarkAt(const QImage& image, double centre) {
        const QColor ink(0x78, 0x78, 0x78);
        return bool(isStroke(strokeAcrossColumns(image, 218, int(centre) - 4, int(centre) + 4, kGround, ink),
                             1.0, centre));
    }
    double marks(const QImage& image) {
        // The label of y = 0 ends left of column 60.
        return inkIn(image, QRect(60, 218, 420, 1), kGround, QColor(0x78, 0x78, 0x78)).pixels;
    }
};

TEST_F(PlotTicks, AimAtSixAlongXAndFiveAlongY) {
    const QColor grid = blend(QColor(0x78, 0x78, 0x78), 70, kGround);
    // The spans at which one more or one less wanted would give another step.
    struct Case {
        double span;
        double xTicks;
        double yTicks;
    };
    for (const Case& expected :
         {Case{7.4, 8, 8}, {7.6, 8, 4}, {8.5, 9, 5}, {9.2, 5, 5}, {13.9, 7, 7}, {15.5, 8, 4}}) {
        plot.setManualRange(0, expected.span, 0, expected.span);
        const QImage image = picture();
        EXPECT_NEAR(marks(image), expected.xTicks, 0.4) << expected.span;
        // Off the vertical lines; the line at zero lies under the frame.
        const double lines = inkIn(image, QRect(column(0.6), 19, 1, 194), kGround, grid).pixels;
        EXPECT_NEAR(lines, expected.yTicks - 1, 0.8) << expected.span;
    }
}

TEST_F(PlotTicks, AutomaticOnesFollowTheView) {
    EXPECT_NEAR(marks(picture()), 6.0, 0.3);
    plot.setManualRange(0, 7, 0, 10);
    const QImage image = picture();
    // A step of 1 from 0 to 7.
    EXPECT_NEAR(marks(image), 8.0, 0.3);
    for (int i = 0; i <= 7; ++i) {
        EXPECT_TRUE(hasMarkAt(image, 64.0 + 400.0 * i / 7.0)) << i;
    }
}

TEST_F(PlotTicks, CustomOnesReplaceTheAutomaticOnesUntilTheyAreEmpty) {
    const QImage automatic = picture();
    plot.setXTickLabels({1.5, 6.25}, {QStringLiteral("one"), QStringLiteral("two")});
    const QImage image = picture();
    EXPECT_NEAR(marks(image), 2.0, 0.2);
    EXPECT_TRUE(hasMarkAt(image, 124.0));
    EXPECT_TRUE(hasMarkAt(image, 314.0));
    const QColor grid = blend(QColor(0x78, 0x78, 0x78), 70, kGround);
    EXPECT_TRUE(isStroke(strokeAcrossColumns(image, row(3), 120, 128, kGround, grid), 1.0, 124.0, 0.2));
    EXPECT_TRUE(isStroke(strokeAcrossColumns(image, row(3), 140, 148, kGround, grid), 0.0, 0.0));
    plot.setXTickLabels({}, {QStringLiteral("one")});
    EXPECT_EQ(largestDifference(picture(), automatic), 0);
}

TEST_F(PlotTicks, CustomOnesOutsideThePlotAreSkipped) {
    // 40 pixels per unit: 0.9 pixels outside still counts, 1.1 pixels does not.
    plot.setXTickLabels({-0.9 / 40, 10 + 0.9 / 40}, {});
    QImage image = picture();
    EXPECT_NEAR(marks(image), 2.0, 0.2);
    EXPECT_TRUE(hasMarkAt(image, 63.1));
    EXPECT_TRUE(hasMarkAt(image, 464.9));
    plot.setXTickLabels({-1.1 / 40, 10 + 1.1 / 40, -5, 20, 5}, {});
    image = picture();
    EXPECT_NEAR(marks(image), 1.0, 0.2);
    EXPECT_TRUE(hasMarkAt(image, 264.0));
}

TEST_F(PlotTicks, CustomOnesWithoutALabelAreFormattedWithoutDecimals) {
    plot.setManualRange(0, 4000, 0, 10);
    plot.setXTickLabels({500.4, 1500, 3000}, {QStringLiteral("first")});
    const QImage image = picture();
    const QImage plain = plainImage(image.size(), kGround);
    const int height = plot.fontMetrics().height();
    const QList<std::pair<double, QString>> expected{
        {500.4, QStringLiteral("first")}, {1500, QStringLiteral("1.5k")}, {3000, QStringLiteral("3k")}};
    for (const auto& [position, text] : expected) {
        EXPECT_TRUE(showsText(image, plain, plot.font(), QRectF(64 + position / 10 - 40, 222, 80, height),
                              Qt::AlignHCenter | Qt::AlignTop, text, QColor(0x78, 0x78, 0x78)));
    }
}

TEST_F(PlotTicks, CustomLabelsAreSetInEightyPixels) {
    const QString text = QStringLiteral("a label far too long for its eighty pixels of room");
    plot.setXTickLabels({5}, {text});
    const QImage image = picture();
    const QImage plain = plainImage(image.size(), kGround);
    EXPECT_TRUE(showsText(image, plain, plot.font(), QRectF(224, 222, 80, plot.fontMetrics().height()),
                          Qt::AlignHCenter | Qt::AlignTop, text, QColor(0x78, 0x78, 0x78)));
    QImage expected = plain;
    QPainter painter(&expected);
    painter.setFont(plot.font());
    painter.setPen(QColor(0x78, 0x78, 0x78));
    painter.drawText(QRectF(224, 222, 80, plot.fontMetrics().height()), Qt::AlignHCenter | Qt::AlignTop,
                     text);
    painter.end();
    const QRect below(0, 222, 480, 36);
    EXPECT_NEAR(inkIn(image, below, kGround, QColor(0x78, 0x78, 0x78)).pixels,
                inkIn(expected, below, kGround, QColor(0x78, 0x78, 0x78)).pixels, 8.0);
}

TEST_F(PlotTicks, LabelsGrowWithTheFont) {
    for (const int points : {7, 18}) {
        plot.setPlotOptions(QStringLiteral("Default"), points, 1.8, Qt::SolidLine);
        const QImage image = picture();
        const QImage plain = plainImage(image.size(), kGround);
        const int height = plot.fontMetrics().height();
        EXPECT_TRUE(showsText(image, plain, plot.font(), QRectF(column(4) - 50, 222, 100, height),
                              Qt::AlignHCenter | Qt::AlignTop, QStringLiteral("4"),
                              QColor(0x78, 0x78, 0x78)));
        EXPECT_TRUE(showsText(image, plain, plot.font(), QRectF(2, row(4) - height / 2.0, 56, height),
                              Qt::AlignRight | Qt::AlignVCenter, QStringLiteral("4"),
                              QColor(0x78, 0x78, 0x78)));
    }
}

TEST_F(PlotTicks, VerticalGridLinesLieOnTheData) {
    useScheme(QStringLiteral("Default"), 8.0);
    plot.setSeries({{1, 9}}, {{3, 3}}, {}, {kRed}, BarChartWidget::Lines);
    const QColor mixed = blend(QColor(0x78, 0x78, 0x78), 70, kRed);
    EXPECT_TRUE(isStroke(strokeAcrossColumns(picture(), row(3), 220, 228, kRed, mixed), 1.0, 224.0, 0.2));
    // Horizontal ones lie under them.
    plot.setSeries({{1, 9}}, {{4, 4}}, {}, {kRed}, BarChartWidget::Lines);
    EXPECT_TRUE(samePixel(picture(), column(5), row(4), kRed));
}

} // namespace
