// Thresholds, dead times and delay-line masks through a controller.
#include "ControllerTest.h"

#include <gtest/gtest.h>

#include <limits>

namespace qorn::timetagger::gui {
namespace {

using test::Texts;
using Four = std::array<double, 4>;
using Masks = std::array<unsigned char, 4>;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

class Inputs : public test::ControllerTest {};

TEST_F(Inputs, ThresholdsAreSentAsCodesAndKept) {
    openDevice();
    QString error;
    EXPECT_TRUE(controller->setThresholds({0.0, 1.0, -1.0, 4.0}, &error));
    EXPECT_EQ(driver->calls(), Texts{"tt_set_dac_codes(32768,49152,32768,32767)"});
    EXPECT_EQ(controller->inputSettings().thresholdsV, (Four{0.0, 1.0, -1.0, 4.0}));
    controller->close();
    driver->clearLog();
    controller->openPort(QStringLiteral("A")); // by the same mapping
    EXPECT_EQ(driver->callsOf("tt_set_dac_codes"), Texts{"tt_set_dac_codes(32768,49152,32768,32767)"});
}

TEST_F(Inputs, ThresholdsNeedADevice) {
    QString error;
    EXPECT_FALSE(controller->setThresholds({1, 1, 1, 1}, &error));
    EXPECT_EQ(error, QStringLiteral("Device is not open"));
    EXPECT_FALSE(controller->setThresholds({1, 1, 1, 1}, nullptr));
    EXPECT_EQ(controller->inputSettings().thresholdsV, InputSettings().thresholdsV);
}

TEST_F(Inputs, ThresholdsWaitForTheEndOfACapture) {
    openDevice();
    beginCounting();
    QString error;
    EXPECT_FALSE(controller->setThresholds({1, 1, 1, 1}, &error));
    EXPECT_EQ(error, QStringLiteral("Stop the current capture before changing thresholds"));
    EXPECT_EQ(driver->count("tt_set_dac_codes"), 0);
    EXPECT_EQ(controller->inputSettings().thresholdsV, InputSettings().thresholdsV);
    endCounting();
}

TEST_F(Inputs, FailedThresholdsKeepWhatWas) {
    openDevice();
    driver->fail("tt_set_dac_codes", -1, "bus");
    QString error;
    EXPECT_FALSE(controller->setThresholds({1, 1, 1, 1}, &error));
    EXPECT_EQ(error, QStringLiteral("set_dac_codes: general failure (bus)"));
    EXPECT_FALSE(controller->setThresholds({1, 1, 1, 1}, nullptr));
    EXPECT_EQ(controller->inputSettings().thresholdsV, InputSettings().thresholdsV);
}

TEST_F(Inputs, DeadTimesAreKeptAndGivenBackAsApplied) {
    openDevice();
    driver->change([](auto& script) { script.appliedDeadTimesPs = {3334, 0, 6667, 10000}; });
    Four applied{};
    QString error;
    EXPECT_TRUE(controller->setInputDeadTimesNs({1.0, 0.0, 5.0006, 9.9999}, &applied, &error));
    EXPECT_EQ(driver->calls(), Texts{"tt_set_input_dead_times(1000,0,5001,10000)"});
    EXPECT_EQ(applied, (Four{3.334, 0.0, 6.667, 10.0}));
    EXPECT_EQ(controller->inputSettings().deadTimesNs, applied);
    EXPECT_TRUE(controller->inputSettings().deadTimesConfigured);
}

TEST_F(Inputs, OneDeadTimeGoesToAllFour) {
    openDevice();
    driver->change([](auto& script) { script.appliedDeadTimesPs = {20001, 20002, 20003, 20004}; });
    double applied = 0.0;
    EXPECT_TRUE(controller->setInputDeadTimeNs(20.0, &applied, nullptr));
    EXPECT_EQ(driver->calls(), Texts{"tt_set_input_dead_times(20000,20000,20000,20000)"});
    EXPECT_EQ(applied, 20.001);
    EXPECT_TRUE(controller->setInputDeadTimeNs(20.0, nullptr, nullptr));
    driver->fail("tt_set_input_dead_times", -1, "bus");
    QString error;
    applied = 7.0;
    EXPECT_FALSE(controller->setInputDeadTimeNs(30.0, &applied, &error));
    EXPECT_EQ(error, QStringLiteral("general failure: bus"));
}

TEST_F(Inputs, DeadTimesNeedADeviceWithoutACapture) {
    QString error;
    EXPECT_FALSE(controller->setInputDeadTimesNs({1, 1, 1, 1}, nullptr, &error));
    EXPECT_EQ(error, QStringLiteral("Device is not open"));
    openDevice();
    beginCounting();
    EXPECT_FALSE(controller->setInputDeadTimesNs({1, 1, 1, 1}, nullptr, &error));
    EXPECT_EQ(error, QStringLiteral("Stop the current capture before changing input dead time"));
    EXPECT_EQ(driver->count("tt_set_input_dead_times"), 0);
    EXPECT_FALSE(controller->inputSettings().deadTimesConfigured);
    endCounting();
}

TEST_F(Inputs, DeadTimesMustBeFiniteAndNotNegative) {
    openDevice();
    for (const double bad : {kNan, kInfinity, -kInfinity, -0.001}) {
        for (std::size_t input = 0; input < 4; ++input) {
            Four ns{1, 1, 1, 1};
            ns[input] = bad;
            QString error;
            EXPECT_FALSE(controller->setInputDeadTimesNs(ns, nullptr, &error));
            EXPECT_EQ(error, QStringLiteral("Input dead time must be zero or positive"));
        }
        EXPECT_FALSE(controller->setInputDeadTimeNs(bad, nullptr, nullptr));
    }
    EXPECT_TRUE(driver->calls().empty());
    EXPECT_FALSE(controller->inputSettings().deadTimesConfigured);
}

TEST_F(Inputs, FailedDeadTimesKeepWhatWas) {
    openDevice();
    driver->change([](auto& script) { script.appliedDeadTimesPs = {1000, 2000, 3000, 4000}; });
    ASSERT_TRUE(controller->setInputDeadTimesNs({1, 2, 3, 4}, nullptr, nullptr));
    driver->fail("tt_set_input_dead_times", -1, "bus", 1);
    driver->fail("tt_set_input_dead_times", -7, "", 2);
    Four applied{9, 9, 9, 9};
    QString error;
    EXPECT_FALSE(controller->setInputDeadTimesNs({5, 5, 5, 5}, &applied, &error));
    EXPECT_EQ(error, QStringLiteral("general failure: bus"));
    EXPECT_FALSE(controller->setInputDeadTimesNs({5, 5, 5, 5}, &applied, &error));
    EXPECT_EQ(error, QStringLiteral("rejected"));
    EXPECT_EQ(controller->inputSettings().deadTimesNs, (Four{1, 2, 3, 4}));
    EXPECT_EQ(applied, (Four{9, 9, 9, 9}));
}

TEST_F(Inputs, MasksAreStoredByTheirLowThreeBitsInAnyCase) {
    QString error;
    EXPECT_TRUE(controller->setTdlMasks({0xFF, 8, 5, 0}, &error)); // no device
    EXPECT_EQ(controller->inputSettings().tdlMasks, (Masks{7, 0, 5, 0}));
    openDevice();
    EXPECT_TRUE(controller->setTdlMasks({1, 2, 4, 15}, &error));
    EXPECT_EQ(driver->calls(), Texts{"tt_set_tdl_active_masks(1,2,4,7)"});
    driver->fail("tt_set_tdl_active_masks", -1, "bus", 1);
    EXPECT_FALSE(controller->setTdlMasks({3, 3, 3, 3}, &error));
    EXPECT_EQ(error, QStringLiteral("set_tdl_active_masks: general failure (bus)"));
    EXPECT_EQ(controller->inputSettings().tdlMasks, (Masks{3, 3, 3, 3}));
    beginCounting();
    driver->clearLog();
    EXPECT_FALSE(controller->setTdlMasks({6, 6, 6, 6}, &error));
    EXPECT_EQ(error, QStringLiteral("Stop the current capture before changing developer settings"));
    EXPECT_FALSE(controller->setTdlMasks({6, 6, 6, 6}, nullptr));
    EXPECT_EQ(driver->count("tt_set_tdl_active_masks"), 0);
    endCounting();
    EXPECT_EQ(controller->inputSettings().tdlMasks, (Masks{6, 6, 6, 6}));
}

TEST_F(Inputs, MasksOfBeforeAreSentByTheOpening) {
    ASSERT_TRUE(controller->setTdlMasks({1, 3, 7, 4}, nullptr));
    controller->openPort(QStringLiteral("A"));
    EXPECT_EQ(driver->callsOf("tt_set_tdl_active_masks"), Texts{"tt_set_tdl_active_masks(1,3,7,4)"});
}

// The handle belongs to the upload's task: what is asked meanwhile must not reach the device at the same
// time.
TEST_F(Inputs, DuringAnUploadNoSettingReachesTheDevice) {
    openDevice();
    beginUpload();
    driver->clearLog();
    EXPECT_FALSE(controller->setThresholds({1, 1, 1, 1}, nullptr));
    EXPECT_FALSE(controller->setInputDeadTimeNs(1.0, nullptr, nullptr));
    EXPECT_FALSE(controller->setTdlMasks({1, 1, 1, 1}, nullptr));
    EXPECT_TRUE(driver->calls().empty());
    EXPECT_EQ(driver->breaches(), Texts{});
    endUpload();
}

TEST_F(Inputs, MasksStoredWhileAnUploadEndsAreNoRace) {
    openDevice();
    for (unsigned char round = 0; round < 8; ++round) {
        beginUpload();
        driver->release("tt_upload_calibration_file");
        controller->setTdlMasks({round, round, round, round}, nullptr); // the task sends masks at this time
        ASSERT_TRUE(signalled->waitFor("calibrationUploadFinished"));
        signalled->clear();
        EXPECT_EQ(controller->inputSettings().tdlMasks, (Masks{round, round, round, round}));
    }
    EXPECT_EQ(driver->breaches(), Texts{});
}

} // namespace
} // namespace qorn::timetagger::gui
