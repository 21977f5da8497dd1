// The controller's calibration operations: measuring, loading, applying and uploading.
#include "DeviceController.h"

#include "CalibrationRun.h"
#include "Driver.h"
#include "Error.h"
#include "TextOut.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <memory>

namespace qorn::timetagger::gui {
namespace {

// A file that goes with its owner.
class TemporaryFile {
public:
    explicit TemporaryFile(const QString& file) : name(file) {}
    ~TemporaryFile() { QFile::remove(name); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const QString& path() const { return name; }

private:
    QString name;
};

} // namespace

void DeviceController::runCalibration(unsigned long samples, unsigned long sweepSteps, double frequencyHz) {
    assertOwnThread();
    if (!hasDevice()) {
        Q_EMIT calibrationFinished(false, tr("Device is not open"));
        return;
    }
    if (capturing || calibrationBusy) {
        Q_EMIT calibrationFinished(false, tr("Stop the current capture before calibrating"));
        return;
    }
    calibrationBusy = true;
    cancelCalibrationRequested = false;
    hostCalibration = {};
    calStats.clear();
    const quint64 generation = sourceGeneration.begin();
    Q_EMIT calibrationStarted();
    if (!sourceGeneration.isCurrent(generation)) { // closed in answer to that
        finishCalibration(nullptr, {}, generation);
        return;
    }
    const CalibrationRequest request{samples, sweepSteps, frequencyHz, linesToCalibrate(inputs.tdlMasks)};
    calibrationFuture = runOnPool([this, request, generation] { calibrate(request, generation); });
}

// On a pool thread.
void DeviceController::calibrate(const CalibrationRequest& request, quint64 generation) {
    const auto report = [this, generation](int percent, const QString& phase) {
        queue([this, generation, percent, phase] {
            if (sourceGeneration.isCurrent(generation)) {
                Q_EMIT calibrationProgress(percent, phase);
            }
        });
    };
    std::shared_ptr<const CalibrationResult> result;
    QString failure;
    try {
        result = std::make_shared<const CalibrationResult>(
            CalibrationRun(*device, request, cancelCalibrationRequested, report).measure());
    } catch (const std::exception& caught) {
        failure = textOf(caught);
    }
    queue([this, result, failure, generation] { finishCalibration(result.get(), failure, generation); });
}

// The device is free, and what was measured is pending, when the end is told. A source that was closed in the
// meantime is told about as well, for somebody waits for it.
void DeviceController::finishCalibration(const CalibrationResult* result, const QString& failure,
                                         quint64 generation) {
    if (!sourceGeneration.isCurrent(generation)) {
        Q_EMIT calibrationFinished(false, tr("Calibration canceled."));
        return;
    }
    freeDevice();
    if (result == nullptr) {
        Q_EMIT calibrationFinished(false, failure);
        return;
    }
    hostCalibration.take(result->calibration);
    calStats = result->stats;
    Q_EMIT calibrationFinished(true, result->summary);
}

// After the task of a calibration or an upload.
void DeviceController::freeDevice() {
    calibrationFuture.waitForFinished(); // only the task's own end is left
    calibrationBusy = false;
    cancelCalibrationRequested = false;
}

void DeviceController::cancelCalibration() {
    cancelCalibrationRequested = true;
}

QList<UiCalChannelStat> DeviceController::calibrationStats() const {
    assertOwnThread();
    return calStats;
}

QString DeviceController::calibrationFilePath() const {
    return calibrationFilePathFor(serial);
}

DeviceController::CalibrationFile DeviceController::loadCalibrationFile(QString* error) {
    const QString path = calibrationFilePath();
    if (path.isEmpty() || !QFileInfo::exists(path)) {
        return CalibrationFile::Missing;
    }
    return loadCalibrationFileFromPath(path, error) ? CalibrationFile::Loaded : CalibrationFile::Broken;
}

bool DeviceController::loadCalibrationFileFromPath(const QString& path, QString* error) {
    assertOwnThread();
    if (!hostCalibration.loadCalibrationFileFromPath(path, serial, error)) {
        return false;
    }
    takeHostLuts();
    return true;
}

// Puts the host's tables into the open device.
void DeviceController::takeHostLuts() {
    for (int channel = 0; hasDevice() && channel < timing::kChannels; ++channel) {
        if (const timing::FineLut* lut = hostCalibration.pickHostLut(channel, stream.streamTdlIndex)) {
            device->luts[static_cast<std::size_t>(channel)] = *lut;
        }
    }
}

bool DeviceController::applyCalibration(bool upload, bool store, QString* report) {
    assertOwnThread();
    if (!hasDevice()) {
        setText(report, tr("Device is not open"));
        return false;
    }
    if (hostCalibration.isEmpty()) {
        setText(report, tr("No calibration result to apply"));
        return false;
    }
    cancelCalibrationRequested = false;
    takeHostLuts();
    if (!upload) {
        if (store) {
            hostCalibration.saveCalibrationFile(serial, nullptr);
        }
        calibrationHostOnly = true;
        setText(report, tr("Calibration saved for a future session."));
        return true;
    }
    if (capturing || calibrationBusy) {
        setText(report, tr("Stop the current capture or calibration before uploading calibration data"));
        return false;
    }
    try {
        uploadNow(store);
    } catch (const std::exception& failure) {
        setText(report, textOf(failure));
        return false;
    }
    setText(report, tr("Calibration applied to all inputs."));
    return true;
}

// Uploads the host's calibration, through its saved file or a temporary one. Throws with the text to show.
void DeviceController::uploadNow(bool store) {
    if (store) {
        QString error;
        if (!hostCalibration.saveCalibrationFile(serial, &error)) {
            throw std::runtime_error(error.toStdString());
        }
        const QString written = userCalibrationFilePathFor(serial);
        const QString named = calibrationFilePath(); // the driver may name another one, or none
        uploadNow(QFileInfo(named) == QFileInfo(written) ? named : written);
    } else {
        const QString name = serial.isEmpty() ? QStringLiteral("device") : fileNameSerial(serial);
        const TemporaryFile file(QDir::temp().filePath(QStringLiteral("qorn_cal_upload_%1.cal").arg(name)));
        timing::save_calibration_file(file.path().toStdString(), hostCalibration.currentCalibration(serial));
        uploadNow(file.path());
    }
}

void DeviceController::uploadNow(const QString& path) {
    Q_EMIT calibrationUploadProgress(0);
    QString error;
    if (!uploadCalibrationViaPublicApi(path, inputs.tdlMasks, &error)) {
        throw std::runtime_error(error.toStdString());
    }
    Q_EMIT calibrationUploadProgress(100);
}

void DeviceController::uploadSavedCalibration() {
    uploadCalibrationFileAsync(calibrationFilePath(), false);
}

void DeviceController::uploadCalibrationFile(const QString& path) {
    uploadCalibrationFileAsync(path, false);
}

void DeviceController::uploadCalibrationFileAsync(const QString& path, bool openingDevice) {
    assertOwnThread();
    if (!hasDevice()) {
        Q_EMIT calibrationUploadFinished(false, tr("Device is not open"));
        return;
    }
    if (capturing || calibrationBusy) {
        Q_EMIT calibrationUploadFinished(
            false, tr("Stop the current capture or calibration before uploading calibration data"));
        return;
    }
    calibrationBusy = true;
    cancelCalibrationRequested = false;
    Q_EMIT calibrationUploadStarted(path);
    Q_EMIT calibrationUploadProgress(0);
    const quint64 generation = sourceGeneration.begin();
    calibrationFuture = runOnPool([this, path, masks = inputs.tdlMasks, openingDevice, generation] {
        QString message;
        bool ok = false;
        try {
            ok = uploadCalibrationViaPublicApi(path, masks, &message);
        } catch (const std::exception& failure) {
            message = textOf(failure);
        }
        if (ok) {
            message = tr("Calibration uploaded to the device.");
        }
        queue([this, ok, message, openingDevice, generation] {
            if (!sourceGeneration.isCurrent(generation)) {
                return;
            }
            freeDevice();
            Q_EMIT calibrationUploadFinished(ok, message);
            if (openingDevice) {
                applyClockWishLater();
            }
        });
    });
}

// On the thread that has the device: a pool thread or, for applyCalibration, the GUI thread.
bool DeviceController::uploadCalibrationViaPublicApi(
    const QString& path, const std::array<unsigned char, timing::kChannels>& masks, QString* error) {
    const tt_status status =
        timing::driver().tt_upload_calibration_file(device->handle, path.toUtf8().constData());
    if (status != TT_OK) {
        setText(error, QString::fromStdString(timing::detail::failure_text(status, device->handle)));
        return false;
    }
    sendTdlMasks(*device, masks); // the upload leaves the device's masks changed
    return true;
}

} // namespace qorn::timetagger::gui
