#include "MeasurementScheduler.h"

#include "AcquisitionPort.h"
#include "CoincidenceTab.h"
#include "ExperimentTab.h"

#include <QCoreApplication>

#include <algorithm>
#include <utility>

namespace qorn::timetagger::gui {
namespace {

constexpr int kResetMessageMs = 1500;
constexpr int kNoRecordingMessageMs = 8000;
constexpr double kHzPerKhz = 1000.0;

// How each kind of acquisition shows on its flag.
struct IndicatorRow {
    AcquisitionRequest::Kind kind;
    const char* text;
    bool streaming;
    FlagState state;
};
constexpr IndicatorRow kIndicators[] = {
    {AcquisitionRequest::Kind::TagStream, QT_TRANSLATE_NOOP("Acquisition", "Acquisition: tag stream"), true,
     FlagState::Active},
    {AcquisitionRequest::Kind::HardwareCounter,
     QT_TRANSLATE_NOOP("Acquisition", "Acquisition: hardware counter"), false, FlagState::Good},
    {AcquisitionRequest::Kind::HardwareCoincidence,
     QT_TRANSLATE_NOOP("Acquisition", "Acquisition: hardware coincidence"), false, FlagState::Good},
};

QString acquisitionText(const char* text) {
    return QCoreApplication::translate("Acquisition", text);
}

// The texts of requests have two places for streams and one for hardware.
QString detailText(const AcquisitionRequest& request, const QString& transport, const QString& mode) {
    const QString text = acquisitionText(request.detailText);
    return request.kind == AcquisitionRequest::Kind::TagStream ? text.arg(transport, mode) : text.arg(mode);
}

// The Coincidence tab tells the operator which of its two engines counts.
void tellEngine(ExperimentTab* tab, bool hardware) {
    if (auto* coincidence = qobject_cast<CoincidenceTab*>(tab)) {
        coincidence->setHardwareMode(hardware);
    }
}

} // namespace

MeasurementScheduler::MeasurementScheduler(AcquisitionPort& acquisition, QObject* parent)
    : QObject(parent), port(acquisition) {}

QString MeasurementScheduler::signalModeText() const {
    if (port.hasRelay()) {
        return QStringLiteral("network relay");
    }
    return signalSource.internal ? QStringLiteral("internal") : QStringLiteral("external");
}

bool MeasurementScheduler::isRunningConsumer(const ExperimentTab* tab) const {
    return tab != nullptr &&
           std::find(runningConsumers.begin(), runningConsumers.end(), tab) != runningConsumers.end();
}

int MeasurementScheduler::runningConsumerCount() const {
    return static_cast<int>(std::count_if(runningConsumers.begin(), runningConsumers.end(),
                                          [](const auto& consumer) { return !consumer.isNull(); }));
}

ExperimentTab* MeasurementScheduler::firstRunningConsumer() const {
    for (const auto& consumer : runningConsumers) {
        if (consumer) {
            return consumer;
        }
    }
    return nullptr;
}

void MeasurementScheduler::addRunningConsumer(ExperimentTab* tab) {
    if (tab != nullptr && !isRunningConsumer(tab)) {
        runningConsumers.append(tab);
    }
}

void MeasurementScheduler::removeRunningConsumer(ExperimentTab* tab, bool callStop) {
    for (qsizetype index = runningConsumers.size() - 1; index >= 0; --index) {
        const QPointer<ExperimentTab> consumer = runningConsumers.at(index);
        if (consumer && consumer != tab) {
            continue;
        }
        runningConsumers.removeAt(index);
        if (consumer && callStop) {
            consumer->onStop();
            consumer->setRunningState(false);
        }
    }
    if (!primary || primary == tab) {
        primary = firstRunningConsumer();
    }
}

void MeasurementScheduler::clearRunningConsumers(bool callStop) {
    const QList<QPointer<ExperimentTab>> consumers = std::exchange(runningConsumers, {});
    for (const auto& consumer : consumers) {
        if (consumer && callStop) {
            consumer->onStop();
            consumer->setRunningState(false);
        }
    }
}

void MeasurementScheduler::setAcquisitionIndicator(const QString& text, bool streaming, FlagState state) {
    tagStreamActive = streaming;
    Q_EMIT acquisitionIndicatorChanged(text, state);
}

void MeasurementScheduler::showSharedStream() {
    Q_EMIT detailTextChanged(acquisitionText(QT_TRANSLATE_NOOP("Acquisition", "shared stream (%1, %2)"))
                                 .arg(port.streamTransportText(), signalModeText()));
}

void MeasurementScheduler::startExperiment(ExperimentTab* tab) {
    if (!port.hasDevice() && !port.hasRelay()) {
        return;
    }
    if (tab != nullptr) {
        if (!switchingAcquisition && !port.isCapturing()) {
            startIdle(tab);
        } else if (!switchingAcquisition && tagStreamActive && tab->sharesTagStream()) {
            joinStream(tab);
        } else { // also when what ran has ended already and only its end is still to be told
            switchTo(tab);
        }
    }
    Q_EMIT stateChanged();
}

void MeasurementScheduler::joinStream(ExperimentTab* tab) {
    Q_EMIT experimentActivated(tab);
    if (!isRunningConsumer(tab)) {
        tellEngine(tab, false);
        tab->setRunningState(true);
        resumeOrStart(tab);
        addRunningConsumer(tab);
        // Inputs and recording stay the first tab's, but with tags left out, this one would measure wrongly.
        port.raiseTagBudget(tab->acquisitionRequest(true).maxUiTagsPerSecond);
        if (tab->timeTagRecordingEnabled()) {
            Q_EMIT messageShown(acquisitionText(QT_TRANSLATE_NOOP(
                                    "Acquisition", "This tab joins a running stream and records nothing; "
                                                   "recording begins with an acquisition.")),
                                kNoRecordingMessageMs);
        }
    }
    showSharedStream();
}

void MeasurementScheduler::resumeOrStart(ExperimentTab* tab) {
    if (paused == tab) {
        paused.clear();
        tab->onResume();
    } else {
        tab->onStart();
    }
}

// The start itself follows when the acquisition has stopped; of several the last one asked for wins.
void MeasurementScheduler::switchTo(ExperimentTab* tab) {
    queued = tab;
    if (switchingAcquisition) {
        Q_EMIT detailTextChanged(acquisitionText(QT_TRANSLATE_NOOP("Acquisition", "stopping, queued start")));
        return;
    }
    switchingAcquisition = true;
    Q_EMIT detailTextChanged(acquisitionText(QT_TRANSLATE_NOOP("Acquisition", "switching acquisition")));
    setAcquisitionIndicator(acquisitionText(QT_TRANSLATE_NOOP("Acquisition", "Acquisition: switching")),
                            tagStreamActive, FlagState::Active);
    port.stopCapture();
}

void MeasurementScheduler::startIdle(ExperimentTab* tab) {
    // Those of an acquisition that has ended, and whose word will find the next one running.
    clearRunningConsumers(true);
    const bool streaming = port.hasRelay() || tab->requiresTagStreaming();
    tellEngine(tab, !streaming);
    Q_EMIT experimentActivated(tab);
    primary = tab;
    runningConsumers = {tab};
    tab->setRunningState(true);
    resumeOrStart(tab);
    paused.clear();
    launch(tab->acquisitionRequest(streaming), tab);
}

void MeasurementScheduler::launch(const AcquisitionRequest& request, ExperimentTab* tab) {
    const QString mode = signalModeText();
    const double operatorRateHz = signalSource.internalRateKhz * kHzPerKhz;
    for (const IndicatorRow& row : kIndicators) {
        if (row.kind == request.kind) {
            setAcquisitionIndicator(acquisitionText(row.text), row.streaming, row.state);
        }
    }
    Q_EMIT detailTextChanged(detailText(request, port.streamTransportText(), mode));
    switch (request.kind) {
    case AcquisitionRequest::Kind::TagStream:
        port.startCapture(mode, request.fixedRateHz.value_or(operatorRateHz), request.batchSize,
                          request.channelMask, request.maxUiTagsPerSecond, tab->timeTagRecordingConfig());
        break;
    case AcquisitionRequest::Kind::HardwareCounter:
        port.startCounter(request.gateSeconds, signalSource.internal, operatorRateHz);
        break;
    case AcquisitionRequest::Kind::HardwareCoincidence:
        port.startCoincidence(request.coincidence, signalSource.internal, operatorRateHz);
        break;
    }
}

// Ends the acquisition for the one consumer that is left.
void MeasurementScheduler::beginStop() {
    switchingAcquisition = true;
    Q_EMIT detailTextChanged(acquisitionText(QT_TRANSLATE_NOOP("Acquisition", "stopping")));
    port.stopCapture();
}

// One of several consumers leaves the stream to the others; the last one ends it.
void MeasurementScheduler::leaveAcquisition(ExperimentTab* tab) {
    if (runningConsumerCount() > 1) {
        removeRunningConsumer(tab, true);
        showSharedStream();
    } else {
        tab->setRunningState(false);
        beginStop();
    }
    Q_EMIT stateChanged();
}

void MeasurementScheduler::pauseExperiment(ExperimentTab* tab) {
    if (!port.isCapturing() || !isRunningConsumer(tab)) {
        return;
    }
    paused = tab;
    leaveAcquisition(tab);
}

void MeasurementScheduler::cancelExperiment(ExperimentTab* tab) {
    if (tab == nullptr) {
        return;
    }
    paused.clear();
    if (queued == tab) {
        queued.clear(); // the stop was asked for last
    }
    if (!isRunningConsumer(tab) || !port.isCapturing()) {
        tab->setRunningState(false);
        if (isRunningConsumer(tab)) { // of an acquisition that was refused
            removeRunningConsumer(tab, true);
            showIdle();
        }
        return;
    }
    leaveAcquisition(tab);
}

// A reset leaves the stream alone, unless the only consumer now needs another kind of acquisition than what
// runs.
bool MeasurementScheduler::canServeByReset(ExperimentTab* tab) const {
    if (!isRunningConsumer(tab) || !port.isCapturing()) {
        return false;
    }
    const bool needsStream = port.hasRelay() || tab->requiresTagStreaming();
    return switchingAcquisition || needsStream == tagStreamActive || runningConsumerCount() > 1;
}

void MeasurementScheduler::restartExperiment(ExperimentTab* tab) {
    if (tab == nullptr) {
        return;
    }
    paused.clear();
    tab->resetMeasurement();
    if (canServeByReset(tab)) {
        Q_EMIT messageShown(acquisitionText(QT_TRANSLATE_NOOP("Acquisition", "Measurement reset.")),
                            kResetMessageMs);
    } else if (isRunningConsumer(tab) && port.isCapturing()) {
        switchTo(tab);
        Q_EMIT stateChanged();
    } else {
        startExperiment(tab);
    }
}

void MeasurementScheduler::forgetExperiment(ExperimentTab* tab) {
    if (queued == tab) {
        queued.clear();
    }
    if (paused == tab) {
        paused.clear();
    }
    if (!isRunningConsumer(tab)) {
        return;
    }
    removeRunningConsumer(tab, false);
    if (runningConsumerCount() > 0 || switchingAcquisition) {
        return;
    }
    if (port.isCapturing()) {
        beginStop();
    } else { // an acquisition that was refused
        showIdle();
    }
}

void MeasurementScheduler::forgetAll() {
    primary.clear();
    runningConsumers.clear();
    paused.clear();
    queued.clear();
    switchingAcquisition = port.isCapturing();
    if (switchingAcquisition) {
        port.stopCapture();
    }
    showIdle();
}

void MeasurementScheduler::showIdle() {
    Q_EMIT detailTextChanged(acquisitionText(QT_TRANSLATE_NOOP("Acquisition", "idle")));
    setAcquisitionIndicator(acquisitionText(QT_TRANSLATE_NOOP("Acquisition", "Acquisition: idle")), false,
                            FlagState::Muted);
}

void MeasurementScheduler::onTagsBatch(const QList<UiTimeTag>& batch) {
    runningConsumers.removeIf([](const auto& consumer) { return consumer.isNull(); });
    // A tab's answer may change who consumes, so the walk is over the list as it stands now.
    const QList<QPointer<ExperimentTab>> consumers = runningConsumers;
    for (auto consumer = consumers.rbegin(); consumer != consumers.rend(); ++consumer) {
        if (*consumer) {
            (*consumer)->onTagsBatch(batch);
        }
    }
}

void MeasurementScheduler::onCounterSample(const UiCounterSample& sample) {
    if (primary) {
        primary->onCounterSample(sample);
    }
}

void MeasurementScheduler::onCoincidenceSample(const UiCoincidenceSample& sample) {
    if (primary) {
        primary->onCoincidenceSample(sample);
    }
}

void MeasurementScheduler::onCaptureStopped() {
    if (port.isCapturing()) {
        return; // the word of an acquisition that ended before the one that runs now was started
    }
    switchingAcquisition = false;
    clearRunningConsumers(true);
    primary.clear();
    showIdle();
    port.refreshClockStatus();
    if (const QPointer<ExperimentTab> next = std::exchange(queued, nullptr)) {
        startExperiment(next);
    }
    Q_EMIT stateChanged();
}

} // namespace qorn::timetagger::gui
