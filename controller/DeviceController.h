// The one data source of a window, a local instrument or a network relay, and every operation on it. What can
// block runs on the global thread pool; results come back as signals on the GUI thread.
//
// Created by the main window as its child. All operations are called on the GUI thread unless said otherwise.
// At most one measurement runs; while it runs, or while a calibration or an upload does, the device belongs
// to that task.
#pragma once

#include "CaptureLoop.h"
#include "ClockWait.h"
#include "CoincidenceLoop.h"
#include "CounterLoop.h"
#include "Device.h"
#include "Generation.h"
#include "GuiCalls.h"
#include "HostCalibration.h"
#include "InputSettings.h"
#include "RelayEndpoint.h"
#include "RelayServer.h"
#include "UiCalChannelStat.h"
#include "UiClockStatus.h"
#include "UiCoincidenceSample.h"
#include "UiCounterSample.h"
#include "UiDiscoveredDevice.h"
#include "UiTagFlow.h"
#include "UiTimeTag.h"
#include "UiTimeTagRecordingConfig.h"

#include <QFuture>
#include <QList>
#include <QObject>
#include <QString>
#include <QThread>

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace qorn::timetagger::gui {

struct CalibrationRequest;
struct CalibrationResult;
class GuiHandOver;

class DeviceController : public QObject {
    Q_OBJECT
    Q_PROPERTY(QList<qorn::timetagger::gui::UiCalChannelStat> calibrationStats READ calibrationStats)
public:
    explicit DeviceController(QObject* parent = nullptr);
    ~DeviceController() override; // close(), then waits for every task

    // State. isCapturing and isCalibrating may be read on any thread.
    bool hasDevice() const { return device != nullptr; }
    bool hasRelay() const { return relayEndpoint.has_value(); }
    bool hasSource() const { return hasDevice() || hasRelay(); }
    bool isCapturing() const { return capturing; }
    bool isCalibrating() const { return calibrationBusy; }
    bool hasHostCalibration() const { return hasCalibration; }
    QString sourceIdentity() const { return identity; }
    QString sourceSerial() const { return serial; }
    const StreamSettings& streamSettings() const { return stream; }
    const InputSettings& inputSettings() const { return inputs; }

    // Lists attached instruments: discoveryStarted, later devicesDiscovered. A call during a scan or a USB
    // reset leads to one more scan afterwards.
    void discoverDevices();
    // Resets the USB device behind a port: usbCycleStarted, later usbCycleFinished and a new scan; refusals
    // come as usbCycleFinished(false, text) at once.
    void cycleUsbDevice(const QString& port);

    // Open a source: opened or openFailed. openPort and openFirst block; openRelay asks the other host first.
    void openPort(const QString& port);
    void openFirst();
    void openRelay(const QString& host, quint16 streamPort, quint16 statusPort);
    // Ends everything that runs, waiting for it, and closes the source; emits closed when there was one.
    void close();
    // Whether the next opened device keeps the calibration that it has, instead of getting the saved one.
    void setSkipCalibrationUpload(bool skip) { skipCalibrationUpload = skip; }

    // Start a measurement; its end is told by captureStopped. Before that captureError tells of its failure,
    // and of faults that do not end it: tags lost, a recording whose file or companion cannot be kept. A
    // refusal is a captureError alone. Already capturing: nothing happens. Gates in s, rates in Hz.
    void startCounterMeasurements(double gateSeconds, bool internalSource, double internalRateHz);
    void startCoincidenceMeasurements(const UiCoincidenceConfig& config, bool internalSource,
                                      double internalRateHz);
    void startCapture(const QString& mode, double internalRateHz, int batchSize, unsigned char channelMask,
                      int maxUiTagsPerSecond, const UiTimeTagRecordingConfig& recording);
    // More tags per second than the capture began with are wanted from now on, any with 0 or less; fewer
    // change nothing. What is recorded and relayed is whole whatever the budget.
    void raiseTagBudget(int maxUiTagsPerSecond);
    // Asks the measurement to end; returns at once.
    void stopCapture();

    // The reference clock. The wish is kept also without a device and applied by the next open. False with a
    // text in `error` when it could not be applied; without `error` the text goes to captureError.
    void setReferenceClockWish(timing::ReferenceClockSource source, timing::ReferenceSignal signal);
    bool applyReferenceClockConfig(timing::ReferenceClockSource source, timing::ReferenceSignal signal,
                                   QString* error);
    // Reads the clock's state: clockStatusChanged. Does nothing while a task has the device.
    void refreshClockStatus();

    // Input settings; values in V and ns, one per input. False with a text in `error` (may be null).
    bool setThresholds(const std::array<double, timing::kChannels>& volts, QString* error);
    bool setInputDeadTimesNs(const std::array<double, timing::kChannels>& ns,
                             std::array<double, timing::kChannels>* applied, QString* error);
    bool setInputDeadTimeNs(double ns, double* applied, QString* error);
    bool setTdlMasks(const std::array<unsigned char, timing::kChannels>& masks, QString* error);
    void setStreamSettings(const StreamSettings& settings) { stream = settings; }

    // What the last calibration measured, by delay line and input; empty while one runs and after a failure.
    QList<UiCalChannelStat> calibrationStats() const;
    // Whether a result was put in force on the host alone since the device was opened.
    bool isCalibrationHostOnly() const { return calibrationHostOnly; }

    // Path of the open device's saved calibration; empty when there is none.
    QString calibrationFilePath() const;
    // Takes a calibration file as the host's calibration. False with a text in `error` (may be null).
    bool loadCalibrationFileFromPath(const QString& path, QString* error);

    // The relay server shares the source with other hosts. `message` (may be null) takes what to tell the
    // operator.
    bool setRelayServerEnabled(bool enabled, quint16 streamPort, quint16 statusPort, QString* message);
    relay::RelayServer::Stats relayServerStats() const;

public Q_SLOTS:
    // Measures the active delay lines on a pool thread, each by about `samples` tags in `sweepSteps` steps of
    // the generator around a frequency in Hz: calibrationStarted, then calibrationProgress, at last
    // calibrationFinished, which also tells a refusal. The result of before is gone at once; the new one is
    // pending until applyCalibration.
    void runCalibration(unsigned long samples = 400000, unsigned long sweepSteps = 72,
                        double frequencyHz = 100000.0);
    // Asks the calibration to end at its next step; returns at once. Any thread.
    void cancelCalibration();
    // Puts the host's calibration in force: on the host alone, or uploaded to the device as well (blocks),
    // saved or not. `report` (may be null) takes the outcome.
    bool applyCalibration(bool upload, bool store, QString* report = nullptr);
    // Upload a file on a pool thread: calibrationUploadStarted, later calibrationUploadFinished.
    void uploadSavedCalibration();
    void uploadCalibrationFile(const QString& path);

Q_SIGNALS:
    void discoveryStarted();
    void devicesDiscovered(const QList<qorn::timetagger::gui::UiDiscoveredDevice>& devices,
                           const QString& message);
    void usbCycleStarted();
    void usbCycleFinished(bool ok, const QString& message);
    void opened(const QString& identity);
    void openFailed(const QString& message);
    void calibrationLoaded(const QString& serial);
    void calibrationMissing(const QString& serial);
    void calibrationRestoreFailed(const QString& serial, const QString& message);
    void closed();
    void calibrationStarted();
    void calibrationProgress(int percent, const QString& phase);
    void calibrationUploadStarted(const QString& path);
    void calibrationUploadProgress(int percent);
    void calibrationUploadFinished(bool ok, const QString& message);
    void calibrationFinished(bool ok, const QString& message);
    void clockStatusChanged(const qorn::timetagger::gui::UiClockStatus& status);
    void tagsBatch(const QList<qorn::timetagger::gui::UiTimeTag>& batch);
    void counterSample(const qorn::timetagger::gui::UiCounterSample& sample);
    void coincidenceSample(const qorn::timetagger::gui::UiCoincidenceSample& sample);
    void captureStopped();
    void captureError(const QString& message);
    // Where the tags of the capture went so far: at most every 250 ms, ahead of batches that wait; and at its
    // end, behind the last batch, before captureStopped.
    void tagFlowChanged(const qorn::timetagger::gui::UiTagFlow& flow);

private:
    class Events;
    enum class CalibrationFile { Missing, Broken, Loaded };

    void assertOwnThread() const { Q_ASSERT(QThread::currentThread() == thread()); }
    // Runs `job` on the pool. The job must not throw.
    QFuture<void> runOnPool(std::function<void()> job);
    // Queues `report` to the GUI thread, behind all that waits for it there. Any thread.
    void queue(std::function<void()> report) { guiCalls.post(std::move(report)); }
    // Queues `report` past all that waits in order. Any thread.
    template <typename Report>
    void queueUrgent(Report&& report) {
        QMetaObject::invokeMethod(this, std::forward<Report>(report), Qt::QueuedConnection);
    }
    // Runs a measurement loop as the one measurement task, unless one runs. The rate of tags, 0 for any,
    // bounds what may wait for the GUI thread.
    void startMeasurement(std::function<void(Events&)> loop, int maxUiTagsPerSecond = 0);
    // On the GUI thread.
    void tellTagFlow(UiTagFlow flow, const GuiHandOver& handOver);
    // Says why the hardware's counters cannot be started, `busyText` during a calibration.
    bool refuseHardwareMeasurement(const QString& busyText);
    void finishAsyncOperation();

    void openDevice(const std::function<timing::Device()>& opener);
    void configureInputs();
    void takeSavedCalibration();
    void applyClockWishLater();
    CalibrationFile loadCalibrationFile(QString* error);
    bool refuseSecondSource(const QString& text);
    bool refuseSecondDevice();
    void finishDiscovery(const QList<UiDiscoveredDevice>& devices, const QString& message);
    void finishUsbCycle(bool ok, const QString& message);
    void rescanIfPending();

    ClockRequest clockRequest() const;
    UiClockStatus makeClockStatus(const timing::ReferenceClockStatus& status, bool available,
                                  const QString& message) const;
    void emitClockUnavailable(const QString& message);
    bool trySetReferenceClock(timing::ReferenceClockSource source, timing::ReferenceSignal signal);
    SourceDescription sourceDescription() const;

    void calibrate(const CalibrationRequest& request, quint64 generation);
    // A null result is a failure.
    void finishCalibration(const CalibrationResult* result, const QString& failure, quint64 generation);
    void freeDevice();
    void takeHostLuts();
    void uploadCalibrationFileAsync(const QString& path, bool openingDevice);
    bool uploadCalibrationViaPublicApi(const QString& path,
                                       const std::array<unsigned char, timing::kChannels>& masks,
                                       QString* error);
    void uploadNow(bool store);
    void uploadNow(const QString& path);

    GuiCalls guiCalls{*this};
    std::unique_ptr<timing::Device> device;
    std::optional<relay::RelayEndpoint> relayEndpoint; // never together with device
    std::unique_ptr<relay::RelayServer> relayServer;
    QString identity;
    QString serial;
    QString product;
    bool hasCalibration = false;
    bool skipCalibrationUpload = false;
    timing::ReferenceClockSource clockSource = timing::ReferenceClockSource::Internal;
    timing::ReferenceSignal clockSignal = timing::ReferenceSignal::TenMegahertz;
    bool clockControlAvailable = true; // false once the open device's image has shown that it has none
    QFuture<void> discoveryFuture;
    QFuture<void> usbCycleFuture;
    QFuture<void> asyncFuture; // the relay probe
    QFuture<void> captureFuture;
    QFuture<void> calibrationFuture;
    bool discovering = false;
    bool cyclingUsb = false;
    bool rescanPending = false;
    bool skipEepromCheck = false;
    std::atomic<bool> capturing{false};
    std::atomic<bool> calibrationBusy{false};
    std::atomic<bool> stopRequested{false};
    std::atomic<bool> cancelCalibrationRequested{false};
    Generation captureGeneration;
    std::shared_ptr<GuiHandOver> guiHandOver; // of the latest measurement
    int tagBudget = 0;                        // its tags per second, 0 or less for any
    Generation relayGeneration;
    Generation sourceGeneration; // results of a calibration or an upload die with the source
    InputSettings inputs;
    HostCalibration hostCalibration;
    QList<UiCalChannelStat> calStats;
    bool calibrationHostOnly = false;
    StreamSettings stream;
};

} // namespace qorn::timetagger::gui
