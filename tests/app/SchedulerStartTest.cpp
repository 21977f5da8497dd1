#include "CounterTab.h"
#include "QtPrinting.h"
#include "SchedulerStage.h"
#include "StoredSettings.h"
#include "TimeTagTab.h"

#include <QAction>
#include <QDoubleSpinBox>

#include <gtest/gtest.h>

namespace qorn::testing {
namespace {

using gui::FlagState;

void storeRecording(const char* settingsKey) {
    storedSettings().setValue(
        QStringLiteral("measurement/%1/timeTagsEnabled").arg(QLatin1String(settingsKey)), true);
}

TEST(SchedulerStart, WithoutASourceNothingHappens) {
    SchedulerStage stage;
    stage.port.device = false;
    const auto tab = stage.makeTab("A");
    stage.scheduler.startExperiment(tab.get());
    EXPECT_EQ(stage.takeCalls(), QStringList());
    EXPECT_EQ(stage.takeSignals(), QStringList());
    EXPECT_EQ(tab->events, QStringList());
    EXPECT_FALSE(tab->isRunning());
    EXPECT_EQ(stage.scheduler.runningExperiment(), nullptr);
}

TEST(SchedulerStart, NoTabOnlyRefreshesTheActions) {
    SchedulerStage stage;
    stage.scheduler.startExperiment(nullptr);
    EXPECT_EQ(stage.takeSignals(), texts({"state"}));
    EXPECT_EQ(stage.takeCalls(), QStringList());
    stage.port.device = false;
    stage.scheduler.startExperiment(nullptr);
    EXPECT_EQ(stage.takeSignals(), QStringList());
}

TEST(SchedulerStart, AnIdleStartMakesTheTabPrimaryRunsItAndEndsWithTheActions) {
    SchedulerStage stage;
    const auto tab = stage.makeTab("A");
    stage.scheduler.startExperiment(tab.get());
    EXPECT_EQ(stage.scheduler.runningExperiment(), tab.get());
    EXPECT_EQ(stage.scheduler.runningConsumerCount(), 1);
    EXPECT_TRUE(stage.scheduler.isRunningConsumer(tab.get()));
    EXPECT_TRUE(tab->isRunning());
    EXPECT_EQ(tab->events, texts({"start"}));
    EXPECT_FALSE(stage.scheduler.isSwitchingAcquisition());
    const QStringList emitted = stage.takeSignals();
    EXPECT_TRUE(emitted.contains(QStringLiteral("activated: A")));
    ASSERT_FALSE(emitted.isEmpty());
    EXPECT_EQ(emitted.constLast(), QStringLiteral("state"));
}

// A start that the controller refuses leaves the tab in its running state.
TEST(SchedulerStart, ARefusedStartLeavesTheTabRunningUntilItIsStopped) {
    SchedulerStage stage;
    stage.port.refuses = true;
    const auto tab = stage.makeTab("A");
    stage.scheduler.startExperiment(tab.get());
    EXPECT_TRUE(tab->isRunning());
    stage.takeCalls();
    stage.scheduler.cancelExperiment(tab.get());
    EXPECT_FALSE(tab->isRunning());
    EXPECT_EQ(stage.takeCalls(), QStringList());
}

TEST(SchedulerStart, ATabThatSaysNothingGetsThePlainStream) {
    SchedulerStage stage;
    stage.scheduler.setSignalSource({true, 25.5});
    const auto tab = stage.makeTab("A");
    stage.scheduler.startExperiment(tab.get());
    EXPECT_EQ(stage.takeCalls(), texts({"startCapture(internal, 100000, 4096, 15, 200000)"}));
    EXPECT_EQ(stage.detail, QStringLiteral("streaming (USB / Packed delta (16 bit / 8 ps), internal)"));
    EXPECT_EQ(stage.flag, QStringLiteral("Acquisition: tag stream"));
    EXPECT_EQ(stage.flagState, FlagState::Active);
    EXPECT_TRUE(stage.scheduler.isTagStreamActive());
}

struct SourceCase {
    const char* name;
    bool relay;
    bool internal;
    const char* mode;
};

void PrintTo(const SourceCase& row, std::ostream* out) {
    *out << row.name;
}

class SignalMode : public ::testing::TestWithParam<SourceCase> {};

TEST_P(SignalMode, NamesWhereThePulsesComeFrom) {
    SchedulerStage stage;
    stage.port.device = !GetParam().relay;
    stage.port.relay = GetParam().relay;
    stage.scheduler.setSignalSource({GetParam().internal, 10.0});
    EXPECT_EQ(stage.scheduler.signalModeText(), QString::fromUtf8(GetParam().mode));
}

INSTANTIATE_TEST_SUITE_P(Sources, SignalMode,
                         ::testing::Values(SourceCase{"External", false, false, "external"},
                                           SourceCase{"Internal", false, true, "internal"},
                                           SourceCase{"Relay", true, false, "network relay"},
                                           SourceCase{"RelayDespiteInternal", true, true, "network relay"}),
                         [](const auto& test) { return test.param.name; });

TEST(SchedulerStart, TheSignalSourceIsExternalAtTenKilohertzAtFirst) {
    const SchedulerStage stage;
    EXPECT_FALSE(stage.scheduler.currentSignalSource().internal);
    EXPECT_EQ(stage.scheduler.currentSignalSource().internalRateKhz, 10.0);
}

struct TabCase {
    const char* name;
    bool relay;
    bool internal;
    bool recording;
    const char* call;
    const char* detail;
    const char* flag;
    FlagState state;
    bool streaming;
};

void PrintTo(const TabCase& row, std::ostream* out) {
    *out << row.name;
}

class CounterStart : public ::testing::TestWithParam<TabCase> {};
class TimeTagStart : public ::testing::TestWithParam<TabCase> {};

template <typename Tab>
void expectStart(const TabCase& row, Tab& tab) {
    SchedulerStage stage;
    stage.port.device = !row.relay;
    stage.port.relay = row.relay;
    if (row.relay) {
        stage.port.transport = QStringLiteral("Network relay / Raw64");
    }
    stage.scheduler.setSignalSource({row.internal, 12.5});
    stage.scheduler.startExperiment(&tab);
    EXPECT_EQ(stage.takeCalls(), texts({row.call}));
    EXPECT_EQ(stage.detail, QString::fromUtf8(row.detail));
    EXPECT_EQ(stage.flag, QString::fromUtf8(row.flag));
    EXPECT_EQ(stage.flagState, row.state);
    EXPECT_EQ(stage.scheduler.isTagStreamActive(), row.streaming);
    EXPECT_EQ(stage.port.recording.path.isEmpty(), !row.recording);
    stage.finish();
}

TEST_P(CounterStart, AsksForWhatTheTableSays) {
    if (GetParam().recording) {
        storeRecording("counter");
    }
    gui::CounterTab tab;
    expectStart(GetParam(), tab);
}

TEST_P(TimeTagStart, AsksForWhatTheTableSays) {
    if (GetParam().recording) {
        storeRecording("time_tags");
    }
    gui::TimeTagTab tab;
    expectStart(GetParam(), tab);
}

constexpr const char* kTagFlag = "Acquisition: tag stream";
constexpr const char* kCounterFlag = "Acquisition: hardware counter";

INSTANTIATE_TEST_SUITE_P(
    Sources, CounterStart,
    ::testing::Values(TabCase{"Hardware", false, false, false, "startCounter(0.1, external, 12500)",
                              "counter (external, hardware)", kCounterFlag, FlagState::Good, false},
                      TabCase{"HardwareInternal", false, true, false, "startCounter(0.1, internal, 12500)",
                              "counter (internal, hardware)", kCounterFlag, FlagState::Good, false},
                      TabCase{"Relay", true, false, false,
                              "startCapture(network relay, 12500, 65536, 15, 16000000)",
                              "counter + coincidence (Network relay / Raw64, network relay)", kTagFlag,
                              FlagState::Active, true},
                      TabCase{"Recording", false, false, true,
                              "startCapture(external, 12500, 65536, 15, 16000000)",
                              "counter + coincidence (USB / Packed delta (16 bit / 8 ps), external)",
                              kTagFlag, FlagState::Active, true}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Sources, TimeTagStart,
    ::testing::Values(
        TabCase{"External", false, false, false, "startCapture(external, 12500, 65536, 15, 1000000)",
                "time tags (USB / Packed delta (16 bit / 8 ps), external)", kTagFlag, FlagState::Active,
                true},
        TabCase{"Internal", false, true, false, "startCapture(internal, 12500, 65536, 15, 1000000)",
                "time tags (USB / Packed delta (16 bit / 8 ps), internal)", kTagFlag, FlagState::Active,
                true},
        TabCase{"Relay", true, false, false, "startCapture(network relay, 12500, 65536, 15, 1000000)",
                "time tags (Network relay / Raw64, network relay)", kTagFlag, FlagState::Active, true},
        TabCase{"Recording", false, false, true, "startCapture(external, 12500, 65536, 15, 1000000)",
                "time tags (USB / Packed delta (16 bit / 8 ps), external)", kTagFlag, FlagState::Active,
                true}),
    [](const auto& test) { return test.param.name; });

TEST(SchedulerStart, ARecordingTabHandsItsFileToTheAcquisition) {
    QSettings settings = storedSettings();
    settings.setValue(QStringLiteral("measurement/recorder/timeTagsEnabled"), true);
    settings.setValue(QStringLiteral("measurement/recorder/timeTagsDirectory"), QStringLiteral("/data/tags"));
    settings.setValue(QStringLiteral("measurement/recorder/timeTagsRotateSeconds"), 60);
    settings.setValue(QStringLiteral("measurement/recorder/timeTagsMaximumDurationSeconds"), 3600);
    SchedulerStage stage;
    RecordingTab tab;
    stage.scheduler.startExperiment(&tab);
    EXPECT_TRUE(stage.port.recording.path.startsWith(QStringLiteral("/data/tags/")));
    EXPECT_TRUE(stage.port.recording.path.endsWith(QStringLiteral(".qornts")));
    EXPECT_EQ(stage.port.recording.rotateSeconds, 60);
    EXPECT_EQ(stage.port.recording.maxDurationSeconds, 3600);
}

TEST(SchedulerStart, TheHardwareHasTheDeviceForItselfAndIsNoTagStream) {
    SchedulerStage stage;
    const auto tab = stage.makeHardwareTab("H");
    stage.scheduler.startExperiment(tab.get());
    EXPECT_EQ(stage.takeCalls(), texts({"startCounter(0.25, external, 10000)"}));
    EXPECT_EQ(stage.detail, QStringLiteral("hardware test (external)"));
    EXPECT_EQ(stage.flagState, FlagState::Good);
    EXPECT_FALSE(stage.scheduler.isTagStreamActive());
}

TEST(SchedulerStart, OverARelayEveryTabStreams) {
    SchedulerStage stage;
    stage.port.device = false;
    stage.port.relay = true;
    const auto tab = stage.makeHardwareTab("H");
    stage.scheduler.startExperiment(tab.get());
    EXPECT_TRUE(stage.scheduler.isTagStreamActive());
    EXPECT_EQ(stage.takeCalls(), texts({"startCapture(network relay, 100000, 4096, 15, 200000)"}));
}

TEST(SchedulerStart, ARequestWithoutAFixedRateTakesTheOperatorsRate) {
    SchedulerStage stage;
    stage.scheduler.setSignalSource({true, 0.1});
    RecordingTab tab;
    tab.streamRequest.fixedRateHz = std::nullopt;
    tab.streamRequest.channelMask = 5;
    tab.streamRequest.batchSize = 1;
    tab.streamRequest.maxUiTagsPerSecond = 7;
    stage.scheduler.startExperiment(&tab);
    EXPECT_EQ(stage.takeCalls(), texts({"startCapture(internal, 100, 1, 5, 7)"}));
}

TEST(SchedulerStart, ATabOfARefusedStartLeavesNothingBehindWhenItIsClosed) {
    SchedulerStage stage;
    stage.port.refuses = true;
    const auto tab = stage.makeTab("A");
    stage.scheduler.startExperiment(tab.get());
    EXPECT_EQ(stage.flag, QStringLiteral("Acquisition: tag stream"));
    stage.scheduler.forgetExperiment(tab.get());
    EXPECT_EQ(stage.flag, QStringLiteral("Acquisition: idle"));
    EXPECT_EQ(stage.detail, QStringLiteral("idle"));
    EXPECT_FALSE(stage.scheduler.isTagStreamActive());
}

TEST(SchedulerStart, TheEndOfTheAcquisitionStopsTheTabAndShowsIdle) {
    SchedulerStage stage;
    const auto tab = stage.makeTab("A");
    stage.scheduler.startExperiment(tab.get());
    stage.takeCalls();
    stage.takeSignals();
    stage.finish();
    EXPECT_EQ(tab->events, texts({"start", "stop"}));
    EXPECT_FALSE(tab->isRunning());
    EXPECT_EQ(stage.scheduler.runningExperiment(), nullptr);
    EXPECT_EQ(stage.scheduler.runningConsumerCount(), 0);
    EXPECT_FALSE(stage.scheduler.isTagStreamActive());
    EXPECT_FALSE(stage.scheduler.isSwitchingAcquisition());
    EXPECT_EQ(stage.takeCalls(), texts({"refreshClockStatus"}));
    EXPECT_EQ(stage.takeSignals(), texts({"detail: idle", "flag: Acquisition: idle (muted)", "state"}));
}

TEST(SchedulerStart, ANewStartAfterTheEndIsFreshAgain) {
    SchedulerStage stage;
    const auto tab = stage.makeTab("A");
    stage.scheduler.startExperiment(tab.get());
    stage.finish();
    stage.scheduler.startExperiment(tab.get());
    EXPECT_EQ(tab->events, texts({"start", "stop", "start"}));
    EXPECT_EQ(stage.scheduler.runningConsumerCount(), 1);
}

// What runs is read from the acquisition, which may have ended without having told it yet.
TEST(SchedulerStart, InTheGapBeforeTheEndIsToldAStartTakesTheIdlePath) {
    SchedulerStage stage;
    const auto first = stage.makeTab("A");
    const auto second = stage.makeTab("B");
    stage.scheduler.startExperiment(first.get());
    stage.takeCalls();
    stage.port.capturing = false;
    stage.scheduler.startExperiment(second.get());
    EXPECT_EQ(stage.takeCalls(), texts({"startCapture(external, 100000, 4096, 15, 200000)"}));
    EXPECT_EQ(stage.scheduler.runningExperiment(), second.get());
    EXPECT_EQ(stage.scheduler.runningConsumerCount(), 1);
}

} // namespace
} // namespace qorn::testing
