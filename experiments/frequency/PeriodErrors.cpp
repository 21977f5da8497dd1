#include "PeriodErrors.h"

#include "SaturatedTime.h"

#include <algorithm>

namespace qorn::timetagger::gui {

void PeriodErrors::clear() {
    next = 0;
    filled = 0;
}

void PeriodErrors::append(qint64 previousPs, std::span<const qint64> timesPs, qint64 periodPs) {
    while (!timesPs.empty()) {
        makeRoom(timesPs.size());
        const auto piece = timesPs.first(std::min(timesPs.size(), storage.size() - next));
        qint64* write = storage.data() + next;
        for (const qint64 time : piece) {
            if (time > previousPs) [[likely]] {
                *write++ = saturatedDifference(time, previousPs) - periodPs;
            }
            previousPs = time;
        }
        next = static_cast<std::size_t>(write - storage.data());
        filled = std::max(filled, next);
        timesPs = timesPs.subspan(piece.size());
    }
}

// At least one place from `next` on, and all that are wanted unless the circle closes.
void PeriodErrors::makeRoom(std::size_t wanted) {
    if (next == kMost) {
        next = 0;
    }
    if (storage.size() < kMost && storage.size() - next < wanted) {
        storage.resize(std::min(std::max(next + wanted, 2 * storage.size()), kMost));
    }
}

} // namespace qorn::timetagger::gui
