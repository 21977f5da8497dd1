#include "SampleBacklog.h"

namespace qorn::timetagger::gui {

bool SampleBacklog::enter() {
    const std::lock_guard lock(mutex);
    if (waiting == most) {
        ++missing;
        return false;
    }
    ++waiting;
    return true;
}

void SampleBacklog::leave() {
    const std::lock_guard lock(mutex);
    --waiting;
}

quint64 SampleBacklog::leftOut() const {
    const std::lock_guard lock(mutex);
    return missing;
}

} // namespace qorn::timetagger::gui
