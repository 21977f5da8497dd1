#include "CalibrationFileChoice.h"

#include <QCoreApplication>
#include <QFileDialog>

namespace qorn::timetagger::gui {
namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("CalibrationFileChoice", text);
}

} // namespace

QString askForCalibrationFile(QWidget* parent) {
    return QFileDialog::getOpenFileName(parent, tr("Select calibration file"), QString(),
                                        tr("Qorn calibration (*.cal);;All files (*)"));
}

} // namespace qorn::timetagger::gui
