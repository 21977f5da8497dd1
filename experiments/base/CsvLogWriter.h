// The text form of a measurement log: UTF-8, line feeds, "# " lines for all that is no row.
#pragma once

#include "LogWriter.h"

class QFile;

namespace qorn::timetagger::gui {

class CsvLogWriter final : public LogWriter {
public:
    // The file must be open for writing.
    explicit CsvLogWriter(std::unique_ptr<QFile> openFile);
    ~CsvLogWriter() override;

    void writeHeader(const LogHeader& header, const QDateTime& started) override;
    void writeRow(const QStringList& fields) override;
    void writeText(const QString& text) override;
    void writeSnapshot(const LogPlot& plot, const QDateTime& time) override;
    void writeTrailer(const QDateTime& stopped) override;
    bool flush() override;
    QString errorText() const override;

private:
    void write(const QByteArray& bytes);
    void writeLine(const QString& line);

    std::unique_ptr<QFile> file;
    bool failed = false;
};

} // namespace qorn::timetagger::gui
