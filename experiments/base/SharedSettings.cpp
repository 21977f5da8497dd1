#include "SharedSettings.h"

#include "MeasurementFileNames.h"
#include "SettingsJson.h"

#include <QSettings>
#include <QVariant>

#include <algorithm>
#include <limits>

namespace qorn::timetagger::gui {
namespace {

constexpr const char* kGroup = "measurement/%1";
constexpr const char* kOlderTimeTagsFolder = "timeTags/outputFolder";
constexpr const char* kBinaryName = "binary";
constexpr const char* kCsvName = "csv";

LogFormat formatNamed(const QString& name) {
    return name == QLatin1String(kBinaryName) ? LogFormat::PackedBinary : LogFormat::Csv;
}

QString formatName(LogFormat format) {
    return QLatin1String(format == LogFormat::PackedBinary ? kBinaryName : kCsvName);
}

int storedSeconds(const QSettings& settings, const char* key) {
    return std::max(settings.value(QLatin1String(key), 0).toInt(), 0);
}

// The store is a file that is written anew for a change, so what is in it already is no change.
void store(QSettings& settings, const char* name, const QVariant& value) {
    const QLatin1String key(name);
    if (!settings.contains(key) || settings.value(key).toString() != value.toString()) {
        settings.setValue(key, value);
    }
}

void takeSeconds(const QJsonObject& object, const char* key, int& target) {
    takeNumber(object, key, 0, std::numeric_limits<int>::max(), target);
}

void takeText(const QJsonObject& object, const char* key, QString& target) {
    const QJsonValue value = object.value(QLatin1String(key));
    if (value.isString()) {
        target = value.toString();
    }
}

} // namespace

SharedSettings SharedSettings::load(const QString& settingsKey) {
    QSettings settings;
    const QString olderFolder = settings.value(QLatin1String(kOlderTimeTagsFolder)).toString();
    settings.beginGroup(QLatin1String(kGroup).arg(settingsKey));
    SharedSettings loaded;
    loaded.logDirectory = settings.value(QLatin1String("dataLogDirectory")).toString();
    if (loaded.logDirectory.isEmpty()) {
        loaded.logDirectory = defaultLogDirectory();
    }
    loaded.logFormat = formatNamed(settings.value(QLatin1String("dataLogFormat")).toString());
    loaded.logRotateSeconds = storedSeconds(settings, "dataLogRotateSeconds");
    loaded.logMaximumDurationSeconds = storedSeconds(settings, "dataLogMaximumDurationSeconds");
    loaded.timeTagsEnabled = settings.value(QLatin1String("timeTagsEnabled"), false).toBool();
    loaded.timeTagsDirectory = settings.value(QLatin1String("timeTagsDirectory")).toString();
    if (loaded.timeTagsDirectory.isEmpty()) {
        loaded.timeTagsDirectory = olderFolder.isEmpty() ? defaultLogDirectory() : olderFolder;
    }
    loaded.timeTagsRotateSeconds = storedSeconds(settings, "timeTagsRotateSeconds");
    loaded.timeTagsMaximumDurationSeconds = storedSeconds(settings, "timeTagsMaximumDurationSeconds");
    return loaded;
}

void SharedSettings::save(const QString& settingsKey) const {
    QSettings settings;
    settings.beginGroup(QLatin1String(kGroup).arg(settingsKey));
    store(settings, "dataLogDirectory", logDirectory);
    store(settings, "dataLogFormat", formatName(logFormat));
    store(settings, "dataLogRotateSeconds", logRotateSeconds);
    store(settings, "dataLogMaximumDurationSeconds", logMaximumDurationSeconds);
    store(settings, "timeTagsEnabled", timeTagsEnabled);
    store(settings, "timeTagsDirectory", timeTagsDirectory);
    store(settings, "timeTagsRotateSeconds", timeTagsRotateSeconds);
    store(settings, "timeTagsMaximumDurationSeconds", timeTagsMaximumDurationSeconds);
}

QJsonObject SharedSettings::toJson() const {
    return {
        {QStringLiteral("dataLog"),
         QJsonObject{{QStringLiteral("directory"), logDirectory},
                     {QStringLiteral("format"), formatName(logFormat)},
                     {QStringLiteral("rotateSeconds"), logRotateSeconds},
                     {QStringLiteral("maximumDurationSeconds"), logMaximumDurationSeconds}}},
        {QStringLiteral("timeTagRecording"),
         QJsonObject{{QStringLiteral("enabled"), timeTagsEnabled},
                     {QStringLiteral("directory"), timeTagsDirectory},
                     {QStringLiteral("rotateSeconds"), timeTagsRotateSeconds},
                     {QStringLiteral("maximumDurationSeconds"), timeTagsMaximumDurationSeconds}}},
    };
}

void SharedSettings::takeJson(const QJsonObject& object) {
    const QJsonObject log = object.value(QLatin1String("dataLog")).toObject();
    takeText(log, "directory", logDirectory);
    if (const QJsonValue format = log.value(QLatin1String("format")); format.isString()) {
        logFormat = formatNamed(format.toString());
    }
    takeSeconds(log, "rotateSeconds", logRotateSeconds);
    takeSeconds(log, "maximumDurationSeconds", logMaximumDurationSeconds);
    const QJsonObject recording = object.value(QLatin1String("timeTagRecording")).toObject();
    takeFlag(recording, "enabled", timeTagsEnabled);
    takeText(recording, "directory", timeTagsDirectory);
    takeSeconds(recording, "rotateSeconds", timeTagsRotateSeconds);
    takeSeconds(recording, "maximumDurationSeconds", timeTagsMaximumDurationSeconds);
}

} // namespace qorn::timetagger::gui
