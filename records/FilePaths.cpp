#include "FilePaths.h"

#include <QDir>
#include <QFileInfo>

namespace qorn::timetagger::gui {

// Not by arg(): a name may hold "%1" itself.
QString pathWithAddition(const QString& path, const QString& addition) {
    const QFileInfo info(path);
    const QString suffix = info.suffix().isEmpty() ? QString() : QLatin1Char('.') + info.suffix();
    return info.dir().filePath(info.completeBaseName() + addition + suffix);
}

QString freeFilePath(const QString& path) {
    return freeFilePath(path, [](const QString& candidate) { return QFileInfo(candidate).isFile(); });
}

QString freeFilePath(const QString& path, const std::function<bool(const QString&)>& isTaken) {
    QString candidate = path;
    for (int number = 2; isTaken(candidate); ++number) {
        candidate = pathWithAddition(path, QLatin1Char('_') + QString::number(number));
    }
    return candidate;
}

} // namespace qorn::timetagger::gui
