#include "TagRecording.h"

#include "RecordingPartPath.h"
#include "TagWords.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>

#include <stdexcept>

namespace qorn::timetagger::gui {
namespace {

std::string creationTime() {
    return QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs).toStdString();
}

timing::StreamFileHeader fileHeader(timing::StreamFileHeader stream) {
    stream.format = timing::StreamFormat::Raw64;
    stream.raw64_tag_format = "ps";
    stream.created_utc = creationTime();
    return stream;
}

// The path, or with a number added when there is such a file already: a recording never replaces another.
QString freePath(const QString& path) {
    QString candidate = path;
    for (int number = 2; QFileInfo(candidate).isFile(); ++number) {
        candidate = pathWithAddition(path, QLatin1Char('_') + QString::number(number));
    }
    return candidate;
}

bool hasPassed(int seconds, LoopClock::TimePoint since, LoopClock::TimePoint now) {
    return seconds > 0 && now - since >= std::chrono::seconds(seconds);
}

} // namespace

std::unique_ptr<TagRecording> TagRecording::start(const UiTimeTagRecordingConfig& config,
                                                  const timing::StreamFileHeader& stream,
                                                  LoopClock::TimePoint now) {
    UiTimeTagRecordingConfig trimmed = config;
    trimmed.path = config.path.trimmed();
    if (trimmed.path.isEmpty()) {
        return nullptr;
    }
    const QString folder = QFileInfo(trimmed.path).absolutePath();
    if (!QDir().mkpath(folder)) {
        throw std::runtime_error(
            QCoreApplication::translate("Measurement", "Could not create time-tag output folder: %1")
                .arg(folder)
                .toStdString());
    }
    trimmed.path = freePath(trimmed.path);
    return std::unique_ptr<TagRecording>(new TagRecording(trimmed, fileHeader(stream), now));
}

TagRecording::TagRecording(const UiTimeTagRecordingConfig& recording, const timing::StreamFileHeader& first,
                           LoopClock::TimePoint now)
    : config(recording), header(first), writer(recording.path, first), recordingBegin(now), partBegin(now) {}

void TagRecording::append(std::span<const timing::TimeTag> tags, LoopClock::TimePoint now) {
    if (!active) {
        return;
    }
    if (hasPassed(config.maxDurationSeconds, recordingBegin, now)) {
        writer.finishRecording();
        active = false;
        return;
    }
    if (hasPassed(config.rotateSeconds, partBegin, now)) {
        header.created_utc = creationTime();
        writer.enqueue({AsyncDecodedQorntsWriter::Entry::Kind::Rotate,
                        freePath(recordingPartPath(config.path, ++partIndex)),
                        {},
                        header});
        partBegin = now;
    }
    if (tags.empty()) {
        return;
    }
    std::vector<unsigned char> words;
    timing::appendDecodedQorntsTags(words, tags);
    writer.enqueue({AsyncDecodedQorntsWriter::Entry::Kind::Data, {}, std::move(words), {}});
}

void TagRecording::close() {
    writer.close();
}

} // namespace qorn::timetagger::gui
