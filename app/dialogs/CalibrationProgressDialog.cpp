#include "CalibrationProgressDialog.h"

#include <QProgressBar>
#include <QPushButton>

namespace qorn::timetagger::gui {
namespace {

constexpr int kLeastWidth = 360; // so that the texts of the stages do not change the width

} // namespace

CalibrationProgressDialog::CalibrationProgressDialog(QWidget* parent)
    : QProgressDialog(tr("Calibrating device..."), tr("Stop"), 0, 100, parent), bar(new QProgressBar(this)) {
    setWindowTitle(tr("Calibration"));
    setWindowModality(Qt::WindowModal);
    setMinimumDuration(0);
    setMinimumWidth(kLeastWidth);
    setAutoClose(false);
    setAutoReset(false);
    setBar(bar);
    // The base class would hide the dialog.
    disconnect(this, &QProgressDialog::canceled, this, nullptr);
    connect(this, &QProgressDialog::canceled, this, &CalibrationProgressDialog::askToStop);
}

void CalibrationProgressDialog::begin() {
    stopping = false;
    setCancelButtonText(tr("Stop"));
    findChild<QPushButton*>()->setEnabled(true);
    setRange(0, 100);
    bar->setValue(0);
    setLabelText(tr("Starting calibration sweep..."));
    show();
}

void CalibrationProgressDialog::showProgress(int percent, const QString& text) {
    bar->setValue(percent); // the base class would run the event loop
    if (!stopping) {
        setLabelText(text);
    }
}

void CalibrationProgressDialog::askToStop() {
    if (stopping) {
        return;
    }
    stopping = true;
    findChild<QPushButton*>()->setEnabled(false);
    setLabelText(tr("Stopping..."));
    Q_EMIT stopRequested();
}

void CalibrationProgressDialog::reject() {
    askToStop();
}

} // namespace qorn::timetagger::gui
