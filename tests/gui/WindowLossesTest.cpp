// What the status bar tells of tags that got lost.
#include "BlockedFile.h"
#include "LossIndicator.h"
#include "RelaySocket.h"
#include "WindowStage.h"

#include <QElapsedTimer>
#include <QMessageBox>
#include <QSignalSpy>
#include <QStatusBar>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace qorn::testing {
namespace {

using namespace std::chrono_literals;

constexpr quint64 kRate = 10'000'000;

// Tags per second, made once and repeated.
QByteArray sceneOf(quint64 rate) {
    return QStringLiteral(R"({"units": [{"serial": "SIM00001", "repeat_block_ms": 100, "sources": [
        {"kind": "poisson", "input": 1, "rate_hz": %1},
        {"kind": "poisson", "input": 2, "rate_hz": %1}]}]})")
        .arg(rate / 2)
        .toUtf8();
}

class WindowLosses : public ::testing::Test {
protected:
    explicit WindowLosses(const QByteArray& scene = sceneOf(kRate)) : stage(scene) {}
    void SetUp() override {
        ASSERT_TRUE(stage.connectUnit());
        flag = stage.window().findChild<gui::LossIndicator*>();
        ASSERT_NE(flag, nullptr);
        EXPECT_FALSE(flag->isVisible());
    }
    void start(int maxUiTagsPerSecond, const QString& recording = {}) {
        stage.controller().startCapture(QStringLiteral("external"), 0.0, 65536, 15, maxUiTagsPerSecond,
                                        {recording, 0, 0});
    }
    void stop() {
        QSignalSpy ended(&stage.controller(), &gui::DeviceController::captureStopped);
        stage.controller().stopCapture();
        ASSERT_TRUE(waitUntil([&] { return !ended.isEmpty(); }));
    }
    static void run(int milliseconds) {
        QElapsedTimer timer;
        timer.start();
        waitUntil([&] { return timer.hasExpired(milliseconds); });
    }

    WindowStage stage;
    gui::LossIndicator* flag = nullptr;
};

// A disk that stands holds up the capture until the reader has to drop tags.
TEST_F(WindowLosses, WhatTheReaderDropsIsToldWithinASecondAndUntilItIsRead) {
    gui::test::BlockedFile disk;
    QString lastWords;
    QObject::connect(&stage.controller(), &gui::DeviceController::captureError,
                     [&](const QString& text) { lastWords = text; });
    start(0, disk.path()); // plots leave out none
    ASSERT_TRUE(waitUntil([&] { return flag->isVisible(); }));
    EXPECT_GT(flag->unreadLost(), 0U);
    EXPECT_LT(flag->unreadLost(), kRate) << "more than a second's worth";
    EXPECT_TRUE(stage.window().statusBar()->rect().contains(flag->geometry()));
    disk.drain();
    stop();

    const quint64 lost = flag->unreadLost();
    EXPECT_EQ(flag->text(), QStringLiteral("Tags lost: %1").arg(lost));
    EXPECT_EQ(flag->property("flagState").toString(), QStringLiteral("bad"));
    EXPECT_EQ(
        lastWords,
        QStringLiteral("This computer could not follow the instrument: %1 time tags were lost.").arg(lost));
    EXPECT_EQ(stage.takeBox(), lastWords);
    stage.window().statusBar()->showMessage(QStringLiteral("A message takes the place of other fields."));
    QCoreApplication::processEvents();
    EXPECT_TRUE(flag->isVisible()) << "it makes way for nothing";

    QTest::mouseClick(flag, Qt::LeftButton);
    EXPECT_FALSE(flag->isVisible());
    ASSERT_EQ(stage.boxes().size(), 1);
    EXPECT_FALSE(stage.boxes().constFirst()->isModal());
    EXPECT_TRUE(stage.takeBox().startsWith(QStringLiteral("%1 time tags were lost").arg(lost)));
}

// A client of the relay that reads nothing is thrown off with what it was still to get.
TEST_F(WindowLosses, WhatRelayClientsLoseIsToldUntilItIsRead) {
    QString error;
    ASSERT_TRUE(stage.controller().setRelayServerEnabled(true, 0, 0, &error)) << error.toStdString();
    const auto stats = [&] { return stage.controller().relayServerStats(); };
    const relay::RelaySocket deaf =
        relay::connectSocket({"127.0.0.1", stats().stream_port, stats().status_port}, nullptr);
    ASSERT_TRUE(static_cast<bool>(deaf));
    start(1'000'000);
    ASSERT_TRUE(waitUntil([&] { return stats().slow_clients_disconnected > 0; }));
    QElapsedTimer since;
    since.start();
    ASSERT_TRUE(waitUntil([&] { return flag->unreadNotRelayed() > 0; }));
    EXPECT_LT(since.elapsed(), 1000);
    EXPECT_EQ(flag->unreadNotRelayed(), stats().tags_lost);
    EXPECT_EQ(flag->property("flagState").toString(), QStringLiteral("bad"));
    stop();
    EXPECT_TRUE(flag->text().contains(QStringLiteral("not relayed: %1").arg(stats().tags_lost)));
    flag->showDetails();
    EXPECT_TRUE(stage.takeBox().contains(
        QStringLiteral("%1 time tags did not reach their relay clients").arg(stats().tags_lost)));
    EXPECT_FALSE(flag->isVisible());
}

// At a rate that every build can read: twice what may wait comes while the window stands.
class StandingWindow : public WindowLosses {
protected:
    static constexpr quint64 kFollowedRate = 2'500'000;
    static constexpr auto kStanding = 4s;
    StandingWindow() : WindowLosses(sceneOf(kFollowedRate)) {}
};

TEST_F(StandingWindow, WhatItDidNotShowIsToldWhenItIsBackAndThenAllIsShown) {
    // A slow build's first pass may bring more than a window's budget; what that leaves out is not looked at.
    start(static_cast<int>(kFollowedRate) * 2);
    run(500);
    EXPECT_EQ(flag->unreadNotShown(), 0U);
    std::this_thread::sleep_for(kStanding);
    QElapsedTimer back;
    back.start();
    ASSERT_TRUE(waitUntil([&] { return flag->unreadNotShown() > 0; }));
    EXPECT_LT(back.elapsed(), 1000);
    EXPECT_TRUE(flag->isVisible());
    EXPECT_TRUE(flag->text().contains(QStringLiteral("not shown: %1").arg(flag->unreadNotShown())))
        << flag->text().toStdString();
    EXPECT_EQ(flag->property("flagState").toString(), QStringLiteral("warning"));
    run(500); // what waited is shown
    const quint64 told = flag->unreadNotShown();
    run(1000);
    EXPECT_EQ(flag->unreadNotShown(), told) << "it follows again";
    stop();
    EXPECT_TRUE(stage.boxes().isEmpty());
    EXPECT_TRUE(flag->isVisible());
}

class HealthyWindow : public WindowLosses {
protected:
    HealthyWindow() : WindowLosses(standardScene()) {}
};

TEST_F(HealthyWindow, ARunWithoutLossesIsSilent) {
    gui::ExperimentTab& tab = stage.addTab("Correlation"); // with a budget of 16 million tags/s
    QSignalSpy flows(&stage.controller(), &gui::DeviceController::tagFlowChanged);
    WindowStage::press(tab, "Play");
    ASSERT_TRUE(waitUntil([&] { return flows.size() > 4; }));
    EXPECT_FALSE(flag->isVisible());
    WindowStage::press(tab, "Stop");
    ASSERT_TRUE(stage.waitForIdle());
    EXPECT_FALSE(flag->isVisible());
    EXPECT_TRUE(stage.boxes().isEmpty());
    const auto last = flows.constLast().constFirst().value<gui::UiTagFlow>();
    EXPECT_TRUE(last.ended);
    EXPECT_TRUE(last.balances());
    EXPECT_GT(last.window.shown, 0U);
    EXPECT_EQ(last.source.dropped + last.gui.thinned + last.gui.backlog, 0U);
}

} // namespace
} // namespace qorn::testing
