// Asks what calibration to put in force: the saved one, one from a file, or a new one and how it is measured.
// Settings in, an action with its parameters out. Shown modally by the calibration workflow; knows no
// instrument.
#pragma once

#include "CalibrationControls.h"

#include <QDialog>
#include <QString>

class QGroupBox;
class QLabel;

namespace qorn::timetagger::gui {

class CalibrationDialog : public QDialog {
    Q_OBJECT
public:
    enum class Action { None, UploadSaved, UploadFile, Start };

    // `savedFile` is the path of the device's saved calibration, to be shown; may be empty.
    CalibrationDialog(const CalibrationSettings& initial, const QString& savedFile,
                      QWidget* parent = nullptr);

    // What accepted the dialog; None when it was closed.
    Action action() const { return chosen; }
    // The file of UploadFile.
    QString filePath() const { return file; }
    // What the controls show.
    CalibrationSettings settings() const { return controls.settings(); }

private:
    QGroupBox* buildSavedCalibration(const QString& savedFile);
    QGroupBox* buildNewCalibration();
    QWidget* buildButtons();
    void showEstimate();
    void acceptWith(Action action);
    void chooseFile();

    CalibrationControls controls;
    QLabel* estimate = nullptr;
    Action chosen = Action::None;
    QString file;
};

} // namespace qorn::timetagger::gui
