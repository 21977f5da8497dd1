// Tabs of a loaded configuration that are made after the one on top.
#include "DetachableTabWidget.h"
#include "ExperimentTab.h"
#include "MainWindow.h"
#include "MeasurementFileNames.h"
#include "SharedSettings.h"
#include "SplitView.h"
#include "WindowStage.h"

#include <QDockWidget>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTabBar>

#include <gtest/gtest.h>

namespace {

namespace gui = qorn::timetagger::gui;
using qorn::testing::waitUntil;
using qorn::testing::WindowStage;

QJsonObject experiment(const char* type, const QJsonObject& config = {}, const QJsonObject& shared = {}) {
    return {{QStringLiteral("type"), QLatin1String(type)},
            {QStringLiteral("config"), config},
            {QStringLiteral("sharedConfig"), shared}};
}

QJsonObject integration(double seconds) {
    return {{QStringLiteral("integrationSec"), seconds}};
}

gui::ExperimentTab* made(WindowStage& stage, int index) {
    return qobject_cast<gui::ExperimentTab*>(stage.tabs().widget(index));
}

int madeCount(WindowStage& stage) {
    int count = 0;
    for (int i = 0; i < stage.tabs().count(); ++i) {
        count += made(stage, i) != nullptr ? 1 : 0;
    }
    return count;
}

QStringList titles(WindowStage& stage) {
    QStringList texts;
    for (int i = 0; i < stage.tabs().count(); ++i) {
        texts.append(stage.tabs().tabText(i));
    }
    return texts;
}

// A window that has just loaded four counters of 1, 2, 3 and 4 s and shows the third.
class WindowSleepingTabs : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(stage.connectUnit());
        QJsonArray experiments;
        for (const double seconds : {1.0, 2.0, 3.0, 4.0}) {
            experiments.append(experiment("Counter", integration(seconds)));
        }
        load(experiments, 2);
    }

    void load(const QJsonArray& experiments, int current) {
        const QJsonObject root{{QStringLiteral("experiments"), experiments},
                               {QStringLiteral("ui"), QJsonObject{{QStringLiteral("currentTab"), current}}}};
        const QString path = stage.folder.filePath(QStringLiteral("tabs.json"));
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(QJsonDocument(root).toJson());
        file.close();
        ASSERT_TRUE(stage.window().loadConfigFile(path));
    }

    double secondsOf(int index) {
        gui::ExperimentTab* tab = made(stage, index);
        return tab != nullptr ? tab->saveConfig().value(QLatin1String("integrationSec")).toDouble() : -1.0;
    }

    void expectAllInOrder() {
        ASSERT_EQ(stage.tabs().count(), 4);
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(secondsOf(i), i + 1.0) << i;
        }
    }

    WindowStage stage;
};

TEST_F(WindowSleepingTabs, TheTabOnTopIsMadeAtOnceAndAllHaveTheirTitles) {
    EXPECT_EQ(madeCount(stage), 1);
    EXPECT_EQ(stage.tabs().currentIndex(), 2);
    EXPECT_EQ(secondsOf(2), 3.0);
    EXPECT_EQ(titles(stage), QStringList({QStringLiteral("Counter 2"), QStringLiteral("Counter 3"),
                                          QStringLiteral("Counter 4"), QStringLiteral("Counter 5")}));
}

TEST_F(WindowSleepingTabs, TheOthersFollowByThemselves) {
    const QStringList before = titles(stage);
    const QWidget* top = stage.tabs().currentWidget();
    ASSERT_TRUE(waitUntil([this] { return madeCount(stage) == 4; }));
    expectAllInOrder();
    EXPECT_EQ(titles(stage), before);
    EXPECT_EQ(stage.tabs().currentWidget(), top);
}

TEST_F(WindowSleepingTabs, ATabIsMadeWhenItIsShown) {
    stage.tabs().setCurrentIndex(1);
    EXPECT_EQ(stage.tabs().currentIndex(), 1);
    EXPECT_EQ(secondsOf(1), 2.0);
    EXPECT_TRUE(stage.tabs().currentWidget()->isVisible());
    EXPECT_EQ(madeCount(stage), 2);
}

TEST_F(WindowSleepingTabs, ATabIsMadeWhenItIsDetached) {
    stage.tabs().detachTab(0);
    const QList<QWidget*> detached = stage.tabs().detachedPages();
    ASSERT_EQ(detached.size(), 1);
    EXPECT_NE(qobject_cast<gui::ExperimentTab*>(detached.first()), nullptr);
    stage.tabs().reattachAll();
    EXPECT_EQ(secondsOf(3), 1.0);
}

TEST_F(WindowSleepingTabs, ATabThatIsNotMadeYetCanBeMovedAndClosed) {
    stage.tabs().tabBar()->moveTab(3, 0);
    stage.window().closeExperimentTab(1); // the first of the file
    ASSERT_TRUE(waitUntil([this] { return madeCount(stage) == stage.tabs().count(); }));
    ASSERT_EQ(stage.tabs().count(), 3);
    EXPECT_EQ(secondsOf(0), 4.0);
    EXPECT_EQ(secondsOf(1), 2.0);
    EXPECT_EQ(secondsOf(2), 3.0);
}

TEST_F(WindowSleepingTabs, SavingAtOnceSavesAll) {
    const QString path = stage.folder.filePath(QStringLiteral("again.json"));
    ASSERT_TRUE(stage.window().saveConfigFile(path, true, true));
    stage.window().closeAllExperiments();
    ASSERT_TRUE(stage.window().loadConfigFile(path));
    ASSERT_TRUE(waitUntil([this] { return madeCount(stage) == 4; }));
    expectAllInOrder();
    EXPECT_EQ(stage.tabs().currentIndex(), 2);
}

TEST_F(WindowSleepingTabs, ClosingAllOrLoadingAgainLeavesNothingToMake) {
    stage.window().closeAllExperiments();
    EXPECT_EQ(stage.tabs().count(), 0);
    load({experiment("Frequency"), experiment("Time tags")}, 0);
    load({experiment("Time tags"), experiment("Frequency")}, 1);
    ASSERT_TRUE(waitUntil([this] { return madeCount(stage) == 2; }));
    EXPECT_EQ(made(stage, 0)->experimentType(), QStringLiteral("Time tags"));
    EXPECT_EQ(made(stage, 1)->experimentType(), QStringLiteral("Frequency"));
}

TEST_F(WindowSleepingTabs, AThemeAndALogContextReachATabThatIsMadeLater) {
    stage.window().applyTheme(QStringLiteral("Bright"));
    ASSERT_TRUE(waitUntil([this] { return madeCount(stage) == 4; }));
    const auto scheme = [this](int index) {
        return made(stage, index)->plots().first()->plotOptions().colorScheme;
    };
    EXPECT_EQ(scheme(0), scheme(2));
    EXPECT_EQ(made(stage, 0)->logSerial(), made(stage, 2)->logSerial());
    EXPECT_FALSE(made(stage, 0)->logSerial().isEmpty());
}

// Each tab has its own values; the application keeps those of the last in the file, as if all had been made
// in its order.
TEST_F(WindowSleepingTabs, SharedValuesAreStoredInTheOrderOfTheFile) {
    const auto rotating = [](int seconds) {
        const QJsonObject log{{QStringLiteral("rotateSeconds"), seconds}};
        return QJsonObject{{QStringLiteral("dataLog"), log}};
    };
    load({experiment("Counter", {}, rotating(10)), experiment("Counter", {}, rotating(20))}, 1);
    ASSERT_TRUE(waitUntil([this] { return madeCount(stage) == 2; }));
    const auto own = [this](int index) {
        return made(stage, index)
            ->sharedConfig()
            .value(QLatin1String("dataLog"))[QLatin1String("rotateSeconds")]
            .toInt();
    };
    EXPECT_EQ(own(0), 10);
    EXPECT_EQ(own(1), 20);
    const QString key = gui::settingsKeyFor(QStringLiteral("Counter"));
    EXPECT_EQ(gui::SharedSettings::load(key).logRotateSeconds, 20);
}

} // namespace
