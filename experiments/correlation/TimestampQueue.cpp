#include "TimestampQueue.h"

#include <algorithm>

namespace qorn::timetagger::gui {

void TimestampQueue::clear() {
    head = 0;
    count = 0;
}

std::int64_t* TimestampQueue::room(std::size_t most) {
    // As many have left as would be moved, so that a time is moved once on average.
    if (head >= count) {
        std::copy_n(store.begin() + static_cast<std::ptrdiff_t>(head), count, store.begin());
        head = 0;
    }
    if (store.size() - head - count < most) {
        store.resize(std::max(head + count + most, store.size() + store.size() / 2));
    }
    return store.data() + head + count;
}

void TimestampQueue::append(std::int64_t time) {
    *room(1) = time;
    ++count;
}

void TimestampQueue::dropFront(std::size_t dropped) {
    head += dropped;
    count -= dropped;
}

void TimestampQueue::keepLatest(std::size_t most) {
    if (count > most) {
        dropFront(count - most);
    }
}

void TimestampQueue::mergeTail(std::size_t from) {
    if (from == 0 || from == count) {
        return;
    }
    const auto begin = store.begin() + static_cast<std::ptrdiff_t>(head);
    const auto tail = begin + static_cast<std::ptrdiff_t>(from);
    std::inplace_merge(std::upper_bound(begin, tail, *tail), tail,
                       begin + static_cast<std::ptrdiff_t>(count));
}

} // namespace qorn::timetagger::gui
