// What a measurement log's file is written through: one file, one format. The formats are CsvLogWriter and
// BinaryLogWriter; both are described in docs/formats.md.
//
// Owned by MeasurementLog, used on the GUI thread. After a write has failed nothing more reaches the file, so
// that what stands there is a whole beginning of the log.
#pragma once

#include "SharedSettings.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

namespace qorn::timetagger::gui {

// Where a measurement's data come from.
struct LogContext {
    QString device;
    QString serial;
    QString source;
    QString streamTransport;
};

// What stands ahead of a log's rows.
struct LogHeader {
    QString experiment;
    LogContext context;
    QByteArray settingsJson; // compact, UTF-8
    QStringList columns;
};

// A plot in the forms of plot files; only the form that a format needs is made.
struct LogPlot {
    std::function<QByteArray()> binary;
    std::function<QString()> csv;
};

class LogWriter {
public:
    LogWriter() = default;
    virtual ~LogWriter() = default;
    LogWriter(const LogWriter&) = delete;
    LogWriter& operator=(const LogWriter&) = delete;

    virtual void writeHeader(const LogHeader& header, const QDateTime& started) = 0;
    virtual void writeRow(const QStringList& fields) = 0;
    // In the text format the caller provides the line ends.
    virtual void writeText(const QString& text) = 0;
    virtual void writeSnapshot(const LogPlot& plot, const QDateTime& time) = 0;
    virtual void writeTrailer(const QDateTime& stopped) = 0;
    // Hands all that was written to the system, where the end of this process does not harm it. False when
    // that or an earlier write failed.
    virtual bool flush() = 0;
    virtual QString errorText() const = 0;
};

// "csv" or "qornlog".
QString logExtension(LogFormat format);

// A writer of a new file, which replaces one of that name, with its header written and flushed. Null on
// failure, with a text for the operator in `error`.
std::unique_ptr<LogWriter> openLogWriter(LogFormat format, const QString& path, const LogHeader& header,
                                         const QDateTime& started, QString& error);

// One line of CSV without its end. A field with a comma, a double quote or a line end is quoted.
QString csvLine(const QStringList& fields);

} // namespace qorn::timetagger::gui
