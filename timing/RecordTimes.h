// Absolute times of single records of a stream: what the wrapping times of its records cannot tell.
#pragma once

#include "TimeTag.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace qorn::timing {

// The true time, in ps, of the record with this number.
struct RecordTime {
    std::uint64_t record = 0;
    std::int64_t time_ps = 0;
    bool operator==(const RecordTime&) const = default;
};

// Follows the tags of a stream, for whoever writes their words. A plain single-threaded object.
class RecordTimes {
public:
    // The times that a reader of these tags' words must be told: of the first tag of all, and of each that is
    // not within half a period of the counter from the latest time before it. Tags count from 0 in each call.
    std::vector<RecordTime> of(std::span<const TimeTag> tags);

    // The next tag is the first of another file.
    void restart() { latest.reset(); }

private:
    std::optional<std::int64_t> latest; // as StreamTimeAxis has it
};

} // namespace qorn::timing
