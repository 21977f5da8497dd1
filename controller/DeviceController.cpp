#include "DeviceController.h"

#include "ApplicationInfo.h"
#include "Error.h"
#include "GuiHandOver.h"
#include "LatestValue.h"
#include "RelayCaptureLoop.h"
#include "RelayClient.h"
#include "SampleBacklog.h"
#include "UsbTasks.h"

#include <QThreadPool>
#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>

#include <chrono>
#include <utility>

namespace qorn::timetagger::gui {
namespace {

using namespace std::chrono_literals;

// Tasks wait more than they compute, and a measurement must not keep a scan from running on a small machine.
constexpr int kLeastPoolThreads = 6;
constexpr std::chrono::milliseconds kRescanDelay = 250ms;
constexpr std::chrono::milliseconds kRescanAfterReset = 1500ms;

void registerMetaTypes() {
    static const bool registered = [] {
        qRegisterMetaType<QList<UiTimeTag>>("QVector<qorn::timetagger::gui::UiTimeTag>");
        qRegisterMetaType<UiDiscoveredDevice>("qorn::timetagger::gui::UiDiscoveredDevice");
        qRegisterMetaType<QList<UiDiscoveredDevice>>("QVector<qorn::timetagger::gui::UiDiscoveredDevice>");
        qRegisterMetaType<UiCounterSample>("qorn::timetagger::gui::UiCounterSample");
        qRegisterMetaType<UiCoincidenceSample>("qorn::timetagger::gui::UiCoincidenceSample");
        qRegisterMetaType<UiClockStatus>("qorn::timetagger::gui::UiClockStatus");
        qRegisterMetaType<UiTagFlow>("qorn::timetagger::gui::UiTagFlow");
        return true;
    }();
    Q_UNUSED(registered)
}

} // namespace

// Carries a measurement's reports to the GUI thread. Lives on the task's stack.
class DeviceController::Events final : public MeasurementEvents {
public:
    Events(DeviceController& owner, quint64 taskGeneration, std::shared_ptr<GuiHandOver> way)
        : controller(owner), generation(taskGeneration), handOver(std::move(way)),
          latestFlow(std::make_shared<LatestValue<UiTagFlow>>()) {}

    void clockStatus(const timing::ReferenceClockStatus& status) override {
        DeviceController& target = controller;
        controller.queue([&target, status] {
            Q_EMIT target.clockStatusChanged(target.makeClockStatus(status, true, QString()));
        });
    }

    void counterSample(UiCounterSample sample) override {
        queueSample(
            [&target = controller, sample = std::move(sample)] { Q_EMIT target.counterSample(sample); });
    }

    void coincidenceSample(UiCoincidenceSample sample) override {
        queueSample(
            [&target = controller, sample = std::move(sample)] { Q_EMIT target.coincidenceSample(sample); });
    }

    bool hasRoomFor(qsizetype tags) override { return handOver->hasRoomFor(static_cast<quint64>(tags)); }

    std::optional<int> newTagLimit() override { return handOver->newBudget(); }

    void tagsBatch(UiTimeTagBatch batch) override {
        DeviceController& target = controller;
        const auto tags = static_cast<quint64>(batch.size());
        handOver->send(tags);
        controller.queue([&target, current = generation, way = handOver, tags, batch = std::move(batch)] {
            const bool isCurrent = target.captureGeneration.isCurrent(current);
            if (isCurrent) {
                Q_EMIT target.tagsBatch(batch);
            }
            way->arrive(tags, isCurrent);
        });
    }

    // Losses are told at once, however many batches wait; of the reports only the latest does. The last one
    // goes behind the last batch too, and takes the place of what has not been told by then.
    void tagFlow(const UiTagFlow& counts) override {
        DeviceController& target = controller;
        UiTagFlow flow = counts;
        flow.capture = generation;
        flow.ended = false;
        const auto tellLatest = [&target, way = handOver, latest = latestFlow] {
            if (const auto untold = latest->take()) {
                target.tellTagFlow(*untold, *way);
            }
        };
        if (latestFlow->put(flow)) {
            controller.queueUrgent(tellLatest);
        }
        if (counts.ended) {
            flow.ended = true;
            controller.queue([&target, way = handOver, latest = latestFlow, flow] {
                latest->take();
                target.tellTagFlow(flow, *way);
            });
        }
    }

    void recordingNotice(const QString& text) override {
        DeviceController& target = controller;
        controller.queueUrgent([&target, text] { Q_EMIT target.captureError(text); });
    }

    void tagsLost(quint64 count) override {
        DeviceController& target = controller;
        controller.queue([&target, count] {
            Q_EMIT target.captureError(
                tr("This computer could not follow the instrument: %1 time tags were lost.").arg(count));
        });
    }

    void tellSamplesLeftOut(bool atEnd) {
        if (const quint64 count = samples->leftOutToTell(atEnd); count > 0) {
            DeviceController& target = controller;
            controller.queue([&target, count] {
                Q_EMIT target.captureError(
                    tr("The window could not follow the instrument: %1 samples are missing.").arg(count));
            });
        }
    }

private:
    template <typename Emission>
    void queueSample(Emission emission) {
        if (!samples->enter()) {
            return;
        }
        tellSamplesLeftOut(false);
        controller.queue([backlog = samples, emission = std::move(emission)] {
            emission();
            backlog->leave();
        });
    }

    DeviceController& controller;
    quint64 generation;
    std::shared_ptr<SampleBacklog> samples = std::make_shared<SampleBacklog>();
    std::shared_ptr<GuiHandOver> handOver;
    std::shared_ptr<LatestValue<UiTagFlow>> latestFlow;
};

DeviceController::DeviceController(QObject* parent)
    : QObject(parent), relayServer(std::make_unique<relay::RelayServer>()) {
    registerMetaTypes();
    QThreadPool* pool = QThreadPool::globalInstance();
    pool->setMaxThreadCount(std::max(pool->maxThreadCount(), kLeastPoolThreads));
}

DeviceController::~DeviceController() {
    close();
    asyncFuture.waitForFinished();
    discoveryFuture.waitForFinished();
    usbCycleFuture.waitForFinished();
}

QFuture<void> DeviceController::runOnPool(std::function<void()> job) {
    return QtConcurrent::run(std::move(job));
}

void DeviceController::close() {
    assertOwnThread();
    stopRequested = true;
    captureFuture.waitForFinished();
    cancelCalibrationRequested = true;
    freeDevice();
    asyncFuture.waitForFinished();
    const bool hadSource = hasSource();
    sourceGeneration.begin();
    relayGeneration.begin();
    device.reset();
    relayEndpoint.reset();
    relayServer->stop();
    identity.clear();
    serial.clear();
    product.clear();
    hostCalibration = {};
    calStats.clear();
    calibrationHostOnly = false;
    hasCalibration = false;
    if (hadSource) {
        Q_EMIT closed();
    }
}

bool DeviceController::refuseSecondSource(const QString& text) {
    if (hasSource() || asyncFuture.isRunning()) {
        Q_EMIT openFailed(text);
        return true;
    }
    return false;
}

bool DeviceController::refuseSecondDevice() {
    return refuseSecondSource(
        tr("A device is already open in this window. Close it first, or start a second GUI "
           "instance for another TDC."));
}

void DeviceController::openPort(const QString& port) {
    assertOwnThread();
    if (refuseSecondDevice()) {
        return;
    }
    const QString trimmed = port.trimmed();
    if (trimmed.isEmpty()) {
        Q_EMIT openFailed(tr("No device port was selected."));
        return;
    }
    openDevice([&trimmed] { return timing::Device::open_serial(trimmed.toStdString()); });
}

void DeviceController::openFirst() {
    assertOwnThread();
    if (refuseSecondDevice()) {
        return;
    }
    openDevice([] { return timing::Device::open_first(timing::Device::kDefaultBaud); });
}

void DeviceController::openDevice(const std::function<timing::Device()>& opener) {
    try {
        device = std::make_unique<timing::Device>(opener());
        const timing::Identity opened = device->identify();
        identity = QString::fromStdString(opened.description);
        serial = QString::fromStdString(opened.serial).trimmed();
        product = QString::fromStdString(opened.product).trimmed();
        clockControlAvailable = true;
        configureInputs();
        takeSavedCalibration();
    } catch (const std::exception& failure) {
        device.reset();
        identity.clear();
        serial.clear();
        product.clear();
        hasCalibration = false;
        Q_EMIT openFailed(QString::fromUtf8(failure.what()));
    }
}

void DeviceController::configureInputs() {
    sendThresholds(*device, inputs.thresholdsV, inputs);
    if (inputs.deadTimesConfigured) {
        try {
            std::array<std::int64_t, timing::kChannels> ps{};
            if (toDeadTimesPs(inputs.deadTimesNs, ps, nullptr)) {
                sendDeadTimes(*device, ps, inputs);
            }
        } catch (const timing::Error&) {
            // An image without dead times is no reason to refuse the device.
        }
    }
    sendTdlMasks(*device, inputs.tdlMasks);
}

void DeviceController::takeSavedCalibration() {
    QString report;
    const CalibrationFile file = loadCalibrationFile(&report);
    if (file == CalibrationFile::Loaded && applyCalibration(false, false, &report)) {
        hasCalibration = true;
        Q_EMIT opened(identity);
        Q_EMIT calibrationLoaded(serial);
        if (!skipCalibrationUpload) {
            uploadCalibrationFileAsync(calibrationFilePath(), true);
            return;
        }
    } else {
        hasCalibration = device->luts[0] != timing::FineLut::identity();
        Q_EMIT opened(identity);
        if (file == CalibrationFile::Missing) {
            Q_EMIT calibrationMissing(serial);
        } else {
            Q_EMIT calibrationRestoreFailed(
                serial, report.isEmpty() ? tr("Saved calibration could not be applied.") : report);
        }
    }
    applyClockWishLater();
}

void DeviceController::openRelay(const QString& host, quint16 streamPort, quint16 statusPort) {
    assertOwnThread();
    if (refuseSecondSource(tr("A data source is already open in this window. Close it first."))) {
        return;
    }
    const QString trimmed = host.trimmed();
    if (trimmed.isEmpty()) {
        Q_EMIT openFailed(tr("Enter a relay host name or IP address."));
        return;
    }
    if (streamPort == 0 || statusPort == 0) {
        Q_EMIT openFailed(tr("Relay ports must be between 1 and 65535."));
        return;
    }
    const relay::RelayEndpoint endpoint{trimmed.toStdString(), streamPort, statusPort};
    const quint64 generation = relayGeneration.begin();
    asyncFuture = runOnPool([this, endpoint, generation] {
        std::string error;
        const bool reached = relay::RelayClient().probe(endpoint, &error);
        queue([this, endpoint, generation, reached, error] {
            if (!relayGeneration.isCurrent(generation) || hasSource()) {
                return;
            }
            asyncFuture.waitForFinished(); // so that an answer to the signals may open again
            if (!reached) {
                Q_EMIT openFailed(QString::fromStdString(error));
                return;
            }
            relayEndpoint = endpoint;
            serial = QString::fromStdString(endpoint.host);
            identity = tr("Network relay %1:%2").arg(serial).arg(endpoint.stream_port);
            hasCalibration = false;
            clockControlAvailable = false;
            Q_EMIT opened(identity);
        });
    });
}

void DeviceController::discoverDevices() {
    assertOwnThread();
    if (cyclingUsb || discovering || discoveryFuture.isRunning() || usbCycleFuture.isRunning()) {
        rescanPending = true;
        return;
    }
    const bool checkEeprom = !std::exchange(skipEepromCheck, false);
    discovering = true;
    Q_EMIT discoveryStarted();
    discoveryFuture = runOnPool([this, checkEeprom] {
        const DiscoveryResult result = discoverAttachedDevices(checkEeprom);
        queue([this, result] { finishDiscovery(result.devices, result.message); });
    });
}

void DeviceController::finishDiscovery(const QList<UiDiscoveredDevice>& devices, const QString& message) {
    discoveryFuture.waitForFinished(); // only the task's own end is left
    discovering = false;
    Q_EMIT devicesDiscovered(devices, message);
    if (!cyclingUsb) {
        rescanIfPending();
    }
}

void DeviceController::rescanIfPending() {
    if (std::exchange(rescanPending, false)) {
        QTimer::singleShot(kRescanDelay, this, &DeviceController::discoverDevices);
    }
}

void DeviceController::cycleUsbDevice(const QString& port) {
    assertOwnThread();
    const QString trimmed = port.trimmed();
    if (cyclingUsb || usbCycleFuture.isRunning()) {
        Q_EMIT usbCycleFinished(false, tr("A USB reset is already in progress."));
    } else if (discovering || discoveryFuture.isRunning()) {
        rescanPending = true;
        Q_EMIT usbCycleFinished(false,
                                tr("Wait for the current device scan to finish before resetting USB."));
    } else if (hasDevice()) {
        Q_EMIT usbCycleFinished(false, tr("Close the current device before resetting a USB interface."));
    } else if (trimmed.isEmpty()) {
        Q_EMIT usbCycleFinished(false, tr("Select a customer USB device first."));
    } else {
        cyclingUsb = true;
        Q_EMIT usbCycleStarted();
        usbCycleFuture = runOnPool([this, trimmed] {
            const UsbCycleResult result = cycleUsbDeviceAt(trimmed);
            queue([this, result] { finishUsbCycle(result.ok, result.message); });
        });
    }
}

void DeviceController::finishUsbCycle(bool ok, const QString& message) {
    usbCycleFuture.waitForFinished();
    cyclingUsb = false;
    Q_EMIT usbCycleFinished(ok, message);
    if (ok) {
        skipEepromCheck = true;
        QTimer::singleShot(kRescanAfterReset, this, &DeviceController::discoverDevices);
    } else {
        rescanIfPending();
    }
}

void DeviceController::tellTagFlow(UiTagFlow flow, const GuiHandOver& handOver) {
    flow.window = handOver.counts();
    Q_EMIT tagFlowChanged(flow);
}

void DeviceController::startMeasurement(std::function<void(Events&)> loop, int maxUiTagsPerSecond) {
    if (capturing.exchange(true)) {
        return;
    }
    captureFuture.waitForFinished(); // the task before is past its last act
    stopRequested = false;
    const quint64 generation = captureGeneration.begin();
    tagBudget = maxUiTagsPerSecond;
    guiHandOver = std::make_shared<GuiHandOver>(GuiHandOver::mostTagsFor(maxUiTagsPerSecond));
    captureFuture = runOnPool([this, generation, way = guiHandOver, loop = std::move(loop)] {
        Events events(*this, generation, way);
        try {
            loop(events);
        } catch (const std::exception& failure) {
            queue([this, text = QString::fromUtf8(failure.what())] { Q_EMIT captureError(text); });
        }
        events.tellSamplesLeftOut(true);
        finishAsyncOperation();
    });
}

// The flag falls before captureStopped is queued, so that a start in answer to it finds the controller idle.
void DeviceController::finishAsyncOperation() {
    capturing = false;
    queue([this] { Q_EMIT captureStopped(); });
}

bool DeviceController::refuseHardwareMeasurement(const QString& busyText) {
    if (!hasDevice()) {
        Q_EMIT captureError(tr("Device is not open"));
        return true;
    }
    if (calibrationBusy) {
        Q_EMIT captureError(busyText);
        return true;
    }
    return false;
}

void DeviceController::startCounterMeasurements(double gateSeconds, bool internalSource,
                                                double internalRateHz) {
    assertOwnThread();
    if (refuseHardwareMeasurement(
            tr("Wait for calibration or calibration upload to finish before starting counting"))) {
        return;
    }
    const CounterRequest request{gateSeconds, internalSource, internalRateHz, clockRequest()};
    startMeasurement([this, request](Events& events) {
        SystemLoopClock clock;
        counterLoop(*device, request, stopRequested, events, clock);
    });
}

void DeviceController::startCoincidenceMeasurements(const UiCoincidenceConfig& config, bool internalSource,
                                                    double internalRateHz) {
    assertOwnThread();
    if (refuseHardwareMeasurement(
            tr("Wait for calibration or calibration upload to finish before starting coincidences"))) {
        return;
    }
    const CoincidenceRequest request{config, internalSource, internalRateHz, clockRequest()};
    startMeasurement([this, request](Events& events) {
        SystemLoopClock clock;
        coincidenceLoop(*device, request, stopRequested, events, clock);
    });
}

void DeviceController::startCapture(const QString& mode, double internalRateHz, int batchSize,
                                    unsigned char channelMask, int maxUiTagsPerSecond,
                                    const UiTimeTagRecordingConfig& recording) {
    assertOwnThread();
    if (!hasSource()) {
        Q_EMIT captureError(tr("Device is not open"));
        return;
    }
    if (calibrationBusy) {
        Q_EMIT captureError(
            tr("Wait for calibration or calibration upload to finish before starting capture"));
        return;
    }
    const CaptureRequest request{mode,      internalRateHz, batchSize, channelMask,        maxUiTagsPerSecond,
                                 recording, clockRequest(), stream,    sourceDescription()};
    startMeasurement(
        [this, request, endpoint = relayEndpoint](Events& events) {
            SystemLoopClock clock;
            if (endpoint) {
                relayCaptureLoop(*endpoint, request, relayServer.get(), stopRequested, events, clock);
            } else {
                captureLoop(*device, request, relayServer.get(), stopRequested, events, clock);
            }
        },
        maxUiTagsPerSecond);
}

void DeviceController::raiseTagBudget(int maxUiTagsPerSecond) {
    assertOwnThread();
    const bool isMore = maxUiTagsPerSecond <= 0 || maxUiTagsPerSecond > tagBudget;
    if (capturing && tagBudget > 0 && isMore) {
        tagBudget = maxUiTagsPerSecond;
        guiHandOver->setBudget(maxUiTagsPerSecond);
    }
}

void DeviceController::stopCapture() {
    stopRequested = true;
}

SourceDescription DeviceController::sourceDescription() const {
    SourceDescription source;
    source.application = std::string(kApplicationName) + ' ' + kApplicationVersion;
    source.product = product.toStdString();
    source.serial = serial.toStdString();
    source.port = relayEndpoint ? relayEndpoint->host + ':' + std::to_string(relayEndpoint->stream_port)
                                : (device ? device->port : std::string());
    return source;
}

} // namespace qorn::timetagger::gui
