#include "RecordingPartPath.h"

#include <QDir>
#include <QFileInfo>

namespace qorn::timetagger::gui {

QString recordingPartPath(const QString& path, int index) {
    if (index <= 0) {
        return path;
    }
    const QFileInfo info(path);
    const QString suffix = info.suffix().isEmpty() ? QString() : QLatin1Char('.') + info.suffix();
    // Not by arg(): a name may hold "%1" itself.
    const QString name = info.completeBaseName() + QLatin1String("_part") +
                         QString::number(index + 1).rightJustified(3, QLatin1Char('0')) + suffix;
    return info.dir().filePath(name);
}

} // namespace qorn::timetagger::gui
