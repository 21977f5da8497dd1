#include "TagRecording.h"

#include "FilePaths.h"
#include "RecordingCompanionFile.h"
#include "RecordingPartPath.h"
#include "TagWords.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <chrono>
#include <ratio>
#include <stdexcept>
#include <utility>

namespace qorn::timetagger::gui {
namespace {

using Entry = AsyncDecodedQorntsWriter::Entry;

std::string creationTime() {
    return QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs).toStdString();
}

timing::StreamFileHeader fileHeader(timing::StreamFileHeader stream) {
    stream.format = timing::StreamFormat::Raw64;
    stream.raw64_tag_format = "ps";
    stream.created_utc = creationTime();
    return stream;
}

bool isTaken(const QString& path) {
    const std::string companion = timing::companion_path(path.toStdString()).string();
    return QFileInfo(path).isFile() || QFileInfo::exists(QString::fromStdString(companion));
}

// A recording never replaces another.
QString freePath(const QString& path) {
    return freeFilePath(path, isTaken);
}

bool hasPassed(int seconds, LoopClock::TimePoint since, LoopClock::TimePoint now) {
    return seconds > 0 && now - since >= std::chrono::seconds(seconds);
}

} // namespace

std::unique_ptr<TagRecording> TagRecording::start(const UiTimeTagRecordingConfig& config,
                                                  const timing::StreamFileHeader& stream,
                                                  LoopClock::TimePoint now, Link link) {
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
    const bool timesSilences = link == Link::Instrument && stream.format == timing::StreamFormat::Raw64;
    return std::unique_ptr<TagRecording>(new TagRecording(trimmed, fileHeader(stream), now, timesSilences));
}

TagRecording::TagRecording(const UiTimeTagRecordingConfig& recording, const timing::StreamFileHeader& first,
                           LoopClock::TimePoint now, bool silences)
    : config(recording), header(first), writer(recording.path, first), recordingBegin(now), partBegin(now),
      timesSilences(silences) {}

void TagRecording::append(std::span<const timing::TimeTag> tags, LoopClock::TimePoint now) {
    if (!active) {
        return;
    }
    if (hasPassed(config.maxDurationSeconds, recordingBegin, now)) {
        active = false;
        writer.finishRecording();
        return;
    }
    if (hasPassed(config.rotateSeconds, partBegin, now)) {
        try {
            rotate(now);
        } catch (const std::exception&) {
            if (tags.empty()) {
                throw;
            } // else the writer shall know of them, and throws once more
        }
    }
    if (tags.empty()) {
        writer.check(); // no tag may come for long
        silentSince = silentSince.value_or(now);
    } else {
        Entry entry;
        const std::int64_t silentPs = endSilence(now);
        entry.times = times.of(tags, timesSilences ? silentPs : 0);
        timing::appendDecodedQorntsTags(entry.payload, tags);
        writer.enqueue(std::move(entry));
    }
}

// For how long no tags came, in ps; at most what 64 bits hold, 106 days.
std::int64_t TagRecording::endSilence(LoopClock::TimePoint now) {
    using Picoseconds = std::chrono::duration<std::int64_t, std::pico>;
    constexpr auto kLongest = std::chrono::duration_cast<std::chrono::nanoseconds>(Picoseconds::max());
    const auto since = std::exchange(silentSince, std::nullopt);
    return since ? Picoseconds(std::min<std::chrono::nanoseconds>(now - *since, kLongest)).count() : 0;
}

void TagRecording::rotate(LoopClock::TimePoint now) {
    header.created_utc = creationTime();
    Entry entry;
    entry.kind = Entry::Kind::Rotate;
    entry.path = freePath(recordingPartPath(config.path, ++partIndex));
    entry.header = header;
    writer.enqueue(std::move(entry));
    partBegin = now;
    times.restart();
}

void TagRecording::noteLoss(std::string_view stage, std::uint64_t count) {
    if (!active || count == 0) {
        return;
    }
    Entry entry;
    entry.kind = Entry::Kind::Loss;
    entry.loss = {0, times.latest_time(), std::string(stage), count};
    writer.enqueue(std::move(entry));
}

void TagRecording::close() {
    writer.close();
}

void TagRecording::closeAfter(const std::string& error) noexcept {
    const auto swallowingFailures = [](auto&& work) {
        try {
            work();
        } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): see the header
        }
    };
    swallowingFailures([&] { writer.finishRecording(timing::PartEnd::Error, error); });
    swallowingFailures([&] { writer.close(); }); // after a failure too: only then its losses are all told
    active = false;
}

} // namespace qorn::timetagger::gui
