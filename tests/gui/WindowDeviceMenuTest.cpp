// The device menu as a whole: its entries, and when they are offered.
#include "DeviceMenuStage.h"
#include "QtPrinting.h"

#include <QMenu>
#include <QMenuBar>

namespace qorn::testing {
namespace {

constexpr const char* kEntries[] = {"&Calibrate...", "Clock settings...", "&Input settings...",
                                    "De&veloper settings..."};

TEST(WindowDeviceMenu, StandsBehindTheFileMenuWithItsEntriesInOrder) {
    DeviceMenuStage stage;
    stage.openWindow();
    const QList<QAction*> menus = stage.window().menuBar()->actions();
    ASSERT_GE(menus.size(), 3);
    EXPECT_EQ(menus[1]->text(), QStringLiteral("&Device"));
    QStringList entries;
    for (const QAction* action : menus[1]->menu()->actions()) {
        entries.append(action->isSeparator() ? QStringLiteral("|") : action->text());
    }
    EXPECT_EQ(entries, texts({"&Calibrate...", "Clock settings...", "Network relay...", "&Input settings...",
                              "|", "De&veloper settings..."}));
    EXPECT_EQ(stage.menuAction("De&veloper settings...")->toolTip(),
              QStringLiteral("TDL masks, calibration controls, and stream-format settings."));
}

TEST(WindowDeviceMenu, OffersNothingWithoutASource) {
    DeviceMenuStage stage;
    stage.openWindow();
    for (const char* entry : kEntries) {
        EXPECT_FALSE(stage.isOffered(entry)) << entry;
    }
    EXPECT_FALSE(stage.isOffered("Network relay..."));
}

TEST(WindowDeviceMenu, OffersTheRelayAloneWhileAMeasurementRuns) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    for (const char* entry : kEntries) {
        EXPECT_TRUE(stage.isOffered(entry)) << entry;
    }
    EXPECT_TRUE(stage.isOffered("Network relay..."));
    WindowStage::press(stage.tab(0), "Play");
    ASSERT_TRUE(stage.waitForData(stage.tab(0)));
    for (const char* entry : kEntries) {
        EXPECT_FALSE(stage.isOffered(entry)) << entry;
    }
    EXPECT_TRUE(stage.isOffered("Network relay..."));
    WindowStage::press(stage.tab(0), "Stop");
    ASSERT_TRUE(stage.waitForIdle());
    for (const char* entry : kEntries) {
        EXPECT_TRUE(stage.isOffered(entry)) << entry;
    }
}

} // namespace
} // namespace qorn::testing
