// The whole window without a mouse and without eyes.
#include "EveryDialog.h"
#include "ExperimentTab.h"
#include "KeyboardReach.h"
#include "SplitView.h"
#include "WidgetFinder.h"
#include "WindowStage.h"

#include <QAccessible>
#include <QLabel>
#include <QToolBar>

#include <gtest/gtest.h>

namespace qorn::testing {
namespace {

std::string lines(const QStringList& texts) {
    return texts.join(QLatin1Char('\n')).toStdString();
}

void expectReach(QWidget& shown, const std::string& what) {
    EXPECT_EQ(lines(outOfReach(shown)), "") << what;
    EXPECT_EQ(lines(clashingMnemonics(shown)), "") << what;
    EXPECT_EQ(lines(namelessButtons(shown)), "") << what;
}

TEST(WindowAccessReach, TheTabKeyComesToEveryControlOfTheConnectPage) {
    WindowStage stage;
    stage.openWindow();
    ASSERT_TRUE(waitUntil([&] { return !stage.window().setupPage().selectedPort().isEmpty(); }));
    expectReach(stage.window(), "connect page");
}

TEST(WindowAccessReach, TheTabKeyComesToEveryControlOfEveryTab) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    for (const QSize size : {QSize(900, 600), QSize(1800, 1000)}) {
        stage.window().resize(size);
        for (const char* type :
             {"Counter", "Coincidence", "Correlation", "Multi correlation", "Frequency", "Time tags"}) {
            stage.addTab(type);
            QCoreApplication::processEvents();
            expectReach(stage.window(), type);
        }
    }
}

TEST(WindowAccessReach, TheTabKeyComesToEveryControlOfADockPaneAndOfTheSplitView) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    gui::ExperimentTab& tab = stage.addTab("Time tags");
    Q_EMIT tab.splitRequested();
    expectReach(*stage.window().findChild<gui::SplitView*>(), "split view");
    stage.tabs().detachTab(1);
    QCoreApplication::processEvents();
    expectReach(*tab.window(), "dock pane");
}

TEST(WindowAccessReach, TheTabKeyComesToEveryControlOfEveryDialog) {
    for (const NamedDialog& named : everyDialog()) {
        lookThrough(named, [&](QDialog& dialog) { expectReach(dialog, named.name); });
    }
}

TEST(WindowAccessReach, TheSpaceKeyPressesAButtonOfTheToolbar) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    const auto* toolbar = stage.tab(0).findChild<QToolBar*>(QStringLiteral("MeasurementToolBar"));
    QWidget* play = toolbar->widgetForAction(toolbar->actions().constFirst());
    play->setFocus();
    ASSERT_EQ(stage.window().focusWidget(), play);
    QTest::keyClick(play, Qt::Key_Space);
    EXPECT_TRUE(stage.controller().isCapturing());
    EXPECT_TRUE(stage.window().focusWidget() != nullptr && stage.window().focusWidget()->isEnabled());
}

TEST(WindowAccessReach, StatusFlagsAreReadOutAsTheyStand) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    WindowStage::press(stage.tab(0), "Play");
    ASSERT_TRUE(stage.waitForData(stage.tab(0)));
    for (const char* beginning : {"Cal upload: ", "Clock lock: ", "Clock out: ", "Acquisition: "}) {
        EXPECT_FALSE(stage.flag(beginning).isEmpty()) << beginning;
    }
    QStringList described;
    for (QLabel* label : stage.window().findChildren<QLabel*>()) {
        QAccessibleInterface* reader = QAccessible::queryAccessibleInterface(label);
        if (label->objectName() == QLatin1String("StatusFlag")) {
            EXPECT_EQ(reader->text(QAccessible::Name), label->text());
            EXPECT_EQ(reader->role(), QAccessible::StaticText);
        }
        described.append(reader->text(QAccessible::Description));
    }
    // The two that do not say by themselves what they tell.
    EXPECT_TRUE(described.contains(QStringLiteral("Connection")));
    EXPECT_TRUE(described.contains(QStringLiteral("Acquisition detail")));
}

} // namespace
} // namespace qorn::testing
