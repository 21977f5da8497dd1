#include "HostCalibration.h"

#include "Driver.h"
#include "Error.h"
#include "TextOut.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstring>

namespace qorn::timetagger::gui {
namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("HostCalibration", text);
}

} // namespace

void HostCalibration::take(timing::FineCalibration calibration) {
    pendingTdls = std::move(calibration.tdls);
    tdlOffsetPs = calibration.tdl_offset_ps;
}

bool HostCalibration::loadCalibrationFileFromPath(const QString& path, const QString& serial,
                                                  QString* error) {
    const QString file = path.trimmed();
    if (file.isEmpty()) {
        setText(error, tr("No calibration file path was provided"));
        return false;
    }
    timing::FineCalibration loaded;
    if (!timing::load_calibration_file(file.toStdString(), loaded)) {
        setText(error, tr("Could not open calibration file:\n%1").arg(file));
        return false;
    }
    const QString fileSerial = QString::fromStdString(loaded.serial);
    if (!serial.isEmpty() && !fileSerial.isEmpty() && fileSerial != serial) {
        setText(error, tr("Calibration file serial %1 does not match the open device serial %2.")
                           .arg(fileSerial, serial));
        return false;
    }
    std::erase_if(loaded.tdls, [](const PendingCalTdl& entry) {
        return std::all_of(entry.luts.begin(), entry.luts.end(),
                           [](const timing::FineLut& lut) { return lut.entries.empty(); });
    });
    if (loaded.tdls.empty()) {
        setText(error, tr("Calibration file contains no TDL LUTs:\n%1").arg(file));
        return false;
    }
    take(std::move(loaded));
    return true;
}

bool HostCalibration::saveCalibrationFile(const QString& serial, QString* error) const {
    if (serial.isEmpty()) {
        setText(error, tr("No device serial; cannot name the calibration file"));
        return false;
    }
    if (isEmpty()) {
        setText(error, tr("No calibration result to save"));
        return false;
    }
    try {
        timing::save_calibration_file(userCalibrationFilePathFor(serial).toStdString(),
                                      currentCalibration(serial));
    } catch (const timing::Error& failure) {
        setText(error, QString::fromUtf8(failure.what()));
        return false;
    }
    return true;
}

const timing::FineLut* HostCalibration::pickHostLut(int channel, int selectedTdl) const {
    const auto selected =
        std::find_if(pendingTdls.begin(), pendingTdls.end(),
                     [&](const PendingCalTdl& entry) { return entry.tdl_index == selectedTdl; });
    const auto chosen = selected != pendingTdls.end()
                            ? selected
                            : std::min_element(pendingTdls.begin(), pendingTdls.end(),
                                               [](const PendingCalTdl& a, const PendingCalTdl& b) {
                                                   return a.tdl_index < b.tdl_index;
                                               });
    return chosen == pendingTdls.end() ? nullptr : &chosen->luts[static_cast<std::size_t>(channel)];
}

timing::FineCalibration HostCalibration::currentCalibration(const QString& serial) const {
    timing::FineCalibration calibration;
    calibration.serial = serial.toStdString();
    calibration.tdls = pendingTdls;
    calibration.tdl_offset_ps = tdlOffsetPs;
    return calibration;
}

QString fileNameSerial(const QString& serial) {
    QString name;
    for (const QChar character : serial) {
        const bool plain = character.isLetterOrNumber() || character == QLatin1Char('-');
        name.append(plain ? character : QLatin1Char('_'));
    }
    return name.isEmpty() ? QStringLiteral("unknown") : name;
}

QString userCalibrationFilePathFor(const QString& serial) {
    const QString home = qEnvironmentVariable("HOME");
    return (home.isEmpty() ? QStringLiteral(".") : home) +
           QLatin1String("/.qorn.timing/calibrations/qorn_cal_") + fileNameSerial(serial) +
           QLatin1String(".cal");
}

QString calibrationFilePathFor(const QString& serial) {
    if (serial.isEmpty()) {
        return {};
    }
    std::array<char, 1024> buffer{};
    const tt_status status =
        timing::driver().tt_get_calibration_path(serial.toUtf8().constData(), buffer.data(), buffer.size());
    if (status != TT_OK) {
        return {};
    }
    return QString::fromUtf8(buffer.data(), static_cast<qsizetype>(strnlen(buffer.data(), buffer.size())));
}

} // namespace qorn::timetagger::gui
