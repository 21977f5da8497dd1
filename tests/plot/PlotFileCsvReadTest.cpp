// The reader of the text form: what it takes, what it refuses and with which text.
#include "AllocationWatch.h"
#include "PlotFileStage.h"

#include <QElapsedTimer>

#include <ostream>
#include <random>

namespace {

using namespace plottest;

constexpr const char* kNoData = "The selected CSV file does not contain plot data.";
constexpr const char* kTooMany = "Plot file contains too many points.";
constexpr const char* kColumns = "Expected plot CSV columns series, x, y on line %1.";
constexpr const char* kQuoting = "Invalid CSV quoting on line %1.";
constexpr const char* kNumeric = "Invalid numeric value on line %1.";

QString utf8(const char* text) {
    return QString::fromUtf8(text);
}

// --- texts that load ---------------------------------------------------------------------------------------

struct Readable {
    const char* name;
    const char* text;
    const char* again; // as the loaded plot writes it
};

void PrintTo(const Readable& readable, std::ostream* out) {
    *out << readable.name;
}

class ReadableCsv : public PlotFileTest, public ::testing::WithParamInterface<Readable> {};

TEST_P(ReadableCsv, IsShown) {
    showOldPlot();
    ASSERT_TRUE(loadsText(utf8(GetParam().text)));
    EXPECT_EQ(plot.toCsv().toStdString(), GetParam().again);
}

constexpr const char* kA12 = "series,x,y\na,1,2\n";
constexpr const char* kA12A34 = "series,x,y\na,1,2\na,3,4\n";

INSTANTIATE_TEST_SUITE_P(
    Lines, ReadableCsv,
    ::testing::Values(Readable{"WithHeader", "series,x,y\na,1,2\na,3,4\n", kA12A34},
                      Readable{"WithoutHeader", "a,1,2\na,3,4\n", kA12A34},
                      Readable{"HeaderAtTheEnd", "a,1,2\na,3,4\nseries,x,y\n", kA12A34},
                      Readable{"HeaderBetween", "a,1,2\nseries,x,y\na,3,4\n", kA12A34},
                      Readable{"HeaderInCapitals", "SERIES,X,Y\na,1,2\n", kA12},
                      Readable{"HeaderWithBlanks", "  Series , x,\ty \na,1,2\n", kA12},
                      Readable{"HeaderInQuotes", "\"series\",\"x\",\"y\"\na,1,2\n", kA12},
                      Readable{"NoFinalLineEnd", "series,x,y\na,1,2\na,3,4", kA12A34},
                      Readable{"CarriageReturns", "series,x,y\r\na,1,2\r\na,3,4\r\n", kA12A34},
                      Readable{"EmptyLines", "\n\n\nseries,x,y\n\na,1,2\n\n\na,3,4\n\n\n", kA12A34},
                      Readable{"Comments", "# first\nseries,x,y\n#a,9,9\na,1,2\n  # \"open\na,3,4\n#",
                               kA12A34},
                      Readable{"BlanksAroundFields", "  a , 1 ,\t2  \n a,3,4\n", kA12A34},
                      Readable{"FurtherFields", "a,1,2,5\na,3,4,,x,\"y\"\n", kA12A34},
                      Readable{"QuotedFields", "\"a\",\"1\",\"2\"\na,\" 3 \",4\n", kA12A34},
                      Readable{"QuotedPartOfAField", "\"a, \"b,1,2\n", "series,x,y\n\"a, b\",1,2\n"},
                      Readable{"QuoteWithinAField", "a\",\"b,1,2\n", "series,x,y\n\"a,b\",1,2\n"},
                      Readable{"CommaAndDoubledQuote", "\"rate, \"\"best\"\"\",1,2\n",
                               "series,x,y\n\"rate, \"\"best\"\"\",1,2\n"},
                      Readable{"HashInQuotes", "\"a#\",1,2\n", "series,x,y\na#,1,2\n"},
                      Readable{"SeveralSeries", "b,1,1\na,2,2\nb,3,3\nc,4,4\na,5,5\n",
                               "series,x,y\nb,1,1\nb,3,3\na,2,2\na,5,5\nc,4,4\n"},
                      Readable{"NamesByCase", "a,1,2\nA,3,4\n", "series,x,y\na,1,2\nA,3,4\n"},
                      Readable{"SeriesAsAName", "series,1,2\n", "series,x,y\nseries,1,2\n"},
                      Readable{"Bars", "bars,1,2\nbars,3,4\n", "series,x,y\nbars,1,2\nbars,3,4\n"},
                      Readable{"BarsInCapitals", "Bars,1,2\n", "series,x,y\nBars,1,2\n"},
                      Readable{"OtherScripts", "Größe λ,1,2\n", "series,x,y\nGröße λ,1,2\n"}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Numbers, ReadableCsv,
    ::testing::Values(Readable{"Signs", "a,+1,-2\n", "series,x,y\na,1,-2\n"},
                      Readable{"Exponents", "a,1e3,2.5E-4\n", "series,x,y\na,1000,0.00025\n"},
                      Readable{"PointAtAnEnd", "a,.5,2.\n", "series,x,y\na,0.5,2\n"},
                      Readable{"SixteenDigits", "a,0.3333333333333333,1\n",
                               "series,x,y\na,0.3333333333333333,1\n"},
                      Readable{"Huge", "a,1.7e308,-1.7e308\n", "series,x,y\na,1.7e+308,-1.7e+308\n"}),
    [](const auto& test) { return test.param.name; });

// --- texts that do not load --------------------------------------------------------------------------------

struct Unreadable {
    const char* name;
    const char* text;
    const char* message;
    int line = 0;
};

void PrintTo(const Unreadable& unreadable, std::ostream* out) {
    *out << unreadable.name;
}

class UnreadableCsv : public PlotFileTest, public ::testing::WithParamInterface<Unreadable> {};

TEST_P(UnreadableCsv, SaysWhyAndKeepsTheOldPlot) {
    showOldPlot();
    const Unreadable& row = GetParam();
    const QString message = row.line > 0 ? utf8(row.message).arg(row.line) : utf8(row.message);
    EXPECT_TRUE(refusesText(utf8(row.text), message));
    EXPECT_TRUE(showsOldPlot());
    EXPECT_FALSE(plot.loadCsv(utf8(row.text), nullptr));
}

INSTANTIATE_TEST_SUITE_P(NoData, UnreadableCsv,
                         ::testing::Values(Unreadable{"Empty", "", kNoData},
                                           Unreadable{"LineEnds", "\n\n\n", kNoData},
                                           Unreadable{"OnlyAHeader", "series,x,y\n", kNoData},
                                           Unreadable{"OnlyHeaders", "series,x,y\nSeries,X,Y", kNoData},
                                           Unreadable{"OnlyComments", "# a,1,2\n#\n", kNoData}),
                         [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(Columns, UnreadableCsv,
                         ::testing::Values(Unreadable{"OneField", "a\n", kColumns, 1},
                                           Unreadable{"TwoFields", "series,x,y\na,1\n", kColumns, 2},
                                           Unreadable{"TwoHeaderFields", "series,x\na,1,2\n", kColumns, 1},
                                           Unreadable{"Semicolons", "a,1,2\na;3;4\n", kColumns, 2},
                                           Unreadable{"CommasInQuotes", "\"a,1,2\"\n", kColumns, 1},
                                           Unreadable{"AfterCommentsAndEmptyLines",
                                                      "# one\n\n\n# two\na,1,2\n\na,3\n", kColumns, 4},
                                           Unreadable{"FirstFaultIsTold", "a\na,x,y\n\"", kColumns, 1}),
                         [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(Quoting, UnreadableCsv,
                         ::testing::Values(Unreadable{"LeftOpen", "\"a,1,2\n", kQuoting, 1},
                                           Unreadable{"LeftOpenWithoutLineEnd", "\"", kQuoting, 1},
                                           Unreadable{"LeftOpenLater", "# c\na,1,2\n\n\"b,3,4\nc,5,6\n",
                                                      kQuoting, 3},
                                           Unreadable{"LastFieldLeftOpen", "a,1,2\na,3,\"4\n", kQuoting, 2},
                                           Unreadable{"OddQuotesInAField", "a\"b,1,2\n", kQuoting, 1},
                                           Unreadable{"ThreeQuotes", "\"\"\",1,2\n", kQuoting, 1},
                                           Unreadable{"BeforeTooFewFields", "\"a\n", kQuoting, 1}),
                         [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Numeric, UnreadableCsv,
    ::testing::Values(
        Unreadable{"TextAsX", "a,one,2\n", kNumeric, 1}, Unreadable{"TextAsY", "a,1,two\n", kNumeric, 1},
        Unreadable{"EmptyX", "a,,2\n", kNumeric, 1}, Unreadable{"EmptyY", "a,1,\n", kNumeric, 1},
        Unreadable{"Infinite", "a,1,2\na,inf,2\n", kNumeric, 2},
        Unreadable{"MinusInfinite", "a,1,-inf\n", kNumeric, 1},
        Unreadable{"NotANumber", "a,nan,1\n", kNumeric, 1},
        Unreadable{"TooLarge", "a,1e309,1\n", kNumeric, 1}, Unreadable{"Unit", "a,5s,1\n", kNumeric, 1},
        Unreadable{"Hexadecimal", "a,0x10,1\n", kNumeric, 1},
        Unreadable{"TwoNumbers", "a,1 2,3\n", kNumeric, 1},
        Unreadable{"BareExponent", "a,1e,3\n", kNumeric, 1},
        Unreadable{"HeaderOfFourFields", "series,x,y,z\n", kNumeric, 1},
        Unreadable{"HeaderOfOtherNames", "series,x,z\n", kNumeric, 1},
        Unreadable{"ACommentMovesTheNumber", "# note\na,1,x\n", kNumeric, 2},
        Unreadable{"AnEmptyLineDoesNot", "\n\na,1,x\n", kNumeric, 1},
        Unreadable{"CarriageReturns", "series,x,y\r\na,1,2\r\na,1,z\r\n", kNumeric, 3}),
    [](const auto& test) { return test.param.name; });

// --- the plot after a load ---------------------------------------------------------------------------------

class CsvReading : public PlotFileTest {};

TEST_F(CsvReading, TheViewIsTheDataAndTheOperatorsIsGone) {
    showOldPlot();
    ASSERT_TRUE(loadsText(utf8("a,1,10\nb,-4,30\na,6,-20\n")));
    EXPECT_TRUE(hasView(plot, {-4, 6, -20, 30}));
    plot.setManualRange(0, 1, 0, 1);
    plot.resetView();
    EXPECT_TRUE(hasView(plot, {-4, 6, -20, 30}));
    plot.setXRange(0, 5);
    EXPECT_TRUE(hasView(plot, {0, 5, -20, 30}));
}

TEST_F(CsvReading, OnePointIsShown) {
    ASSERT_TRUE(loadsText(utf8("a,5,-2\n")));
    EXPECT_TRUE(hasView(plot, {5, 6, -2, -1}));
    ASSERT_TRUE(loadsText(utf8("bars,7,3\n")));
    EXPECT_TRUE(hasView(plot, {7, 8, 3, 4}));
}

TEST_F(CsvReading, ShowsLinesInThePalettesColoursAndNothingOfTheOldPlot) {
    useScheme(QStringLiteral("Dark"));
    plot.setAxisLabels(QStringLiteral("old x"), QStringLiteral("old y"));
    plot.setSeries({{0, 10, 5}, {2, 3}}, {{0, 1, 10}, {4, 9}},
                   {QStringLiteral("first"), QStringLiteral("second")}, {}, BarChartWidget::Lines);
    const QImage expected = picture();
    showOldPlot();
    ASSERT_TRUE(loadsText(utf8("first,0,0\nfirst,10,1\nsecond,2,4\nsecond,3,9\nfirst,5,10\n")));
    EXPECT_TRUE(hasView(plot, {0, 10, 0, 10}));
    EXPECT_EQ(largestDifference(picture(), expected), 0);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(plot.seriesColor(i).name(), schemes()[1].palette[i].name());
    }
}

TEST_F(CsvReading, ShowsBarsAndNothingOfTheOldPlot) {
    plot.setAxisLabels(QStringLiteral("old x"), QStringLiteral("old y"));
    plot.setBars({0, 5, 10}, {10, 0, 4}, 1.0);
    const QImage expected = picture();
    showOldPlot();
    ASSERT_TRUE(loadsText(utf8("bars,0,10\nbars,5,0\nbars,10,4\n")));
    EXPECT_EQ(largestDifference(picture(), expected), 0);
}

TEST_F(CsvReading, ALoadIsOneRepaint) {
    plot.show();
    PaintCounter counter(plot);
    counter.takePaints();
    ASSERT_TRUE(loadsText(utf8("a,1,2\n")));
    EXPECT_EQ(counter.takePaints(), 1);
    plot.hide();
}

// --- large and hostile texts -------------------------------------------------------------------------------

QString pointsText(int count) {
    return utf8("a,1,2\n").repeated(count - 1) + utf8("a,3,4\n");
}

TEST_F(CsvReading, FiveMillionPointsLoad) {
    const QString text = pointsText(5'000'000);
    {
        const AllocationWatch watch;
        ASSERT_TRUE(loadsText(text));
        EXPECT_LT(watch.peakBytes(), std::size_t{600} << 20) << "the lists take 80 megabytes";
    }
    EXPECT_TRUE(hasView(plot, {1, 3, 2, 4}));
    PlotFileFields file;
    file.seriesXs = {QList<double>(4'999'999, 1.0) + QList<double>{3.0}};
    plot.setAxisLabels(file.xLabel, file.yLabel);
    EXPECT_TRUE(plot.toBinary().startsWith(file.bytesUpTo(PlotField::SeriesYs)));
}

TEST_F(CsvReading, OnePointMoreIsRefused) {
    showOldPlot();
    EXPECT_TRUE(refusesText(pointsText(5'000'001), utf8(kTooMany)));
    EXPECT_TRUE(refusesText(pointsText(5'000'001) + utf8("broken\n"), utf8(kTooMany)));
    EXPECT_TRUE(showsOldPlot());
}

TEST_F(CsvReading, ManySeriesDoNotTakeForever) {
    constexpr int kSeries = 200'000;
    QString text;
    for (int i = 0; i < kSeries; ++i) {
        text += QStringLiteral("name %1,%2,1\n").arg(i).arg(i);
    }
    QElapsedTimer timer;
    timer.start();
    ASSERT_TRUE(loadsText(text));
    EXPECT_LT(timer.elapsed(), 30'000);
    EXPECT_TRUE(hasView(plot, {0, kSeries - 1, 1, 2}));
}

TEST_F(CsvReading, LongTextsOfOneKindDoNotTakeForever) {
    QElapsedTimer timer;
    timer.start();
    EXPECT_TRUE(refusesText(QString(4'000'000, QLatin1Char('a')), utf8(kColumns).arg(1)));
    EXPECT_TRUE(refusesText(QString(4'000'001, QLatin1Char('"')), utf8(kQuoting).arg(1)));
    EXPECT_TRUE(refusesText(QString(4'000'000, QLatin1Char(',')), utf8(kNumeric).arg(1)));
    EXPECT_TRUE(refusesText(QString(4'000'000, QLatin1Char('\n')), utf8(kNoData)));
    EXPECT_TRUE(refusesText(utf8("\"") + utf8("x\n").repeated(1'000'000), utf8(kQuoting).arg(1)));
    EXPECT_LT(timer.elapsed(), 30'000);
}

TEST_F(CsvReading, RandomTextsDoNoHarm) {
    std::mt19937 random(11);
    const char* const pieces[] = {"a",        "b",    ",",  ",",          ",",   "\n",   "\n",
                                  "\"",       "\"\"", "#",  "series,x,y", "1",   "2",    "-3",
                                  "4e5",      " ",    "\r", "\t",         "inf", "bars", "series",
                                  "\xc3\xa4", "\0\1", ";",  ".",          "1,2", "\n",   "a,1,2\n"};
    std::uniform_int_distribution<std::size_t> piece(0, std::size(pieces) - 1);
    std::uniform_int_distribution<int> length(0, 30);
    int loaded = 0;
    for (int round = 0; round < 20000; ++round) {
        QString text;
        for (int left = length(random); left > 0; --left) {
            text += utf8(pieces[piece(random)]);
        }
        const QByteArray before = plot.toBinary();
        QString error;
        if (!plot.loadCsv(text, &error)) {
            ASSERT_FALSE(error.isEmpty()) << text.toStdString();
            ASSERT_EQ(plot.toBinary(), before) << text.toStdString();
            continue;
        }
        ++loaded;
        const QString written = plot.toCsv();
        if (written.contains(QLatin1Char('#')) || written.contains(utf8("series,"))) {
            continue; // names that read as a comment or a header
        }
        BarChartWidget second;
        ASSERT_TRUE(second.loadCsv(written, &error)) << text.toStdString() << error.toStdString();
        ASSERT_EQ(second.toCsv(), written) << text.toStdString();
    }
    EXPECT_GT(loaded, 100);
}

} // namespace
