#include "InputSettings.h"

#include "Device.h"
#include "Error.h"
#include "ScriptedDriver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::ScopedDriver;
using Texts = std::vector<std::string>;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(ThresholdDacCode, IsOffsetBinaryOverFourVolts) {
    struct Row {
        double volts;
        int code;
    };
    for (const Row& row : {
             Row{0.0, 32768},
             Row{-1.0, 32768},
             Row{-1e-9, 32768},
             Row{-0.0, 32768},
             Row{4.0, 32767},
             Row{5.0, 32767},
             Row{1e9, 32767},
             Row{2.0, 0}, // 32768 steps up: the codes wrap
             Row{1.0, 49152},
             Row{0.35, 38502},
             Row{3.0, 16383},
             Row{4.0 / 65535, 32769},
             Row{1.9 / 65535, 32768}, // 0.475 + 0.5 stays below one
             Row{2.1 / 65535, 32769},
             Row{kInfinity, 32767},
             Row{-kInfinity, 32768},
             Row{kNan, 32768},
         }) {
        EXPECT_EQ(thresholdDacCode(row.volts), row.code) << row.volts;
    }
}

TEST(ThresholdDacCode, RisesModulo65536OverTheRange) {
    unsigned before = 0;
    for (int step = 0; step <= 4000; ++step) {
        const unsigned above = (thresholdDacCode(step / 1000.0) + 32768U) % 65536U;
        ASSERT_GE(above, before) << step;
        before = above;
    }
    EXPECT_EQ(before, 65535U);
}

TEST(DeadTimes, AreRoundedToWholePicoseconds) {
    std::array<std::int64_t, 4> ps{};
    QString error = QStringLiteral("untouched");
    ASSERT_TRUE(toDeadTimesPs({0.0, 10.0, 0.0004, 3.3335}, ps, &error));
    EXPECT_EQ(ps, (std::array<std::int64_t, 4>{0, 10000, 0, std::llround(3.3335 * 1000)}));
    ASSERT_TRUE(toDeadTimesPs({0.0005, 1.9996, -0.0, 1e6}, ps, nullptr));
    EXPECT_EQ(ps, (std::array<std::int64_t, 4>{1, 2000, 0, 1000000000}));
}

TEST(DeadTimes, MustBeFiniteAndNotNegative) {
    for (const double bad : {kNan, kInfinity, -kInfinity, -0.001, -5.0}) {
        for (std::size_t input = 0; input < 4; ++input) {
            std::array<double, 4> ns{1.0, 2.0, 3.0, 4.0};
            ns[input] = bad;
            std::array<std::int64_t, 4> ps{};
            QString error;
            EXPECT_FALSE(toDeadTimesPs(ns, ps, &error)) << bad;
            EXPECT_EQ(error, QStringLiteral("Input dead time must be zero or positive"));
            EXPECT_FALSE(toDeadTimesPs(ns, ps, nullptr)) << bad;
        }
    }
}

class SendingInputSettings : public ::testing::Test {
protected:
    ScopedDriver driver;
    timing::Device device = timing::Device::open_serial("A");
    InputSettings settings;
};

TEST_F(SendingInputSettings, DefaultsAreAThirdOfAVoltNoDeadTimeAllLines) {
    EXPECT_EQ(settings.thresholdsV, (std::array<double, 4>{0.35, 0.35, 0.35, 0.35}));
    EXPECT_EQ(settings.deadTimesNs, (std::array<double, 4>{}));
    EXPECT_FALSE(settings.deadTimesConfigured);
    EXPECT_EQ(settings.tdlMasks, (std::array<unsigned char, 4>{7, 7, 7, 7}));
}

TEST_F(SendingInputSettings, ThresholdsGoAsCodesAndAreKept) {
    sendThresholds(device, {0.0, 1.0, 2.0, 4.0}, settings);
    EXPECT_EQ(driver->callsOf("tt_set_dac_codes"), Texts{"tt_set_dac_codes(32768,49152,0,32767)"});
    EXPECT_EQ(settings.thresholdsV, (std::array<double, 4>{0.0, 1.0, 2.0, 4.0}));
}

TEST_F(SendingInputSettings, FailedThresholdsKeepWhatWas) {
    driver->fail("tt_set_dac_codes", -1, "bus");
    try {
        sendThresholds(device, {0.0, 1.0, 2.0, 4.0}, settings);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const timing::Error& error) {
        EXPECT_STREQ(error.what(), "set_dac_codes: general failure (bus)");
    }
    EXPECT_EQ(settings.thresholdsV, InputSettings().thresholdsV);
}

TEST_F(SendingInputSettings, DeadTimesAreKeptAsApplied) {
    driver->change([](auto& script) { script.appliedDeadTimesPs = {0, 3334, 6667, 10000}; });
    sendDeadTimes(device, {0, 1, 5000, 10000}, settings);
    EXPECT_EQ(driver->callsOf("tt_set_input_dead_times"), Texts{"tt_set_input_dead_times(0,1,5000,10000)"});
    EXPECT_EQ(settings.deadTimesNs, (std::array<double, 4>{0.0, 3.334, 6.667, 10.0}));
    EXPECT_TRUE(settings.deadTimesConfigured);
}

TEST_F(SendingInputSettings, FailedDeadTimesKeepWhatWas) {
    settings.deadTimesNs = {1.0, 2.0, 3.0, 4.0};
    driver->fail("tt_set_input_dead_times", -1, "bus");
    EXPECT_THROW(sendDeadTimes(device, {9000, 9000, 9000, 9000}, settings), timing::Error);
    EXPECT_EQ(settings.deadTimesNs, (std::array<double, 4>{1.0, 2.0, 3.0, 4.0}));
    EXPECT_FALSE(settings.deadTimesConfigured);
}

TEST_F(SendingInputSettings, MasksGoAsTheyAre) {
    sendTdlMasks(device, {0, 1, 2, 7});
    EXPECT_EQ(driver->callsOf("tt_set_tdl_active_masks"), Texts{"tt_set_tdl_active_masks(0,1,2,7)"});
    driver->fail("tt_set_tdl_active_masks", -7, "no such line");
    try {
        sendTdlMasks(device, {7, 7, 7, 7});
        ADD_FAILURE() << "nothing was thrown";
    } catch (const timing::Error& error) {
        EXPECT_STREQ(error.what(), "set_tdl_active_masks: rejected (no such line)");
    }
}

} // namespace
} // namespace qorn::timetagger::gui
