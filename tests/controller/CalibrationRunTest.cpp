// The calibration of several delay lines, and how far apart they are, on a driver whose tags the test
// decides.
#include "CalibrationRun.h"

#include "Device.h"
#include "Environment.h"
#include "Error.h"
#include "ScriptedDriver.h"
#include "StreamBuilder.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::appendRaw64;
using qorn::testing::Bytes;
using qorn::testing::Environment;
using qorn::testing::raw64CoarseFine;
using qorn::testing::ScopedDriver;
using Lines = std::vector<unsigned char>;
using Reports = std::vector<std::pair<int, std::string>>;

// Tags of a line that sees the same pulses as every other, on all inputs in turn: each pulse comes
// `coarseShift` ticks later than with the first line, and has one code throughout. So the table is that of an
// uncalibrated line, and times are exact.
struct LineTags {
    int coarseShift = 0;
    int fine = 100;
};

Bytes pulses(int perInput, const std::function<LineTags(int)>& lineOfInput) {
    Bytes bytes;
    for (int pulse = 0; pulse < perInput; ++pulse) {
        for (int input = 0; input < 4; ++input) {
            const LineTags tags = lineOfInput(input);
            appendRaw64(bytes, raw64CoarseFine(
                                   input, static_cast<std::uint64_t>(500 + 1000 * pulse + tags.coarseShift),
                                   static_cast<std::uint64_t>(tags.fine)));
        }
    }
    return bytes;
}

class CalibrationRunTest : public ::testing::Test {
protected:
    CalibrationRunTest() {
        device.emplace(timing::Device::open_serial("ftdi://SN0001"));
        driver->clearLog();
    }

    // The tags of the n-th stream from 0 on.
    void send(const std::function<Bytes(int)>& tagsOfStream) {
        const auto hook = [this, tagsOfStream](int number) { driver->feed(tagsOfStream(number - 1)); };
        driver->onCall("tt_start_calibration_stream", hook);
        driver->onCall("tt_start_calibration_sweep_stream", hook);
    }
    // Two codes on each input.
    void sendTwoCodes() {
        send([](int) {
            Bytes bytes;
            for (int i = 0; i < 400; ++i) {
                appendRaw64(bytes, raw64CoarseFine(i % 4, static_cast<std::uint64_t>(i),
                                                   static_cast<std::uint64_t>(i / 4 % 2)));
            }
            return bytes;
        });
    }
    CalibrationResult measure(const Lines& lines, unsigned long samples = 400, unsigned long steps = 1) {
        const CalibrationRequest request{samples, steps, 100000.0, lines};
        const CalibrationRun::Progress report = [this](int percent, const QString& text) {
            reports.emplace_back(percent, text.toStdString());
            if (onReport) {
                onReport();
            }
        };
        return CalibrationRun(*device, request, cancel, report).measure();
    }
    std::string failureOf(const Lines& lines, unsigned long samples = 400, unsigned long steps = 1) {
        try {
            measure(lines, samples, steps);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        ADD_FAILURE() << "nothing was thrown";
        return {};
    }
    // Offset of the second line, per input.
    std::array<std::uint32_t, 4> offsetsOf(int perInput, const std::function<LineTags(int)>& second) {
        driver->clearLog(); // streams count from the first again
        send([&](int stream) {
            return pulses(perInput, stream == 0 ? [](int) { return LineTags{}; } : second);
        });
        const auto offsets =
            measure({0, 1}, 4 * static_cast<unsigned long>(perInput)).calibration.tdl_offset_ps;
        std::array<std::uint32_t, 4> ofSecond{};
        for (std::size_t input = 0; input < 4; ++input) {
            ofSecond[input] = offsets[input][1];
            for (const std::size_t other : {0U, 2U, 3U, 4U}) {
                EXPECT_EQ(offsets[input][other], 0U) << "input " << input << ", line " << other;
            }
        }
        return ofSecond;
    }

    Environment fpga{"QORN_CAL_FPGA_SWEEP"};
    Environment host{"QORN_CAL_HOST_SWEEP"};
    Environment dwell{"QORN_CAL_SWEEP_DWELL"};
    ScopedDriver driver;
    std::optional<timing::Device> device;
    std::atomic<bool> cancel{false};
    Reports reports;
    std::function<void()> onReport;
};

TEST(LinesToCalibrate, AreThoseActiveOnAnyInputInRisingOrder) {
    struct Row {
        std::array<unsigned char, 4> masks;
        Lines lines;
    };
    for (const Row& row :
         {Row{{0, 0, 0, 0}, {0}}, Row{{1, 1, 1, 1}, {0}}, Row{{2, 0, 0, 0}, {1}}, Row{{0, 0, 0, 4}, {2}},
          Row{{4, 0, 1, 0}, {0, 2}}, Row{{6, 6, 6, 6}, {1, 2}}, Row{{1, 2, 4, 0}, {0, 1, 2}},
          Row{{7, 7, 7, 7}, {0, 1, 2}}, Row{{8, 0xF8, 0, 0}, {0}}, Row{{0xFA, 0, 0, 0}, {1}}}) {
        EXPECT_EQ(linesToCalibrate(row.masks), row.lines);
    }
}

TEST_F(CalibrationRunTest, MeasuresTheLinesInTheirOrder) {
    sendTwoCodes();
    measure({0, 2});
    EXPECT_EQ(driver->callsOf("tt_start_calibration_stream"),
              (std::vector<std::string>{"tt_start_calibration_stream(0)", "tt_start_calibration_stream(2)"}));
}

TEST_F(CalibrationRunTest, TellsThePercentOfAllStages) {
    sendTwoCodes();
    measure({0, 2}, 40, 4);
    EXPECT_EQ(reports, (Reports{{12, "Calibrating stage 1 of 2..."},
                                {25, "Calibrating stage 1 of 2..."},
                                {37, "Calibrating stage 1 of 2..."},
                                {50, "Calibrating stage 1 of 2..."},
                                {62, "Calibrating stage 2 of 2..."},
                                {75, "Calibrating stage 2 of 2..."},
                                {87, "Calibrating stage 2 of 2..."},
                                {100, "Calibrating stage 2 of 2..."}}));
}

TEST_F(CalibrationRunTest, AFirmwareSweepTellsItsBeginAndItsEnd) {
    fpga.set("1");
    sendTwoCodes();
    measure({0, 1, 2}, 40, 4);
    EXPECT_EQ(reports, (Reports{{0, "Calibrating stage 1 of 3..."},
                                {33, "Calibrating stage 1 of 3..."},
                                {33, "Calibrating stage 2 of 3..."},
                                {66, "Calibrating stage 2 of 3..."},
                                {66, "Calibrating stage 3 of 3..."},
                                {100, "Calibrating stage 3 of 3..."}}));
}

TEST_F(CalibrationRunTest, EveryLineAndInputHasARow) {
    send([](int stream) {
        Bytes bytes;
        for (int i = 0; i < 80; ++i) { // input 0 has one code, the others more with the number of the line
            const int input = i % 4;
            const int code = input == 0 ? 7 : i / 4 % (stream + 2);
            appendRaw64(bytes, raw64CoarseFine(input, 1, static_cast<std::uint64_t>(code)));
        }
        return bytes;
    });
    const CalibrationResult result = measure({1, 2}, 80);
    ASSERT_EQ(result.stats.size(), 8);
    for (int row = 0; row < 8; ++row) {
        const UiCalChannelStat& stat = result.stats[row];
        const int stage = row / 4;
        EXPECT_EQ(stat.delayLine, 1 + stage);
        EXPECT_EQ(stat.input, row % 4);
        EXPECT_EQ(stat.samples, 20U);
        EXPECT_EQ(stat.uniqueCodes, stat.input == 0 ? 1U : static_cast<unsigned>(stage + 2));
        EXPECT_EQ(stat.lutApplied, stat.input != 0);
        EXPECT_GT(stat.resolutionPs, stat.input == 0 ? 962.0 : 962.0 / (stage + 2));
        EXPECT_LT(stat.resolutionPs, stat.input == 0 ? 963.0 : 963.0 / (stage + 2) + 5.0);
    }
    EXPECT_EQ(result.summary,
              QStringLiteral("Calibration completed: 6 of 8 checks passed using 160 samples."));
}

TEST_F(CalibrationRunTest, NoPassedCheckIsStillACompletion) {
    send([](int) { return pulses(10, [](int) { return LineTags{}; }); });
    EXPECT_EQ(measure({0}, 40).summary,
              QStringLiteral("Calibration completed: 0 of 4 checks passed using 40 samples."));
}

TEST_F(CalibrationRunTest, TheTablesAreThoseOfEachLine) {
    send([](int stream) {
        Bytes bytes;
        for (int i = 0; i < 400; ++i) {
            appendRaw64(bytes, raw64CoarseFine(i % 4, 1, static_cast<std::uint64_t>(i / 4 % (stream + 2))));
        }
        return bytes;
    });
    const timing::FineCalibration calibration = measure({0, 2}).calibration;
    ASSERT_EQ(calibration.tdls.size(), 2U);
    EXPECT_EQ(calibration.tdls[0].tdl_index, 0);
    EXPECT_EQ(calibration.tdls[1].tdl_index, 2);
    for (std::size_t input = 0; input < 4; ++input) {
        EXPECT_EQ(calibration.tdls[0].luts[input].entries.at(0), 833);
        EXPECT_EQ(calibration.tdls[1].luts[input].entries.size(), 8192U);
        EXPECT_LT(calibration.tdls[1].luts[input].entries.at(0), 600);
    }
}

// --- how far apart the lines are ---------------------------------------------------------------------------

TEST_F(CalibrationRunTest, ALineLaterThanTheFirstHasItsOffset) {
    struct Row {
        const char* what;
        LineTags second; // the first line has code 100, 1850 ps
        std::uint32_t offset;
    };
    for (const Row& row :
         {Row{"the same", {0, 100}, 0}, Row{"one code", {0, 99}, 18}, Row{"740 ps", {0, 40}, 1110},
          Row{"0 ps", {0, 0}, 1850}, Row{"a tick, less 740 ps", {1, 140}, 2593},
          Row{"a tick, less 1 code", {1, 101}, 3314}, Row{"a tick", {1, 100}, 0},
          Row{"earlier by 740 ps", {0, 140}, 2593}, Row{"earlier by a code", {0, 101}, 3314},
          Row{"earlier by a tick", {-1, 100}, 0}, Row{"too far", {1, 99}, 0},
          Row{"too far the other way", {-1, 101}, 0}, Row{"two ticks", {2, 100}, 0}}) {
        SCOPED_TRACE(row.what);
        const auto offsets = offsetsOf(200, [&](int) { return row.second; });
        EXPECT_EQ(offsets, (std::array<std::uint32_t, 4>{row.offset, row.offset, row.offset, row.offset}));
    }
}

TEST_F(CalibrationRunTest, EveryInputHasItsOwnOffset) {
    const auto offsets = offsetsOf(200, [](int input) { return LineTags{0, 100 - 10 * input}; });
    EXPECT_EQ(offsets, (std::array<std::uint32_t, 4>{0, 185, 370, 555}));
}

TEST_F(CalibrationRunTest, AnOffsetTakes128PulsesOfEachLine) {
    const auto second = [](int) { return LineTags{0, 40}; };
    EXPECT_EQ(offsetsOf(127, second), (std::array<std::uint32_t, 4>{}));
    EXPECT_EQ(offsetsOf(128, second), (std::array<std::uint32_t, 4>{1110, 1110, 1110, 1110}));
}

TEST_F(CalibrationRunTest, WithoutTheFirstLineThereAreNoOffsets) {
    send([](int stream) { return pulses(200, [&](int) { return LineTags{0, stream == 0 ? 100 : 40}; }); });
    EXPECT_EQ(measure({1, 2}, 800).calibration.tdl_offset_ps, timing::FineCalibration().tdl_offset_ps);
}

TEST_F(CalibrationRunTest, EachLaterLineIsComparedWithTheFirst) {
    send([](int stream) { return pulses(200, [&](int) { return LineTags{0, 100 - 20 * stream}; }); });
    const auto offsets = measure({0, 1, 2}, 800).calibration.tdl_offset_ps;
    for (const auto& ofInput : offsets) {
        EXPECT_EQ(ofInput, (std::array<std::uint32_t, 5>{0, 370, 740, 0, 0}));
    }
}

TEST_F(CalibrationRunTest, AnInputWithoutTagsHasNoOffsetAndPassesNoCheck) {
    send([](int stream) {
        Bytes bytes;
        for (int pulse = 0; pulse < 200; ++pulse) {
            appendRaw64(bytes, raw64CoarseFine(2, static_cast<std::uint64_t>(500 + 1000 * pulse),
                                               static_cast<std::uint64_t>(stream == 0 ? 100 : 40)));
        }
        return bytes;
    });
    const CalibrationResult result = measure({0, 1}, 200);
    EXPECT_EQ(result.calibration.tdl_offset_ps[2][1], 1110U);
    for (const std::size_t input : {0U, 1U, 3U}) {
        EXPECT_EQ(result.calibration.tdl_offset_ps[input][1], 0U);
        EXPECT_EQ(result.stats[static_cast<int>(input)].samples, 0U);
        EXPECT_EQ(result.calibration.tdls[0].luts[input], timing::FineLut::identity());
    }
    EXPECT_EQ(result.summary,
              QStringLiteral("Calibration completed: 0 of 8 checks passed using 400 samples."));
}

// --- ends --------------------------------------------------------------------------------------------------

TEST_F(CalibrationRunTest, NoTagAtAllIsAFailure) {
    fpga.set("1"); // no samples are no tags there
    EXPECT_EQ(failureOf({0, 1}, 0, 4),
              "Calibration captured 0 tags \u2014 the calibration stream delivered no data. Check the device "
              "connection and try again.");
}

TEST_F(CalibrationRunTest, ACancellationEndsItAtTheNextReport) {
    sendTwoCodes();
    driver->onCall("tt_set_calibration_freq", [this](int number) { cancel = number == 3; });
    EXPECT_EQ(failureOf({0, 1}, 40, 4), "Calibration canceled.");
    EXPECT_EQ(driver->count("tt_start_calibration_stream"), 3);
    EXPECT_EQ(driver->count("tt_stop_calibration_stream"), 3);
    EXPECT_EQ(reports, (Reports{{12, "Calibrating stage 1 of 2..."}, {25, "Calibrating stage 1 of 2..."}}));
}

TEST_F(CalibrationRunTest, ACancellationBehindTheLastReportOfALineCounts) {
    sendTwoCodes();
    onReport = [this] { cancel = reports.size() == 4; };
    EXPECT_EQ(failureOf({0, 1}, 40, 4), "Calibration canceled.");
    EXPECT_EQ(driver->count("tt_start_calibration_stream"), 4);
}

TEST_F(CalibrationRunTest, ACancellationBehindTheVeryLastReportCountsToo) {
    sendTwoCodes();
    onReport = [this] { cancel = reports.size() == 8; };
    EXPECT_EQ(failureOf({0, 1}, 40, 4), "Calibration canceled.");
}

TEST_F(CalibrationRunTest, AFirmwareSweepIsCanceledBeforeItBeginsOrAtItsEnd) {
    fpga.set("1");
    sendTwoCodes();
    driver->onCall("tt_set_calibration_freq", [this](int) { cancel = true; });
    EXPECT_EQ(failureOf({0, 1}, 40, 4), "Calibration canceled.");
    EXPECT_EQ(driver->count("tt_stop_calibration_stream"), 1);
    EXPECT_EQ(reports.size(), 1U);
}

TEST_F(CalibrationRunTest, ADriversFailurePassesThrough) {
    sendTwoCodes();
    driver->fail("tt_start_calibration_stream", TT_REJECTED, "no such line", 2);
    EXPECT_EQ(failureOf({0, 1}), "start_calibration_stream: rejected (no such line)");
}

} // namespace
} // namespace qorn::timetagger::gui
