#include "ConfigurationFile.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QSaveFile>
#include <QStandardPaths>

namespace qorn::timetagger::gui {
namespace {

constexpr int kVersion = 1;
constexpr qint64 kLargestFile = qint64{64} * 1024 * 1024; // far above any real one

} // namespace

QString defaultConfigPath() {
    QString folder = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    if (folder.isEmpty()) {
        folder = QDir::homePath();
    }
    QDir().mkpath(folder);
    return QDir(folder).filePath(QStringLiteral("last_config.json"));
}

bool writeConfiguration(const QString& path, const Configuration& configuration) {
    QJsonObject root{{QStringLiteral("version"), kVersion}};
    if (configuration.ui) {
        root.insert(QStringLiteral("ui"), *configuration.ui);
    }
    if (configuration.experiments) {
        root.insert(QStringLiteral("experiments"), *configuration.experiments);
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        return false;
    }
    const QByteArray text = QJsonDocument(root).toJson(QJsonDocument::Indented);
    if (file.write(text) != text.size()) {
        file.cancelWriting(); // a full disk takes the head of the text without an error
    }
    return file.commit();
}

std::optional<Configuration> readConfiguration(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > kLargestFile) {
        return std::nullopt;
    }
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    if (!document.isObject()) {
        return std::nullopt;
    }
    Configuration configuration;
    if (const QJsonValue ui = document.object().value(QLatin1String("ui")); ui.isObject()) {
        configuration.ui = ui.toObject();
    }
    if (const QJsonValue experiments = document.object().value(QLatin1String("experiments"));
        experiments.isArray()) {
        configuration.experiments = experiments.toArray();
    }
    return configuration;
}

} // namespace qorn::timetagger::gui
