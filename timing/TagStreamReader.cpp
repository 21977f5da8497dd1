#include "TagStreamReader.h"

#include "Device.h"
#include "Driver.h"
#include "Error.h"
#include "StreamDecoder.h"
#include "ThreadName.h"

#include <algorithm>

namespace qorn::timing {
namespace {

constexpr std::size_t kLeastReadBytes = 4096;
constexpr std::size_t kLeastQueue = 1024;
constexpr std::size_t kPassTags = 524288; // more than a read of 1 MiB gives in the usual formats
constexpr int kReadTimeoutMs = 20;        // bounds the latency of a stop

} // namespace

TagStreamReader::TagStreamReader(Device& source) : device(source) {}

TagStreamReader::~TagStreamReader() {
    join();
}

void TagStreamReader::start(const StreamFileHeader& header, std::size_t read_bytes, std::size_t max_queued) {
    join(); // not stop(): the error of the earlier run ends here
    max_queue = std::max(max_queued, kLeastQueue);
    {
        const std::lock_guard lock(mutex);
        queue.clear();
        queue.reserve(max_queue + kPassTags);
        error = nullptr;
        decoded_tags = 0;
        taken_tags = 0;
        droppedTags = 0;
        skipped = 0;
    }
    stop_requested = false;
    running = true;
    try {
        thread = std::thread(&TagStreamReader::run, this, header, std::max(read_bytes, kLeastReadBytes));
    } catch (...) {
        running = false;
        throw;
    }
}

void TagStreamReader::stop() {
    join();
    std::exception_ptr stored;
    {
        const std::lock_guard lock(mutex);
        stored = error;
    }
    if (stored) {
        std::rethrow_exception(stored);
    }
}

void TagStreamReader::join() {
    stop_requested = true;
    if (thread.joinable()) {
        thread.join();
    }
    running = false;
}

std::exception_ptr TagStreamReader::take(std::vector<TimeTag>& tags, std::size_t limit) {
    Counts unused;
    return take(tags, limit, unused);
}

std::exception_ptr TagStreamReader::take(std::vector<TimeTag>& tags, std::size_t limit, Counts& counts) {
    const std::lock_guard lock(mutex);
    queue.pop_front(tags, limit);
    taken_tags += tags.size();
    counts = locked_counts();
    return error;
}

TagStreamReader::Counts TagStreamReader::counts() const {
    const std::lock_guard lock(mutex);
    return locked_counts();
}

TagStreamReader::Counts TagStreamReader::locked_counts() const {
    return {decoded_tags, taken_tags, droppedTags, queue.size(), skipped};
}

void TagStreamReader::run(const StreamFileHeader& header, std::size_t read_bytes) {
    set_thread_name("qorn-reader");
    try {
        read_until_stopped(header, read_bytes);
    } catch (...) {
        const std::lock_guard lock(mutex);
        error = std::current_exception();
    }
    running = false;
}

void TagStreamReader::read_until_stopped(const StreamFileHeader& header, std::size_t read_bytes) {
    StreamDecoder decoder(header);
    std::vector<std::uint8_t> buffer(read_bytes);
    while (!stop_requested) {
        if (read_hook) {
            read_hook();
        }
        std::size_t count = 0;
        const tt_status status = driver().tt_read_stream_bytes(device.handle, buffer.data(), buffer.size(),
                                                               &count, kReadTimeoutMs);
        if (status == TT_TIMED_OUT) {
            continue;
        }
        if (status != TT_OK) {
            detail::throw_status(status, "read_stream_bytes", driver().tt_last_error(device.handle));
        }
        if (count > buffer.size()) {
            detail::throw_status(TT_FAILED, "read_stream_bytes",
                                 "the driver claims more bytes than it was given room for");
        }
        if (count != 0) {
            const std::span<const TimeTag> tags = decoder.feed({buffer.data(), count});
            enqueue(tags, decoder.skipped_bytes());
        }
    }
}

void TagStreamReader::enqueue(std::span<const TimeTag> tags, std::uint64_t skipped_bytes) {
    const std::lock_guard lock(mutex);
    skipped = skipped_bytes;
    if (tags.empty()) {
        return;
    }
    queue.push_back(tags);
    decoded_tags += tags.size();
    if (queue.size() > max_queue) {
        const std::size_t excess = queue.size() - max_queue;
        queue.drop_front(excess);
        droppedTags += excess;
    }
}

} // namespace qorn::timing
