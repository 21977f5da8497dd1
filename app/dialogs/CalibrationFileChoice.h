// Which calibration an operator wants uploaded: the saved one of the device, or a file.
#pragma once

#include <QString>

class QWidget;

namespace qorn::timetagger::gui {

enum class CalibrationUpload { None, Saved, File };

// Asks for a calibration file, modally and in an event loop of its own; empty when none was chosen.
QString askForCalibrationFile(QWidget* parent);

} // namespace qorn::timetagger::gui
