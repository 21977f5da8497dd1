#include "PlotTestSupport.h"

namespace {

using namespace plottest;

constexpr QColor kRegion(0x5a, 0x96, 0xdc);
constexpr QColor kRegionFrame(0x78, 0xb4, 0xf0);

struct BandCase {
    std::string name;
    Qt::KeyboardModifiers modifiers;
    QPointF from;
    QPointF to;
    // The band in widget pixels.
    QRect band;
    std::string scheme;
};

void PrintTo(const BandCase& band, std::ostream* stream) {
    *stream << band.name;
}

QList<BandCase> bandCases() {
    QList<BandCase> cases;
    for (const Scheme& scheme : schemes()) {
        const std::string name = scheme.name.toStdString();
        const QRect xBand(QPoint(144, 16), QPoint(303, 215));
        const QRect yBand(QPoint(64, 66), QPoint(463, 145));
        cases.append({"DominantX", Qt::NoModifier, {144, 66}, {304, 146}, xBand, name});
        cases.append({"DominantXBackwards", Qt::NoModifier, {304, 66}, {144, 226}, xBand, name});
        cases.append({"DominantY", Qt::NoModifier, {264, 66}, {284, 146}, yBand, name});
        cases.append({"XOnly", Qt::ShiftModifier, {144, 36}, {304, 206}, xBand, name});
        cases.append({"YOnly", Qt::ControlModifier, {104, 146}, {444, 66}, yBand, name});
        cases.append({"XOnlyBeyondTheEdge",
                      Qt::ShiftModifier,
                      {344, 66},
                      {900, 76},
                      QRect(QPoint(344, 16), QPoint(463, 215)),
                      name});
        cases.append({"YOnlyBeyondTheEdge",
                      Qt::ControlModifier,
                      {344, 116},
                      {374, -300},
                      QRect(QPoint(64, 16), QPoint(463, 115)),
                      name});
    }
    return cases;
}

class PlotRegion : public PlotTest, public ::testing::WithParamInterface<BandCase> {};

TEST_P(PlotRegion, IsATranslucentBandInADashedFrameDuringTheDrag) {
    const BandCase& expected = GetParam();
    hideXTicks();
    useScheme(QString::fromStdString(expected.scheme));
    plot.setBars({5}, {5}, 3.0);
    Mouse mouse(plot);
    const QImage before = picture();
    mouse.press(expected.from, Qt::LeftButton, expected.modifiers);
    mouse.move(expected.to);
    const QImage during = picture();

    const QRect inside = expected.band.adjusted(2, 2, -2, -2);
    const QRect touched = expected.band.adjusted(-2, -2, 2, 2);
    int wrong = 0;
    for (int y = 0; y < during.height(); ++y) {
        for (int x = 0; x < during.width(); ++x) {
            const QColor old = before.pixelColor(x, y);
            if (inside.contains(x, y)) {
                wrong += sameColour(during.pixelColor(x, y), blend(kRegion, 60, old)) ? 0 : 1;
            } else if (!touched.contains(x, y)) {
                wrong += during.pixelColor(x, y) == old ? 0 : 1;
            }
        }
    }
    EXPECT_EQ(wrong, 0) << "pixels inside without the tint or outside with a change";

    // Half of each dash lies on the pixel outside the edge.
    const bool upright = expected.band.height() == 200;
    int dashes = 0;
    int gaps = 0;
    for (int i = 10; i < (upright ? 190 : 390); ++i) {
        const QPoint at =
            upright ? QPoint(expected.band.left() - 1, 16 + i) : QPoint(64 + i, expected.band.bottom() + 1);
        const QColor old = before.pixelColor(at);
        const QColor dash = blend(kRegionFrame, 110, old);
        const double share = inkIn(during, QRect(at, QSize(1, 1)), old, dash).pixels;
        dashes += share > 0.85 && share < 1.15 ? 1 : 0;
        gaps += share < 0.6 ? 1 : 0;
    }
    const int length = upright ? 180 : 380;
    EXPECT_GT(dashes, length * 2 / 5);
    EXPECT_GT(gaps, length / 10);

    mouse.release(expected.from);
    mouse.leave();
    EXPECT_EQ(largestDifference(picture(), before), 0) << "gone with the drag";
}

INSTANTIATE_TEST_SUITE_P(Drags, PlotRegion, ::testing::ValuesIn(bandCases()), [](const auto& entry) {
    QString name = QString::fromStdString(entry.param.name + "In" + entry.param.scheme);
    return name.remove(QLatin1Char(' ')).toStdString();
});

TEST_F(PlotTest, RegionFollowsTheDragAndItsDominantAxis) {
    hideXTicks();
    Mouse mouse(plot);
    const QColor tint = blend(kRegion, 60, kGround);
    mouse.press({144, 66});
    mouse.move({244, 76});
    EXPECT_TRUE(samePixel(picture(), 200, 150, tint));
    mouse.move({344, 76});
    EXPECT_TRUE(samePixel(picture(), 300, 150, tint));
    mouse.move({154, 166});
    EXPECT_TRUE(samePixel(picture(), 400, 120, tint)) << "a band across the plot now";
    EXPECT_TRUE(samePixel(picture(), 148, 200, kGround));
    mouse.release({144, 66});
}

TEST_F(PlotTest, PanShowsNoRegion) {
    hideXTicks();
    const QImage before = picture();
    Mouse mouse(plot);
    mouse.press({144, 66}, Qt::RightButton);
    mouse.move({244, 66});
    mouse.move({144, 66});
    EXPECT_EQ(largestDifference(picture(), before), 0);
    mouse.release({144, 66});
}

TEST_F(PlotTest, RegionLiesOnTheDataAndUnderTheVerticalGrid) {
    plot.setColors(kRed, kRed);
    plot.setBars({5}, {100}, 100.0);
    Mouse mouse(plot);
    const QImage before = picture();
    mouse.press({184, 66});
    mouse.move({284, 66});
    const QImage during = picture();
    const QColor tinted = blend(kRegion, 60, kRed);
    EXPECT_TRUE(samePixel(during, 244, 150, tinted));
    const QColor gridOnTint = blend(QColor(0x78, 0x78, 0x78), 70, tinted);
    EXPECT_TRUE(isStroke(strokeAcrossColumns(during, 150, 220, 228, tinted, gridOnTint), 1.0, 224.0, 0.25));
    EXPECT_TRUE(samePixel(before, 244, 150, kRed));
    mouse.release({184, 66});
}

} // namespace
