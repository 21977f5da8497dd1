// Names and folders of the files that measurements write: logs and recordings.
#pragma once

#include <QDateTime>
#include <QString>

namespace qorn::timetagger::gui {

// The experiment's type as a key of settings and files: lower case, other characters as single underscores;
// "measurement" when nothing is left.
QString settingsKeyFor(const QString& experimentType);

// "logs" beside the application when that folder can be made, else in the user's data folder. Makes the
// folder.
QString defaultLogDirectory();

// "<stem>[_<serial>][_part<NNN>]_<yyyyMMdd_HHmmss>.<extension>" in the directory. The first part, index 0,
// has no part text.
struct MeasurementFileName {
    QString stem;
    QString serial;
    QString extension;
    QString fallbackExtension; // for a blank extension
    int part = 0;
    QDateTime stamp; // local time
};
QString makeMeasurementFilePath(const QString& directory, const MeasurementFileName& name);

} // namespace qorn::timetagger::gui
