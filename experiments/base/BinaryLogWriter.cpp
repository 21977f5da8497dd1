#include "BinaryLogWriter.h"

#include <QFile>

#include <string_view>

namespace qorn::timetagger::gui {
namespace {

constexpr std::string_view kMagic = "QORNLOG";
constexpr qint32 kFormatVersion = 1;
constexpr qint32 kSnapshotTag = -1;
constexpr qint32 kEndTag = 0;

} // namespace

BinaryLogWriter::BinaryLogWriter(std::unique_ptr<QFile> openFile)
    : file(std::move(openFile)), stream(file.get()) {
    stream.setVersion(QDataStream::Qt_6_0);
    stream.setByteOrder(QDataStream::LittleEndian);
}

BinaryLogWriter::~BinaryLogWriter() = default;

void BinaryLogWriter::writeHeader(const LogHeader& header, const QDateTime& started) {
    stream.writeRawData(kMagic.data(), static_cast<int>(kMagic.size()));
    stream << kFormatVersion << header.experiment << started.toString(Qt::ISODateWithMs)
           << header.context.device << header.context.serial << header.context.source
           << header.context.streamTransport << header.settingsJson << header.columns;
}

void BinaryLogWriter::writeRow(const QStringList& fields) {
    stream << static_cast<qint32>(fields.size()) << fields;
}

void BinaryLogWriter::writeText(const QString& text) {
    writeRow({text});
}

void BinaryLogWriter::writeSnapshot(const LogPlot& plot, const QDateTime& time) {
    stream << kSnapshotTag << time.toString(Qt::ISODateWithMs) << plot.binary();
}

void BinaryLogWriter::writeTrailer(const QDateTime&) {
    stream << kEndTag;
}

bool BinaryLogWriter::flush() {
    if (!file->flush()) {
        stream.setStatus(QDataStream::WriteFailed);
    }
    return stream.status() == QDataStream::Ok;
}

QString BinaryLogWriter::errorText() const {
    return file->errorString();
}

} // namespace qorn::timetagger::gui
