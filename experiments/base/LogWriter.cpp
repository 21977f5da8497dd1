#include "LogWriter.h"

#include "BinaryLogWriter.h"
#include "CsvLogWriter.h"

#include <QCoreApplication>
#include <QFile>

namespace qorn::timetagger::gui {
namespace {

QString translated(const char* text) {
    return QCoreApplication::translate("MeasurementLog", text);
}

} // namespace

QString logExtension(LogFormat format) {
    return format == LogFormat::PackedBinary ? QStringLiteral("qornlog") : QStringLiteral("csv");
}

std::unique_ptr<LogWriter> openLogWriter(LogFormat format, const QString& path, const LogHeader& header,
                                         const QDateTime& started, QString& error) {
    const bool binary = format == LogFormat::PackedBinary;
    auto file = std::make_unique<QFile>(path);
    const QIODevice::OpenMode mode = QIODevice::WriteOnly | QIODevice::Truncate;
    if (!file->open(binary ? mode : mode | QIODevice::Text)) {
        error = translated(QT_TRANSLATE_NOOP("MeasurementLog", "Could not open log file:\n%1"))
                    .arg(file->errorString());
        return nullptr;
    }
    std::unique_ptr<LogWriter> writer;
    if (binary) {
        writer = std::make_unique<BinaryLogWriter>(std::move(file));
    } else {
        writer = std::make_unique<CsvLogWriter>(std::move(file));
    }
    writer->writeHeader(header, started);
    if (!writer->flush()) {
        error = translated(QT_TRANSLATE_NOOP("MeasurementLog", "Could not write log header:\n%1"))
                    .arg(writer->errorText());
        return nullptr;
    }
    return writer;
}

} // namespace qorn::timetagger::gui
