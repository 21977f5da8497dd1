// Reads the driver's stream bytes on a thread of its own, decodes them and holds the tags in a bounded queue,
// so that the driver's buffer is emptied however slowly the consumer runs. When the queue is full the oldest
// tags are thrown away and counted.
#pragma once

#include "StreamFileHeader.h"
#include "TagRing.h"
#include "TimeTag.h"

#include <atomic>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

namespace qorn::timing {

class Device;

// One consumer thread calls start, take and stop; the reader thread is internal.
class TagStreamReader {
public:
    static constexpr std::size_t kReadBytes = 1048576; // what callers pass as read_bytes

    // What became of the tags since start(): decoded = taken + dropped + queued, always.
    struct Counts {
        std::uint64_t decoded = 0;
        std::uint64_t taken = 0;
        std::uint64_t dropped = 0; // lost to the full queue
        std::uint64_t queued = 0;
        std::uint64_t skipped_bytes = 0; // of the stream behind its first tag: in no tag, see StreamDecoder
    };

    explicit TagStreamReader(Device& source);
    ~TagStreamReader(); // as stop(), swallows every exception
    TagStreamReader(const TagStreamReader&) = delete;
    TagStreamReader& operator=(const TagStreamReader&) = delete;

    // `hook` is called on the reader thread before each read, so at least every 20 ms when the driver keeps
    // to its time-out, without the mutex. Set while no run is under way.
    void set_read_hook(std::function<void()> hook) { read_hook = std::move(hook); }

    // Ends an earlier run, forgets its tags and its error, and starts reading. read_bytes is raised to 4096
    // and max_queue (tags) to 1024. The stream must have been started.
    void start(const StreamFileHeader& header, std::size_t read_bytes, std::size_t max_queue);

    // Ends the thread, then rethrows the error that ended it, if any; the error stays until the next start().
    void stop();

    // Replaces the contents of `tags` by up to `limit` of the oldest tags, in stream order. Returns the error
    // that has ended the thread, or null; tags may still be queued then. Holds the mutex only to move tags.
    std::exception_ptr take(std::vector<TimeTag>& tags, std::size_t limit);
    // The same, with the counts right after: whatever was dropped stands in the stream before these tags.
    std::exception_ptr take(std::vector<TimeTag>& tags, std::size_t limit, Counts& counts);

    Counts counts() const;                                // any thread
    std::uint64_t dropped() const { return droppedTags; } // tags lost to the full queue since start()
    bool is_running() const { return running; }

private:
    void run(const StreamFileHeader& header, std::size_t read_bytes);
    void read_until_stopped(const StreamFileHeader& header, std::size_t read_bytes);
    void join();
    void enqueue(std::span<const TimeTag> tags, std::uint64_t skipped_bytes);
    Counts locked_counts() const;

    Device& device;
    std::function<void()> read_hook;
    std::thread thread;
    std::atomic<bool> stop_requested{false};
    std::atomic<bool> running{false};
    std::atomic<std::uint64_t> droppedTags{0};
    mutable std::mutex mutex; // guards queue, error and the counts, which change together
    TagRing queue;
    std::uint64_t decoded_tags = 0;
    std::uint64_t taken_tags = 0;
    std::uint64_t skipped = 0; // bytes
    std::size_t max_queue = 1024;
    std::exception_ptr error;
};

} // namespace qorn::timing
