#include "LoopTestSupport.h"

#include "ScriptedDriver.h"
#include "TemporaryFolder.h"

#include <QJsonDocument>

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

namespace qorn::timetagger::gui::test {

using namespace std::chrono_literals;

bool eventually(const std::function<bool()>& condition) {
    const auto limit = std::chrono::steady_clock::now() + qorn::testing::kEventLimit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) {
            return false;
        }
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

Tags tagsFrom(std::int64_t first, std::size_t count) {
    Tags tags(count);
    for (std::size_t index = 0; index < count; ++index) {
        const std::int64_t number = first + static_cast<std::int64_t>(index);
        tags[index] = {static_cast<std::uint8_t>(number % 4), number * 1000};
    }
    return tags;
}

qorn::testing::Bytes wordsOf(const Tags& tags) {
    qorn::testing::Bytes bytes;
    bytes.reserve(tags.size() * 8);
    for (const timing::TimeTag& tag : tags) {
        qorn::testing::appendRaw64(bytes, qorn::testing::raw64Picoseconds(
                                              tag.channel, static_cast<std::uint64_t>(tag.timestamp_ps)));
    }
    return bytes;
}

Tags fromUi(const UiTimeTagBatch& batch) {
    Tags tags;
    tags.reserve(static_cast<std::size_t>(batch.size()));
    for (const UiTimeTag& tag : batch) {
        tags.push_back({tag.channel, tag.timePs});
    }
    return tags;
}

void RecordingEvents::clockStatus(const timing::ReferenceClockStatus& status) {
    std::size_t count = 0;
    {
        const std::lock_guard lock(mutex);
        clockStatusList.push_back(status);
        count = clockStatusList.size();
    }
    if (onClockStatus) {
        onClockStatus(count);
    }
}

void RecordingEvents::counterSample(UiCounterSample sample) {
    std::size_t count = 0;
    {
        const std::lock_guard lock(mutex);
        sampleList.push_back(std::move(sample));
        count = sampleList.size();
    }
    if (onSample) {
        onSample(count);
    }
}

void RecordingEvents::coincidenceSample(UiCoincidenceSample sample) {
    std::size_t count = 0;
    {
        const std::lock_guard lock(mutex);
        coincidenceList.push_back(std::move(sample));
        count = coincidenceList.size();
    }
    if (onSample) {
        onSample(count);
    }
}

void RecordingEvents::tagsBatch(UiTimeTagBatch batch) {
    std::size_t count = 0;
    {
        const std::lock_guard lock(mutex);
        batchList.push_back(fromUi(batch));
        tagTotal += batchList.back().size();
        count = tagTotal;
        changed.notify_all();
    }
    if (onTags) {
        onTags(count);
    }
}

void RecordingEvents::tagsLost(quint64 count) {
    const std::lock_guard lock(mutex);
    lossList.push_back(count);
}

void RecordingEvents::tagFlow(const UiTagFlow& flow) {
    const std::lock_guard lock(mutex);
    flowList.push_back(flow);
}

std::vector<UiTagFlow> RecordingEvents::flows() const {
    const std::lock_guard lock(mutex);
    return flowList;
}

std::vector<quint64> RecordingEvents::losses() const {
    const std::lock_guard lock(mutex);
    return lossList;
}

std::vector<timing::ReferenceClockStatus> RecordingEvents::clockStatuses() const {
    const std::lock_guard lock(mutex);
    return clockStatusList;
}

std::vector<UiCounterSample> RecordingEvents::samples() const {
    const std::lock_guard lock(mutex);
    return sampleList;
}

std::vector<UiCoincidenceSample> RecordingEvents::coincidences() const {
    const std::lock_guard lock(mutex);
    return coincidenceList;
}

std::vector<Tags> RecordingEvents::batches() const {
    const std::lock_guard lock(mutex);
    return batchList;
}

Tags RecordingEvents::tags() const {
    Tags all;
    for (const Tags& batch : batches()) {
        all.insert(all.end(), batch.begin(), batch.end());
    }
    return all;
}

std::size_t RecordingEvents::tagCount() const {
    const std::lock_guard lock(mutex);
    return tagTotal;
}

bool RecordingEvents::waitForTags(std::size_t count) const {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, qorn::testing::kEventLimit, [&] { return tagTotal >= count; });
}

ManualClock::TimePoint ManualClock::now() {
    const std::lock_guard lock(mutex);
    return time;
}

void ManualClock::sleepFor(std::chrono::milliseconds duration) {
    std::size_t count = 0;
    {
        const std::lock_guard lock(mutex);
        if (!frozen) {
            time += duration;
        }
        sleepList.push_back(duration);
        count = sleepList.size();
    }
    if (onSleep) {
        onSleep(count);
    }
    std::this_thread::yield();
}

void ManualClock::advance(std::chrono::nanoseconds duration) {
    const std::lock_guard lock(mutex);
    time += std::chrono::duration_cast<TimePoint::duration>(duration);
}

std::vector<std::chrono::milliseconds> ManualClock::sleeps() const {
    const std::lock_guard lock(mutex);
    return sleepList;
}

Recording readRecording(const QString& path) {
    const qorn::testing::Bytes bytes = qorn::testing::readBytes(path.toStdU16String());
    Recording recording;
    if (bytes.size() < 12 || std::memcmp(bytes.data(), "QORNTS1\n", 8) != 0) {
        ADD_FAILURE() << path.toStdString() << " is no stream file";
        return recording;
    }
    const std::size_t length = bytes[8] | bytes[9] << 8 | bytes[10] << 16 | std::size_t{bytes[11]} << 24;
    if (bytes.size() - 12 < length || (bytes.size() - 12 - length) % 8 != 0) {
        ADD_FAILURE() << path.toStdString() << " is not whole";
        return recording;
    }
    const QByteArray json(reinterpret_cast<const char*>(bytes.data()) + 12, static_cast<qsizetype>(length));
    recording.header = QJsonDocument::fromJson(json).object();
    for (std::size_t at = 12 + length; at < bytes.size(); at += 8) {
        std::uint64_t word = 0;
        for (std::size_t index = 0; index < 8; ++index) {
            word = word << 8 | bytes[at + index];
        }
        EXPECT_EQ(word >> 63, 0U);
        recording.tags.push_back({static_cast<std::uint8_t>(word >> 61 & 3),
                                  static_cast<std::int64_t>(word & ((std::uint64_t{1} << 61) - 1))});
    }
    return recording;
}

} // namespace qorn::timetagger::gui::test
