// The keys of the workspace, pressed where the operator is at that moment.
#include "BarChartWidget.h"
#include "KeyboardReach.h"
#include "MeasurementToolbar.h"
#include "SplitView.h"
#include "WidgetFinder.h"
#include "WindowStage.h"

#include <QAction>
#include <QDialog>
#include <QDockWidget>
#include <QFileDialog>
#include <QHelpEvent>
#include <QMenu>
#include <QPointer>
#include <QPushButton>
#include <QSpinBox>
#include <QTabBar>
#include <QToolButton>
#include <QToolTip>

#include <gtest/gtest.h>

namespace qorn::testing {
namespace {

struct KeyStage : WindowStage {
    KeyStage() {
        connected = connectUnit();
        QApplication::setActiveWindow(&window());
    }
    // Presses a key in whatever has the focus.
    static void key(Qt::Key pressed, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QWidget* focus = QApplication::focusWidget();
        QTest::keyClick(focus != nullptr ? focus : QApplication::activeWindow(), pressed, modifiers);
    }
    static void activate(QWidget& shown, QWidget& focus) {
        QApplication::setActiveWindow(&shown);
        focus.setFocus();
        ASSERT_EQ(QApplication::focusWidget(), &focus);
    }
    gui::ExperimentTab& timeTags() { return addTab("Time tags"); }

    bool connected = false;
};

TEST(WindowAccessKeys, PlayPauseStopAndResetAreThoseOfTheCurrentTab) {
    KeyStage stage;
    ASSERT_TRUE(stage.connected);
    gui::ExperimentTab& tab = stage.timeTags();
    KeyStage::key(Qt::Key_F5);
    ASSERT_TRUE(stage.waitForData(tab));
    EXPECT_TRUE(tab.isRunning());
    EXPECT_FALSE(stage.tab(0).isRunning());
    KeyStage::key(Qt::Key_F6);
    EXPECT_FALSE(tab.isRunning());
    ASSERT_TRUE(stage.waitForIdle());
    EXPECT_TRUE(WindowStage::statusOf(tab).startsWith(QStringLiteral("stopped after")));
    KeyStage::key(Qt::Key_F8); // of a stopped tab starts it
    ASSERT_TRUE(waitUntil([&] { return tab.isRunning(); }));
    KeyStage::key(Qt::Key_F7);
    EXPECT_FALSE(tab.isRunning());
    EXPECT_TRUE(stage.waitForIdle());
}

TEST(WindowAccessKeys, WorkInAFieldThatIsBeingFilledIn) {
    KeyStage stage;
    ASSERT_TRUE(stage.connected);
    auto* field = stage.tab(0).findChild<QAbstractSpinBox*>();
    ASSERT_NE(field, nullptr);
    KeyStage::activate(stage.window(), *field);
    KeyStage::key(Qt::Key_F5);
    EXPECT_TRUE(stage.tab(0).isRunning());
    KeyStage::key(Qt::Key_F7);
    EXPECT_FALSE(stage.tab(0).isRunning());
}

TEST(WindowAccessKeys, AKeyOfADisabledButtonDoesNothing) {
    KeyStage stage;
    ASSERT_TRUE(stage.connected);
    KeyStage::key(Qt::Key_F6);
    EXPECT_TRUE(stage.boxes().isEmpty());
    EXPECT_EQ(stage.flag("Acquisition"), QStringLiteral("Acquisition: idle"));
}

TEST(WindowAccessKeys, MeanTheTabInADockPaneThatHasTheFocus) {
    for (const bool floating : {true, false}) {
        KeyStage stage;
        ASSERT_TRUE(stage.connected);
        gui::ExperimentTab& tab = stage.timeTags();
        stage.tabs().detachTab(1);
        auto* dock = stage.window().findChild<QDockWidget*>(QStringLiteral("ExperimentDock"));
        dock->setFloating(floating);
        QCoreApplication::processEvents();
        KeyStage::activate(*tab.window(), *tab.plotWidget());
        KeyStage::key(Qt::Key_F5);
        EXPECT_TRUE(tab.isRunning()) << floating;
        EXPECT_FALSE(stage.tab(0).isRunning()) << floating;
        KeyStage::key(Qt::Key_F7);
        EXPECT_FALSE(tab.isRunning()) << floating;

        auto* field = stage.tab(0).findChild<QAbstractSpinBox*>();
        KeyStage::activate(stage.window(), *field);
        KeyStage::key(Qt::Key_F5);
        EXPECT_TRUE(waitUntil([&] { return stage.tab(0).isRunning(); })) << "now the one in the bar";
        EXPECT_FALSE(tab.isRunning()) << floating;
    }
}

TEST(WindowAccessKeys, MeanTheTabWhosePlotHasTheFocusInTheSplitView) {
    KeyStage stage;
    ASSERT_TRUE(stage.connected);
    gui::ExperimentTab& lent = stage.timeTags();
    Q_EMIT lent.splitRequested();
    stage.tabs().setCurrentIndex(0);
    KeyStage::activate(*lent.plotWidget()->window(), *lent.plotWidget());
    KeyStage::key(Qt::Key_F5);
    EXPECT_TRUE(lent.isRunning());
    EXPECT_FALSE(stage.tab(0).isRunning());
}

TEST(WindowAccessKeys, CloseEndsTheCurrentTab) {
    KeyStage stage;
    ASSERT_TRUE(stage.connected);
    const QPointer<gui::ExperimentTab> tab(&stage.timeTags());
    KeyStage::key(Qt::Key_W, Qt::ControlModifier);
    EXPECT_EQ(tab, nullptr);
    EXPECT_EQ(stage.tabs().count(), 1);
    KeyStage::key(Qt::Key_W, Qt::ControlModifier);
    EXPECT_EQ(stage.tabs().count(), 0);
    KeyStage::key(Qt::Key_W, Qt::ControlModifier);
    EXPECT_TRUE(stage.window().isVisible());
}

TEST(WindowAccessKeys, CloseBringsADetachedTabBack) {
    for (const bool floating : {true, false}) {
        KeyStage stage;
        ASSERT_TRUE(stage.connected);
        const QPointer<gui::ExperimentTab> tab(&stage.timeTags());
        stage.tabs().detachTab(1);
        stage.window().findChild<QDockWidget*>(QStringLiteral("ExperimentDock"))->setFloating(floating);
        QCoreApplication::processEvents();
        KeyStage::activate(*tab->window(), *tab->plotWidget());
        KeyStage::key(Qt::Key_W, Qt::ControlModifier);
        EXPECT_EQ(stage.tabs().indexOf(tab), 1) << floating;
    }
}

TEST(WindowAccessKeys, CloseInTheSplitViewReturnsThePlots) {
    KeyStage stage;
    ASSERT_TRUE(stage.connected);
    gui::ExperimentTab& tab = stage.timeTags();
    Q_EMIT tab.splitRequested();
    KeyStage::activate(*tab.plotWidget()->window(), *tab.plotWidget());
    KeyStage::key(Qt::Key_W, Qt::ControlModifier);
    EXPECT_FALSE(stage.window().findChild<gui::SplitView*>()->isVisible());
    EXPECT_TRUE(tab.isAncestorOf(tab.plotWidget()));
    EXPECT_EQ(stage.tabs().count(), 2);
}

TEST(WindowAccessKeys, NewTabAsksForItsType) {
    KeyStage stage;
    ASSERT_TRUE(stage.connected);
    QString title;
    answerNextDialog([&](QWidget& dialog) {
        title = dialog.windowTitle();
        qobject_cast<QDialog*>(&dialog)->accept();
    });
    KeyStage::key(Qt::Key_T, Qt::ControlModifier);
    EXPECT_EQ(title, QStringLiteral("New experiment"));
    EXPECT_EQ(stage.tabs().count(), 2);
}

TEST(WindowAccessKeys, SaveImageAsksForTheFile) {
    KeyStage stage;
    ASSERT_TRUE(stage.connected);
    int asked = 0;
    QObject::connect(stage.tab(0).findChild<gui::MeasurementToolbar*>(),
                     &gui::MeasurementToolbar::saveImageTriggered, [&] { ++asked; });
    KeyStage::key(Qt::Key_S, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(asked, 1);
    for (QDialog* dialog : stage.window().findChildren<QDialog*>()) {
        dialog->reject();
    }
}

TEST(WindowAccessKeys, OnTheConnectPageF5LooksForDevicesAndTheOthersDoNothing) {
    WindowStage stage;
    stage.openWindow();
    ASSERT_TRUE(waitUntil([&] { return !stage.window().setupPage().selectedPort().isEmpty(); }));
    stage.addTab("Counter");
    QApplication::setActiveWindow(&stage.window());
    int scans = 0;
    QObject::connect(&stage.controller(), &gui::DeviceController::discoveryStarted, [&] { ++scans; });
    for (const Qt::Key key : {Qt::Key_F5, Qt::Key_F6, Qt::Key_F7, Qt::Key_F8}) {
        KeyStage::key(key);
    }
    KeyStage::key(Qt::Key_W, Qt::ControlModifier);
    KeyStage::key(Qt::Key_T, Qt::ControlModifier);
    EXPECT_TRUE(waitUntil([&] { return scans > 0; }));
    EXPECT_EQ(scans, 1);
    EXPECT_EQ(stage.tabs().count(), 1);
    EXPECT_FALSE(stage.tab(0).isRunning());
    EXPECT_TRUE(waitUntil([&] { return !stage.window().setupPage().selectedPort().isEmpty(); }));
}

TEST(WindowAccessKeys, CollideWithNothing) {
    KeyStage stage;
    ASSERT_TRUE(stage.connected);
    stage.timeTags();
    EXPECT_EQ(clashingKeys(*stage.tabs().parentWidget()).join(QLatin1Char(' ')).toStdString(), "");
    EXPECT_EQ(stage.menuAction("&New experiment...")->shortcut(), gui::DetachableTabWidget::addKey());
}

// The tool tip of a button as it is shown.
QString shownTip(QWidget& button) {
    QHelpEvent event(QEvent::ToolTip, QPoint(2, 2), button.mapToGlobal(QPoint(2, 2)));
    QCoreApplication::sendEvent(&button, &event);
    const QString text = QToolTip::text();
    QToolTip::hideText();
    return text;
}

TEST(WindowAccessKeys, AreToldInTheToolTips) {
    KeyStage stage;
    ASSERT_TRUE(stage.connected);
    auto* toolbar = stage.tab(0).findChild<gui::MeasurementToolbar*>();
    QStringList told;
    for (QToolButton* button : toolbar->findChildren<QToolButton*>()) {
        const QString tip = shownTip(*button);
        if (tip.contains(QLatin1Char('['))) {
            told.append(tip);
            EXPECT_TRUE(tip.startsWith(button->toolTip() + QStringLiteral(" ["))) << tip.toStdString();
            EXPECT_EQ(button->accessibleDescription(), tip);
        }
    }
    EXPECT_EQ(told.join(QLatin1Char('\n')).toStdString(),
              "Play (resumes after Pause, starts fresh after Stop) [F5]\n"
              "Pause (keeps data; Play resumes) [F6]\n"
              "Stop (Play starts a fresh acquisition) [F7]\n"
              "Reset measurement (clear displayed accumulators without stopping the stream) [F8]\n"
              "Save plot image [Ctrl+Shift+S]");
    EXPECT_EQ(shownTip(*stage.tabs().findChild<QToolButton*>(QStringLiteral("AddTabButton"))),
              QStringLiteral("New measurement [Ctrl+T]"));
    EXPECT_EQ(shownTip(*stage.tabs().tabBar()->tabButton(0, QTabBar::RightSide)),
              QStringLiteral("Close Tab [Ctrl+W]"));
}

} // namespace
} // namespace qorn::testing
