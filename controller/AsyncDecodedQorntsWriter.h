// Writes recorded tags to a stream file on a thread of its own, so that a slow disk does not hold up the
// capture unless it lags by a long way. Owned by the capture task, which is the one producer.
#pragma once

#include "StreamFileWriter.h"

#include <QString>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace qorn::timetagger::gui {

class AsyncDecodedQorntsWriter {
public:
    // An order to the writer, carried out in turn.
    struct Entry {
        enum class Kind { Data, Rotate, Finish };
        Kind kind = Kind::Data;
        QString path;                       // rotate only
        std::vector<unsigned char> payload; // data only: whole tag words
        timing::StreamFileHeader header;    // rotate only
    };

    static constexpr std::size_t kMostEntries = 512;
    static constexpr std::size_t kMostBytes = 268435456;

    // Opens the first file on the caller's thread, then starts the writing thread. Throws timing::Error.
    AsyncDecodedQorntsWriter(const QString& path, const timing::StreamFileHeader& header);
    ~AsyncDecodedQorntsWriter(); // as close(), swallows failures
    AsyncDecodedQorntsWriter(const AsyncDecodedQorntsWriter&) = delete;
    AsyncDecodedQorntsWriter& operator=(const AsyncDecodedQorntsWriter&) = delete;

    // Hands over an entry; blocks while the queue is full. Throws the writer's failure once there is one, or
    // std::runtime_error when it has ended.
    void enqueue(Entry entry);

    // Lets the writer close the file behind what is queued; data that follows is dropped.
    void finishRecording();

    // Waits until all queued work is done and the thread has ended. Throws the writer's failure, at each
    // call.
    void close();

private:
    void run();
    void writeUntilClosed();
    bool isIdle();
    void carryOut(const Entry& entry, bool& active);

    timing::StreamFileWriter file; // the constructor's thread first, then the worker alone
    std::mutex mutex;              // guards all below
    std::condition_variable notEmpty;
    std::condition_variable notFull;
    std::deque<Entry> queue;
    std::size_t queuedBytes = 0;
    bool stop = false; // no more work will come, or the worker has failed
    std::exception_ptr failure;
    std::thread worker; // last: starts when all else stands
};

} // namespace qorn::timetagger::gui
