#include "ClockWait.h"

#include "Device.h"
#include "Error.h"
#include "LoopTestSupport.h"
#include "ScriptedDriver.h"

#include <gtest/gtest.h>

#include <numeric>

namespace qorn::timetagger::gui {
namespace {

using namespace std::chrono_literals;
using qorn::testing::ScopedDriver;
using timing::ReferenceClockSource;
using timing::ReferenceSignal;
using Texts = std::vector<std::string>;

constexpr tt_reference_clock_status kLocked{2, 2, 0, 1, 1, 0, 0, 0, 0};
constexpr tt_reference_clock_status kWaiting{2, 1, 0, 1, 0, 0, 0, 0, 0};
const char* const kNotLocked =
    "External 10 MHz reference is selected, but the device is not locked to CLKIN.";

class ClockWait : public ::testing::Test {
protected:
    ScopedDriver driver;
    timing::Device device = timing::Device::open_serial("A");
    std::atomic<bool> stop{false};
    test::RecordingEvents events;
    test::ManualClock clock;

    void ensure(const ClockRequest& request) {
        driver->clearLog();
        ensureReferenceClockReadyForMeasurement(device, request, stop, events, clock);
    }
    static ClockRequest external() {
        return {ReferenceClockSource::External, ReferenceSignal::TenMegahertz, true};
    }
    std::chrono::milliseconds slept() const {
        const auto sleeps = clock.sleeps();
        return std::accumulate(sleeps.begin(), sleeps.end(), 0ms);
    }
};

TEST_F(ClockWait, TheChosenClockIsSetAndItsStatusPublished) {
    driver->change([](auto& script) { script.clock = {1, 1, 1, 0, 0, 1, 0, 0, 77}; });
    ensure({ReferenceClockSource::Internal, ReferenceSignal::OnePps, true});
    EXPECT_EQ(driver->calls(), Texts{"tt_set_reference_clock(1,1)"});
    ASSERT_EQ(events.clockStatuses().size(), 1U);
    EXPECT_EQ(events.clockStatuses()[0].statusWord, 77);
    EXPECT_TRUE(clock.sleeps().empty());
}

TEST_F(ClockWait, TheAutomaticSourceIsNotWaitedFor) {
    driver->change([](auto& script) { script.clock = kWaiting; });
    ensure({ReferenceClockSource::Automatic, ReferenceSignal::TenMegahertz, true});
    EXPECT_EQ(driver->calls(), Texts{"tt_set_reference_clock(0,0)"});
}

TEST_F(ClockWait, WithoutClockControlNothingIsSent) {
    ensure({ReferenceClockSource::External, ReferenceSignal::TenMegahertz, false});
    EXPECT_TRUE(driver->calls().empty());
    EXPECT_TRUE(events.clockStatuses().empty());
}

TEST_F(ClockWait, AFailureToSetPassesOnWhateverItsStatus) {
    for (const auto& [status, text] : {std::pair(-1, "set_reference_clock: general failure (x)"),
                                       std::pair(-4, "set_reference_clock: not supported (x)"),
                                       std::pair(-3, "set_reference_clock: timed out (x)"),
                                       std::pair(-7, "set_reference_clock: rejected (x)")}) {
        driver->clearFailures();
        driver->fail("tt_set_reference_clock", status, "x");
        EXPECT_EQ(test::failureOf([&] { ensure({ReferenceClockSource::Internal, {}, true}); }), text);
    }
}

TEST_F(ClockWait, AGoodExternalReferenceIsNotWaitedFor) {
    driver->change([](auto& script) { script.clock = kLocked; });
    ensure(external());
    EXPECT_EQ(driver->calls(), Texts{"tt_set_reference_clock(2,0)"});
    EXPECT_TRUE(clock.sleeps().empty());
    EXPECT_EQ(events.clockStatuses().size(), 1U);
}

TEST_F(ClockWait, ALockThatComesIsWaitedForInStepsOf100Milliseconds) {
    driver->change([](auto& script) {
        script.clock = kLocked;
        script.nextClocks = {kWaiting, kWaiting, kLocked};
    });
    // The setting itself answers that there is no lock yet.
    driver->onCall("tt_set_reference_clock",
                   [&](int) { driver->change([](auto& script) { script.clock = kWaiting; }); });
    ensure(external());
    EXPECT_EQ(clock.sleeps(), (std::vector<std::chrono::milliseconds>{100ms, 100ms, 100ms}));
    EXPECT_EQ(driver->count("tt_get_reference_clock_status"), 3);
    ASSERT_EQ(events.clockStatuses().size(), 4U); // each that was read
    EXPECT_FALSE(events.clockStatuses()[2].referenceLocked);
    EXPECT_TRUE(events.clockStatuses()[3].referenceLocked);
}

TEST_F(ClockWait, AMissingLockFailsAfterTwoAndAHalfSeconds) {
    driver->change([](auto& script) { script.clock = kWaiting; });
    EXPECT_EQ(test::failureOf([&] { ensure(external()); }), kNotLocked);
    EXPECT_GE(slept(), 2500ms);
    EXPECT_LE(slept(), 2600ms);
    for (const auto sleep : clock.sleeps()) {
        EXPECT_EQ(sleep, 100ms);
    }
    EXPECT_EQ(events.clockStatuses().size(), clock.sleeps().size() + 1);
}

TEST_F(ClockWait, EveryConditionOfTheLockCounts) {
    EXPECT_TRUE(isLockedToExternal(timing::ReferenceClockStatus::from_c(kLocked)));
    std::vector<tt_reference_clock_status> bad(6, kLocked);
    bad[0].active_source = 1;
    bad[1].active_source = 0;
    bad[2].reference_present = 0;
    bad[3].reference_locked = 0;
    bad[4].fallback_active = 1;
    bad[5] = tt_reference_clock_status{};
    for (const tt_reference_clock_status& status : bad) {
        EXPECT_FALSE(isLockedToExternal(timing::ReferenceClockStatus::from_c(status)));
        driver->change([&](auto& script) { script.clock = status; });
        EXPECT_EQ(test::failureOf([&] { ensure(external()); }), kNotLocked);
    }
    tt_reference_clock_status fault = kLocked; // words that do not matter
    fault.lock_fault = 1;
    fault.third_flag = 1;
    fault.requested_source = 0;
    EXPECT_TRUE(isLockedToExternal(timing::ReferenceClockStatus::from_c(fault)));
}

TEST_F(ClockWait, AFailureToReadTheStatusPassesOn) {
    driver->change([](auto& script) { script.clock = kWaiting; });
    driver->fail("tt_get_reference_clock_status", -1, "gone", 2);
    EXPECT_EQ(test::failureOf([&] { ensure(external()); }), "reference_clock_status: general failure (gone)");
}

TEST_F(ClockWait, AStopEndsTheWaitingWithoutFailure) {
    driver->change([](auto& script) { script.clock = kWaiting; });
    clock.onSleep = [this](std::size_t number) { stop = number == 3; };
    EXPECT_NO_THROW(ensure(external()));
    EXPECT_LE(clock.sleeps().size(), 4U);
}

} // namespace
} // namespace qorn::timetagger::gui
