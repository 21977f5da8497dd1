// The page that the operator sees first: devices are scanned, named, reset and connected here, or a network
// relay is chosen. Holds no device logic: it shows what it is told through its slots and asks through its
// signals.
//
// Owned by the main window's stack, lives as long as it. GUI thread only. Failures show in the status line.
#pragma once

#include "UiDiscoveredDevice.h"

#include <QList>
#include <QPointer>
#include <QString>
#include <QWidget>

class QCheckBox;
class QComboBox;
class QLabel;
class QLayout;
class QLineEdit;
class QPushButton;

namespace qorn::timetagger::gui {

class SetupPage : public QWidget {
    Q_OBJECT
public:
    explicit SetupPage(QWidget* parent = nullptr);

    // True when the saved calibration is not to be uploaded on connect.
    bool skipCalibrationOnConnect() const;
    // Port of the device in the box; empty when there is none.
    QString selectedPort() const;
    // Settings key of the selected device's name; empty when there is none.
    QString selectedDeviceNameKey() const;
    // Stores the port that the next scan selects.
    void rememberConnectedPort(const QString& port);
    // Shows the selected device's saved name, or an empty disabled editor without a device.
    void updateNameEditor();

Q_SIGNALS:
    void refreshRequested();
    void connectRequested(const QString& port);
    void relayConnectRequested(const QString& host, quint16 streamPort, quint16 statusPort);
    void usbCycleRequested(const QString& port);

public Q_SLOTS:
    void setScanning();
    // Lists the devices on USB; those on other ports are left out. `message` goes to the status line.
    void setDevices(const QList<UiDiscoveredDevice>& devices, const QString& message);
    void setStatus(const QString& text);
    void setUsbCycleStarted();
    // Without a message a text of its own tells the result.
    void setUsbCycleFinished(bool ok, const QString& message);

protected:
    void showEvent(QShowEvent* event) override;
    // Enter saves the name in its editor, presses the button that has the focus, and connects anywhere else.
    void keyPressEvent(QKeyEvent* event) override;

private Q_SLOTS:
    void onConnect();
    void onConnectRelay();
    void onUsbCycle();
    void showAdvancedSetup();
    void onSaveDeviceName();

private:
    void createControls();
    void connectControls();
    QWidget* buildColumn();
    QLayout* buildDeviceGrid();
    QLayout* buildActionRow();
    // Off while a scan or a reset runs; on as far as there is a device to act on.
    void setActionsEnabled(bool enabled);
    QString itemText(const UiDiscoveredDevice& device) const;

    QLabel* statusLabel = nullptr;
    QComboBox* deviceBox = nullptr;
    QLineEdit* nameEdit = nullptr;
    QPushButton* saveNameButton = nullptr;
    QPushButton* refreshButton = nullptr;
    QLabel* scanningLabel = nullptr;
    QPushButton* connectButton = nullptr;
    QPushButton* usbCycleButton = nullptr;
    QCheckBox* uploadCalibrationBox = nullptr;
    QPushButton* relayButton = nullptr;
    QPushButton* advancedButton = nullptr;
    QPointer<QWidget> focusTaken; // had the focus when the actions were switched off
    QPointer<QWidget> focusGiven; // has it since
    QList<UiDiscoveredDevice> devices;
};

} // namespace qorn::timetagger::gui
