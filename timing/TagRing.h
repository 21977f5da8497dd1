// A growing ring of tags: the queue between the reader and its consumer. Not synchronised. Once empty it
// begins at its first slot again, unless it is near there still: so a consumer who keeps up costs a few MiB,
// and not the memory of all that may wait.
#pragma once

#include "TimeTag.h"

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace qorn::timing {

class TagRing {
public:
    std::size_t size() const { return count; }
    void clear();
    // Makes room for `tags` in all, so that pushing up to there does not grow. The memory is touched when
    // used.
    void reserve(std::size_t tags);

    // Appends at the back; grows when needed.
    void push_back(std::span<const TimeTag> tags);
    // Replaces `out` by the oldest `limit` tags (or all there are) and removes them.
    void pop_front(std::vector<TimeTag>& out, std::size_t limit);
    // Removes the oldest `number` tags, at most size().
    void drop_front(std::size_t number);

private:
    void grow(std::size_t needed);

    std::unique_ptr<TimeTag[]> slots;
    std::size_t capacity = 0; // a power of two, or 0
    std::size_t head = 0;     // index of the oldest
    std::size_t count = 0;
};

} // namespace qorn::timing
