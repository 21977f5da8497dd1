#include "ControllerTest.h"

#include "CalibrationFiles.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include <algorithm>

namespace qorn::timetagger::gui::test {

bool runUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    QTimer wake; // ends the wait for an event when there is none
    wake.start(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

void runFor(std::chrono::milliseconds duration) {
    QEventLoop loop;
    QTimer::singleShot(duration, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

void processQueued() {
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
}

namespace {

QString number(qlonglong value) {
    return QString::number(value);
}

} // namespace

SignalRecorder::SignalRecorder(DeviceController* controller) {
    using C = DeviceController;
    connect(controller, &C::discoveryStarted, this, [this] { add("discoveryStarted", {}); });
    connect(controller, &C::devicesDiscovered, this, [this](const auto& devices, const QString& message) {
        scans.push_back(devices);
        add("devicesDiscovered", {number(devices.size()), message});
    });
    connect(controller, &C::usbCycleStarted, this, [this] { add("usbCycleStarted", {}); });
    connect(controller, &C::usbCycleFinished, this, [this](bool ok, const QString& message) {
        add("usbCycleFinished", {number(ok), message});
    });
    connect(controller, &C::opened, this, [this](const QString& text) { add("opened", {text}); });
    connect(controller, &C::openFailed, this, [this](const QString& text) { add("openFailed", {text}); });
    connect(controller, &C::calibrationLoaded, this,
            [this](const QString& serial) { add("calibrationLoaded", {serial}); });
    connect(controller, &C::calibrationMissing, this,
            [this](const QString& serial) { add("calibrationMissing", {serial}); });
    connect(controller, &C::calibrationRestoreFailed, this,
            [this](const QString& serial, const QString& text) {
                add("calibrationRestoreFailed", {serial, text});
            });
    connect(controller, &C::closed, this, [this] { add("closed", {}); });
    connect(controller, &C::calibrationUploadStarted, this,
            [this](const QString& path) { add("calibrationUploadStarted", {path}); });
    connect(controller, &C::calibrationUploadProgress, this,
            [this](int percent) { add("calibrationUploadProgress", {number(percent)}); });
    connect(controller, &C::calibrationUploadFinished, this, [this](bool ok, const QString& text) {
        add("calibrationUploadFinished", {number(ok), text});
    });
    connect(controller, &C::clockStatusChanged, this, [this](const UiClockStatus& status) {
        clocks.push_back(status);
        add("clockStatusChanged", {status.message});
    });
    connect(controller, &C::tagsBatch, this, [this](const QList<UiTimeTag>& batch) {
        const Tags more = fromUi(batch);
        tags.insert(tags.end(), more.begin(), more.end());
        add("tagsBatch", {number(batch.size())});
    });
    connect(controller, &C::counterSample, this, [this](const UiCounterSample& sample) {
        samples.push_back(sample);
        add("counterSample", {number(static_cast<qlonglong>(sample.totalCount))});
    });
    connect(controller, &C::coincidenceSample, this, [this](const UiCoincidenceSample& sample) {
        coincidences.push_back(sample);
        add("coincidenceSample", {number(static_cast<qlonglong>(sample.totalCount))});
    });
    connect(controller, &C::captureStopped, this, [this] { add("captureStopped", {}); });
    connect(controller, &C::captureError, this, [this](const QString& text) { add("captureError", {text}); });
}

void SignalRecorder::add(const char* name, const QStringList& arguments) {
    list.push_back(
        {name, arguments.join(QLatin1String(", ")).toStdString(), std::chrono::steady_clock::now()});
    if (onSignal) {
        onSignal(name);
    }
}

Texts SignalRecorder::texts() const {
    Texts all;
    for (const Entry& entry : list) {
        if (entry.name != "clockStatusChanged") {
            all.push_back(entry.text());
        }
    }
    return all;
}

Texts SignalRecorder::textsOf(const std::string& name) const {
    Texts all;
    for (const Entry& entry : list) {
        if (entry.name == name) {
            all.push_back(entry.text());
        }
    }
    return all;
}

int SignalRecorder::count(const std::string& name) const {
    return static_cast<int>(textsOf(name).size());
}

std::chrono::steady_clock::time_point SignalRecorder::timeOf(const std::string& name, int number) const {
    for (const Entry& entry : list) {
        if (entry.name == name && --number == 0) {
            return entry.time;
        }
    }
    ADD_FAILURE() << "there was no such " << name;
    return {};
}

void SignalRecorder::clear() {
    list.clear();
    clocks.clear();
    samples.clear();
    coincidences.clear();
    scans.clear();
    tags.clear();
}

bool SignalRecorder::waitFor(const std::string& name, int number) {
    return runUntil([&] { return count(name) >= number; });
}

ControllerTest::ControllerTest()
    : controller(std::make_unique<DeviceController>()),
      signalled(std::make_unique<SignalRecorder>(controller.get())) {}

ControllerTest::~ControllerTest() {
    controller.reset();
}

void ControllerTest::openDevice() {
    controller->openPort(QStringLiteral("ftdi://SN0001"));
    ASSERT_TRUE(controller->hasDevice());
    ASSERT_TRUE(signalled->waitFor("clockStatusChanged")); // the last step of opening
    signalled->clear();
    driver->clearLog();
}

std::string ControllerTest::saveCalibration(const std::string& serial) {
    const std::string path = writeCalibration(folder.file("saved.cal"), calibrationOf(serial, {0, 1}));
    driver->change([&](auto& script) { script.calibrationPath = path; });
    return path;
}

void ControllerTest::beginCounting() {
    driver->hold("tt_read_count_stream_sample");
    controller->startCounterMeasurements(0.1, false, 0.0);
    ASSERT_TRUE(driver->waitUntilHeld("tt_read_count_stream_sample"));
    ASSERT_TRUE(controller->isCapturing());
}

void ControllerTest::endCounting() {
    const int before = signalled->count("captureStopped");
    controller->stopCapture();
    driver->feedSample({});
    driver->release("tt_read_count_stream_sample");
    ASSERT_TRUE(signalled->waitFor("captureStopped", before + 1));
}

void ControllerTest::beginUpload() {
    driver->hold("tt_upload_calibration_file");
    controller->uploadCalibrationFile(QStringLiteral("/data/a.cal"));
    ASSERT_TRUE(driver->waitUntilHeld("tt_upload_calibration_file"));
    ASSERT_TRUE(controller->isCalibrating());
}

void ControllerTest::endUpload() {
    const int before = signalled->count("calibrationUploadFinished");
    driver->release("tt_upload_calibration_file");
    ASSERT_TRUE(signalled->waitFor("calibrationUploadFinished", before + 1));
    ASSERT_FALSE(controller->isCalibrating());
}

void ControllerTest::stopAndWait() {
    controller->stopCapture();
    ASSERT_TRUE(signalled->waitFor("captureStopped"));
}

} // namespace qorn::timetagger::gui::test
