// The binary form of a measurement log: a header and tagged records in a little-endian data stream.
#pragma once

#include "LogWriter.h"

#include <QDataStream>

class QFile;

namespace qorn::timetagger::gui {

class BinaryLogWriter final : public LogWriter {
public:
    // The file must be open for writing.
    explicit BinaryLogWriter(std::unique_ptr<QFile> openFile);
    ~BinaryLogWriter() override;

    void writeHeader(const LogHeader& header, const QDateTime& started) override;
    void writeRow(const QStringList& fields) override;
    void writeText(const QString& text) override;
    void writeSnapshot(const LogPlot& plot, const QDateTime& time) override;
    void writeTrailer(const QDateTime& stopped) override;
    bool flush() override;
    QString errorText() const override;

private:
    std::unique_ptr<QFile> file;
    QDataStream stream; // keeps its first fault and writes nothing from there on
};

} // namespace qorn::timetagger::gui
