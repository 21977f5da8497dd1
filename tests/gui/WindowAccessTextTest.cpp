// Texts of the whole window: in its smallest size, and in its usual size in a language with long words.
#include "BarChartWidget.h"
#include "EveryDialog.h"
#include "ExperimentCatalog.h"
#include "ExperimentTab.h"
#include "LongTexts.h"
#include "ShownTexts.h"
#include "SplitView.h"
#include "ThemeStyle.h"
#include "WindowStage.h"

#include <QPointer>

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

    std::unique_ptr<LongTexts> language;
};

TEST_P(WindowAccessText, IsWholeOnTheConnectPage) {
    WindowStage stage;
    stage.openWindow();
    stage.window().resize(size());
    ASSERT_TRUE(waitUntil([&] { return !stage.window().setupPage().selectedPort().isEmpty(); }));
    QCoreApplication::processEvents();
    EXPECT_EQ(stage.window().size(), size());
    expectAllIsRead(stage.window(), "connect page", GetParam());
}

TEST_P(WindowAccessText, IsWholeOnEveryTab) {
    WindowStage stage;
    stage.openWindow();
    stage.window().resize(size());
    ASSERT_TRUE(waitUntil([&] { return !stage.window().setupPage().selectedPort().isEmpty(); }));
    Q_EMIT stage.window().setupPage().connectRequested(stage.window().setupPage().selectedPort());
    ASSERT_TRUE(waitUntil([&] { return stage.controller().hasDevice() && stage.tabs().isVisible(); }));
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
