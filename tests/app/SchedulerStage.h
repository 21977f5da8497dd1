// The scheduler with an acquisition that only writes down what is asked of it, and tabs that write down what
// is done to them.
#pragma once

#include "AcquisitionPort.h"
#include "ExperimentTab.h"
#include "MeasurementScheduler.h"

#include <QStringList>

#include <memory>
#include <optional>

namespace qorn::testing {

namespace gui = qorn::timetagger::gui;

// Runs from a start until finish(); the end is not told before that, as with a real acquisition.
class FakeAcquisition : public gui::AcquisitionPort {
public:
    bool hasDevice() const override { return device; }
    bool hasRelay() const override { return relay; }
    bool isCapturing() const override { return capturing; }
    QString streamTransportText() const override { return transport; }
    void startCapture(const QString& mode, double internalRateHz, int batchSize, quint8 channelMask,
                      int maxUiTagsPerSecond, const gui::UiTimeTagRecordingConfig& recording) override;
    void raiseTagBudget(int maxUiTagsPerSecond) override { budgets.append(maxUiTagsPerSecond); }
    void startCounter(double gateSeconds, bool internalSource, double internalRateHz) override;
    void startCoincidence(const gui::UiCoincidenceConfig& config, bool internalSource,
                          double internalRateHz) override;
    void stopCapture() override;
    void refreshClockStatus() override;

    bool device = true;
    bool relay = false;
    bool capturing = false;
    bool refuses = false; // starts are noted, but nothing runs
    QString transport = QStringLiteral("USB / Packed delta (16 bit / 8 ps)");
    QStringList calls;
    QList<int> budgets;                      // that were asked for after a start
    gui::UiTimeTagRecordingConfig recording; // of the last capture
    gui::UiCoincidenceConfig coincidence;    // of the last start of that kind
};

// The last part of a run's story: what happened to a tab, in order.
class RecordingTab : public gui::ExperimentTab {
public:
    enum class Needs { TagStream, HardwareIfPossible };

    explicit RecordingTab(QString typeName = QStringLiteral("Recorder"), Needs tabNeeds = Needs::TagStream)
        : needs(tabNeeds), type(std::move(typeName)) {}

    QString experimentType() const override { return type; }
    void onStart() override { events.append(QStringLiteral("start")); }
    void onStop() override { events.append(QStringLiteral("stop")); }
    void onResume() override { events.append(QStringLiteral("resume")); }
    void resetMeasurement() override { events.append(QStringLiteral("reset")); }
    void onTagsBatch(const QList<gui::UiTimeTag>& tags) override;
    void onCounterSample(const gui::UiCounterSample& sample) override { samples.append(sample.totalCount); }
    void onCoincidenceSample(const gui::UiCoincidenceSample& sample) override {
        coincidences.append(sample.quadruple);
    }
    bool sharesTagStream() const override { return shares; }
    bool requiresTagStreaming() const override {
        return needs == Needs::TagStream || ExperimentTab::requiresTagStreaming();
    }
    gui::AcquisitionRequest acquisitionRequest(bool streaming) const override;

    Needs needs;
    bool shares = true;
    gui::AcquisitionRequest streamRequest;
    QStringList events;
    QList<qsizetype> batches; // their sizes
    QList<quint64> samples;
    QList<quint64> coincidences;
    QStringList* commonLog = nullptr; // names of tabs in the order in which batches reach them

private:
    QString type;
};

struct SchedulerStage {
    SchedulerStage();

    std::unique_ptr<RecordingTab> makeTab(const char* name) const;
    std::unique_ptr<RecordingTab> makeHardwareTab(const char* name) const;
    // The acquisition ends, and its end is told.
    void finish();
    QStringList takeCalls();
    // What the scheduler has emitted since the last call, in order.
    QStringList takeSignals();
    QString detail; // what the labels read now
    QString flag;
    std::optional<gui::FlagState> flagState;

    FakeAcquisition port;
    QStringList emitted;
    gui::MeasurementScheduler scheduler{port};
};

} // namespace qorn::testing
