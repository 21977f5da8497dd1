#include "DetachableTabWidget.h"

#include "MessageGuard.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QDockWidget>
#include <QLabel>
#include <QMainWindow>
#include <QMenu>
#include <QPointer>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTabBar>
#include <QTest>
#include <QToolButton>
#include <QVBoxLayout>

#include <gtest/gtest.h>

#include <memory>

namespace qorn::timetagger::gui {
namespace {

// A main window with three tabs, as the workspace has them.
struct Workspace {
    Workspace() {
        // What the windowless platform says of windows that come to the front.
        qorn::testing::MessageGuard::allow(QStringLiteral("This plugin does not support"));
        tabs = new DetachableTabWidget;
        for (const char* title : {"Counter 1", "Time tags 2", "Correlation 3"}) {
            auto* page = new QWidget;
            page->setObjectName(QString::fromLatin1(title));
            tabs->addTab(page, QString::fromLatin1(title));
        }
        window->setCentralWidget(tabs);
        window->resize(900, 600);
        window->show();
    }

    QList<QDockWidget*> docks() const { return window->findChildren<QDockWidget*>(); }
    QToolButton* addButton() const {
        for (QToolButton* button : tabs->findChildren<QToolButton*>()) {
            if (button->toolTip() == QStringLiteral("New measurement")) {
                return button;
            }
        }
        return nullptr;
    }
    QRect lastTab() const {
        const QRect rect = tabs->tabBar()->tabRect(tabs->count() - 1);
        return QRect(tabs->tabBar()->mapTo(tabs, rect.topLeft()), rect.size());
    }
    static void flushDeletions() { QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); }

    std::unique_ptr<QMainWindow> window = std::make_unique<QMainWindow>();
    DetachableTabWidget* tabs = nullptr;
};

TEST(DetachableTabWidget, TabsAreMovable) {
    const Workspace workspace;
    EXPECT_TRUE(workspace.tabs->isMovable());
}

TEST(DetachableTabWidget, DetachedPageStandsInAFloatingDockWithItsTitleAndSize) {
    Workspace workspace;
    QWidget* page = workspace.tabs->widget(0);
    const QSize size = page->size();
    workspace.tabs->detachTab(0);
    EXPECT_EQ(workspace.tabs->count(), 2);
    ASSERT_EQ(workspace.docks().size(), 1);
    const QDockWidget* dock = workspace.docks().front();
    EXPECT_EQ(dock->objectName(), QStringLiteral("ExperimentDock"));
    EXPECT_EQ(dock->windowTitle(), QStringLiteral("Counter 1"));
    EXPECT_TRUE(dock->isAncestorOf(page));
    EXPECT_EQ(page->size(), dock->widget()->size());
    EXPECT_EQ(dock->size(), size);
    EXPECT_TRUE(dock->isFloating());
    EXPECT_TRUE(dock->isVisible());
    EXPECT_TRUE(page->isVisible());
    EXPECT_EQ(dock->allowedAreas(), Qt::AllDockWidgetAreas);
    EXPECT_EQ(dock->features(), QDockWidget::DockWidgetClosable | QDockWidget::DockWidgetMovable |
                                    QDockWidget::DockWidgetFloatable);
    EXPECT_EQ(workspace.window->dockWidgetArea(workspace.docks().front()), Qt::RightDockWidgetArea);
}

TEST(DetachableTabWidget, APageThatIsNotCurrentIsShownInItsDock) {
    Workspace workspace;
    QWidget* page = workspace.tabs->widget(2);
    ASSERT_FALSE(page->isVisible());
    workspace.tabs->detachTab(2);
    EXPECT_TRUE(page->isVisible());
}

// Two pages beside each other need more than the window has.
TEST(DetachableTabWidget, ADockedPageThatNeedsMoreRoomThanThereIsScrolls) {
    Workspace workspace;
    for (int i = 0; i < workspace.tabs->count(); ++i) {
        auto* content = new QWidget;
        content->setMinimumSize(640, 500);
        auto* layout = new QVBoxLayout(workspace.tabs->widget(i));
        layout->addWidget(content);
    }
    QWidget* page = workspace.tabs->widget(1);
    workspace.tabs->detachTab(1);
    QDockWidget* dock = workspace.docks().front();
    dock->setFloating(false);
    QCoreApplication::processEvents();
    const QRect room = workspace.window->rect();
    EXPECT_TRUE(room.contains(dock->geometry())) << "the pane is not cut";
    EXPECT_TRUE(room.contains(workspace.window->centralWidget()->geometry())) << "nor are the tabs";
    EXPECT_LT(dock->width(), page->minimumSizeHint().width());
    EXPECT_GE(page->width(), page->minimumSizeHint().width());
    const auto* area = dock->findChild<QScrollArea*>();
    ASSERT_NE(area, nullptr);
    EXPECT_EQ(area->horizontalScrollBar()->maximum(), page->width() - area->viewport()->width());
    EXPECT_TRUE(area->horizontalScrollBar()->isVisible());
    dock->close();
    EXPECT_EQ(workspace.tabs->currentWidget(), page);
    EXPECT_EQ(page->parentWidget(), workspace.tabs->widget(0)->parentWidget());
}

TEST(DetachableTabWidget, ADetachedAndClosedPageComesBackUnderItsOldTitleAsTheLastTab) {
    Workspace workspace;
    const QPointer<QWidget> page(workspace.tabs->widget(0));
    workspace.tabs->detachTab(0);
    const QPointer<QDockWidget> dock(workspace.docks().front());
    dock->close();
    ASSERT_NE(page, nullptr);
    EXPECT_EQ(workspace.tabs->count(), 3);
    EXPECT_EQ(workspace.tabs->indexOf(page), 2);
    EXPECT_EQ(workspace.tabs->tabText(2), QStringLiteral("Counter 1"));
    EXPECT_EQ(workspace.tabs->currentWidget(), page);
    EXPECT_TRUE(page->isVisible());
    Workspace::flushDeletions();
    EXPECT_EQ(dock, nullptr);
    EXPECT_NE(page, nullptr);
}

TEST(DetachableTabWidget, APageCanLeaveAndReturnAgainAndAgain) {
    Workspace workspace;
    const QPointer<QWidget> page(workspace.tabs->widget(1));
    for (int round = 0; round < 3; ++round) {
        workspace.tabs->detachTab(workspace.tabs->indexOf(page));
        ASSERT_EQ(workspace.tabs->detachedPages(), QList<QWidget*>{page});
        workspace.docks().front()->close();
        Workspace::flushDeletions();
        ASSERT_EQ(workspace.tabs->tabText(workspace.tabs->indexOf(page)), QStringLiteral("Time tags 2"));
        ASSERT_TRUE(workspace.docks().isEmpty());
    }
}

TEST(DetachableTabWidget, AnIndexOutOfRangeDetachesNothing) {
    Workspace workspace;
    for (const int index : {-1, 3, 1000}) {
        workspace.tabs->detachTab(index);
    }
    EXPECT_EQ(workspace.tabs->count(), 3);
    EXPECT_TRUE(workspace.docks().isEmpty());
}

TEST(DetachableTabWidget, OutsideAMainWindowAPageStaysInTheBar) {
    DetachableTabWidget tabs;
    auto* page = new QWidget;
    tabs.addTab(page, QStringLiteral("Counter 1"));
    tabs.detachTab(0);
    EXPECT_EQ(tabs.widget(0), page);
}

TEST(DetachableTabWidget, ADoubleClickOnATabDetachesIt) {
    Workspace workspace;
    QTabBar* bar = workspace.tabs->tabBar();
    const QPoint target = bar->tabRect(1).center();
    QTest::mouseClick(bar, Qt::LeftButton, Qt::NoModifier, target);
    QTest::mouseDClick(bar, Qt::LeftButton, Qt::NoModifier, target);
    ASSERT_EQ(workspace.docks().size(), 1);
    EXPECT_EQ(workspace.docks().front()->windowTitle(), QStringLiteral("Time tags 2"));
    // The bar goes on as before: the next press and drag act on the tabs that are left.
    QTest::mousePress(bar, Qt::LeftButton, Qt::NoModifier, bar->tabRect(0).center());
    QTest::mouseMove(bar, bar->tabRect(1).center());
    QTest::mouseRelease(bar, Qt::LeftButton, Qt::NoModifier, bar->tabRect(1).center());
    EXPECT_EQ(workspace.tabs->count(), 2);
}

TEST(DetachableTabWidget, TheContextMenuOfATabOpensItInADockPane) {
    Workspace workspace;
    QTabBar* bar = workspace.tabs->tabBar();
    const QPoint target = bar->tabRect(2).center();
    QContextMenuEvent event(QContextMenuEvent::Mouse, target, bar->mapToGlobal(target));
    QCoreApplication::sendEvent(bar, &event);
    auto* menu = workspace.tabs->findChild<QMenu*>();
    ASSERT_NE(menu, nullptr);
    ASSERT_EQ(menu->actions().size(), 1);
    EXPECT_EQ(menu->actions().front()->text(), QStringLiteral("Open in dock pane"));
    // What was under the pointer counts, wherever it has moved since.
    bar->moveTab(2, 0);
    menu->actions().front()->trigger();
    menu->close();
    ASSERT_EQ(workspace.docks().size(), 1);
    EXPECT_EQ(workspace.docks().front()->windowTitle(), QStringLiteral("Correlation 3"));
}

TEST(DetachableTabWidget, TheMenuKeyOpensTheMenuOfTheCurrentTab) {
    Workspace workspace;
    QTabBar* bar = workspace.tabs->tabBar();
    workspace.tabs->setCurrentIndex(2);
    // The key comes with the middle of the bar, which is over another tab.
    const QPoint middle = bar->tabRect(0).center();
    QContextMenuEvent event(QContextMenuEvent::Keyboard, middle, bar->mapToGlobal(middle));
    QCoreApplication::sendEvent(bar, &event);
    auto* menu = workspace.tabs->findChild<QMenu*>();
    ASSERT_NE(menu, nullptr);
    menu->actions().front()->trigger();
    menu->close();
    ASSERT_EQ(workspace.docks().size(), 1);
    EXPECT_EQ(workspace.docks().front()->windowTitle(), QStringLiteral("Correlation 3"));
}

TEST(DetachableTabWidget, TheButtonThatClosesATabSaysWhich) {
    Workspace workspace;
    workspace.tabs->setTabsClosable(true);
    auto* page = new QWidget;
    const int index = workspace.tabs->addTab(page, QStringLiteral("Frequency 4"));
    QTabBar* bar = workspace.tabs->tabBar();
    EXPECT_EQ(bar->tabButton(index, QTabBar::RightSide)->accessibleName(),
              QStringLiteral("Close Frequency 4"));
    workspace.tabs->detachTab(index);
    workspace.tabs->reattachAll();
    EXPECT_EQ(bar->tabButton(workspace.tabs->indexOf(page), QTabBar::RightSide)->accessibleName(),
              QStringLiteral("Close Frequency 4"));
}

TEST(DetachableTabWidget, TheContextMenuStaysAwayFromTheEmptyPartOfTheBar) {
    Workspace workspace;
    QTabBar* bar = workspace.tabs->tabBar();
    const QPoint target(bar->width() + 20, 5);
    QContextMenuEvent event(QContextMenuEvent::Mouse, target, bar->mapToGlobal(target));
    QCoreApplication::sendEvent(bar, &event);
    EXPECT_EQ(workspace.tabs->findChild<QMenu*>(), nullptr);
}

TEST(DetachableTabWidget, ReattachAllBringsEveryPageBack) {
    Workspace workspace;
    workspace.tabs->detachTab(2);
    workspace.tabs->detachTab(0);
    EXPECT_EQ(workspace.tabs->detachedPages().size(), 2);
    workspace.tabs->reattachAll();
    EXPECT_TRUE(workspace.tabs->detachedPages().isEmpty());
    QStringList titles;
    for (int i = 0; i < workspace.tabs->count(); ++i) {
        titles.append(workspace.tabs->tabText(i));
    }
    EXPECT_EQ(titles, (QStringList{QStringLiteral("Time tags 2"), QStringLiteral("Correlation 3"),
                                   QStringLiteral("Counter 1")}));
}

TEST(DetachableTabWidget, ADetachedPageThatIsDeletedTakesItsDockAlong) {
    Workspace workspace;
    QWidget* page = workspace.tabs->widget(0);
    workspace.tabs->detachTab(0);
    delete page;
    EXPECT_TRUE(workspace.tabs->detachedPages().isEmpty());
    Workspace::flushDeletions();
    EXPECT_TRUE(workspace.docks().isEmpty());
    EXPECT_EQ(workspace.tabs->count(), 2);
}

TEST(DetachableTabWidget, ADockWhoseTabWidgetIsGoneClosesWithItsPage) {
    Workspace workspace;
    const QPointer<QWidget> page(workspace.tabs->widget(0));
    workspace.tabs->detachTab(0);
    delete workspace.window->takeCentralWidget();
    const QPointer<QDockWidget> dock(workspace.docks().front());
    dock->close();
    Workspace::flushDeletions();
    EXPECT_EQ(dock, nullptr);
    EXPECT_EQ(page, nullptr);
}

TEST(DetachableTabWidget, TheMainWindowTakesItsDetachedPagesAlong) {
    Workspace workspace;
    const QPointer<QWidget> page(workspace.tabs->widget(0));
    workspace.tabs->detachTab(0);
    workspace.window.reset();
    EXPECT_EQ(page, nullptr);
}

TEST(DetachableTabWidget, TheAddButtonAsksForANewMeasurement) {
    Workspace workspace;
    QSignalSpy asked(workspace.tabs, &DetachableTabWidget::addRequested);
    ASSERT_NE(workspace.addButton(), nullptr);
    QTest::mouseClick(workspace.addButton(), Qt::LeftButton);
    EXPECT_EQ(asked.count(), 1);
}

TEST(DetachableTabWidget, TheAddButtonFollowsTheLastTab) {
    Workspace workspace;
    const QToolButton* button = workspace.addButton();
    ASSERT_NE(button, nullptr);
    const auto expectBehindLastTab = [&](const char* when) {
        EXPECT_GT(button->x(), workspace.lastTab().right()) << when;
        EXPECT_LT(button->x(), workspace.lastTab().right() + 12) << when;
        EXPECT_TRUE(workspace.tabs->rect().contains(button->geometry())) << when;
    };
    expectBehindLastTab("at first");
    workspace.tabs->tabBar()->moveTab(2, 0);
    expectBehindLastTab("after a move");
    workspace.window->resize(1400, 700);
    expectBehindLastTab("after a resize");
    workspace.tabs->addTab(new QWidget, QStringLiteral("A rather long title of a tab 4"));
    QCoreApplication::sendPostedEvents();
    expectBehindLastTab("after an insertion");
    delete workspace.tabs->widget(3);
    QCoreApplication::sendPostedEvents();
    expectBehindLastTab("after a removal");
    workspace.tabs->setTabText(2, QStringLiteral("A title that has grown"));
    QCoreApplication::sendPostedEvents();
    expectBehindLastTab("after a new title");
}

TEST(DetachableTabWidget, WithoutTabsTheAddButtonStandsAtTheStart) {
    Workspace workspace;
    while (workspace.tabs->count() > 0) {
        delete workspace.tabs->widget(0);
    }
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(workspace.addButton()->pos(), QPoint(0, 0));
    EXPECT_TRUE(workspace.addButton()->isVisible());
}

TEST(DetachableTabWidget, TheAddButtonStaysInSightAndClearOfTheBarWhenTheTabsOverflow) {
    Workspace workspace;
    for (int i = 0; i < 30; ++i) {
        workspace.tabs->addTab(new QWidget, QStringLiteral("Multi correlation %1").arg(i));
    }
    QCoreApplication::sendPostedEvents();
    const QToolButton* button = workspace.addButton();
    EXPECT_TRUE(workspace.tabs->rect().contains(button->geometry()));
    EXPECT_FALSE(workspace.tabs->tabBar()->geometry().intersects(button->geometry()));
}

TEST(DetachableTabWidget, TheAddButtonLeavesTheScrollButtonsFreeWhicheverTabIsShown) {
    Workspace workspace;
    for (int i = 0; i < 12; ++i) {
        workspace.tabs->addTab(new QWidget, QStringLiteral("Multi correlation %1").arg(i));
    }
    const QTabBar* bar = workspace.tabs->tabBar();
    for (int index = workspace.tabs->count() - 1; index >= 0; --index) {
        workspace.tabs->setCurrentIndex(index);
        workspace.window->resize(700 + index, 500); // which places the button anew
        QCoreApplication::processEvents();
        EXPECT_TRUE(workspace.tabs->rect().contains(workspace.addButton()->geometry()));
        EXPECT_FALSE(bar->geometry().intersects(workspace.addButton()->geometry())) << index;
    }
}

} // namespace
} // namespace qorn::timetagger::gui
