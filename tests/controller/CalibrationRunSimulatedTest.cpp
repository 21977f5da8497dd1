// A calibration of the simulated instrument from the run to the next connection, held against its taps.
#include "CalibrationRun.h"
#include "ControllerTest.h"
#include "DelayLines.h"
#include "Environment.h"
#include "FineCalibration.h"
#include "LagEstimators.h"
#include "SimulatedUnit.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::Environment;
using qorn::testing::SimulatedUnit;

class SimulatedInstrument : public ::testing::Test {
protected:
    SimulatedInstrument() {
        controller = std::make_unique<DeviceController>();
        signalled = std::make_unique<test::SignalRecorder>(controller.get());
        using C = DeviceController;
        QObject::connect(controller.get(), &C::calibrationFinished, signalled.get(),
                         [this](bool ok, const QString& text) {
                             succeeded = ok;
                             outcome = text.toStdString();
                             ++finished;
                         });
        QObject::connect(controller.get(), &C::calibrationProgress, signalled.get(),
                         [this](int percent, const QString&) {
                             percents.push_back(percent);
                             if (onProgress) {
                                 onProgress();
                             }
                         });
    }
    ~SimulatedInstrument() override {
        controller.reset();
        QFile::remove(savedPath());
    }

    static QString savedPath() {
        return QDir::homePath() + QStringLiteral("/.qorn.timing/calibrations/qorn_cal_SIM00001.cal");
    }
    void open() {
        controller->openPort(QString::fromLatin1(SimulatedUnit::kPort));
        ASSERT_TRUE(controller->hasDevice());
        ASSERT_TRUE(signalled->waitFor("clockStatusChanged"));
        ASSERT_TRUE(test::runUntil([&] { return !controller->isCalibrating(); }));
    }
    void calibrate(unsigned long samples, unsigned long steps) {
        const int earlier = finished;
        percents.clear();
        controller->runCalibration(samples, steps, 100000.0);
        ASSERT_TRUE(test::runUntil([&] { return finished > earlier; }));
    }
    void useLines(unsigned char mask) {
        ASSERT_TRUE(controller->setTdlMasks({mask, mask, mask, mask}, nullptr));
    }
    timing::FineCalibration savedCalibration() {
        timing::FineCalibration saved;
        EXPECT_TRUE(controller->applyCalibration(false, true));
        EXPECT_TRUE(timing::load_calibration_file(savedPath().toStdString(), saved));
        return saved;
    }
    void expectTrueOffsets(double tolerancePs) {
        const timing::FineCalibration saved = savedCalibration();
        for (int input = 0; input < 4; ++input) {
            for (int line = 1; line < 3; ++line) {
                const std::int64_t truth = (unit.offsetPs(input, line) - unit.offsetPs(input, 0)) % 3333;
                const std::int64_t found =
                    saved.tdl_offset_ps[static_cast<std::size_t>(input)][static_cast<std::size_t>(line)];
                const std::int64_t apart = std::abs(found - truth);
                EXPECT_LE(static_cast<double>(std::min(apart, 3333 - apart)), tolerancePs)
                    << "input " << input << ", line " << line << ": " << found << " for " << truth;
            }
        }
    }

    Environment fpga{"QORN_CAL_FPGA_SWEEP"};
    Environment host{"QORN_CAL_HOST_SWEEP"};
    Environment dwell{"QORN_CAL_SWEEP_DWELL"};
    SimulatedUnit unit;
    std::unique_ptr<DeviceController> controller;
    std::unique_ptr<test::SignalRecorder> signalled;
    std::function<void()> onProgress;
    std::vector<int> percents;
    std::string outcome;
    bool succeeded = false;
    int finished = 0;
};

TEST_F(SimulatedInstrument, IsMeasuredAsItsTapsAre) {
    open();
    useLines(7);
    calibrate(200000, 24);
    ASSERT_TRUE(succeeded) << outcome;
    EXPECT_TRUE(outcome.starts_with("Calibration completed: 12 of 12 checks passed using ")) << outcome;
    const QList<UiCalChannelStat> stats = controller->calibrationStats();
    ASSERT_EQ(stats.size(), 12);
    for (const UiCalChannelStat& stat : stats) {
        const double truth = unit.resolutionPs(stat.input, stat.delayLine);
        EXPECT_NEAR(stat.resolutionPs, truth, 0.05 * truth) << stat.input << ", " << stat.delayLine;
        EXPECT_TRUE(stat.lutApplied);
    }
    const timing::FineCalibration saved = savedCalibration();
    ASSERT_EQ(saved.tdls.size(), 3U);
    for (int line = 0; line < 3; ++line) {
        for (int input = 0; input < 4; ++input) {
            const timing::FineLut& table =
                saved.tdls[static_cast<std::size_t>(line)].luts[static_cast<std::size_t>(input)];
            EXPECT_TRUE(std::ranges::is_sorted(table.entries));
            EXPECT_LT(unit.worstErrorPs(table, input, line), 25) << "input " << input << ", line " << line;
        }
    }
}

// How far times are off with lines of a mask active, as a deviation over the coarse period, in ps.
double timingDeviationPs(const simulator::DelayLines& lines, int input, std::uint8_t mask) {
    const simulator::PhaseTable errors = lines.timingError(input, mask);
    double sum = 0.0;
    double squares = 0.0;
    for (const double error : errors) {
        sum += error;
        squares += error * error;
    }
    const double mean = sum / static_cast<double>(errors.size());
    return std::sqrt(squares / static_cast<double>(errors.size()) - mean * mean);
}

TEST_F(SimulatedInstrument, HasTruerTimesAfterACalibrationWithTheUsualSettings) {
    open();
    useLines(7);
    calibrate(10000, 72);
    ASSERT_TRUE(succeeded) << outcome;
    const simulator::DelayLines before("SIM00001");
    simulator::DelayLines after("SIM00001");
    for (const auto& tdl : savedCalibration().tdls) {
        for (int input = 0; input < 4; ++input) {
            after.upload(input, tdl.tdl_index, tdl.luts[static_cast<std::size_t>(input)].entries);
        }
    }
    for (int input = 0; input < 4; ++input) {
        const double uncorrected = timingDeviationPs(before, input, 7);
        EXPECT_GT(uncorrected, 12.0) << input;
        EXPECT_LT(timingDeviationPs(after, input, 7), std::min(0.8 * uncorrected, 12.0)) << input;
    }
}

TEST_F(SimulatedInstrument, ShowsProgressThatNeverFallsAndEndsAtAHundred) {
    open();
    useLines(7);
    calibrate(20000, 24);
    ASSERT_EQ(percents.size(), 72U);
    EXPECT_TRUE(std::ranges::is_sorted(percents));
    EXPECT_EQ(percents.front(), 1);
    EXPECT_EQ(percents.back(), 100);
}

// Few pulses at one frequency, for their phases wander: the period is known from its jittered samples alone.
TEST_F(SimulatedInstrument, TellsTheOffsetsOfItsLinesByFewPulsesAtOneFrequency) {
    open();
    useLines(7);
    calibrate(800, 1);
    ASSERT_TRUE(succeeded) << outcome;
    expectTrueOffsets(400);
}

// The times of each input of a line, by the tables that the same run has found.
using LineTimes = std::array<std::vector<std::int64_t>, 4>;
LineTimes timesOf(timing::Device& device, unsigned char line, unsigned long steps) {
    timing::FineCalibrationStats stats;
    timing::FineCalibrationCapture capture;
    const auto tables =
        device.run_fine_calibration_all_channels(stats, capture, 20000, steps, 100000.0, line, {});
    LineTimes times;
    for (std::size_t input = 0; input < 4; ++input) {
        for (std::size_t i = 0; i < capture.fine[input].size(); ++i) {
            times[input].push_back(std::int64_t{capture.coarse[input][i]} * 3333 -
                                   tables[input].entries.at(capture.fine[input][i]));
        }
    }
    return times;
}

// The unit brings the same pulses after each opening.
TEST_F(SimulatedInstrument, TellsTheOffsetsThatTheTimesOfASweepShow) {
    for (const unsigned long steps : {1UL, 24UL}) {
        std::array<LineTimes, 3> times;
        {
            timing::Device device = timing::Device::open_serial(SimulatedUnit::kPort);
            for (unsigned char line = 0; line < 3; ++line) {
                times[line] = timesOf(device, line, steps);
            }
        }
        timing::Device device = timing::Device::open_serial(SimulatedUnit::kPort);
        const std::atomic<bool> never{false};
        const CalibrationRequest request{20000, steps, 100000.0, {0, 1, 2}};
        const CalibrationRun::Progress nobody = [](int, const QString&) {};
        const auto offsets =
            CalibrationRun(device, request, never, nobody).measure().calibration.tdl_offset_ps;
        for (std::size_t input = 0; input < 4; ++input) {
            for (std::size_t line = 1; line < 3; ++line) {
                const auto lag =
                    timing::estimate_periodic_phase_offset_ps(times[0][input], times[line][input], 3333, 128);
                ASSERT_TRUE(lag.has_value());
                EXPECT_EQ(offsets[input][line], (*lag % 3333 + 3333) % 3333)
                    << steps << " steps, input " << input << ", line " << line;
            }
        }
    }
}

TEST_F(SimulatedInstrument, IsUsableAfterACancellationInTheMiddle) {
    open();
    useLines(7);
    onProgress = [this] {
        if (percents.size() == 1) { // long before the end
            controller->cancelCalibration();
        }
    };
    calibrate(10'000'000, 96);
    EXPECT_FALSE(succeeded);
    EXPECT_EQ(outcome, "Calibration canceled.");
    EXPECT_LT(percents.back(), 100);
    QString error;
    EXPECT_FALSE(controller->applyCalibration(true, true, &error));
    EXPECT_TRUE(controller->setThresholds({0.35, 0.35, 0.35, 0.35}, &error)) << error.toStdString();
    onProgress = nullptr;
    calibrate(20000, 12);
    EXPECT_TRUE(succeeded) << outcome;
    EXPECT_TRUE(controller->applyCalibration(true, false, &error)) << error.toStdString();
}

TEST_F(SimulatedInstrument, FindsItsCalibrationAgainAtTheNextConnection) {
    open();
    EXPECT_EQ(signalled->textsOf("calibrationMissing").size(), 1U);
    useLines(7);
    calibrate(20000, 12);
    QString report;
    ASSERT_TRUE(controller->applyCalibration(true, true, &report)) << report.toStdString();
    EXPECT_EQ(report, QStringLiteral("Calibration applied to all inputs."));
    EXPECT_EQ(controller->calibrationFilePath(), savedPath());
    controller->close();
    signalled->clear();
    open();
    EXPECT_EQ(signalled->textsOf("calibrationLoaded"), test::Texts{"calibrationLoaded(SIM00001)"});
    EXPECT_EQ(signalled->count("calibrationMissing"), 0);
    EXPECT_TRUE(controller->hasHostCalibration());
}

TEST_F(SimulatedInstrument, ACalibrationOfAnotherUnitIsRefused) {
    open();
    useLines(1);
    calibrate(4000, 1);
    timing::FineCalibration foreign = savedCalibration();
    foreign.serial = "SIM00002";
    const QString path = QString::fromStdString(unit.file("foreign.cal"));
    timing::save_calibration_file(path.toStdString(), foreign);
    QString error;
    EXPECT_FALSE(controller->loadCalibrationFileFromPath(path, &error));
    EXPECT_EQ(error, QStringLiteral(
                         "Calibration file serial SIM00002 does not match the open device serial SIM00001."));
    signalled->clear();
    controller->uploadCalibrationFile(path);
    ASSERT_TRUE(signalled->waitFor("calibrationUploadFinished"));
    EXPECT_TRUE(
        signalled->textsOf("calibrationUploadFinished")[0].starts_with("calibrationUploadFinished(0, "));
    EXPECT_FALSE(controller->isCalibrating());
}

TEST_F(SimulatedInstrument, UnpluggedInTheMiddleEndsTheCalibrationWithItsText) {
    unit.play(R"({"faults": {"calls":
        [{"call": "tt_start_calibration_stream", "at": 5, "count": 0, "status": -5}]}})");
    open();
    calibrate(4000, 12);
    EXPECT_FALSE(succeeded);
    EXPECT_TRUE(outcome.starts_with("start_calibration_stream: ")) << outcome;
    EXPECT_FALSE(controller->isCalibrating());
    EXPECT_EQ(percents.size(), 4U);
}

} // namespace
} // namespace qorn::timetagger::gui
