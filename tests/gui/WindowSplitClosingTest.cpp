// Tabs that are lent, detached and measuring, and then closed in every order of tab, split view, dock pane,
// device and window: nobody may be left with a pointer to something that is gone.
#include "BarChartWidget.h"
#include "ExperimentTab.h"
#include "SplitView.h"
#include "StoredSettings.h"
#include "WindowStage.h"

#include <QDockWidget>
#include <QPointer>

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace qorn::testing {
namespace {

// What closes, by its letter: the lent Tab in the bar, the Split view, the dock Pane of the other lent tab,
// the Device; the Window by its button or, as at the end of a program, by being Ended.
constexpr const char kTab = 'T';
constexpr const char kSplit = 'S';
constexpr const char kPane = 'P';
constexpr const char kDevice = 'D';
constexpr const char kWindow = 'W';
constexpr const char kEnd = 'E';

// Every order of the first three, cut short at every place by each of the last three.
std::vector<std::string> orders() {
    std::set<std::string> all;
    std::string parts{kPane, kSplit, kTab};
    do {
        for (std::size_t length = 0; length <= parts.size(); ++length) {
            for (const char last : {kDevice, kWindow, kEnd}) {
                all.insert(parts.substr(0, length) + last);
            }
        }
    } while (std::next_permutation(parts.begin(), parts.end()));
    return {all.begin(), all.end()};
}

quint64 tagsOf(const gui::ExperimentTab& tab) {
    return WindowStage::statusOf(tab).section(QLatin1Char(' '), 1, 1).toULongLong();
}

struct ClosingStage : WindowStage {
    bool open(bool measuring) {
        storedSettings().setValue(QStringLiteral("exit/askSaveExperiments"), false);
        if (!connectUnit()) {
            return false;
        }
        inBar = &addTab("Time tags");
        inPane = &addTab("Time tags");
        for (gui::ExperimentTab* tab : {inBar.data(), inPane.data()}) {
            press(*tab, "Show this plot in the split view");
            if (measuring) {
                press(*tab, "Play");
                if (!waitForData(*tab)) {
                    return false;
                }
            }
        }
        tabs().detachTab(tabs().indexOf(inPane));
        view = window().findChild<gui::SplitView*>();
        dock = window().findChild<QDockWidget*>(QStringLiteral("ExperimentDock"));
        QCoreApplication::processEvents();
        return view != nullptr && dock != nullptr && view->isVisible() && dock->isVisible();
    }

    void close(char part) {
        switch (part) {
        case kTab:
            Q_EMIT tabs().tabCloseRequested(tabs().indexOf(inBar));
            break;
        case kSplit:
            view->close();
            break;
        case kPane:
            dock->close();
            break;
        case kDevice:
            window().onCloseDevice();
            break;
        case kWindow:
            window().close();
            break;
        case kEnd:
            destroyWindow();
            break;
        }
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    // The tab is whole: its plot is with it, or in the split view while that holds it.
    void expectWhole(const QPointer<gui::ExperimentTab>& tab, bool lent) {
        ASSERT_NE(tab, nullptr);
        ASSERT_NE(tab->plotWidget(), nullptr);
        EXPECT_EQ(tab->isAncestorOf(tab->plotWidget()), !lent);
        EXPECT_EQ(view->isAncestorOf(tab->plotWidget()), lent);
        EXPECT_EQ(view->contains(tab), lent);
        tab->plotWidget()->grab(); // touches all that it shows
    }

    QPointer<gui::ExperimentTab> inBar;
    QPointer<gui::ExperimentTab> inPane;
    QPointer<gui::SplitView> view;
    QPointer<QDockWidget> dock;
};

class WindowSplitClosing : public ::testing::TestWithParam<std::tuple<std::string, bool>> {};

TEST_P(WindowSplitClosing, LeavesEveryoneWholeWhoIsStillThere) {
    const auto& [order, measuring] = GetParam();
    ClosingStage stage;
    ASSERT_TRUE(stage.open(measuring));
    std::set<char> closed;
    for (const char part : order) {
        SCOPED_TRACE(part);
        const QPointer<gui::BarChartWidget> barPlot(stage.inBar ? stage.inBar->plotWidget() : nullptr);
        const QPointer<gui::BarChartWidget> panePlot(stage.inPane->plotWidget());
        stage.close(part);
        closed.insert(part);
        if (part == kDevice || part == kEnd) {
            EXPECT_EQ(stage.inBar, nullptr);
            EXPECT_EQ(stage.inPane, nullptr);
            EXPECT_EQ(barPlot, nullptr);
            EXPECT_EQ(panePlot, nullptr);
            EXPECT_EQ(stage.dock, nullptr);
            EXPECT_EQ(stage.view == nullptr, part == kEnd);
            EXPECT_TRUE(stage.view == nullptr || !stage.view->isVisible());
            continue;
        }
        const bool returned = closed.contains(kSplit);
        EXPECT_EQ(stage.inBar == nullptr, closed.contains(kTab));
        EXPECT_EQ(barPlot == nullptr, closed.contains(kTab));
        if (stage.inBar != nullptr) {
            stage.expectWhole(stage.inBar, !returned);
        }
        stage.expectWhole(stage.inPane, !returned);
        const bool inBarAgain = closed.contains(kPane) || closed.contains(kWindow);
        EXPECT_EQ(stage.tabs().indexOf(stage.inPane) >= 0, inBarAgain);
        EXPECT_EQ(stage.dock == nullptr, inBarAgain);
        if (measuring && part != kWindow) {
            const quint64 before = tagsOf(*stage.inPane);
            EXPECT_TRUE(waitUntil([&] { return tagsOf(*stage.inPane) > before; })) << "measures on";
        }
    }
}

std::string orderName(const ::testing::TestParamInfo<std::tuple<std::string, bool>>& info) {
    return std::get<0>(info.param) + (std::get<1>(info.param) ? "_measuring" : "_idle");
}

INSTANTIATE_TEST_SUITE_P(Orders, WindowSplitClosing,
                         ::testing::Combine(::testing::ValuesIn(orders()), ::testing::Bool()), orderName);

} // namespace
} // namespace qorn::testing
