// The reader of the binary form does not trust a file: cut off, damaged, forged and random bytes.
#include "AllocationWatch.h"
#include "MessageGuard.h"
#include "PlotFileStage.h"

#include <ostream>
#include <random>

namespace {

using namespace plottest;

constexpr std::size_t kMebibyte = 1 << 20;
constexpr qsizetype kMostPoints = 5'000'000;

class PlotHostile : public PlotFileTest {
protected:
    PlotHostile() {
        // Damaged texts are in any script.
        qorn::testing::MessageGuard::allow(QStringLiteral("OpenType support missing"));
    }

    // Whatever the bytes are: a plot that can be painted and written down again, or one of the texts and the
    // plot as it was.
    ::testing::AssertionResult standsFast(const QByteArray& bytes) {
        const QByteArray before = plot.toBinary();
        QString error;
        if (plot.loadBinary(bytes, &error)) {
            const QByteArray written = plot.toBinary();
            BarChartWidget second;
            if (!second.loadBinary(written, nullptr) || second.toBinary() != written) {
                return ::testing::AssertionFailure() << "what was loaded does not come back";
            }
            return ::testing::AssertionSuccess();
        }
        const QString known[] = {QString::fromUtf8(kNoPlotData), QString::fromUtf8(kIncomplete),
                                 QString::fromUtf8(kMismatchedSeries),
                                 QString::fromUtf8(kMismatchedOverlays)};
        if (std::find(std::begin(known), std::end(known), error) == std::end(known)) {
            return ::testing::AssertionFailure() << "an unknown text: " << error.toStdString();
        }
        if (plot.toBinary() != before) {
            return ::testing::AssertionFailure() << "the plot has changed";
        }
        return ::testing::AssertionSuccess();
    }
};

TEST_F(PlotHostile, AFileCutOffAnywhereIsIncompleteAndKeepsTheOldPlot) {
    showOldPlot();
    for (const QByteArray& whole : {fullPlotFile().bytes(), goldenPlot("bars_plot.hex")}) {
        for (qsizetype length = 0; length < whole.size(); ++length) {
            ASSERT_TRUE(refuses(whole.left(length), length < 7 ? kNoPlotData : kIncomplete)) << length;
        }
    }
    EXPECT_TRUE(showsOldPlot());
}

TEST_F(PlotHostile, AFlippedByteAnywhereDoesNoHarm) {
    const QByteArray whole = fullPlotFile().bytes();
    int loaded = 0;
    for (qsizetype at = 0; at < whole.size(); ++at) {
        for (const int flip : {0x01, 0x02, 0x10, 0x80, 0xFF}) {
            QByteArray damaged = whole;
            damaged[at] = static_cast<char>(damaged[at] ^ flip);
            ASSERT_TRUE(standsFast(damaged)) << "byte " << at << " flipped by " << flip;
            loaded += plot.loadBinary(damaged, nullptr) ? 1 : 0;
        }
        pictureOf(plot);
    }
    EXPECT_GT(loaded, 0) << "a flipped coordinate is another coordinate";
}

TEST_F(PlotHostile, EveryByteOfTheMagicCounts) {
    for (qsizetype at = 0; at < 7; ++at) {
        QByteArray damaged = fullPlotFile().bytes();
        damaged[at] = static_cast<char>(damaged[at] ^ 0x20);
        EXPECT_TRUE(refuses(damaged, kNoPlotData)) << at;
    }
}

TEST_F(PlotHostile, RandomBytesBehindAGoodBeginningDoNoHarm) {
    std::mt19937 random(20260304);
    std::uniform_int_distribution<int> byte(0, 255);
    std::uniform_int_distribution<int> length(0, 400);
    const QByteArray beginnings[] = {{}, "QORNPLT", QByteArray("QORNPLT\1\0\0\0", 11)};
    for (int round = 0; round < 6000; ++round) {
        QByteArray bytes = beginnings[round % 3];
        // mostly zeros: short lists, so that later fields are reached
        const int zeros = round % 5;
        for (int left = length(random); left > 0; --left) {
            bytes.append(byte(random) % 5 < zeros ? '\0' : static_cast<char>(byte(random)));
        }
        ASSERT_TRUE(standsFast(bytes)) << "round " << round;
    }
}

TEST_F(PlotHostile, SplicedFilesDoNoHarm) {
    std::mt19937 random(7);
    const QByteArray sources[] = {fullPlotFile().bytes(), goldenPlot("bars_plot.hex"),
                                  goldenPlot("series_plot.hex")};
    const auto below = [&random](qsizetype limit) {
        return std::uniform_int_distribution<qsizetype>(0, limit - 1)(random);
    };
    int loaded = 0;
    for (int round = 0; round < 6000; ++round) {
        QByteArray bytes = sources[below(3)];
        for (qsizetype edits = 1 + below(3); edits > 0; --edits) {
            const QByteArray& source = sources[below(3)];
            const qsizetype from = below(source.size());
            const qsizetype at = 11 + below(bytes.size() - 11);
            const qsizetype count = below(24);
            bytes.replace(at, below(2) == 0 ? count : 0, source.mid(from, count));
        }
        ASSERT_TRUE(standsFast(bytes)) << "round " << round;
        loaded += plot.toBinary() == bytes ? 1 : 0;
        if (round % 50 == 0) {
            pictureOf(plot);
        }
    }
    EXPECT_GT(loaded, 0);
}

TEST_F(PlotHostile, ColoursOfUnknownKindsCanBePainted) {
    for (int kind = 0; kind < 256; ++kind) {
        QByteArray bytes = goldenPlot("series_plot.hex");
        const qsizetype at = bytes.indexOf(QByteArray::fromHex("01ffffc8c8"));
        ASSERT_GT(at, 0);
        bytes[at] = static_cast<char>(kind);
        ASSERT_TRUE(standsFast(bytes)) << kind;
        EXPECT_FALSE(picture().isNull());
        plot.seriesColor(0).toHsv();
    }
}

// --- forged counts -----------------------------------------------------------------------------------------

struct Forgery {
    const char* name;
    PlotField field;
    int nested = 0; // 1: the count is that of the first inner list
};

void PrintTo(const Forgery& forgery, std::ostream* out) {
    *out << forgery.name;
}

// Also negative, as a reader with signed counts would see the largest.
constexpr std::int64_t kForgedCounts[] = {0x00100000,    4'999'999,  5'000'000,  5'000'001,  0x08000000,
                                          0x10000000,    0x1FFFFFFF, 0x40000000, 0x7FFFFFFE, 0x7FFFFFFF,
                                          -0x80000000LL, -0x10,      -2};

class ForgedCounts : public PlotFileTest, public ::testing::WithParamInterface<Forgery> {};

TEST_P(ForgedCounts, AllocateNothing) {
    const Forgery& forgery = GetParam();
    showOldPlot();
    for (const std::int64_t count : kForgedCounts) {
        for (const int following : {0, 3, 8, 100}) {
            ByteWriter bytes;
            bytes.raw(fullPlotFile().bytesUpTo(forgery.field));
            if (forgery.nested > 0) {
                bytes.int32(1);
            }
            bytes.int32(count);
            bytes.raw(QByteArray(following, '\0'));
            const QByteArray file = bytes.bytes();
            const AllocationWatch watch;
            ASSERT_TRUE(refuses(file, kIncomplete)) << count << " with " << following;
            ASSERT_LT(watch.peakBytes(), kMebibyte / 16) << count << " with " << following;
            ASSERT_LT(watch.largestRequest(), kMebibyte / 16) << count << " with " << following;
        }
    }
    EXPECT_TRUE(showsOldPlot());
}

INSTANTIATE_TEST_SUITE_P(
    Fields, ForgedCounts,
    ::testing::Values(
        Forgery{"XLabel", PlotField::XLabel}, Forgery{"YLabel", PlotField::YLabel},
        Forgery{"BarXs", PlotField::BarXs}, Forgery{"BarHeights", PlotField::BarHeights},
        Forgery{"SeriesXs", PlotField::SeriesXs}, Forgery{"FirstSeriesXs", PlotField::SeriesXs, 1},
        Forgery{"SeriesYs", PlotField::SeriesYs}, Forgery{"FirstSeriesYs", PlotField::SeriesYs, 1},
        Forgery{"SeriesLabels", PlotField::SeriesLabels},
        Forgery{"FirstSeriesLabel", PlotField::SeriesLabels, 1},
        Forgery{"SeriesColours", PlotField::SeriesColours}, Forgery{"OverlayXs", PlotField::OverlayXs},
        Forgery{"FirstOverlayXs", PlotField::OverlayXs, 1}, Forgery{"OverlayYs", PlotField::OverlayYs},
        Forgery{"FirstOverlayYs", PlotField::OverlayYs, 1},
        Forgery{"OverlayLabels", PlotField::OverlayLabels},
        Forgery{"FirstOverlayLabel", PlotField::OverlayLabels, 1},
        Forgery{"OverlayColours", PlotField::OverlayColours}, Forgery{"StatTexts", PlotField::StatTexts},
        Forgery{"FirstStatText", PlotField::StatTexts, 1}, Forgery{"StatColours", PlotField::StatColours},
        Forgery{"MarkerValues", PlotField::MarkerValues}, Forgery{"MarkerLabels", PlotField::MarkerLabels},
        Forgery{"FirstMarkerLabel", PlotField::MarkerLabels, 1},
        Forgery{"MarkerColours", PlotField::MarkerColours}),
    [](const auto& test) { return test.param.name; });

TEST_F(PlotHostile, TheWatchOfTheseTestsSeesWhatQtAllocates) {
    const AllocationWatch watch;
    {
        QList<double> list;
        list.reserve(kMebibyte);
        EXPECT_GE(watch.peakBytes(), 8 * kMebibyte);
        EXPECT_LT(watch.peakBytes(), 9 * kMebibyte);
        EXPECT_GE(watch.largestRequest(), 8 * kMebibyte);
    }
    const QByteArray second(qsizetype(4 * kMebibyte), 'x');
    EXPECT_LT(watch.peakBytes(), 9 * kMebibyte) << "one after the other";
}

// Memory in proportion to the file, whatever its lists hold: an empty inner list takes four bytes of it.
TEST_F(PlotHostile, ManyEmptyListsTakeMemoryInProportionToTheFile) {
    constexpr int kLists = 1 << 20;
    for (const PlotField field : {PlotField::SeriesXs, PlotField::SeriesLabels, PlotField::StatTexts}) {
        ByteWriter bytes;
        bytes.raw(PlotFileFields().bytesUpTo(field));
        bytes.int32(kLists);
        bytes.raw(QByteArray(4 * kLists, '\0'));
        const QByteArray file = bytes.bytes();
        const AllocationWatch watch;
        EXPECT_TRUE(refuses(file, kIncomplete));
        EXPECT_LT(watch.peakBytes(), 24 * std::size_t(file.size()));
    }
}

// --- the largest plots -------------------------------------------------------------------------------------

struct Place {
    const char* name;
    PlotField xs;
    int lists; // 0: a plain list of bars
};

void PrintTo(const Place& place, std::ostream* out) {
    *out << place.name;
}

class PlotLimits : public PlotFileTest, public ::testing::WithParamInterface<Place> {
protected:
    // A list of `count` values from `first` to `last`; all between are zero.
    static void appendValues(QByteArray& bytes, qsizetype count, double first, double last) {
        ByteWriter head;
        head.int32(count);
        head.real(first);
        ByteWriter tail;
        tail.real(last);
        bytes += head.bytes() + QByteArray(8 * (count - 2), '\0') + tail.bytes();
    }

    // A file whose only points are `total` in the lists of the place.
    static QByteArray fileWith(qsizetype total) {
        const Place& place = GetParam();
        const PlotFileFields plain;
        const QByteArray head = plain.bytesUpTo(place.xs);
        const auto afterYs = static_cast<PlotField>(static_cast<int>(place.xs) + 2);
        const qsizetype rest = plain.bytesUpTo(afterYs).size();
        QByteArray bytes;
        bytes.reserve(16 * total + 4096);
        bytes += head;
        for (const double scale : {1.0, 10.0}) {
            const int lists = std::max(place.lists, 1);
            if (place.lists > 0) {
                ByteWriter count;
                count.int32(lists);
                bytes += count.bytes();
            }
            for (int list = 0; list < lists; ++list) {
                const qsizetype share = total / lists + (list == 0 ? total % lists : 0);
                appendValues(bytes, share, -scale, 2 * scale);
            }
        }
        return bytes + plain.bytes().mid(rest);
    }
};

TEST_P(PlotLimits, FiveMillionPointsLoad) {
    const QByteArray bytes = fileWith(kMostPoints);
    {
        const AllocationWatch watch;
        ASSERT_TRUE(loads(bytes));
        EXPECT_LT(watch.peakBytes(), 200 * kMebibyte) << "the lists take 80 megabytes";
    }
    EXPECT_TRUE(hasView(plot, {-1, 2, -10, 20}));
    EXPECT_EQ(plot.toBinary(), bytes);
}

TEST_P(PlotLimits, OnePointMoreIsRefused) {
    showOldPlot();
    EXPECT_TRUE(refuses(fileWith(kMostPoints + 1), kIncomplete));
    EXPECT_TRUE(showsOldPlot());
}

INSTANTIATE_TEST_SUITE_P(Places, PlotLimits,
                         ::testing::Values(Place{"Bars", PlotField::BarXs, 0},
                                           Place{"OneSeries", PlotField::SeriesXs, 1},
                                           Place{"ThreeSeries", PlotField::SeriesXs, 3},
                                           Place{"OneOverlay", PlotField::OverlayXs, 1},
                                           Place{"TwoOverlays", PlotField::OverlayXs, 2}),
                         [](const auto& test) { return test.param.name; });

TEST_F(PlotHostile, EachKindOfDataHasTheLimitToItself) {
    PlotFileFields file;
    file.seriesXs = file.overlayXs = {QList<double>(2'000'000, 1.0), QList<double>(2'000'000, 2.0)};
    file.seriesYs = file.overlayYs = {QList<double>(2'000'000, 3.0), QList<double>(2'000'000, 4.0)};
    ASSERT_TRUE(loads(file.bytes()));
    EXPECT_TRUE(hasView(plot, {1, 2, 3, 4}));
}

} // namespace
