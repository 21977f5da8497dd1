// Asks for what only developers change: active delay lines, stream format, the internal test source and how
// calibrations are measured; or for a calibration to upload. Settings in, settings or an upload out. Shown
// modally by the device menu; knows no instrument.
#pragma once

#include "CalibrationControls.h"
#include "CalibrationFileChoice.h"
#include "CaptureLoop.h"
#include "TimeTag.h"

#include <QDialog>
#include <QList>
#include <QString>

#include <array>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QGroupBox;

namespace qorn::timetagger::gui {

struct DeveloperSettings {
    std::array<unsigned char, timing::kChannels> tdlMasks{7, 7, 7, 7}; // low three bits
    StreamChoice streamFormat = StreamChoice::PackedDelta;
    bool internalSource = false;
    double internalRateKhz = 10.0;
    CalibrationSettings calibration;

    bool operator==(const DeveloperSettings&) const = default;
};

// The inputs with exactly one active delay line, by number from 1.
QList<int> inputsWithOneTdl(const std::array<unsigned char, timing::kChannels>& tdlMasks);

class DeveloperSettingsDialog : public QDialog {
    Q_OBJECT
public:
    // `savedFile` is the path of the device's saved calibration, to be shown; may be empty.
    DeveloperSettingsDialog(const DeveloperSettings& initial, const QString& savedFile,
                            QWidget* parent = nullptr);

    // What the controls show. Counts only when the dialog was accepted.
    DeveloperSettings settings() const;
    // The upload that was asked for; such a dialog ends rejected, and changes no setting.
    CalibrationUpload upload() const { return wantedUpload; }
    // The file of CalibrationUpload::File.
    QString filePath() const { return file; }

private:
    static constexpr std::size_t kLines = 3;

    QWidget* buildGeneral(const DeveloperSettings& initial);
    QWidget* buildTdlGrid(const DeveloperSettings& initial);
    QWidget* buildStreaming(const DeveloperSettings& initial);
    QGroupBox* buildStreamFormat(StreamChoice format);
    QGroupBox* buildTestSource(const DeveloperSettings& initial);
    QWidget* buildCalibration(const QString& savedFile);
    QGroupBox* buildUpload(const QString& savedFile);
    void selectAllTdls(bool active);
    void showWhetherAllAreSelected();
    void endWith(CalibrationUpload upload);
    void chooseFile();

    std::array<std::array<QCheckBox*, kLines>, timing::kChannels> tdls{};
    QCheckBox* selectAll = nullptr;
    QComboBox* formatBox = nullptr;
    QCheckBox* internalBox = nullptr;
    QDoubleSpinBox* internalRateBox = nullptr;
    CalibrationControls calibration;
    CalibrationUpload wantedUpload = CalibrationUpload::None;
    QString file;
};

} // namespace qorn::timetagger::gui
