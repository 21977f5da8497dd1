// Maps the tabs' start, pause, stop and reset requests onto the one acquisition: tag-stream tabs share a
// running stream, a hardware measurement has the device for itself, and a tab that cannot join what runs is
// started when that has stopped. Shows nothing: it emits what labels should read. Owned by the main window,
// GUI thread only.
#pragma once

#include "AcquisitionRequest.h"
#include "ExperimentTab.h"
#include "StatusFlag.h"
#include "UiCoincidenceSample.h"
#include "UiCounterSample.h"
#include "UiTimeTag.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>

namespace qorn::timetagger::gui {

class AcquisitionPort;

class MeasurementScheduler : public QObject {
    Q_OBJECT
public:
    // Where measurements get their pulses from when the source is a local device.
    struct SignalSource {
        bool internal = false;
        double internalRateKhz = 10.0;
    };

    // `acquisition` outlives the scheduler.
    explicit MeasurementScheduler(AcquisitionPort& acquisition, QObject* parent = nullptr);

    // Requests of a tab.
    void startExperiment(ExperimentTab* tab);
    void pauseExperiment(ExperimentTab* tab);
    void cancelExperiment(ExperimentTab* tab);
    void restartExperiment(ExperimentTab* tab);
    // The tab is about to be destroyed: it leaves without a call, and the acquisition ends with its last
    // consumer.
    void forgetExperiment(ExperimentTab* tab);
    // All tabs are about to be destroyed, or the source is gone: nothing runs or waits any more. What still
    // runs is stopped, and a start waits for its end.
    void forgetAll();

    void setSignalSource(const SignalSource& source) { signalSource = source; }
    const SignalSource& currentSignalSource() const { return signalSource; }
    // "network relay", "internal" or "external".
    QString signalModeText() const;

    ExperimentTab* runningExperiment() const { return primary; }
    ExperimentTab* pausedExperiment() const { return paused; }
    ExperimentTab* queuedStart() const { return queued; }
    bool isSwitchingAcquisition() const { return switchingAcquisition; }
    bool isTagStreamActive() const { return tagStreamActive; }
    bool isRunningConsumer(const ExperimentTab* tab) const;
    int runningConsumerCount() const; // live ones only

public Q_SLOTS:
    void onTagsBatch(const QList<qorn::timetagger::gui::UiTimeTag>& batch);
    void onCounterSample(const qorn::timetagger::gui::UiCounterSample& sample);
    void onCoincidenceSample(const qorn::timetagger::gui::UiCoincidenceSample& sample);
    void onCaptureStopped();

Q_SIGNALS:
    void detailTextChanged(const QString& text);
    void acquisitionIndicatorChanged(const QString& text, qorn::timetagger::gui::FlagState state);
    // A tab takes part in what runs now, or is about to.
    void experimentActivated(qorn::timetagger::gui::ExperimentTab* tab);
    void messageShown(const QString& text, int milliseconds);
    // Something changed on which the state of actions may depend.
    void stateChanged();

private:
    void joinStream(ExperimentTab* tab);
    void switchTo(ExperimentTab* tab);
    void startIdle(ExperimentTab* tab);
    void beginStop();
    void leaveAcquisition(ExperimentTab* tab);
    void resumeOrStart(ExperimentTab* tab);
    void launch(const AcquisitionRequest& request, ExperimentTab* tab);
    bool canServeByReset(ExperimentTab* tab) const;
    void addRunningConsumer(ExperimentTab* tab);
    void removeRunningConsumer(ExperimentTab* tab, bool callStop);
    void clearRunningConsumers(bool callStop);
    ExperimentTab* firstRunningConsumer() const;
    void setAcquisitionIndicator(const QString& text, bool streaming, FlagState state);
    void showSharedStream();
    void showIdle();

    AcquisitionPort& port;
    SignalSource signalSource;
    QPointer<ExperimentTab> primary; // whose parameters the acquisition was started with, or its successor
    QList<QPointer<ExperimentTab>> runningConsumers; // in order of joining; may hold dead ones until swept
    QPointer<ExperimentTab> paused;                  // a start of this one resumes
    QPointer<ExperimentTab> queued;                  // to start when the acquisition has stopped
    bool switchingAcquisition = false;               // a stop is under way
    bool tagStreamActive = false;                    // what runs can be shared
};

} // namespace qorn::timetagger::gui
