// The two growing arrays of a decoder: bytes that wait to be decoded, and the tags of one pass. Both keep
// their memory from pass to pass, for touching fresh pages costs more than decoding.
#pragma once

#include "TimeTag.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <span>

namespace qorn::timing {

// Pending bytes. Up to kSlack bytes behind the end may be read (not used), so that a 64-bit load at any
// pending byte stays inside.
class StreamBuffer {
public:
    static constexpr std::size_t kSlack = 8;

    const std::uint8_t* data() const { return bytes.get(); }
    std::size_t size() const { return used; }
    std::span<const std::uint8_t> span() const { return {bytes.get(), used}; }

    void append(std::span<const std::uint8_t> more);
    // Removes `count` bytes (at most size()) from the front by one move.
    void drop_front(std::size_t count);

private:
    std::unique_ptr<std::uint8_t[]> bytes;
    std::size_t used = 0;
    std::size_t capacity = 0; // without the slack
};

// The tags of one pass: reserve() a bound, write from end() on, commit() what was written.
class TagBuffer {
public:
    void clear() { used = 0; }
    std::span<const TimeTag> span() const { return {tags.get(), used}; }

    // Room for `count` tags behind the present ones; returns where the first goes. Pointers of before are
    // void.
    TimeTag* reserve(std::size_t count);
    void commit(TimeTag* end) { used = static_cast<std::size_t>(end - tags.get()); }

private:
    std::unique_ptr<TimeTag[]> tags;
    std::size_t used = 0;
    std::size_t capacity = 0;
};

} // namespace qorn::timing
