#include "GateWalk.h"

#include <algorithm>

namespace qorn::timetagger::gui {

void GateWalk::setLength(qint64 ps) {
    length = static_cast<quint64>(std::max<qint64>(ps, 1));
    close();
}

quint64 GateWalk::walkTo(qint64 timePs) {
    if (!open) {
        open = true;
        start = static_cast<quint64>(timePs);
        return 0;
    }
    if (timePs < static_cast<qint64>(start)) {
        return 0;
    }
    const quint64 ended = (static_cast<quint64>(timePs) - start) / length;
    start += ended * length;
    return ended;
}

} // namespace qorn::timetagger::gui
