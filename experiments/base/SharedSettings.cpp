#include "SharedSettings.h"

#include "MeasurementFileNames.h"
#include "SettingsJson.h"
#include "SettingsStore.h"

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

int storedSeconds(const QVariantMap& stored, const char* key) {
    return std::max(stored.value(QLatin1String(key)).toInt(), 0);
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
    const SettingsStore& store = SettingsStore::instance();
    const QVariantMap stored = store.group(QLatin1String(kGroup).arg(settingsKey));
    SharedSettings loaded;
    loaded.logDirectory = stored.value(QLatin1String("dataLogDirectory")).toString();
    if (loaded.logDirectory.isEmpty()) {
        loaded.logDirectory = defaultLogDirectory();
    }
    loaded.logFormat = formatNamed(stored.value(QLatin1String("dataLogFormat")).toString());
    loaded.logRotateSeconds = storedSeconds(stored, "dataLogRotateSeconds");
    loaded.logMaximumDurationSeconds = storedSeconds(stored, "dataLogMaximumDurationSeconds");
    loaded.timeTagsEnabled = stored.value(QLatin1String("timeTagsEnabled"), false).toBool();
    loaded.timeTagsDirectory = stored.value(QLatin1String("timeTagsDirectory")).toString();
    if (loaded.timeTagsDirectory.isEmpty()) {
        const QString olderFolder = store.value(QLatin1String(kOlderTimeTagsFolder)).toString();
        loaded.timeTagsDirectory = olderFolder.isEmpty() ? defaultLogDirectory() : olderFolder;
    }
    loaded.timeTagsRotateSeconds = storedSeconds(stored, "timeTagsRotateSeconds");
    loaded.timeTagsMaximumDurationSeconds = storedSeconds(stored, "timeTagsMaximumDurationSeconds");
    return loaded;
}

void SharedSettings::save(const QString& settingsKey) const {
    QVariantMap values;
    const auto put = [&, prefix = QLatin1String(kGroup).arg(settingsKey) +
                                  QLatin1Char('/')](const char* name, const QVariant& value) {
        values.insert(prefix + QLatin1String(name), value);
    };
    put("dataLogDirectory", logDirectory);
    put("dataLogFormat", formatName(logFormat));
    put("dataLogRotateSeconds", logRotateSeconds);
    put("dataLogMaximumDurationSeconds", logMaximumDurationSeconds);
    put("timeTagsEnabled", timeTagsEnabled);
    put("timeTagsDirectory", timeTagsDirectory);
    put("timeTagsRotateSeconds", timeTagsRotateSeconds);
    put("timeTagsMaximumDurationSeconds", timeTagsMaximumDurationSeconds);
    SettingsStore::instance().set(values);
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
