#include "StreamBuffer.h"

namespace qorn::timing {
namespace {

// Half as much again, so that a slowly growing need does not copy at each pass.
std::size_t grown(std::size_t needed) {
    return needed + needed / 2;
}

} // namespace

void StreamBuffer::append(std::span<const std::uint8_t> more) {
    if (more.empty()) {
        return;
    }
    if (used + more.size() > capacity) {
        const std::size_t larger = grown(used + more.size());
        auto moved = std::make_unique_for_overwrite<std::uint8_t[]>(larger + kSlack);
        std::copy_n(bytes.get(), used, moved.get());
        bytes = std::move(moved);
        capacity = larger;
    }
    std::copy(more.begin(), more.end(), bytes.get() + used);
    used += more.size();
    std::fill_n(bytes.get() + used, kSlack, std::uint8_t{0});
}

void StreamBuffer::drop_front(std::size_t count) {
    if (count == 0) {
        return;
    }
    std::copy(bytes.get() + count, bytes.get() + used + kSlack, bytes.get());
    used -= count;
}

TimeTag* TagBuffer::reserve(std::size_t count) {
    if (used + count > capacity) {
        const std::size_t larger = grown(used + count);
        auto moved = std::make_unique_for_overwrite<TimeTag[]>(larger);
        std::copy_n(tags.get(), used, moved.get());
        tags = std::move(moved);
        capacity = larger;
    }
    return tags.get() + used;
}

} // namespace qorn::timing
