#include "CounterLoop.h"

#include "Device.h"
#include "Error.h"
#include "LoopTestSupport.h"
#include "ScriptedDriver.h"

#include <gtest/gtest.h>

#include <limits>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::ScopedDriver;
using Texts = std::vector<std::string>;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
const char* const kNoFrames = "autonomous counter stream timed out; firmware did not emit count frames";

class CounterLoop : public ::testing::Test {
protected:
    ScopedDriver driver;
    timing::Device device = timing::Device::open_serial("A");
    std::atomic<bool> stop{false};
    test::RecordingEvents events;
    test::ManualClock clock;

    void SetUp() override { driver->clearLog(); }

    void run(double gateSeconds, bool internalSource = false, double internalRateHz = 0.0,
             const ClockRequest& clockRequest = {}) {
        counterLoop(device, {gateSeconds, internalSource, internalRateHz, clockRequest}, stop, events, clock);
    }
    void stopAtSample(std::size_t number) {
        events.onSample = [this, number](std::size_t count) { stop = count >= number; };
    }
};

TEST(GateCycles, SaturateAndAreNeverZero) {
    struct Row {
        double gate;
        quint32 cycles;
    };
    for (const Row& row : {
             Row{1.0, 300000000},
             Row{0.1, static_cast<quint32>(0.1 * 3e8)},
             Row{0.001, 300000},
             Row{0.0015, 450000},
             Row{14.0, 4200000000U},
             Row{14.316557, static_cast<quint32>(14.316557 * 3e8)},
             Row{14.4, 4294967295U},
             Row{15.0, 4294967295U},
             Row{100.0, 4294967295U},
             Row{1e300, 4294967295U},
             Row{kInfinity, 4294967295U},
         }) {
        EXPECT_EQ(gateCycles(row.gate), row.cycles) << row.gate;
    }
    for (const double tiny : {0.0, -1.0, -kInfinity, 1e-12, kNan}) {
        EXPECT_GE(gateCycles(tiny), 1U) << tiny;
    }
}

TEST(LeastGate, IsAMillisecond) {
    struct Row {
        double wished;
        double gate;
    };
    for (const Row& row : {Row{0.0, 0.001}, Row{-3.0, 0.001}, Row{0.0005, 0.001}, Row{0.001, 0.001},
                           Row{0.002, 0.002}, Row{20.0, 20.0}, Row{kNan, 0.001}, Row{-kInfinity, 0.001}}) {
        EXPECT_EQ(leastGate(row.wished), row.gate) << row.wished;
    }
}

TEST_F(CounterLoop, RunsInThisOrder) {
    driver->feedSample({{1, 2, 3, 4}, 10, 30000000});
    stopAtSample(1);
    run(0.1, false, 99);
    EXPECT_EQ(driver->calls(), (Texts{"tt_set_reference_clock(1,0)", "tt_set_test_signal(0,99)",
                                      "tt_set_period_cycles(" + std::to_string(gateCycles(0.1)) + ")",
                                      "tt_start_count_stream()", "tt_read_count_stream_sample(700)",
                                      "tt_stop_measurement_stream(1)"}));
    EXPECT_EQ(events.clockStatuses().size(), 1U);
}

TEST_F(CounterLoop, TheInternalSourceIsArmedBeforeAndDisarmedAfter) {
    driver->feedSample({{1, 2, 3, 4}, 10, 0});
    stopAtSample(1);
    run(1.0, true, 12345.5);
    EXPECT_EQ(driver->calls(), (Texts{"tt_set_reference_clock(1,0)", "tt_set_test_signal(1,12345.5)",
                                      "tt_set_period_cycles(300000000)", "tt_start_count_stream()",
                                      "tt_read_count_stream_sample(2500)", "tt_stop_measurement_stream(1)",
                                      "tt_set_test_signal(0,1)"}));
}

TEST_F(CounterLoop, EachFrameIsASample) {
    driver->feedSample({{1, 2, 3, 4294967295U}, 4294967294U, 150000000});
    driver->feedSample({{0, 0, 0, 0}, 0, 0});
    stopAtSample(2);
    run(0.25);
    const auto samples = events.samples();
    ASSERT_EQ(samples.size(), 2U);
    EXPECT_EQ(samples[0].counts, (QList<quint64>{1, 2, 3, 4294967295U}));
    EXPECT_EQ(samples[0].totalCount, 4294967294U); // as the frame says, not summed
    EXPECT_EQ(samples[0].periodCycles, 150000000U);
    EXPECT_DOUBLE_EQ(samples[0].gateSeconds, 0.5);
    EXPECT_EQ(samples[1].periodCycles, 0U);
    EXPECT_DOUBLE_EQ(samples[1].gateSeconds, 0.25); // the gate asked for
}

TEST_F(CounterLoop, PoorGatesBehaveLikeAMillisecond) {
    for (const double gate : {0.0, -2.0, kNan, 0.0009}) {
        driver->clearLog();
        stop = false;
        driver->feedSample({{1, 1, 1, 1}, 4, 0});
        events.onSample = [this](std::size_t) { stop = true; };
        run(gate);
        EXPECT_EQ(driver->callsOf("tt_set_period_cycles"), Texts{"tt_set_period_cycles(300000)"}) << gate;
        EXPECT_EQ(driver->callsOf("tt_read_count_stream_sample").front(), "tt_read_count_stream_sample(502)");
        EXPECT_DOUBLE_EQ(events.samples().back().gateSeconds, 0.001) << gate;
    }
}

TEST_F(CounterLoop, HugeGatesSaturateAndTheSampleCarriesTheTrueGate) {
    struct Row {
        double gate;
        const char* read;
    };
    for (const Row& row : {Row{20.0, "tt_read_count_stream_sample(40500)"},
                           Row{1e12, "tt_read_count_stream_sample(4294967295)"},
                           Row{kInfinity, "tt_read_count_stream_sample(4294967295)"}}) {
        driver->clearLog();
        stop = false;
        driver->feedSample({{1, 1, 1, 1}, 4, 4294967295U});
        events.onSample = [this](std::size_t) { stop = true; };
        run(row.gate);
        EXPECT_EQ(driver->callsOf("tt_set_period_cycles"), Texts{"tt_set_period_cycles(4294967295)"})
            << row.gate;
        EXPECT_EQ(driver->callsOf("tt_read_count_stream_sample").front(), row.read);
        EXPECT_DOUBLE_EQ(events.samples().back().gateSeconds, 4294967295.0 / 3e8) << row.gate;
    }
}

TEST_F(CounterLoop, TwoTimeOutsInARowAreForgivenAndAFrameResetsTheCount) {
    for (int round = 0; round < 3; ++round) {
        driver->feedSampleFailure(-3, "late");
        driver->feedSampleFailure(-3, "late");
        driver->feedSample({{1, 1, 1, 1}, 4, 0});
    }
    stopAtSample(3);
    EXPECT_NO_THROW(run(0.1));
    EXPECT_EQ(events.samples().size(), 3U);
    EXPECT_EQ(driver->count("tt_read_count_stream_sample"), 9);
}

TEST_F(CounterLoop, TheThirdTimeOutInARowIsAFailure) {
    driver->feedSample({{1, 1, 1, 1}, 4, 0});
    for (int number = 0; number < 3; ++number) {
        driver->feedSampleFailure(-3, "late");
    }
    EXPECT_EQ(test::failureOf([&] { run(0.1, true); }), kNoFrames);
    const Texts calls = driver->calls();
    ASSERT_GE(calls.size(), 2U);
    EXPECT_EQ(calls[calls.size() - 2], "tt_stop_measurement_stream(0)");
    EXPECT_EQ(calls.back(), "tt_set_test_signal(0,1)");
    EXPECT_EQ(driver->count("tt_stop_measurement_stream"), 1);
    EXPECT_EQ(driver->count("tt_read_count_stream_sample"), 4);
}

TEST_F(CounterLoop, AnotherReadFailureIsOneAtOnce) {
    driver->feedSampleFailure(-1, "unplugged");
    EXPECT_EQ(test::failureOf([&] { run(0.1); }), "read_count_stream_sample: general failure (unplugged)");
    EXPECT_EQ(driver->calls().back(), "tt_stop_measurement_stream(0)");
}

TEST_F(CounterLoop, EachFailedStepIsNamedAndCleanedUp) {
    struct Row {
        const char* function;
        const char* message;
        bool armed; // when it failed
    };
    for (const Row& row : {
             Row{"tt_set_reference_clock", "set_reference_clock: general failure (bus)", false},
             Row{"tt_set_period_cycles", "set_period_cycles: general failure (bus)", true},
             Row{"tt_start_count_stream", "start_count_stream: general failure (bus)", true},
             Row{"tt_read_count_stream_sample", "read_count_stream_sample: general failure (bus)", true},
         }) {
        driver->clearLog();
        driver->clearFailures();
        driver->fail(row.function, -1, "bus");
        EXPECT_EQ(test::failureOf([&] { run(0.1, true, 5); }), row.message);
        EXPECT_EQ(driver->count("tt_set_test_signal"), row.armed ? 2 : 0) << row.function;
        if (row.armed) {
            EXPECT_EQ(driver->callsOf("tt_set_test_signal").back(), "tt_set_test_signal(0,1)");
        }
    }
}

TEST_F(CounterLoop, AFailedArmingGivesTheDriversText) {
    driver->fail("tt_set_test_signal", -4, "no test signal here");
    EXPECT_EQ(test::failureOf([&] { run(0.1, true); }), "no test signal here");
    EXPECT_EQ(driver->count("tt_start_count_stream"), 0);
}

TEST_F(CounterLoop, FailuresOfTheCleanUpDoNotHideTheFirst) {
    driver->feedSampleFailure(-1, "unplugged");
    driver->fail("tt_stop_measurement_stream", -1, "also gone");
    driver->fail("tt_set_test_signal", -1, "also gone", 2);
    EXPECT_EQ(test::failureOf([&] { run(0.1, true); }),
              "read_count_stream_sample: general failure (unplugged)");
    EXPECT_EQ(driver->count("tt_set_test_signal"), 2);
}

TEST_F(CounterLoop, AStopBeforeTheFirstReadStopsInOrder) {
    driver->onCall("tt_start_count_stream", [this](int) { stop = true; });
    run(0.1);
    EXPECT_EQ(driver->count("tt_read_count_stream_sample"), 0);
    EXPECT_EQ(driver->calls().back(), "tt_stop_measurement_stream(1)");
}

TEST_F(CounterLoop, AFailedOrderlyStopIsToldAndTheSourceIsDisarmed) {
    driver->feedSample({{1, 1, 1, 1}, 4, 0});
    stopAtSample(1);
    driver->fail("tt_stop_measurement_stream", -1, "bus");
    EXPECT_EQ(test::failureOf([&] { run(0.1, true); }), "stop_measurement_stream: general failure (bus)");
    EXPECT_EQ(driver->callsOf("tt_set_test_signal").back(), "tt_set_test_signal(0,1)");
}

TEST_F(CounterLoop, AStopDuringTheWaitForTheReferenceStartsNothing) {
    driver->change([](auto& script) { script.clock = {2, 1, 0, 0, 0, 0, 1, 0, 0}; });
    clock.onSleep = [this](std::size_t number) { stop = number == 3; };
    EXPECT_NO_THROW(run(0.1, true, 5.0, {timing::ReferenceClockSource::External, {}, true}));
    EXPECT_EQ(driver->count("tt_set_test_signal"), 0);
    EXPECT_EQ(driver->count("tt_start_count_stream"), 0);
}

TEST_F(CounterLoop, NothingIsMeasuredOnAnotherTimebase) {
    driver->change([](auto& script) { script.clock = {2, 1, 0, 0, 0, 0, 1, 0, 0}; });
    const ClockRequest external{timing::ReferenceClockSource::External, {}, true};
    EXPECT_EQ(test::failureOf([&] { run(0.1, false, 0.0, external); }),
              "External 10 MHz reference is selected, but the device is not locked to CLKIN.");
    EXPECT_EQ(driver->count("tt_start_count_stream"), 0);
}

} // namespace
} // namespace qorn::timetagger::gui
