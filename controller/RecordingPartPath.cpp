#include "RecordingPartPath.h"

#include "FilePaths.h"

namespace qorn::timetagger::gui {

QString recordingPartPath(const QString& path, int index) {
    if (index <= 0) {
        return path;
    }
    return pathWithAddition(path, QLatin1String("_part") +
                                      QString::number(index + 1).rightJustified(3, QLatin1Char('0')));
}

} // namespace qorn::timetagger::gui
