// Turns the bytes of a relay's stream into tags. Unlike the decoder of an instrument's stream it searches for
// no record boundary: a stream that is out of step is a failure. One per connection, used by its thread.
#pragma once

#include "StreamDecoder.h"
#include "StreamFileHeader.h"
#include "TimeTag.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

namespace qorn::relay {

// The relay's stream, as a decoder or a file of its tags knows it.
timing::StreamFileHeader relayStreamHeader();

class InvalidRelayRecord : public std::runtime_error {
public:
    explicit InvalidRelayRecord(std::uint64_t unread);

    std::uint64_t unreadBytes; // of the piece, which is given up whole
};

class RelayDecoder {
public:
    static constexpr std::size_t kPieceBytes = 65536;

    RelayDecoder();

    // Where the next piece goes, behind a record that is not whole yet.
    std::span<std::uint8_t> room();
    // Takes `count` bytes that were put there; gives the tags of the records that are whole now, valid until
    // the next call. Throws InvalidRelayRecord, and gives none of the piece, when one of them is invalid:
    // what stands ahead of a record out of step may be so too.
    std::span<const timing::TimeTag> take(std::size_t count);

private:
    timing::StreamDecoder decoder;
    std::vector<std::uint8_t> pending;
    std::size_t held = 0; // bytes of a record that is not whole
};

} // namespace qorn::relay
