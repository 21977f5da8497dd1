// What the tests of the measurement loops share: recorded events, a clock that a test moves, tags with their
// wire bytes, and recordings read back without the product's decoder.
#pragma once

#include "LoopClock.h"
#include "MeasurementEvents.h"
#include "StreamBuilder.h"
#include "TimeTag.h"
#include "UiTimeTag.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <span>
#include <string>
#include <vector>

namespace qorn::timetagger::gui::test {

using Tags = std::vector<timing::TimeTag>;

// Tags number `first` and following: channel number % 4, time number * 1000 ps.
Tags tagsFrom(std::int64_t first, std::size_t count);
// Their raw64 "ps" words.
qorn::testing::Bytes wordsOf(const Tags& tags);
Tags fromUi(const UiTimeTagBatch& batch);

// Collects what a loop reports; each kind may have a hook that runs on the loop's thread.
class RecordingEvents final : public MeasurementEvents {
public:
    void clockStatus(const timing::ReferenceClockStatus& status) override;
    void counterSample(UiCounterSample sample) override;
    void coincidenceSample(UiCoincidenceSample sample) override;
    void tagsBatch(UiTimeTagBatch batch) override;
    void tagsLost(quint64 count) override;
    void tagFlow(const UiTagFlow& flow) override;
    void recordingNotice(const QString& text) override { notices.append(text); }

    std::vector<timing::ReferenceClockStatus> clockStatuses() const;
    std::vector<UiCounterSample> samples() const;
    std::vector<UiCoincidenceSample> coincidences() const;
    std::vector<Tags> batches() const;
    Tags tags() const; // of all batches
    std::size_t tagCount() const;
    std::vector<quint64> losses() const;
    std::vector<UiTagFlow> flows() const;
    bool waitForTags(std::size_t count) const; // false at the limit

    QStringList notices; // of the recording; read when the loop has ended

    // Set before the loop runs.
    std::function<void(std::size_t)> onSample; // with the number of samples of its kind so far
    std::function<void(std::size_t)> onTags;   // with the number of tags so far
    std::function<void(std::size_t)> onClockStatus;

private:
    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    std::vector<timing::ReferenceClockStatus> clockStatusList;
    std::vector<UiCounterSample> sampleList;
    std::vector<UiCoincidenceSample> coincidenceList;
    std::vector<Tags> batchList;
    std::size_t tagTotal = 0;
    std::vector<quint64> lossList;
    std::vector<UiTagFlow> flowList;
};

// A clock that stands still but for sleeps, which move it and take no time.
class ManualClock final : public LoopClock {
public:
    TimePoint now() override;
    void sleepFor(std::chrono::milliseconds duration) override;

    void advance(std::chrono::nanoseconds duration);
    std::vector<std::chrono::milliseconds> sleeps() const;

    // Sleeps do not move the time: for tests whose loop may sleep any number of times. Set before the loop
    // runs.
    bool frozen = false;
    // Runs at each sleep with its number from 1, on the loop's thread. Set before the loop runs.
    std::function<void(std::size_t)> onSleep;

private:
    mutable std::mutex mutex;
    TimePoint time{std::chrono::hours(1)};
    std::vector<std::chrono::milliseconds> sleepList;
};

// A stream file, read by its layout.
struct Recording {
    QJsonObject header;
    Tags tags; // with the times of the file, modulo the coarse wrap
};

Recording readRecording(const QString& path);

// True as soon as the condition holds; false at the limit.
bool eventually(const std::function<bool()>& condition);

// The text of the exception that the work throws; empty when it throws none.
template <typename Work>
std::string failureOf(Work&& work) {
    try {
        work();
    } catch (const std::exception& error) {
        return error.what();
    }
    return {};
}

} // namespace qorn::timetagger::gui::test
