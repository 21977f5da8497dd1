// The hardware coincidence measurement as the one task of a controller.
#include "ControllerTest.h"

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using namespace std::chrono_literals;
using test::Texts;

UiCoincidenceConfig configOf(double gateSeconds, qint64 windowPs = 10000) {
    UiCoincidenceConfig config;
    config.gateSeconds = gateSeconds;
    config.pairWindowsPs.fill(windowPs);
    return config;
}

tt_coincidence_result resultOf(std::uint32_t total, std::uint32_t pair34) {
    tt_coincidence_result result{};
    result.total = total;
    result.pairs[5] = pair34;
    return result;
}

class Coincidences : public test::ControllerTest {
protected:
    void SetUp() override { openDevice(); }
    void start(const UiCoincidenceConfig& config = configOf(0.1)) {
        controller->startCoincidenceMeasurements(config, false, 0.0);
    }
    // Ends a measurement that stands in a gate.
    void stopInGate() {
        const int before = signalled->count("captureStopped");
        controller->stopCapture();
        driver->feedCoincidence({});
        ASSERT_TRUE(signalled->waitFor("captureStopped", before + 1));
    }
};

TEST_F(Coincidences, RunOnAPoolThreadAndDeliverTheirSamplesInOrder) {
    driver->feedCoincidence(resultOf(10, 1));
    driver->feedCoincidence(resultOf(20, 2));
    start();
    EXPECT_TRUE(controller->isCapturing());
    ASSERT_TRUE(signalled->waitFor("coincidenceSample", 2));
    stopInGate();
    EXPECT_FALSE(controller->isCapturing());
    ASSERT_GE(signalled->coincidences.size(), 2U);
    EXPECT_EQ(signalled->coincidences[0].totalCount, 10U);
    EXPECT_EQ(signalled->coincidences[0].pairs, (QList<quint64>{0, 0, 0, 0, 0, 1}));
    EXPECT_DOUBLE_EQ(signalled->coincidences[0].gateSeconds, 0.1);
    EXPECT_EQ(signalled->coincidences[1].totalCount, 20U);
    EXPECT_EQ(signalled->texts().back(), "captureStopped()");
    EXPECT_EQ(signalled->count("captureError"), 0);
    EXPECT_FALSE(signalled->clocks.empty()); // the state that the measurement began with
    for (const auto& call : driver->log()) {
        if (call.function != "tt_status_string") {
            EXPECT_NE(call.thread, std::this_thread::get_id()) << call.text();
        }
    }
}

TEST_F(Coincidences, TakeSettingsSourceAndRateFromTheStart) {
    UiCoincidenceConfig config = configOf(0.5, 6667);
    config.offsetsPs = {0, 3333, 0, -3333};
    config.channelMask = 7;
    controller->startCoincidenceMeasurements(config, true, 2500.0);
    ASSERT_TRUE(driver->waitForCall("tt_run_coincidence"));
    stopInGate();
    EXPECT_EQ(driver->callsOf("tt_set_test_signal"),
              (Texts{"tt_set_test_signal(1,2500)", "tt_set_test_signal(0,1)"}));
    EXPECT_EQ(driver->callsOf("tt_set_hw_coincidence_mask"), Texts{"tt_set_hw_coincidence_mask(7)"});
    EXPECT_EQ(driver->callsOf("tt_set_hw_coincidence_offset_ps"),
              (Texts{"tt_set_hw_coincidence_offset_ps(0,0)", "tt_set_hw_coincidence_offset_ps(1,3333)",
                     "tt_set_hw_coincidence_offset_ps(2,0)", "tt_set_hw_coincidence_offset_ps(3,-3333)"}));
    EXPECT_EQ(driver->callsOf("tt_set_window_cycles").front(), "tt_set_window_cycles(2)");
    EXPECT_EQ(driver->callsOf("tt_set_period_cycles").front(), "tt_set_period_cycles(150000000)");
}

TEST_F(Coincidences, WhatOnlyAStreamCanCountIsToldAndThenTheEnd) {
    start(configOf(0.1, 10001));
    ASSERT_TRUE(signalled->waitFor("captureStopped"));
    EXPECT_EQ(signalled->texts(),
              (Texts{"captureError(The requested coincidence window requires time-tag streaming.)",
                     "captureStopped()"}));
    EXPECT_FALSE(controller->isCapturing());
}

TEST_F(Coincidences, AGateThatDoesNotEndIsToldAndEndsTheMeasurement) {
    driver->feedCoincidence(resultOf(10, 1));
    driver->feedCoincidenceFailure(TT_TIMED_OUT, "late");
    start();
    ASSERT_TRUE(signalled->waitFor("captureStopped"));
    EXPECT_EQ(signalled->texts(),
              (Texts{"coincidenceSample(10)", "captureError(run_coincidence: timed out (late))",
                     "captureStopped()"}));
}

TEST_F(Coincidences, WithoutADeviceAreRefused) {
    controller->close();
    signalled->clear();
    start();
    EXPECT_EQ(signalled->texts(), Texts{"captureError(Device is not open)"});
    EXPECT_FALSE(controller->isCapturing());
    test::runFor(20ms);
    EXPECT_EQ(signalled->count("captureStopped"), 0); // a refusal has no end
}

TEST_F(Coincidences, DuringAnUploadAreRefused) {
    beginUpload();
    signalled->clear();
    start();
    EXPECT_EQ(signalled->texts(), Texts{"captureError(Wait for calibration or calibration upload to finish "
                                        "before starting coincidences)"});
    EXPECT_FALSE(controller->isCapturing());
    endUpload();
    EXPECT_EQ(signalled->count("captureStopped"), 0);
    EXPECT_EQ(driver->count("tt_run_coincidence"), 0);
}

TEST_F(Coincidences, DuringAnotherMeasurementAreIgnoredInSilence) {
    beginCounting();
    signalled->clear();
    start();
    EXPECT_TRUE(signalled->texts().empty());
    endCounting();
    EXPECT_EQ(signalled->count("captureStopped"), 1);
    EXPECT_EQ(driver->count("tt_set_hw_coincidence_mask"), 0);
}

TEST_F(Coincidences, ClosingWaitsForTheGateThatRuns) {
    driver->hold("tt_run_coincidence");
    start();
    ASSERT_TRUE(driver->waitUntilHeld("tt_run_coincidence"));
    driver->feedCoincidence(resultOf(1, 0));
    driver->onCall("tt_close", [this](int) { EXPECT_EQ(driver->count("tt_run_coincidence"), 1); });
    std::thread later([this] {
        std::this_thread::sleep_for(20ms);
        driver->release("tt_run_coincidence");
    });
    controller->close();
    later.join();
    EXPECT_EQ(driver->calls().back(), "tt_close()");
    EXPECT_EQ(driver->openHandles(), 0);
    ASSERT_TRUE(signalled->waitFor("captureStopped"));
    EXPECT_EQ(signalled->texts().back(), "captureStopped()");
}

} // namespace
} // namespace qorn::timetagger::gui
