// What the Frequency tab computes of an input's tags: bins, the base, period errors, and its log.
#include "FrequencyTabStage.h"

#include <random>

namespace qorn::testing {
namespace {

class Stage : public FrequencyStage {
public:
    Stage() { startLog(); }
    // A tab that runs with a base of the operator's.
    explicit Stage(double baseHz) : Stage() {
        setBase(baseHz);
        start();
    }
    // The number of periods in the histogram.
    int periods() {
        box("showHistogramPlot").setChecked(true);
        refresh();
        for (const QString& line : histogram().statTexts) {
            if (line.startsWith(QStringLiteral("Periods: "))) {
                return line.mid(9).toInt();
            }
        }
        ADD_FAILURE() << "no line tells the periods";
        return -1;
    }
};

void expectRow(const LogRow& row, std::size_t number, int input, const FrequencyBin& bin) {
    ASSERT_EQ(row.size(), 10U);
    EXPECT_EQ(row[0], std::to_string(number));
    EXPECT_EQ(row[1], QString::number(bin.time, 'f', 9).toStdString());
    EXPECT_EQ(row[2], std::to_string(input));
    EXPECT_EQ(row[3], std::to_string(bin.tags));
    EXPECT_EQ(row[4], QString::number(bin.span, 'f', 12).toStdString());
    EXPECT_EQ(row[5].size() - row[5].find('.'), 10U) << "nine decimals: " << row[5];
    EXPECT_NEAR(std::stod(row[5]), bin.frequency, 1e-9 + 1e-14 * bin.frequency);
    EXPECT_NEAR(std::stod(row[6]), bin.base, 1e-9 + 1e-14 * bin.base);
    EXPECT_NEAR(std::stod(row[7]), bin.drift, 2e-8 + 1e-12 * std::abs(bin.drift));
    EXPECT_EQ(row[8], std::to_string(bin.firstPs));
    EXPECT_EQ(row[9], std::to_string(bin.lastPs));
}

TEST(FrequencyBins, ASteadySignalHasItsFrequencyInEveryBin) {
    Stage stage;
    stage.start();
    const qint64 origin = 777'000'000'123;
    stage.feed(pulses(0, origin, kMillisecondPs, 301));
    EXPECT_EQ(stage.loggedRows(),
              (LogRows{{"1", "0.100000000", "1", "100", "0.099000000000", "1000.000000000", "1000.000000000",
                        "0.000000000", "777000000123", "876000000123"},
                       {"2", "0.200000000", "1", "100", "0.099000000000", "1000.000000000", "1000.000000000",
                        "0.000000000", "877000000123", "976000000123"},
                       {"3", "0.300000000", "1", "100", "0.099000000000", "1000.000000000", "1000.000000000",
                        "0.000000000", "977000000123", "1076000000123"}}));
}

TEST(FrequencyBins, ABinIsAnchoredOnItsFirstTag) {
    Stage stage(10.0);
    // the gap of a second is no bin of its own
    stage.feed({{0, 0}, {0, kSecondPs / 20}, {0, kSecondPs}, {0, kSecondPs + kSecondPs / 25}});
    stage.feed({{0, 2 * kSecondPs}});
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 2U);
    expectRow(rows[0], 1, 1, {0.1, 2, 0.05, 20, 10, 1e6, 0, kSecondPs / 20});
    expectRow(rows[1], 2, 1, {1.1, 2, 0.04, 25, 10, 1.5e6, kSecondPs, kSecondPs + kSecondPs / 25});
}

TEST(FrequencyBins, ATagExactlyAtTheEndClosesTheBin) {
    Stage stage(10.0);
    stage.feed({{0, 5}, {0, 6}, {0, kSecondPs / 10 + 4}});
    stage.feed({{0, kSecondPs / 10 + 5}, {0, kSecondPs / 10 + 6}});
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0][3], "3");
    EXPECT_EQ(rows[0][9], std::to_string(kSecondPs / 10 + 4));
}

TEST(FrequencyBins, ABinOfOneTagIsDropped) {
    Stage stage(10.0);
    stage.feed({{0, 0}, {0, kSecondPs}, {0, 2 * kSecondPs}, {0, 2 * kSecondPs + 10}, {0, 3 * kSecondPs}});
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 1U);
    expectRow(rows[0], 1, 1,
              {2.1, 2, 1e-11, 1e11, 10, (1e11 / 10 - 1) * 1e6, 2 * kSecondPs, 2 * kSecondPs + 10});
}

TEST(FrequencyBins, ABinWithoutASpanIsDropped) {
    Stage stage(10.0);
    stage.feed({{0, 0}, {0, 0}, {0, 0}, {0, kSecondPs}});
    EXPECT_TRUE(stage.loggedRows().empty());
}

TEST(FrequencyBins, ATagOfEqualTimeCountsInTheBin) {
    Stage stage(10.0);
    const qint64 half = kSecondPs / 20;
    stage.feed({{0, 0}, {0, half}, {0, half}, {0, 2 * half}});
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0][3], "3");
    EXPECT_EQ(rows[0][5], "40.000000000");
}

TEST(FrequencyBins, OtherInputsAreIgnored) {
    Stage stage;
    stage.integer("channel").setValue(3);
    stage.start();
    QList<UiTimeTag> tags = pulses(2, 0, kMillisecondPs, 101);
    for (const int other : {0, 1, 3, 4, 255}) {
        tags += pulses(other, 12345, 7 * kMillisecondPs, 40);
    }
    stage.feed(inTimeOrder(tags));
    stage.feed({{0, 10 * kSecondPs}});
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0][2], "3");
    EXPECT_EQ(rows[0][3], "100");
    EXPECT_EQ(rows[0][5], "1000.000000000");
}

TEST(FrequencyBins, TheShortestBinHoldsItsMicrosecond) {
    Stage stage(1e9);
    stage.number("binSeconds").setValue(1e-6);
    stage.feed(pulses(0, 0, 1000, 2001));
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[1][1], "0.000002000");
    EXPECT_EQ(rows[1][3], "1000");
    EXPECT_EQ(rows[1][5], "1000000000.000000000");
}

// --- the base ----------------------------------------------------------------------------------------------

TEST(FrequencyBase, TheFirstClosedBinIsTheBaseOfTheMeasurement) {
    Stage stage;
    stage.start();
    stage.feed(changingPeriods({1'002'004'008, 1'000'000'000, 994'035'785}, kSecondPs / 10));
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 3U);
    const double base = 1e12 / 1'002'004'008;
    for (const LogRow& row : rows) {
        EXPECT_NEAR(std::stod(row[6]), base, 1e-9);
    }
    EXPECT_EQ(std::stod(rows[0][7]), 0.0);
    EXPECT_NEAR(std::stod(rows[1][7]), (1000 / base - 1) * 1e6, 1e-6);
    EXPECT_NEAR(std::stod(rows[2][7]), (1e12 / 994'035'785 / base - 1) * 1e6, 1e-6);
    EXPECT_NEAR(stage.number("baseHz").value(), base, 5e-7);
}

// 1e12 / 811111111 has no end; the box shows six decimals of it.
TEST(FrequencyBase, ADetectedBaseStaysExactUntilTheOperatorEditsIt) {
    Stage stage;
    stage.start();
    const qint64 period = 811'111'111;
    QList<UiTimeTag> tags = pulses(0, 0, period, 700);
    stage.feed(tags.mid(0, 130));
    const std::string exact = QString::number(1e12 / static_cast<double>(period), 'f', 9).toStdString();
    stage.integer("historyBins").setValue(55);
    stage.number("histBinPs").setValue(3);
    stage.feed(tags.mid(130, 200));
    stage.box("autoBaseFrequency").setChecked(false);
    stage.number("histRangeNs").setValue(2);
    stage.feed(tags.mid(330, 130));
    stage.number("baseHz").setValue(1250);
    stage.feed(tags.mid(460));
    const LogRows rows = stage.loggedRows();
    ASSERT_GE(rows.size(), 5U);
    for (std::size_t row = 0; row < 3; ++row) {
        EXPECT_EQ(rows[row][6], exact) << row;
        EXPECT_NEAR(std::stod(rows[row][7]), 0.0, 1e-8) << row;
    }
    EXPECT_EQ(rows.back()[6], "1250.000000000");
}

TEST(FrequencyBase, AnOperatorsBaseHoldsFromTheFirstBin) {
    Stage stage(999.0);
    stage.feed(pulses(0, 0, kMillisecondPs, 101));
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0][6], "999.000000000");
    EXPECT_NEAR(std::stod(rows[0][7]), 1001.001001001, 1e-7);
    EXPECT_EQ(stage.number("baseHz").value(), 999.0) << "nothing is detected";
}

TEST(FrequencyBase, WithoutABaseThereIsNoDriftAndNoPeriodError) {
    Stage stage(0.0);
    stage.feed(pulses(0, 0, kMillisecondPs, 301));
    EXPECT_EQ(stage.periods(), 0);
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(rows[2][5], "1000.000000000");
    EXPECT_EQ(rows[2][6], "0.000000000");
    EXPECT_EQ(rows[2][7], "0.000000000");
}

TEST(FrequencyBase, EachStartDetectsAnew) {
    Stage stage;
    stage.start();
    stage.feed(pulses(0, 0, kMillisecondPs, 101));
    EXPECT_EQ(stage.base(), QStringLiteral("Detected: 1.000000 kHz"));
    stage.pause();
    stage.start();
    EXPECT_EQ(stage.base(), QStringLiteral("Base: detecting at start"));
    stage.feed(pulses(0, 0, 2 * kMillisecondPs, 51));
    EXPECT_EQ(stage.base(), QStringLiteral("Detected: 500.000000 Hz"));
    stage.tab.resetMeasurement();
    EXPECT_EQ(stage.base(), QStringLiteral("Base: detecting at start"));
    stage.feed(pulses(0, 0, 4 * kMillisecondPs, 26));
    EXPECT_EQ(stage.base(), QStringLiteral("Detected: 250.000000 Hz"));
}

TEST(FrequencyBase, AResumeKeepsTheBase) {
    Stage stage;
    stage.start();
    stage.feed(pulses(0, 0, kMillisecondPs, 101));
    stage.pause();
    stage.resume();
    stage.feed(pulses(0, kSecondPs, 2 * kMillisecondPs, 51));
    EXPECT_EQ(stage.base(), QStringLiteral("Detected: 1.000000 kHz"));
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_NEAR(std::stod(rows[1][7]), -500000.0, 1e-6);
}

TEST(FrequencyBins, TheTimeGoesOnWhenAResumedStreamBeginsAnew) {
    Stage stage;
    stage.start();
    stage.feed(pulses(0, 5 * kSecondPs, kMillisecondPs, 1001));    // ten bins of 0.1 s and their end
    for (const qint64 begin : {qint64{0}, 500 * kMillisecondPs}) { // both before the end of the run before
        stage.pause();
        stage.resume();
        stage.feed(pulses(0, begin, kMillisecondPs, 1001));
    }
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 30U);
    for (std::size_t row = 1; row < rows.size(); ++row) {
        const double time = std::stod(rows[row][1]);
        EXPECT_NEAR(time, static_cast<double>(row + 1) / 10.0, 1e-6) << row;
        EXPECT_NEAR(std::stod(rows[row][5]), 1000.0, 1e-6);
    }
}

// --- period errors -----------------------------------------------------------------------------------------

TEST(FrequencyPeriods, NoneIsTakenWhileTheBaseIsBeingDetected) {
    Stage stage;
    stage.start();
    stage.feed(pulses(0, 0, kMillisecondPs, 101));
    EXPECT_EQ(stage.periods(), 0) << "the first bin never appears";
    stage.feed(pulses(0, 101 * kMillisecondPs, kMillisecondPs, 149));
    EXPECT_EQ(stage.periods(), 149);
}

TEST(FrequencyPeriods, ATagOfEqualOrEarlierTimeEndsNoPeriod) {
    Stage stage(1000.0);
    stage.feed({{0, 0}, {0, kMillisecondPs}, {0, kMillisecondPs}, {0, 2 * kMillisecondPs}});
    EXPECT_EQ(stage.periods(), 2);
    stage.feed({{0, kMillisecondPs}});
    EXPECT_EQ(stage.periods(), 2);
    stage.feed({{0, 2 * kMillisecondPs}});
    EXPECT_EQ(stage.periods(), 3);
}

TEST(FrequencyPeriods, AMillionIsKept) {
    Stage stage(1000.0);
    stage.number("binSeconds").setValue(10);
    stage.number("histRangeNs").setValue(1);
    stage.number("histBinPs").setValue(100);
    // fifty errors of 1 ns, which leave again, then a million of 0.5 ns
    qint64 time = 0;
    QList<UiTimeTag> tags{{0, 0}};
    for (int tag = 0; tag < 1'000'050; ++tag) {
        time += kMillisecondPs + (tag < 50 ? 1000 : 500);
        tags.append({0, time});
    }
    stage.feed(tags.mid(0, 500'000));
    EXPECT_EQ(stage.periods(), 499'999);
    stage.feed(tags.mid(500'000));
    EXPECT_EQ(stage.periods(), 1'000'000);
    const ShownPlot shown = stage.histogram();
    ASSERT_EQ(shown.barHeights.size(), 21);
    EXPECT_EQ(shown.barHeights[15], 1'000'000.0);
    EXPECT_EQ(shown.barHeights[20], 0.0) << "the oldest have left";
}

// --- pause, resume, stop -----------------------------------------------------------------------------------

TEST(FrequencyLifeCycle, APauseIsNeitherAPeriodNorABin) {
    Stage stage(1000.0);
    stage.feed(pulses(0, 0, kMillisecondPs, 151));
    stage.pause();
    stage.resume();
    const qint64 later = 40 * kSecondPs;
    stage.feed(pulses(0, later, kMillisecondPs, 101));
    EXPECT_EQ(stage.periods(), 250) << "150 before and 100 behind";
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 2U) << "the open bin is given up";
    expectRow(rows[1], 2, 1, {40.1, 100, 0.099, 1000, 1000, 0, later, later + 99 * kMillisecondPs});
}

TEST(FrequencyLifeCycle, AStopClosesNoBin) {
    Stage stage(1000.0);
    stage.feed(pulses(0, 0, kMillisecondPs, 100));
    stage.pause();
    EXPECT_TRUE(stage.timers(FrequencyStage::kTimerMs).isEmpty());
    EXPECT_TRUE(stage.loggedRows().empty());
}

TEST(FrequencyLifeCycle, AStartForgetsEverything) {
    for (const bool reset : {false, true}) {
        Stage stage(1000.0);
        stage.feed(pulses(0, 0, kMillisecondPs, 250));
        if (reset) {
            stage.tab.resetMeasurement();
        } else {
            stage.start();
        }
        EXPECT_EQ(stage.periods(), 0);
        EXPECT_EQ(stage.frequency().points(), 0);
        stage.feed(pulses(0, kSecondPs, 2 * kMillisecondPs, 51));
        EXPECT_EQ(stage.periods(), 50);
        const LogRows rows = stage.loggedRows();
        ASSERT_EQ(rows.size(), 3U);
        expectRow(rows[2], 1, 1,
                  {0.1, 50, 0.098, 500, 1000, -500000, kSecondPs, kSecondPs + 98 * kMillisecondPs});
    }
}

TEST(FrequencyLifeCycle, StopBeforeStartAndDeathWhileRunningDoNoHarm) {
    auto stage = std::make_unique<Stage>();
    stage->tab.onStop();
    stage->start();
    stage->feed({{0, 0}});
    stage.reset();
    QCoreApplication::processEvents();
}

// The time axis steps back, as after a restart of the stream: what follows is measured as ever.
TEST(FrequencyLifeCycle, AfterATimeThatStepsBackBinsAreRightAgain) {
    Stage stage(1000.0);
    stage.feed(pulses(0, 0, kMillisecondPs, 151));
    stage.feed(pulses(0, -3'600 * kSecondPs, kMillisecondPs, 1001));
    stage.feed(pulses(0, 100 * kSecondPs, kMillisecondPs, 1001));
    const LogRows rows = stage.loggedRows();
    ASSERT_GE(rows.size(), 11U);
    for (std::size_t row = rows.size() - 9; row < rows.size(); ++row) {
        EXPECT_EQ(rows[row][3], "100") << row;
        EXPECT_EQ(rows[row][5], "1000.000000000") << row;
    }
}

TEST(FrequencyLifeCycle, TheFarthestTimesDoNoHarm) {
    Stage stage(1000.0);
    stage.showAllPlots();
    constexpr qint64 kMost = std::numeric_limits<qint64>::max();
    stage.feed({{0, kMost}, {0, std::numeric_limits<qint64>::min()}, {0, 0}, {0, kMost - 1}, {0, kMost}});
    stage.refresh();
    EXPECT_FALSE(pictureOf(stage.tab).isNull());
}

// --- against the definition --------------------------------------------------------------------------------

TEST(FrequencyBins, ARandomStreamIsMeasuredAsTheDefinitionSays) {
    for (const unsigned seed : {1U, 2U, 3U, 4U}) {
        SCOPED_TRACE(seed);
        std::mt19937_64 random(seed);
        Stage stage;
        FrequencyReference reference;
        reference.binPs = static_cast<qint64>(1 + random() % 50) * 1'000'000;
        stage.number("binSeconds").setValue(static_cast<double>(reference.binPs) / 1e12);
        if (seed % 2 == 0) {
            reference.base = 120'000.5;
            stage.setBase(120'000.5);
        }
        stage.start();
        std::vector<qint64> times;
        qint64 time = static_cast<qint64>(random() % 1'000'000'000'000);
        QList<UiTimeTag> batch;
        for (int tag = 0; tag < 20'000; ++tag) {
            time += random() % 50 == 0 ? 0 : 8'000'000 + static_cast<qint64>(random() % 800'000);
            time += random() % 500 == 0 ? static_cast<qint64>(random() % 300'000'000) : 0;
            times.push_back(time);
            batch.append({0, time});
            if (random() % 3 == 0) {
                batch.append({static_cast<quint8>(1 + random() % 3), time + 5});
            }
            if (random() % 300 == 0) {
                stage.feed(batch);
                batch.clear();
            }
        }
        stage.feed(batch);
        reference.measure(times);
        const LogRows rows = stage.loggedRows();
        ASSERT_EQ(rows.size(), reference.bins.size());
        ASSERT_GT(rows.size(), 1000U);
        for (std::size_t row = 0; row < rows.size(); ++row) {
            ASSERT_NO_FATAL_FAILURE(expectRow(rows[row], row + 1, 1, reference.bins[row])) << row;
        }
    }
}

} // namespace
} // namespace qorn::testing
