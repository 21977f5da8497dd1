// A packed stream that a test sends in steps of whole bytes: the decoder, the reference beside it, and the
// records of the next step.
//
// Owned by a test, used by its thread.
#pragma once

#include "ComparedDecoder.h"
#include "StreamBuilder.h"
#include "StreamFileHeader.h"

#include <vector>

namespace qorn::testing {

class PackedSession {
public:
    explicit PackedSession(const timing::StreamFileHeader& header);

    // The records of the next step, to be added to.
    PackedBuilder& next() { return records; }

    // Sends them, filled up to a multiple of eight records by overflows of 0, and returns the tags.
    std::vector<timing::TimeTag> send();

    // Another pass without more bytes.
    std::vector<timing::TimeTag> passAgain() { return decoder.feed({}); }

    // Locks the decoder: every channel of the mask gets a sync to `absolute` quanta and one tag there.
    std::vector<timing::TimeTag> lock(std::uint64_t absolute = 0);

    bool isLocked() const { return decoder.decoder().packed()->is_locked(); }
    std::size_t pendingBytes() const { return decoder.decoder().raw().size(); }

private:
    int mask;
    ComparedDecoder decoder;
    PackedBuilder records;
};

} // namespace qorn::testing
