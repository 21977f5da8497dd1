#include "WindowStage.h"

#include "ConfigurationFile.h"
#include "ExperimentCatalog.h"
#include "WidgetFinder.h"

#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QToolBar>

#include <gtest/gtest.h>

namespace qorn::testing {
namespace {

const timing::DriverTable& simulatorTable() {
    static const timing::DriverTable table = timing::load_driver(QORN_SIMULATOR);
    return table;
}

QAction* findToolAction(const gui::ExperimentTab& tab, const char* beginning) {
    const auto* toolbar = tab.findChild<QToolBar*>(QStringLiteral("MeasurementToolBar"));
    for (QAction* action : toolbar->actions()) {
        if (action->toolTip().startsWith(QString::fromUtf8(beginning))) {
            return action;
        }
    }
    ADD_FAILURE() << "no action " << beginning;
    return nullptr;
}

QAction* findInMenu(const QWidget* menu, const QString& text) {
    for (QAction* action : menu->actions()) {
        if (action->text() == text) {
            return action;
        }
        if (QMenu* inner = action->menu()) {
            if (QAction* found = findInMenu(inner, text)) {
                return found;
            }
        }
    }
    return nullptr;
}

} // namespace

QByteArray standardScene(const QByteArray& extra) {
    return R"({"units": [{"serial": "SIM00001", )" + extra + R"( "sources": [
        {"kind": "poisson", "input": 1, "rate_hz": 60000},
        {"kind": "periodic", "input": 2, "frequency_hz": 25000},
        {"kind": "poisson", "input": 3, "rate_hz": 8000},
        {"kind": "poisson", "input": 4, "rate_hz": 1500}]},
      {"serial": "SIM00002", "sources": [
        {"kind": "poisson", "input": 1, "rate_hz": 1000},
        {"kind": "poisson", "input": 2, "rate_hz": 1000}]}]})";
}

WindowStage::WindowStage(const QByteArray& scene)
    : earlierDriver(timing::exchange_driver(&simulatorTable())) {
    QFile file(folder.filePath(QStringLiteral("scene.json")));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(scene);
    qputenv("QORN_SIMULATOR_SCENE", file.fileName().toUtf8());
    QFile::remove(gui::defaultConfigPath());
}

WindowStage::~WindowStage() {
    main.reset();
    timing::exchange_driver(earlierDriver);
    qunsetenv("QORN_SIMULATOR_SCENE");
}

void WindowStage::openWindow() {
    main = std::make_unique<gui::MainWindow>();
    main->show();
}

bool WindowStage::clickConnect() {
    const auto* list = main->setupPage().findChild<QComboBox*>();
    QAbstractButton* button = findButton(main->setupPage(), QStringLiteral("Connect"));
    if (!waitUntil([&] { return button->isEnabled() && list->count() > 0; })) {
        return false;
    }
    QTest::mouseClick(button, Qt::LeftButton);
    return waitUntil([this] { return controller().hasDevice() && tabs().isVisible(); });
}

bool WindowStage::connectUnit() {
    openWindow();
    return clickConnect();
}

gui::ExperimentTab& WindowStage::addTab(const char* type) {
    gui::ExperimentTab* tab = gui::createExperiment(QString::fromUtf8(type), tabs().pageParent());
    main->addExperimentTab(tab);
    return *tab;
}

gui::ExperimentTab& WindowStage::tab(int index) {
    waitUntil([&] { return qobject_cast<gui::ExperimentTab*>(tabs().widget(index)) != nullptr; });
    return *qobject_cast<gui::ExperimentTab*>(tabs().widget(index));
}

void WindowStage::press(gui::ExperimentTab& tab, const char* action) {
    QAction* found = findToolAction(tab, action);
    ASSERT_NE(found, nullptr);
    ASSERT_TRUE(found->isEnabled()) << action;
    found->trigger();
}

bool WindowStage::canPress(gui::ExperimentTab& tab, const char* action) {
    const QAction* found = findToolAction(tab, action);
    return found != nullptr && found->isEnabled();
}

QString WindowStage::statusOf(const gui::ExperimentTab& tab) {
    const auto* label = tab.findChild<QLabel*>(QStringLiteral("status"));
    return label != nullptr ? label->text() : QString();
}

bool WindowStage::waitForData(gui::ExperimentTab& tab) {
    const QString beginning = tab.experimentType() == QStringLiteral("Counter") ? QStringLiteral("sample ")
                                                                                : QStringLiteral("tags ");
    return waitUntil([&] {
        const QString text = statusOf(tab);
        return text.startsWith(beginning) && !text.startsWith(QStringLiteral("tags 0 "));
    });
}

QAction* WindowStage::menuAction(const char* text) {
    return findInMenu(main->menuBar(), QString::fromUtf8(text));
}

QString WindowStage::flag(const char* beginning) {
    for (const QLabel* label : main->findChildren<QLabel*>(QStringLiteral("StatusFlag"))) {
        if (label->text().startsWith(QString::fromUtf8(beginning))) {
            return label->text();
        }
    }
    return {};
}

QString WindowStage::flagState(const char* beginning) {
    for (const QLabel* label : main->findChildren<QLabel*>(QStringLiteral("StatusFlag"))) {
        if (label->text().startsWith(QString::fromUtf8(beginning))) {
            return label->property("flagState").toString();
        }
    }
    return {};
}

QString WindowStage::detail() {
    for (const QLabel* label : main->findChildren<QLabel*>(QStringLiteral("StatusFlag"))) {
        const QString text = label->text();
        if (!text.startsWith(QStringLiteral("Cal ")) && !text.startsWith(QStringLiteral("Clock ")) &&
            !text.startsWith(QStringLiteral("Acquisition: "))) {
            return text;
        }
    }
    return {};
}

bool WindowStage::waitForFlag(const char* text) {
    return waitUntil([&] { return flag(text) == QString::fromUtf8(text); });
}

QList<QMessageBox*> WindowStage::boxes() {
    QList<QMessageBox*> shown;
    for (QMessageBox* box : main->findChildren<QMessageBox*>()) {
        if (box->isVisible()) {
            shown.append(box);
        }
    }
    return shown;
}

bool WindowStage::waitForBox(const char* title) {
    return waitUntil([&] {
        const QList<QMessageBox*> shown = boxes();
        return !shown.isEmpty() && shown.constFirst()->windowTitle() == QString::fromUtf8(title);
    });
}

QString WindowStage::takeBox() {
    const QList<QMessageBox*> shown = boxes();
    if (shown.isEmpty()) {
        return {};
    }
    const QString text = shown.constFirst()->text();
    shown.constFirst()->accept();
    return text;
}

} // namespace qorn::testing
