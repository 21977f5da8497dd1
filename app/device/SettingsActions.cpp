#include "SettingsActions.h"

#include "CalibrationWorkflow.h"
#include "ClockSettingsDialog.h"
#include "DeviceSettingsPort.h"
#include "ModalDialog.h"
#include "SettingKeys.h"
#include "SettingsStore.h"
#include "WarningBox.h"

#include <QMessageBox>
#include <QTimer>
#include <QWidget>

#include <algorithm>

namespace qorn::timetagger::gui {
namespace {

constexpr int kClockMessageMs = 3000;
constexpr int kInputMessageMs = 4000;
constexpr int kRelayMessageMs = 6000;
constexpr int kDeveloperMessageMs = 4000;
constexpr int kConnectionPollMs = 1000;

quint16 storedPort(QLatin1String key, quint16 otherwise) {
    const uint port = SettingsStore::instance().value(key, otherwise).toUInt();
    return port >= 1 && port <= 65535 ? static_cast<quint16>(port) : otherwise;
}

// What the dead times are now, to tell the operator.
QString deadTimeText(const DeviceSettingsPort::Values& ns) {
    const auto text = [](double value) { return QString::number(value, 'f', 3); };
    if (std::any_of(ns.begin(), ns.end(), [&](double value) { return value != ns[0]; })) {
        return SettingsActions::tr("Input settings updated: IN1 %1 ns, IN2 %2 ns, IN3 %3 ns, IN4 %4 ns")
            .arg(text(ns[0]), text(ns[1]), text(ns[2]), text(ns[3]));
    }
    if (ns[0] == 0.0) {
        return SettingsActions::tr("Thresholds updated; input dead time disabled");
    }
    return SettingsActions::tr("Thresholds updated; input dead time set to %1 ns on all inputs")
        .arg(text(ns[0]));
}

} // namespace

SettingsActions::SettingsActions(DeviceSettingsPort& instrument, CalibrationWorkflow& calibrationWorkflow,
                                 QWidget& parentWindow, QObject* parent)
    : QObject(parent), port(instrument), calibration(calibrationWorkflow), window(parentWindow),
      wish(ClockWish::load()) {}

void SettingsActions::onClockStatusChanged(const UiClockStatus& status) {
    clockStatus = status;
}

void SettingsActions::onClockSettings() {
    if (!port.hasDevice()) {
        return;
    }
    auto* dialog = new ClockSettingsDialog(wish, clockStatus, &window);
    showModal(*dialog, *this, [this, dialog] { applyClock(dialog->wish()); });
}

// The wish holds for the session even when it fails, as it does in the controller; it is stored when it
// works.
void SettingsActions::applyClock(const ClockWish& chosen) {
    wish = chosen;
    QString error;
    if (!port.applyReferenceClock(wish, &error)) {
        showWarning(&window, tr("Clock settings"), error);
        return;
    }
    wish.save();
    Q_EMIT messageShown(tr("Clock settings applied."), kClockMessageMs);
    port.refreshClockStatus();
}

void SettingsActions::onInputSettings() {
    if (!port.hasDevice()) {
        return;
    }
    const InputSettings current = port.inputSettings();
    auto* dialog = new InputSettingsDialog({current.thresholdsV, current.deadTimesNs}, &window);
    showModal(*dialog, *this, [this, dialog] { applyInputs(dialog->choice()); });
}

void SettingsActions::applyInputs(const InputChoice& choice) {
    QString error;
    if (!port.setThresholds(choice.thresholdsV, &error)) {
        showWarning(&window, tr("Input settings"), error);
        return;
    }
    DeviceSettingsPort::Values applied{};
    if (!port.setDeadTimes(choice.deadTimesNs, applied, &error)) {
        showWarning(&window, tr("Input settings"),
                    tr("Thresholds were updated, but dead time could not be applied: %1").arg(error));
        return;
    }
    Q_EMIT messageShown(deadTimeText(applied), kInputMessageMs);
}

void SettingsActions::onNetworkRelay() {
    if (!port.hasSource()) {
        return;
    }
    const relay::RelayServer::Stats stats = port.relayStats();
    RelaySharing sharing{stats.running, stats.stream_port, stats.status_port};
    if (!stats.running) {
        sharing.streamPort = storedPort(kRelayStreamPortKey, kDefaultRelayStreamPort);
        sharing.statusPort = storedPort(kRelayStatusPortKey, kDefaultRelayStatusPort);
    }
    auto* dialog = new NetworkRelayDialog(sharing, &window);
    followConnections(*dialog);
    showModal(*dialog, *this, [this, dialog] { applySharing(dialog->sharing()); });
}

// Peers come and go while the dialog is open.
void SettingsActions::followConnections(NetworkRelayDialog& dialog) {
    const auto show = [this, &dialog] {
        const relay::RelayServer::Stats stats = port.relayStats();
        if (stats.running) {
            dialog.showConnections(stats.stream_clients, stats.status_clients);
        }
    };
    show();
    auto* timer = new QTimer(&dialog);
    connect(timer, &QTimer::timeout, &dialog, show);
    timer->start(kConnectionPollMs);
}

void SettingsActions::applySharing(const RelaySharing& sharing) {
    SettingsStore::instance().set(
        {{kRelayStreamPortKey, sharing.streamPort}, {kRelayStatusPortKey, sharing.statusPort}});
    QString message;
    if (!port.setRelaySharing(sharing.publish, sharing.streamPort, sharing.statusPort, &message)) {
        showWarning(&window, tr("Network relay"), message);
        return;
    }
    Q_EMIT messageShown(sharing.publish ? message : tr("Network relay stopped."), kRelayMessageMs);
}

void SettingsActions::onDeveloperSettings() {
    if (!port.hasDevice()) {
        return;
    }
    const DeveloperSettings current{port.inputSettings().tdlMasks, port.streamSettings().format,
                                    testSource.internal, testSource.rateKhz,
                                    calibration.calibrationSettings()};
    auto* dialog = new DeveloperSettingsDialog(current, port.calibrationFilePath(), &window);
    connect(dialog, &QDialog::rejected, this, [this, dialog] { upload(*dialog); });
    showModal(*dialog, *this, [this, dialog] { confirmDeveloperSettings(dialog->settings()); });
}

void SettingsActions::upload(const DeveloperSettingsDialog& dialog) {
    switch (dialog.upload()) {
    case CalibrationUpload::Saved:
        calibration.uploadSaved();
        break;
    case CalibrationUpload::File:
        calibration.uploadFile(dialog.filePath());
        break;
    case CalibrationUpload::None:
        break;
    }
}

void SettingsActions::confirmDeveloperSettings(const DeveloperSettings& settings) {
    QStringList inputs;
    for (const int input : inputsWithOneTdl(settings.tdlMasks)) {
        inputs.append(tr("IN%1").arg(input));
    }
    if (inputs.isEmpty()) {
        applyDeveloperSettings(settings);
        return;
    }
    auto* box = new QMessageBox(QMessageBox::Warning, tr("TDL masks"),
                                tr("Only one TDL is active on %1. This is useful for diagnostics, but it "
                                   "reduces timing resolution. Continue?")
                                    .arg(inputs.join(QStringLiteral(", "))),
                                QMessageBox::Yes | QMessageBox::No, &window);
    box->setDefaultButton(QMessageBox::No);
    showModal(*box, *this, [this, settings] { applyDeveloperSettings(settings); });
}

void SettingsActions::applyDeveloperSettings(const DeveloperSettings& settings) {
    QString error;
    if (!port.setTdlMasks(settings.tdlMasks, &error)) {
        showWarning(&window, tr("TDL masks"), tr("Could not apply TDL masks: %1").arg(error));
        return;
    }
    StreamSettings stream = port.streamSettings();
    stream.interface = StreamInterface::Usb;
    stream.uartArmed = false;
    stream.format = settings.streamFormat;
    stream.packedDeltaBits = 16;
    stream.packedQuantumPs = 8;
    port.setStreamSettings(stream);
    testSource = {settings.internalSource, settings.internalRateKhz};
    calibration.setCalibrationSettings(settings.calibration);
    Q_EMIT testSourceChosen(testSource);
    Q_EMIT messageShown(tr("Developer settings applied."), kDeveloperMessageMs);
}

} // namespace qorn::timetagger::gui
