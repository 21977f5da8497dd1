#include "QtPrinting.h"
#include "SchedulerStage.h"

#include <gtest/gtest.h>

namespace qorn::testing {
namespace {

constexpr const char* kShared = "shared stream (USB / Packed delta (16 bit / 8 ps), external)";

// Two tabs on one stream, the first of them primary.
struct SharedStage : SchedulerStage {
    SharedStage() {
        scheduler.startExperiment(first.get());
        scheduler.startExperiment(second.get());
        takeCalls();
        takeSignals();
        first->events.clear();
        second->events.clear();
    }

    std::unique_ptr<RecordingTab> first = makeTab("A");
    std::unique_ptr<RecordingTab> second = makeTab("B");
};

TEST(SchedulerSharedStream, ATagTabJoinsWithoutTouchingTheStream) {
    SchedulerStage stage;
    const auto first = stage.makeTab("A");
    const auto second = stage.makeTab("B");
    stage.scheduler.startExperiment(first.get());
    stage.takeCalls();
    stage.takeSignals();
    stage.scheduler.startExperiment(second.get());
    EXPECT_EQ(stage.takeCalls(), QStringList());
    EXPECT_EQ(second->events, texts({"start"}));
    EXPECT_TRUE(second->isRunning());
    EXPECT_EQ(stage.scheduler.runningConsumerCount(), 2);
    EXPECT_EQ(stage.scheduler.runningExperiment(), first.get());
    EXPECT_EQ(first->events, texts({"start"}));
    EXPECT_EQ(stage.detail, QString::fromUtf8(kShared));
    EXPECT_EQ(stage.flag, QStringLiteral("Acquisition: tag stream"));
    const QStringList emitted = stage.takeSignals();
    EXPECT_TRUE(emitted.contains(QStringLiteral("activated: B")));
    EXPECT_TRUE(emitted.contains(QStringLiteral("state")));
}

TEST(SchedulerSharedStream, ATabThatJoinsGetsTheTagsThatItAsksFor) {
    SchedulerStage stage;
    const auto first = stage.makeTab("A");
    const auto second = stage.makeTab("B");
    second->streamRequest.maxUiTagsPerSecond = 16'000'000;
    stage.scheduler.startExperiment(first.get());
    EXPECT_TRUE(stage.port.budgets.isEmpty());
    stage.scheduler.startExperiment(second.get());
    EXPECT_EQ(stage.port.budgets, QList<int>{16'000'000});
    stage.scheduler.startExperiment(second.get());
    EXPECT_EQ(stage.port.budgets.size(), 1) << "it had joined";
}

TEST(SchedulerSharedStream, ATabThatCouldUseTheHardwareJoinsTheStreamToo) {
    SchedulerStage stage;
    const auto first = stage.makeTab("A");
    const auto counter = stage.makeHardwareTab("H");
    stage.scheduler.startExperiment(first.get());
    stage.takeCalls();
    stage.scheduler.startExperiment(counter.get());
    EXPECT_EQ(stage.takeCalls(), QStringList());
    EXPECT_TRUE(stage.scheduler.isRunningConsumer(counter.get()));
    EXPECT_EQ(counter->events, texts({"start"}));
}

TEST(SchedulerSharedStream, ATabThatRunsAlreadyIsNotStartedAgain) {
    SharedStage stage;
    stage.scheduler.startExperiment(stage.second.get());
    EXPECT_EQ(stage.second->events, QStringList());
    EXPECT_EQ(stage.scheduler.runningConsumerCount(), 2);
    EXPECT_EQ(stage.takeCalls(), QStringList());
    EXPECT_EQ(stage.detail, QString::fromUtf8(kShared));
}

TEST(SchedulerSharedStream, ATabThatCannotShareStopsTheStream) {
    SchedulerStage stage;
    const auto first = stage.makeTab("A");
    const auto alone = stage.makeTab("B");
    alone->shares = false;
    stage.scheduler.startExperiment(first.get());
    stage.takeCalls();
    stage.scheduler.startExperiment(alone.get());
    EXPECT_EQ(stage.takeCalls(), texts({"stopCapture"}));
    EXPECT_EQ(stage.scheduler.queuedStart(), alone.get());
    EXPECT_EQ(alone->events, QStringList());
}

TEST(SchedulerSharedStream, ATabThatJoinsWithItsRecordingOnRecordsNothing) {
    SchedulerStage stage;
    const auto first = stage.makeTab("A");
    stage.scheduler.startExperiment(first.get());
    stage.takeCalls();
    const auto recorder = stage.makeTab("B");
    recorder->loadSharedConfig(
        {{QStringLiteral("timeTagRecording"), QJsonObject{{QStringLiteral("enabled"), true}}}});
    ASSERT_TRUE(recorder->timeTagRecordingEnabled());
    stage.scheduler.startExperiment(recorder.get());
    EXPECT_EQ(stage.takeCalls(), QStringList());
    EXPECT_TRUE(stage.port.recording.path.isEmpty());
    EXPECT_TRUE(stage.emitted.join(QLatin1Char('\n')).contains(QStringLiteral("records nothing")))
        << "and it is told";
}

TEST(SchedulerSharedStream, EveryConsumerSeesEveryBatchFromTheLastToTheFirst) {
    SharedStage stage;
    QStringList order;
    stage.first->commonLog = &order;
    stage.second->commonLog = &order;
    stage.scheduler.onTagsBatch({{0, 10}, {3, 20}, {7, 30}});
    EXPECT_EQ(order, texts({"B", "A"}));
    EXPECT_EQ(stage.first->batches, QList<qsizetype>({3}));
    EXPECT_EQ(stage.second->batches, QList<qsizetype>({3}));
}

TEST(SchedulerSharedStream, ATabSeesOnlyBatchesAfterItHasJoined) {
    SchedulerStage stage;
    const auto first = stage.makeTab("A");
    const auto second = stage.makeTab("B");
    stage.scheduler.startExperiment(first.get());
    stage.scheduler.onTagsBatch({{0, 1}});
    stage.scheduler.startExperiment(second.get());
    stage.scheduler.onTagsBatch({{0, 2}, {0, 3}});
    EXPECT_EQ(first->batches, QList<qsizetype>({1, 2}));
    EXPECT_EQ(second->batches, QList<qsizetype>({2}));
}

TEST(SchedulerSharedStream, NobodySeesABatchWhenNothingRuns) {
    SharedStage stage;
    stage.finish();
    stage.scheduler.onTagsBatch({{0, 1}});
    EXPECT_TRUE(stage.first->batches.isEmpty());
    EXPECT_TRUE(stage.second->batches.isEmpty());
}

TEST(SchedulerSharedStream, ADeadConsumerIsSweptAndDoesNoHarm) {
    SharedStage stage;
    stage.second.reset();
    EXPECT_EQ(stage.scheduler.runningConsumerCount(), 1);
    stage.scheduler.onTagsBatch({{0, 1}});
    EXPECT_EQ(stage.first->batches, QList<qsizetype>({1}));
    stage.finish();
    EXPECT_EQ(stage.first->events, texts({"stop"}));
}

TEST(SchedulerSharedStream, ADeadPrimaryIsSucceededWhenAnotherLeaves) {
    SharedStage stage;
    const auto third = stage.makeTab("C");
    stage.scheduler.startExperiment(third.get());
    stage.first.reset();
    stage.scheduler.pauseExperiment(third.get());
    EXPECT_EQ(stage.scheduler.runningExperiment(), stage.second.get());
    EXPECT_EQ(stage.scheduler.runningConsumerCount(), 1);
}

TEST(SchedulerSharedStream, WhenThePrimaryPausesTheNextInOrderSucceedsIt) {
    SharedStage stage;
    const auto third = stage.makeTab("C");
    stage.scheduler.startExperiment(third.get());
    stage.takeSignals();
    stage.scheduler.pauseExperiment(stage.first.get());
    EXPECT_EQ(stage.takeCalls(), QStringList());
    EXPECT_EQ(stage.scheduler.runningExperiment(), stage.second.get());
    EXPECT_EQ(stage.scheduler.pausedExperiment(), stage.first.get());
    EXPECT_EQ(stage.first->events, texts({"stop"}));
    EXPECT_FALSE(stage.first->isRunning());
    EXPECT_TRUE(stage.second->isRunning());
    EXPECT_EQ(stage.second->events, QStringList());
    EXPECT_EQ(stage.takeSignals(), QStringList({QStringLiteral("detail: ") + QString::fromUtf8(kShared),
                                                QStringLiteral("state")}));
    stage.scheduler.onTagsBatch({{0, 1}});
    EXPECT_TRUE(stage.first->batches.isEmpty());
    EXPECT_EQ(stage.second->batches.size(), 1);
}

TEST(SchedulerSharedStream, APausedTabResumesWhenItIsStartedAgain) {
    SharedStage stage;
    stage.scheduler.pauseExperiment(stage.second.get());
    stage.scheduler.startExperiment(stage.second.get());
    EXPECT_EQ(stage.second->events, texts({"stop", "resume"}));
    EXPECT_EQ(stage.scheduler.pausedExperiment(), nullptr);
    EXPECT_TRUE(stage.second->isRunning());
    stage.scheduler.cancelExperiment(stage.second.get());
    stage.scheduler.startExperiment(stage.second.get());
    EXPECT_EQ(stage.second->events, texts({"stop", "resume", "stop", "start"}));
}

TEST(SchedulerSharedStream, OnlyTheTabThatWasPausedLastResumes) {
    SharedStage stage;
    const auto third = stage.makeTab("C");
    stage.scheduler.startExperiment(third.get());
    stage.scheduler.pauseExperiment(stage.first.get());
    stage.scheduler.pauseExperiment(stage.second.get());
    stage.scheduler.startExperiment(stage.first.get());
    stage.scheduler.startExperiment(stage.second.get());
    EXPECT_EQ(stage.first->events, texts({"stop", "start"}));
    EXPECT_EQ(stage.second->events, texts({"stop", "resume"}));
}

TEST(SchedulerSharedStream, StoppingOneOfSeveralLeavesTheOthersAndForgetsThePause) {
    SharedStage stage;
    const auto third = stage.makeTab("C");
    stage.scheduler.startExperiment(third.get());
    stage.scheduler.pauseExperiment(third.get());
    stage.takeSignals();
    stage.scheduler.cancelExperiment(stage.first.get());
    EXPECT_EQ(stage.takeCalls(), QStringList());
    EXPECT_EQ(stage.scheduler.pausedExperiment(), nullptr);
    EXPECT_EQ(stage.scheduler.runningExperiment(), stage.second.get());
    EXPECT_EQ(stage.first->events, texts({"stop"}));
    EXPECT_FALSE(stage.first->isRunning());
    EXPECT_EQ(stage.takeSignals(), QStringList({QStringLiteral("detail: ") + QString::fromUtf8(kShared),
                                                QStringLiteral("state")}));
}

TEST(SchedulerSharedStream, HardwareSamplesReachOnlyThePrimary) {
    SharedStage stage;
    gui::UiCounterSample counter;
    counter.totalCount = 42;
    gui::UiCoincidenceSample coincidence;
    coincidence.quadruple = 4;
    stage.scheduler.onCounterSample(counter);
    stage.scheduler.onCoincidenceSample(coincidence);
    EXPECT_EQ(stage.first->samples, QList<quint64>({42}));
    EXPECT_EQ(stage.first->coincidences, QList<quint64>({4}));
    EXPECT_TRUE(stage.second->samples.isEmpty());
    EXPECT_TRUE(stage.second->coincidences.isEmpty());
}

TEST(SchedulerSharedStream, SamplesWithoutAPrimaryAreDropped) {
    SchedulerStage stage;
    const auto tab = stage.makeHardwareTab("H");
    stage.scheduler.onCounterSample({});
    stage.scheduler.onCoincidenceSample({});
    stage.scheduler.startExperiment(tab.get());
    stage.finish();
    stage.scheduler.onCounterSample({});
    EXPECT_TRUE(tab->samples.isEmpty());
}

TEST(SchedulerSharedStream, AnErrorEndsTheStreamForAllConsumers) {
    SharedStage stage;
    stage.finish();
    EXPECT_EQ(stage.first->events, texts({"stop"}));
    EXPECT_EQ(stage.second->events, texts({"stop"}));
    EXPECT_FALSE(stage.first->isRunning());
    EXPECT_FALSE(stage.second->isRunning());
    EXPECT_EQ(stage.scheduler.runningConsumerCount(), 0);
}

TEST(SchedulerSharedStream, ClosingOneConsumerLeavesTheOthersRunning) {
    SharedStage stage;
    stage.scheduler.forgetExperiment(stage.first.get());
    EXPECT_EQ(stage.first->events, QStringList());
    EXPECT_EQ(stage.takeCalls(), QStringList());
    EXPECT_EQ(stage.scheduler.runningExperiment(), stage.second.get());
    EXPECT_EQ(stage.scheduler.runningConsumerCount(), 1);
    stage.first.reset();
    stage.scheduler.onTagsBatch({{0, 1}});
    EXPECT_EQ(stage.second->batches.size(), 1);
}

TEST(SchedulerSharedStream, ClosingTheLastConsumerStopsTheStream) {
    SharedStage stage;
    stage.scheduler.forgetExperiment(stage.first.get());
    stage.first.reset();
    stage.scheduler.forgetExperiment(stage.second.get());
    EXPECT_EQ(stage.second->events, QStringList());
    stage.second.reset();
    EXPECT_EQ(stage.takeCalls(), texts({"stopCapture"}));
    stage.scheduler.onTagsBatch({{0, 1}});
    stage.finish();
    EXPECT_EQ(stage.detail, QStringLiteral("idle"));
}

} // namespace
} // namespace qorn::testing
