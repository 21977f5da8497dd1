#include "SampleBacklog.h"

#include <utility>

namespace qorn::timetagger::gui {

bool SampleBacklog::enter() {
    const std::lock_guard lock(mutex);
    if (waiting == most) {
        ++leftOut;
        return false;
    }
    ++waiting;
    return true;
}

void SampleBacklog::leave() {
    const std::lock_guard lock(mutex);
    --waiting;
}

quint64 SampleBacklog::takeLeftOut() {
    const std::lock_guard lock(mutex);
    return std::exchange(leftOut, 0);
}

} // namespace qorn::timetagger::gui
