#include "QtPrinting.h"
#include "SchedulerStage.h"

#include <gtest/gtest.h>

namespace qorn::testing {
namespace {

using gui::FlagState;

// One tab on the hardware, and others that wait for their turn.
struct HardwareStage : SchedulerStage {
    HardwareStage() {
        scheduler.startExperiment(first.get());
        takeCalls();
        takeSignals();
        first->events.clear();
    }

    std::unique_ptr<RecordingTab> first = makeHardwareTab("A");
    std::unique_ptr<RecordingTab> second = makeHardwareTab("B");
    std::unique_ptr<RecordingTab> third = makeHardwareTab("C");
    std::unique_ptr<RecordingTab> stream = makeTab("S");
};

constexpr const char* kHardwareCall = "startCounter(0.25, external, 10000)";
constexpr const char* kStreamCall = "startCapture(external, 100000, 4096, 15, 200000)";

TEST(SchedulerSwitch, ASecondTabStopsTheHardwareAndWaitsForItsEnd) {
    HardwareStage stage;
    stage.scheduler.startExperiment(stage.second.get());
    EXPECT_EQ(stage.takeCalls(), texts({"stopCapture"}));
    EXPECT_TRUE(stage.scheduler.isSwitchingAcquisition());
    EXPECT_EQ(stage.scheduler.queuedStart(), stage.second.get());
    EXPECT_EQ(stage.detail, QStringLiteral("switching acquisition"));
    EXPECT_EQ(stage.flag, QStringLiteral("Acquisition: switching"));
    EXPECT_EQ(stage.flagState, FlagState::Active);
    EXPECT_EQ(stage.emitted.constLast(), QStringLiteral("state"));
    EXPECT_EQ(stage.second->events, QStringList());
    EXPECT_FALSE(stage.second->isRunning());
    EXPECT_TRUE(stage.first->isRunning());
    EXPECT_EQ(stage.scheduler.runningExperiment(), stage.first.get());
    stage.finish();
    EXPECT_EQ(stage.first->events, texts({"stop"}));
    EXPECT_EQ(stage.second->events, texts({"start"}));
    EXPECT_EQ(stage.takeCalls(), texts({"refreshClockStatus", kHardwareCall}));
    EXPECT_EQ(stage.scheduler.runningExperiment(), stage.second.get());
    EXPECT_EQ(stage.scheduler.queuedStart(), nullptr);
    EXPECT_FALSE(stage.scheduler.isSwitchingAcquisition());
}

TEST(SchedulerSwitch, EvenTheRunningHardwareTabItselfIsStoppedAndStartedAnew) {
    HardwareStage stage;
    stage.scheduler.startExperiment(stage.first.get());
    EXPECT_EQ(stage.takeCalls(), texts({"stopCapture"}));
    stage.finish();
    EXPECT_EQ(stage.first->events, texts({"stop", "start"}));
    EXPECT_TRUE(stage.first->isRunning());
}

TEST(SchedulerSwitch, HardwareGivesWayToAStreamAndBack) {
    HardwareStage stage;
    stage.scheduler.startExperiment(stage.stream.get());
    stage.finish();
    EXPECT_EQ(stage.takeCalls(), texts({"stopCapture", "refreshClockStatus", kStreamCall}));
    EXPECT_TRUE(stage.scheduler.isTagStreamActive());
    stage.scheduler.cancelExperiment(stage.stream.get());
    stage.scheduler.startExperiment(stage.first.get());
    EXPECT_EQ(stage.detail, QStringLiteral("stopping, queued start"));
    stage.finish();
    EXPECT_EQ(stage.takeCalls(), texts({"stopCapture", "refreshClockStatus", kHardwareCall}));
    EXPECT_FALSE(stage.scheduler.isTagStreamActive());
    EXPECT_EQ(stage.flag, QStringLiteral("Acquisition: hardware counter"));
}

TEST(SchedulerSwitch, OfThreeQuickStartsOnlyTheLastRuns) {
    HardwareStage stage;
    stage.scheduler.startExperiment(stage.second.get());
    stage.scheduler.startExperiment(stage.third.get());
    EXPECT_EQ(stage.takeCalls(), texts({"stopCapture"}));
    EXPECT_EQ(stage.detail, QStringLiteral("stopping, queued start"));
    EXPECT_EQ(stage.flag, QStringLiteral("Acquisition: switching"));
    EXPECT_EQ(stage.scheduler.queuedStart(), stage.third.get());
    stage.finish();
    EXPECT_EQ(stage.second->events, QStringList());
    EXPECT_FALSE(stage.second->isRunning());
    EXPECT_EQ(stage.third->events, texts({"start"}));
    EXPECT_EQ(stage.scheduler.runningConsumerCount(), 1);
}

TEST(SchedulerSwitch, AStreamStartedDuringASwitchDoesNotJoin) {
    HardwareStage stage;
    stage.scheduler.startExperiment(stage.second.get());
    stage.scheduler.startExperiment(stage.stream.get());
    EXPECT_EQ(stage.stream->events, QStringList());
    stage.finish();
    EXPECT_EQ(stage.stream->events, texts({"start"}));
    EXPECT_TRUE(stage.scheduler.isTagStreamActive());
}

TEST(SchedulerSwitch, ATabNeverJoinsAStreamThatIsAboutToEnd) {
    SchedulerStage stage;
    const auto first = stage.makeTab("A");
    const auto second = stage.makeTab("B");
    stage.scheduler.startExperiment(first.get());
    stage.scheduler.cancelExperiment(first.get());
    stage.takeCalls();
    stage.scheduler.startExperiment(second.get());
    EXPECT_EQ(second->events, QStringList());
    EXPECT_FALSE(second->isRunning());
    EXPECT_EQ(stage.scheduler.queuedStart(), second.get());
    EXPECT_EQ(stage.detail, QStringLiteral("stopping, queued start"));
    stage.finish();
    EXPECT_EQ(second->events, texts({"start"}));
    EXPECT_EQ(stage.takeCalls(), texts({"refreshClockStatus", kStreamCall}));
}

TEST(SchedulerSwitch, ATabNeverJoinsAStreamWhoseLastTabWasClosed) {
    SchedulerStage stage;
    auto first = stage.makeTab("A");
    const auto second = stage.makeTab("B");
    stage.scheduler.startExperiment(first.get());
    stage.scheduler.forgetExperiment(first.get());
    first.reset();
    stage.scheduler.startExperiment(second.get());
    EXPECT_EQ(second->events, QStringList());
    stage.finish();
    EXPECT_EQ(second->events, texts({"start"}));
    EXPECT_TRUE(second->isRunning());
}

TEST(SchedulerSwitch, PausingTheOnlyTabStopsTheAcquisition) {
    HardwareStage stage;
    stage.scheduler.pauseExperiment(stage.first.get());
    EXPECT_EQ(stage.takeCalls(), texts({"stopCapture"}));
    EXPECT_EQ(stage.scheduler.pausedExperiment(), stage.first.get());
    EXPECT_TRUE(stage.scheduler.isSwitchingAcquisition());
    EXPECT_FALSE(stage.first->isRunning());
    EXPECT_EQ(stage.first->events, QStringList());
    EXPECT_EQ(stage.takeSignals(), texts({"detail: stopping", "state"}));
    stage.finish();
    EXPECT_EQ(stage.first->events, texts({"stop"}));
    EXPECT_EQ(stage.scheduler.pausedExperiment(), stage.first.get());
    stage.scheduler.startExperiment(stage.first.get());
    EXPECT_EQ(stage.first->events, texts({"stop", "resume"}));
    EXPECT_EQ(stage.scheduler.pausedExperiment(), nullptr);
}

TEST(SchedulerSwitch, APausedTabThatIsPlayedAgainBeforeTheStopHasEndedResumes) {
    HardwareStage stage;
    stage.scheduler.pauseExperiment(stage.first.get());
    stage.scheduler.startExperiment(stage.first.get());
    EXPECT_EQ(stage.takeCalls(), texts({"stopCapture"}));
    stage.finish();
    EXPECT_EQ(stage.first->events, texts({"stop", "resume"}));
    EXPECT_TRUE(stage.first->isRunning());
}

TEST(SchedulerSwitch, AnotherTabsStartForgetsThePause) {
    HardwareStage stage;
    stage.scheduler.pauseExperiment(stage.first.get());
    stage.finish();
    stage.scheduler.startExperiment(stage.second.get());
    EXPECT_EQ(stage.scheduler.pausedExperiment(), nullptr);
    stage.scheduler.startExperiment(stage.first.get());
    stage.finish();
    EXPECT_EQ(stage.first->events, texts({"stop", "start"}));
}

TEST(SchedulerSwitch, StoppingTheOnlyTabStopsTheAcquisitionAndTheNextStartIsFresh) {
    HardwareStage stage;
    stage.scheduler.cancelExperiment(stage.first.get());
    EXPECT_EQ(stage.takeCalls(), texts({"stopCapture"}));
    EXPECT_TRUE(stage.scheduler.isSwitchingAcquisition());
    EXPECT_FALSE(stage.first->isRunning());
    EXPECT_EQ(stage.takeSignals(), texts({"detail: stopping", "state"}));
    stage.finish();
    EXPECT_EQ(stage.first->events, texts({"stop"}));
    stage.scheduler.startExperiment(stage.first.get());
    EXPECT_EQ(stage.first->events, texts({"stop", "start"}));
}

TEST(SchedulerSwitch, StopAfterPauseMakesTheNextStartFresh) {
    HardwareStage stage;
    stage.scheduler.pauseExperiment(stage.first.get());
    stage.finish();
    stage.scheduler.cancelExperiment(stage.first.get());
    stage.scheduler.startExperiment(stage.first.get());
    EXPECT_EQ(stage.first->events, texts({"stop", "start"}));
}

TEST(SchedulerSwitch, StoppingATabThatDoesNotRunTouchesNothing) {
    HardwareStage stage;
    stage.second->setRunningState(true);
    stage.scheduler.cancelExperiment(stage.second.get());
    EXPECT_FALSE(stage.second->isRunning());
    EXPECT_EQ(stage.second->events, QStringList());
    EXPECT_EQ(stage.takeCalls(), QStringList());
    EXPECT_TRUE(stage.first->isRunning());
    stage.scheduler.cancelExperiment(nullptr);
    EXPECT_EQ(stage.takeCalls(), QStringList());
}

TEST(SchedulerSwitch, PausingATabThatDoesNotRunIsIgnored) {
    HardwareStage stage;
    stage.scheduler.pauseExperiment(stage.second.get());
    stage.scheduler.pauseExperiment(nullptr);
    EXPECT_EQ(stage.scheduler.pausedExperiment(), nullptr);
    EXPECT_EQ(stage.takeCalls(), QStringList());
    stage.port.capturing = false;
    stage.scheduler.pauseExperiment(stage.first.get());
    EXPECT_EQ(stage.scheduler.pausedExperiment(), nullptr);
    EXPECT_EQ(stage.takeCalls(), QStringList());
}

TEST(SchedulerSwitch, AStartQueuedAfterTheLastStopRunsWhenTheEndComes) {
    HardwareStage stage;
    stage.scheduler.cancelExperiment(stage.first.get());
    stage.scheduler.startExperiment(stage.second.get());
    stage.finish();
    EXPECT_EQ(stage.second->events, texts({"start"}));
    EXPECT_EQ(stage.scheduler.runningExperiment(), stage.second.get());
}

TEST(SchedulerSwitch, AStopTakesAQueuedTabOutOfTheQueue) {
    HardwareStage stage;
    stage.scheduler.startExperiment(stage.second.get());
    stage.scheduler.cancelExperiment(stage.second.get());
    EXPECT_EQ(stage.scheduler.queuedStart(), nullptr);
    stage.finish();
    EXPECT_EQ(stage.second->events, QStringList());
    EXPECT_EQ(stage.scheduler.runningExperiment(), nullptr);
}

// An acquisition has ended by itself, and its word waits behind batches.
TEST(SchedulerSwitch, TheLateWordOfAnEarlierAcquisitionLeavesTheNewOneAlone) {
    HardwareStage stage;
    stage.port.capturing = false;
    stage.scheduler.startExperiment(stage.second.get());
    ASSERT_TRUE(stage.port.capturing);
    EXPECT_EQ(stage.first->events, texts({"stop"})) << "that word will not reach it";
    EXPECT_FALSE(stage.first->isRunning());
    stage.scheduler.onCaptureStopped();
    EXPECT_EQ(stage.second->events, texts({"start"}));
    EXPECT_TRUE(stage.second->isRunning());
    EXPECT_EQ(stage.scheduler.runningExperiment(), stage.second.get());
    stage.finish();
    EXPECT_EQ(stage.second->events, texts({"start", "stop"}));
    EXPECT_EQ(stage.first->events, texts({"stop"}));
}

TEST(SchedulerSwitch, AllTabsOfAnEarlierAcquisitionAreStoppedBeforeTheNewOneStarts) {
    SchedulerStage stage;
    const auto first = stage.makeTab("A");
    const auto second = stage.makeTab("B");
    const auto third = stage.makeTab("C");
    stage.scheduler.startExperiment(first.get());
    stage.scheduler.startExperiment(second.get());
    stage.scheduler.startExperiment(third.get());
    stage.port.capturing = false;
    stage.takeCalls();
    stage.scheduler.startExperiment(second.get());
    EXPECT_EQ(stage.takeCalls(), texts({kStreamCall}));
    EXPECT_EQ(first->events, texts({"start", "stop"}));
    EXPECT_EQ(second->events, texts({"start", "stop", "start"}));
    EXPECT_EQ(third->events, texts({"start", "stop"}));
    EXPECT_FALSE(first->isRunning());
    EXPECT_TRUE(second->isRunning());
    EXPECT_FALSE(third->isRunning());
    EXPECT_EQ(stage.scheduler.runningConsumerCount(), 1);
    stage.scheduler.onCaptureStopped();
    EXPECT_TRUE(second->isRunning());
}

TEST(SchedulerSwitch, AQueuedTabThatIsDeletedIsForgotten) {
    HardwareStage stage;
    stage.scheduler.startExperiment(stage.second.get());
    stage.scheduler.forgetExperiment(stage.second.get());
    stage.second.reset();
    stage.takeCalls();
    stage.finish();
    EXPECT_EQ(stage.takeCalls(), texts({"refreshClockStatus"}));
    EXPECT_EQ(stage.detail, QStringLiteral("idle"));
    EXPECT_EQ(stage.scheduler.runningExperiment(), nullptr);
}

TEST(SchedulerSwitch, AConsumerThatIsClosedDuringItsStopDoesNoHarm) {
    HardwareStage stage;
    stage.scheduler.startExperiment(stage.second.get());
    stage.scheduler.forgetExperiment(stage.first.get());
    stage.first.reset();
    stage.finish();
    EXPECT_EQ(stage.second->events, texts({"start"}));
}

TEST(SchedulerSwitch, APausedTabThatIsDeletedIsForgotten) {
    HardwareStage stage;
    stage.scheduler.pauseExperiment(stage.first.get());
    stage.finish();
    stage.scheduler.forgetExperiment(stage.first.get());
    stage.first.reset();
    EXPECT_EQ(stage.scheduler.pausedExperiment(), nullptr);
    stage.scheduler.startExperiment(stage.second.get());
    EXPECT_EQ(stage.second->events, texts({"start"}));
}

TEST(SchedulerSwitch, ClosingATabThatDoesNotRunLeavesTheAcquisition) {
    HardwareStage stage;
    stage.scheduler.forgetExperiment(stage.second.get());
    EXPECT_EQ(stage.takeCalls(), QStringList());
    EXPECT_TRUE(stage.first->isRunning());
}

TEST(SchedulerSwitch, WhenTheSourceIsGoneAllIsForgotten) {
    HardwareStage stage;
    stage.scheduler.pauseExperiment(stage.first.get());
    stage.scheduler.startExperiment(stage.second.get());
    stage.takeCalls();
    stage.port.capturing = false; // closing a source waits for what runs
    stage.scheduler.forgetAll();
    EXPECT_EQ(stage.scheduler.runningExperiment(), nullptr);
    EXPECT_EQ(stage.scheduler.pausedExperiment(), nullptr);
    EXPECT_EQ(stage.scheduler.queuedStart(), nullptr);
    EXPECT_EQ(stage.scheduler.runningConsumerCount(), 0);
    EXPECT_FALSE(stage.scheduler.isSwitchingAcquisition());
    EXPECT_FALSE(stage.scheduler.isTagStreamActive());
    EXPECT_EQ(stage.takeCalls(), QStringList());
    // the late end of what ran starts nothing
    stage.port.device = false;
    stage.finish();
    EXPECT_EQ(stage.second->events, QStringList());
}

TEST(SchedulerSwitch, ForgettingAllTabsStopsWhatRunsAndTheNextStartWaitsForItsEnd) {
    HardwareStage stage;
    stage.scheduler.startExperiment(stage.second.get());
    stage.takeCalls();
    stage.scheduler.forgetAll();
    stage.first.reset();
    stage.second.reset();
    EXPECT_EQ(stage.takeCalls(), texts({"stopCapture"}));
    EXPECT_EQ(stage.detail, QStringLiteral("idle"));
    stage.scheduler.startExperiment(stage.third.get());
    EXPECT_EQ(stage.third->events, QStringList());
    stage.finish();
    EXPECT_EQ(stage.third->events, texts({"start"}));
    EXPECT_TRUE(stage.third->isRunning());
}

// The acquisition has ended before its end is told: who started now would be swept with the old consumers.
TEST(SchedulerSwitch, AStartBetweenTheEndOfAStopAndItsReportWaitsForTheReport) {
    HardwareStage stage;
    stage.scheduler.pauseExperiment(stage.first.get());
    stage.takeCalls();
    stage.port.capturing = false;
    stage.scheduler.startExperiment(stage.first.get());
    EXPECT_EQ(stage.takeCalls(), QStringList());
    stage.scheduler.onCaptureStopped();
    EXPECT_EQ(stage.takeCalls(), texts({"refreshClockStatus", kHardwareCall}));
    EXPECT_EQ(stage.first->events, texts({"stop", "resume"}));
    EXPECT_TRUE(stage.first->isRunning());
    EXPECT_EQ(stage.scheduler.runningConsumerCount(), 1);
}

TEST(SchedulerSwitch, ResettingARunningTabLeavesTheStreamAlone) {
    SchedulerStage stage;
    const auto first = stage.makeTab("A");
    const auto second = stage.makeTab("B");
    stage.scheduler.startExperiment(first.get());
    stage.scheduler.startExperiment(second.get());
    stage.takeCalls();
    stage.takeSignals();
    stage.scheduler.restartExperiment(second.get());
    EXPECT_EQ(second->events, texts({"start", "reset"}));
    EXPECT_EQ(first->events, texts({"start"}));
    EXPECT_EQ(stage.takeCalls(), QStringList());
    EXPECT_TRUE(stage.takeSignals().contains(QStringLiteral("message: Measurement reset. (1500 ms)")));
    EXPECT_EQ(stage.scheduler.runningConsumerCount(), 2);
}

TEST(SchedulerSwitch, ResettingARunningHardwareTabLeavesTheHardwareAlone) {
    HardwareStage stage;
    stage.scheduler.restartExperiment(stage.first.get());
    EXPECT_EQ(stage.first->events, texts({"reset"}));
    EXPECT_EQ(stage.takeCalls(), QStringList());
}

TEST(SchedulerSwitch, ResettingAStoppedTabStartsIt) {
    SchedulerStage stage;
    const auto tab = stage.makeTab("A");
    stage.scheduler.restartExperiment(tab.get());
    EXPECT_EQ(tab->events, texts({"reset", "start"}));
    EXPECT_EQ(stage.takeCalls(), texts({kStreamCall}));
    EXPECT_FALSE(stage.emitted.contains(QStringLiteral("message: Measurement reset. (1500 ms)")));
    stage.scheduler.restartExperiment(nullptr);
    EXPECT_EQ(stage.takeCalls(), QStringList());
}

TEST(SchedulerSwitch, ResettingAPausedTabStartsItAfresh) {
    HardwareStage stage;
    stage.scheduler.pauseExperiment(stage.first.get());
    stage.finish();
    stage.scheduler.restartExperiment(stage.first.get());
    EXPECT_EQ(stage.first->events, texts({"stop", "reset", "start"}));
}

TEST(SchedulerSwitch, ResettingTheOnlyTabSwitchesWhenItNowNeedsTheOtherKind) {
    HardwareStage stage;
    stage.first->needs = RecordingTab::Needs::TagStream;
    stage.scheduler.restartExperiment(stage.first.get());
    EXPECT_EQ(stage.takeCalls(), texts({"stopCapture"}));
    EXPECT_EQ(stage.scheduler.queuedStart(), stage.first.get());
    stage.finish();
    EXPECT_EQ(stage.takeCalls(), texts({"refreshClockStatus", kStreamCall}));
    EXPECT_TRUE(stage.first->isRunning());

    stage.first->needs = RecordingTab::Needs::HardwareIfPossible;
    stage.scheduler.restartExperiment(stage.first.get());
    EXPECT_EQ(stage.takeCalls(), texts({"stopCapture"}));
    stage.finish();
    EXPECT_EQ(stage.takeCalls(), texts({"refreshClockStatus", kHardwareCall}));
}

TEST(SchedulerSwitch, ResettingOneOfSeveralNeverSwitches) {
    SchedulerStage stage;
    const auto first = stage.makeTab("A");
    const auto second = stage.makeHardwareTab("B");
    stage.scheduler.startExperiment(first.get());
    stage.scheduler.startExperiment(second.get());
    stage.takeCalls();
    stage.scheduler.restartExperiment(second.get());
    EXPECT_EQ(stage.takeCalls(), QStringList());
    EXPECT_EQ(second->events, texts({"start", "reset"}));
}

TEST(SchedulerSwitch, OverARelayAResetNeverSwitches) {
    SchedulerStage stage;
    stage.port.device = false;
    stage.port.relay = true;
    const auto tab = stage.makeHardwareTab("H");
    stage.scheduler.startExperiment(tab.get());
    stage.takeCalls();
    stage.scheduler.restartExperiment(tab.get());
    EXPECT_EQ(stage.takeCalls(), QStringList());
    EXPECT_EQ(tab->events, texts({"start", "reset"}));
}

} // namespace
} // namespace qorn::testing
