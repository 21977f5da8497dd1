// The settings of the device menu: opens the dialogs, sends what they ask for, and tells how that went. Keeps
// what the operator chose for the session: the clock and the internal test source.
//
// Owned by the main window, GUI thread only.
#pragma once

#include "ClockWish.h"
#include "DeveloperSettingsDialog.h"
#include "InputSettingsDialog.h"
#include "NetworkRelayDialog.h"
#include "UiClockStatus.h"

#include <QObject>
#include <QString>

class QWidget;

namespace qorn::timetagger::gui {

class CalibrationWorkflow;
class DeviceSettingsPort;

// Where measurements of a device take their pulses from.
struct TestSource {
    bool internal = false;
    double rateKhz = 10.0;
};

class SettingsActions : public QObject {
    Q_OBJECT
public:
    // All outlive this. The clock wish is the stored one.
    SettingsActions(DeviceSettingsPort& instrument, CalibrationWorkflow& calibrationWorkflow,
                    QWidget& parentWindow, QObject* parent = nullptr);

    // What is to be set on the next device that opens.
    const ClockWish& clockWish() const { return wish; }

public Q_SLOTS:
    // Each asks for settings and sends them once the dialog is accepted. Without a device (the relay: without
    // a source) nothing happens.
    void onClockSettings();
    void onInputSettings();
    void onNetworkRelay();
    void onDeveloperSettings();

    // What the controller tells of the clock.
    void onClockStatusChanged(const qorn::timetagger::gui::UiClockStatus& status);

Q_SIGNALS:
    void messageShown(const QString& text, int milliseconds);
    // Later measurements use this source, and maybe another stream format.
    void testSourceChosen(const qorn::timetagger::gui::TestSource& source);

private:
    void applyClock(const ClockWish& chosen);
    void applyInputs(const InputChoice& choice);
    void applySharing(const RelaySharing& sharing);
    void followConnections(NetworkRelayDialog& dialog);
    void confirmDeveloperSettings(const DeveloperSettings& settings);
    void applyDeveloperSettings(const DeveloperSettings& settings);
    void upload(const DeveloperSettingsDialog& dialog);

    DeviceSettingsPort& port;
    CalibrationWorkflow& calibration;
    QWidget& window;
    ClockWish wish;
    UiClockStatus clockStatus; // the last one told
    TestSource testSource;
};

} // namespace qorn::timetagger::gui
