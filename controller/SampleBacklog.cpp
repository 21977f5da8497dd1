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

quint64 SampleBacklog::leftOutToTell(bool atEnd) {
    const std::lock_guard lock(mutex);
    const bool isNews = missing > told && (told == 0 || atEnd);
    return isNews ? told = missing : 0;
}

} // namespace qorn::timetagger::gui
