// The controller's settings operations: clock, inputs and the relay server.
#include "DeviceController.h"

#include "Error.h"
#include "TextOut.h"

#include <QTimer>

#include <algorithm>

namespace qorn::timetagger::gui {
namespace {

// Statuses by which an image shows that it has no clock control.
constexpr std::array<tt_status, 3> kNoClockControl{TT_TIMED_OUT, TT_NOT_SUPPORTED, TT_REJECTED};

bool meansNoClockControl(const timing::Error& failure) {
    return std::find(kNoClockControl.begin(), kNoClockControl.end(), failure.status()) !=
           kNoClockControl.end();
}

} // namespace

ClockRequest DeviceController::clockRequest() const {
    return {clockSource, clockSignal, clockControlAvailable};
}

UiClockStatus DeviceController::makeClockStatus(const timing::ReferenceClockStatus& status, bool available,
                                                const QString& message) const {
    return {hasDevice(),
            available,
            status.requestedSource,
            status.activeSource,
            status.outputSignal,
            status.referencePresent,
            status.referenceLocked,
            status.thirdFlag,
            status.fallbackActive,
            status.lockFault,
            status.statusWord,
            message};
}

void DeviceController::emitClockUnavailable(const QString& message) {
    timing::ReferenceClockStatus status;
    status.requestedSource = clockSource;
    status.activeSource = timing::ReferenceClockSource::Internal;
    status.outputSignal = clockSignal;
    Q_EMIT clockStatusChanged(makeClockStatus(status, false, message));
}

bool DeviceController::trySetReferenceClock(timing::ReferenceClockSource source,
                                            timing::ReferenceSignal signal) {
    if (!hasDevice() || !clockControlAvailable) {
        emitClockUnavailable(tr("Clock control is unavailable on this device image."));
        return false;
    }
    try {
        const timing::ReferenceClockStatus status = device->set_reference_clock(source, signal);
        Q_EMIT clockStatusChanged(makeClockStatus(status, true, QString()));
        return true;
    } catch (const timing::Error& failure) {
        if (!meansNoClockControl(failure)) {
            throw;
        }
        clockControlAvailable = false;
        qInfo("Reference clock control unavailable on this FPGA image; using fixed internal clock path: %s",
              failure.what());
        emitClockUnavailable(textOf(failure));
        return false;
    }
}

void DeviceController::setReferenceClockWish(timing::ReferenceClockSource source,
                                             timing::ReferenceSignal signal) {
    assertOwnThread();
    clockSource = source;
    clockSignal = signal;
}

bool DeviceController::applyReferenceClockConfig(timing::ReferenceClockSource source,
                                                 timing::ReferenceSignal signal, QString* error) {
    assertOwnThread();
    setReferenceClockWish(source, signal);
    if (!hasDevice()) {
        emitClockUnavailable(QString());
        setText(error, QString());
        return true;
    }
    if (capturing || calibrationBusy) {
        setText(error, tr("Stop the current capture or calibration before changing clock settings."));
        return false;
    }
    try {
        if (trySetReferenceClock(source, signal)) {
            return true;
        }
        setText(error, tr("Clock control is unavailable on this device image."));
    } catch (const std::exception& failure) {
        if (error == nullptr) {
            Q_EMIT captureError(textOf(failure));
        }
        setText(error, textOf(failure));
    }
    return false;
}

void DeviceController::refreshClockStatus() {
    assertOwnThread();
    if (!hasDevice()) {
        emitClockUnavailable(QString());
        return;
    }
    if (capturing || calibrationBusy) {
        return; // the device belongs to the task
    }
    if (!clockControlAvailable) {
        emitClockUnavailable(tr("Clock control is unavailable on this device image."));
        return;
    }
    try {
        Q_EMIT clockStatusChanged(makeClockStatus(device->reference_clock_status(), true, QString()));
    } catch (const timing::Error& failure) {
        if (meansNoClockControl(failure)) {
            clockControlAvailable = false;
        }
        emitClockUnavailable(textOf(failure));
    }
}

void DeviceController::applyClockWishLater() {
    QTimer::singleShot(0, this, [this] {
        if (!hasDevice() || capturing || calibrationBusy) {
            return; // a measurement that has begun sets the clock itself
        }
        try {
            trySetReferenceClock(clockSource, clockSignal);
        } catch (const std::exception&) {
            // The next poll of the clock shows its state.
        }
    });
}

bool DeviceController::setThresholds(const std::array<double, timing::kChannels>& volts, QString* error) {
    assertOwnThread();
    if (!hasDevice()) {
        setText(error, tr("Device is not open"));
        return false;
    }
    if (capturing || calibrationBusy) {
        setText(error, tr("Stop the current capture before changing thresholds"));
        return false;
    }
    try {
        sendThresholds(*device, volts, inputs);
        return true;
    } catch (const std::exception& failure) {
        setText(error, textOf(failure));
        return false;
    }
}

bool DeviceController::setInputDeadTimesNs(const std::array<double, timing::kChannels>& ns,
                                           std::array<double, timing::kChannels>* applied, QString* error) {
    assertOwnThread();
    if (!hasDevice()) {
        setText(error, tr("Device is not open"));
        return false;
    }
    if (capturing || calibrationBusy) {
        setText(error, tr("Stop the current capture before changing input dead time"));
        return false;
    }
    std::array<std::int64_t, timing::kChannels> ps{};
    if (!toDeadTimesPs(ns, ps, error)) {
        return false;
    }
    try {
        sendDeadTimes(*device, ps, inputs);
    } catch (const std::exception& failure) {
        setText(error, textOf(failure));
        return false;
    }
    if (applied != nullptr) {
        *applied = inputs.deadTimesNs;
    }
    return true;
}

bool DeviceController::setInputDeadTimeNs(double ns, double* applied, QString* error) {
    std::array<double, timing::kChannels> all{};
    all.fill(ns);
    std::array<double, timing::kChannels> result{};
    if (!setInputDeadTimesNs(all, &result, error)) {
        return false;
    }
    if (applied != nullptr) {
        *applied = result[0];
    }
    return true;
}

bool DeviceController::setTdlMasks(const std::array<unsigned char, timing::kChannels>& masks,
                                   QString* error) {
    assertOwnThread();
    std::transform(masks.begin(), masks.end(), inputs.tdlMasks.begin(),
                   [](unsigned char mask) { return static_cast<unsigned char>(mask & 7); });
    if (!hasDevice()) {
        return true;
    }
    if (capturing || calibrationBusy) {
        setText(error, tr("Stop the current capture before changing developer settings"));
        return false;
    }
    try {
        sendTdlMasks(*device, inputs.tdlMasks);
        return true;
    } catch (const std::exception& failure) {
        setText(error, textOf(failure));
        return false;
    }
}

bool DeviceController::setRelayServerEnabled(bool enabled, quint16 streamPort, quint16 statusPort,
                                             QString* message) {
    assertOwnThread();
    if (!enabled) {
        relayServer->stop();
        setText(message, QString());
        return true;
    }
    if (!hasSource()) {
        setText(message, tr("Open a local device or network relay before sharing data."));
        return false;
    }
    std::string error;
    if (!relayServer->start(streamPort, statusPort, &error)) {
        setText(message, QString::fromStdString(error));
        return false;
    }
    const relay::RelayServer::Stats stats = relayServer->stats();
    setText(message, tr("Network relay listening on stream port %1 and status port %2.")
                         .arg(stats.stream_port)
                         .arg(stats.status_port));
    return true;
}

relay::RelayServer::Stats DeviceController::relayServerStats() const {
    return relayServer->stats();
}

} // namespace qorn::timetagger::gui
