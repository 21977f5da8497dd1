#include "TagRing.h"

#include <algorithm>
#include <bit>

namespace qorn::timing {
namespace {

// 4 MiB: fits caches, and the one who writes is not at once where the other has just read.
constexpr std::size_t kStretchTags = 262144;

} // namespace

void TagRing::clear() {
    head = 0;
    count = 0;
}

void TagRing::reserve(std::size_t tags) {
    if (tags > capacity) {
        grow(tags);
    }
}

void TagRing::push_back(std::span<const TimeTag> tags) {
    reserve(count + tags.size());
    const std::size_t at = (head + count) & (capacity - 1);
    const std::size_t straight = std::min(tags.size(), capacity - at);
    std::copy_n(tags.data(), straight, slots.get() + at);
    std::copy_n(tags.data() + straight, tags.size() - straight, slots.get());
    count += tags.size();
}

void TagRing::pop_front(std::vector<TimeTag>& out, std::size_t limit) {
    const std::size_t number = std::min(limit, count);
    const std::size_t straight = std::min(number, capacity - head);
    out.assign(slots.get() + head, slots.get() + head + straight);
    out.insert(out.end(), slots.get(), slots.get() + (number - straight));
    drop_front(number);
}

void TagRing::drop_front(std::size_t number) {
    if (number > 0) {
        count -= number;
        head = (head + number) & (capacity - 1);
        if (count == 0 && head >= kStretchTags) {
            head = 0;
        }
    }
}

void TagRing::grow(std::size_t needed) {
    const std::size_t larger = std::bit_ceil(needed);
    auto moved = std::make_unique_for_overwrite<TimeTag[]>(larger);
    const std::size_t straight = std::min(count, capacity - head);
    std::copy_n(slots.get() + head, straight, moved.get());
    std::copy_n(slots.get(), count - straight, moved.get() + straight);
    slots = std::move(moved);
    capacity = larger;
    head = 0;
}

} // namespace qorn::timing
