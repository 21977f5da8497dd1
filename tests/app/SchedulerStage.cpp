#include "SchedulerStage.h"

namespace qorn::testing {

void FakeAcquisition::startCapture(const QString& mode, double internalRateHz, int batchSize,
                                   quint8 channelMask, int maxUiTagsPerSecond,
                                   const gui::UiTimeTagRecordingConfig& recordingConfig) {
    calls.append(QStringLiteral("startCapture(%1, %2, %3, %4, %5)")
                     .arg(mode)
                     .arg(internalRateHz)
                     .arg(batchSize)
                     .arg(channelMask)
                     .arg(maxUiTagsPerSecond));
    recording = recordingConfig;
    capturing = !refuses;
}

void FakeAcquisition::startCounter(double gateSeconds, bool internalSource, double internalRateHz) {
    calls.append(QStringLiteral("startCounter(%1, %2, %3)")
                     .arg(gateSeconds)
                     .arg(internalSource ? QStringLiteral("internal") : QStringLiteral("external"))
                     .arg(internalRateHz));
    capturing = !refuses;
}

void FakeAcquisition::startCoincidence(const gui::UiCoincidenceConfig& config, bool internalSource,
                                       double internalRateHz) {
    calls.append(QStringLiteral("startCoincidence(%1, %2, %3)")
                     .arg(config.gateSeconds)
                     .arg(internalSource ? QStringLiteral("internal") : QStringLiteral("external"))
                     .arg(internalRateHz));
    coincidence = config;
    capturing = !refuses;
}

void FakeAcquisition::stopCapture() {
    calls.append(QStringLiteral("stopCapture"));
}

void FakeAcquisition::refreshClockStatus() {
    calls.append(QStringLiteral("refreshClockStatus"));
}

void RecordingTab::onTagsBatch(const QList<gui::UiTimeTag>& tags) {
    batches.append(tags.size());
    if (commonLog != nullptr) {
        commonLog->append(type);
    }
}

gui::AcquisitionRequest RecordingTab::acquisitionRequest(bool streaming) const {
    if (streaming) {
        return streamRequest;
    }
    gui::AcquisitionRequest request;
    request.kind = gui::AcquisitionRequest::Kind::HardwareCounter;
    request.detailText = "hardware test (%1)";
    request.gateSeconds = 0.25;
    return request;
}

SchedulerStage::SchedulerStage() {
    using gui::MeasurementScheduler;
    QObject::connect(&scheduler, &MeasurementScheduler::detailTextChanged, [this](const QString& text) {
        detail = text;
        emitted.append(QStringLiteral("detail: ") + text);
    });
    QObject::connect(&scheduler, &MeasurementScheduler::acquisitionIndicatorChanged,
                     [this](const QString& text, gui::FlagState state) {
                         flag = text;
                         flagState = state;
                         emitted.append(QStringLiteral("flag: %1 (%2)").arg(text, flagStateName(state)));
                     });
    QObject::connect(&scheduler, &MeasurementScheduler::experimentActivated, [this](gui::ExperimentTab* tab) {
        emitted.append(QStringLiteral("activated: ") + (tab ? tab->experimentType() : QString()));
    });
    QObject::connect(&scheduler, &MeasurementScheduler::messageShown, [this](const QString& text, int ms) {
        emitted.append(QStringLiteral("message: %1 (%2 ms)").arg(text).arg(ms));
    });
    QObject::connect(&scheduler, &MeasurementScheduler::stateChanged,
                     [this] { emitted.append(QStringLiteral("state")); });
}

std::unique_ptr<RecordingTab> SchedulerStage::makeTab(const char* name) const {
    return std::make_unique<RecordingTab>(QString::fromUtf8(name));
}

std::unique_ptr<RecordingTab> SchedulerStage::makeHardwareTab(const char* name) const {
    return std::make_unique<RecordingTab>(QString::fromUtf8(name), RecordingTab::Needs::HardwareIfPossible);
}

void SchedulerStage::finish() {
    port.capturing = false;
    scheduler.onCaptureStopped();
}

QStringList SchedulerStage::takeCalls() {
    return std::exchange(port.calls, {});
}

QStringList SchedulerStage::takeSignals() {
    return std::exchange(emitted, {});
}

} // namespace qorn::testing
