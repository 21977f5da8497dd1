#include "TagFlowMeter.h"

#include "Device.h"
#include "LoopTestSupport.h"
#include "ScriptedDriver.h"
#include "StreamHeaders.h"
#include "TagStreamReader.h"

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using namespace std::chrono_literals;
using test::tagsFrom;
using test::wordsOf;

constexpr LoopClock::TimePoint kStart{1h};

UiTagFlow shown(quint64 tags) {
    UiTagFlow flow;
    flow.source.received = flow.source.pulled = flow.gui.offered = flow.gui.sent = tags;
    return flow;
}

class FlowMeter : public ::testing::Test {
protected:
    test::RecordingEvents events;
    TagFlowMeter meter{events, kStart};
};

TEST_F(FlowMeter, ReportsAreAQuarterOfASecondApart) {
    meter.update(shown(1), kStart + 249ms);
    EXPECT_TRUE(events.flows().empty());
    meter.update(shown(2), kStart + 250ms);
    meter.update(shown(3), kStart + 499ms);
    meter.update(shown(4), kStart + 500ms);
    EXPECT_EQ(events.flows(), (std::vector<UiTagFlow>{shown(2), shown(4)}));
}

TEST_F(FlowMeter, WhatHasNotChangedIsNotReportedAgain) {
    meter.update({}, kStart + 1s);
    EXPECT_TRUE(events.flows().empty());
    meter.update(shown(1), kStart + 1001ms);
    meter.update(shown(1), kStart + 2s);
    EXPECT_EQ(events.flows().size(), 1U);
}

TEST_F(FlowMeter, TheEndIsReportedAtOnceWithWhatStillWaitedAsDiscarded) {
    UiTagFlow last = shown(5);
    last.source = {9, 5, 0, 4, 0};
    meter.update(shown(1), kStart + 250ms);
    meter.finish(last);
    ASSERT_EQ(events.flows().size(), 2U);
    const UiTagFlow told = events.flows().back();
    EXPECT_TRUE(told.ended);
    EXPECT_EQ(told.source, (UiTagFlow::Source{9, 5, 0, 0, 4}));
    EXPECT_TRUE(told.balances());
}

// A loop that is held up, as by a disk, cannot tell; the reader can.
class StandingLoop : public FlowMeter {
protected:
    void SetUp() override {
        meter.follow(reader);
        reader.start(qorn::testing::raw64Header("ps"), 1048576, 1024);
        meter.update({}, kStart);
    }

    qorn::testing::ScopedDriver driver;
    timing::Device device = timing::Device::open_serial("A");
    timing::TagStreamReader reader{device};
};

TEST_F(StandingLoop, LossesAreTold) {
    driver->feed(wordsOf(tagsFrom(0, 1000)));
    ASSERT_TRUE(driver->waitUntilStreamIdle());
    meter.watch(kStart + 300ms);
    EXPECT_TRUE(events.flows().empty()) << "nothing was lost";
    driver->feed(wordsOf(tagsFrom(1000, 100)));
    ASSERT_TRUE(driver->waitUntilStreamIdle());
    meter.watch(kStart + 200ms);
    EXPECT_TRUE(events.flows().empty()) << "it is not time";
    meter.watch(kStart + 300ms);
    ASSERT_EQ(events.flows().size(), 1U);
    EXPECT_EQ(events.flows().back().source, (UiTagFlow::Source{1100, 0, 76, 1024, 0}));
    meter.watch(kStart + 10s);
    EXPECT_EQ(events.flows().size(), 1U) << "nothing more was lost";
}

TEST_F(StandingLoop, UnreadableBytesAreTold) {
    auto bytes = wordsOf(tagsFrom(0, 10));
    bytes.insert(bytes.end(), 8, 0xFF); // no record
    driver->feed(bytes);
    ASSERT_TRUE(driver->waitUntilStreamIdle());
    meter.watch(kStart + 300ms);
    ASSERT_EQ(events.flows().size(), 1U);
    EXPECT_GT(events.flows().back().source.skippedBytes, 0U);
}

} // namespace
} // namespace qorn::timetagger::gui
