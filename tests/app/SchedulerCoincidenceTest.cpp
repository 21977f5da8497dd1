// What the Coincidence tab asks the acquisition for, and what it tells the operator of it.
#include "CoincidenceTab.h"
#include "QtPrinting.h"
#include "SchedulerStage.h"
#include "StoredSettings.h"

#include <QJsonArray>
#include <QLabel>

#include <gtest/gtest.h>

namespace qorn::testing {
namespace {

using gui::FlagState;

constexpr const char* kHardware = "acquiring hardware coincidences...";
constexpr const char* kTagStream = "acquiring coincidences from the tag stream...";
constexpr const char* kStreamDetail = "coincidence (USB / Packed delta (16 bit / 8 ps), external)";

QString statusOf(const gui::CoincidenceTab& tab) {
    return tab.findChild<QLabel*>(QStringLiteral("status"))->text();
}

QJsonObject withWindows(const QJsonArray& windowsNs) {
    return {{QStringLiteral("gateSec"), 0.5}, {QStringLiteral("pairWindowsNs"), windowsNs}};
}

QJsonObject withOffset(double ns, bool enabled = true) {
    return {{QStringLiteral("gateSec"), 0.5},
            {QStringLiteral("offsetsEnabled"), enabled},
            {QStringLiteral("offsetNs2"), ns}};
}

struct EngineCase {
    const char* name;
    QJsonObject config;
    bool hardware;
};

void PrintTo(const EngineCase& row, std::ostream* out) {
    *out << row.name;
}

class CoincidenceStart : public ::testing::TestWithParam<EngineCase> {};

TEST_P(CoincidenceStart, TakesTheStreamForWhatTheHardwareCannotCount) {
    SchedulerStage stage;
    stage.scheduler.setSignalSource({false, 12.5});
    gui::CoincidenceTab tab;
    tab.loadConfig(GetParam().config);
    EXPECT_EQ(tab.requiresTagStreaming(), !GetParam().hardware);
    stage.scheduler.startExperiment(&tab);
    if (GetParam().hardware) {
        EXPECT_EQ(stage.takeCalls(), texts({"startCoincidence(0.5, external, 12500)"}));
        EXPECT_EQ(stage.detail, QStringLiteral("coincidence (external, hardware)"));
        EXPECT_EQ(stage.flag, QStringLiteral("Acquisition: hardware coincidence"));
        EXPECT_EQ(stage.flagState, FlagState::Good);
    } else {
        EXPECT_EQ(stage.takeCalls(), texts({"startCapture(external, 12500, 65536, 15, 16000000)"}));
        EXPECT_EQ(stage.detail, QString::fromUtf8(kStreamDetail));
        EXPECT_EQ(stage.flag, QStringLiteral("Acquisition: tag stream"));
        EXPECT_EQ(stage.flagState, FlagState::Active);
    }
    EXPECT_EQ(stage.scheduler.isTagStreamActive(), !GetParam().hardware);
    EXPECT_EQ(statusOf(tab), QString::fromUtf8(GetParam().hardware ? kHardware : kTagStream));
    stage.finish();
}

INSTANTIATE_TEST_SUITE_P(
    Settings, CoincidenceStart,
    ::testing::Values(
        EngineCase{"OneCycle", withWindows({}), true},
        EngineCase{"ThreeCycles", withWindows({10, 10, 10, 10, 10, 10}), true},
        EngineCase{"BetweenCycles", withWindows({10.001, 10.001, 10.001, 10.001, 10.001, 10.001}), false},
        EngineCase{"BelowACycle", withWindows({0.001, 0.001, 0.001, 0.001, 0.001, 0.001}), false},
        EngineCase{"TwoWindows", withWindows({10, 10, 10, 10, 10, 20}), false},
        EngineCase{"OffsetOfACycle", withOffset(-3.333), true},
        EngineCase{"OffsetBetweenCycles", withOffset(3), false},
        EngineCase{"OffsetBeyondTheRegister", withOffset(3e6), false},
        EngineCase{"OffsetThatIsOff", withOffset(3, false), true},
        EngineCase{"Software",
                   {{QStringLiteral("gateSec"), 0.5},
                    {QStringLiteral("acquisitionMode"), QStringLiteral("software")}},
                   false}),
    [](const auto& test) { return test.param.name; });

TEST(CoincidenceStart, HandsItsWindowsAndOffsetsToTheHardware) {
    SchedulerStage stage;
    gui::CoincidenceTab tab;
    QJsonObject config = withOffset(-6.667);
    config.insert(QStringLiteral("pairWindowsNs"), QJsonArray{20, 20, 20, 20, 20, 20});
    tab.loadConfig(config);
    stage.scheduler.startExperiment(&tab);
    EXPECT_EQ(stage.port.coincidence.gateSeconds, 0.5);
    EXPECT_EQ(stage.port.coincidence.pairWindowsPs,
              (std::array<qint64, 6>{20000, 20000, 20000, 20000, 20000, 20000}));
    EXPECT_EQ(stage.port.coincidence.offsetsPs, (std::array<qint64, 4>{0, -6667, 0, 0}));
    EXPECT_EQ(stage.port.coincidence.channelMask, 15);
    stage.finish();
}

TEST(CoincidenceStart, OverARelayItCountsTheStream) {
    SchedulerStage stage;
    stage.port.device = false;
    stage.port.relay = true;
    stage.port.transport = QStringLiteral("Network relay / Raw64");
    gui::CoincidenceTab tab;
    stage.scheduler.startExperiment(&tab);
    EXPECT_EQ(stage.takeCalls(), texts({"startCapture(network relay, 10000, 65536, 15, 16000000)"}));
    EXPECT_EQ(stage.detail, QStringLiteral("coincidence (Network relay / Raw64, network relay)"));
    EXPECT_EQ(statusOf(tab), QString::fromUtf8(kTagStream));
    stage.finish();
}

TEST(CoincidenceStart, WithARecordingItCountsTheStream) {
    storedSettings().setValue(QStringLiteral("measurement/coincidence/timeTagsEnabled"), true);
    SchedulerStage stage;
    gui::CoincidenceTab tab;
    stage.scheduler.startExperiment(&tab);
    EXPECT_TRUE(stage.scheduler.isTagStreamActive());
    EXPECT_FALSE(stage.port.recording.path.isEmpty());
    EXPECT_EQ(statusOf(tab), QString::fromUtf8(kTagStream));
    stage.finish();
}

TEST(CoincidenceStart, JoinsARunningStreamAndThenGoesBackToTheHardware) {
    SchedulerStage stage;
    const auto streamer = stage.makeTab("S");
    gui::CoincidenceTab tab;
    stage.scheduler.startExperiment(streamer.get());
    stage.scheduler.startExperiment(&tab);
    EXPECT_TRUE(stage.scheduler.isRunningConsumer(&tab));
    EXPECT_EQ(statusOf(tab), QString::fromUtf8(kTagStream));
    stage.finish();
    EXPECT_EQ(statusOf(tab), QStringLiteral("stopped after 0 sample(s)"));
    stage.takeCalls();
    stage.scheduler.startExperiment(&tab);
    EXPECT_EQ(stage.takeCalls(), texts({"startCoincidence(1, external, 10000)"}));
    EXPECT_EQ(statusOf(tab), QString::fromUtf8(kHardware));
    stage.finish();
}

// The window lets go of a start that the controller has refused, so that its settings can be mended.
TEST(CoincidenceStart, AfterARefusedStartTheSettingsCanBeChangedAgain) {
    SchedulerStage stage;
    stage.port.refuses = true;
    gui::CoincidenceTab tab;
    const auto* gate = tab.findChild<QWidget*>(QStringLiteral("gateSec"));
    ASSERT_NE(gate, nullptr);
    stage.scheduler.startExperiment(&tab);
    EXPECT_FALSE(gate->isEnabled());
    stage.scheduler.cancelExperiment(&tab);
    EXPECT_TRUE(gate->isEnabled());
}

} // namespace
} // namespace qorn::testing
