// Streams that the benchmarks decode, and drivers that hand them out without end.
#pragma once

#include "StreamFileHeader.h"
#include "TimeTag.h"
#include "tt_driver.h"

#include <cstdint>
#include <vector>

namespace qorn::bench {

// Poisson traffic of 16 million tags/s on four channels, seeded, in a wire format: about `bytes` of it, with
// a sync every 4096 records of a channel in the packed format, and one at the start of each in delta32.
std::vector<std::uint8_t> packed_stream(std::size_t bytes);
std::vector<std::uint8_t> delta32_stream(std::size_t bytes);
std::vector<std::uint8_t> raw64_stream(std::size_t bytes);

// What a decoder must know of such a stream.
timing::StreamFileHeader stream_header(timing::StreamFormat format);

// Puts a driver in force whose every read gives the next piece of a raw64 stream that goes on for ever, and
// whose other functions succeed. Restores the earlier one at its end.
class EndlessDriver {
public:
    EndlessDriver();
    ~EndlessDriver();
    EndlessDriver(const EndlessDriver&) = delete;
    EndlessDriver& operator=(const EndlessDriver&) = delete;

    tt_device* handle() const;
};

} // namespace qorn::bench
