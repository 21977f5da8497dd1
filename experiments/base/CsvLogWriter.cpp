#include "CsvLogWriter.h"

#include <QFile>

#include <algorithm>

namespace qorn::timetagger::gui {
namespace {

QString orUnknown(const QString& text) {
    return text.isEmpty() ? QStringLiteral("(unknown)") : text;
}

bool needsQuotes(const QString& field) {
    return std::any_of(field.begin(), field.end(), [](QChar character) {
        return character == QLatin1Char(',') || character == QLatin1Char('"') ||
               character == QLatin1Char('\n') || character == QLatin1Char('\r');
    });
}

} // namespace

QString csvLine(const QStringList& fields) {
    QString line;
    for (qsizetype index = 0; index < fields.size(); ++index) {
        if (index > 0) {
            line += QLatin1Char(',');
        }
        QString field = fields.at(index);
        if (needsQuotes(field)) {
            field.replace(QLatin1Char('"'), QStringLiteral("\"\""));
            line += QLatin1Char('"') + field + QLatin1Char('"');
        } else {
            line += field;
        }
    }
    return line;
}

CsvLogWriter::CsvLogWriter(std::unique_ptr<QFile> openFile) : file(std::move(openFile)) {}

CsvLogWriter::~CsvLogWriter() = default;

void CsvLogWriter::writeHeader(const LogHeader& header, const QDateTime& started) {
    writeLine(QStringLiteral("# QORN Timing measurement log"));
    writeLine(QStringLiteral("# Experiment: ") + header.experiment);
    writeLine(QStringLiteral("# Started: ") + started.toString(Qt::ISODateWithMs));
    writeLine(QStringLiteral("# Device: ") + orUnknown(header.context.device));
    writeLine(QStringLiteral("# Serial: ") + orUnknown(header.context.serial));
    writeLine(QStringLiteral("# Source: ") + orUnknown(header.context.source));
    writeLine(QStringLiteral("# Stream transport: ") + orUnknown(header.context.streamTransport));
    writeLine(QStringLiteral("# Settings JSON: ") + QString::fromUtf8(header.settingsJson));
    writeRow(header.columns);
}

void CsvLogWriter::writeRow(const QStringList& fields) {
    writeLine(csvLine(fields));
}

void CsvLogWriter::writeText(const QString& text) {
    write(text.toUtf8());
}

void CsvLogWriter::writeSnapshot(const LogPlot& plot, const QDateTime& time) {
    writeLine(QStringLiteral("# Plot snapshot: ") + time.toString(Qt::ISODateWithMs));
    writeText(plot.csv());
}

void CsvLogWriter::writeTrailer(const QDateTime& stopped) {
    writeLine(QStringLiteral("# Stopped: ") + stopped.toString(Qt::ISODateWithMs));
}

bool CsvLogWriter::flush() {
    failed = !file->flush() || failed;
    return !failed;
}

QString CsvLogWriter::errorText() const {
    return file->errorString();
}

void CsvLogWriter::write(const QByteArray& bytes) {
    failed = failed || file->write(bytes) != bytes.size();
}

void CsvLogWriter::writeLine(const QString& line) {
    write((line + QLatin1Char('\n')).toUtf8());
}

} // namespace qorn::timetagger::gui
