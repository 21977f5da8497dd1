// The settings of a tab that are not about its measurement: where its log goes, and how its tag stream is
// recorded. A plain record with its stored form and its form in configuration files.
#pragma once

#include <QJsonObject>
#include <QString>

namespace qorn::timetagger::gui {

enum class LogFormat { Csv, PackedBinary };

struct SharedSettings {
    QString logDirectory;
    LogFormat logFormat = LogFormat::Csv;
    int logRotateSeconds = 0;          // 0 never
    int logMaximumDurationSeconds = 0; // 0 no limit
    bool timeTagsEnabled = false;
    QString timeTagsDirectory;
    int timeTagsRotateSeconds = 0;
    int timeTagsMaximumDurationSeconds = 0;

    // The application's stored values for a tab, with defaults for what is missing. `settingsKey` names the
    // tab's type.
    static SharedSettings load(const QString& settingsKey);
    void save(const QString& settingsKey) const;

    QJsonObject toJson() const;
    // Takes the keys that are present; negative numbers become 0, an unknown format CSV.
    void takeJson(const QJsonObject& object);
};

} // namespace qorn::timetagger::gui
