// A tab that logs, in a folder of its own, and what it leaves there.
#pragma once

#include "MeasurementLogReader.h"
#include "ProbeTab.h"
#include "TemporaryFolder.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

namespace qorn::testing {

class LoggingTab : public ProbeTab {
public:
    using ProbeTab::ProbeTab;

    bool supportsLogging() const override { return logging; }
    QStringList logCsvHeader() const override { return columns; }
    QString logFileStem() const override { return stem.isEmpty() ? ProbeTab::logFileStem() : stem; }
    QJsonObject saveConfig() const override { return config; }

    bool logging = true;
    QStringList columns{QStringLiteral("time_s"), QStringLiteral("counts")};
    QString stem;
    QJsonObject config;
};

struct ShownWarning {
    QString title;
    QString text;
};

class TabLogStage {
public:
    // The settings must be stored before the tab needs them.
    explicit TabLogStage(bool binary = false);

    // Stored settings of the tab, as "dataLogRotateSeconds".
    static void store(const char* key, const QVariant& value);

    QString folderPath() const { return QString::fromStdString(folder.path().string()); }
    bool starts() { return tab->startLogInDirectory(folderPath()); }

    // Names of the logs in the folder, in the order of their parts.
    QStringList files() const;
    ReadLog read(qsizetype part) const;
    // Waits until `done`, appending nothing.
    static bool waitFor(const std::function<bool()>& done);
    // Waits until `done`, appending a row each time it is not.
    bool appendUntil(const std::function<bool()>& done);

    // The warning that the tab shows, which is closed by that.
    std::optional<ShownWarning> takeWarning();

    TemporaryFolder folder;
    std::unique_ptr<LoggingTab> tab = std::make_unique<LoggingTab>();
};

} // namespace qorn::testing
