// The fine calibration on the simulated instrument, held against the widths that its taps really have.
#include "FineCalibrationRun.h"

#include "Device.h"
#include "Environment.h"
#include "Error.h"
#include "SimulatedUnit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <optional>

namespace qorn::timing {
namespace {

using testing::Environment;
using testing::SimulatedUnit;

class SimulatedCalibration : public ::testing::Test {
protected:
    SimulatedCalibration() { device.emplace(Device::open_serial(SimulatedUnit::kPort)); }

    void run(unsigned long samples, unsigned long steps, int line) {
        tables = device->run_fine_calibration_all_channels(stats, capture, samples, steps, 100000.0,
                                                           static_cast<unsigned char>(line), {});
    }
    // Every statistic and table entry against the truth; `tolerancePs` is for the tables.
    void expectTruth(int line, unsigned long samples, double tolerancePs) const {
        for (int input = 0; input < kChannels; ++input) {
            SCOPED_TRACE("input " + std::to_string(input) + ", line " + std::to_string(line));
            const auto index = static_cast<std::size_t>(input);
            EXPECT_NEAR(static_cast<double>(stats.samples[index]), static_cast<double>(samples) / 4, 80);
            EXPECT_TRUE(stats.lut_applied[index]);
            const double resolution = unit.resolutionPs(input, line);
            EXPECT_NEAR(stats.resolution_ps[index], resolution, 0.05 * resolution);
            expectCodes(stats.unique_codes[index], unit.tapWidthsPs(input, line));
            expectTable(tables[index]);
            EXPECT_LT(unit.worstErrorPs(tables[index], input, line), tolerancePs);
        }
    }
    // Taps of less than 2 ps may be missed.
    static void expectCodes(std::uint64_t measured, const std::vector<std::int64_t>& widths) {
        EXPECT_EQ(std::accumulate(widths.begin(), widths.end(), std::int64_t{0}), 3333);
        const auto atLeast = [&](std::int64_t width) {
            return static_cast<std::uint64_t>(
                std::ranges::count_if(widths, [width](std::int64_t other) { return other >= width; }));
        };
        EXPECT_GE(measured, atLeast(2));
        EXPECT_LE(measured, atLeast(1));
    }
    static void expectTable(const FineLut& table) {
        ASSERT_EQ(table.entries.size(), 8192U);
        EXPECT_TRUE(std::ranges::is_sorted(table.entries));
        EXPECT_GE(table.entries.front(), 0);
        EXPECT_LE(table.entries.back(), 3332);
    }
    double worstErrorOfFirstLinePs() const {
        double worst = 0;
        for (int input = 0; input < kChannels; ++input) {
            worst = std::max(worst, unit.worstErrorPs(tables[static_cast<std::size_t>(input)], input, 0));
        }
        return worst;
    }

    Environment fpga{"QORN_CAL_FPGA_SWEEP"};
    Environment host{"QORN_CAL_HOST_SWEEP"};
    Environment dwell{"QORN_CAL_SWEEP_DWELL"};
    SimulatedUnit unit;
    std::optional<Device> device; // closed before the unit goes
    FineCalibrationStats stats;
    FineCalibrationCapture capture;
    std::array<FineLut, kChannels> tables;
};

TEST_F(SimulatedCalibration, TheHostsSweepFindsTheWidthsOfEveryLine) {
    for (int line = 0; line < 3; ++line) {
        run(400000, 72, line);
        expectTruth(line, 400000, 20);
    }
}

TEST_F(SimulatedCalibration, TheFirmwaresSweepFindsTheWidthsOfEveryLine) {
    fpga.set("1");
    for (int line = 0; line < 3; ++line) {
        run(400000, 72, line);
        expectTruth(line, 400000, 20);
    }
}

TEST_F(SimulatedCalibration, OneFrequencyIsEnoughWhenItIsNotLockedToTheClock) {
    run(400000, 1, 0);
    expectTruth(0, 400000, 20);
}

TEST_F(SimulatedCalibration, MoreSamplesFollowTheTruthMoreClosely) {
    run(2000, 1, 0);
    const double few = worstErrorOfFirstLinePs();
    run(400000, 72, 0);
    EXPECT_LT(worstErrorOfFirstLinePs() * 2, few);
}

TEST_F(SimulatedCalibration, LinesAndInputsDiffer) {
    run(100000, 12, 0);
    const auto first = tables;
    EXPECT_NE(first[0], first[1]);
    run(100000, 12, 1);
    for (std::size_t input = 0; input < 4; ++input) {
        EXPECT_NE(tables[input], first[input]) << input;
    }
}

TEST_F(SimulatedCalibration, ALineThatIsNotThereIsADriversFailure) {
    EXPECT_THROW(run(1000, 2, 3), Error);
    run(400000, 12, 2);
    expectTruth(2, 400000, 20);
}

TEST_F(SimulatedCalibration, EndedInTheMiddleOfTheSweepTheDeviceCalibratesAgain) {
    for (const char* sweep : {"0", "1"}) {
        fpga.set(sweep);
        unsigned long reported = 0;
        EXPECT_THROW(device->run_fine_calibration_all_channels(stats, capture, 40000, 10, 100000.0, 1,
                                                               [&](unsigned long done, unsigned long total) {
                                                                   reported = done;
                                                                   if (done * 2 >= total) {
                                                                       throw std::runtime_error("enough");
                                                                   }
                                                               }),
                     std::runtime_error);
        EXPECT_EQ(reported, *sweep == '0' ? 5U : 1U);
        run(400000, 12, 1);
        expectTruth(1, 400000, 20);
    }
}

} // namespace
} // namespace qorn::timing
