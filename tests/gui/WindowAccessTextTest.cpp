// Texts of the whole window: in its smallest size, and in its usual size in a language with long words.
#include "BarChartWidget.h"
#include "ElidedLabel.h"
#include "EveryDialog.h"
#include "ExperimentCatalog.h"
#include "ExperimentTab.h"
#include "LongTexts.h"
#include "LossIndicator.h"
#include "ShownTexts.h"
#include "SplitView.h"
#include "ThemeStyle.h"
#include "WindowStage.h"

#include <QDockWidget>
#include <QPointer>
#include <QStatusBar>
#include <QTabBar>
#include <QToolButton>

#include <gtest/gtest.h>

namespace qorn::testing {
namespace {

constexpr const char* kTypes[] = {"Counter",           "Coincidence", "Correlation",
                                  "Multi correlation", "Frequency",   "Time tags"};

std::string lines(const QStringList& texts) {
    return texts.join(QLatin1Char('\n')).toStdString();
}

void expectAllIsRead(QWidget& shown, const std::string& what, bool translated) {
    EXPECT_EQ(lines(cutTexts(shown)), "") << what;
    if (translated) {
        EXPECT_EQ(lines(untranslatedTexts(shown)), "") << what;
    }
}

class WindowAccessText : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        if (GetParam()) {
            language = std::make_unique<LongTexts>();
        }
    }
    void TearDown() override {
        language.reset();
        qApp->setStyleSheet(QString());
        QApplication::setPalette(QPalette());
    }

    static QSize size() { return GetParam() ? QSize(1220, 760) : QSize(900, 600); }

    // In the size to be read in, with the unit found.
    static bool openWindow(WindowStage& stage) {
        stage.openWindow();
        stage.window().resize(size());
        return waitUntil([&] { return !stage.window().setupPage().selectedPort().isEmpty(); });
    }
    static bool connectUnit(WindowStage& stage) {
        Q_EMIT stage.window().setupPage().connectRequested(stage.window().setupPage().selectedPort());
        return waitUntil([&] { return stage.controller().hasDevice() && stage.tabs().isVisible(); });
    }

    std::unique_ptr<LongTexts> language;
};

TEST_P(WindowAccessText, IsWholeOnTheConnectPage) {
    WindowStage stage;
    ASSERT_TRUE(openWindow(stage));
    QCoreApplication::processEvents();
    EXPECT_EQ(stage.window().size(), size());
    expectAllIsRead(stage.window(), "connect page", GetParam());
}

TEST_P(WindowAccessText, IsWholeOnEveryTab) {
    WindowStage stage;
    ASSERT_TRUE(openWindow(stage) && connectUnit(stage));
    for (const char* type : kTypes) {
        gui::ExperimentTab& tab = stage.addTab(type);
        QCoreApplication::processEvents();
        EXPECT_EQ(stage.window().size(), size());
        expectAllIsRead(stage.window(), type, GetParam());
        Q_EMIT tab.startRequested();
        ASSERT_TRUE(waitUntil([&] { return stage.controller().isCapturing(); }));
        const QByteArray before = tab.plotWidget()->toBinary();
        ASSERT_TRUE(waitUntil([&] { return tab.plotWidget()->toBinary() != before; })) << type;
        QCoreApplication::processEvents();
        expectAllIsRead(stage.window(), std::string(type) + " while it measures", GetParam());
        Q_EMIT tab.cancelRequested();
        ASSERT_TRUE(waitUntil([&] { return !stage.controller().isCapturing(); }));
    }
}

// In English each flag is whole; long words may end early, but none may be pushed out.
TEST_P(WindowAccessText, OfTheFlagsIsThereInTheSmallestWindow) {
    WindowStage stage;
    stage.openWindow();
    stage.window().resize(900, 600);
    ASSERT_TRUE(waitUntil([&] { return !stage.window().setupPage().selectedPort().isEmpty(); }));
    Q_EMIT stage.window().setupPage().connectRequested(stage.window().setupPage().selectedPort());
    ASSERT_TRUE(waitUntil([&] { return stage.controller().hasDevice() && stage.tabs().isVisible(); }));
    QStatusBar* bar = stage.window().statusBar();
    Q_EMIT stage.tab(0).startRequested();
    ASSERT_TRUE(waitUntil([&] { return stage.controller().isCapturing(); }));
    bar->clearMessage();
    QCoreApplication::processEvents();
    auto labels = bar->findChildren<gui::ElidedLabel*>();
    EXPECT_EQ(labels.removeIf([](const gui::ElidedLabel* label) { return label->isHidden(); }), 1)
        << "losses, of which there are none";
    ASSERT_EQ(labels.size(), 6);
    for (const gui::ElidedLabel* label : labels) {
        const std::string text = label->text().toStdString();
        EXPECT_TRUE(label->isVisible()) << text;
        EXPECT_TRUE(bar->rect().contains(label->geometry())) << text;
        EXPECT_GT(label->width(), 24) << text;
        const bool isFlag = text.find(": ") != std::string::npos;
        EXPECT_TRUE(GetParam() || !isFlag || label->width() >= label->wholeWidth()) << text;
    }
}

TEST_P(WindowAccessText, OfALossIsInViewInTheSmallestWindowBesideAllFlagsAndAMessage) {
    WindowStage stage;
    stage.openWindow();
    stage.window().resize(900, 600);
    QStatusBar* bar = stage.window().statusBar();
    auto* losses = bar->findChild<gui::LossIndicator*>();
    ASSERT_NE(losses, nullptr);
    gui::UiTagFlow flow;
    flow.source.dropped = 123456789012;
    losses->takeFlow(flow);
    QCoreApplication::processEvents();
    for (const gui::ElidedLabel* label : bar->findChildren<gui::ElidedLabel*>()) {
        EXPECT_TRUE(label->isVisible());
        EXPECT_TRUE(bar->rect().contains(label->geometry())) << label->text().toStdString();
    }
    EXPECT_TRUE(GetParam() || losses->width() >= losses->wholeWidth());
    EXPECT_GT(losses->width(), 100) << "the count stands at its end";
    const QString message = QStringLiteral("Measurement reset.");
    bar->showMessage(message);
    QCoreApplication::processEvents();
    EXPECT_TRUE(losses->isVisible());
    for (const gui::ElidedLabel* label : bar->findChildren<gui::ElidedLabel*>()) {
        EXPECT_TRUE(label->isHidden() || label->x() > bar->fontMetrics().horizontalAdvance(message))
            << label->text().toStdString();
    }
}

TEST_P(WindowAccessText, OfAMessageHasTheStatusBarToItself) {
    WindowStage stage;
    stage.openWindow();
    stage.window().resize(900, 600);
    QStatusBar* bar = stage.window().statusBar();
    const QString message = QCoreApplication::translate(
        "MeasurementScheduler", "This tab joins a running stream and records nothing.");
    bar->showMessage(message);
    QCoreApplication::processEvents();
    for (const gui::ElidedLabel* label : bar->findChildren<gui::ElidedLabel*>()) {
        EXPECT_TRUE(!label->isVisible() || label->x() > bar->fontMetrics().horizontalAdvance(message) + 6)
            << label->text().toStdString();
    }
}

TEST_P(WindowAccessText, IsInReachInADockPaneBesideTheTabs) {
    WindowStage stage;
    ASSERT_TRUE(openWindow(stage) && connectUnit(stage));
    stage.addTab("Time tags");
    for (const char* type : kTypes) {
        const gui::ExperimentTab& tab = stage.addTab(type);
        stage.tabs().detachTab(stage.tabs().indexOf(&tab));
        auto* dock = stage.window().findChild<QDockWidget*>(QStringLiteral("ExperimentDock"));
        ASSERT_NE(dock, nullptr);
        dock->setFloating(false);
        QCoreApplication::processEvents();
        EXPECT_EQ(stage.window().size(), size()) << type;
        EXPECT_TRUE(stage.window().rect().contains(dock->geometry())) << type;
        EXPECT_GT(dock->width(), 120) << type;
        EXPECT_GE(tab.width(), tab.minimumSizeHint().width()) << type << " scrolls";
        if (!GetParam()) { // long words in a narrow pane: the choice boxes shorten them
            expectAllIsRead(stage.window(), std::string(type) + " in a dock pane", false);
        }
        dock->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

TEST_P(WindowAccessText, OfATitleIsNotCoveredByTheAddButton) {
    WindowStage stage;
    stage.openWindow();
    ASSERT_TRUE(waitUntil([&] { return !stage.window().setupPage().selectedPort().isEmpty(); }));
    Q_EMIT stage.window().setupPage().connectRequested(stage.window().setupPage().selectedPort());
    ASSERT_TRUE(waitUntil([&] { return stage.controller().hasDevice() && stage.tabs().isVisible(); }));
    const QTabBar* bar = stage.tabs().findChild<QTabBar*>();
    const auto* button = stage.tabs().findChild<QToolButton*>(QStringLiteral("AddTabButton"));
    ASSERT_NE(button, nullptr);
    const auto expectClear = [&](const std::string& when) {
        QCoreApplication::processEvents();
        const QRect last = bar->tabRect(bar->count() - 1).translated(bar->pos());
        EXPECT_GT(button->x(), last.right()) << when;
        EXPECT_LT(button->x(), last.right() + 12) << when;
    };
    for (const char* type : {"Multi correlation", "Time tags", "Multi correlation"}) {
        stage.addTab(type);
        expectClear(type);
        for (const char* theme : {"Dark", "Classic", "High contrast", "qorn"}) {
            gui::applyThemeStyle(gui::paletteFor(QString::fromLatin1(theme)));
            expectClear(std::string(type) + " in " + theme);
        }
    }
}

TEST_P(WindowAccessText, IsWholeInTheSplitView) {
    WindowStage stage;
    stage.openWindow();
    gui::ExperimentTab& tab = stage.addTab("Time tags");
    Q_EMIT tab.splitRequested();
    auto* view = stage.window().findChild<gui::SplitView*>();
    ASSERT_NE(view, nullptr);
    QCoreApplication::processEvents();
    expectAllIsRead(*view, "split view", GetParam());
}

TEST_P(WindowAccessText, IsWholeInEveryDialog) {
    for (const char* theme : {"Qorn", "Classic"}) {
        gui::applyThemeStyle(gui::paletteFor(QString::fromLatin1(theme)));
        for (const NamedDialog& named : everyDialog()) {
            lookThrough(named, [&](QDialog& dialog) { expectAllIsRead(dialog, named.name, GetParam()); });
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Languages, WindowAccessText, ::testing::Bool(), [](const auto& language) {
    return std::string(language.param ? "Long" : "English");
});

} // namespace
} // namespace qorn::testing
