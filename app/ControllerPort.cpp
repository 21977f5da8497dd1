#include "ControllerPort.h"

#include "DeviceController.h"

namespace qorn::timetagger::gui {

bool ControllerPort::hasDevice() const {
    return controller.hasDevice();
}

bool ControllerPort::hasRelay() const {
    return controller.hasRelay();
}

bool ControllerPort::isCapturing() const {
    return controller.isCapturing();
}

// These texts name the usual values also when others are set.
QString ControllerPort::streamTransportText() const {
    if (controller.hasRelay()) {
        return QStringLiteral("Network relay / Raw64");
    }
    switch (controller.streamSettings().format) {
    case StreamChoice::Delta32:
        return QStringLiteral("USB / Delta32");
    case StreamChoice::Raw64:
        return QStringLiteral("USB / Raw64");
    case StreamChoice::PackedDelta:
        break;
    }
    return QStringLiteral("USB / Packed delta (16 bit / 8 ps)");
}

void ControllerPort::startCapture(const QString& mode, double internalRateHz, int batchSize,
                                  quint8 channelMask, int maxUiTagsPerSecond,
                                  const UiTimeTagRecordingConfig& recording) {
    controller.startCapture(mode, internalRateHz, batchSize, channelMask, maxUiTagsPerSecond, recording);
}

void ControllerPort::raiseTagBudget(int maxUiTagsPerSecond) {
    controller.raiseTagBudget(maxUiTagsPerSecond);
}

void ControllerPort::startCounter(double gateSeconds, bool internalSource, double internalRateHz) {
    controller.startCounterMeasurements(gateSeconds, internalSource, internalRateHz);
}

void ControllerPort::startCoincidence(const UiCoincidenceConfig& config, bool internalSource,
                                      double internalRateHz) {
    controller.startCoincidenceMeasurements(config, internalSource, internalRateHz);
}

void ControllerPort::stopCapture() {
    controller.stopCapture();
}

void ControllerPort::refreshClockStatus() {
    controller.refreshClockStatus();
}

} // namespace qorn::timetagger::gui
