#include "PlotTestSupport.h"

#include <QFontMetrics>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

using namespace plottest;

// What hovering adds to a picture, drawn by the numbers onto the picture without it.
QImage withReadout(const QImage& before, const BarChartWidget& plot, const QPointF& cross,
                   const QString& text, const QColor& ink) {
    const QRectF area = plot.plotRect();
    const QFontMetrics metrics(plot.font());
    QImage image = before;
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setFont(plot.font());
    painter.setClipRect(area);
    QColor faint = ink;
    faint.setAlpha(150);
    painter.setPen(QPen(faint, 1.0, Qt::DashLine));
    painter.drawLine(QPointF(cross.x(), area.top()), QPointF(cross.x(), area.bottom()));
    painter.drawLine(QPointF(area.left(), cross.y()), QPointF(area.right(), cross.y()));
    painter.setPen(QPen(ink, 1.4));
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(cross, 4.0, 4.0);
    const int advance = metrics.horizontalAdvance(text);
    const int height = metrics.height() + 6;
    painter.drawText(QRectF(area.right() - advance - 18, area.bottom() - height - 4, advance + 12, height),
                     int(Qt::AlignLeft | Qt::AlignVCenter), text);
    return image;
}

class PlotHover : public PlotTest {
protected:
    PlotHover() {
        hideXTicks();
        plot.setLegendVisible(false);
    }

    // Hovers at the position and compares with the readout by the numbers.
    ::testing::AssertionResult shows(const QPointF& hover, const QPointF& cross, const QString& text,
                                     const QColor& ink = kInk) {
        mouse.leave();
        const QImage before = picture();
        mouse.move(hover);
        const QImage after = picture();
        mouse.leave();
        const QImage expected = withReadout(before, plot, cross, text, ink);
        const QRectF area = plot.plotRect();
        const double height = QFontMetrics(plot.font()).height() + 6.0;
        const double advance = QFontMetrics(plot.font()).horizontalAdvance(text);
        const QRect room =
            QRectF(area.right() - advance - 18, area.bottom() - height - 4, advance + 12, height)
                .toAlignedRect();
        if (::testing::AssertionResult result = showsSame(after, expected, before, room); !result) {
            return result << " in the text \"" << text.toStdString() << "\"";
        }
        // The phase of the dashes at their crossing is all that may differ outside the text.
        const QRect circle = QRectF(cross.x() - 6, cross.y() - 6, 12, 12).toAlignedRect();
        if (::testing::AssertionResult result = showsSame(after, expected, before, circle); !result) {
            return result << " around the crosshair";
        }
        const QRect upright(int(std::floor(cross.x())) - 2, int(area.top()), 5, int(area.height()) - 30);
        if (::testing::AssertionResult result = showsSame(after, expected, before, upright); !result) {
            return result << " along the upright line";
        }
        const QRect level(int(area.left()), int(std::floor(cross.y())) - 2, int(area.width()), 5);
        return showsSame(after, expected, before, level) << " along the level line";
    }
    bool changes(const QPointF& hover) {
        mouse.leave();
        const QImage before = picture();
        mouse.move(hover);
        return largestDifference(picture(), before) > 0;
    }

    Mouse mouse{plot};
};

TEST_F(PlotHover, ReadsThePositionWithoutData) {
    EXPECT_TRUE(shows({164, 106}, {164, 106}, QStringLiteral("x 2.500    y 5.5")));
    EXPECT_TRUE(shows({287, 61}, {287, 61}, QStringLiteral("x 5.575    y 7.75")));
}

TEST_F(PlotHover, XHasTheDecimalsOfTheTicksAndAtLeastThree) {
    plot.setManualRange(0, 1e6, 0, 1);
    EXPECT_TRUE(shows({164, 106}, {164, 106}, QStringLiteral("x 250000.000    y 0.55")));
    // 1e-5 per tick step: 5 decimals.
    plot.setManualRange(0, 6e-5, 0, 1);
    EXPECT_TRUE(shows({184, 106}, {184, 106}, QStringLiteral("x 0.00002    y 0.55")));
}

TEST_F(PlotHover, DecimalsOfXAreThoseOfSixWantedTicks) {
    // Steps of 1e-4 for six ticks and of 5e-5 for seven; then of 5e-5 for six and of 1e-4 for five.
    plot.setManualRange(0, 4.5e-4, 0, 1);
    EXPECT_TRUE(shows({184, 106}, {184, 106}, QStringLiteral("x 0.0001    y 0.55")));
    plot.setManualRange(0, 4e-4, 0, 1);
    EXPECT_TRUE(shows({184, 106}, {184, 106}, QStringLiteral("x 0.00012    y 0.55")));
}

TEST_F(PlotHover, YHasSixDigits) {
    plot.setManualRange(0, 10, 0, 1e9);
    EXPECT_TRUE(shows({164, 106}, {164, 106}, QStringLiteral("x 2.500    y 5.5e+08")));
    plot.setSeries({{2}}, {{1.0 / 3.0}}, {}, {kRed}, BarChartWidget::Points);
    plot.setManualRange(0, 10, 0, 1);
    EXPECT_TRUE(shows({150, 106}, {144, 216 - 200.0 / 3}, QStringLiteral("x 2.000    y 0.333333")));
}

TEST_F(PlotHover, SnapsToTheNearestPointOfAllSeries) {
    for (const auto mode : {BarChartWidget::Lines, BarChartWidget::Points}) {
        plot.setSeries({{1, 4, 9}, {2, 6}}, {{3, 5, 3}, {7, 6.5}}, {}, {kRed, kBlue}, mode);
        EXPECT_TRUE(shows({220, 190}, {224, 116}, QStringLiteral("x 4.000    y 5")));
        EXPECT_TRUE(shows({310, 140}, {304, 86}, QStringLiteral("x 6.000    y 6.5")));
        EXPECT_TRUE(shows({75, 60}, {104, 156}, QStringLiteral("x 1.000    y 3")));
    }
}

TEST_F(PlotHover, SnapsToTheNearestBar) {
    plot.setBars({2, 5, 8}, {3, 9, 4.5}, 1.0);
    EXPECT_TRUE(shows({290, 190}, {264, 36}, QStringLiteral("x 5.000    y 9")));
    EXPECT_TRUE(shows({370, 60}, {384, 126}, QStringLiteral("x 8.000    y 4.5")));
}

TEST_F(PlotHover, DistanceAlongYCountsFifteenPercent) {
    // 10 pixels along x against 66 along y (9.9) and 68 along y (10.2).
    plot.setSeries({{5}, {5.25}}, {{8.3}, {5}}, {}, {kRed, kBlue}, BarChartWidget::Points);
    EXPECT_TRUE(shows({264, 116}, {264, 50}, QStringLiteral("x 5.000    y 8.3")));
    plot.setSeries({{5}, {5.25}}, {{8.4}, {5}}, {}, {kRed, kBlue}, BarChartWidget::Points);
    EXPECT_TRUE(shows({264, 116}, {274, 116}, QStringLiteral("x 5.250    y 5")));
}

TEST_F(PlotHover, FirstPointWinsATie) {
    plot.setSeries({{6, 4}}, {{5, 5}}, {}, {kRed}, BarChartWidget::Points);
    EXPECT_TRUE(shows({264, 150}, {304, 116}, QStringLiteral("x 6.000    y 5")));
    plot.setSeries({{4}, {6}}, {{5}, {5}}, {}, {kRed, kBlue}, BarChartWidget::Points);
    EXPECT_TRUE(shows({264, 150}, {224, 116}, QStringLiteral("x 4.000    y 5")));
}

TEST_F(PlotHover, CrosshairIsClampedWhileTheTextTellsTheValue) {
    plot.setSeries({{5}}, {{250}}, {}, {kRed}, BarChartWidget::Lines);
    EXPECT_TRUE(shows({270, 116}, {264, 16}, QStringLiteral("x 5.000    y 250")));
}

TEST_F(PlotHover, OverlaysDoNotAttract) {
    plot.setOverlaySeries({{5}}, {{5}}, {}, {kRed}, BarChartWidget::Points);
    EXPECT_TRUE(shows({244, 106}, {244, 106}, QStringLiteral("x 4.500    y 5.5")));
}

TEST_F(PlotHover, ShorterListsLimitTheSearch) {
    plot.setSeries({{2, 5}, {7}}, {{3}}, {}, {kRed}, BarChartWidget::Lines);
    EXPECT_TRUE(shows({264, 116}, {144, 156}, QStringLiteral("x 2.000    y 3")));
    plot.setBars({2, 5}, {3}, 1.0);
    EXPECT_TRUE(shows({264, 116}, {144, 156}, QStringLiteral("x 2.000    y 3")));
    plot.setSeries({{2, 5}}, {}, {}, {kRed}, BarChartWidget::Lines);
    EXPECT_TRUE(shows({264, 126}, {264, 126}, QStringLiteral("x 5.000    y 4.5")));
}

TEST_F(PlotHover, PointsThatAreNoNumbersDoNotAttract) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    plot.setSeries({{5, nan, 2}}, {{nan, 5, 3}}, {}, {kRed}, BarChartWidget::Points);
    EXPECT_TRUE(shows({264, 116}, {144, 156}, QStringLiteral("x 2.000    y 3")));
}

TEST_F(PlotHover, OnlyInsideThePlot) {
    for (const QPointF& outside : {QPointF(30, 100), QPointF(474, 100), QPointF(200, 5), QPointF(200, 240)}) {
        EXPECT_FALSE(changes(outside)) << outside.x() << ", " << outside.y();
    }
    EXPECT_TRUE(changes({200, 100}));
}

TEST_F(PlotHover, EndsWhenTheMouseLeaves) {
    const QImage before = picture();
    mouse.move({200, 100});
    ASSERT_GT(largestDifference(picture(), before), 20);
    mouse.leave();
    EXPECT_EQ(largestDifference(picture(), before), 0);
}

TEST_F(PlotHover, RestsDuringADrag) {
    const QImage before = picture();
    mouse.move({200, 100});
    const QImage hovering = picture();
    mouse.press({200, 100}, Qt::RightButton);
    EXPECT_EQ(largestDifference(picture(), before), 0);
    mouse.release({200, 100});
    EXPECT_EQ(largestDifference(picture(), hovering), 0) << "back after the drag";
}

TEST_F(PlotHover, StaysInsideThePlot) {
    mouse.leave();
    const QImage before = picture();
    mouse.move({64, 16});
    const QImage after = picture();
    for (const QRect& outside :
         {QRect(0, 0, 64, 258), QRect(464, 0, 16, 258), QRect(0, 0, 480, 16), QRect(0, 216, 480, 42)}) {
        EXPECT_EQ(largestDifference(after, before, outside), 0);
    }
}

TEST_F(PlotHover, LooksUpTheDataWhenItPaints) {
    plot.setSeries({{5}}, {{5}}, {}, {kRed}, BarChartWidget::Points);
    mouse.move({250, 100});
    const QImage first = picture();
    plot.setSeries({{7}}, {{2.5}}, {}, {kRed}, BarChartWidget::Points);
    const QImage second = picture();
    mouse.leave();
    const QImage expected =
        withReadout(picture(), plot, {344, 166}, QStringLiteral("x 7.000    y 2.5"), kInk);
    EXPECT_TRUE(showsSame(second, expected, first, QRect(330, 20, 28, 130)));
}

class PlotHoverInk : public PlotHover, public ::testing::WithParamInterface<Scheme> {};

TEST_P(PlotHoverInk, IsTheForegroundOfTheScheme) {
    useScheme(GetParam().name);
    EXPECT_TRUE(shows({164, 106}, {164, 106}, QStringLiteral("x 2.500    y 5.5"), GetParam().foreground));
    mouse.move({164, 106});
    const QImage image = picture();
    const QColor ground = GetParam().background;
    const QColor ink = blend(GetParam().foreground, 150, ground);
    double widest = 0.0;
    double narrowest = 1.0;
    for (int x = 200; x < 300; ++x) {
        const Stroke stroke = strokeAcrossRows(image, x, 102, 110, ground, ink);
        widest = std::max(widest, stroke.width);
        narrowest = std::min(narrowest, stroke.width);
    }
    EXPECT_NEAR(widest, 1.0, 0.1);
    EXPECT_LT(narrowest, 0.6) << "dashed";
}

INSTANTIATE_TEST_SUITE_P(Schemes, PlotHoverInk, ::testing::ValuesIn(schemes()), schemeTestName);

} // namespace
