// The held times of one input, in one piece of memory: new ones are appended, old ones leave at the front.
// A plain value; times in ps, of the type that the estimators of lags take.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qorn::timetagger::gui {

class TimestampQueue {
public:
    std::span<const std::int64_t> times() const { return {store.data() + head, count}; }
    std::size_t size() const { return count; }
    bool empty() const { return count == 0; }
    std::int64_t front() const { return store[head]; }
    std::int64_t back() const { return store[head + count - 1]; }

    void clear();

    // Room for `most` times behind the last one, to be filled by the caller; extend() takes the first of
    // them. Valid until the next call.
    std::int64_t* room(std::size_t most);
    void extend(std::size_t added) { count += added; }
    void append(std::int64_t time);

    void dropFront(std::size_t dropped);
    void dropBack(std::size_t dropped) { count -= dropped; }
    // Drops the oldest until at most `most` are held.
    void keepLatest(std::size_t most);

    // Puts the times from position `from` on, ascending ones, in their places among the ascending ones
    // before.
    void mergeTail(std::size_t from);

private:
    std::vector<std::int64_t> store;
    std::size_t head = 0;
    std::size_t count = 0;
};

} // namespace qorn::timetagger::gui
