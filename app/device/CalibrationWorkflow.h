// The operator's side of a calibration: what to do, how far it is, and whether its result is applied, saved
// or discarded. Shows dialogs over the window; labels and flags are the window's, which follows the signals.
//
// Owned by the main window, GUI thread only.
#pragma once

#include "CalibrationSettings.h"
#include "StatusFlag.h"

#include <QObject>
#include <QString>

class QWidget;

namespace qorn::timetagger::gui {

class CalibrationPort;
class CalibrationProgressDialog;
struct CalibrationChoice;

class CalibrationWorkflow : public QObject {
    Q_OBJECT
public:
    // `instrument` and `parentWindow` outlive the workflow.
    CalibrationWorkflow(CalibrationPort& instrument, QWidget& parentWindow, QObject* parent = nullptr);

    // How the next calibration is measured; kept for the session.
    const CalibrationSettings& calibrationSettings() const { return settings; }
    void setCalibrationSettings(const CalibrationSettings& wanted) { settings = wanted; }

    // Upload for the operator, who is told of a failure.
    void uploadSaved();
    void uploadFile(const QString& path);

public Q_SLOTS:
    // Asks what to do, and does it. Without a device nothing happens.
    void onCalibrate();

    // What the controller tells.
    void onCalibrationStarted();
    void onCalibrationProgress(int percent, const QString& text);
    void onCalibrationFinished(bool ok, const QString& text);
    void onUploadStarted();
    void onUploadFinished(bool ok, const QString& text);

Q_SIGNALS:
    void messageShown(const QString& text, int milliseconds);
    void detailTextChanged(const QString& text);
    void calibrationIndicatorChanged(const QString& text, qorn::timetagger::gui::FlagState state);
    // Something changed on which the state of actions may depend.
    void stateChanged();

private:
    void start();
    void showResult();
    void takeChoice(const CalibrationChoice& choice);
    void apply(const CalibrationChoice& choice);
    void showIdle();

    CalibrationPort& port;
    QWidget& window;
    CalibrationSettings settings;
    CalibrationProgressDialog* progress = nullptr; // made when first wanted, child of the window
    bool uploading = false;
    bool uploadAskedFor = false; // by the operator, not by the opening of a device
};

} // namespace qorn::timetagger::gui
