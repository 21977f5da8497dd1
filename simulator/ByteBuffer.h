// Bytes on their way out, written by the encoders and drained by reads. Growing does not touch the new
// memory.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <utility>

namespace qorn::simulator {

class ByteBuffer {
public:
    std::size_t size() const { return end; }
    bool empty() const { return end == 0; }
    std::span<const std::uint8_t> bytes() const { return {data.get(), end}; }
    void clear() { end = 0; }

    // Room for so many bytes behind the end; a writer may then use the unchecked operations.
    void reserveMore(std::size_t count) {
        if (capacity - end < count) {
            grow(count);
        }
    }

    // Writes the upper `count` bytes of the word, most significant first; needs room for 8.
    void putUnchecked(std::uint64_t word, std::size_t count) {
        const std::uint64_t bigEndian =
            std::endian::native == std::endian::little ? __builtin_bswap64(word) : word;
        std::memcpy(data.get() + end, &bigEndian, sizeof bigEndian);
        end += count;
    }

    void removeFront(std::size_t count) {
        end -= count;
        if (end > 0) {
            std::memmove(data.get(), data.get() + count, end);
        }
    }

    void append(std::span<const std::uint8_t> more) {
        reserveMore(more.size());
        if (!more.empty()) {
            std::memcpy(data.get() + end, more.data(), more.size());
        }
        end += more.size();
    }

private:
    void grow(std::size_t count) {
        const std::size_t wanted = std::max(capacity * 2, end + count);
        auto larger = std::make_unique_for_overwrite<std::uint8_t[]>(wanted);
        if (end > 0) {
            std::memcpy(larger.get(), data.get(), end);
        }
        data = std::move(larger);
        capacity = wanted;
    }

    std::unique_ptr<std::uint8_t[]> data;
    std::size_t end = 0;
    std::size_t capacity = 0;
};

} // namespace qorn::simulator
