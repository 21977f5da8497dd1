// What the reader of the binary form refuses, and with which text.
#include "PlotFileStage.h"

#include <functional>
#include <ostream>

namespace {

using namespace plottest;

struct Refusal {
    const char* name;
    std::function<QByteArray()> bytes;
    const char* message;
};

void PrintTo(const Refusal& refusal, std::ostream* out) {
    *out << refusal.name;
}

// The full file, changed in one respect.
std::function<QByteArray()> changed(const std::function<void(PlotFileFields&)>& change) {
    return [change] {
        PlotFileFields file = fullPlotFile();
        change(file);
        return file.bytes();
    };
}

std::function<QByteArray()> just(const QByteArray& bytes) {
    return [bytes] { return bytes; };
}

class PlotRefusal : public PlotFileTest, public ::testing::WithParamInterface<Refusal> {};

TEST_P(PlotRefusal, SaysWhyAndKeepsTheOldPlot) {
    showOldPlot();
    EXPECT_TRUE(refuses(GetParam().bytes(), GetParam().message));
    EXPECT_TRUE(showsOldPlot());
}

INSTANTIATE_TEST_SUITE_P(
    Magic, PlotRefusal,
    ::testing::Values(
        Refusal{"NoBytes", just({}), kNoPlotData}, Refusal{"SixBytes", just("QORNPL"), kNoPlotData},
        Refusal{"OnlyTheMagic", just("QORNPLT"), kIncomplete},
        Refusal{"AnotherMagic", changed([](auto& file) { file.magic = "QORNPLU"; }), kNoPlotData},
        Refusal{"SmallLetters", changed([](auto& file) { file.magic = "qornplt"; }), kNoPlotData},
        Refusal{"TheMagicOfALog", changed([](auto& file) { file.magic = "QORNLOG"; }), kNoPlotData},
        Refusal{"AByteInFront", changed([](auto& file) { file.magic = " QORNPLT"; }), kNoPlotData},
        Refusal{"AByteBehind", changed([](auto& file) { file.magic = QByteArray("QORNPLT\0", 8); }),
                kIncomplete},
        Refusal{"Text", just("series,x,y\na,1,2\n"), kNoPlotData}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Version, PlotRefusal,
    ::testing::Values(Refusal{"Zero", changed([](auto& file) { file.version = 0; }), kIncomplete},
                      Refusal{"Two", changed([](auto& file) { file.version = 2; }), kIncomplete},
                      Refusal{"MinusOne", changed([](auto& file) { file.version = -1; }), kIncomplete},
                      Refusal{"BigEndianOne", changed([](auto& file) { file.version = 0x01000000; }),
                              kIncomplete}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Mode, PlotRefusal,
    ::testing::Values(
        Refusal{"SeriesThree", changed([](auto& file) { file.seriesMode = 3; }), kIncomplete},
        Refusal{"SeriesMinusOne", changed([](auto& file) { file.seriesMode = -1; }), kIncomplete},
        Refusal{"SeriesTopBit", changed([](auto& file) { file.seriesMode = 0x80000001; }), kIncomplete},
        Refusal{"OverlayThree", changed([](auto& file) { file.overlayMode = 3; }), kIncomplete},
        Refusal{"OverlayMinusOne", changed([](auto& file) { file.overlayMode = -1; }), kIncomplete},
        Refusal{"OverlayTopBit", changed([](auto& file) { file.overlayMode = 0x80000000; }), kIncomplete}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Lists, PlotRefusal,
    ::testing::Values(
        Refusal{"OneBarWithoutHeight", changed([](auto& file) { file.barHeights.removeLast(); }),
                kIncomplete},
        Refusal{"OneHeightWithoutBar", changed([](auto& file) { file.barXs.clear(); }), kIncomplete},
        Refusal{"OneSeriesWithoutYs", changed([](auto& file) { file.seriesYs.removeLast(); }), kIncomplete},
        Refusal{"OneSeriesWithoutXs", changed([](auto& file) { file.seriesXs.removeLast(); }), kIncomplete},
        Refusal{"OneOverlayWithoutYs", changed([](auto& file) { file.overlayYs.removeLast(); }), kIncomplete},
        Refusal{"OneOverlayWithoutXs", changed([](auto& file) {
                    file.overlayXs += QList<QList<double>>{{1}, {2}};
                }),
                kIncomplete},
        Refusal{"ThreeXsTwoYs", changed([](auto& file) { file.seriesYs[0].removeLast(); }),
                kMismatchedSeries},
        Refusal{"TwoXsThreeYs", changed([](auto& file) { file.seriesXs[0].removeLast(); }),
                kMismatchedSeries},
        Refusal{"TheLastSeries", changed([](auto& file) { file.seriesYs[2].append(1); }), kMismatchedSeries},
        Refusal{"LengthsThatMatchInSum", changed([](auto& file) {
                    file.seriesYs[0].removeLast();
                    file.seriesYs[1].append(1);
                }),
                kMismatchedSeries},
        Refusal{"OverlayTwoXsOneY", changed([](auto& file) { file.overlayYs[0].removeLast(); }),
                kMismatchedOverlays},
        Refusal{"TheLastOverlay", changed([](auto& file) { file.overlayXs[1].clear(); }),
                kMismatchedOverlays}),
    [](const auto& test) { return test.param.name; });

// Which of two failures is told.
INSTANTIATE_TEST_SUITE_P(Order, PlotRefusal,
                         ::testing::Values(Refusal{"MagicBeforeVersion", changed([](auto& file) {
                                                       file.magic = "QORNPLX";
                                                       file.version = 2;
                                                   }),
                                                   kNoPlotData},
                                           Refusal{"VersionBeforeMismatch", changed([](auto& file) {
                                                       file.version = 2;
                                                       file.seriesYs[0].removeLast();
                                                   }),
                                                   kIncomplete},
                                           Refusal{"ModeBeforeMismatch", changed([](auto& file) {
                                                       file.overlayMode = 3;
                                                       file.seriesYs[0].removeLast();
                                                   }),
                                                   kIncomplete},
                                           Refusal{"BarsBeforeMismatch", changed([](auto& file) {
                                                       file.barXs.removeLast();
                                                       file.overlayYs[0].removeLast();
                                                   }),
                                                   kIncomplete},
                                           Refusal{"SeriesBeforeOverlays", changed([](auto& file) {
                                                       file.overlayYs[0].removeLast();
                                                       file.seriesYs[0].removeLast();
                                                   }),
                                                   kMismatchedSeries},
                                           Refusal{"CutOffBeforeMismatch",
                                                   [] {
                                                       PlotFileFields file = fullPlotFile();
                                                       file.seriesYs[0].removeLast();
                                                       return file.bytes().chopped(1);
                                                   },
                                                   kIncomplete}),
                         [](const auto& test) { return test.param.name; });

TEST_F(PlotFileTest, ListsOfLabelsAndColoursMayHaveAnyLength) {
    PlotFileFields file = fullPlotFile();
    file.seriesLabels.clear();
    file.seriesColours = QList<QColor>(50, kRed);
    file.overlayLabels = QStringList(20, QStringLiteral("more"));
    file.overlayColours.clear();
    file.statColours = QList<QColor>(9, kBlue);
    file.markerLabels.clear();
    file.markerColours.clear();
    ASSERT_TRUE(loads(file.bytes()));
    EXPECT_EQ(plot.toBinary(), file.bytes());
    EXPECT_FALSE(picture().isNull());
}

} // namespace
