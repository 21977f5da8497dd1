#include "MeasurementLog.h"

#include "GoldenBytes.h"
#include "QtPrinting.h"
#include "ScriptedLog.h"

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using namespace std::chrono_literals;
using qorn::testing::LogEntry;
using qorn::testing::ReadLog;
using qorn::testing::ScriptedLog;
using qorn::testing::texts;
using State = MeasurementLog::State;
using Rows = std::vector<std::vector<std::string>>;

LogPlot plotOf(const char* binary, const char* csv) {
    return {[binary] { return QByteArray(binary); }, [csv] { return QString::fromUtf8(csv); }};
}

// --- files as laid down by hand ----------------------------------------------------------------------------

void writeGolden(ScriptedLog& stage) {
    stage.header.experiment = QStringLiteral("Counter");
    stage.header.context = {QStringLiteral(""), QStringLiteral("SIM00001"), QString::fromUtf8("Eingänge µ"),
                            QStringLiteral("")};
    stage.header.settingsJson = R"({"gate":1.5,"name":"Größe"})";
    stage.header.columns = texts({"time_s", "count 1", "rate, Hz", "note"});
    ASSERT_TRUE(stage.starts());
    MeasurementLog& log = *stage.log;
    log.writeRow(texts({"0.5", "12", "24", "plain"}));
    log.writeRow(texts({"1", "a,b", "say \"x\"", "two\nlines"}));
    log.writeText(QStringLiteral("# free text\n"));
    stage.clock.advance(1011ms);
    log.writeSnapshot(plotOf("QORNPLT and more", "series,x,y\nbars,1,10\n"));
    log.writeRow(texts({"2"}));
    log.writeRow({});
    stage.clock.advance(900ms);
    log.stop();
}

TEST(MeasurementLog, WritesTextAsLaidDown) {
    ScriptedLog stage(LogFormat::Csv);
    writeGolden(stage);
    EXPECT_EQ(qorn::testing::goldenText(stage.pathOf(0)),
              qorn::testing::goldenText(QORN_TEST_DATA "/measurement_log.csv"));
}

TEST(MeasurementLog, WritesBinaryAsLaidDown) {
    ScriptedLog stage(LogFormat::PackedBinary);
    writeGolden(stage);
    EXPECT_EQ(qorn::testing::readBytes(stage.pathOf(0)),
              qorn::testing::goldenBytes(QORN_TEST_DATA "/measurement_log.hex"));
}

// --- both formats ------------------------------------------------------------------------------------------

class MeasurementLogs : public ::testing::TestWithParam<LogFormat> {};

TEST_P(MeasurementLogs, ReadBackAsTheyWereWritten) {
    ScriptedLog stage(GetParam());
    stage.header.context = {QStringLiteral("Device, \"A\""), QStringLiteral("S 1"),
                            QString::fromUtf8("\U0001f74c"), QStringLiteral("USB")};
    ASSERT_TRUE(stage.starts());
    EXPECT_EQ(stage.append(texts({"0.1", "a,b"})), State::Ready);
    stage.clock.advance(250ms);
    stage.log->writeSnapshot(plotOf("series,x,y\nbars,1,2\n", "series,x,y\nbars,1,2\n"));
    EXPECT_EQ(stage.append(texts({"", "\r\n\""})), State::Ready);
    stage.log->stop();
    const ReadLog log = stage.read(0);
    EXPECT_EQ(log.device, "Device, \"A\"");
    EXPECT_EQ(log.serial, "S 1");
    EXPECT_EQ(log.source, "\U0001f74c");
    EXPECT_EQ(log.streamTransport, "USB");
    EXPECT_EQ(log.settings, "{}");
    EXPECT_EQ(log.columns, (std::vector<std::string>{"time_s", "counts"}));
    const std::vector<LogEntry> expected{
        {LogEntry::Kind::Row, {"0.1", "a,b"}, {}, {}},
        {LogEntry::Kind::Snapshot, {}, "2026-03-04T05:06:07.339", "series,x,y\nbars,1,2\n"},
        {LogEntry::Kind::Row, {"", "\r\n\""}, {}, {}}};
    EXPECT_EQ(log.entries, expected);
    EXPECT_TRUE(log.ended);
}

TEST_P(MeasurementLogs, WithoutColumnsHaveAnEmptyHeader) {
    ScriptedLog stage(GetParam());
    stage.header.columns.clear();
    ASSERT_TRUE(stage.starts());
    stage.log->stop();
    EXPECT_TRUE(stage.read(0).columns.empty());
    EXPECT_TRUE(stage.read(0).entries.empty());
}

TEST_P(MeasurementLogs, OnlyTheFormOfThePlotThatIsWrittenIsMade) {
    ScriptedLog stage(GetParam());
    ASSERT_TRUE(stage.starts());
    int binary = 0;
    int csv = 0;
    stage.log->writeSnapshot({[&] {
                                  ++binary;
                                  return QByteArray("b");
                              },
                              [&] {
                                  ++csv;
                                  return QStringLiteral("series,x,y\n");
                              }});
    EXPECT_EQ(binary, GetParam() == LogFormat::PackedBinary ? 1 : 0);
    EXPECT_EQ(csv, GetParam() == LogFormat::Csv ? 1 : 0);
}

TEST_P(MeasurementLogs, StandOnTheDiskUpToTheFlush) {
    ScriptedLog stage(GetParam());
    ASSERT_TRUE(stage.starts());
    EXPECT_EQ(stage.read(0).experiment, "Counter") << "the header is flushed";
    for (int row = 0; row < 3; ++row) {
        stage.append({QString::number(row), QStringLiteral("x")});
        stage.log->flush();
        EXPECT_EQ(stage.read(0).rows().size(), std::size_t(row + 1));
        EXPECT_EQ(stage.read(0).leftOver, 0u);
    }
    stage.log->writeSnapshot(plotOf("b", "series,x,y\n"));
    stage.log->flush();
    EXPECT_EQ(stage.read(0).snapshots().size(), 1u);
    EXPECT_FALSE(stage.read(0).ended);
}

TEST_P(MeasurementLogs, AreFinishedWhenTheyAreDestroyed) {
    ScriptedLog stage(GetParam());
    ASSERT_TRUE(stage.starts());
    stage.append(texts({"1", "2"}));
    stage.log.reset();
    const ReadLog log = stage.read(0);
    EXPECT_TRUE(log.ended);
    EXPECT_EQ(log.rows(), (Rows{{"1", "2"}}));
}

TEST_P(MeasurementLogs, NeverTakeThePlaceOfAnEarlierOne) {
    ScriptedLog stage(GetParam());
    ASSERT_TRUE(stage.starts());
    stage.append(texts({"1", "first"}));
    ASSERT_TRUE(stage.starts()); // in the same second, or behind a clock that was set back
    stage.append(texts({"1", "second"}));
    stage.log->stop();
    EXPECT_EQ(stage.read(0).rows(), (Rows{{"1", "first"}}));
    QString second = QString::fromStdString(stage.pathOf(0));
    second.insert(second.lastIndexOf(QLatin1Char('.')), QStringLiteral("_2"));
    EXPECT_EQ(qorn::testing::readLog(second.toStdString()).rows(), (Rows{{"1", "second"}}));
}

TEST_P(MeasurementLogs, AClockSetBackChangesNoLimit) {
    ScriptedLog stage(GetParam());
    stage.plan.rotateSeconds = 10;
    stage.plan.maximumDurationSeconds = 25;
    ASSERT_TRUE(stage.starts());
    stage.clock.advance(9s);
    stage.clock.setBack(3600s);
    EXPECT_EQ(stage.append(texts({"9", "part 0"})), State::Ready);
    stage.clock.advance(1s);
    EXPECT_EQ(stage.append(texts({"10", "part 1"})), State::Ready);
    stage.clock.setBack(3600s);
    stage.clock.advance(15s);
    EXPECT_EQ(stage.append(texts({"25", "too late"})), State::Ended);
    EXPECT_EQ(stage.read(0).rows(), (Rows{{"9", "part 0"}}));
    EXPECT_EQ(stage.read(1).rows(), (Rows{{"10", "part 1"}}));
    EXPECT_TRUE(stage.read(1).ended);
}

TEST_P(MeasurementLogs, AnOpenedFileBeginsEmpty) {
    ScriptedLog stage(GetParam());
    qorn::testing::writeBytes(stage.pathOf(0), qorn::testing::Bytes(100'000, 0x5A));
    ASSERT_TRUE(stage.log->openFile(QString::fromStdString(stage.pathOf(0)), nullptr));
    stage.log->closeFile();
    EXPECT_TRUE(stage.read(0).ended);
    EXPECT_LT(std::filesystem::file_size(stage.pathOf(0)), 1000u);
}

// --- rotation ----------------------------------------------------------------------------------------------

TEST_P(MeasurementLogs, RotateToPartsWithHeaderAndEndOfTheirOwn) {
    ScriptedLog stage(GetParam());
    stage.plan.rotateSeconds = 10;
    ASSERT_TRUE(stage.starts());
    for (int second = 0; second < 40; second += 5) {
        EXPECT_EQ(stage.append({QString::number(second), QStringLiteral("x")}), State::Ready);
        EXPECT_EQ(stage.log->path().toStdString(), stage.pathOf(second / 10));
        stage.clock.advance(5s);
    }
    stage.log->stop();
    EXPECT_FALSE(stage.exists(4));
    const char* const begins[] = {"2026-03-04T05:06:07.089", "2026-03-04T05:06:17.089",
                                  "2026-03-04T05:06:27.089", "2026-03-04T05:06:37.089"};
    for (int part = 0; part < 4; ++part) {
        const ReadLog log = stage.read(part);
        EXPECT_EQ(log.experiment, "Counter");
        EXPECT_EQ(log.started, begins[part]);
        EXPECT_EQ(log.columns.size(), 2u);
        EXPECT_TRUE(log.ended) << part;
        EXPECT_EQ(log.rows(), (Rows{{std::to_string(10 * part), "x"}, {std::to_string(10 * part + 5), "x"}}));
        if (GetParam() == LogFormat::Csv && part < 3) {
            EXPECT_EQ(log.stopped, begins[part + 1]);
        }
    }
}

TEST_P(MeasurementLogs, RotateAtTheMillisecond) {
    ScriptedLog stage(GetParam());
    stage.plan.rotateSeconds = 10;
    ASSERT_TRUE(stage.starts());
    stage.clock.advance(9999ms);
    EXPECT_EQ(stage.append(texts({"a", "b"})), State::Ready);
    EXPECT_FALSE(stage.exists(1));
    stage.clock.advance(1ms);
    EXPECT_EQ(stage.append(texts({"c", "d"})), State::Ready);
    EXPECT_TRUE(stage.exists(1));
    // the next part's age counts from its own beginning
    stage.clock.advance(9999ms);
    stage.append(texts({"e", "f"}));
    EXPECT_FALSE(stage.exists(2));
    stage.clock.advance(1ms);
    stage.append(texts({"g", "h"}));
    EXPECT_TRUE(stage.exists(2));
}

TEST_P(MeasurementLogs, RotateOnceAfterALongSilence) {
    ScriptedLog stage(GetParam());
    stage.plan.rotateSeconds = 10;
    ASSERT_TRUE(stage.starts());
    stage.clock.advance(1h);
    EXPECT_EQ(stage.append(texts({"a", "b"})), State::Ready);
    EXPECT_TRUE(stage.exists(1));
    EXPECT_FALSE(stage.exists(2));
}

TEST_P(MeasurementLogs, StayInOneFileWithoutRotation) {
    for (const int seconds : {0, -1}) {
        ScriptedLog stage(GetParam());
        stage.plan.rotateSeconds = seconds;
        ASSERT_TRUE(stage.starts());
        stage.clock.advance(240h);
        EXPECT_EQ(stage.append(texts({"a", "b"})), State::Ready);
        EXPECT_EQ(stage.log->path().toStdString(), stage.pathOf(0));
        EXPECT_FALSE(stage.exists(1));
    }
}

TEST_P(MeasurementLogs, EndWhenThereIsNoNextFile) {
    ScriptedLog stage(GetParam());
    stage.plan.rotateSeconds = 10;
    ASSERT_TRUE(stage.starts());
    stage.append(texts({"a", "b"}));
    std::filesystem::create_directory(stage.pathOf(1));
    stage.clock.advance(10s);
    EXPECT_EQ(stage.append(texts({"c", "d"})), State::Failed);
    EXPECT_EQ(stage.appendError, QStringLiteral("Could not open log file:\nIs a directory"));
    EXPECT_FALSE(stage.log->isOpen());
    EXPECT_TRUE(stage.log->path().isEmpty());
    EXPECT_EQ(stage.append(texts({"e", "f"})), State::Closed);
    EXPECT_TRUE(stage.read(0).ended) << "the part before is already closed";
    EXPECT_EQ(stage.read(0).rows(), (Rows{{"a", "b"}}));
}

TEST_P(MeasurementLogs, BeginAtThePlainNameInEachRun) {
    ScriptedLog stage(GetParam());
    stage.plan.rotateSeconds = 10;
    ASSERT_TRUE(stage.starts());
    stage.clock.advance(10s);
    stage.append(texts({"a", "b"}));
    EXPECT_EQ(stage.log->path().toStdString(), stage.pathOf(1));
    stage.log->stop();
    std::filesystem::remove(stage.pathOf(0)); // else the name is taken
    ASSERT_TRUE(stage.starts());
    EXPECT_EQ(stage.log->path().toStdString(), stage.pathOf(0));
    stage.clock.advance(9999ms);
    stage.append(texts({"c", "d"}));
    EXPECT_EQ(stage.log->path().toStdString(), stage.pathOf(0)) << "the part's age counts anew";
}

// --- maximum duration --------------------------------------------------------------------------------------

TEST_P(MeasurementLogs, EndSilentlyAtTheirMaximumDuration) {
    ScriptedLog stage(GetParam());
    stage.plan.maximumDurationSeconds = 5;
    ASSERT_TRUE(stage.starts());
    stage.clock.advance(4999ms);
    EXPECT_EQ(stage.append(texts({"a", "b"})), State::Ready);
    stage.clock.advance(1ms);
    EXPECT_EQ(stage.append(texts({"c", "d"})), State::Ended);
    EXPECT_TRUE(stage.appendError.isEmpty());
    EXPECT_FALSE(stage.log->isOpen());
    EXPECT_TRUE(stage.log->path().isEmpty());
    EXPECT_EQ(stage.append(texts({"e", "f"})), State::Closed);
    EXPECT_TRUE(stage.read(0).ended);
    EXPECT_EQ(stage.read(0).rows(), (Rows{{"a", "b"}}));
}

TEST_P(MeasurementLogs, TheDurationCountsOverAllParts) {
    ScriptedLog stage(GetParam());
    stage.plan.rotateSeconds = 2;
    stage.plan.maximumDurationSeconds = 5;
    ASSERT_TRUE(stage.starts());
    for (const State expected : {State::Ready, State::Ready, State::Ended, State::Closed}) {
        stage.clock.advance(2s);
        EXPECT_EQ(stage.append(texts({"a", "b"})), expected);
    }
    EXPECT_TRUE(stage.exists(2));
    EXPECT_FALSE(stage.exists(3));
}

TEST_P(MeasurementLogs, AtTheEndOfTheDurationThereIsNoFurtherPart) {
    ScriptedLog stage(GetParam());
    stage.plan.rotateSeconds = 5;
    stage.plan.maximumDurationSeconds = 5;
    ASSERT_TRUE(stage.starts());
    stage.clock.advance(5s);
    EXPECT_EQ(stage.append(texts({"a", "b"})), State::Ended);
    EXPECT_FALSE(stage.exists(1));
}

TEST_P(MeasurementLogs, TheDurationCountsAnewInEachRun) {
    ScriptedLog stage(GetParam());
    stage.plan.maximumDurationSeconds = 5;
    ASSERT_TRUE(stage.starts());
    stage.clock.advance(4s);
    ASSERT_TRUE(stage.starts());
    stage.clock.advance(4s);
    EXPECT_EQ(stage.append(texts({"a", "b"})), State::Ready);
}

TEST_P(MeasurementLogs, LimitsReachTwentyFourDays) {
    ScriptedLog stage(GetParam());
    stage.plan.maximumDurationSeconds = 2'147'483;
    stage.plan.rotateSeconds = 2'147'483;
    ASSERT_TRUE(stage.starts());
    stage.clock.advance(2'147'482'999ms);
    EXPECT_EQ(stage.append(texts({"a", "b"})), State::Ready);
    EXPECT_FALSE(stage.exists(1));
    stage.clock.advance(1ms);
    EXPECT_EQ(stage.append(texts({"a", "b"})), State::Ended);
}

TEST_P(MeasurementLogs, LongerLimitsWrapAroundAsAccepted) {
    ScriptedLog stage(GetParam());
    stage.plan.maximumDurationSeconds = 2'147'484; // a negative number of milliseconds
    ASSERT_TRUE(stage.starts());
    EXPECT_EQ(stage.append(texts({"a", "b"})), State::Ended);
    stage.plan.maximumDurationSeconds = 4'294'968; // 704 ms
    ASSERT_TRUE(stage.starts());
    stage.clock.advance(703ms);
    EXPECT_EQ(stage.append(texts({"a", "b"})), State::Ready);
    stage.clock.advance(1ms);
    EXPECT_EQ(stage.append(texts({"a", "b"})), State::Ended);
}

// --- closed, and in trouble --------------------------------------------------------------------------------

TEST_P(MeasurementLogs, TakeNothingWhileClosed) {
    ScriptedLog stage(GetParam());
    EXPECT_FALSE(stage.log->isOpen());
    EXPECT_TRUE(stage.log->path().isEmpty());
    EXPECT_EQ(stage.append(texts({"a", "b"})), State::Closed);
    stage.log->writeRow(texts({"a"}));
    stage.log->writeText(QStringLiteral("a"));
    stage.log->writeSnapshot(plotOf("b", "c"));
    stage.log->flush();
    stage.log->closeFile();
    stage.log->stop();
    EXPECT_TRUE(std::filesystem::is_empty(stage.folder.path()));
}

TEST_P(MeasurementLogs, DoNotStartWithoutAFile) {
    ScriptedLog stage(GetParam());
    std::filesystem::create_directory(stage.pathOf(0));
    QString error;
    EXPECT_FALSE(stage.log->start(error));
    EXPECT_EQ(error, QStringLiteral("Could not open log file:\nIs a directory"));
    EXPECT_FALSE(stage.log->isOpen());
    EXPECT_TRUE(stage.log->path().isEmpty());
    EXPECT_EQ(stage.append(texts({"a", "b"})), State::Closed);
}

TEST_P(MeasurementLogs, KeepTheirFileWhenAnotherCannotBeOpened) {
    ScriptedLog stage(GetParam());
    ASSERT_TRUE(stage.starts());
    QString error;
    EXPECT_FALSE(stage.log->openFile(QStringLiteral("/no/such/folder/log.csv"), &error));
    EXPECT_EQ(error, QStringLiteral("Could not open log file:\nNo such file or directory"));
    EXPECT_FALSE(stage.log->openFile(QStringLiteral("/no/such/folder/log.csv"), nullptr));
    EXPECT_EQ(stage.append(texts({"still", "here"})), State::Ready);
    stage.log->stop();
    EXPECT_EQ(stage.read(0).rows(), (Rows{{"still", "here"}}));
}

INSTANTIATE_TEST_SUITE_P(Formats, MeasurementLogs, ::testing::Values(LogFormat::Csv, LogFormat::PackedBinary),
                         [](const auto& test) {
                             return std::string(test.param == LogFormat::Csv ? "Text" : "Binary");
                         });

// --- lines of text -----------------------------------------------------------------------------------------

TEST(MeasurementLog, AnEmptyHeaderIsAnEmptyLineBehindTheSettings) {
    ScriptedLog stage(LogFormat::Csv);
    stage.header.columns.clear();
    ASSERT_TRUE(stage.starts());
    EXPECT_TRUE(qorn::testing::goldenText(stage.pathOf(0)).ends_with("# Settings JSON: {}\n\n"));
}

TEST(MeasurementLog, AnEmptyHeaderIsAListOfNoneInBinary) {
    ScriptedLog stage(LogFormat::PackedBinary);
    stage.header.columns.clear();
    ASSERT_TRUE(stage.starts());
    qorn::testing::Bytes end = qorn::testing::readBytes(stage.pathOf(0));
    end.erase(end.begin(), end.end() - 10);
    EXPECT_EQ(end, qorn::testing::bytesFromHex("02 00 00 00 7B 7D 00 00 00 00"));
}

TEST(MeasurementLog, ALongTextIsOneStringInBinary) {
    ScriptedLog stage(LogFormat::PackedBinary);
    ASSERT_TRUE(stage.starts());
    stage.log->writeText(QStringLiteral("a,b,\"c\"\nd"));
    stage.log->stop();
    EXPECT_EQ(stage.read(0).rows(), (Rows{{"a,b,\"c\"\nd"}}));
}

TEST(MeasurementLog, ATextGoesIntoATextLogAsItIs) {
    ScriptedLog stage(LogFormat::Csv);
    ASSERT_TRUE(stage.starts());
    stage.log->writeText(QStringLiteral("a,\"b\""));
    stage.log->writeText(QStringLiteral(" and more\n\n"));
    stage.log->flush();
    EXPECT_TRUE(qorn::testing::goldenText(stage.pathOf(0)).ends_with("time_s,counts\na,\"b\" and more\n\n"));
}

struct LineRow {
    const char* name;
    QStringList fields;
    const char* line;
};

void PrintTo(const LineRow& row, std::ostream* out) {
    *out << row.name;
}

class CsvLines : public ::testing::TestWithParam<LineRow> {};

TEST_P(CsvLines, QuoteWhatNeedsIt) {
    EXPECT_EQ(csvLine(GetParam().fields), QString::fromUtf8(GetParam().line));
}

INSTANTIATE_TEST_SUITE_P(Fields, CsvLines,
                         ::testing::Values(LineRow{"None", {}, ""}, LineRow{"OneEmpty", texts({""}), ""},
                                           LineRow{"Null", {QString(), QString()}, ","},
                                           LineRow{"Plain", texts({"a", "b c", "1.5"}), "a,b c,1.5"},
                                           LineRow{"Comma", texts({"a,b", "c"}), "\"a,b\",c"},
                                           LineRow{"Quote", texts({"say \"x\""}), "\"say \"\"x\"\"\""},
                                           LineRow{"OnlyAQuote", texts({"\""}), "\"\"\"\""},
                                           LineRow{"LineFeed", texts({"a\nb", "c"}), "\"a\nb\",c"},
                                           LineRow{"CarriageReturn", texts({"a\rb"}), "\"a\rb\""},
                                           LineRow{"NoOther",
                                                   texts({" a ", "b;c", "d\te", "'f'", "#g", "Größe"}),
                                                   " a ,b;c,d\te,'f',#g,Größe"}),
                         [](const auto& test) { return test.param.name; });

TEST(MeasurementLog, FormatsHaveTheirExtensions) {
    EXPECT_EQ(logExtension(LogFormat::Csv), QStringLiteral("csv"));
    EXPECT_EQ(logExtension(LogFormat::PackedBinary), QStringLiteral("qornlog"));
}

} // namespace
} // namespace qorn::timetagger::gui
