// The whole window on the simulated instrument, with a scene of the test's own, and what an operator does
// with it and sees of it.
#pragma once

#include "DetachableTabWidget.h"
#include "DeviceController.h"
#include "Driver.h"
#include "MainWindow.h"
#include "MeasurementScheduler.h"
#include "SetupPage.h"

#include <QString>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

class QLabel;
class QMessageBox;

namespace qorn::testing {

namespace gui = qorn::timetagger::gui;

inline constexpr int kWaitLimitMs = 60000;

// Lets the event loop run until the condition holds; false at the limit.
template <typename Condition>
bool waitUntil(Condition condition) {
    return QTest::qWaitFor(condition, kWaitLimitMs);
}

// Two units. On the first: noise of 60000, 8000 and 1500 per second on inputs 1, 3 and 4, and a clock of 25
// kHz on input 2. `extra` goes into its description.
QByteArray standardScene(const QByteArray& extra = {});

class WindowStage {
public:
    explicit WindowStage(const QByteArray& scene = standardScene());
    ~WindowStage();
    WindowStage(const WindowStage&) = delete;
    WindowStage& operator=(const WindowStage&) = delete;

    // The application starts, or starts again with what an earlier window has left.
    void openWindow();
    void destroyWindow() { main.reset(); }
    // Starts, waits for the device list and clicks Connect; true when the workspace shows.
    bool connectUnit();
    bool clickConnect();

    gui::MainWindow& window() { return *main; }
    gui::DeviceController& controller() { return main->deviceController(); }
    gui::MeasurementScheduler& scheduler() { return main->measurementScheduler(); }
    gui::DetachableTabWidget& tabs() { return main->experimentTabs(); }

    // Adds a tab of a type as the operator's choice does.
    gui::ExperimentTab& addTab(const char* type);
    gui::ExperimentTab& tab(int index);
    // Triggers an action of a tab's toolbar, found by the beginning of its tool tip.
    static void press(gui::ExperimentTab& tab, const char* action);
    static bool canPress(gui::ExperimentTab& tab, const char* action);
    // Text of a tab's status line.
    static QString statusOf(const gui::ExperimentTab& tab);
    // The tab's stream or samples arrive.
    bool waitForData(gui::ExperimentTab& tab);

    QAction* menuAction(const char* text);
    // Text of the status flag that begins so, and its state; empty when there is none.
    QString flag(const char* beginning);
    QString flagState(const char* beginning);
    QString detail();
    bool waitForFlag(const char* text);
    bool waitForIdle() { return waitForFlag("Acquisition: idle"); }

    // Message boxes that are shown now. take() closes one and gives its text.
    QList<QMessageBox*> boxes();
    bool waitForBox(const char* title);
    QString takeBox();

    QTemporaryDir folder;

private:
    std::unique_ptr<gui::MainWindow> main;
    const timing::DriverTable* earlierDriver = nullptr;
};

} // namespace qorn::testing
