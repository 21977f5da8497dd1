// Puts the wrapping times of a recorded stream on one axis, against the latest time of the whole stream.
// Right as long as the stream as a whole was never silent for more than half a period of the counter (7.1 s).
#pragma once

#include "TimeTag.h"
#include "WideInteger.h"
#include "WrapArithmetic.h"

#include <cstdint>

namespace qorn::timing {

class StreamTimeAxis {
public:
    // How far a record may stand behind the latest time of the stream without doubt.
    static constexpr std::int64_t kDoubtfulStepPs = 1'000'000'000'000; // 1 s

    // The absolute time, in ps, of the stream's next record; `wrapped` is 0 to kCoarseWrapPs - 1. The first
    // record is taken as it stands; each other one is the nearest to the latest time so far.
    std::int64_t unwrap(std::int64_t wrapped) {
        const std::int64_t step = stepTo(wrapped);
        const std::int64_t time = add_wrapping(latest, static_cast<std::uint64_t>(step));
        if (step >= 0 || !started) {
            latest = time;
            latestWrapped = wrapped;
            started = true;
            doubtful = false;
        } else if (step < -kDoubtfulStepPs) {
            doubtfulGaps += doubtful ? 0 : 1;
            doubtful = true;
        } else {
            doubtful = false;
        }
        return time;
    }

    // What unwrap() would give, also where that lies beyond what 64 bits hold.
    Wide nearest(std::int64_t wrapped) const { return Wide{latest} + stepTo(wrapped); }

    // True when the records of a run whose wrapped times are `least` to `most`, in whatever order, come out
    // on the axis as far from each other as they are here: then unwrap(most) alone moves it as all of them
    // do.
    bool spans(std::int64_t least, std::int64_t most) const {
        const std::int64_t first = stepTo(least);
        const std::int64_t last = stepTo(most);
        return started && last - first == most - least && most - least < kHalfCoarseWrapPs &&
               first > -kHalfCoarseWrapPs && last < kHalfCoarseWrapPs;
    }

    // In the place of unwrap() for a record whose time is known: the stream goes on from there.
    void move_to(std::int64_t time, std::int64_t wrapped) {
        latest = time;
        latestWrapped = wrapped;
        started = true;
        doubtful = false;
    }

    // Places so far where the stream fell more than 1 s behind its latest time: there it was perhaps silent
    // for more than half a period, and all that follows may be a period too early.
    std::uint64_t doubtful_gaps() const { return doubtfulGaps; }

private:
    // From the latest time to the record.
    std::int64_t stepTo(std::int64_t wrapped) const {
        const std::int64_t step = wrapped - latestWrapped;
        if (step > kHalfCoarseWrapPs && started) {
            return step - kCoarseWrapPs;
        }
        return step < -kHalfCoarseWrapPs ? step + kCoarseWrapPs : step;
    }

    std::int64_t latest = 0;
    std::int64_t latestWrapped = 0;
    std::uint64_t doubtfulGaps = 0;
    bool started = false;
    bool doubtful = false; // the record before was
};

} // namespace qorn::timing
