// The whole window, and what an operator does with its device menu: chooses entries, fills in the dialogs
// that they open, and reads the status bar. Calibration files of earlier tests are gone.
#pragma once

#include "WindowStage.h"

#include <QAction>
#include <QDialog>
#include <QDir>
#include <QStatusBar>

#include <gtest/gtest.h>

namespace qorn::testing {

class DeviceMenuStage : public WindowStage {
public:
    explicit DeviceMenuStage(const QByteArray& scene = standardScene());
    ~DeviceMenuStage();
    DeviceMenuStage(const DeviceMenuStage&) = delete;
    DeviceMenuStage& operator=(const DeviceMenuStage&) = delete;

    bool isOffered(const char* entry);
    // Chooses an entry that is offered. Throws when no dialog of that class opens.
    template <typename Dialog>
    Dialog& choose(const char* entry) {
        EXPECT_TRUE(isOffered(entry)) << entry;
        menuAction(entry)->trigger();
        return *shown<Dialog>();
    }
    // The dialog of that class that is shown now. Throws without one.
    template <typename Dialog>
    Dialog* shown() {
        for (Dialog* dialog : window().findChildren<Dialog*>()) {
            if (dialog->isVisible()) {
                return dialog;
            }
        }
        throw std::runtime_error(std::string("not shown: ") + Dialog::staticMetaObject.className());
    }
    template <typename Dialog>
    bool isShown() {
        const auto dialogs = window().findChildren<Dialog*>();
        return std::any_of(dialogs.begin(), dialogs.end(),
                           [](Dialog* dialog) { return dialog->isVisible(); });
    }
    template <typename Dialog>
    bool waitFor() {
        return waitUntil([this] { return isShown<Dialog>(); });
    }

    // The control of a dialog. Throws without it.
    template <typename Control>
    static Control& control(const QWidget& dialog, const char* name) {
        auto* found = dialog.findChild<Control*>(QString::fromUtf8(name));
        if (found == nullptr) {
            throw std::runtime_error(std::string("no control ") + name);
        }
        return *found;
    }
    // Presses the button with this text. Throws without it.
    static void click(const QWidget& dialog, const char* text);

    // What the status bar tells now.
    QString message() { return window().statusBar()->currentMessage(); }

    // Where a device's calibration is saved.
    static QString savedCalibration(const char* serial = "SIM00001");
};

} // namespace qorn::testing
