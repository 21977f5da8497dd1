// The JSON files in which a working set-up is kept: their place, writing and reading. What stands in them is
// the window's business.
#pragma once

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

// Writes the file as a whole: on failure nothing on disk has changed.
bool writeConfiguration(const QString& path, const Configuration& configuration);

// Nothing when the file cannot be read or is no JSON object. Parts of a wrong type count as absent.
std::optional<Configuration> readConfiguration(const QString& path);

} // namespace qorn::timetagger::gui
