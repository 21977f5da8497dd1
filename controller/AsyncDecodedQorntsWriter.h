// Writes recorded tags to a stream file on a thread of its own, so that a slow disk does not hold up the
// capture unless it lags by a long way. Owned by the capture task, which is the one producer.
#pragma once

#include "CompanionKeeper.h"
#include "RecordTimes.h"
#include "RecordingCompanion.h"
#include "StreamFileWriter.h"

#include <QString>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace qorn::timetagger::gui {

class AsyncDecodedQorntsWriter {
public:
    // An order to the writer, carried out in turn.
    struct Entry {
        enum class Kind { Data, Rotate, Finish, Loss };
        Kind kind = Kind::Data;
        QString path;                                    // rotate only
        std::vector<unsigned char> payload;              // data only: whole tag words
        timing::StreamFileHeader header;                 // rotate only
        std::vector<timing::RecordTime> times{};         // data only: what its words do not tell
        timing::RecordingLoss loss{};                    // loss only
        timing::PartEnd end = timing::PartEnd::Duration; // finish only: why
        std::string error{};                             // finish only: of an error

        std::size_t bytes() const { return payload.size() + times.size() * sizeof(timing::RecordTime); }
    };

    static constexpr std::size_t kMostEntries = 512;
    static constexpr std::size_t kMostBytes = 268435456;
    static constexpr std::chrono::milliseconds kRefreshInterval{
        4000}; // five at most, with the writing itself

    // Opens the first file on the caller's thread, then starts the writing thread. No file takes the place of
    // another: throws timing::Error when there is one, or the new one cannot be opened. Each file gets a
    // companion, which no failure of its own keeps from being recorded; the writing thread refreshes it by
    // the interval, with what is in the file by then.
    AsyncDecodedQorntsWriter(const QString& path, const timing::StreamFileHeader& header,
                             std::chrono::milliseconds refreshInterval = kRefreshInterval);
    // As close(), but swallows failures, and the companion says that the recording was broken off.
    ~AsyncDecodedQorntsWriter();
    AsyncDecodedQorntsWriter(const AsyncDecodedQorntsWriter&) = delete;
    AsyncDecodedQorntsWriter& operator=(const AsyncDecodedQorntsWriter&) = delete;

    // Hands over an entry; blocks while the queue is full. Throws the writer's failure once there is one, or
    // std::runtime_error when it has ended; the tags of a refused entry count as lost. A loss is never
    // refused for a failure, the companion tells of it beside that.
    void enqueue(Entry entry);

    // Throws the writer's failure once there is one, for a pass that has nothing to hand over.
    void check();

    // Lets the writer close the file behind what is queued; data that follows is dropped. The error's text
    // goes with PartEnd::Error.
    void finishRecording(timing::PartEnd end = timing::PartEnd::Duration, const std::string& error = {});

    // Records in all files so far; no more when the writer has ended. Any thread.
    std::uint64_t written() const { return companion.recordsTaken(); }

    // What the operator must know, each once: the companion cannot be written, the file is not in its place
    // any more; also which file a failure has ended, and why. Nothing without such.
    std::optional<QString> takeNotice();

    // The operator ends the recording. Waits until all queued work is done and the thread has ended. Throws
    // the writer's failure, at each call.
    void close();

private:
    using Clock = std::chrono::steady_clock;
    enum class Next { Work, Refresh, End };

    void run();
    void writeUntilClosed();
    Next waitForWork(Entry& entry);
    bool isIdle();
    void carryOut(const Entry& entry);
    void write(const Entry& entry);
    void refreshWhenDue();
    void beginPart(const std::string& path);
    void endPart(timing::PartEnd end, const std::string& error = {});
    std::uint64_t lostTags();
    void noteCompanionFault();
    void stopWork(timing::PartEnd end, const std::string& error);
    void tellFailure(const std::string& text);

    std::string firstPath;
    std::chrono::milliseconds refreshInterval;
    // The constructor's thread first, then the worker alone. What the file's destructor still writes after a
    // failure goes to no companion.
    timing::StreamFileWriter file;
    CompanionKeeper companion{file};
    bool active = true;           // a file is open; the constructor has opened the first one
    std::uint64_t unwanted = 0;   // tags that came behind a finish
    Clock::time_point refreshDue; // of the companion
    std::mutex mutex;             // guards all below
    std::condition_variable notEmpty;
    std::condition_variable notFull;
    std::deque<Entry> queue;
    std::size_t queuedBytes = 0;
    std::uint64_t handed = 0;                            // tags, also those that a failed writer did not take
    bool stop = false;                                   // no more work will come, or the worker has failed
    timing::PartEnd lastEnd = timing::PartEnd::Operator; // of the part that is open at the stop
    std::string lastError;
    std::deque<QString> notices;
    std::vector<timing::RecordingLoss> lateLosses; // that a failed writer has not told of
    std::exception_ptr failure;
    std::string failureText;
    std::thread worker; // last: starts when all else stands
};

} // namespace qorn::timetagger::gui
