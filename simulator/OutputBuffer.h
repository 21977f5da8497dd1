// The instrument's own buffer between the encoder and the reads: bounded, so that a reader that stays away
// loses tags. Owned by a running stream.
#pragma once

#include "ByteBuffer.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace qorn::simulator {

class OutputBuffer {
public:
    explicit OutputBuffer(std::size_t limit) : limitBytes(limit) {}

    std::size_t size() const { return held.size() - taken; }
    bool full() const { return size() >= limitBytes; }

    // Appends; a piece that crosses the limit is still taken whole, for a record is never cut.
    void append(std::span<const std::uint8_t> bytes);

    // Moves up to out.size() bytes from the front to `out` and returns how many.
    std::size_t take(std::span<std::uint8_t> out);

private:
    std::size_t limitBytes;
    ByteBuffer held;
    std::size_t taken = 0;
};

} // namespace qorn::simulator
