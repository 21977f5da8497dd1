// Shows how far a calibration is, and blocks the window meanwhile. Stopping only asks: the dialog stays until
// its owner, the calibration workflow, hides it.
#pragma once

#include <QProgressDialog>

class QProgressBar;

namespace qorn::timetagger::gui {

class CalibrationProgressDialog : public QProgressDialog {
    Q_OBJECT
public:
    explicit CalibrationProgressDialog(QWidget* parent = nullptr);

    // Shows the dialog for a calibration that begins.
    void begin();
    // Percent that are done, and what goes on; ignored once a stop was asked for, but for the percent.
    void showProgress(int percent, const QString& text);

Q_SIGNALS:
    void stopRequested();

public Q_SLOTS:
    // Asks to stop, whichever way the operator closes the dialog.
    void reject() override;

private:
    void askToStop();

    QProgressBar* bar;
    bool stopping = false;
};

} // namespace qorn::timetagger::gui
