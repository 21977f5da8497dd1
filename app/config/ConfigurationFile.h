// The JSON files in which a working set-up is kept: their place, writing and reading. What stands in them is
// the window's business. Pure functions, whatever bytes a file holds.
#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <optional>

namespace qorn::timetagger::gui {

struct Configuration {
    std::optional<QJsonObject> ui;         // absent: not part of the file
    std::optional<QJsonArray> experiments; // one entry a tab, in tab order
};

// "last_config.json" in the application's configuration folder, which is made.
QString defaultConfigPath();

// Writes the file as a whole: on failure nothing on disk has changed. The file at the default path is
// replaced unasked, so one that was not taken whole - it cannot be read, or has values of other types than
// the new one - is kept beside it as "last_config.broken.json".
bool writeConfiguration(const QString& path, const Configuration& configuration);

// Nothing when the file cannot be read, is no JSON object, or is above 8 MiB, far above any real one. Parts
// of a wrong type count as absent, and so do experiments beyond the first 256.
std::optional<Configuration> readConfiguration(const QString& path);
// The same of a file's content.
std::optional<Configuration> parseConfiguration(const QByteArray& text);

} // namespace qorn::timetagger::gui
