// The whole window on the scripted driver, with a device open, and an operator who uses the "Device" menu and
// answers the dialogs that come up. Shared by the tests of that menu and of the calibration's way through it.
#pragma once

#include "DeviceController.h"
#include "MainWindow.h"
#include "ScriptedDriver.h"

#include <QAction>
#include <QDialog>
#include <QPointer>
#include <QStringList>
#include <QTimer>

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace qorn::testing {

namespace gui = qorn::timetagger::gui;

class OperatedWindow {
public:
    OperatedWindow();
    ~OperatedWindow();
    OperatedWindow(const OperatedWindow&) = delete;
    OperatedWindow& operator=(const OperatedWindow&) = delete;

    void openDevice(); // waits for the last step of it
    gui::MainWindow& window() { return *main; }
    gui::DeviceController& controller() { return main->deviceController(); }

    // The entry of the "Device" menu; a test fails without it.
    QAction& entry(const char* text);
    // The texts of the "Device" menu, separators as "-".
    QStringList entries();

    // Answers the next dialog that has this title. An answer has to close its dialog. Other dialogs are
    // closed, and fail the test; progress dialogs are left alone.
    void answer(const char* title, std::function<void(QDialog&)> how);
    // Answers the next dialog whatever its title.
    void answerAny(std::function<void(QDialog&)> how);
    // The next dialog of this title is a warning with exactly this text, which is accepted.
    void expectBox(const char* title, const QString& text);
    // Triggers an entry and lets the operator work until every answer is given and no dialog is open.
    void use(const char* entryText);
    // The same without an entry.
    void finishAnswers();

    // What the status bar shows now, and for how long it was asked to (0: until something else comes).
    QString status();
    int statusTime();
    // Texts that the status bar has shown since the last call; clears it.
    QStringList takeShown();

    // Text and "flagState" of the status flag that begins so; empty without one.
    QString flag(const char* beginning);
    QString flagState(const char* beginning);
    // Whether a label of the status bar reads exactly so.
    bool statusLabelReads(const char* text);

    ScopedDriver driver;

private:
    void look();

    std::unique_ptr<gui::MainWindow> main;
    struct Answer {
        std::optional<QString> title; // any without one
        std::function<void(QDialog&)> how;
    };
    std::deque<Answer> answers;
    QTimer eyes;
    QStringList shown;
};

// Lets the event loop run until the condition holds; false at the limit.
bool waitUntil(const std::function<bool()>& condition);

} // namespace qorn::testing
