// Names of the parts of a rotating recording.
#pragma once

#include <QString>

namespace qorn::timetagger::gui {

// The path itself for index 0 or less; else "<name>_part<index + 1, at least 3 digits>.<suffix>" in its
// folder.
QString recordingPartPath(const QString& path, int index);

} // namespace qorn::timetagger::gui
