// The calibration of a delay line on a driver whose tags the test decides.
#include "FineCalibrationRun.h"

#include "Device.h"
#include "Environment.h"
#include "Error.h"
#include "ScriptedDriver.h"
#include "StreamBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>

namespace qorn::timing {
namespace {

using testing::Bytes;
using testing::Environment;
using testing::ScopedDriver;
using Texts = std::vector<std::string>;
using Steps = std::vector<std::pair<unsigned long, unsigned long>>;

constexpr double kBaseHz = 30978260.86956522;
constexpr int kOffsets[33] = {0,  1,   -1, 2,   -2, 3,   -3, 4,   -4, 5,   -5, 7,   -7, 9,   -9, 11, -11,
                              13, -13, 17, -17, 19, -19, 23, -23, 29, -29, 31, -31, 37, -37, 41, -41};

// Tags of all four inputs in turn; of each input the codes 100, 101, ... 119 by turns.
Bytes tagsInTurn(int count, int firstCoarse = 0) {
    Bytes bytes;
    for (int i = 0; i < count; ++i) {
        const auto coarse = static_cast<std::uint64_t>(firstCoarse + i);
        testing::appendRaw64(
            bytes, testing::raw64CoarseFine(i % 4, coarse, static_cast<std::uint64_t>(100 + i / 4 % 20)));
    }
    return bytes;
}

class FineCalibration : public ::testing::Test {
protected:
    FineCalibration() {
        device.emplace(Device::open_serial("ftdi://SN0001"));
        driver->clearLog();
        sendAtEachStart(2000);
    }

    // Each stream brings so many tags, whatever is taken of them.
    void sendAtEachStart(int count) {
        const auto send = [this, count](int) { driver->feed(tagsInTurn(count)); };
        driver->onCall("tt_start_calibration_stream", send);
        driver->onCall("tt_start_calibration_sweep_stream", send);
    }
    std::array<FineLut, kChannels> run(unsigned long samples, unsigned long steps, double hz = 100000.0) {
        return device->run_fine_calibration_all_channels(
            stats, capture, samples, steps, hz, 1,
            [this](unsigned long done, unsigned long total) { progress.emplace_back(done, total); });
    }
    std::uint64_t captured() const {
        std::uint64_t count = 0;
        for (const auto& codes : capture.fine) {
            count += codes.size();
        }
        return count;
    }
    std::vector<double> frequencies() {
        std::vector<double> all;
        for (const auto& call : driver->log()) {
            if (call.function == "tt_set_calibration_freq") {
                all.push_back(std::stod(call.arguments));
            }
        }
        return all;
    }

    Environment fpga{"QORN_CAL_FPGA_SWEEP"};
    Environment host{"QORN_CAL_HOST_SWEEP"};
    Environment dwell{"QORN_CAL_SWEEP_DWELL"};
    ScopedDriver driver;
    std::optional<Device> device;
    FineCalibrationStats stats;
    FineCalibrationCapture capture;
    Steps progress;
};

TEST_F(FineCalibration, StepsTheDividerAroundTheWantedFrequency) {
    run(72, 72);
    const std::vector<double> set = frequencies();
    ASSERT_EQ(set.size(), 72U);
    for (std::size_t step = 0; step < set.size(); ++step) {
        EXPECT_DOUBLE_EQ(set[step], kBaseHz / (310 + kOffsets[step % 33])) << "step " << step;
    }
}

TEST_F(FineCalibration, TheThirtyFourthStepBeginsTheOffsetsAnew) {
    run(35, 35);
    const std::vector<double> set = frequencies();
    ASSERT_EQ(set.size(), 35U);
    EXPECT_DOUBLE_EQ(set[32], kBaseHz / (310 - 41));
    EXPECT_DOUBLE_EQ(set[33], kBaseHz / 310);
    EXPECT_DOUBLE_EQ(set[34], kBaseHz / 311);
}

TEST_F(FineCalibration, TheCenterDividerIsTheNearestAndNoDividerIsBelowOne) {
    struct Row {
        double hz;
        std::vector<int> dividers; // of the first steps
    };
    for (const Row& row : {Row{100000.0, {310, 311, 309, 312}}, Row{1000.0, {30978, 30979, 30977}},
                           Row{kBaseHz / 2.4, {2, 3, 1, 4, 1, 5, 1}}, Row{kBaseHz / 2.6, {3, 4, 2, 5, 1}},
                           Row{kBaseHz, {1, 2, 1, 3, 1, 4}}, Row{1e9, {1, 2, 1, 3}}}) {
        driver->clearLog();
        run(1, row.dividers.size(), row.hz);
        const std::vector<double> set = frequencies();
        ASSERT_EQ(set.size(), row.dividers.size());
        for (std::size_t step = 0; step < set.size(); ++step) {
            EXPECT_DOUBLE_EQ(set[step], kBaseHz / row.dividers[step]) << row.hz << " Hz, step " << step;
        }
    }
}

TEST_F(FineCalibration, EachStepIsAStreamOfItsOwnOfTheLine) {
    run(8, 2);
    Texts calls = driver->calls();
    std::erase_if(calls, [](const std::string& call) { return call.starts_with("tt_set_calibration_freq"); });
    const Texts step{"tt_set_stream_channel_mask(15)", "tt_set_stream_interface(1,0)",
                     "tt_start_calibration_stream(1)", "tt_stop_calibration_stream(0)"};
    Texts expected = step;
    expected.insert(expected.end(), step.begin(), step.end());
    EXPECT_EQ(calls, expected);
}

TEST_F(FineCalibration, SamplesAreSharedOutOverTheStepsAndRoundedUp) {
    struct Row {
        unsigned long samples;
        unsigned long steps;
        std::uint64_t captured;
    };
    for (const Row& row :
         {Row{100, 72, 144}, Row{144, 72, 144}, Row{145, 72, 216}, Row{3, 72, 72}, Row{0, 72, 72},
          Row{0, 0, 1}, Row{0, 1, 1}, Row{10, 0, 10}, Row{10, 1, 10}, Row{1, 2, 2}, Row{1999, 2, 2000}}) {
        run(row.samples, row.steps);
        EXPECT_EQ(captured(), row.captured) << row.samples << " samples, " << row.steps << " steps";
        EXPECT_EQ(stats.samples[0] + stats.samples[1] + stats.samples[2] + stats.samples[3], row.captured);
    }
}

TEST_F(FineCalibration, NoStepIsOneStepWithTheCenterDivider) {
    run(10, 0);
    EXPECT_EQ(frequencies(), std::vector<double>{kBaseHz / 310});
    EXPECT_EQ(driver->callsOf("tt_start_calibration_stream"), Texts{"tt_start_calibration_stream(1)"});
    EXPECT_EQ(progress, (Steps{{1, 1}}));
}

TEST_F(FineCalibration, EveryStepIsReported) {
    run(100, 4);
    EXPECT_EQ(progress, (Steps{{1, 4}, {2, 4}, {3, 4}, {4, 4}}));
}

TEST_F(FineCalibration, AStepIsStoppedAndCapturedWhenItIsReported) {
    int step = 0;
    device->run_fine_calibration_all_channels(
        stats, capture, 100, 4, 100000.0, 1, [&](unsigned long, unsigned long) {
            ++step;
            EXPECT_EQ(driver->count("tt_stop_calibration_stream"), step);
            EXPECT_EQ(captured(), 25U * static_cast<unsigned>(step));
        });
    EXPECT_EQ(step, 4);
}

TEST_F(FineCalibration, NobodyNeedsToListen) {
    device->run_fine_calibration_all_channels(stats, capture, 100, 4, 100000.0, 1, {});
    EXPECT_EQ(captured(), 100U);
    fpga.set("1");
    device->run_fine_calibration_all_channels(stats, capture, 100, 4, 100000.0, 1, {});
    EXPECT_EQ(captured(), 100U);
}

TEST_F(FineCalibration, TheCaptureIsEmptiedAndReservedBeforehand) {
    for (std::size_t input = 0; input < 4; ++input) {
        capture.coarse[input] = {1, 2, 3};
        capture.fine[input] = {4, 5};
    }
    bool asked = false;
    driver->onCall("tt_set_calibration_freq", [&](int number) {
        if (number == 1) {
            asked = true;
            for (std::size_t input = 0; input < 4; ++input) {
                EXPECT_TRUE(capture.coarse[input].empty() && capture.fine[input].empty());
                EXPECT_GE(capture.coarse[input].capacity(), 1000U);
                EXPECT_GE(capture.fine[input].capacity(), 1000U);
            }
        }
    });
    run(4000, 4);
    EXPECT_TRUE(asked);
    EXPECT_EQ(captured(), 4000U);
}

TEST_F(FineCalibration, CoarseAndFineOfATagStandBesideEachOther) {
    driver->onCall("tt_start_calibration_stream",
                   [this](int number) { driver->feed(tagsInTurn(8, number * 1000)); });
    run(16, 2);
    for (std::uint32_t input = 0; input < 4; ++input) {
        EXPECT_EQ(capture.coarse[input],
                  (std::vector<std::uint32_t>{1000 + input, 1004 + input, 2000 + input, 2004 + input}));
        EXPECT_EQ(capture.fine[input], (std::vector<std::uint16_t>{100, 101, 100, 101}));
    }
}

TEST_F(FineCalibration, TheTablesComeFromTheCodesOfEachInput) {
    driver->onCall("tt_start_calibration_stream", [this](int) {
        Bytes bytes;
        for (int i = 0; i < 90; ++i) { // input 0: nothing, 1: one code, 2: two codes, 3: three codes
            const int input = 1 + i % 3;
            testing::appendRaw64(
                bytes, testing::raw64CoarseFine(input, 1, static_cast<std::uint64_t>(50 + i / 3 % input)));
        }
        driver->feed(bytes);
    });
    const auto tables = run(90, 1);
    EXPECT_EQ(tables[0], FineLut::identity());
    EXPECT_EQ(tables[1], FineLut::identity());
    EXPECT_EQ(tables[2], FineLut::from_code_density(capture.fine[2], 3333));
    EXPECT_EQ(tables[3], FineLut::from_code_density(capture.fine[3], 3333));
    EXPECT_EQ(tables[2].entries[50], 833);
    EXPECT_EQ(tables[3].entries[51], 1667);
    EXPECT_EQ(stats.samples, (std::array<std::uint64_t, 4>{0, 30, 30, 30}));
    EXPECT_EQ(stats.unique_codes, (std::array<std::uint64_t, 4>{0, 1, 2, 3}));
    EXPECT_EQ(stats.lut_applied, (std::array<bool, 4>{false, false, true, true}));
    EXPECT_EQ(stats.resolution_ps[0], 0.0);
    EXPECT_NEAR(stats.resolution_ps[1], 962.1542236045113, 1e-9);
    EXPECT_NEAR(stats.resolution_ps[2], 962.1542236045113 / 2, 1e-9);
    EXPECT_NEAR(stats.resolution_ps[3], 962.1542236045113 / 3, 1e-9);
}

TEST_F(FineCalibration, LeavesTheDevicesTablesAlone) {
    run(400, 2);
    for (const FineLut& table : device->luts) {
        EXPECT_EQ(table, FineLut::identity());
    }
}

TEST_F(FineCalibration, WhatTheListenerThrowsEndsTheRunWithTheStreamStopped) {
    for (const char* sweep : {"0", "1"}) {
        fpga.set(sweep);
        driver->clearLog();
        try {
            device->run_fine_calibration_all_channels(stats, capture, 100, 10, 100000.0, 0,
                                                      [](unsigned long done, unsigned long) {
                                                          if (done > 0) {
                                                              throw std::runtime_error("enough");
                                                          }
                                                      });
            ADD_FAILURE() << "nothing was thrown";
        } catch (const std::runtime_error& error) {
            EXPECT_EQ(std::string(error.what()), "enough");
        }
        EXPECT_EQ(driver->count("tt_set_calibration_freq"), 1);
        EXPECT_EQ(driver->count("tt_stop_calibration_stream"), 1);
    }
    fpga.set("0");
    EXPECT_NO_THROW(run(100, 2)); // and the device serves on
    EXPECT_EQ(captured(), 100U);
}

TEST_F(FineCalibration, AListenerMayEndAFirmwareSweepBeforeItBegins) {
    fpga.set("1");
    EXPECT_THROW(device->run_fine_calibration_all_channels(
                     stats, capture, 100, 10, 100000.0, 0,
                     [](unsigned long, unsigned long) { throw std::runtime_error("enough"); }),
                 std::runtime_error);
    EXPECT_TRUE(driver->calls().empty());
}

TEST_F(FineCalibration, AFailureInTheMiddleOfTheSweepPassesThrough) {
    driver->fail("tt_set_calibration_freq", TT_FAILED, "cable gone", 3);
    try {
        run(100, 10);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const Error& error) {
        EXPECT_EQ(error.status(), TT_FAILED);
        EXPECT_EQ(std::string(error.what()), "set_calibration_freq: general failure (cable gone)");
    }
    EXPECT_EQ(progress, (Steps{{1, 10}, {2, 10}}));
}

TEST_F(FineCalibration, AStepWithoutTagsTimesOutAfterTwoSeconds) {
    driver->onCall("tt_start_calibration_stream", [this](int number) {
        if (number == 1) {
            driver->feed(tagsInTurn(50));
        }
    });
    const auto begin = std::chrono::steady_clock::now();
    try {
        run(100, 2);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const Error& error) {
        EXPECT_EQ(error.status(), TT_TIMED_OUT);
        EXPECT_EQ(std::string(error.what()), "stream_calibration_tags: raw64 tag timeout");
    }
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    EXPECT_EQ(driver->count("tt_stop_calibration_stream"), 2);
    EXPECT_EQ(progress, (Steps{{1, 2}}));
}

// --- which of the two sweeps -------------------------------------------------------------------------------

TEST_F(FineCalibration, TheEnvironmentChoosesTheFirmwaresSweep) {
    struct Row {
        const char* fpga; // null: not set
        const char* host;
        bool firmware;
    };
    for (const Row& row :
         {Row{nullptr, nullptr, false}, Row{"", nullptr, false},      Row{"0", nullptr, false},
          Row{"no", nullptr, false},    Row{"No", nullptr, false},    Row{"n", nullptr, false},
          Row{"false", nullptr, false}, Row{"FALSE", nullptr, false}, Row{"01", nullptr, false},
          Row{"1", nullptr, true},      Row{"yes", nullptr, true},    Row{"true", nullptr, true},
          Row{"on", nullptr, true},     Row{"off", nullptr, true},    Row{" ", nullptr, true},
          Row{"2", nullptr, true},      Row{"1", "1", false},         Row{"1", "0", true},
          Row{"1", "", true},           Row{"1", "no", true},         Row{"1", "yes", false},
          Row{nullptr, "1", false},     Row{nullptr, "0", false}}) {
        fpga.set(row.fpga);
        host.set(row.host);
        driver->clearLog();
        run(20, 10);
        EXPECT_EQ(driver->count("tt_start_calibration_sweep_stream"), row.firmware ? 1 : 0)
            << (row.fpga ? row.fpga : "none") << ", " << (row.host ? row.host : "none");
        EXPECT_EQ(driver->count("tt_start_calibration_stream"), row.firmware ? 0 : 10);
    }
}

TEST_F(FineCalibration, TheFirmwaresSweepIsOneStreamAtTheWantedFrequency) {
    fpga.set("1");
    const auto tables = run(1000, 72, 123456.5);
    EXPECT_EQ(driver->calls(),
              (Texts{"tt_set_calibration_freq(123456.5)", "tt_set_stream_channel_mask(15)",
                     "tt_set_stream_interface(1,0)", "tt_start_calibration_sweep_stream(1,72,3)",
                     "tt_stop_calibration_stream(0)"}));
    EXPECT_EQ(progress, (Steps{{0, 1}, {1, 1}}));
    EXPECT_EQ(captured(), 1000U);
    EXPECT_EQ(stats.samples, (std::array<std::uint64_t, 4>{250, 250, 250, 250}));
    EXPECT_EQ(stats.unique_codes[0], 20U);
    EXPECT_EQ(tables[2], FineLut::from_code_density(capture.fine[2], 3333));
}

TEST_F(FineCalibration, DwellsASharesLengthOnEachStep) {
    struct Row {
        unsigned long samples;
        unsigned long steps;
        const char* start;
    };
    fpga.set("1");
    for (const Row& row : {Row{1000, 72, "tt_start_calibration_sweep_stream(1,72,3)"},
                           Row{100, 72, "tt_start_calibration_sweep_stream(1,72,1)"},
                           Row{1, 2, "tt_start_calibration_sweep_stream(1,2,1)"},
                           Row{2000, 2, "tt_start_calibration_sweep_stream(1,2,250)"},
                           Row{1000, 255, "tt_start_calibration_sweep_stream(1,255,1)"},
                           Row{1000, 256, "tt_start_calibration_sweep_stream(1,255,1)"},
                           Row{2000, 100000, "tt_start_calibration_sweep_stream(1,255,1)"}}) {
        driver->clearLog();
        run(row.samples, row.steps);
        EXPECT_EQ(driver->callsOf("tt_start_calibration_sweep_stream"), Texts{row.start});
    }
    sendAtEachStart(4000);
    driver->clearLog();
    run(4000, 2);
    EXPECT_EQ(driver->callsOf("tt_start_calibration_sweep_stream"),
              Texts{"tt_start_calibration_sweep_stream(1,2,256)"});
}

TEST_F(FineCalibration, AFirmwareSweepOfOneStepKeepsItsFrequency) {
    fpga.set("1");
    for (const unsigned long steps : {0UL, 1UL}) {
        driver->clearLog();
        progress.clear();
        run(1000, steps, 123456.5);
        EXPECT_EQ(driver->callsOf("tt_set_calibration_freq"), Texts{"tt_set_calibration_freq(123456.5)"});
        EXPECT_EQ(driver->callsOf("tt_start_calibration_stream"), Texts{"tt_start_calibration_stream(1)"});
        EXPECT_EQ(driver->count("tt_start_calibration_sweep_stream"), 0);
        EXPECT_EQ(progress, (Steps{{0, 1}, {1, 1}}));
    }
}

TEST_F(FineCalibration, TheEnvironmentsDwellStandsWhenItIsANumber) {
    struct Row {
        const char* text;
        const char* dwell;
    };
    fpga.set("1");
    for (const Row& row :
         {Row{"7", "7"},     Row{"0x10", "16"},     Row{"0XfF", "255"},    Row{"010", "8"},
          Row{"257", "257"}, Row{"65535", "65535"}, Row{"65536", "65535"}, Row{"4294967296", "65535"},
          Row{"0", "3"},     Row{"0x0", "3"},       Row{"", "3"},          Row{"x", "3"},
          Row{"7x", "3"},    Row{"7 ", "3"},        Row{"7.5", "3"},       Row{"08", "3"},
          Row{"0x", "3"},    Row{"0xg", "3"},       Row{"-1", "3"},        Row{"-7", "3"},
          Row{"+7", "3"}}) {
        dwell.set(row.text);
        driver->clearLog();
        run(1000, 72);
        EXPECT_EQ(driver->callsOf("tt_start_calibration_sweep_stream"),
                  Texts{std::string("tt_start_calibration_sweep_stream(1,72,") + row.dwell + ")"})
            << '"' << row.text << '"';
    }
}

TEST_F(FineCalibration, NoSamplesOfAFirmwareSweepGiveUncalibratedTables) {
    fpga.set("1");
    const auto tables = run(0, 72);
    EXPECT_EQ(captured(), 0U);
    for (std::size_t input = 0; input < 4; ++input) {
        EXPECT_EQ(tables[input], FineLut::identity());
        EXPECT_FALSE(stats.lut_applied[input]);
        EXPECT_EQ(stats.resolution_ps[input], 0.0);
    }
}

// --- tables of a capture -----------------------------------------------------------------------------------

TEST(FineLutsOfACapture, ACodeWithoutAnEntryIsASampleAndNothingElse) {
    FineCalibrationCapture capture;
    capture.fine[0] = {0, 1, 8192, 65535};
    capture.fine[1] = {8192, 8192};
    FineCalibrationStats stats;
    const auto tables = fine_luts_of(capture, stats);
    EXPECT_EQ(stats.samples, (std::array<std::uint64_t, 4>{4, 2, 0, 0}));
    EXPECT_EQ(stats.unique_codes, (std::array<std::uint64_t, 4>{2, 0, 0, 0}));
    EXPECT_EQ(stats.lut_applied, (std::array<bool, 4>{true, false, false, false}));
    EXPECT_NEAR(stats.resolution_ps[0], 962.1542236045113 / 2, 1e-9);
    EXPECT_EQ(stats.resolution_ps[1], 0.0);
    EXPECT_EQ(tables[0].entries[0], 833);
    EXPECT_EQ(tables[0].entries[1], 2500);
    EXPECT_EQ(tables[1], FineLut::identity());
}

TEST(FineLutsOfACapture, EarlierStatisticsAreReplaced) {
    FineCalibrationStats stats;
    stats.samples.fill(9);
    stats.unique_codes.fill(9);
    stats.resolution_ps.fill(9.0);
    stats.lut_applied.fill(true);
    fine_luts_of(FineCalibrationCapture{}, stats);
    EXPECT_EQ(stats.samples, (std::array<std::uint64_t, 4>{}));
    EXPECT_EQ(stats.unique_codes, (std::array<std::uint64_t, 4>{}));
    EXPECT_EQ(stats.resolution_ps, (std::array<double, 4>{}));
    EXPECT_EQ(stats.lut_applied, (std::array<bool, 4>{}));
}

} // namespace
} // namespace qorn::timing
