#include "RecordingPartPath.h"

#include <QDir>
#include <QFileInfo>

namespace qorn::timetagger::gui {

QString recordingPartPath(const QString& path, int index) {
    if (index <= 0) {
        return path;
    }
    return pathWithAddition(path, QLatin1String("_part") +
                                      QString::number(index + 1).rightJustified(3, QLatin1Char('0')));
}

// Not by arg(): a name may hold "%1" itself.
QString pathWithAddition(const QString& path, const QString& addition) {
    const QFileInfo info(path);
    const QString suffix = info.suffix().isEmpty() ? QString() : QLatin1Char('.') + info.suffix();
    return info.dir().filePath(info.completeBaseName() + addition + suffix);
}

} // namespace qorn::timetagger::gui
