// The two inputs that are correlated, and how their tags leave a stream. A plain value.
#pragma once

#include "TimestampQueue.h"
#include "UiTimeTag.h"

#include <cstdint>
#include <span>

namespace qorn::timetagger::gui {

struct InputPair {
    int source = -1; // 0 to 3
    int target = -1;

    // Two different inputs that exist. Others have no tags.
    bool usable() const;

    struct Tags {
        std::span<const std::int64_t> sources;
        std::span<const std::int64_t> targets;
    };
    // Appends the times of the two inputs, in stream order, to their queues. The result is what was appended,
    // valid until a queue changes. The inputs must be usable.
    Tags append(std::span<const UiTimeTag> tags, TimestampQueue& sources, TimestampQueue& targets) const;
};

} // namespace qorn::timetagger::gui
