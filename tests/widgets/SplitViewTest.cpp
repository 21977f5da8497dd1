#include "SplitView.h"

#include "MessageGuard.h"
#include "TimeTagTab.h"
#include "WidgetFinder.h"

#include <QLabel>
#include <QMainWindow>
#include <QPointer>
#include <QPushButton>
#include <QSplitter>
#include <QTest>
#include <QVBoxLayout>

#include <gtest/gtest.h>

#include <memory>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::findButton;
using qorn::testing::MessageGuard;

// A tab with one plot that it can lend, and a count of what reached its plot meanwhile.
class LendingTab : public ExperimentTab {
public:
    explicit LendingTab(QString typeName, bool withPlot = true) : type(std::move(typeName)) {
        if (withPlot) {
            plot = new BarChartWidget;
            auto* layout = new QVBoxLayout(this);
            layout->addWidget(createPlotColumn(plot));
        }
    }
    ~LendingTab() override {
        if (watchPlot) {
            EXPECT_NE(plot, nullptr) << "a tab outlives the plot that it points to";
        }
    }
    QString experimentType() const override { return type; }
    BarChartWidget* plotWidget() const override { return plot; }
    bool plotIsAtHome() const { return plot != nullptr && isAncestorOf(plot); }
    bool showsPlaceholder() const {
        for (const QLabel* label : findChildren<QLabel*>()) {
            if (label->text() == QStringLiteral("Plot shown in split view")) {
                return true;
            }
        }
        return false;
    }

    QPointer<BarChartWidget> plot;
    bool watchPlot = false;

private:
    QString type;
};

struct Stage {
    Stage() { MessageGuard::allow(QStringLiteral("This plugin does not support")); }
    ~Stage() { flushDeletions(); }

    static void flushDeletions() { QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); }
    QSplitter* splitter() const { return view->findChild<QSplitter*>(); }

    QMainWindow window;
    std::unique_ptr<LendingTab> counter = std::make_unique<LendingTab>(QStringLiteral("Counter"));
    std::unique_ptr<LendingTab> timeTags = std::make_unique<LendingTab>(QStringLiteral("Time tags"));
    QPointer<SplitView> view = new SplitView(&window);
};

TEST(SplitView, IsAToolWindowWithAStackedSplitterThatCollapsesNothing) {
    const Stage stage;
    EXPECT_EQ(stage.view->windowTitle(), QStringLiteral("Split view"));
    EXPECT_TRUE(stage.view->isWindow());
    EXPECT_EQ(stage.view->windowType(), Qt::Tool);
    EXPECT_EQ(stage.splitter()->orientation(), Qt::Vertical);
    EXPECT_FALSE(stage.splitter()->childrenCollapsible());
    const auto* toggle = findButton(*stage.view, QStringLiteral("Horizontal / Vertical"));
    ASSERT_NE(toggle, nullptr);
    EXPECT_EQ(toggle->toolTip(), QStringLiteral("Toggle between side-by-side and stacked layout"));
}

TEST(SplitView, ShowsTheBorrowedPlotUnderTheTabsTypeWhileTheTabShowsAPlaceholder) {
    Stage stage;
    stage.view->addExperiment(stage.counter.get());
    EXPECT_TRUE(stage.view->isVisible());
    EXPECT_TRUE(stage.view->contains(stage.counter.get()));
    EXPECT_FALSE(stage.view->contains(stage.timeTags.get()));
    EXPECT_TRUE(stage.view->isAncestorOf(stage.counter->plot));
    EXPECT_TRUE(stage.counter->plot->isVisible());
    EXPECT_TRUE(stage.counter->showsPlaceholder());
    const auto* title = stage.view->findChild<QLabel*>(QStringLiteral("PageTitle"));
    ASSERT_NE(title, nullptr);
    EXPECT_EQ(title->text(), QStringLiteral("Counter"));
}

TEST(SplitView, ATabInTheSplitViewKeepsMeasuring) {
    Stage stage;
    TimeTagTab tab;
    tab.show();
    stage.view->addExperiment(&tab);
    BarChartWidget* plot = tab.plotWidget();
    ASSERT_TRUE(stage.view->isAncestorOf(plot));
    tab.setRunningState(true);
    tab.onStart();
    QCoreApplication::processEvents();
    const QImage before = plot->grab().toImage();
    QList<UiTimeTag> batch;
    qint64 now = 0;
    const bool changed = QTest::qWaitFor([&] {
        batch.clear();
        for (int i = 0; i < 1000; ++i) {
            batch.append(UiTimeTag{quint8(i % 4), now += 1'000'000});
        }
        tab.onTagsBatch(batch);
        return plot->grab().toImage() != before;
    });
    EXPECT_TRUE(changed);
    tab.onStop();
    stage.view->returnAll();
    EXPECT_TRUE(tab.isAncestorOf(plot));
}

TEST(SplitView, ATabThatIsHereAlreadyIsNotAddedAgain) {
    Stage stage;
    stage.view->addExperiment(stage.counter.get());
    stage.view->addExperiment(stage.counter.get());
    EXPECT_EQ(stage.splitter()->count(), 1);
}

TEST(SplitView, ATabWithoutAPlotToLendChangesNothing) {
    Stage stage;
    LendingTab plain(QStringLiteral("Frequency"), false);
    stage.view->addExperiment(&plain);
    stage.view->addExperiment(nullptr);
    EXPECT_FALSE(stage.view->contains(&plain));
    EXPECT_FALSE(stage.view->contains(nullptr));
    EXPECT_FALSE(stage.view->isVisible());
}

TEST(SplitView, RemoveGivesThePlotBackAndHidesTheWindowWithTheLast) {
    Stage stage;
    stage.view->addExperiment(stage.counter.get());
    stage.view->addExperiment(stage.timeTags.get());
    for (LendingTab* tab : {stage.counter.get(), stage.timeTags.get()}) {
        EXPECT_TRUE(stage.view->isVisible());
        auto* remove = findButton(*tab->plot->parentWidget(), QStringLiteral("Remove"));
        ASSERT_NE(remove, nullptr);
        remove->click();
        Stage::flushDeletions();
        EXPECT_TRUE(tab->plotIsAtHome());
        EXPECT_FALSE(tab->showsPlaceholder());
        EXPECT_FALSE(stage.view->contains(tab));
    }
    EXPECT_FALSE(stage.view->isVisible());
    EXPECT_EQ(stage.splitter()->count(), 0);
}

TEST(SplitView, EachButtonThatRemovesSaysWhatItRemoves) {
    Stage stage;
    stage.view->addExperiment(stage.counter.get());
    stage.view->addExperiment(stage.timeTags.get());
    QStringList names;
    for (const QPushButton* button : stage.view->findChildren<QPushButton*>()) {
        if (button->text() == QStringLiteral("Remove")) {
            names.append(button->accessibleName());
        }
    }
    names.sort();
    EXPECT_EQ(names, (QStringList{QStringLiteral("Remove Counter"), QStringLiteral("Remove Time tags")}));
}

TEST(SplitView, ClosingReturnsAllPlots) {
    Stage stage;
    stage.view->addExperiment(stage.counter.get());
    stage.view->addExperiment(stage.timeTags.get());
    EXPECT_TRUE(stage.view->close());
    EXPECT_TRUE(stage.counter->plotIsAtHome());
    EXPECT_TRUE(stage.timeTags->plotIsAtHome());
    EXPECT_FALSE(stage.view->isVisible());
}

TEST(SplitView, APlotCanBeLentAgainAfterItsReturn) {
    Stage stage;
    for (int round = 0; round < 3; ++round) {
        stage.view->addExperiment(stage.counter.get());
        EXPECT_TRUE(stage.view->isAncestorOf(stage.counter->plot));
        stage.view->returnAll();
        EXPECT_TRUE(stage.counter->plotIsAtHome());
    }
}

TEST(SplitView, ToggleSwitchesBetweenStackedAndSideBySide) {
    Stage stage;
    auto* toggle = findButton(*stage.view, QStringLiteral("Horizontal / Vertical"));
    toggle->click();
    EXPECT_EQ(stage.splitter()->orientation(), Qt::Horizontal);
    toggle->click();
    EXPECT_EQ(stage.splitter()->orientation(), Qt::Vertical);
}

TEST(SplitView, ATabThatDiesTakesItsCellAndPlotAlong) {
    Stage stage;
    stage.view->addExperiment(stage.counter.get());
    stage.view->addExperiment(stage.timeTags.get());
    const QPointer<BarChartWidget> plot(stage.counter->plot);
    stage.counter.reset();
    Stage::flushDeletions();
    EXPECT_EQ(plot, nullptr);
    EXPECT_EQ(stage.splitter()->count(), 1);
    stage.view->returnAll();
    EXPECT_TRUE(stage.timeTags->plotIsAtHome());
}

TEST(SplitView, AnEntryRemovedBeforeItsTabIsClosedLeavesThePlotWithTheTab) {
    Stage stage;
    stage.view->addExperiment(stage.counter.get());
    const QPointer<BarChartWidget> plot(stage.counter->plot);
    stage.view->removeEntry(0, true);
    EXPECT_TRUE(stage.counter->plotIsAtHome());
    stage.counter.reset();
    EXPECT_EQ(plot, nullptr);
    Stage::flushDeletions();
    EXPECT_EQ(stage.splitter()->count(), 0);
}

TEST(SplitView, AnEntryRemovedWithoutReturnDeletesThePlot) {
    Stage stage;
    stage.view->addExperiment(stage.counter.get());
    const QPointer<BarChartWidget> plot(stage.counter->plot);
    stage.view->removeEntry(0, false);
    Stage::flushDeletions();
    EXPECT_EQ(plot, nullptr);
    EXPECT_FALSE(stage.view->contains(stage.counter.get()));
}

TEST(SplitView, AnEntryThatDoesNotExistIsIgnored) {
    Stage stage;
    stage.view->addExperiment(stage.counter.get());
    for (const int index : {-1, 1, 99}) {
        stage.view->removeEntry(index, true);
    }
    EXPECT_TRUE(stage.view->contains(stage.counter.get()));
}

TEST(SplitView, ThePlotsGoHomeWhenTheViewIsDeleted) {
    Stage stage;
    stage.view->addExperiment(stage.counter.get());
    stage.view->addExperiment(stage.timeTags.get());
    delete stage.view;
    EXPECT_TRUE(stage.counter->plotIsAtHome());
    EXPECT_TRUE(stage.timeTags->plotIsAtHome());
}

TEST(SplitView, TheMainWindowMayTakeTabsAndViewDownInEitherOrder) {
    MessageGuard::allow(QStringLiteral("This plugin does not support"));
    for (const bool tabFirst : {true, false}) {
        auto window = std::make_unique<QMainWindow>();
        auto tab = std::make_unique<LendingTab>(QStringLiteral("Counter"));
        const QPointer<BarChartWidget> plot(tab->plot);
        tab->watchPlot = true;
        // Children die in the order in which they came.
        if (tabFirst) {
            tab->setParent(window.get());
        }
        auto* view = new SplitView(window.get());
        tab->setParent(window.get());
        view->addExperiment(tab.get());
        if (!tabFirst) {
            tab->setParent(nullptr);
            tab->setParent(window.get());
        }
        const QPointer<LendingTab> watched(tab.release());
        window.reset();
        EXPECT_EQ(plot, nullptr);
        EXPECT_EQ(watched, nullptr);
    }
}

} // namespace
} // namespace qorn::timetagger::gui
