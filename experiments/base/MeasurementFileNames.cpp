#include "MeasurementFileNames.h"

#include <QCoreApplication>
#include <QDir>
#include <QRegularExpression>
#include <QStandardPaths>

namespace qorn::timetagger::gui {
namespace {

QString underscored(const QString& text) {
    static const QRegularExpression kOthers(QStringLiteral("[^a-z0-9]+"));
    QString key = text.trimmed().toLower().replace(kOthers, QStringLiteral("_"));
    while (key.startsWith(QLatin1Char('_'))) {
        key.remove(0, 1);
    }
    while (key.endsWith(QLatin1Char('_'))) {
        key.chop(1);
    }
    return key.isEmpty() ? QStringLiteral("measurement") : key;
}

QString plainExtension(const MeasurementFileName& name) {
    static const QRegularExpression kOthers(QStringLiteral("[^a-z0-9]"));
    QString extension = name.extension.trimmed().toLower();
    if (extension.isEmpty()) {
        extension = name.fallbackExtension.trimmed().toLower();
    }
    extension.remove(kOthers);
    return extension.isEmpty() ? QStringLiteral("csv") : extension;
}

} // namespace

QString settingsKeyFor(const QString& experimentType) {
    return underscored(experimentType);
}

QString defaultLogDirectory() {
    const QDir beside(QCoreApplication::applicationDirPath());
    if (QDir().mkpath(beside.filePath(QStringLiteral("logs")))) {
        return beside.filePath(QStringLiteral("logs"));
    }
    QString base = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    if (base.isEmpty()) {
        base = QDir::homePath();
    }
    QString folder = QDir(base).filePath(QStringLiteral("logs"));
    QDir().mkpath(folder);
    return folder;
}

QString makeMeasurementFilePath(const QString& directory, const MeasurementFileName& name) {
    static const QRegularExpression kSerialOthers(QStringLiteral("[^A-Za-z0-9_-]+"));
    QString file = underscored(name.stem);
    const QString serial = name.serial.trimmed().replace(kSerialOthers, QStringLiteral("_"));
    if (!serial.isEmpty()) {
        file += QLatin1Char('_') + serial;
    }
    if (name.part >= 1) {
        file += QLatin1String("_part") + QString::number(name.part).rightJustified(3, QLatin1Char('0'));
    }
    file += QLatin1Char('_') + name.stamp.toString(QStringLiteral("yyyyMMdd_HHmmss"));
    return QDir(directory).filePath(file + QLatin1Char('.') + plainExtension(name));
}

} // namespace qorn::timetagger::gui
