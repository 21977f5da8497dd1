// Absolute times of single records of a stream: what the wrapping times of its records cannot tell.
#pragma once

#include "TimeTag.h"

#include <array>
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

// Follows the tags of a stream, for whoever writes their words. Live decoders count the counter's periods of
// each input by itself, and miss those in which an input was silent; so the tags of an input that begins
// late, or rests for long, may stand whole periods too early. Here they get their place in the stream, which
// goes on meanwhile. That is so of raw64 words and of packed ones of 8 ps; delta32 and longer steps place the
// first tag of a late input by other moduli, which cannot be put right here. A plain single-threaded object.
class RecordTimes {
public:
    // The times that a reader of these tags' words must be told: of the first tag of all, and of each that is
    // half a period of the counter or more ahead of the latest time before it. Tags count from 0 in each
    // call. `silentPs` is for how long no tag came ahead of these, by the host's clock: a decoder of wrapping
    // times misses the periods in which all inputs were silent, too.
    std::vector<RecordTime> of(std::span<const TimeTag> tags, std::int64_t silentPs = 0);

    // The next tag is the first of another file of the stream.
    void restart() { isFirst = true; }

    // The latest time of the stream, in ps; none before the first tag.
    std::optional<std::int64_t> latest_time() const { return latest; }

private:
    void catchUp(const TimeTag& next, std::int64_t silentPs);

    std::optional<std::int64_t> latest;              // as StreamTimeAxis has it
    std::array<std::uint64_t, kChannels> behindPs{}; // whole periods that an input's tags stand too early
    bool isFirst = true;                             // the next tag
};

} // namespace qorn::timing
