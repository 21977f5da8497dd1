#include "CoincidenceLoop.h"

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
constexpr qint64 kOneCycle = 3333;
const char* const kNoSharedWindow = "Hardware coincidence measurements require one shared window.";
const char* const kWindowNeedsStream = "The requested coincidence window requires time-tag streaming.";
const char* const kOffsetNeedsStream = "The requested coincidence offset requires time-tag streaming.";
const char* const kOffsetRange = "Hardware coincidence offset is outside the supported range.";

UiCoincidenceConfig configOf(double gateSeconds, qint64 windowPs = kOneCycle,
                             const std::array<qint64, 4>& offsetsPs = {}) {
    UiCoincidenceConfig config;
    config.gateSeconds = gateSeconds;
    config.pairWindowsPs.fill(windowPs);
    config.offsetsPs = offsetsPs;
    return config;
}

tt_coincidence_result someResult(std::uint32_t periodCycles = 0) {
    tt_coincidence_result result{};
    result.singles[0] = 1;
    result.total = 1;
    result.period_cycles = periodCycles;
    return result;
}

class CoincidenceLoop : public ::testing::Test {
protected:
    ScopedDriver driver;
    timing::Device device = timing::Device::open_serial("A");
    std::atomic<bool> stop{false};
    test::RecordingEvents events;
    test::ManualClock clock;

    void SetUp() override { driver->clearLog(); }

    void run(const UiCoincidenceConfig& config, bool internalSource = false, double internalRateHz = 0.0,
             const ClockRequest& clockRequest = {}) {
        coincidenceLoop(device, {config, internalSource, internalRateHz, clockRequest}, stop, events, clock);
    }
    void stopAtSample(std::size_t number) {
        events.onSample = [this, number](std::size_t count) { stop = count >= number; };
    }
    // Runs one gate of the config and forgets what came before it.
    void runOneGate(const UiCoincidenceConfig& config) {
        driver->clearLog();
        stop = false;
        events.onSample = [this](std::size_t) { stop = true; };
        driver->feedCoincidence(someResult());
        run(config);
    }
    // What the loop says of a config that it refuses.
    std::string refusalOf(const UiCoincidenceConfig& config) {
        driver->clearLog();
        stop = false;
        const std::string text = test::failureOf([&] { run(config, true, 5.0); });
        EXPECT_EQ(driver->count("tt_run_coincidence"), 0) << text;
        EXPECT_EQ(driver->calls().back(), "tt_set_test_signal(0,1)") << "armed before the checks";
        return text;
    }
};

TEST_F(CoincidenceLoop, SetsUpInThisOrderAndRepeatsPeriodAndWindowForEveryGate) {
    driver->feedCoincidence(someResult());
    driver->feedCoincidence(someResult());
    stopAtSample(2);
    UiCoincidenceConfig config = configOf(1.0, 10000, {0, 3333, -10000, 0});
    config.channelMask = 11;
    run(config, false, 99);
    EXPECT_EQ(
        driver->calls(),
        (Texts{"tt_set_reference_clock(1,0)", "tt_set_test_signal(0,99)", "tt_set_hw_coincidence_mask(11)",
               "tt_set_hw_coincidence_offset_ps(0,0)", "tt_set_hw_coincidence_offset_ps(1,3333)",
               "tt_set_hw_coincidence_offset_ps(2,-10000)", "tt_set_hw_coincidence_offset_ps(3,0)",
               "tt_set_period_cycles(300000000)", "tt_set_window_cycles(3)", "tt_run_coincidence(1500)",
               "tt_set_period_cycles(300000000)", "tt_set_window_cycles(3)", "tt_run_coincidence(1500)"}));
    EXPECT_EQ(events.clockStatuses().size(), 1U);
}

TEST_F(CoincidenceLoop, TheInternalSourceIsArmedBeforeAndDisarmedAfter) {
    driver->feedCoincidence(someResult());
    stopAtSample(1);
    run(configOf(1.0), true, 12345.5);
    const Texts calls = driver->calls();
    ASSERT_GE(calls.size(), 3U);
    EXPECT_EQ(calls[0], "tt_set_reference_clock(1,0)");
    EXPECT_EQ(calls[1], "tt_set_test_signal(1,12345.5)");
    EXPECT_EQ(calls[2], "tt_set_hw_coincidence_mask(15)");
    EXPECT_EQ(calls.back(), "tt_set_test_signal(0,1)");
    EXPECT_EQ(driver->count("tt_set_test_signal"), 2);
}

TEST_F(CoincidenceLoop, EachGateIsASampleWithEveryWordInItsPlace) {
    tt_coincidence_result result{};
    constexpr std::uint32_t kTop = 4294967295U;
    const tt_coincidence_result numbered{
        {11, 12, 13, kTop}, 50, {61, 62, 63, 64, 65, kTop}, {71, 72, 73, kTop}, 80, 150000000, 3};
    driver->feedCoincidence(numbered);
    driver->feedCoincidence(result);
    stopAtSample(2);
    run(configOf(0.25));
    const auto samples = events.coincidences();
    ASSERT_EQ(samples.size(), 2U);
    EXPECT_EQ(samples[0].singles, (QList<quint64>{11, 12, 13, kTop}));
    EXPECT_EQ(samples[0].totalCount, 50U); // as the hardware says, not summed
    EXPECT_EQ(samples[0].pairs, (QList<quint64>{61, 62, 63, 64, 65, kTop}));
    EXPECT_EQ(samples[0].triples, (QList<quint64>{71, 72, 73, kTop}));
    EXPECT_EQ(samples[0].quadruple, 80U);
    EXPECT_EQ(samples[0].periodCycles, 150000000U);
    EXPECT_EQ(samples[0].windowCycles, 3U);
    EXPECT_DOUBLE_EQ(samples[0].gateSeconds, 0.5);
    EXPECT_EQ(samples[1].singles, (QList<quint64>{0, 0, 0, 0}));
    EXPECT_EQ(samples[1].pairs, (QList<quint64>{0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(samples[1].triples, (QList<quint64>{0, 0, 0, 0}));
    EXPECT_EQ(samples[1].periodCycles, 0U);
    EXPECT_DOUBLE_EQ(samples[1].gateSeconds, 0.25); // the gate asked for
    EXPECT_TRUE(events.samples().empty());
}

TEST_F(CoincidenceLoop, AWindowMustBeOnTheGridOfTheClock) {
    struct Row {
        qint64 windowPs;
        const char* cycles; // empty: refused
    };
    for (const Row& row : {
             Row{10000, "3"},
             Row{10001, ""},
             Row{9999, ""},
             Row{3333, "1"},
             Row{3334, ""}, // 0.67 ps off
             Row{3332, ""},
             Row{6667, "2"},
             Row{6666, ""},
             Row{1, ""},
             Row{0, ""}, // counts as 1 ps
             Row{-10000, ""},
             Row{3333333333, "1000000"},
             Row{14316557650000, "4294967295"},
             Row{14316557653333, ""}, // on the grid, but too many cycles
             Row{std::numeric_limits<qint64>::max(), ""},
             Row{std::numeric_limits<qint64>::min(), ""},
         }) {
        if (*row.cycles == '\0') {
            EXPECT_EQ(refusalOf(configOf(1.0, row.windowPs)), kWindowNeedsStream) << row.windowPs;
            EXPECT_EQ(driver->count("tt_set_window_cycles"), 0);
        } else {
            runOneGate(configOf(1.0, row.windowPs));
            EXPECT_EQ(driver->callsOf("tt_set_window_cycles"),
                      Texts{"tt_set_window_cycles(" + std::string(row.cycles) + ")"})
                << row.windowPs;
        }
    }
}

TEST_F(CoincidenceLoop, TheSixWindowsMustBeEqual) {
    for (std::size_t pair = 0; pair < 6; ++pair) {
        UiCoincidenceConfig config = configOf(1.0, 10000);
        config.pairWindowsPs[pair] = 6667;
        EXPECT_EQ(refusalOf(config), kNoSharedWindow) << pair;
        EXPECT_EQ(driver->count("tt_set_hw_coincidence_mask"), 0) << "nothing is set before that";
    }
}

TEST_F(CoincidenceLoop, AnOffsetMustFitAndBeOnTheGridOfTheClock) {
    struct Row {
        qint64 offsetPs;
        const char* refusal; // null: accepted
    };
    for (const Row& row : {
             Row{0, nullptr},
             Row{3333, nullptr}, // 3333.33
             Row{-3333, nullptr},
             Row{10000, nullptr},
             Row{6667, nullptr},
             Row{-6667, nullptr},
             Row{2147483333, nullptr}, // 644245 cycles
             Row{-2147483333, nullptr},
             Row{3000, kOffsetNeedsStream},
             Row{-3000, kOffsetNeedsStream},
             Row{3334, kOffsetNeedsStream},
             Row{1, kOffsetNeedsStream},
             Row{2147483647, kOffsetNeedsStream},
             Row{-2147483648, kOffsetNeedsStream},
             Row{2147483648, kOffsetRange},
             Row{-2147483649, kOffsetRange},
             Row{10000000000, kOffsetRange}, // on the grid
             Row{std::numeric_limits<qint64>::max(), kOffsetRange},
             Row{std::numeric_limits<qint64>::min(), kOffsetRange},
         }) {
        for (int input = 0; input < 4; ++input) {
            UiCoincidenceConfig config = configOf(1.0);
            config.offsetsPs[static_cast<std::size_t>(input)] = row.offsetPs;
            if (row.refusal != nullptr) {
                EXPECT_EQ(refusalOf(config), row.refusal) << row.offsetPs;
                EXPECT_EQ(driver->count("tt_set_hw_coincidence_offset_ps"), input) << "one after the other";
            } else {
                runOneGate(config);
                EXPECT_EQ(driver->callsOf("tt_set_hw_coincidence_offset_ps")[static_cast<std::size_t>(input)],
                          "tt_set_hw_coincidence_offset_ps(" + std::to_string(input) + "," +
                              std::to_string(row.offsetPs) + ")");
            }
        }
    }
}

TEST_F(CoincidenceLoop, GateAndTimeOutFollowFromTheSeconds) {
    struct Row {
        double gate;
        std::uint32_t cycles;
        std::uint32_t timeOutMs;
    };
    for (const Row& row : {
             Row{0.5, 150000000, 1500},
             Row{1.0, 300000000, 1500},
             Row{1.25, 375000000, 1750},
             Row{10.0, 3000000000U, 10500},
             Row{0.01, 3000000, 1500},
             Row{0.0015, 450000, 1500},
             Row{0.0, 300000, 1500}, // at least a millisecond
             Row{-1.0, 300000, 1500},
             Row{kNan, 300000, 1500},
             Row{20.0, 4294967295U, 20500}, // beyond 32 bits the period saturates
             Row{60.0, 4294967295U, 60500},
             Row{4294966.0, 4294967295U, 4294966500U},
             Row{4294967.0, 4294967295U, 4294967295U},
             Row{1e12, 4294967295U, 4294967295U},
             Row{kInfinity, 4294967295U, 4294967295U},
         }) {
        runOneGate(configOf(row.gate));
        EXPECT_EQ(driver->callsOf("tt_set_period_cycles"),
                  Texts{"tt_set_period_cycles(" + std::to_string(row.cycles) + ")"})
            << row.gate;
        EXPECT_EQ(driver->callsOf("tt_run_coincidence"),
                  Texts{"tt_run_coincidence(" + std::to_string(row.timeOutMs) + ")"})
            << row.gate;
    }
}

TEST_F(CoincidenceLoop, ATruncatedPeriodIsThatOfTheCounter) {
    for (const double gate : {0.1, 0.3, 0.7, 1.1, 14.316557}) {
        runOneGate(configOf(gate));
        EXPECT_EQ(driver->callsOf("tt_set_period_cycles"),
                  Texts{"tt_set_period_cycles(" + std::to_string(gateCycles(gate)) + ")"});
    }
}

TEST_F(CoincidenceLoop, APoorGateIsAMillisecondInTheSampleToo) {
    runOneGate(configOf(0.0));
    EXPECT_DOUBLE_EQ(events.coincidences().back().gateSeconds, 0.001);
}

TEST_F(CoincidenceLoop, ATimeOutEndsTheMeasurementAtOnce) {
    driver->feedCoincidence(someResult());
    driver->feedCoincidenceFailure(TT_TIMED_OUT, "late");
    driver->feedCoincidence(someResult());
    int status = 0;
    try {
        run(configOf(1.0), true, 5.0);
        ADD_FAILURE() << "no failure";
    } catch (const timing::Error& error) {
        status = error.status();
        EXPECT_STREQ(error.what(), "run_coincidence: timed out (late)");
    }
    EXPECT_EQ(status, TT_TIMED_OUT);
    EXPECT_EQ(events.coincidences().size(), 1U);
    EXPECT_EQ(driver->count("tt_run_coincidence"), 2);
    EXPECT_EQ(driver->calls().back(), "tt_set_test_signal(0,1)");
}

TEST_F(CoincidenceLoop, EachFailedStepIsNamedAndCleanedUp) {
    struct Row {
        const char* function;
        const char* message;
        bool armed; // when it failed
    };
    for (const Row& row : {
             Row{"tt_set_reference_clock", "set_reference_clock: general failure (bus)", false},
             Row{"tt_set_hw_coincidence_mask", "set_hw_coincidence_mask: general failure (bus)", true},
             Row{"tt_set_hw_coincidence_offset_ps", "set_hw_coincidence_offset_ps: general failure (bus)",
                 true},
             Row{"tt_set_period_cycles", "set_period_cycles: general failure (bus)", true},
             Row{"tt_set_window_cycles", "set_window_cycles: general failure (bus)", true},
             Row{"tt_run_coincidence", "run_coincidence: general failure (bus)", true},
         }) {
        driver->clearLog();
        driver->clearFailures();
        driver->fail(row.function, -1, "bus");
        EXPECT_EQ(test::failureOf([&] { run(configOf(0.1), true, 5); }), row.message);
        EXPECT_EQ(driver->count(row.function), 1);
        EXPECT_EQ(driver->count("tt_set_test_signal"), row.armed ? 2 : 0) << row.function;
        if (row.armed) {
            EXPECT_EQ(driver->calls().back(), "tt_set_test_signal(0,1)") << row.function;
        }
    }
    EXPECT_TRUE(events.coincidences().empty());
}

TEST_F(CoincidenceLoop, AnUnarmedSourceIsNotDisarmedAfterAFailure) {
    driver->fail("tt_run_coincidence", -1, "bus");
    EXPECT_EQ(test::failureOf([&] { run(configOf(0.1), false, 5); }),
              "run_coincidence: general failure (bus)");
    EXPECT_EQ(driver->callsOf("tt_set_test_signal"), Texts{"tt_set_test_signal(0,5)"});
}

TEST_F(CoincidenceLoop, AFailedArmingGivesTheDriversText) {
    driver->fail("tt_set_test_signal", -4, "no test signal here");
    EXPECT_EQ(test::failureOf([&] { run(configOf(0.1), true); }), "no test signal here");
    EXPECT_EQ(driver->count("tt_set_hw_coincidence_mask"), 0);
}

TEST_F(CoincidenceLoop, AFailureOfTheCleanUpDoesNotHideTheFirst) {
    driver->feedCoincidenceFailure(-1, "unplugged");
    driver->fail("tt_set_test_signal", -1, "also gone", 2);
    EXPECT_EQ(test::failureOf([&] { run(configOf(0.1), true); }),
              "run_coincidence: general failure (unplugged)");
    EXPECT_EQ(driver->count("tt_set_test_signal"), 2);
}

TEST_F(CoincidenceLoop, AStopBeforeTheFirstGateRunsNone) {
    driver->onCall("tt_set_hw_coincidence_offset_ps", [this](int) { stop = true; });
    EXPECT_NO_THROW(run(configOf(0.1), true));
    EXPECT_EQ(driver->count("tt_run_coincidence"), 0);
    EXPECT_EQ(driver->calls().back(), "tt_set_test_signal(0,1)");
}

TEST_F(CoincidenceLoop, AStopDuringAGateWaitsForItsEnd) {
    driver->onCall("tt_run_coincidence", [this](int) { stop = true; });
    driver->feedCoincidence(someResult());
    driver->feedCoincidence(someResult());
    EXPECT_NO_THROW(run(configOf(0.1)));
    EXPECT_EQ(driver->count("tt_run_coincidence"), 1);
}

TEST_F(CoincidenceLoop, AStopDuringTheWaitForTheReferenceStartsNothing) {
    driver->change([](auto& script) { script.clock = {2, 1, 0, 0, 0, 0, 1, 0, 0}; });
    clock.onSleep = [this](std::size_t number) { stop = number == 3; };
    EXPECT_NO_THROW(run(configOf(0.1), true, 5.0, {timing::ReferenceClockSource::External, {}, true}));
    EXPECT_EQ(driver->count("tt_set_test_signal"), 0);
    EXPECT_EQ(driver->count("tt_run_coincidence"), 0);
}

TEST_F(CoincidenceLoop, NothingIsMeasuredOnAnotherTimebase) {
    driver->change([](auto& script) { script.clock = {2, 1, 0, 0, 0, 0, 1, 0, 0}; });
    const ClockRequest external{timing::ReferenceClockSource::External, {}, true};
    EXPECT_EQ(test::failureOf([&] { run(configOf(0.1), false, 0.0, external); }),
              "External 10 MHz reference is selected, but the device is not locked to CLKIN.");
    EXPECT_EQ(driver->count("tt_run_coincidence"), 0);
}

} // namespace
} // namespace qorn::timetagger::gui
